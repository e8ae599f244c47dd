#pragma once

// The window's screens and commands. A screen is drawn from the skin under
// its name; what the window needs to know besides is the command bar's
// button it shows and the child controls it puts over the skin. Screens
// and the menu's run-time items are registered, so a new screen plugs in
// without the window's switch logic knowing it.
//
// Threads: the window's thread only.

#include <QMenu>
#include <QString>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::ui {

// Command identifiers of the menu and the command bar.
inline constexpr int kCommandDisconnect = 32776;
inline constexpr int kCommandOptions = 32777;
inline constexpr int kCommandNowPlaying = 32786;
inline constexpr int kCommandControls = 32791;
inline constexpr int kCommandLibrary = 32792;
inline constexpr int kCommandConnect = 32794;
inline constexpr int kCommandMultipleSpeakers = 22050;
inline constexpr int kCommandEqualizer = 32800;  // shows the "eq" screen
inline constexpr int kCommandSpeakers = 32801;   // the speakers submenu
inline constexpr int kCommandExit = 57665;       // the application-exit command

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

struct ScreenSpec {
    ScreenId id = ScreenId::None;
    QString commandLabel;  // the command bar's one button on this screen
    int command = 0;
    // Shows and enables the screen's child controls, or hides and disables
    // them.
    std::function<void(bool shown)> showControls;
    // Each time the screen becomes current, after its controls show.
    std::function<void()> entered;
};

// An item the menu holds only at times, above "Options...".
struct MenuItemSpec {
    int command = 0;
    QString label;
    std::function<bool()> shown = nullptr;       // whether the menu holds it now
    std::function<bool()> checked = nullptr;     // null: not a check item
    std::function<void(QMenu&)> fill = nullptr;  // set: a submenu, filled as the menu is built
};

class ScreenRegistry {
public:
    void Add(ScreenSpec screen) { screens_.push_back(std::move(screen)); }
    const ScreenSpec* Find(ScreenId id) const {
        for (const ScreenSpec& screen : screens_) {
            if (screen.id == id) {
                return &screen;
            }
        }
        return nullptr;
    }
    const std::vector<ScreenSpec>& All() const { return screens_; }

private:
    std::vector<ScreenSpec> screens_;
};

}  // namespace vantor::ui
