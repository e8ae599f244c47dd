#pragma once

// The window as the connection flow and the self-update see it: their
// calls (many from other threads) turned into posts to the window's
// thread, questions asked through the hand-off, and the pieces of the
// window they touch (the connect screen's status, the title, the timers).
//
// Threads: as ConnectionFrame and UpdateUi say, call by call.

#include <functional>
#include <string>

#include "session/ConnectionFlow.h"
#include "session/SelfUpdate.h"

namespace vantor::ui {

class CommandMenu;
class ConnectScreen;
class FrameTimers;
class HandOff;
class PlayerPresenter;
class Prompter;
class ScreenNavigator;
class ScreenView;

struct FlowFaceParts {
    HandOff& handOff;
    ScreenNavigator& screens;
    ConnectScreen& connect;
    PlayerPresenter& player;
    FrameTimers& timers;
    Prompter& prompter;
    ScreenView& view;
    CommandMenu& menu;
    std::function<void()> save;            // the settings saved
    std::function<void(int change)> busy;  // a box opens (+1) and closes (-1)
};

class FlowFace final : public ConnectionFrame, public UpdateUi {
public:
    explicit FlowFace(FlowFaceParts parts) : parts_(std::move(parts)) {}

    // The flow, for the update's title texts; set once it is made.
    void SetFlow(ConnectionFlow* flow) { flow_ = flow; }

    // ConnectionFrame
    FlowScreen CurrentScreen() const override;
    void Post(FlowMessage message) override;
    void SetStatus(const std::string& text) override;  // also UpdateUi's
    void SetConnectReady() override;
    void ShowMessage(const std::string& caption, const std::string& text) override;
    std::pair<std::string, bool> Title() const override;
    void SetTitle(const std::string& text, bool shown) override;
    std::string ServerListText() const override;
    void SwitchScreen(FlowScreen screen) override;
    void StartTimer(FlowTimer timer, std::chrono::milliseconds period) override;
    void KillTimer(FlowTimer timer) override;
    void SaveSettings() override;
    void RefreshNowPlaying() override;
    void Redraw() override;

    // UpdateUi (the receiver thread)
    bool AskYesNo(const std::string& caption, const std::string& text) override;
    void ShowError(const std::string& caption, const std::string& text) override;
    bool OnConnectScreen() const override;
    void ShowProgressBar(bool shown) override;
    void SetProgress(int percent) override;
    void ShowInTitle(const std::string& text) override;
    void RestoreTitle() override;
    void Quit() override;

private:
    FlowFaceParts parts_;
    ConnectionFlow* flow_ = nullptr;
};

}  // namespace vantor::ui
