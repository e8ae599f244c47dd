#pragma once

// The main window's timers, one QTimer each. Each repeats until it is
// killed (those that fire once kill themselves as they fire); starting a
// running timer restarts it with the new period. Each QTimer is named
// after its job ("timer album-art") so a debugger shows which are running.
//
// Threads: the window's thread only.

#include <QObject>
#include <QTimer>
#include <array>
#include <chrono>
#include <functional>

namespace vantor::ui {

enum class TimerId {
    ReconnectPrompt,  // 2000 ms while the connection is down
    AutoConnect,      // 10 ms, once
    Welcome,          // 10 ms, once
    Idle,             // 1000 ms
    SearchSettled,    // 1500 ms, once
    DeferredRequest,  // 1000 ms, once
    AlbumArt,         // 100 or 200 ms, once
    Animation,        // 30 ms
};
inline constexpr std::size_t kTimerCount = 8;

class FrameTimers {
public:
    // `expired` is called with the timer on every expiry.
    FrameTimers(QObject* owner, std::function<void(TimerId)> expired);

    void Start(TimerId id, std::chrono::milliseconds period);
    void Kill(TimerId id);
    bool IsRunning(TimerId id) const;

private:
    QTimer& At(TimerId id) const { return *timers_[static_cast<std::size_t>(id)]; }

    std::function<void(TimerId)> expired_;
    std::array<QTimer*, kTimerCount> timers_{};  // children of the owner
};

}  // namespace vantor::ui
