#include "ui/keys/KeyTranslator.h"

#include <QKeyEvent>

#include "skin/CSkin.h"
#include "ui/keys/KeyNames.h"
#include "ui/keys/VirtualKeys.h"

namespace vantor::ui {

bool KeyTranslator::KeyDown(std::int32_t vk) {
    window_.NoteUserInput();
    if (vk == 0) {
        return false;  // a key without a number is never bound
    }
    if (window_.CurrentScreen() == kScreenPlaylist && window_.SearchFieldHasFocus()) {
        return false;
    }
    const int id = functions_.Find(vk);
    if (id < 0) {
        return false;
    }
    // A bound key's press is the function's even when it waits for the
    // release, so the focused list does not move under it.
    if (functions_.Row(id).repeat) {
        window_.FireFunction(id);
    }
    return true;
}

bool KeyTranslator::KeyUp(std::int32_t vk) {
    window_.NoteUserInput();
    if (vk == 0) {
        return false;  // a key without a number is never bound
    }
    const std::string screen = window_.CurrentScreen();
    if (screen == kScreenPlaylist) {
        if (window_.SearchFieldHasFocus()) {
            return false;
        }
        switch (vk) {
            case kVkReturn:
            case kVkCenter:
            case kVkRight:
                window_.OpenSelectedEntry();
                return true;
            case kVkLeft:
                window_.GoBack();
                return true;
            case kVkUp:
            case kVkDown:
                window_.FocusLibrary();
                return true;
            default:
                break;
        }
    } else if (vk == kVkUp || vk == kVkDown) {
        if (RecentlyFired()) {
            return false;
        }
        if (const int id = functions_.Find(vk); id >= 0) {
            if (!functions_.Row(id).repeat) {
                Fire(id);
            }
            return true;
        }
        if (screen == kScreenMain) {
            if (!window_.MainListHasFocus()) {
                window_.FocusCurrentEntry();
            }
            return true;
        }
        return false;
    }
    if (RecentlyFired()) {
        return false;
    }
    const int id = functions_.Find(vk);
    if (id < 0) {
        return false;
    }
    if (!functions_.Row(id).repeat) {
        Fire(id);
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

void KeyTranslator::Fire(int id) {
    lastFired_ = window_.Now();
    window_.FireFunction(id);
}

}  // namespace vantor::ui
