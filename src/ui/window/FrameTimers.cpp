#include "ui/window/FrameTimers.h"

namespace vantor::ui {

namespace {

constexpr std::array<const char*, kTimerCount> kNames = {
    "reconnect-prompt", "auto-connect",     "welcome",   "idle",
    "search-settled",   "deferred-request", "album-art", "animation"};

}  // namespace

FrameTimers::FrameTimers(QObject* owner, std::function<void(TimerId)> expired)
    : expired_(std::move(expired)) {
    for (std::size_t index = 0; index < kTimerCount; ++index) {
        const auto id = static_cast<TimerId>(index);
        auto* timer = new QTimer(owner);
        timer->setObjectName(QStringLiteral("timer %1").arg(QLatin1String(kNames[index])));
        // Coarse timers let the system batch wake-ups; only the animation
        // step needs its 30 ms kept closely.
        timer->setTimerType(id == TimerId::Animation ? Qt::PreciseTimer : Qt::CoarseTimer);
        QObject::connect(timer, &QTimer::timeout, owner, [this, id] { expired_(id); });
        timers_[index] = timer;
    }
}

void FrameTimers::Start(TimerId id, std::chrono::milliseconds period) {
    At(id).start(period);
}

void FrameTimers::Kill(TimerId id) {
    At(id).stop();
}

bool FrameTimers::IsRunning(TimerId id) const {
    return At(id).isActive();
}

}  // namespace vantor::ui
