#pragma once

// The main window's timers, one QTimer per number. Each repeats until it is
// killed (those that fire once kill themselves as they fire); starting a
// running timer restarts it with the new period. Each QTimer is named
// "timer <id>" so tests can see which are running.
//
// Threads: the window's thread only.

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <map>

namespace vantor::ui {

inline constexpr int kReconnectPromptTimer = 101;  // 2000 ms
inline constexpr int kAutoConnectTimerId = 102;    // 10 ms, once
inline constexpr int kWelcomeTimer = 103;          // 10 ms, once
inline constexpr int kIdleTimer = 104;             // 1000 ms
inline constexpr int kSearchSettledTimer = 105;    // 1500 ms, once
inline constexpr int kDeferredRequestTimer = 106;  // 1000 ms, once
inline constexpr int kAlbumArtTimer = 107;         // 100 or 200 ms, once
inline constexpr int kAnimationTimer = 108;        // 30 ms

class FrameTimers {
public:
    // `expired` is called with the timer's number on every expiry.
    FrameTimers(QObject* owner, std::function<void(int id)> expired);

    void Start(int id, std::chrono::milliseconds period);
    void Kill(int id);
    bool IsRunning(int id) const;

private:
    QObject* owner_;
    std::function<void(int)> expired_;
    std::map<int, QTimer*> timers_;  // children of the owner
};

}  // namespace vantor::ui
