#include "ui/window/WindowCommands.h"

#include <QMenu>
#include <chrono>

#include "session/ConnectionFlow.h"
#include "session/Settings.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/player/PlayerPresenter.h"
#include "ui/remote/RemoteSession.h"
#include "ui/screens/ConnectScreen.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/screens/ScreenNavigator.h"
#include "ui/window/CommandMenu.h"
#include "ui/window/FrameTimers.h"

namespace vantor::ui {

using std::chrono::milliseconds;

void WindowCommands::AddMenuItems() {
    const auto on = [this](ScreenId id) { return parts_.screens.Current() == id; };
    RemoteSession& session = parts_.session;
    CommandMenu& menu = parts_.menu;
    menu.AddItem({.command = WindowCommand::NowPlaying,
                  .label = QStringLiteral("Now Playing"),
                  .shown = [on] { return !on(ScreenId::Connect) && !on(ScreenId::NowPlaying); }});
    menu.AddItem({.command = WindowCommand::Library,
                  .label = QStringLiteral("Library"),
                  .shown = [on] { return !on(ScreenId::Connect) && !on(ScreenId::Library); }});
    menu.AddItem({.command = WindowCommand::Equalizer,
                  .label = QStringLiteral("Equalizer"),
                  .shown = [&session, on] {
                      return session.Connected() && session.Player().supportsEq &&
                             !on(ScreenId::Connect) && !on(ScreenId::Eq);
                  }});
    menu.AddItem(
        {.command = WindowCommand::Speakers,
         .label = QStringLiteral("Speakers"),
         .shown = [&session, &menu] { return session.Connected() && !menu.Speakers().empty(); },
         .fill = [&menu](QMenu& submenu) { menu.FillSpeakers(submenu); }});
    menu.AddItem({.command = WindowCommand::MultipleSpeakers,
                  .label = QStringLiteral("Use Multiple Speakers"),
                  .shown =
                      [&session] {
                          return session.Connected() && session.Player().supportsMultipleSpeakers;
                      },
                  .checked = [this] { return parts_.settings.useMultipleSpeakers; }});
    menu.AddItem({.command = WindowCommand::Disconnect,
                  .label = QStringLiteral("Disconnect"),
                  .shown = [&session] { return session.Connected() || session.AttemptRunning(); }});
}

void WindowCommands::Run(WindowCommand command) {
    const ScreenId screen = parts_.screens.Current();
    switch (command) {
        case WindowCommand::Options:
            parts_.options();
            break;
        case WindowCommand::Exit:
            parts_.exit();
            break;
        case WindowCommand::Connect:
            parts_.session.Flow().ConnectPressed();
            parts_.connect.SetServers(parts_.settings.servers);
            parts_.connect.SetReady(!parts_.session.AttemptRunning());
            break;
        case WindowCommand::Disconnect:
            Disconnect();
            break;
        case WindowCommand::NowPlaying:
            ShowNowPlaying();
            break;
        case WindowCommand::Controls:
            if (screen != ScreenId::Connect && screen != ScreenId::Main) {
                parts_.screens.Switch(ScreenId::Main);
            }
            break;
        case WindowCommand::Library:
            ShowLibrary();
            break;
        case WindowCommand::MultipleSpeakers:
            ToggleMultipleSpeakers();
            break;
        case WindowCommand::Equalizer:
            if (screen != ScreenId::Connect && screen != ScreenId::Eq &&
                parts_.session.Connected()) {
                parts_.screens.Switch(ScreenId::Eq);
            }
            break;
        case WindowCommand::Speakers:
            break;  // a submenu: its items choose
    }
}

void WindowCommands::ShowNowPlaying() {
    if (parts_.screens.ShowNowPlaying()) {
        parts_.timers.Start(TimerId::AlbumArt, milliseconds(100));
    }
}

void WindowCommands::Disconnect() {
    parts_.session.Flow().Disconnect();
    parts_.screens.Switch(ScreenId::Connect);
    parts_.queue.Clear();
    parts_.library.Reset();
    parts_.menu.SetSpeakers({});
    parts_.connect.SetStatus("");
    parts_.connect.SetReady(true);
    parts_.menu.Rebuild();
    parts_.player.FollowSession();
}

void WindowCommands::ShowLibrary() {
    const ScreenId screen = parts_.screens.Current();
    if (screen == ScreenId::Connect || screen == ScreenId::Library ||
        parts_.session.NetworkDown() || parts_.session.AttemptRunning()) {
        return;
    }
    if (!parts_.queue.IsOpen()) {
        parts_.queue.Open(parts_.player.PlaylistPosition());
    }
    parts_.screens.Switch(ScreenId::Library);
}

void WindowCommands::ToggleMultipleSpeakers() {
    parts_.settings.useMultipleSpeakers = !parts_.settings.useMultipleSpeakers;
    parts_.menu.Rebuild();
    parts_.save();
}

}  // namespace vantor::ui
