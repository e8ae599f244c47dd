// vantorctl and vantor-server as the programs they are, on loopback.

#include <gtest/gtest.h>

#include <cstdio>

#include "support/Process.h"

namespace vantor {
namespace {

using testing::Process;

class VantorctlTest : public ::testing::Test {
protected:
    void SetUp() override {
        server_ = std::make_unique<Process>(std::vector<std::string>{
            VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0", "--discovery-port", "0",
            "--media-port", "0", "--songs", "80"});
        ASSERT_TRUE(server_->Started());
        ASSERT_TRUE(server_->WaitForOutput(" songs\n")) << server_->Output();
        // "vantor-server: listening on 127.0.0.1:PORT (discovery on UDP PORT), N songs"
        unsigned port = 0;
        unsigned discoveryPort = 0;
        const std::string output = server_->Output();
        const std::size_t at = output.find("127.0.0.1:");
        ASSERT_NE(at, std::string::npos) << output;
        ASSERT_EQ(std::sscanf(output.c_str() + at, "127.0.0.1:%u (discovery on UDP %u)", &port,
                              &discoveryPort),
                  2)
            << output;
        port_ = std::to_string(port);
        discoveryPort_ = std::to_string(discoveryPort);
    }
    void TearDown() override {
        server_->Signal(SIGTERM);
        EXPECT_EQ(server_->Wait(), 0) << server_->Output();
    }

    // Runs vantorctl against the server; its exit status and output.
    std::pair<int, std::string> Run(std::vector<std::string> arguments) {
        std::vector<std::string> command = {VANTORCTL_PATH, "--server", "127.0.0.1", "--port",
                                            port_};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Process ctl(command);
        const int status = ctl.Wait();
        return {status, ctl.Output()};
    }

    std::unique_ptr<Process> server_;
    std::string port_;
    std::string discoveryPort_;
};

TEST_F(VantorctlTest, StatusDescribesThePlayer) {
    const auto [status, output] = Run({"status"});
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(output.find("server:    Vantor Server"), std::string::npos) << output;
    EXPECT_NE(output.find("state:     stopped"), std::string::npos) << output;
    EXPECT_NE(output.find("volume:    50"), std::string::npos) << output;
}

TEST_F(VantorctlTest, CommandsChangeThePlayerAndWatchSeesIt) {
    Process watch({VANTORCTL_PATH, "--server", "127.0.0.1", "--port", port_, "watch"});
    ASSERT_TRUE(watch.WaitForOutput("watching")) << watch.Output();

    EXPECT_EQ(Run({"volume", "70"}).first, 0);
    EXPECT_EQ(Run({"play"}).first, 0);
    EXPECT_EQ(Run({"shuffle", "on"}).first, 0);
    EXPECT_EQ(Run({"repeat", "all"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("volume 70\n")) << watch.Output();
    EXPECT_TRUE(watch.WaitForOutput("state playing\n")) << watch.Output();
    EXPECT_TRUE(watch.WaitForOutput("shuffle on\n")) << watch.Output();
    EXPECT_TRUE(watch.WaitForOutput("repeat all\n")) << watch.Output();
    EXPECT_TRUE(watch.WaitForOutput("position 00:01\n")) << "pushed once a second while playing";

    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Wait(), 0) << watch.Output();

    const auto [status, output] = Run({"status"});
    EXPECT_NE(output.find("volume:    70"), std::string::npos) << output;
    EXPECT_NE(output.find("state:     playing"), std::string::npos) << output;
}

TEST_F(VantorctlTest, ExitStatusesSayWhatFailed) {
    const auto refused = Run({"seek", "86000"});
    EXPECT_EQ(refused.first, 4) << refused.second;
    EXPECT_NE(refused.second.find("refused SetPlayPositionRequest: 2 A value in the request is "
                                  "out of range."),
              std::string::npos)
        << refused.second;
    EXPECT_EQ(Run({"volume", "loud"}).first, 1);
    EXPECT_EQ(Run({"fly"}).first, 1);
    EXPECT_EQ(Run({}).first, 1);

    Process discover({VANTORCTL_PATH, "--broadcast", "127.0.0.1", "--discovery-port",
                      discoveryPort_, "--peer", "localhost", "discover"});
    EXPECT_EQ(discover.Wait(), 0) << discover.Output();
    EXPECT_EQ(discover.Output(), "127.0.0.1\n");

    server_->Signal(SIGTERM);
    ASSERT_EQ(server_->Wait(), 0);
    const auto gone = Run({"status"});
    EXPECT_EQ(gone.first, 2) << gone.second;
    EXPECT_NE(gone.second.find("cannot connect to 127.0.0.1"), std::string::npos);
}

TEST_F(VantorctlTest, WatchEndsWhenTheServerGoes) {
    Process watch({VANTORCTL_PATH, "--server", "127.0.0.1", "--port", port_, "watch"});
    ASSERT_TRUE(watch.WaitForOutput("watching"));
    server_->Signal(SIGTERM);
    EXPECT_EQ(watch.Wait(), 2) << watch.Output();
    EXPECT_NE(watch.Output().find("connection lost"), std::string::npos);
}

TEST(VantorctlHelpTest, HelpNamesEveryCommand) {
    Process help({VANTORCTL_PATH, "--help"});
    EXPECT_EQ(help.Wait(), 0);
    for (const char* command : {"status", "play", "pause", "toggle", "stop", "next", "prev",
                                "volume N", "seek SECONDS", "shuffle on|off", "repeat off|all",
                                "rate N", "eq", "speakers", "watch", "discover", "--broadcast"}) {
        EXPECT_NE(help.Output().find(command), std::string::npos) << command;
    }
}

}  // namespace
}  // namespace vantor
