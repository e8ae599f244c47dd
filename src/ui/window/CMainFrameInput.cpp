// The window's keys and its settings sheet: the key rules' side of the
// window (what a bound function does, which list a key brings into play)
// and the sheet's opening and its OK.

#include <QApplication>
#include <QKeyEvent>
#include <algorithm>

#include "core/Logger.h"
#include "protocol/Messages.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/settings/SettingsSheet.h"
#include "ui/window/CMainFrame.h"

namespace vantor::ui {

namespace {

constexpr int kVolumeStep = 5;
constexpr std::int32_t kSkipSeconds = 5;

}  // namespace

// --- Keys ------------------------------------------------------------------------------

bool CMainFrame::TranslateKey(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) {
        return false;
    }
    if (!created_ || closing_) {
        return false;
    }
    // The window's keys only (not a dialog's or an open menu's), and each
    // key once: Qt hands a key the focused control leaves on to its
    // parents, and this filter sees every step.
    auto* widget = qobject_cast<QWidget*>(watched);
    if (widget == nullptr || widget->window() != this) {
        return false;
    }
    QWidget* first = QWidget::keyboardGrabber();
    if (first == nullptr) {
        first = focusWidget() != nullptr ? focusWidget() : this;
    }
    if (widget != first) {
        return false;
    }
    return keys_.Translate(static_cast<const QKeyEvent&>(*event));
}

bool CMainFrame::SearchFieldHasFocus() const {
    return library_ && library_->SearchFocused();
}

void CMainFrame::FireFunction(int id) {
    std::unique_ptr<Message> request;
    switch (id) {
        case kFunctionPlay:
            request = std::make_unique<PlayRequest>();
            break;
        case kFunctionPause:
            request = std::make_unique<PauseRequest>();
            break;
        case kFunctionPlayPause:
            if (manager_->Snapshot().playingState == PlayingState::Playing) {
                request = std::make_unique<PauseRequest>();
            } else {
                request = std::make_unique<PlayRequest>();
            }
            break;
        case kFunctionStop:
            request = std::make_unique<StopRequest>();
            break;
        case kFunctionNextSong:
            request = std::make_unique<NextItemRequest>();
            break;
        case kFunctionPreviousSong:
            request = std::make_unique<PreviousItemRequest>();
            break;
        case kFunctionVolumeUp:
        case kFunctionVolumeDown: {
            // The step starts from the fill the user sees, which a drag may
            // have moved ahead of the server's answer.
            const auto step = StepVolume(view_->Content().volumePixels, view_->VolumeWidth(),
                                         id == kFunctionVolumeUp ? kVolumeStep : -kVolumeStep);
            if (!step) {
                return;
            }
            volume_ = step->volume;
            view_->SetVolumePixels(step->fillPixels);
            auto set = std::make_unique<SetVolumeRequest>();
            set->volume = step->volume;
            request = std::move(set);
            break;
        }
        case kFunctionToggleRepeat:
            OnSkinButton("repeat");
            return;
        case kFunctionToggleShuffle:
            OnSkinButton("shuffle");
            return;
        case kFunctionFastForward:
            SkipBy(kSkipSeconds);
            return;
        case kFunctionRewind:
            SkipBy(-kSkipSeconds);
            return;
        case kFunctionNowPlaying:
            Command(kCommandNowPlaying);
            return;
        default:
            return;
    }
    SendRequest(std::move(request));
}

void CMainFrame::SkipBy(std::int32_t seconds) {
    const std::int32_t length = clock_->Length();
    if (length <= 0) {
        return;  // nothing to skip in
    }
    const std::int32_t target = std::clamp(clock_->Seconds() + seconds, 0, length);
    clock_->Report(target, clock_->Playing(), length);
    RefreshProgress();
    auto request = std::make_unique<SetPlayPositionRequest>();
    request->position = target;
    SendRequest(std::move(request));
}

void CMainFrame::OpenSelectedEntry() {
    library_->OpenSelected();
}

void CMainFrame::GoBack() {
    library_->Back();
}

void CMainFrame::FocusLibrary() {
    library_->SelectFirstAndFocus();
}

bool CMainFrame::MainListHasFocus() const {
    return queue_->hasFocus();
}

void CMainFrame::FocusCurrentEntry() {
    queue_->FocusEntry(playlistPosition_);
}

void CMainFrame::NoteUserInput() {
    lastActivity_ = std::chrono::steady_clock::now();
}

std::chrono::steady_clock::time_point CMainFrame::Now() const {
    return std::chrono::steady_clock::now();
}

// --- The settings sheet ------------------------------------------------------------------

void CMainFrame::OnClientVersion(const GetClientVersionResponse& response) {
    // The receiver thread: the About page reads it on the window's.
    PostCall([this, version = response.serverVersion] { serverVersion_ = version; });
}

void CMainFrame::OpenSettings() {
    if (closing_) {
        return;
    }
    // The sheet edits the window's function table in place: a binding made
    // there holds from then on, OK or Cancel; only OK saves it.
    SettingsSheet sheet(functions_, *prompter_, &store_, this);
    sheet.setFont(normalFont_);
    sheet.SetGeneral(settings_.autoConnect, settings_.nowPlayingOnIdle);
    sheet.SetServerVersion(serverVersion_);
    sheet.SetSkins(settings_.installDir, skinPath_);
    sheet.SetProductIcon(view_->Icon());
    ++busy_;
    const bool ok = sheet.Run();
    --busy_;
    if (!ok || closing_) {
        return;
    }
    settings_.autoConnect = sheet.AutoConnect();
    settings_.nowPlayingOnIdle = sheet.NowPlayingOnIdle();
    if (const std::optional<std::string> skin = sheet.NewSkin()) {
        ApplySkin(*skin);
        if (closing_) {
            return;  // neither the skin nor the default loaded
        }
    }
    functions_.Store(settings_);
    SaveAll();
}

void CMainFrame::ApplySkin(const std::string& path) {
    // A skin that does not load gives the default (the user is told);
    // when that fails too the program ends, as at start.
    skinPath_ = path;
    if (!LoadSkin()) {
        Exit();
        return;
    }
    settings_.skinFilePath = skinPath_;
    Log(kLogInfo, "Skin %s in use", skinPath_.c_str());
    PlaceControls();
    SwitchScreen(CurrentScreen());
}

}  // namespace vantor::ui
