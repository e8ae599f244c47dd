// The window's side of its commands (leaving, the settings sheet and the
// skin it may choose), its timers, and the posts other threads send it.

#include <QApplication>
#include <QScreen>

#include "core/Logger.h"
#include "protocol/Messages.h"
#include "session/ConnectionFlow.h"
#include "session/Settings.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/player/PlayerPresenter.h"
#include "ui/remote/AlbumArtLoader.h"
#include "ui/remote/RemoteSession.h"
#include "ui/screens/ConnectScreen.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/screens/ScreenNavigator.h"
#include "ui/settings/UserSettings.h"
#include "ui/window/CMainFrame.h"
#include "ui/window/CommandMenu.h"
#include "ui/window/FrameTimers.h"
#include "ui/window/HandOff.h"
#include "ui/window/Prompter.h"
#include "ui/window/WindowCommands.h"

namespace vantor::ui {

using std::chrono::milliseconds;

void CMainFrame::Command(WindowCommand command) {
    if (created_ && !closing_) {
        commands_->Run(command);
    }
}

void CMainFrame::Exit() {
    if (closing_) {
        return;
    }
    closing_ = true;
    handOff_->AnswerAll();
    if (session_) {
        session_->Flow().Exit();
    }
    quit_(0);
}

void CMainFrame::SaveAll() {
    settings_->Save(connect_->Text(), connect_->Items(), options_.server, *prompter_);
}

void CMainFrame::Busy(int change) {
    screens_->Busy(change);
}

void CMainFrame::OnScreenSwitched() {
    player_->RefreshProgress();
    menu_->Rebuild();
}

// --- Timers and posts ---------------------------------------------------------------

void CMainFrame::OnTimer(TimerId id) {
    switch (id) {
        case TimerId::ReconnectPrompt:
            session_->Flow().OnTimer(FlowTimer::Reconnect);
            break;
        case TimerId::AutoConnect:
            session_->Flow().OnTimer(FlowTimer::AutoConnect);
            connect_->SetReady(!AttemptRunning());
            menu_->Rebuild();
            break;
        case TimerId::Welcome:
            timers_->Kill(TimerId::Welcome);
            Busy(1);
            prompter_->Inform(kWelcomeCaption, kWelcomeText);
            Busy(-1);
            OpenSettings();
            break;
        case TimerId::Idle:
            OnIdleTick();
            break;
        case TimerId::SearchSettled:
            timers_->Kill(TimerId::SearchSettled);
            library_->SearchTimerFired();
            break;
        case TimerId::DeferredRequest:
            // A request was refused: what the screen shows may be what was
            // asked for rather than what is; ask the player how it stands.
            timers_->Kill(TimerId::DeferredRequest);
            Send(std::make_unique<GetCurrentStateRequest>());
            break;
        case TimerId::AlbumArt:
            timers_->Kill(TimerId::AlbumArt);
            art_->Request(look_.ViewSkin(), look_.DeviceSize(screenSize_));
            break;
        case TimerId::Animation:
            player_->RefreshProgress();
            break;
    }
}

void CMainFrame::OnIdleTick() {
    if (!settings_->Get().nowPlayingOnIdle || AttemptRunning() ||
        !screens_->IdleFor(options_.idleTime) || Player().playingState == PlayingState::Stopped) {
        return;
    }
    if (screens_->ShowNowPlaying()) {
        art_->Request(look_.ViewSkin(), look_.DeviceSize(screenSize_));
    }
}

bool CMainFrame::event(QEvent* event) {
    if (FrameEvent::Is(*event)) {
        OnFrameEvent(static_cast<const FrameEvent&>(*event));
        return true;
    }
    if (event->type() == QEvent::ScreenChangeInternal) {
        FollowScreen();
    }
    return QMainWindow::event(event);
}

// Moved to another screen, or the screen's scale changed: the pixel ratio
// may be another with the size unchanged, and no resize says so. The
// screen is laid out again once Qt has taken the new ratio.
void CMainFrame::FollowScreen() {
    QObject::disconnect(screenScale_);
    if (QScreen* shown = screen()) {
        screenScale_ =
            connect(shown, &QScreen::logicalDotsPerInchChanged, this, [this] { FollowScreen(); });
    }
    QMetaObject::invokeMethod(
        this, [this] { CheckOrientation(view_->size()); }, Qt::QueuedConnection);
}

void CMainFrame::OnFrameEvent(const FrameEvent& event) {
    if (closing_ && event.Message() != FrameMessage::Quit) {
        return;
    }
    switch (event.Message()) {
        case FrameMessage::PlaylistRow:
            // The list selects the entry now, or once its rows come.
            player_->SetPlaylistPosition(event.Parameter());
            queue_->SetCurrent(event.Parameter());
            if (queue_->RowCount() == 0) {
                player_->RefreshProgress();
            }
            break;
        case FrameMessage::Progress:
            player_->RefreshProgress();
            break;
        case FrameMessage::NowPlaying:
        case FrameMessage::WorkerCall:
            event.Run();
            break;
        case FrameMessage::MenuItems:
            menu_->Rebuild();
            break;
        case FrameMessage::SessionReady:
            // The media service is on the server the session runs with, and
            // after a reconnection its queue may be another one.
            session_->SessionReady();
            if (queue_->IsOpen()) {
                queue_->Open(player_->PlaylistPosition());
            }
            library_->Refresh();
            [[fallthrough]];
        case FrameMessage::Reconnect:
        case FrameMessage::NetworkLost:
        case FrameMessage::NetworkBack:
            session_->Flow().Handle(static_cast<FlowMessage>(event.Message()));
            connect_->SetReady(!AttemptRunning());
            menu_->Rebuild();
            player_->FollowSession();
            if (!Connected()) {
                // A bar held as the session went would be let go onto a
                // player that cannot hear it.
                view_->CancelDrag();
            }
            break;
        case FrameMessage::Quit:
            Exit();
            break;
    }
}

bool CMainFrame::eventFilter(QObject* watched, QEvent* event) {
    if (milestone_ && watched == view_ && event->type() == QEvent::Paint) {
        if (!mappedTold_) {
            mappedTold_ = true;
            milestone_("window mapped");
        }
        if (!titleTold_ && screens_->Current() == ScreenId::Main &&
            !view_->Content().songTitle.empty()) {
            titleTold_ = true;
            milestone_("title shown");
        }
    }
    if (TranslateKey(watched, event)) {
        return true;
    }
    switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseMove:
        case QEvent::Wheel:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::TouchBegin:
            screens_->NoteInput();
            break;
        default:
            break;
    }
    return QMainWindow::eventFilter(watched, event);
}

// --- The settings sheet ------------------------------------------------------------------

void CMainFrame::OpenSettings() {
    if (closing_) {
        return;
    }
    Busy(1);
    const std::optional<UserSettings::SheetChoice> choice =
        settings_->Edit(this, *prompter_,
                        {.font = look_.Normal(),
                         .icon = view_->Icon(),
                         .serverVersion = serverVersion_,
                         .skinPath = look_.Path()});
    Busy(-1);
    if (!choice || closing_) {
        return;
    }
    if (choice->skin) {
        ApplySkin(*choice->skin);
        if (closing_) {
            return;  // neither the skin nor the default loaded
        }
    }
    SaveAll();
}

void CMainFrame::ApplySkin(const std::string& path) {
    // A skin that does not load gives the default (the user is told);
    // when that fails too the program ends, as at start.
    if (!LoadSkin(path)) {
        Exit();
        return;
    }
    settings_->Get().skinFilePath = look_.Path();
    Log(kLogInfo, "Skin %s in use", look_.Path().c_str());
    PlaceControls();
    screens_->Switch(screens_->Current());
}

}  // namespace vantor::ui
