#pragma once

// The window's menu and its command bar: the menu's items (the run-time
// items registered by the screens and the session, then "Options..." and
// "Exit"), the command bar's one button, and the "Speakers" submenu with
// its choice of one speaker or several.
//
// Threads: the window's thread only.

#include <QString>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "protocol/PlayerMessages.h"
#include "ui/screens/Screens.h"

class QFont;
class QMainWindow;
class QMenu;
class QPalette;
class QToolBar;
class QToolButton;

namespace vantor {
class RequestSink;
}

namespace vantor::ui {

class CommandMenu {
public:
    struct Hooks {
        std::function<void(WindowCommand command)> command;  // an item or the button chosen
        std::function<void(int change)> busy;    // +1 as the menu opens, -1 as it closes
        std::function<bool()> multipleSpeakers;  // "Use Multiple Speakers" is on
    };

    // Adds the menu to `window`'s menu bar and the command bar at its foot.
    CommandMenu(QMainWindow& window, RequestSink& requests, Hooks hooks);

    void AddItem(MenuItemSpec item) {
        items_.push_back(std::move(item));
        submenus_.push_back(nullptr);
    }
    // The menu built again from its items as they stand.
    void Rebuild();
    // The menu's texts as they stand now (run-time items included).
    std::vector<QString> Texts();

    // The command bar's button on the screen shown.
    void SetButton(const QString& label, WindowCommand command);
    int BarHeight() const;
    void SetLook(const QPalette& palette, const QFont& font);

    void SetSpeakers(std::vector<Speaker> speakers) { speakers_ = std::move(speakers); }
    const std::vector<Speaker>& Speakers() const { return speakers_; }
    // The "Speakers" submenu's items.
    void FillSpeakers(QMenu& menu);

private:
    // Item `index`'s submenu, emptied and filled as the item says.
    QMenu& Refilled(std::size_t index);
    void ChooseSpeaker(const std::string& id, bool enabled);

    QMainWindow& window_;
    RequestSink& requests_;
    Hooks hooks_;
    QMenu* menu_;
    QToolBar* bar_;
    QToolButton* button_;
    WindowCommand buttonCommand_ = WindowCommand::Connect;
    std::vector<MenuItemSpec> items_;
    std::vector<QMenu*> submenus_;  // an item's submenu, made once (null: none yet)
    std::vector<Speaker> speakers_;
};

}  // namespace vantor::ui
