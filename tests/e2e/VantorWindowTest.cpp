// The vantor program as a user starts it: one window per settings file,
// the tour's pictures (on a first start too) and its failure, an orderly
// end on SIGTERM, and its help without a display.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>

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

// A first start's tour, then a second start's (with the settings the first
// saved), then one with no server to reach.
TEST_F(VantorWindowTest, TheTourPicturesEveryScreenOrSaysWhyNot) {
    const auto tour = [&](const char* folder, std::initializer_list<const char*> screens,
                          std::vector<std::string> more = {}) {
        const std::filesystem::path pictures = dir_ / folder;
        more.insert(more.begin(), {"--tour", pictures.string()});
        Process run(Client(more));
        ASSERT_EQ(run.Wait(30s), 0) << run.Output();
        EXPECT_EQ(run.Output().find("MPRIS"), std::string::npos) << run.Output();
        for (const char* screen : screens) {
            std::ifstream in(pictures / (std::string(screen) + ".png"), std::ios::binary);
            char magic[4] = {};
            in.read(magic, 4);
            EXPECT_EQ(std::string(magic + 1, 3), "PNG") << screen << "\n" << run.Output();
        }
    };
    std::filesystem::remove(settings_);
    tour("first", {"welcome", "first-start-settings", "main", "settings-general"});
    // The sheet's OK saved what the user would have chosen.
    std::ifstream saved(settings_);
    const std::string text((std::istreambuf_iterator<char>(saved)), {});
    EXPECT_NE(text.find("\"AutoConnect\"=dword:00000001"), std::string::npos) << text;
    tour("tour", {"connect", "main", "nowplaying"});
    // --geometry is the whole window's size, the menu and command bar inside.
    tour("sized", {"main"}, {"--geometry", "300x500"});
    std::ifstream picture(dir_ / "sized" / "main.png", std::ios::binary);
    unsigned char header[24] = {};
    picture.read(reinterpret_cast<char*>(header), sizeof header);
    const auto number = [&](int at) {
        return (header[at] << 24) | (header[at + 1] << 16) | (header[at + 2] << 8) | header[at + 3];
    };
    EXPECT_EQ(number(16), 300);
    EXPECT_EQ(number(20), 500);

    // No server behind the port: a clear message and a failure status.
    server_->Signal(SIGTERM);
    server_->Wait();
    Process lonely(Client({"--tour", (dir_ / "lonely").string(), "--tour-timeout", "1"}));
    EXPECT_EQ(lonely.Wait(10s), 1) << lonely.Output();
    EXPECT_NE(lonely.Output().find("no session with the server within 1 s"), std::string::npos)
        << lonely.Output();
}

// Asked how to start it, or which it is, the program answers and ends,
// whether or not there is a display to show a window on.
TEST_F(VantorWindowTest, HelpAndVersionAnswerWithoutADisplay) {
    unsetenv("QT_QPA_PLATFORM");
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    for (const auto& [option, answer] :
         {std::pair{"--help", "--geometry <WxH>"}, std::pair{"-h", "--config <FILE>"},
          std::pair{"-hv", "vantor "}, std::pair{"--version", "vantor "}}) {
        Process run({VANTOR_PATH, option});
        EXPECT_EQ(run.Wait(10s), 0) << option << "\n" << run.Output();
        EXPECT_NE(run.Output().find(answer), std::string::npos) << option << "\n" << run.Output();
    }
}

// A size that is not digits, "x" and digits, or an empty one, is refused
// with a message, whichever way it is written; a good one in the "=" form
// is taken.
TEST_F(VantorWindowTest, AGeometryWithMoreThanASizeIsRefused) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--geometry", "480x640junk"},
          std::vector<std::string>{"--geometry", ""}, std::vector<std::string>{"--geometry="},
          std::vector<std::string>{"--geometry=480x640px"},
          std::vector<std::string>{"--geometry", "+480x 640"}}) {
        std::vector<std::string> command{VANTOR_PATH};
        command.insert(command.end(), words.begin(), words.end());
        Process run(command);
        EXPECT_EQ(run.Wait(10s), 1) << words.back() << "\n" << run.Output();
        EXPECT_NE(run.Output().find("bad --geometry"), std::string::npos) << words.back() << "\n"
                                                                          << run.Output();
    }
}

}  // namespace
}  // namespace vantor
