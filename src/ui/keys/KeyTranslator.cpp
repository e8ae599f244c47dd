#include "ui/keys/KeyTranslator.h"

#include <QKeyEvent>

#include "ui/keys/KeyNames.h"
#include "ui/keys/VirtualKeys.h"

namespace vantor::ui {

bool KeyTranslator::KeyDown(std::int32_t vk) {
    window_.NoteUserInput();
    if (vk == 0) {
        return false;  // a key without a number is never bound
    }
    if (window_.CurrentKeys().Typing()) {
        return false;
    }
    const std::optional<FunctionId> id = functions_.Find(vk);
    if (!id) {
        return false;
    }
    // A bound key's press is the function's even when it waits for the
    // release, so the focused list does not move under it.
    if (functions_.Row(*id).repeat) {
        window_.FireFunction(*id);
    }
    return true;
}

bool KeyTranslator::KeyUp(std::int32_t vk) {
    window_.NoteUserInput();
    if (vk == 0) {
        return false;  // a key without a number is never bound
    }
    ScreenKeys& screen = window_.CurrentKeys();
    if (screen.Typing()) {
        return false;
    }
    if (screen.OwnKeyUp(vk)) {
        return true;
    }
    if (RecentlyFired()) {
        return false;
    }
    const std::optional<FunctionId> id = functions_.Find(vk);
    if (!id) {
        return (vk == kVkUp || vk == kVkDown) && screen.FreeDirectionKeyUp(vk);
    }
    if (!functions_.Row(*id).repeat) {
        Fire(*id);
    }
    return true;
}

bool KeyTranslator::Translate(const QKeyEvent& event) {
    if (event.type() == QEvent::KeyPress) {
        return KeyDown(VirtualKeyOf(event));
    }
    if (event.type() == QEvent::KeyRelease && !event.isAutoRepeat()) {
        return KeyUp(VirtualKeyOf(event));
    }
    return false;
}

bool KeyTranslator::RecentlyFired() const {
    return lastFired_ && window_.Now() - *lastFired_ <= kReleaseGap;
}

void KeyTranslator::Fire(FunctionId id) {
    lastFired_ = window_.Now();
    window_.FireFunction(id);
}

}  // namespace vantor::ui
