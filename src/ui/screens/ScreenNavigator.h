#pragma once

// Which screen shows: the current and the previous screen, switching
// between them (the old screen's controls hidden, the new one's shown and
// entered, the skin's picture of it drawn), the now-playing screen and
// the way back from it, and the idle switch's clock (the last input, and
// whether a menu or a box is open).
//
// Threads: Current() from any thread (the flow's threads read it); the
// rest on the window's thread.

#include <chrono>
#include <functional>
#include <mutex>
#include <vector>

#include "ui/screens/Screens.h"

namespace vantor::ui {

class ScreenView;

class ScreenNavigator {
public:
    struct Hooks {
        std::function<bool()> hidden;  // no screen shows (landscape)
        // After every switch: the command bar's button, the menu, the bars.
        std::function<void(const Screen&)> switched;
    };

    ScreenNavigator(ScreenView& view, Hooks hooks);

    // A screen the navigator may show; it outlives the navigator.
    void Add(Screen& screen) { screens_.push_back(&screen); }
    const std::vector<Screen*>& All() const { return screens_; }
    Screen* Find(ScreenId id) const;

    ScreenId Current() const;
    // The keys of the screen shown (none before the first).
    ScreenKeys& CurrentKeys();
    // Hides the current screen's controls and shows `id`'s; nothing else
    // while no screen shows, or for a screen not registered.
    void Switch(ScreenId id);
    // Hides the current screen's controls (the window turned landscape).
    void HideControls();

    // To "nowplaying", remembering where from; false from the connect
    // screen or when it shows already.
    bool ShowNowPlaying();
    // Back from "nowplaying" to where it came from ("main" when that is
    // unknown).
    void BackFromNowPlaying();

    // The idle switch's clock.
    void NoteInput() { lastInput_ = std::chrono::steady_clock::now(); }
    void Busy(int change) { busy_ += change; }
    // No input for `time`, and no menu or box open.
    bool IdleFor(std::chrono::milliseconds time) const;

private:
    ScreenView& view_;
    Hooks hooks_;
    std::vector<Screen*> screens_;
    ScreenKeys noKeys_;
    mutable std::mutex mutex_;  // guards current_ (read by other threads)
    ScreenId current_ = ScreenId::None;
    ScreenId previous_ = ScreenId::None;
    std::chrono::steady_clock::time_point lastInput_ = std::chrono::steady_clock::now();
    int busy_ = 0;  // menus and boxes open
};

}  // namespace vantor::ui
