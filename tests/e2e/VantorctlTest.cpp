// vantorctl and vantor-server as the programs they are, on loopback.

#include <gtest/gtest.h>

#include <cstdio>

#include "e2e/ServerProcessTest.h"
#include "support/Process.h"

namespace vantor {
namespace {

using testing::Process;

class VantorctlTest : public testing::ServerProcessTest {
protected:
    void SetUp() override { StartServer({"--discovery-port", "0", "--songs", "80"}, " songs\n"); }
};

TEST_F(VantorctlTest, CommandsChangeThePlayerAndWatchSeesIt) {
    const auto before = Run({"status"});
    EXPECT_EQ(before.first, 0) << before.second;
    EXPECT_NE(before.second.find("server:    Vantor Server"), std::string::npos) << before.second;
    EXPECT_NE(before.second.find("state:     stopped"), std::string::npos) << before.second;
    EXPECT_NE(before.second.find("volume:    50"), std::string::npos) << before.second;
    Process watch(Ctl({"watch"}));
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

    // The server going ends a watch and fails whatever comes after.
    Process watch(Ctl({"watch"}));
    ASSERT_TRUE(watch.WaitForOutput("watching"));
    server_->Signal(SIGTERM);
    ASSERT_EQ(server_->Wait(), 0);
    EXPECT_EQ(watch.Wait(), 2) << watch.Output();
    EXPECT_NE(watch.Output().find("connection lost"), std::string::npos);
    const auto gone = Run({"status"});
    EXPECT_EQ(gone.first, 2) << gone.second;
    EXPECT_NE(gone.second.find("cannot connect to 127.0.0.1"), std::string::npos);
}

using AllowListTest = testing::ServerProcessTest;

TEST_F(AllowListTest, AnAddressOutsideTheRangesGetsNothing) {
    // Everything but this machine.
    StartServer(
        {"--discovery-port", "0", "--songs", "5", "--allow", "10.0.0.0/8,192.168.0.0/16,fc00::/7"},
        " songs\n");
    const testing::RawPeer message(static_cast<std::uint16_t>(std::stoi(port_)));
    message.Send(std::string("<GetCurrentStateRequest/>\0", 26));
    EXPECT_TRUE(message.ClosedWithNothing(std::chrono::seconds(5)));
    EXPECT_EQ(Get("/playlist.thrift"), "");
    Process discover({VANTORCTL_PATH, "--broadcast", "127.0.0.1", "--discovery-port",
                      discoveryPort_, "--peer", "no-such-host.invalid", "discover"});
    EXPECT_EQ(discover.Wait(), 2) << discover.Output();
}

TEST(VantorctlHelpTest, HelpNamesEveryCommand) {
    Process help({VANTORCTL_PATH, "--help"});
    EXPECT_EQ(help.Wait(), 0);
    for (const char* command :
         {"status", "play", "pause", "toggle", "stop", "next", "prev", "volume N", "seek SECONDS",
          "shuffle on|off", "repeat off|all", "rate N", "eq", "speakers", "watch", "discover",
          "play-entry N", "--broadcast"}) {
        EXPECT_NE(help.Output().find(command), std::string::npos) << command;
    }
}

}  // namespace
}  // namespace vantor
