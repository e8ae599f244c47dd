#pragma once

// The main window's private messages, and the one way other threads reach
// the window: they post a FrameEvent through the WindowMailbox and never
// touch a widget. Searching for FrameMessage finds every effect another
// thread has on the screen.
//
// Each message is a Qt event type of its own, in Qt's range for user types.

#include <QEvent>
#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "session/ConnectionFlow.h"

namespace vantor::ui {

enum class FrameMessage : int {
    // The play queue's current entry changed (the parameter);
    // selects it in the list, or refreshes the progress when the list is
    // empty.
    PlaylistRow = 1026,
    // A second of playback passed; the time and position bars
    // are drawn again.
    Progress = 1027,
    // A listener call from the receiver thread, carried over
    // with its values (the work).
    NowPlaying = 1028,
    // The menu's screen items are built again.
    MenuItems = 1029,
    // The connection flow's messages.
    SessionReady = static_cast<int>(FlowMessage::SessionReady),
    Reconnect = static_cast<int>(FlowMessage::Reconnect),
    NetworkLost = static_cast<int>(FlowMessage::NetworkLost),
    NetworkBack = static_cast<int>(FlowMessage::NetworkBack),
    // A worker's request for the screen (a status text, a
    // message box, a page that arrived), carried over as work.
    WorkerCall = 1034,
    // The message loop ends (an update installer was started).
    Quit = 0x8002,
};

class FrameEvent final : public QEvent {
public:
    explicit FrameEvent(FrameMessage message, int parameter = 0,
                        std::function<void()> work = nullptr)
        : QEvent(static_cast<QEvent::Type>(message)),
          parameter_(parameter),
          work_(std::move(work)) {
        sent_.store(true, std::memory_order_release);
    }

    FrameMessage Message() const { return static_cast<FrameMessage>(type()); }
    int Parameter() const { return parameter_; }
    // Runs the carried work, if any, on the window's thread.
    void Run() const {
        // Qt's event queue already orders everything the sender wrote
        // before the event against this; the pair of atomics says so to
        // ThreadSanitizer, which cannot see inside Qt's locks.
        if (sent_.load(std::memory_order_acquire) && work_) {
            work_();
        }
    }

    // Whether a Qt event is one of ours.
    static bool Is(const QEvent& event);

private:
    int parameter_;
    std::function<void()> work_;
    std::atomic<bool> sent_{false};
};

// Where other threads post to the window. The window closes it before it
// goes, so a thread that finishes late posts into nothing rather than to a
// destroyed window.
//
// Threads: Post from any thread; Close from the window's thread.
class WindowMailbox {
public:
    explicit WindowMailbox(QObject* window) : window_(window) {}

    void Post(FrameMessage message, int parameter = 0, std::function<void()> work = nullptr);
    void Close();

private:
    std::mutex mutex_;  // guards window_
    QObject* window_;
};

}  // namespace vantor::ui
