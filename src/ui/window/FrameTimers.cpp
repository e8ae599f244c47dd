#include "ui/window/FrameTimers.h"

namespace vantor::ui {

FrameTimers::FrameTimers(QObject* owner, std::function<void(int id)> expired)
    : owner_(owner), expired_(std::move(expired)) {
    for (int id = kReconnectPromptTimer; id <= kAnimationTimer; ++id) {
        auto* timer = new QTimer(owner_);
        timer->setObjectName(QStringLiteral("timer %1").arg(id));
        // Coarse timers let the system batch wake-ups; only the animation
        // step needs its 30 ms kept closely.
        timer->setTimerType(id == kAnimationTimer ? Qt::PreciseTimer : Qt::CoarseTimer);
        QObject::connect(timer, &QTimer::timeout, owner_, [this, id] { expired_(id); });
        timers_[id] = timer;
    }
}

void FrameTimers::Start(int id, std::chrono::milliseconds period) {
    if (const auto found = timers_.find(id); found != timers_.end()) {
        found->second->start(period);
    }
}

void FrameTimers::Kill(int id) {
    if (const auto found = timers_.find(id); found != timers_.end()) {
        found->second->stop();
    }
}

bool FrameTimers::IsRunning(int id) const {
    const auto found = timers_.find(id);
    return found != timers_.end() && found->second->isActive();
}

}  // namespace vantor::ui
