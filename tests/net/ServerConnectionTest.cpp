// The client's connection against a real vantor-server on loopback.

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <thread>

#include "core/Event.h"
#include "net/HostLookup.h"
#include "net/ServerConnection.h"
#include "protocol/Messages.h"
#include "support/LogCapture.h"
#include "support/TestServer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::LogCapture;
using testing::TestServer;
using testing::WaitUntil;

class Recorder final : public ServerConnection::Handler {
public:
    void OnEvent(std::unique_ptr<Message> event) override {
        std::lock_guard lock(mutex_);
        events_.push_back(std::move(event));
    }
    void OnResponse(std::unique_ptr<Message>, std::unique_ptr<Message>) override {}
    void OnChannelLost(int code) override {
        std::lock_guard lock(mutex_);
        lost_.push_back(code);
    }

    std::size_t EventCount() const {
        std::lock_guard lock(mutex_);
        return events_.size();
    }
    std::vector<int> Lost() const {
        std::lock_guard lock(mutex_);
        return lost_;
    }
    // The names of the events received so far, in order.
    std::vector<std::string> EventNames() const {
        std::lock_guard lock(mutex_);
        std::vector<std::string> names;
        for (const auto& event : events_) {
            names.emplace_back(event->TypeName());
        }
        return names;
    }
    template <class M>
    const M* Event(std::size_t index) const {
        std::lock_guard lock(mutex_);
        return index < events_.size() ? As<M>(*events_[index]) : nullptr;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<Message>> events_;
    std::vector<int> lost_;
};

class ServerConnectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(connection_.Connect("127.0.0.1", server_.Port()));
        ASSERT_TRUE(WaitUntil([&] { return server_->ClientCount() == 1; }));
    }

    TestServer server_;
    Recorder recorder_;
    ServerConnection connection_{&recorder_};
};

TEST_F(ServerConnectionTest, FramingCasesFromTheServer) {
    // Each SendRaw is written at once, so it arrives as its own chunk.
    server_->SendRaw(
        "<PlaylistChangedEvent>\n</PlaylistChangedEvent>\0"
        "<AlbumArtChangedEvent>\n</AlbumArtChangedEvent>\0"s);
    ASSERT_TRUE(WaitUntil([&] { return recorder_.EventCount() == 2; }));

    // One message over many chunks, delivered once its zero byte arrives.
    const std::string split = "<VolumeChangedEvent>\n<volume>33</volume>\n</VolumeChangedEvent>";
    for (std::size_t i = 0; i < split.size(); i += 7) {
        server_->SendRaw(split.substr(i, 7));
        std::this_thread::sleep_for(2ms);
    }
    EXPECT_EQ(recorder_.EventCount(), 2u);
    server_->SendRaw("\0"s);
    ASSERT_TRUE(WaitUntil([&] { return recorder_.EventCount() == 3; }));
    EXPECT_EQ(recorder_.Event<VolumeChangedEvent>(2)->volume, 33);

    // Two zero bytes in a row and a declaration and a comment ahead of roots.
    server_->SendRaw(
        "<?xml version=\"1.0\"?><!-- pushed --><ShuffleStateChangedEvent>"
        "<shuffleState>true</shuffleState></ShuffleStateChangedEvent>\0\0"
        "<RepeatStateChangedEvent><repeatState>true</repeatState></RepeatStateChangedEvent>\0"s);
    ASSERT_TRUE(WaitUntil([&] { return recorder_.EventCount() == 5; }));
    EXPECT_EQ(recorder_.EventNames(),
              (std::vector<std::string>{"PlaylistChangedEvent", "AlbumArtChangedEvent",
                                        "VolumeChangedEvent", "ShuffleStateChangedEvent",
                                        "RepeatStateChangedEvent"}));
    EXPECT_TRUE(recorder_.Event<ShuffleStateChangedEvent>(3)->shuffleState);
    EXPECT_EQ(recorder_.Event<RepeatStateChangedEvent>(4)->repeatState, RepeatState::All);
}

TEST_F(ServerConnectionTest, GarbageIsLoggedAndTheConnectionStays) {
    LogCapture capture(kLogError);
    server_->SendRaw("<Bogus>x</Bogus>\0\x01\x02\xff\xfe\0<PingRequest/>\0"s);
    ASSERT_TRUE(WaitUntil([&] { return capture.Lines().size() >= 3; }));
    EXPECT_EQ(capture.Count("ERROR: Could not deserialize message: <Bogus>x</Bogus>\r\n"), 1);
    EXPECT_EQ(capture.Count("ERROR: Could not deserialize message: <PingRequest/>\r\n"), 1);
    EXPECT_TRUE(connection_.IsConnected());
    EXPECT_NE(connection_.SendAndWait(std::make_unique<GetVolumeRequest>(), 5s), nullptr);
    EXPECT_TRUE(recorder_.Lost().empty());
}

TEST(ServerConnectionLimitTest, AnEndlessMessageDropsTheConnectionOnce) {
    TestServer server;
    Recorder recorder;
    ServerConnection connection(&recorder, 64 * 1024);
    ASSERT_TRUE(connection.Connect("127.0.0.1", server.Port()));
    ASSERT_TRUE(WaitUntil([&] { return server->ClientCount() == 1; }));
    LogCapture capture(kLogError);
    server->SendRaw(std::string(200 * 1024, 'x'));
    ASSERT_TRUE(WaitUntil([&] { return !recorder.Lost().empty(); }));
    EXPECT_EQ(capture.Count(
                  "ERROR: Message from server exceeds 65536 bytes; dropping the connection\r\n"),
              1);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(recorder.Lost().size(), 1u);
    EXPECT_FALSE(connection.IsConnected());
}

TEST_F(ServerConnectionTest, AStoppedServerIsReportedOnce) {
    server_.Stop();
    ASSERT_TRUE(WaitUntil([&] { return !recorder_.Lost().empty(); }));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(recorder_.Lost(), std::vector<int>{0}) << "an orderly close, reported once";
    EXPECT_FALSE(connection_.IsConnected());
    EXPECT_FALSE(connection_.Connect("127.0.0.2", server_.Port())) << "nothing listens there";
    EXPECT_EQ(connection_.Host(), "127.0.0.1") << "a failed connect keeps the last host";

    // Not connected: requests are refused with 12 but stay registered, until
    // the table is full.
    for (int i = 0; i < RequestTable::kSlotCount; ++i) {
        ASSERT_EQ(connection_.SendRequest(std::make_unique<PlayRequest>()),
                  SendResult::NotConnected);
    }
    EXPECT_EQ(connection_.SendRequest(std::make_unique<PlayRequest>()), SendResult::TableFull);

    // Connecting again (to the server restarted on its port) starts afresh.
    ASSERT_TRUE(server_.Restart());
    ASSERT_TRUE(connection_.Connect("127.0.0.1", server_.Port()));
    EXPECT_EQ(connection_.OutstandingRequests(), 0);
    EXPECT_NE(connection_.SendAndWait(std::make_unique<GetVolumeRequest>(), 5s), nullptr);
}

TEST(HostLookupTest, NamesAreLookedUpSoThatTheCallerCanGiveUp) {
    std::atomic<int> lookups{0};
    const auto answers = [&](const std::string& host, std::uint16_t port) {
        ++lookups;
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return host == "player.example" ? std::vector<sockaddr_in>{address}
                                        : std::vector<sockaddr_in>{};
    };
    struct Case {
        const char* host;
        int result;
        int lookups;  // dotted addresses need no name server
    };
    const Case cases[] = {
        {"127.0.0.1", 0, 0}, {"127.1", 0, 0}, {"player.example", 0, 1}, {"nowhere.example", -1, 1}};
    for (const Case& c : cases) {
        lookups = 0;
        std::vector<sockaddr_in> found;
        EXPECT_EQ(LookUpHost(c.host, 3567, 5s, nullptr, &found, answers), c.result) << c.host;
        EXPECT_EQ(lookups.load(), c.lookups) << c.host;
        if (c.result == 0) {
            ASSERT_EQ(found.size(), 1u) << c.host;
            EXPECT_EQ(ntohs(found[0].sin_port), 3567) << c.host;
            EXPECT_EQ(ntohl(found[0].sin_addr.s_addr), INADDR_LOOPBACK) << c.host;
        }
    }

    // A name server that never answers: the abort ends the wait while the
    // lookup is still stuck, and the lookup finishes later on its own.
    auto entered = std::make_shared<Event>();
    auto release = std::make_shared<Event>();
    auto finished = std::make_shared<Event>();
    const auto stuck = [entered, release, finished](const std::string&, std::uint16_t) {
        entered->Set();
        release->Wait();
        finished->Set();
        return std::vector<sockaddr_in>{};
    };
    std::atomic<bool> abort{false};
    std::atomic<int> result{1};
    std::thread caller([&] {
        std::vector<sockaddr_in> found;
        result = LookUpHost("dead.example", 3567, 60s, &abort, &found, stuck);
    });
    ASSERT_TRUE(entered->WaitFor(5s));
    abort = true;
    caller.join();
    EXPECT_EQ(result.load(), -1);
    EXPECT_FALSE(finished->IsSet()) << "the caller did not wait for the lookup";
    release->Set();
    EXPECT_TRUE(finished->WaitFor(5s));
}

// A name server that never answers while the flow keeps trying (one attempt
// every connect time-out): the lookups given up must not pile up, one
// thread each, for as long as the name server is away.
TEST(HostLookupTest, LookupsGivenUpDoNotPileUp) {
    const auto threads = [] {
        int count = 0;
        for ([[maybe_unused]] const auto& entry :
             std::filesystem::directory_iterator("/proc/self/task")) {
            ++count;
        }
        return count;
    };
    auto release = std::make_shared<Event>();
    auto left = std::make_shared<std::atomic<int>>(0);
    const auto stuck = [release, left](const std::string&, std::uint16_t) {
        ++*left;
        release->Wait();
        --*left;
        return std::vector<sockaddr_in>{};
    };
    const int before = threads();
    for (int attempt = 0; attempt < 40; ++attempt) {
        std::vector<sockaddr_in> found;
        EXPECT_EQ(LookUpHost("dead.example", 3567, 1ms, nullptr, &found, stuck), -1);
    }
    const int during = threads();
    // Nor while the user tries one name after another.
    for (int name = 0; name < 40; ++name) {
        std::vector<sockaddr_in> found;
        EXPECT_EQ(LookUpHost("dead" + std::to_string(name) + ".example", 3567, 1ms, nullptr, &found,
                             stuck),
                  -1);
    }
    const int manyNames = threads();
    release->Set();
    for (int i = 0; i < 500 && *left > 0; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_LE(during - before, 2) << "one stuck lookup thread per attempt";
    EXPECT_LE(manyNames - before, 6) << "one stuck lookup thread per name";
}

}  // namespace
}  // namespace vantor
