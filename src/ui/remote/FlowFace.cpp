#include "ui/remote/FlowFace.h"

#include "ui/player/PlayerPresenter.h"
#include "ui/screens/ConnectScreen.h"
#include "ui/screens/ScreenNavigator.h"
#include "ui/view/ScreenView.h"
#include "ui/window/CommandMenu.h"
#include "ui/window/FrameTimers.h"
#include "ui/window/HandOff.h"
#include "ui/window/Prompter.h"

namespace vantor::ui {

using std::chrono::milliseconds;

FlowScreen FlowFace::CurrentScreen() const {
    switch (parts_.screens.Current()) {
        case ScreenId::Connect:
            return FlowScreen::Connect;
        case ScreenId::Main:
            return FlowScreen::Main;
        default:
            return FlowScreen::Other;
    }
}

void FlowFace::Post(FlowMessage message) {
    parts_.handOff.Post(static_cast<FrameMessage>(message));
}

void FlowFace::SetStatus(const std::string& text) {
    parts_.handOff.PostCall([this, text] { parts_.connect.SetStatus(text); });
}

void FlowFace::SetConnectReady() {
    parts_.handOff.PostCall([this] {
        parts_.connect.SetReady(true);
        parts_.menu.Rebuild();
    });
}

void FlowFace::ShowMessage(const std::string& caption, const std::string& text) {
    parts_.handOff.PostCall([this, caption, text] {
        parts_.busy(1);
        parts_.prompter.Inform(caption, text);
        parts_.busy(-1);
    });
}

std::pair<std::string, bool> FlowFace::Title() const {
    return parts_.player.Title();
}

void FlowFace::SetTitle(const std::string& text, bool shown) {
    parts_.player.SetTitle(text, shown);
}

std::string FlowFace::ServerListText() const {
    return parts_.connect.Text();
}

void FlowFace::SwitchScreen(FlowScreen screen) {
    if (screen != FlowScreen::Other) {
        parts_.screens.Switch(screen == FlowScreen::Connect ? ScreenId::Connect : ScreenId::Main);
    }
}

namespace {

TimerId WindowTimer(FlowTimer timer) {
    return timer == FlowTimer::Reconnect ? TimerId::ReconnectPrompt : TimerId::AutoConnect;
}

}  // namespace

void FlowFace::StartTimer(FlowTimer timer, milliseconds period) {
    parts_.timers.Start(WindowTimer(timer), period);
}

void FlowFace::KillTimer(FlowTimer timer) {
    parts_.timers.Kill(WindowTimer(timer));
}

void FlowFace::SaveSettings() {
    parts_.save();
}

void FlowFace::RefreshNowPlaying() {
    parts_.player.RefreshProgress();
    if (parts_.screens.Current() == ScreenId::NowPlaying) {
        parts_.timers.Start(TimerId::AlbumArt, milliseconds(100));
    }
}

void FlowFace::Redraw() {
    parts_.view.update();
}

bool FlowFace::AskYesNo(const std::string& caption, const std::string& text) {
    return parts_.handOff.Ask(
        [this, caption, text] { return parts_.prompter.AskYesNo(caption, text); }, false);
}

void FlowFace::ShowError(const std::string& caption, const std::string& text) {
    parts_.handOff.Ask(
        [this, caption, text] {
            parts_.prompter.Inform(caption, text, PromptIcon::Warning);
            return true;
        },
        true);
}

bool FlowFace::OnConnectScreen() const {
    return parts_.screens.Current() == ScreenId::Connect;
}

void FlowFace::ShowProgressBar(bool shown) {
    parts_.handOff.PostCall([this, shown] {
        parts_.connect.SetStatusLineShown(!shown);
        parts_.view.SetProgress(shown, parts_.view.Content().progressPercent);
    });
}

void FlowFace::SetProgress(int percent) {
    parts_.handOff.PostCall(
        [this, percent] { parts_.view.SetProgress(parts_.view.Content().progressShown, percent); });
}

void FlowFace::ShowInTitle(const std::string& text) {
    flow_->ShowInTitle(text);
}

void FlowFace::RestoreTitle() {
    flow_->RestoreTitleNow();
}

void FlowFace::Quit() {
    parts_.handOff.Post(FrameMessage::Quit);
}

}  // namespace vantor::ui
