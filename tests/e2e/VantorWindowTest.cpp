// The vantor program as a user starts it: one window per settings file,
// the tour's pictures (on a first start too) and its failure, and an orderly
// end on SIGTERM.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "e2e/ServerProcessTest.h"
#include "support/Process.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::Process;

class VantorWindowTest : public testing::ServerProcessTest {
protected:
    void SetUp() override {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vantor-e2e-XXXXXX").string();
        dir_ = mkdtemp(pattern.data());
        settings_ = (dir_ / "settings.reg").string();
        // The client offers its player on the session bus: here there is
        // none to reach, and never the machine's.
        setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (dir_ / "no-bus").string()).c_str(), 1);
        std::ofstream(settings_) << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n"
                                    "\"AutoConnect\"=dword:00000001\n";
        StartServer({"--discovery-port", "0", "--songs", "80", "--play"}, " songs\n");
    }
    void TearDown() override {
        StopServer();
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    std::vector<std::string> Client(std::vector<std::string> more) const {
        std::vector<std::string> command = {VANTOR_PATH,    "--config",     settings_,
                                            "--server",     "127.0.0.1",    "--port",
                                            port_,          "--media-port", media_,
                                            "--broadcast",  "127.0.0.1",    "--discovery-port",
                                            discoveryPort_, "--log-level",  "3"};
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }

    std::filesystem::path dir_;
    std::string settings_;
};

TEST_F(VantorWindowTest, ASecondStartRaisesTheFirstWindowAndEnds) {
    Process first(Client({}));
    ASSERT_TRUE(first.WaitForOutput("title shown")) << first.Output();

    Process second(Client({}));
    EXPECT_EQ(second.Wait(5s), 0) << second.Output();
    EXPECT_EQ(second.Output().find("window mapped"), std::string::npos) << second.Output();
    EXPECT_TRUE(first.WaitForOutput("a later start asked for the window")) << first.Output();
    EXPECT_NE(first.Output().find("MPRIS: no session bus"), std::string::npos) << first.Output();

    // SIGTERM ends it the way Exit does: threads stopped, settings saved.
    first.Signal(SIGTERM);
    EXPECT_EQ(first.Wait(), 0) << first.Output();
    EXPECT_NE(first.Output().find("Thread[\"Network Watch\"] has ended"), std::string::npos);
    std::ifstream saved(settings_);
    const std::string text((std::istreambuf_iterator<char>(saved)), {});
    EXPECT_NE(text.find("\"FunctionKey13\"=dword:ffffffff"), std::string::npos) << text;
}

TEST_F(VantorWindowTest, TheTourPicturesEveryScreenOrSaysWhyNot) {
    const std::filesystem::path pictures = dir_ / "tour";
    Process tour(Client({"--tour", pictures.string()}));
    ASSERT_EQ(tour.Wait(30s), 0) << tour.Output();
    EXPECT_EQ(tour.Output().find("MPRIS"), std::string::npos) << tour.Output();
    for (const char* screen : {"connect", "main", "nowplaying"}) {
        const std::filesystem::path picture = pictures / (std::string(screen) + ".png");
        ASSERT_TRUE(std::filesystem::exists(picture)) << screen << "\n" << tour.Output();
        std::ifstream in(picture, std::ios::binary);
        char magic[4] = {};
        in.read(magic, 4);
        EXPECT_EQ(std::string(magic + 1, 3), "PNG");
    }

    // No server behind the port: a clear message and a failure status.
    server_->Signal(SIGTERM);
    server_->Wait();
    Process lonely(Client({"--tour", (dir_ / "lonely").string(), "--tour-timeout", "1"}));
    EXPECT_EQ(lonely.Wait(10s), 1) << lonely.Output();
    EXPECT_NE(lonely.Output().find("no session with the server within 1 s"), std::string::npos)
        << lonely.Output();
}

TEST_F(VantorWindowTest, AFirstStartTourTakesTheWelcomeAndTheSheetThenConnects) {
    std::filesystem::remove(settings_);
    const std::filesystem::path pictures = dir_ / "first";
    Process tour(Client({"--tour", pictures.string()}));
    ASSERT_EQ(tour.Wait(30s), 0) << tour.Output();
    for (const char* picture : {"welcome", "first-start-settings", "main", "settings-general"}) {
        EXPECT_TRUE(std::filesystem::exists(pictures / (std::string(picture) + ".png")))
            << picture << "\n"
            << tour.Output();
    }
    // The sheet's OK saved what the user would have chosen.
    std::ifstream saved(settings_);
    const std::string text((std::istreambuf_iterator<char>(saved)), {});
    EXPECT_NE(text.find("\"AutoConnect\"=dword:00000001"), std::string::npos) << text;
}

}  // namespace
}  // namespace vantor
