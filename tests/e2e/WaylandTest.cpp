// The window on a Wayland compositor, as on a Linux phone: vantor started
// natively on Wayland (Qt's wayland platform) on a headless weston of the
// test's own, connected to vantor-server on loopback and told to play
// through the desktop's media controls (MPRIS, on the session bus
// dbus-run-session made for the case); the server says it plays and the
// compositor's own screenshot shows the window drawn. Skipped, saying why,
// where weston, its headless backend, Qt's Wayland platform or dbus-send
// is missing.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <QColor>
#include <QImage>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "e2e/ServerProcessTest.h"
#include "support/MpdInstance.h"  // FindProgram
#include "support/Process.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::FindProgram;
using testing::Process;

constexpr const char* kSocket = "vantor-test";

class WaylandTest : public testing::ServerProcessTest {
protected:
    void SetUp() override {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vantor-wayland-XXXXXX").string();
        // mkdtemp makes it 0700, as Wayland's runtime folder must be.
        const char* made = mkdtemp(pattern.data());
        ASSERT_NE(made, nullptr) << "no runtime folder: " << std::strerror(errno);
        dir_ = made;
        if (FindProgram("weston").empty()) {
            GTEST_SKIP() << "weston is not installed (Debian package weston)";
        }
        if (FindProgram("dbus-send").empty() ||
            std::getenv("DBUS_SESSION_BUS_ADDRESS") == nullptr) {
            GTEST_SKIP() << "no session bus of the test's own (run under dbus-run-session)";
        }
        setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1);
        setenv("WAYLAND_DISPLAY", kSocket, 1);
        setenv("QT_QPA_PLATFORM", "wayland", 1);
        unsetenv("DISPLAY");  // no way back to X11
        // A headless output of a phone's shape; the pixman renderer draws,
        // so the compositor's screenshot holds the window; --debug offers
        // the screenshooter.
        weston_ = std::make_unique<Process>(std::vector<std::string>{
            FindProgram("weston"), "--backend=headless-backend.so", "--use-pixman",
            std::string("--socket=") + kSocket, "--width=720", "--height=1440", "--idle-time=0",
            "--no-config", "--debug"});
        if (!testing::WaitUntil(
                [&] { return std::filesystem::exists(dir_ / kSocket) || !Running(*weston_); },
                10s) ||
            !Running(*weston_)) {
            const std::string output = weston_->Output();
            if (output.find("headless-backend") != std::string::npos &&
                output.find("ailed to load") != std::string::npos) {
                GTEST_SKIP() << "weston has no headless backend:\n" << output;
            }
            FAIL() << "weston did not start:\n" << output;
        }
        westonUp_ = true;
        settings_ = (dir_ / "settings.reg").string();
        std::ofstream(settings_) << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n"
                                    "\"AutoConnect\"=dword:00000001\n";
        StartServer({"--no-discovery", "--songs", "80"}, " songs\n");
    }
    void TearDown() override {
        StopServer();
        // A weston that never came up has ended already (or is killed with
        // its Process): what it said is the skip's or the failure's message.
        if (westonUp_) {
            weston_->Signal(SIGTERM);
            EXPECT_EQ(weston_->Wait(), 0) << weston_->Output();
        }
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    static bool Running(Process& process) {
        process.Wait(0ms);  // reaps it if it ended
        return ::kill(process.Pid(), 0) == 0;
    }

    // The compositor's picture of its output (weston-screenshooter writes
    // it into the folder it runs in); a null image when there is none.
    QImage Screenshot() {
        const std::string shooter = FindProgram("weston-screenshooter");
        if (shooter.empty()) {
            return {};
        }
        const std::filesystem::path shots = dir_ / "shots";
        std::filesystem::remove_all(shots);
        std::filesystem::create_directory(shots);
        const std::filesystem::path here = std::filesystem::current_path();
        std::filesystem::current_path(shots);
        Process shoot({shooter});
        const int status = shoot.Wait(10s);
        std::filesystem::current_path(here);
        if (status != 0) {
            ADD_FAILURE() << "weston-screenshooter: " << shoot.Output();
            return {};
        }
        for (const auto& entry : std::filesystem::directory_iterator(shots)) {
            return QImage(QString::fromStdString(entry.path().string()));
        }
        ADD_FAILURE() << "weston-screenshooter wrote no picture: " << shoot.Output();
        return {};
    }

    std::filesystem::path dir_;
    std::string settings_;
    std::unique_ptr<Process> weston_;
    bool westonUp_ = false;  // weston made its socket and runs
};

TEST_F(WaylandTest, TheWindowRunsNativelyConnectsAndPlays) {
    ASSERT_TRUE(Says({"status"}, "state:     stopped"));
    const QImage before = Screenshot();

    Process window({VANTOR_PATH, "--config", settings_, "--server", "127.0.0.1", "--port", port_,
                    "--media-port", media_, "--geometry", "360x720", "--log-level", "3"});
    if (!window.WaitForOutput("title shown", 15s)) {
        if (window.Output().find("platform plugin \"wayland\"") != std::string::npos) {
            GTEST_SKIP() << "Qt's Wayland platform is not installed (Debian package "
                            "qt6-wayland):\n"
                         << window.Output();
        }
        window.Signal(SIGTERM);
        window.Wait(5s);
        FAIL() << window.Output();
    }
    EXPECT_TRUE(window.WaitForOutput("window mapped")) << window.Output();

    // Play, as a phone's lock screen or media keys would ask the window.
    Process play({FindProgram("dbus-send"), "--session", "--print-reply",
                  "--dest=org.mpris.MediaPlayer2.vantor", "/org/mpris/MediaPlayer2",
                  "org.mpris.MediaPlayer2.Player.Play"});
    ASSERT_EQ(play.Wait(), 0) << play.Output() << "\n" << window.Output();
    EXPECT_TRUE(EventuallySays({"status"}, "state:     playing")) << window.Output();

    // The compositor shows the window: a good part of its output changed
    // once the window was drawn.
    const QImage after = Screenshot();
    if (!before.isNull() && !after.isNull()) {
        ASSERT_EQ(before.size(), after.size());
        int changed = 0;
        for (int y = 0; y < after.height(); y += 2) {
            for (int x = 0; x < after.width(); x += 2) {
                changed += before.pixel(x, y) != after.pixel(x, y) ? 1 : 0;
            }
        }
        // Sampled at every other pixel both ways: a quarter of the area.
        EXPECT_GT(changed, 360 * 640 / 4 / 2) << "the window is not on the compositor's output";
    }

    // Nothing the platform could not do (position, a raise) was asked for.
    EXPECT_EQ(window.Output().find("qt.qpa.wayland"), std::string::npos) << window.Output();
    window.Signal(SIGTERM);
    EXPECT_EQ(window.Wait(), 0) << window.Output();
}

}  // namespace
}  // namespace vantor
