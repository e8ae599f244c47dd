#pragma once

// The tour: the client, started against a server, visits every screen of a
// live session and every page of the settings sheet, and writes a picture
// of each (<folder>/<screen>.png, <folder>/settings-<page>.png), then
// ends the program: 0 when every picture was written, 1 with a message when
// no session could be started in time or a picture could not be written.
// On a first start (no settings yet) it first pictures the welcome and the
// settings sheet (welcome.png, first-start-settings.png), takes both as a
// user pressing OK would, and presses Connect.
//
// Threads: the window's thread only.

#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "session/PlayerState.h"
#include "ui/screens/Screens.h"
#include "ui/window/Prompter.h"

class QWidget;

namespace vantor::ui {

class EqScreen;
class LibraryList;
class PlayQueueList;
class ScreenView;

// What the tour looks at and acts through: the window's pieces, not the
// window.
struct TourHost {
    QWidget& window;                             // pictured when no dialog is over it
    std::function<std::string()> screen;         // the skin key of the screen shown
    std::function<void(WindowCommand)> command;  // as a user picks it from the menu
    std::function<PlayerState()> player;
    const ScreenView& view;
    const PlayQueueList& queue;
    const LibraryList& library;
    const EqScreen& equalizer;
};

// The tour's message boxes. The first start's welcome is shown, so that the
// tour can picture it and press its OK; every other box is answered unseen,
// since nobody is at the screen to answer it.
class TourPrompter final : public Prompter {
public:
    void Inform(const std::string& caption, const std::string& text, PromptIcon icon) override;
    bool AskYesNo(const std::string& caption, const std::string& text) override;
    void SetLook(const QPalette& palette, const QFont& font) override;

private:
    MessageBoxPrompter shown_{nullptr};
    UnattendedPrompter unseen_;
};

class Tour {
public:
    // A stop of the tour: how to get to the screen and when it is worth a
    // picture (or `patience` has passed).
    struct Stop {
        std::string screen;
        std::function<void()> go;
        std::function<bool()> ready;
        std::chrono::milliseconds patience{3000};
        std::function<bool()> wanted = nullptr;  // set and false: the stop is passed by
        std::function<void()> after = nullptr;   // once the picture is taken
    };

    Tour(TourHost host, QString folder,
         std::chrono::milliseconds sessionTimeout = std::chrono::seconds(20));

    // Starts; the program's event loop ends with the tour's result.
    void Start();

private:
    void Step();
    // A first start's welcome and settings sheet, then the Connect a user
    // would press; true while one of them took this step.
    bool FirstStartStep();
    bool Capture(const std::string& screen);
    void Finish(int code, const std::string& message = {});

    TourHost host_;
    QString folder_;
    std::chrono::milliseconds sessionTimeout_;
    std::vector<Stop> stops_;
    std::size_t next_ = 0;
    bool arrived_ = false;         // the current stop's `go` has run
    bool configured_ = false;      // the first start's settings sheet was taken
    bool connectPending_ = false;  // ... and Connect is still to be pressed
    std::chrono::steady_clock::time_point started_;
    std::chrono::steady_clock::time_point stopStarted_;
    QTimer timer_;
};

}  // namespace vantor::ui
