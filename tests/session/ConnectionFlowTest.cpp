// The connection flow against vantor-server on loopback, with a frame that
// records what the window would have shown. The test thread plays the
// window's thread: it hands posted messages back to the flow.

#include <gtest/gtest.h>

#include <thread>

#include "FlowRig.h"
#include "core/Event.h"
#include "support/LogCapture.h"
#include "support/TestServer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::kSessionStart;
using testing::LogCapture;
using testing::Rig;
using testing::TestFrame;
using testing::TestServer;
using testing::WaitUntil;

TEST(ConnectionFlowTest, ASessionStartsInItsOrderSeenByTheServer) {
    TestServer server;
    Rig rig(server.Port());
    ASSERT_TRUE(rig.ConnectToMain());
    ASSERT_TRUE(WaitUntil([&] { return server->ReceivedRequests().size() == 6; }));
    EXPECT_EQ(server->ReceivedRequests(), kSessionStart);
    EXPECT_EQ(rig.frame.Get(&TestFrame::statuses_), std::vector<std::string>{"Connecting..."});
    EXPECT_EQ(rig.frame.Get(&TestFrame::saves_), 1);
    EXPECT_EQ(rig.update.Offers(), std::vector<std::string>{"1.0.0.0"});
    EXPECT_EQ(rig.frame.Get(&TestFrame::refreshes_), 0);
    EXPECT_EQ(rig.flow.TargetServer(), "127.0.0.1");
    ASSERT_TRUE(WaitUntil([&] { return rig.manager.Snapshot().volume == 50; }))
        << "the state answers reached the player state";
    rig.flow.Exit();
}

TEST(ConnectionFlowTest, AnUpdateBeingAppliedStartsNoSession) {
    TestServer server;
    Rig rig(server.Port(), {}, true);
    rig.flow.Start(false, false);
    rig.flow.ConnectPressed();
    ASSERT_TRUE(WaitUntil([&] { return rig.update.Offers().size() == 1; }));
    std::this_thread::sleep_for(100ms);
    rig.frame.PumpUntil(rig.flow, [] { return true; });
    EXPECT_EQ(server->ReceivedRequests(), std::vector<std::string>{"GetClientVersionRequest"});
    EXPECT_EQ(rig.frame.Handled(FlowMessage::SessionReady), 0);
    rig.flow.Exit();
}

TEST(ConnectionFlowTest, AutoConnectWaitsForItsTimer) {
    TestServer server;
    Rig rig(server.Port());
    rig.flow.Start(true, true);
    EXPECT_FALSE(rig.frame.Timer(FlowTimer::AutoConnect)) << "not on the first run";
    rig.flow.Start(false, true);
    ASSERT_TRUE(rig.frame.Timer(FlowTimer::AutoConnect));
    rig.flow.OnTimer(FlowTimer::AutoConnect);
    EXPECT_FALSE(rig.frame.Timer(FlowTimer::AutoConnect));
    ASSERT_TRUE(rig.frame.PumpUntil(rig.flow,
                                    [&] { return rig.frame.CurrentScreen() == FlowScreen::Main; }));
    EXPECT_EQ(rig.frame.Get(&TestFrame::saves_), 0) << "only the Connect button saves";
    rig.flow.Exit();
}

TEST(ConnectionFlowTest, ALostChannelOnTheConnectScreenIsLeftAlone) {
    TestServer server;
    Rig rig(server.Port());
    ASSERT_TRUE(rig.ConnectToMain());
    rig.frame.SetScreen(FlowScreen::Connect);
    server.Stop();
    ASSERT_TRUE(WaitUntil([&] { return !rig.manager.IsConnected(); }));
    std::this_thread::sleep_for(100ms);
    rig.frame.PumpUntil(rig.flow, [] { return true; });
    EXPECT_EQ(rig.frame.Handled(FlowMessage::Reconnect), 0);
    EXPECT_FALSE(rig.flow.AttemptRunning());
    rig.flow.Exit();
}

TEST(ConnectionFlowTest, ALostNetworkWaitsAndReconnectsWhenItComesBack) {
    TestServer server;
    Rig rig(server.Port());
    ASSERT_TRUE(rig.ConnectToMain());

    rig.addresses->Set("0.0.0.0");
    ASSERT_TRUE(rig.frame.PumpUntil(
        rig.flow, [&] { return rig.frame.Handled(FlowMessage::NetworkLost) == 1; }));
    EXPECT_EQ(rig.frame.Title().first, "Network Disconnected");
    EXPECT_FALSE(rig.manager.IsConnected());
    EXPECT_TRUE(rig.flow.NetworkDown());

    rig.addresses->Set("192.0.2.5");
    ASSERT_TRUE(
        rig.frame.PumpUntil(rig.flow, [&] { return rig.frame.Timer(FlowTimer::Reconnect); }));
    EXPECT_FALSE(rig.flow.NetworkDown());
    rig.flow.OnTimer(FlowTimer::Reconnect);
    ASSERT_TRUE(
        rig.frame.PumpUntil(rig.flow, [&] { return rig.frame.Get(&TestFrame::refreshes_) == 1; }));
    EXPECT_FALSE(rig.frame.Timer(FlowTimer::Reconnect)) << "the reconnection stops the timer";
    EXPECT_TRUE(rig.manager.IsConnected());
    EXPECT_EQ(rig.frame.Title().first, "Ana - Intro");
    rig.flow.Exit();
}

TEST(ConnectionFlowTest, ALoopbackAddressAtStartIsALostNetwork) {
    TestServer server;
    Rig rig(server.Port(), {}, false, "127.0.0.1");
    rig.flow.Start(false, false);
    ASSERT_TRUE(rig.frame.PumpUntil(
        rig.flow, [&] { return rig.frame.Handled(FlowMessage::NetworkLost) == 1; }));
    EXPECT_EQ(rig.frame.Title().first, "Network Disconnected");
    rig.flow.Exit();
}

TEST(ConnectionFlowTest, DiscoveryFindsTheServer) {
    TestServer server;
    DiscoveryOptions discovery;
    discovery.broadcastAddress = "127.0.0.1";
    discovery.discoveryPort = server->DiscoveryPort();
    Rig rig(server.Port(), discovery, false, "127.0.0.2");
    rig.frame.SetListText(kFindAutomatically);
    // The watch would call 127.0.0.2 a real address; discovery probes from it.
    rig.flow.ConnectPressed();
    ASSERT_TRUE(rig.frame.PumpUntil(rig.flow,
                                    [&] { return rig.frame.CurrentScreen() == FlowScreen::Main; }));
    EXPECT_EQ(rig.frame.Get(&TestFrame::statuses_),
              (std::vector<std::string>{"Discovering Vantor server...", "Connecting..."}));
    EXPECT_EQ(rig.flow.TargetServer(), "127.0.0.1");
    rig.flow.Exit();
}

TEST(ConnectionFlowTest, FailedDiscoveryTellsTheUser) {
    DiscoveryOptions discovery;
    discovery.broadcastAddress = "127.0.0.1";
    discovery.discoveryPort = 9;  // nothing answers there
    discovery.foundWait = 100ms;
    discovery.resolvePeer = [](const std::string&, int* error) -> std::optional<std::string> {
        *error = 1;
        return std::nullopt;
    };
    Rig rig(9, discovery, false, "127.0.0.2");
    rig.frame.SetListText(kFindAutomatically);
    ::testing::internal::CaptureStdout();
    rig.flow.ConnectPressed();
    ASSERT_TRUE(WaitUntil([&] { return !rig.flow.AttemptRunning(); }));
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(rig.frame.Get(&TestFrame::statuses_),
              (std::vector<std::string>{"Discovering Vantor server...",
                                        "Unable to discover Vantor server"}));
    EXPECT_EQ(rig.frame.Get(&TestFrame::ready_), 1);
    EXPECT_EQ(rig.frame.Get(&TestFrame::messages_),
              std::vector<std::string>{std::string(kDiscoveryFailureCaption) + "|" +
                                       kDiscoveryFailureMessage});
}

TEST(ConnectionFlowTest, ExitEndsAnAttemptThatCannotConnect) {
    std::uint16_t port;
    {
        TestServer server;
        port = server.Port();
    }  // nothing listens there any more
    Rig rig(port);
    rig.flow.Start(false, false);
    rig.flow.ConnectPressed();
    std::this_thread::sleep_for(100ms);
    ASSERT_TRUE(rig.flow.AttemptRunning());
    rig.flow.ConnectPressed();  // ignored while an attempt runs
    EXPECT_EQ(rig.frame.Get(&TestFrame::saves_), 1);
    LogCapture log(kLogError);
    rig.flow.Exit();
    EXPECT_FALSE(rig.flow.AttemptRunning());
    EXPECT_EQ(log.Count("WARNING: Thread[\"Connection Attempt\"] did not exit!\r\n"), 0)
        << "the attempt saw the abort and ended within its stop time";
    EXPECT_EQ(rig.frame.Get(&TestFrame::saves_), 2);
}

TEST(ConnectionFlowTest, AnAttemptThatOutlivesItsFlowCallsNothingAfterIt) {
    // The attempt is held in a call to the frame past the flow's stop
    // time-out, so the flow's end lets go of it. Released, it ends without
    // touching the flow's freed memory (AddressSanitizer watches that) and
    // calls neither the frame nor the manager again.
    TestServer server;
    auto addresses = std::make_shared<testing::TestAddresses>("192.0.2.5");
    ConnectionManager manager(addresses);
    TestFrame frame;
    testing::CountingUpdate update;
    auto flow = std::make_unique<ConnectionFlow>(manager, frame, nullptr, addresses, &update,
                                                 Rig::Options(server.Port()));
    Event held;
    Event release;
    frame.onStatus = [&](const std::string&) {
        held.Set();
        release.Wait();
    };
    LogCapture log(kLogInfo);
    flow->ConnectPressed();
    ASSERT_TRUE(held.WaitFor(5s));
    std::thread end([&] { flow.reset(); });
    ASSERT_TRUE(WaitUntil(
        [&] { return log.Count("WARNING: Thread[\"Connection Attempt\"] did not exit!\r\n") == 1; },
        10s));
    release.Set();
    end.join();
    ASSERT_TRUE(WaitUntil(
        [&] { return log.Count("Thread[\"Connection Attempt\"] has ended\r\n") == 1; }, 10s));
    EXPECT_EQ(frame.Get(&TestFrame::statuses_), std::vector<std::string>{"Connecting..."});
    EXPECT_FALSE(manager.IsConnected());
    EXPECT_TRUE(server->ReceivedRequests().empty());
}

// The window closes while the update check (its question, its download)
// holds the channel's receiver thread. The flow is gone when the check
// returns: nothing of the flow may be used then (AddressSanitizer watches
// that), and no session starts for a window that is no more.
TEST(ConnectionFlowTest, AnUpdateCheckThatOutlivesItsFlowTouchesNothingOfIt) {
    class HeldUpdate final : public UpdateCheck {
    public:
        bool Run(const GetClientVersionResponse&) override {
            entered.Set();
            release.Wait();
            return false;  // nothing newer: the session would start now
        }
        Event entered;
        Event release;
    };
    TestServer server;
    auto addresses = std::make_shared<testing::TestAddresses>("192.0.2.5");
    ConnectionManager manager(addresses);
    TestFrame frame;
    HeldUpdate update;
    auto flow = std::make_unique<ConnectionFlow>(manager, frame, nullptr, addresses, &update,
                                                 Rig::Options(server.Port()));
    flow->ConnectPressed();
    ASSERT_TRUE(update.entered.WaitFor(5s));
    flow.reset();
    update.release.Set();
    manager.Disconnect();  // waits for the receiver thread to leave the check
    EXPECT_EQ(server->ReceivedRequests(), std::vector<std::string>{"GetClientVersionRequest"});
    EXPECT_TRUE(frame.Get(&TestFrame::posted_).empty());
}

}  // namespace
}  // namespace vantor
