// The now-playing clock between the server's reports, on a clock the test
// moves by hand.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "ui/player/PlaybackClock.h"

namespace vantor::ui {
namespace {

using namespace std::chrono_literals;

class ClockTest : public ::testing::Test {
protected:
    PlaybackClock::Clock::time_point now_ = PlaybackClock::Clock::time_point(100s);
    std::atomic<int> seconds_{0};
    PlaybackClock clock_{[this] { ++seconds_; }, [this] { return now_; }};
};

TEST_F(ClockTest, RunsOnWhilePlayingAndHoldsOtherwise) {
    EXPECT_EQ(clock_.PositionMs(), -1);  // nothing reported yet
    clock_.Report(10, true, 100);
    now_ += 1500ms;
    EXPECT_EQ(clock_.PositionMs(), 11500);
    clock_.SetPlaying(false);
    now_ += 5s;
    EXPECT_EQ(clock_.PositionMs(), 11500);
    clock_.SetPlaying(true);
    now_ += 500ms;
    EXPECT_EQ(clock_.Seconds(), 12);
    now_ += 1000s;  // never past the end of the song
    EXPECT_EQ(clock_.PositionMs(), 100000);
}

TEST_F(ClockTest, AReportOfTheSecondShownNeverStepsBack) {
    struct Case {
        std::chrono::milliseconds runFor;  // since the report of second 10
        std::int32_t next;                 // the server's next report
        std::int64_t expected;             // the position right after it
    };
    const Case cases[] = {
        {900ms, 10, 10900},   // still second 10: the clock runs on
        {1100ms, 11, 11100},  // the new second agrees: runs on
        {1100ms, 10, 10000},  // the server is behind: back to it
        {300ms, 12, 12000},   // a seek ahead
        {2500ms, 11, 11000},  // the clock ran ahead of the player
    };
    for (const Case& c : cases) {
        clock_.Report(-1, true, 300);  // forget the last case
        clock_.Report(10, true, 300);
        now_ += c.runFor;
        clock_.Report(c.next, true, 300);
        EXPECT_EQ(clock_.PositionMs(), c.expected) << c.runFor.count() << " ms, " << c.next;
    }
}

TEST_F(ClockTest, ItsThreadSleepsToTheNextWholeSecondOnlyWhilePlaying) {
    EXPECT_EQ(clock_.MsUntilNextSecond(), -1) << "nothing reported";
    clock_.Report(10, true, 100);
    EXPECT_EQ(clock_.MsUntilNextSecond(), 1000);
    now_ += 300ms;
    EXPECT_EQ(clock_.MsUntilNextSecond(), 700);
    clock_.Suspend(true);
    EXPECT_EQ(clock_.MsUntilNextSecond(), -1) << "suspended: it waits for a change";
    clock_.Suspend(false);
    EXPECT_EQ(clock_.MsUntilNextSecond(), 700);
    clock_.SetPlaying(false);
    EXPECT_EQ(clock_.MsUntilNextSecond(), -1) << "paused";
    clock_.Report(-1, true, 100);
    EXPECT_EQ(clock_.MsUntilNextSecond(), -1) << "position unknown";

    // The thread itself: it calls back once the next second is due (the
    // test's clock stands still, so that is a real second away).
    clock_.Start();
    clock_.Report(0, true, 100);
    for (int i = 0; i < 500 && seconds_ == 0; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_GE(seconds_.load(), 1);
}

}  // namespace
}  // namespace vantor::ui
