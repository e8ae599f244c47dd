#include "ui/screens/ScreenNavigator.h"

#include "ui/view/ScreenView.h"

namespace vantor::ui {

ScreenNavigator::ScreenNavigator(ScreenView& view, Hooks hooks)
    : view_(view), hooks_(std::move(hooks)) {}

ScreenId ScreenNavigator::Current() const {
    std::lock_guard lock(mutex_);
    return current_;
}

void ScreenNavigator::HideControls() {
    if (const ScreenSpec* current = registry_.Find(Current()); current && current->showControls) {
        current->showControls(false);
    }
}

void ScreenNavigator::Switch(ScreenId id) {
    HideControls();
    const ScreenSpec* next = registry_.Find(id);
    if (hooks_.hidden() || next == nullptr) {
        return;
    }
    {
        std::lock_guard lock(mutex_);
        current_ = id;
    }
    if (next->showControls) {
        next->showControls(true);
    }
    view_.SetScreen(std::string(SkinKey(id)));
    if (next->entered) {
        next->entered();
    }
    hooks_.switched(*next);
}

bool ScreenNavigator::ShowNowPlaying() {
    const ScreenId current = Current();
    if (current == ScreenId::Connect || current == ScreenId::NowPlaying) {
        return false;
    }
    previous_ = current;
    Switch(ScreenId::NowPlaying);
    return true;
}

void ScreenNavigator::BackFromNowPlaying() {
    Switch(previous_ == ScreenId::None || previous_ == ScreenId::NowPlaying ? ScreenId::Main
                                                                            : previous_);
}

bool ScreenNavigator::IdleFor(std::chrono::milliseconds time) const {
    return busy_ == 0 && std::chrono::steady_clock::now() - lastInput_ >= time;
}

}  // namespace vantor::ui
