#include "ui/player/PlaybackClock.h"

#include <algorithm>

namespace vantor::ui {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

PlaybackClock::PlaybackClock(std::function<void()> onSecond, std::function<Clock::time_point()> now)
    : shared_(std::make_shared<Shared>()) {
    shared_->now = std::move(now);
    shared_->onSecond = std::move(onSecond);
    shared_->state.since = shared_->now();
}

PlaybackClock::~PlaybackClock() {
    Change([](State& state) {
        state.closing = true;
        return true;
    });
    thread_.Stop();
}

void PlaybackClock::Start() {
    // The thread keeps a share of what it uses: should it outlive its stop,
    // it still never reads freed memory.
    thread_.Start("Now Playing Position", [shared = shared_] { shared->Run(); });
}

std::int64_t PlaybackClock::Shared::PositionLocked(Clock::time_point at) const {
    if (state.baseMs < 0) {
        return -1;
    }
    std::int64_t ms = state.baseMs;
    if (state.playing && at > state.since) {
        ms += duration_cast<milliseconds>(at - state.since).count();
    }
    if (state.length > 0) {
        ms = std::min<std::int64_t>(ms, std::int64_t{state.length} * 1000);
    }
    return ms;
}

std::int64_t PlaybackClock::Shared::MsUntilNextSecondLocked() const {
    if (state.suspended || !state.playing || state.baseMs < 0) {
        return -1;
    }
    return 1000 - PositionLocked(now()) % 1000;
}

void PlaybackClock::Shared::Run() {
    std::unique_lock lock(mutex);
    while (!state.closing) {
        const std::uint64_t generation = state.generation;
        const auto changedSince = [&] { return state.closing || state.generation != generation; };
        const std::int64_t untilNextSecond = MsUntilNextSecondLocked();
        if (untilNextSecond < 0) {
            changed.wait(lock, changedSince);
            continue;
        }
        if (changed.wait_for(lock, milliseconds(untilNextSecond), changedSince)) {
            continue;
        }
        lock.unlock();
        onSecond();
        lock.lock();
    }
}

void PlaybackClock::Change(const std::function<bool(State&)>& change) {
    bool changed = false;
    {
        std::lock_guard lock(shared_->mutex);
        changed = change(shared_->state);
        if (changed) {
            ++shared_->state.generation;
        }
    }
    if (changed) {
        shared_->changed.notify_all();
    }
}

void PlaybackClock::Report(std::int32_t seconds, bool playing, std::int32_t length) {
    Change([&](State& state) {
        const Clock::time_point at = shared_->now();
        const std::int64_t running = shared_->PositionLocked(at);
        const std::int64_t reported = std::int64_t{seconds} * 1000;
        const bool sameSecond = seconds >= 0 && state.playing && playing && running >= reported &&
                                running < reported + 1000;
        if (sameSecond && state.length == length) {
            return false;  // the clock runs on as it was: the thread sleeps on
        }
        state.baseMs = seconds < 0 ? -1 : sameSecond ? running : reported;
        state.since = at;
        state.playing = playing;
        state.length = length;
        return true;
    });
}

void PlaybackClock::SetPlaying(bool playing) {
    Change([&](State& state) {
        const Clock::time_point at = shared_->now();
        state.baseMs = shared_->PositionLocked(at);
        state.since = at;
        state.playing = playing;
        return true;
    });
}

void PlaybackClock::SetLength(std::int32_t length) {
    Change([&](State& state) {
        state.length = length;
        return true;
    });
}

void PlaybackClock::Suspend(bool suspended) {
    Change([&](State& state) {
        state.suspended = suspended;
        return true;
    });
}

std::int64_t PlaybackClock::PositionMs() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->PositionLocked(shared_->now());
}

std::int32_t PlaybackClock::Seconds() const {
    const std::int64_t ms = PositionMs();
    return ms < 0 ? -1 : static_cast<std::int32_t>(ms / 1000);
}

std::int32_t PlaybackClock::Length() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->state.length;
}

std::int64_t PlaybackClock::MsUntilNextSecond() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->MsUntilNextSecondLocked();
}

bool PlaybackClock::Playing() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->state.playing;
}

}  // namespace vantor::ui
