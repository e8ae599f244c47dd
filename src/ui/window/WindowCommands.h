#pragma once

// What the menu's and the command bar's commands do, and the menu's items
// that come and go with the connection and the screen shown: connecting
// and disconnecting, the screens a command leads to, the speakers' flag.
// Leaving and the settings sheet are the window's own (they end it or
// redraw it) and are reached through hooks.
//
// Threads: the window's thread only.

#include <functional>

#include "ui/screens/Screens.h"

namespace vantor {
struct Settings;
}

namespace vantor::ui {

class CommandMenu;
class ConnectScreen;
class FrameTimers;
class LibraryScreen;
class PlayQueueList;
class PlayerPresenter;
class RemoteSession;
class ScreenNavigator;

class WindowCommands {
public:
    struct Parts {
        ScreenNavigator& screens;
        RemoteSession& session;
        ConnectScreen& connect;
        PlayQueueList& queue;
        LibraryScreen& library;
        CommandMenu& menu;
        PlayerPresenter& player;
        FrameTimers& timers;
        Settings& settings;
        std::function<void()> options;  // "Options...": the settings sheet
        std::function<void()> exit;     // "Exit"
        std::function<void()> save;     // every setting written
    };

    explicit WindowCommands(Parts parts) : parts_(std::move(parts)) {}

    // The menu's run-time items, each shown while its command makes sense.
    void AddMenuItems();
    void Run(WindowCommand command);
    // The now-playing screen (a tap on the song, a key), its art asked for.
    void ShowNowPlaying();

private:
    void Disconnect();
    void ShowLibrary();
    void ToggleMultipleSpeakers();

    Parts parts_;
};

}  // namespace vantor::ui
