#pragma once

// Coalesces the values of a drag into requests the server can keep up
// with: the first value goes out at once, later ones at most once per
// interval (the latest value wins), and the value where the drag ends
// always goes out unless it was the last one sent. A bar dragged across its
// length in a second thus costs about ten requests, not one per mouse move.
//
// Threads: the window's thread only.

#include <QObject>
#include <QTimer>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace vantor::ui {

class DragCoalescer {
public:
    static constexpr std::chrono::milliseconds kDefaultInterval{100};

    DragCoalescer(QObject* owner, std::function<void(std::int32_t)> send,
                  std::chrono::milliseconds interval = kDefaultInterval);

    // A value during the drag.
    void Update(std::int32_t value);
    // The drag ended at this value.
    void Finish(std::int32_t value);
    // The drag ended without a value: what waits is not sent.
    void Cancel();
    bool Dragging() const { return dragging_; }

private:
    void SendPending();

    std::function<void(std::int32_t)> send_;
    std::chrono::milliseconds interval_;
    QTimer timer_;  // runs while a value waits for its turn
    bool dragging_ = false;
    std::optional<std::int32_t> pending_;
    std::optional<std::int32_t> lastSent_;
};

}  // namespace vantor::ui
