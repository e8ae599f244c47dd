#pragma once

// The tour: the client, started against a server, visits every screen of a
// live session and every page of the settings sheet, and writes a picture
// of each (<folder>/<screen>.png, <folder>/settings-<page>.png), then
// ends the program: 0 when every picture was written, 1 with a message when
// no session could be started in time or a picture could not be written.
//
// Threads: the window's thread only.

#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace vantor::ui {

class CMainFrame;

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

    Tour(CMainFrame& frame, QString folder,
         std::chrono::milliseconds sessionTimeout = std::chrono::seconds(20));

    // Starts; the program's event loop ends with the tour's result.
    void Start();

private:
    void Step();
    bool Capture(const std::string& screen);
    void Finish(int code, const std::string& message = {});

    CMainFrame& frame_;
    QString folder_;
    std::chrono::milliseconds sessionTimeout_;
    std::vector<Stop> stops_;
    std::size_t next_ = 0;
    bool arrived_ = false;  // the current stop's `go` has run
    std::chrono::steady_clock::time_point started_;
    std::chrono::steady_clock::time_point stopStarted_;
    QTimer timer_;
};

}  // namespace vantor::ui
