#pragma once

// The playback position between the server's reports. The server tells the
// position in whole seconds (once a second while it plays, or only when it
// changes, depending on the player); the clock runs on from the last report
// while the player plays, so the time and the position bars move smoothly
// whatever the server sends.
//
// It owns the now-playing position thread: while the player plays, the
// thread wakes at every whole second of the running position and calls
// `onSecond` (which posts the window's progress message). The window
// suspends the thread while it shows no screen (landscape) and resumes it
// after.
//
// Threads: Report, Suspend and the destructor on the window's thread;
// PositionMs and Seconds from any thread; `onSecond` on the clock's thread.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "core/NamedThread.h"

namespace vantor::ui {

class PlaybackClock {
public:
    using Clock = std::chrono::steady_clock;

    // `now` stands in for the steady clock in tests.
    explicit PlaybackClock(std::function<void()> onSecond,
                           std::function<Clock::time_point()> now = &Clock::now);
    ~PlaybackClock();
    PlaybackClock(const PlaybackClock&) = delete;
    PlaybackClock& operator=(const PlaybackClock&) = delete;

    void Start();

    // What the server said: the position in seconds (negative: unknown),
    // whether it plays, and the song's length (seconds, 0 or less unknown).
    // A report that agrees with the running position to the second leaves
    // it running, so the position never steps back by a fraction.
    void Report(std::int32_t seconds, bool playing, std::int32_t length);
    void SetPlaying(bool playing);
    void SetLength(std::int32_t length);

    void Suspend(bool suspended);

    // The running position in milliseconds (never past the length), or -1
    // when unknown.
    std::int64_t PositionMs() const;
    std::int32_t Seconds() const;
    std::int32_t Length() const;
    bool Playing() const;
    // How long the thread sleeps before its next `onSecond`: the time to the
    // running position's next whole second, or -1 while it waits for a
    // change (suspended, not playing, or the position unknown).
    std::int64_t MsUntilNextSecond() const;

private:
    struct State {
        std::int64_t baseMs = -1;  // position at `since`
        Clock::time_point since;   // when baseMs held
        bool playing = false;
        std::int32_t length = 0;
        bool suspended = false;
        bool closing = false;
        std::uint64_t generation = 0;  // bumped by every change, to wake the thread
    };
    struct Shared {
        std::function<Clock::time_point()> now;
        std::function<void()> onSecond;
        mutable std::mutex mutex;  // guards state
        std::condition_variable changed;
        State state;

        std::int64_t PositionLocked(Clock::time_point at) const;
        std::int64_t MsUntilNextSecondLocked() const;
        void Run();
    };

    // Runs `change` under the lock; when it says it changed something, the
    // thread is woken to plan its next wake-up again.
    void Change(const std::function<bool(State&)>& change);

    std::shared_ptr<Shared> shared_;
    NamedThread thread_;
};

}  // namespace vantor::ui
