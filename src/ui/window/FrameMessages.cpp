#include "ui/window/FrameMessages.h"

#include <QCoreApplication>

namespace vantor::ui {

bool FrameEvent::Is(const QEvent& event) {
    switch (static_cast<FrameMessage>(event.type())) {
        case FrameMessage::PlaylistRow:
        case FrameMessage::Progress:
        case FrameMessage::NowPlaying:
        case FrameMessage::MenuItems:
        case FrameMessage::SessionReady:
        case FrameMessage::Reconnect:
        case FrameMessage::NetworkLost:
        case FrameMessage::NetworkBack:
        case FrameMessage::WorkerCall:
        case FrameMessage::Quit:
            return dynamic_cast<const FrameEvent*>(&event) != nullptr;
    }
    return false;
}

void WindowMailbox::Post(FrameMessage message, int parameter, std::function<void()> work) {
    std::lock_guard lock(mutex_);
    if (window_ != nullptr) {
        QCoreApplication::postEvent(window_, new FrameEvent(message, parameter, std::move(work)));
    }
}

void WindowMailbox::Close() {
    std::lock_guard lock(mutex_);
    window_ = nullptr;
}

}  // namespace vantor::ui
