// The server among hostile and careless peers: idle, half-sent and silent
// connections by the hundred, too many from one address, peers outside the
// allowed ranges, and a process out of descriptors. Each story ends with a
// real client's request and page being served.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "media/HttpClient.h"
#include "net/ServerConnection.h"
#include "protocol/Messages.h"
#include "support/Process.h"
#include "support/RawPeer.h"
#include "support/TestServer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::RawPeer;
using testing::TestServer;
using testing::WaitUntil;

// A real client: the protocol stack the handheld uses.
class RealClient final : private ServerConnection::Handler {
public:
    bool Connect(std::uint16_t port) { return connection_.Connect("127.0.0.1", port); }
    // A status round trip: the current state asked for and answered.
    bool Status() {
        return connection_.SendAndWait(std::make_unique<GetCurrentStateRequest>(), 5s) != nullptr;
    }
    int Lost() const { return lost_; }

private:
    void OnEvent(std::unique_ptr<Message>) override {}
    void OnResponse(std::unique_ptr<Message>, std::unique_ptr<Message>) override {}
    void OnChannelLost(int) override { ++lost_; }

    std::atomic<int> lost_{0};
    ServerConnection connection_{this};
};

bool PageServed(std::uint16_t port, const std::string& path) {
    ResponseBuffer body;
    HttpOptions options;
    options.connectTimeout = 5s;
    options.stallTimeout = 5s;
    return HttpGetToBuffer("http://127.0.0.1:" + std::to_string(port) + path, body, options) == 0 &&
           body.Size() > 0;
}

std::vector<std::unique_ptr<RawPeer>> Connections(std::uint16_t port, int count,
                                                  int receiveBuffer = 0) {
    std::vector<std::unique_ptr<RawPeer>> peers;
    for (int i = 0; i < count; ++i) {
        peers.push_back(std::make_unique<RawPeer>(port, receiveBuffer));
    }
    return peers;
}

TEST(ServerLoadTest, ARealClientIsServedBesideHundredsOfIdleAndSlowConnections) {
    // Both ends of every connection are in this process.
    if (testing::RaiseDescriptorLimit(4096) < 2000) {
        GTEST_SKIP() << "needs 2000 descriptors; the hard limit is lower";
    }
    auto options = testing::LoopbackServerOptions();
    // Every peer here is 127.0.0.1: the media service's per-address limit
    // would refuse the crowd before the event loop had to carry it.
    options.mediaMaxConnectionsPerAddress = 0;
    options.mediaMaxConnections = 2000;
    TestServer server(options);
    const std::uint16_t media = server->MediaPort();

    // Idle keep-alive connections, requests cut off in their headers, and
    // readers that take a large page and never read it.
    auto idle = Connections(media, 300);
    auto halfSent = Connections(media, 100);
    for (const auto& peer : halfSent) {
        ASSERT_TRUE(peer->Send("GET /playlist.thrift HTTP/1.1\r\nHost: 127.0.0.1\r\nAcc"));
    }
    auto slowReaders = Connections(media, 50, 1024);
    for (const auto& peer : slowReaders) {
        ASSERT_TRUE(
            peer->Send("GET /media/Music/Songs.thrift?count=-1 HTTP/1.1\r\n"
                       "Host: 127.0.0.1\r\n\r\n"));
    }
    // And silent connections to the message port, more than one address
    // may hold.
    auto silent = Connections(server.Port(), 300);
    for (const auto* group : {&idle, &halfSent, &slowReaders, &silent}) {
        for (const auto& peer : *group) {
            ASSERT_TRUE(peer->Connected());
        }
    }

    RealClient client;
    ASSERT_TRUE(client.Connect(server.Port()));
    EXPECT_TRUE(client.Status());
    EXPECT_TRUE(PageServed(media, "/playlist.thrift?start=0&count=10"));
    EXPECT_TRUE(PageServed(media, "/media/Music/Artists.thrift?start=0&count=20"));
    // The silent crowd made room and holds no more than one address may.
    EXPECT_LE(server->ClientCount(), 8);
    EXPECT_EQ(client.Lost(), 0);
}

TEST(ServerLoadTest, MediaConnectionsBeyondTheAddressLimitAreClosed) {
    auto options = testing::LoopbackServerOptions();
    options.mediaMaxConnectionsPerAddress = 4;
    TestServer server(options);
    auto held = Connections(server->MediaPort(), 4);
    // Taken by the server before the next one comes: the library's threads
    // take waiting connections in no set order, and one taken late would
    // lose its place to the excess.
    ASSERT_TRUE(WaitUntil([&] { return server->MediaConnectionCount() == 4; }));
    RawPeer excess(server->MediaPort());
    ASSERT_TRUE(excess.Connected());
    EXPECT_TRUE(excess.Send("GET /playlist.thrift HTTP/1.1\r\nHost: x\r\n\r\n"));
    EXPECT_TRUE(excess.ClosedWithNothing(5s));

    held.pop_back();
    EXPECT_TRUE(WaitUntil([&] { return PageServed(server->MediaPort(), "/playlist.thrift"); }));
}

TEST(MessageServerLimitsTest, SilentConnectionsAreDroppedWhileIdleClientsStay) {
    // The loop's clock is the test's: it moves only here.
    auto now = std::make_shared<std::atomic<std::int64_t>>(0);
    auto options = testing::LoopbackServerOptions();
    options.greetingTimeout = 500ms;
    options.clock = [now] {
        return std::chrono::steady_clock::time_point(std::chrono::milliseconds(now->load()));
    };
    TestServer server(options);
    RealClient client;
    ASSERT_TRUE(client.Connect(server.Port()));
    ASSERT_TRUE(client.Status());

    RawPeer silent(server.Port());
    ASSERT_TRUE(silent.Connected());
    // A whole message in pieces counts once it is whole.
    RawPeer slowSpeaker(server.Port());
    std::string request = GetCurrentStateRequest().ToXml();
    request.push_back('\0');
    ASSERT_TRUE(slowSpeaker.Send(std::string_view(request).substr(0, 10)));
    ASSERT_TRUE(WaitUntil([&] { return server->ClientCount() == 3; }));
    *now += 400;
    ASSERT_TRUE(slowSpeaker.Send(std::string_view(request).substr(10)));
    EXPECT_FALSE(slowSpeaker.Receive(1s).empty());

    // Well past the greeting time: the silent one goes, the clients that
    // spoke stay however long they idle.
    *now += 5000;
    EXPECT_TRUE(client.Status());
    EXPECT_TRUE(silent.ClosedWithNothing(5s));
    EXPECT_TRUE(client.Status());
    EXPECT_EQ(client.Lost(), 0);
    bool closed = false;
    slowSpeaker.Receive(100ms, &closed);
    EXPECT_FALSE(closed);
}

// A client on a slow link whose first message arrives within the greeting
// time, while the loop is held by a command that waits for the player (up
// to two seconds for a desktop player that does not answer, longer for one
// that answers slowly): the loop reads it before it judges the client
// silent, and answers it.
TEST(MessageServerLimitsTest, AFirstMessageThatCameInTimeWhileTheLoopWasHeldIsAnswered) {
    auto options = testing::LoopbackServerOptions();
    options.greetingTimeout = 1s;
    TestServer server(options);
    RawPeer late(server.Port());
    ASSERT_TRUE(late.Connected());
    ASSERT_TRUE(WaitUntil([&] { return server->ClientCount() == 1; }));
    std::this_thread::sleep_for(500ms);
    // The loop waits for the player, as for a command to a frozen one.
    auto began = std::make_shared<std::promise<void>>();
    auto holding = began->get_future();
    server->Post([began](server::PlayerBackend&, server::Events&) {
        began->set_value();
        std::this_thread::sleep_for(1s);
    });
    ASSERT_EQ(holding.wait_for(5s), std::future_status::ready);
    // Half a second after connecting, well within the greeting time.
    std::string request = GetCurrentStateRequest().ToXml();
    request.push_back('\0');
    ASSERT_TRUE(late.Send(request));
    bool closed = false;
    const std::string answer = late.Receive(3s, &closed);
    EXPECT_FALSE(answer.empty()) << "dropped as silent though its message came in time";
    EXPECT_FALSE(closed);
}

TEST(MessageServerLimitsTest, TheExcessIsRefusedUnlessASilentConnectionMakesRoom) {
    struct Case {
        const char* name;
        std::size_t perAddress;
        std::size_t total;
    };
    for (const Case& limit : {Case{"per address", 2, 64}, Case{"in all", 8, 2}}) {
        SCOPED_TRACE(limit.name);
        auto options = testing::LoopbackServerOptions();
        options.maxClientsPerAddress = limit.perAddress;
        options.maxClients = limit.total;
        TestServer server(options);

        RealClient first;
        auto second = std::make_unique<RealClient>();
        ASSERT_TRUE(first.Connect(server.Port()) && first.Status());
        ASSERT_TRUE(second->Connect(server.Port()) && second->Status());
        RawPeer excess(server.Port());
        EXPECT_TRUE(excess.ClosedWithNothing(5s));
        EXPECT_TRUE(first.Status());
        EXPECT_TRUE(second->Status());

        // With one place held by a connection that never spoke, a new
        // client takes it.
        second.reset();
        ASSERT_TRUE(WaitUntil([&] { return server->ClientCount() == 1; }));
        RawPeer silent(server.Port());
        ASSERT_TRUE(WaitUntil([&] { return server->ClientCount() == 2; }));
        RealClient third;
        ASSERT_TRUE(third.Connect(server.Port()));
        EXPECT_TRUE(third.Status());
        EXPECT_TRUE(silent.ClosedWithNothing(5s));
        EXPECT_TRUE(first.Status());
        EXPECT_EQ(first.Lost(), 0);
    }
}

TEST(MessageServerLimitsTest, ClientsThatStopReadingAreDroppedOnceAllOutputPassesTheBudget) {
    auto options = testing::LoopbackServerOptions();
    options.maxUnsent = 1024 * 1024;
    TestServer server(options);
    RealClient client;
    ASSERT_TRUE(client.Connect(server.Port()) && client.Status());
    // Three that speak once and never read again.
    auto deaf = Connections(server.Port(), 3, 1024);
    std::string hello = GetServerInfoRequest().ToXml();
    hello.push_back('\0');
    for (const auto& peer : deaf) {
        ASSERT_TRUE(peer->Send(hello));
    }
    ASSERT_TRUE(WaitUntil([&] { return server->ClientCount() == 4; }));

    // 24 MiB of events to each: far beyond what the sockets' buffers take,
    // and less than one client alone was once allowed to hold. The reader
    // keeps up: after each 128 KiB it asks for the state, answered after them.
    for (int i = 0; i < 192 && server->ClientCount() > 1; ++i) {
        server->Post([](server::PlayerBackend&, server::Events& events) {
            for (int piece = 0; piece < 2; ++piece) {
                auto event = std::make_unique<CurrentMediaChangedEvent>();
                event->title = std::string(64 * 1024, 'x');
                events.push_back(std::move(event));
            }
        });
        ASSERT_TRUE(client.Status());
    }
    EXPECT_TRUE(WaitUntil([&] { return server->ClientCount() == 1; }));
    EXPECT_TRUE(client.Status());
    EXPECT_EQ(client.Lost(), 0);
}

// Peers that never read spread what they hold over many connections, each
// below what one large answer leaves unsent for a client on a slow link.
// The budget is passed by that answer: the reader is not the one to go.
TEST(MessageServerLimitsTest, ManySmallNonReadersDoNotGetASlowReaderDropped) {
    auto options = testing::LoopbackServerOptions();
    // A folder whose page is smaller than the budget, and larger than what
    // the sockets' buffers take.
    options.maxUnsent = 3 * 1024 * 1024;
    options.songs = 20000;
    TestServer server(options);
    // Seven, and the reader: as many as one address may have.
    auto deaf = Connections(server.Port(), 7, 1024);
    std::string hello = GetServerInfoRequest().ToXml();
    hello.push_back('\0');
    for (const auto& peer : deaf) {
        ASSERT_TRUE(peer->Send(hello));
    }
    ASSERT_TRUE(WaitUntil([&] { return server->ClientCount() == 7; }));
    // Events none of them reads, until one of them is dropped: the rest hold
    // nearly the whole budget between them, each a seventh of it. (How many
    // it takes depends on what the kernel's buffers take first.)
    // The loop sends a task's events after the task has run, and counts
    // its clients after the round: the count is read only once a task of
    // the next round has run, or one more event could drop a second peer.
    const auto onTheLoop = [&](std::function<void(server::Events&)> work) {
        auto done = std::make_shared<std::promise<void>>();
        auto ran = done->get_future();
        server->Post([done, work](server::PlayerBackend&, server::Events& events) {
            work(events);
            done->set_value();
        });
        return ran.wait_for(5s) == std::future_status::ready;
    };
    for (int i = 0; i < 2000 && server->ClientCount() == 7; ++i) {
        ASSERT_TRUE(onTheLoop([](server::Events& events) {
            auto event = std::make_unique<CurrentMediaChangedEvent>();
            event->title = std::string(64 * 1024, 'x');
            events.push_back(std::move(event));
        }));
        ASSERT_TRUE(onTheLoop([](server::Events&) {}));
    }
    ASSERT_EQ(server->ClientCount(), 6);

    // A client on a slow link asks for a long folder, and reads it.
    const RawPeer slow(server.Port(), 1024);
    BrowseLibraryRequest browse;
    browse.path = "/Music/Songs";
    browse.count = -1;
    std::string request = browse.ToXml();
    request.push_back('\0');
    ASSERT_TRUE(slow.Send(request));
    bool closed = false;
    std::string answer;
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!closed && answer.find("</BrowseLibraryResponse>") == std::string::npos &&
           std::chrono::steady_clock::now() < deadline) {
        answer += slow.Receive(100ms, &closed);
    }
    EXPECT_FALSE(closed) << "the slow reader was dropped after " << answer.size() << " bytes";
    EXPECT_NE(answer.find("</BrowseLibraryResponse>"), std::string::npos)
        << answer.size() << " bytes read";
}

TEST(DescriptorExhaustionTest, TheServerRestsItsListenerAndServesAgain) {
#ifdef VANTOR_UNDEFINED_SANITIZER
    // The sanitizer checks a virtual call by probing memory through a pipe
    // of its own; in a server whose descriptors are used up on purpose it
    // gets none and reports the call as a bad one.
    GTEST_SKIP() << "the undefined-behaviour sanitizer needs descriptors this test takes away";
#endif
    // The server as its own process with few descriptors, and no limits of
    // its own that would refuse the crowd first.
    testing::Process server({"/bin/sh", "-c",
                             std::string("ulimit -n 40 && exec ") + VANTOR_SERVER_PATH +
                                 " --bind 127.0.0.1 --port 0 --discovery-port 0 --media-port 0"
                                 " --songs 20 --max-clients 1000 --max-clients-per-address 1000"});
    ASSERT_TRUE(server.Started());
    ASSERT_TRUE(server.WaitForOutput(" songs\n")) << server.Output();
    unsigned port = 0;
    const std::string output = server.Output();
    ASSERT_EQ(std::sscanf(output.c_str() + output.find("127.0.0.1:"), "127.0.0.1:%u", &port), 1)
        << output;

    auto crowd = Connections(static_cast<std::uint16_t>(port), 80);
    ASSERT_TRUE(server.WaitForOutput("cannot accept a connection")) << server.Output();
    crowd.clear();
    RealClient client;
    ASSERT_TRUE(WaitUntil([&] { return client.Connect(static_cast<std::uint16_t>(port)); }));
    EXPECT_TRUE(client.Status());
    EXPECT_TRUE(server.WaitForOutput("accepting connections again")) << server.Output();
    const std::string log = server.Output();
    EXPECT_LT(log.find("cannot accept a connection"), log.find("accepting connections again"));
    server.Signal(SIGTERM);
    EXPECT_EQ(server.Wait(), 0) << server.Output();
}

TEST(ServerProcessTest, SnapcastTakesAnIpv6AddressInBracketsOrBare) {
    // A control port on [::1] that only counts who connects.
    const int listener = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    if (listener < 0 ||
        ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 8) != 0) {
        GTEST_SKIP() << "no IPv6 loopback here";
    }
    socklen_t length = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    const std::string port = std::to_string(ntohs(address.sin6_port));
    testing::Process server({VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0",
                             "--no-discovery", "--media-port", "0", "--snapcast", "[::1]:" + port});
    ASSERT_TRUE(server.Started());
    pollfd polled{listener, POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 5000), 1) << "nobody came to [::1]:" << port << "\n"
                                           << server.Output();
    server.Signal(SIGTERM);
    server.Wait();
    ::close(listener);

    // Bare, it is an address without a port (1705), not host ":" port 1.
    testing::Process bare({VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0",
                           "--no-discovery", "--media-port", "0", "--snapcast", "::1"});
    ASSERT_TRUE(bare.Started());
    ASSERT_TRUE(bare.WaitForOutput("snapserver at")) << bare.Output();
    EXPECT_NE(bare.Output().find("snapserver at [::1]:1705 "), std::string::npos) << bare.Output();
    EXPECT_EQ(bare.Output().find("Name or service not known"), std::string::npos) << bare.Output();
    bare.Signal(SIGTERM);
    bare.Wait();
}

TEST(ServerProcessTest, SnapcastStreamWithoutSnapcastIsRefused) {
    // The rooms' stream named, the rooms forgotten: the speakers would be
    // the player's without a word.
    testing::Process server({VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0",
                             "--no-discovery", "--media-port", "0", "--snapcast-stream", "MPD"});
    ASSERT_TRUE(server.Started());
    const bool listening = server.WaitForOutput("listening on", 3s);
    if (listening) {
        server.Signal(SIGTERM);
    }
    EXPECT_FALSE(listening) << server.Output();
    EXPECT_EQ(server.Wait(), 2) << server.Output();
}

}  // namespace
}  // namespace vantor
