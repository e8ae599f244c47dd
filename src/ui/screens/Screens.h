#pragma once

// The window's screens and commands. A screen is drawn from the skin under
// its key; what the window needs to know besides is the command bar's
// button it shows, the child controls it puts over the skin and its own
// keys (Screen). Screens and the menu's run-time items are registered, so
// a new screen plugs in without the window's switch logic knowing it.
//
// Threads: the window's thread only.

#include <QFont>
#include <QMenu>
#include <QSize>
#include <QString>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ui/keys/KeyTranslator.h"

namespace vantor {
class CSkin;
}

namespace vantor::ui {

// The commands of the menu and the command bar.
enum class WindowCommand {
    Disconnect,
    Options,
    NowPlaying,
    Controls,
    Library,
    Connect,
    MultipleSpeakers,
    Equalizer,  // shows the "eq" screen
    Speakers,   // the speakers submenu
    Exit,
};

// The screens. Each is drawn from the skin under its key (SkinKey); the
// library screen is the skin's "playlist".
enum class ScreenId { None, Connect, Main, NowPlaying, Library, Eq };

constexpr std::string_view SkinKey(ScreenId id) {
    switch (id) {
        case ScreenId::Connect:
            return "connect";
        case ScreenId::Main:
            return "main";
        case ScreenId::NowPlaying:
            return "nowplaying";
        case ScreenId::Library:
            return "playlist";
        case ScreenId::Eq:
            return "eq";
        case ScreenId::None:
            break;
    }
    return {};
}

// A screen: what the window needs of it besides the skin's picture (the
// command bar's button, its child controls, its keys).
class Screen : public ScreenKeys {
public:
    virtual ScreenId Id() const = 0;
    // The command bar's one button while the screen shows.
    virtual QString CommandLabel() const = 0;
    virtual WindowCommand Command() const = 0;
    // Its child controls shown and enabled (the screen becomes current),
    // or hidden and disabled.
    virtual void Open() {}
    virtual void Close() {}
    // Each time it became current, after its controls show and the skin's
    // picture of it is drawn.
    virtual void Entered() {}
    // Its controls placed for the skin, the screen's size and the frame's
    // font.
    virtual void Place(const CSkin& /*skin*/, QSize /*screen*/, const QFont& /*font*/) {}
};

// An item the menu holds only at times, above "Options...".
struct MenuItemSpec {
    WindowCommand command = WindowCommand::Options;
    QString label;
    std::function<bool()> shown = nullptr;       // whether the menu holds it now
    std::function<bool()> checked = nullptr;     // null: not a check item
    std::function<void(QMenu&)> fill = nullptr;  // set: a submenu, filled as the menu is built
};

}  // namespace vantor::ui
