#include "ui/screens/ScreenNavigator.h"

#include "ui/view/ScreenView.h"

namespace vantor::ui {

ScreenNavigator::ScreenNavigator(ScreenView& view, Hooks hooks)
    : view_(view), hooks_(std::move(hooks)) {}

ScreenId ScreenNavigator::Current() const {
    std::lock_guard lock(mutex_);
    return current_;
}

Screen* ScreenNavigator::Find(ScreenId id) const {
    for (Screen* screen : screens_) {
        if (screen->Id() == id) {
            return screen;
        }
    }
    return nullptr;
}

ScreenKeys& ScreenNavigator::CurrentKeys() {
    Screen* current = Find(Current());
    return current != nullptr ? static_cast<ScreenKeys&>(*current) : noKeys_;
}

void ScreenNavigator::HideControls() {
    if (Screen* current = Find(Current())) {
        current->Close();
    }
}

void ScreenNavigator::Switch(ScreenId id) {
    HideControls();
    Screen* next = Find(id);
    if (hooks_.hidden() || next == nullptr) {
        return;
    }
    {
        std::lock_guard lock(mutex_);
        current_ = id;
    }
    next->Open();
    view_.Rebuild();
    next->Entered();
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
