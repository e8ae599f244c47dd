#pragma once

// The real window against vantor-server on loopback, on Qt's offscreen
// platform: a fixture that writes a settings file, starts the window with
// test doubles for the message boxes, the launcher and the machine's
// addresses, and drives it with synthetic mouse events as a user would.

#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QTreeWidget>
#include <QWidget>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "session/RegistryStore.h"
#include "session/SelfUpdate.h"
#include "session/Settings.h"
#include "support/TestAddresses.h"
#include "support/TestServer.h"
#include "ui/settings/SettingsSheet.h"
#include "ui/window/CMainFrame.h"
#include "ui/window/Prompter.h"

namespace vantor::testing {

using namespace std::chrono_literals;

// Answers every box as told and remembers what was shown.
class RecordingPrompter final : public ui::Prompter {
public:
    void Inform(const std::string& caption, const std::string& text, ui::PromptIcon) override {
        shown.push_back(caption + ": " + text);
    }
    bool AskYesNo(const std::string& caption, const std::string& text) override {
        shown.push_back(caption + "? " + text);
        return yes;
    }
    bool Showed(const std::string& caption) const {
        for (const std::string& line : shown) {
            if (line.rfind(caption, 0) == 0) {
                return true;
            }
        }
        return false;
    }

    bool yes = false;
    std::vector<std::string> shown;
};

// Opens nothing; remembers what it was asked to open.
class RecordingLauncher final : public Launcher {
public:
    bool Open(const std::string& file, const std::string& parameters) override {
        std::lock_guard lock(mutex);
        opened.push_back(file + " " + parameters);
        return true;
    }
    std::vector<std::string> Opened() {
        std::lock_guard lock(mutex);
        return opened;
    }

    std::mutex mutex;  // the launcher is called on the receiver thread
    std::vector<std::string> opened;
};

// How many pixels of the region are within a few steps of the colour:
// text drawn in that colour leaves some.
int PixelsNear(const QImage& image, const QRect& region, QColor colour);

// A row of a list, scrolled to, and its centre; a tap on it; a double tap
// as the platform reports one: a click, then a second press that is the
// double click, and its release.
QPoint RowCenter(QAbstractItemView* list, int row);
void TapRow(QAbstractItemView* list, int row);
void DoubleTapRow(QAbstractItemView* list, int row);
// Fingers, as Qt delivers them from a touch screen (QTest::touchEvent):
// put down, moved and lifted at points of `widget`, told apart by `id`.
void FingerDown(QWidget* widget, QPoint at, int id = 0);
void FingerMove(QWidget* widget, QPoint at, int id = 0);
void FingerUp(QWidget* widget, QPoint at, int id = 0);
// Two fingers: the first put down, then the second beside it, `between`
// run while both are down, then the first lifted and the second.
void TwoFingers(QWidget* widget, QPoint first, QPoint second,
                const std::function<void()>& between = nullptr);
// Put down at `from`, drawn to `to` over a few frames' time and lifted.
void Swipe(QWidget* widget, QPoint from, QPoint to);
// The system takes back the touches on the window (a call comes in).
void CancelTouches(QWidget* widget);
// A key pressed and let go, delivered as the platform delivers it: to the
// control with the focus in `window` (the window itself when none has it).
void PressKey(QWidget* window, int key, Qt::KeyboardModifiers modifiers = {});

class GuiTest : public ::testing::Test {
protected:
    GuiTest();
    ~GuiTest() override;

    // Settings written before the window starts (the settings key exists,
    // so this is not a first run).
    void WriteSettings(const std::function<void(RegistryStore&)>& more = nullptr);
    // Starts the window against the test's server.
    void StartWindow(const std::function<void(ui::FrameOptions&)>& tweak = nullptr);
    void StopWindow();

    // Runs the window's events until `done` holds or the time-out passes.
    bool Pump(const std::function<bool()>& done, std::chrono::milliseconds timeout = 5s);
    void PumpFor(std::chrono::milliseconds time);
    bool OnMainWithSong();

    QWidget* Screen() const;
    QPoint Center(std::string_view component) const;
    void Mouse(QEvent::Type type, QPoint at, Qt::MouseButtons buttons);
    void Click(QPoint at);
    void Click(std::string_view component) { Click(Center(component)); }
    // A key event for the window, auto-repeated or not.
    void Key(QEvent::Type type, int key, bool autoRepeat = false);

    // Opens the settings sheet as "Options..." does (or by `open`) and,
    // once it shows, runs `act` on it; `act` ends the sheet (OK or Cancel).
    void WithSettings(const std::function<void(ui::SettingsSheet&)>& act,
                      const std::function<void()>& open = nullptr);

    // What the server has been asked, by request name.
    int Received(const std::string& name) const;
    // Runs `read` on the server's loop with its player and waits for it.
    void OnServer(const std::function<void(server::PlayerModel&)>& read);
    // The title line the window shows for the server's current song.
    std::string ServerTitleLine();
    std::int32_t ServerVolume();
    std::int32_t ServerPosition();
    server::Track ServerTrack();
    // Has the server play the first queue entry from another album than the
    // song playing; that entry's track.
    server::Track PlayAnotherAlbum();
    // The shipped skins copied into the install folder, for a test to damage.
    void CopySkins();

    std::filesystem::path dir_;
    std::filesystem::path installDir_;
    std::string settingsFile_;
    SimulatedOptions serverOptions_;
    std::unique_ptr<TestServer> server_;
    RecordingPrompter prompter_;
    RecordingLauncher launcher_;
    std::shared_ptr<TestAddresses> addresses_ = std::make_shared<TestAddresses>();
    std::unique_ptr<ui::CMainFrame> frame_;
};

}  // namespace vantor::testing
