#pragma once

// The window's key rules, apart from its widgets: which presses and
// releases fire a bound function, which drive the play queue's list, and
// which go on to the control that has the focus.
//
// A function that repeats (volume, skipping) fires on every press, so
// holding its key repeats it; any other fires once, when its key is let
// go, and not for a release within 100 ms of the last function a release
// fired (keys released together fire once; a repeating function's presses
// do not hold the next release back). On the "playlist" screen, Enter,
// Center and Right open the selected entry, Left goes back, Up and Down
// bring the list into play; Up and Down on "main", when not bound, bring
// its list into play at the song now playing.
//
// While the play queue's search field has the focus, every key is the
// field's: neither its press nor its release fires a function (a letter
// typed into the field must not play or stop).
//
// Threads: the window's thread only.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "ui/keys/FunctionTable.h"

class QKeyEvent;

namespace vantor::ui {

// What the rules need of the window.
class KeyWindow {
public:
    virtual ~KeyWindow() = default;

    virtual std::string CurrentScreen() const = 0;
    // Whether the "playlist" screen's search field has the focus.
    virtual bool SearchFieldHasFocus() const = 0;
    // Carries out a function of the table (play, a volume step, ...).
    virtual void FireFunction(int id) = 0;

    // The "playlist" screen: open the selected entry as a tap would; its
    // back action; select the first entry when none is selected and give
    // the list the focus.
    virtual void OpenSelectedEntry() = 0;
    virtual void GoBack() = 0;
    virtual void FocusLibrary() = 0;

    // The "main" screen's list.
    virtual bool MainListHasFocus() const = 0;
    // Selects the entry at the player's current index (0 when negative),
    // scrolls it into view and gives the list the focus.
    virtual void FocusCurrentEntry() = 0;

    // Every key message is user input: the idle switch to "nowplaying"
    // counts from the last one.
    virtual void NoteUserInput() = 0;

    virtual std::chrono::steady_clock::time_point Now() const = 0;
};

class KeyTranslator {
public:
    // Neither is owned; both outlive the translator.
    KeyTranslator(const FunctionTable& functions, KeyWindow& window)
        : functions_(functions), window_(window) {}

    // A key went down (auto-repeats included) or up, by its virtual-key
    // number (VirtualKeys.h; 0 for a key without one). True when the key
    // was used here and must not reach the focused control.
    bool KeyDown(std::int32_t vk);
    bool KeyUp(std::int32_t vk);

    // A key event as Qt delivers it to the window: presses (auto-repeats
    // too) go down, releases up, except the release Linux sends before
    // each auto-repeated press, which is no key going up. Other events are
    // not keys. True when the event was used here.
    bool Translate(const QKeyEvent& event);

    static constexpr std::chrono::milliseconds kReleaseGap{100};

private:
    bool RecentlyFired() const;
    void Fire(int id);

    const FunctionTable& functions_;
    KeyWindow& window_;
    std::optional<std::chrono::steady_clock::time_point> lastFired_;  // by a release
};

}  // namespace vantor::ui
