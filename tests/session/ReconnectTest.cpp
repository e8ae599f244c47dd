// Reconnection through an endpoint that accepts and closes while the
// server is away, as tunnels and port proxies do.

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

#include "FlowRig.h"
#include "support/LogCapture.h"
#include "support/RelayEndpoint.h"
#include "support/TestServer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::kSessionStart;
using testing::LogCapture;
using testing::RelayEndpoint;
using testing::Rig;
using testing::TestFrame;
using testing::TestServer;
using testing::WaitUntil;

// A session reached through the relay, on another screen than the main one.
struct ReconnectTest : ::testing::Test {
    TestServer server;
    RelayEndpoint relay{server.Port()};
    Rig rig{relay.Port(), {}, false, "192.0.2.5", [](FlowOptions& options) {
                options.dropPause = 10ms;
                options.dropPauseCap = 80ms;
            }};

    bool Connected() {
        const bool main = rig.ConnectToMain();
        rig.frame.SetScreen(FlowScreen::Other);
        return main;
    }
};

TEST_F(ReconnectTest, AConnectionClosedAtOnceIsTriedAgainUntilTheServerIsBack) {
    ASSERT_TRUE(Connected());
    LogCapture log(kLogInfo);

    // The server goes away; the relay still accepts, and closes.
    server.Stop();
    ASSERT_TRUE(rig.frame.PumpUntil(
        rig.flow, [&] { return relay.Closed() >= 8; }, 10s))
        << "the client kept trying through the relay: " << relay.Closed();
    // It neither spins nor gives up: the pause before each try doubles up
    // to its cap, and the tries go on.
    std::vector<long> pauses;
    for (const std::string& line : log.Lines()) {
        long ms = 0;
        if (std::sscanf(line.c_str(), "Reconnecting after a quick drop: pause %ld ms", &ms) == 1) {
            pauses.push_back(ms);
        }
    }
    ASSERT_GE(pauses.size(), 5u);
    EXPECT_EQ(pauses.front(), 10);
    for (std::size_t i = 1; i < pauses.size(); ++i) {
        EXPECT_EQ(pauses[i], std::min(pauses[i - 1] * 2, 80L)) << i;
    }
    const int before = relay.Closed();
    ASSERT_TRUE(rig.frame.PumpUntil(
        rig.flow, [&] { return relay.Closed() > before; }, 10s));

    ASSERT_TRUE(server.Restart());
    ASSERT_TRUE(rig.frame.PumpUntil(
        rig.flow, [&] { return rig.frame.Get(&TestFrame::refreshes_) == 1; }, 10s));
    ASSERT_TRUE(WaitUntil([&] { return server->ReceivedRequests().size() == 6; }));
    EXPECT_EQ(server->ReceivedRequests(), kSessionStart);
    EXPECT_EQ(rig.frame.Get(&TestFrame::titles_).back(), "Ana - Intro")
        << "the title comes back after the reconnection";
    EXPECT_EQ(rig.frame.CurrentScreen(), FlowScreen::Main)
        << "a reconnection shows the main screen";

    // A session that then ends the ordinary way is reconnected at once.
    ASSERT_TRUE(server.Restart());
    ASSERT_TRUE(rig.frame.PumpUntil(
        rig.flow, [&] { return rig.frame.Get(&TestFrame::refreshes_) == 2; }, 10s));

    // The user disconnects and presses Connect: that session is a new one,
    // never a reconnection, so it shows the main screen.
    rig.flow.Disconnect();
    rig.frame.SetScreen(FlowScreen::Connect);
    rig.flow.ConnectPressed();
    ASSERT_TRUE(rig.frame.PumpUntil(
        rig.flow, [&] { return rig.frame.CurrentScreen() == FlowScreen::Main; }, 10s));
    EXPECT_EQ(rig.frame.Get(&TestFrame::refreshes_), 2);
    rig.flow.Exit();
}

TEST_F(ReconnectTest, ALossWhileAnAttemptRunsLeadsToAnotherAttempt) {
    // Each reconnection is asked for while the attempt that made the lost
    // connection is still running: the relay closes before the attempt has
    // sent its first request. Many rounds make that ordering certain.
    ASSERT_TRUE(Connected());
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        server.Stop();
        const int closed = relay.Closed();
        ASSERT_TRUE(rig.frame.PumpUntil(
            rig.flow, [&] { return relay.Closed() >= closed + 3; }, 10s));
        ASSERT_TRUE(server.Restart());
        ASSERT_TRUE(rig.frame.PumpUntil(
            rig.flow, [&] { return rig.frame.Get(&TestFrame::refreshes_) == round + 1; }, 10s));
    }
    rig.flow.Exit();
}

}  // namespace
}  // namespace vantor
