#pragma once

// The window's key rules, apart from its widgets: which presses and
// releases fire a bound function, which drive the play queue's list, and
// which go on to the control that has the focus.
//
// A function that repeats (volume, skipping) fires on every press, so
// holding its key repeats it; any other fires once, when its key is let
// go, and not for a release within 100 ms of the last function a release
// fired (keys released together fire once; a repeating function's presses
// do not hold the next release back). The screen shown has its say first
// (ScreenKeys): its own keys (the library's Enter, Left, Up, ...), Up and
// Down when no function holds them (the main screen's list), and while
// one of its fields has the focus every key is the field's (a letter typed
// into the search field must not play or stop).
//
// Threads: the window's thread only.

#include <chrono>
#include <cstdint>
#include <optional>

#include "ui/keys/FunctionTable.h"

class QKeyEvent;

namespace vantor::ui {

// A screen's own keys, which come before the bound functions.
class ScreenKeys {
public:
    virtual ~ScreenKeys() = default;
    // A field of the screen has the focus: every key is the field's, the
    // bound functions' included (a letter typed must not fire one).
    virtual bool Typing() const { return false; }
    // A key released that the screen uses whether or not a function is
    // bound to it; true when it was used.
    virtual bool OwnKeyUp(std::int32_t /*vk*/) { return false; }
    // Up or Down released with no function bound to it; true when used.
    virtual bool FreeDirectionKeyUp(std::int32_t /*vk*/) { return false; }
};

// What the rules need of the window.
class KeyWindow {
public:
    virtual ~KeyWindow() = default;

    // The keys of the screen shown.
    virtual ScreenKeys& CurrentKeys() = 0;
    // Carries out a function of the table (play, a volume step, ...).
    virtual void FireFunction(FunctionId id) = 0;

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
    void Fire(FunctionId id);

    const FunctionTable& functions_;
    KeyWindow& window_;
    std::optional<std::chrono::steady_clock::time_point> lastFired_;  // by a release
};

}  // namespace vantor::ui
