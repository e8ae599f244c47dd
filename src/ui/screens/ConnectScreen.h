#pragma once

// The connect screen's controls: the server box (an edit field over the
// list of servers, "(Find Automatically)" first, then the history) and the
// status line. The frame draws the rest of the screen from the skin.
//
// Threads: the window's thread only.

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "session/Settings.h"
#include "skin/CSkin.h"
#include "ui/screens/Screens.h"

namespace vantor::ui {

class ConnectScreen final : public Screen {
public:
    // The controls are made as children of `screen`. `connect` is called
    // when the user asks to connect from the box (Enter, a double tap).
    // `ready` says whether the user may pick a server (no attempt runs).
    ConnectScreen(QWidget* screen, std::function<void()> connect, std::function<bool()> ready);

    // Screen
    ScreenId Id() const override { return ScreenId::Connect; }
    QString CommandLabel() const override { return QStringLiteral("Connect"); }
    WindowCommand Command() const override { return WindowCommand::Connect; }
    void Open() override { SetShown(true, ready_()); }
    void Close() override { SetShown(false, ready_()); }
    // Places the controls (in skin units, scaled) in the frame's font and
    // the colours of the skin's lists.
    void Place(const CSkin& skin, QSize screen, const QFont& font) override;

    // "(Find Automatically)" followed by the servers that are not empty.
    void SetServers(const std::array<std::string, kServerHistory>& servers);
    // The text in the edit field: what Connect connects to.
    std::string Text() const;
    void SetText(const std::string& text);
    std::vector<std::string> Items() const;

    void SetStatus(const std::string& text);
    std::string Status() const;

    // Shown on the connect screen only; `ready` when no attempt runs, so
    // the user may pick another server.
    void SetShown(bool shown, bool ready);
    void SetReady(bool ready);
    // The status line gives way to the progress bar during a download.
    void SetStatusLineShown(bool shown);

private:
    void MarkRow();

    std::function<bool()> ready_;

    QLineEdit* edit_;
    QListWidget* list_;
    QLabel* status_;
    bool shown_ = false;
    bool statusLineShown_ = true;
};

}  // namespace vantor::ui
