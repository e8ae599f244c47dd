#include <gtest/gtest.h>

#include <thread>

#include "core/Event.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;

TEST(EventTest, StaysSetForEveryWaiterUntilReset) {
    Event event;
    EXPECT_FALSE(event.WaitFor(1ms));
    event.Set();
    EXPECT_TRUE(event.WaitFor(0ms));
    EXPECT_TRUE(event.WaitFor(0ms)) << "a manual-reset event is not consumed by a wait";
    event.Reset();
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.WaitFor(1ms));
}

TEST(EventTest, SetFromAnotherThreadReleasesAllWaiters) {
    Event event;
    std::atomic<int> released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            event.Wait();
            ++released;
        });
    }
    event.Set();
    for (auto& waiter : waiters) {
        waiter.join();
    }
    EXPECT_EQ(released, 3);
}

}  // namespace
}  // namespace vantor
