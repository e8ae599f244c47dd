#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "core/NamedThread.h"
#include "support/LogCapture.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::LogCapture;

TEST(NamedThreadTest, LogsStartAndEndUnderItsName) {
    LogCapture capture(kLogVerbose);
    {
        NamedThread thread;
        ASSERT_EQ(thread.Start("Worker", [] {}), 0);
        thread.Stop();
    }
    EXPECT_EQ(capture.Count("Thread[\"Worker\"] has started\r\n"), 1);
    EXPECT_EQ(capture.Count("Thread[\"Worker\"] has ended\r\n"), 1);
    const auto levels = capture.Levels();
    ASSERT_EQ(levels.size(), 2u);
    EXPECT_EQ(levels[0], kLogVerbose);
    EXPECT_EQ(levels[1], kLogInfo);
}

TEST(NamedThreadTest, IsRunningOnlyBetweenStartAndEnd) {
    NamedThread thread;
    EXPECT_EQ(thread.Start("Nothing", nullptr), -1);
    EXPECT_FALSE(thread.IsRunning());
    Event release;
    ASSERT_EQ(thread.Start("Waiter", [&release] { release.Wait(); }), 0);
    EXPECT_TRUE(thread.IsRunning()) << "Start returns only after the thread has signalled";
    release.Set();
    thread.Stop();
    EXPECT_FALSE(thread.IsRunning());
}

TEST(NamedThreadTest, StopGivesUpOnAStuckThreadAndWarnsOnce) {
    LogCapture capture(kLogError);
    // The entry captures only shared state, so it stays valid after the
    // NamedThread has let go of it.
    auto release = std::make_shared<Event>();
    auto finished = std::make_shared<Event>();
    {
        NamedThread thread;
        ASSERT_EQ(thread.Start("Stuck",
                               [release, finished] {
                                   release->Wait();
                                   finished->Set();
                               }),
                  0);
        thread.Stop(200, true);
        EXPECT_FALSE(thread.IsRunning());
    }  // destroying the NamedThread must not wait or warn again
    EXPECT_EQ(capture.Count("WARNING: Thread[\"Stuck\"] did not exit!\r\n"), 1);
    release->Set();
    EXPECT_TRUE(finished->WaitFor(5000ms)) << "the abandoned thread finishes on its own";
}

TEST(NamedThreadTest, StartingAgainStopsTheOldThreadFirst) {
    NamedThread thread;
    std::atomic<int> sequence{0};
    std::atomic<int> firstEnded{-1};
    std::atomic<int> secondStarted{-1};
    ASSERT_EQ(thread.Start("First",
                           [&] {
                               std::this_thread::sleep_for(100ms);
                               firstEnded = sequence++;
                           }),
              0);
    ASSERT_EQ(thread.Start("Second", [&] { secondStarted = sequence++; }), 0);
    thread.Stop();
    EXPECT_EQ(firstEnded, 0);
    EXPECT_EQ(secondStarted, 1);
}

int OwnNice() {
    return ::getpriority(PRIO_PROCESS, static_cast<id_t>(::syscall(SYS_gettid)));
}

TEST(NamedThreadTest, PriorityClassesBecomeTheThreadsNiceValue) {
    // The new thread starts with its starter's nice value. Lowering it needs
    // a privilege a test may not have; then the thread keeps its start value.
    const int inherited = OwnNice();
    struct Case {
        int priorityClass;
        int nice;
    };
    const Case cases[] = {{NamedThread::kPriorityDefault, inherited},
                          {NamedThread::kPriorityLow, 10},
                          {NamedThread::kPriorityHigh, -10},
                          {NamedThread::kPriorityNormal, 0},
                          {7, 0}};
    for (const Case& c : cases) {
        NamedThread thread(c.priorityClass);
        std::atomic<int> nice{100};
        ASSERT_EQ(thread.Start("Prioritised", [&nice] { nice = OwnNice(); }), 0);
        thread.Stop();
        if (c.nice < inherited && nice == inherited) {
            continue;  // not permitted here
        }
        EXPECT_EQ(nice.load(), c.nice) << c.priorityClass;
    }
    EXPECT_EQ(OwnNice(), inherited) << "only the named thread's own value changes";
}

}  // namespace
}  // namespace vantor
