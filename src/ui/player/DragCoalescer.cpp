#include "ui/player/DragCoalescer.h"

namespace vantor::ui {

DragCoalescer::DragCoalescer(QObject* owner, std::function<void(std::int32_t)> send,
                             std::chrono::milliseconds interval)
    : send_(std::move(send)), interval_(interval), timer_(owner) {
    timer_.setSingleShot(true);
    QObject::connect(&timer_, &QTimer::timeout, owner, [this] { SendPending(); });
}

void DragCoalescer::Update(std::int32_t value) {
    if (!dragging_) {
        // A new drag: its first value goes out at once.
        dragging_ = true;
        lastSent_.reset();
    }
    pending_ = value;
    if (!timer_.isActive()) {
        SendPending();
    }
}

void DragCoalescer::Finish(std::int32_t value) {
    timer_.stop();
    pending_.reset();
    dragging_ = false;
    if (lastSent_ != value) {
        lastSent_ = value;
        send_(value);
    }
}

void DragCoalescer::Cancel() {
    timer_.stop();
    pending_.reset();
    dragging_ = false;
}

void DragCoalescer::SendPending() {
    if (!pending_ || pending_ == lastSent_) {
        pending_.reset();
        return;
    }
    lastSent_ = pending_;
    pending_.reset();
    send_(*lastSent_);
    // Nothing more goes out until the interval has passed.
    timer_.start(interval_);
}

}  // namespace vantor::ui
