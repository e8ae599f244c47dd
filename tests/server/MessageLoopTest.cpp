// The server loop's own rules, with a player the test steers and a clock it
// moves: ticks after a stall, a library request that waits long, a loop
// that outlives Stop(), and posts racing Stop().

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "net/ServerConnection.h"
#include "protocol/Messages.h"
#include "support/RawPeer.h"
#include "support/TestServer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using server::Events;
using server::kSuccess;
using server::kUnsupported;
using server::ListPage;
using server::PlayerBackend;
using server::ResultCode;
using testing::WaitUntil;

// What the test sees of its player, and the gate its slow calls wait at.
// The gate opens by itself after 20 s, so a regression fails instead of
// hanging.
struct Probe {
    std::atomic<int> ticks{0};
    std::atomic<bool> stopped{false};
    std::atomic<bool> searching{false};
    std::mutex mutex;
    std::condition_variable changed;
    bool open = false;

    void Wait() {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, 20s, [this] { return open; });
    }
    void Open() {
        {
            std::lock_guard lock(mutex);
            open = true;
        }
        changed.notify_all();
    }
};

class SteeredPlayer final : public PlayerBackend {
public:
    explicit SteeredPlayer(std::shared_ptr<Probe> probe) : probe_(std::move(probe)) {}

    void Stop() override { probe_->stopped = true; }
    std::string PlayerType() const override { return "Steered"; }
    std::string LibraryId() const override { return "steered"; }
    server::PlayerCapabilities Capabilities() const override { return {}; }
    server::PlayerStatus Status() override { return {}; }
    ResultCode Transport(server::TransportCommand, Events&) override { return kUnsupported; }
    ResultCode SetVolume(std::int32_t volume, Events& events) override {
        auto event = std::make_unique<VolumeChangedEvent>();
        event->volume = volume;
        events.push_back(std::move(event));
        return kSuccess;
    }
    ResultCode SetPlaybackPosition(std::int32_t, Events&) override { return kUnsupported; }
    ResultCode SetQueuePosition(std::int32_t, Events&) override { return kUnsupported; }
    ResultCode SetShuffle(bool, Events&) override { return kUnsupported; }
    ResultCode SetRepeat(std::int32_t, Events&) override { return kUnsupported; }
    ResultCode SetRating(std::int32_t, Events&) override { return kUnsupported; }
    ResultCode GetEq(EqSettings*) override { return kUnsupported; }
    ResultCode SetEq(const EqSettings&, Events&) override { return kUnsupported; }
    ResultCode EqPresets(std::vector<std::string>*) override { return kUnsupported; }
    ResultCode SetEqPreset(const std::string&, Events&) override { return kUnsupported; }
    ResultCode GetFullScreen(bool*) override { return kUnsupported; }
    ResultCode SetFullScreen(bool, Events&) override { return kUnsupported; }
    ResultCode Speakers(std::vector<Speaker>*) override { return kUnsupported; }
    ResultCode SelectSpeaker(const std::string&, Events&) override { return kUnsupported; }
    ResultCode EnableSpeaker(const std::string&, bool, Events&) override { return kUnsupported; }
    ResultCode PlayNow(const MediaSelector&, std::int32_t, Events&) override {
        return kUnsupported;
    }
    ResultCode Add(const MediaSelector&, std::int32_t, Events&) override { return kUnsupported; }
    ResultCode Remove(std::int32_t, Events&) override { return kUnsupported; }
    ResultCode Move(std::int32_t, std::int32_t, Events&) override { return kUnsupported; }
    ResultCode Clear(Events&) override { return kUnsupported; }
    ResultCode QueuePage(std::int32_t, std::int32_t, ListPage*) override { return kUnsupported; }
    ResultCode AlbumArtPath(std::string*) override { return kUnsupported; }
    ResultCode UpdateLibrary(Events&) override { return kUnsupported; }
    void Tick(Events&) override { ++probe_->ticks; }
    ResultCode Browse(const std::string&, std::int32_t, std::int32_t, ListPage*) override {
        return kUnsupported;
    }
    // A search of a large library: it waits at the gate.
    ResultCode Search(const std::string&, std::int32_t, std::int32_t, ListPage*) override {
        probe_->searching = true;
        probe_->Wait();
        return kSuccess;
    }
    ResultCode Item(std::int32_t, const std::string&, server::LibraryEntry*) override {
        return kUnsupported;
    }
    ResultCode AlbumArt(std::int32_t, std::string*, std::string*) override { return kUnsupported; }

private:
    const std::shared_ptr<Probe> probe_;
};

// A clock that moves only when the test moves it.
struct TestClock {
    std::atomic<std::int64_t> milliseconds{0};
    std::chrono::steady_clock::time_point Now() const {
        return std::chrono::steady_clock::time_point(std::chrono::milliseconds(milliseconds));
    }
};

class MessageLoopTest : public ::testing::Test {
protected:
    testing::SimulatedOptions Options() {
        auto options = testing::LoopbackServerOptions();
        options.mediaService = false;
        options.discovery = false;
        options.clock = [clock = clock_] { return clock->Now(); };
        options.makePlayer = [probe = probe_] { return std::make_shared<SteeredPlayer>(probe); };
        return options;
    }
    // Runs a task on the loop and waits for it: the loop has gone once
    // more around.
    static void Turn(testing::SimulatedServer& server) {
        auto done = std::make_shared<std::promise<void>>();
        auto turned = done->get_future();
        server.Post([done](PlayerBackend&, Events&) { done->set_value(); });
        ASSERT_EQ(turned.wait_for(5s), std::future_status::ready);
    }

    std::shared_ptr<TestClock> clock_ = std::make_shared<TestClock>();
    std::shared_ptr<Probe> probe_ = std::make_shared<Probe>();
};

class Client final : private ServerConnection::Handler {
public:
    bool Connect(std::uint16_t port) { return connection_.Connect("127.0.0.1", port); }
    std::unique_ptr<Message> Ask(std::unique_ptr<Message> request) {
        return connection_.SendAndWait(std::move(request), 5s);
    }
    void Send(std::unique_ptr<Message> request) {
        (void)connection_.SendRequest(std::move(request));
    }
    int Answers() const { return answers_; }
    int Failed() const { return failed_; }

private:
    void OnEvent(std::unique_ptr<Message>) override {}
    void OnResponse(std::unique_ptr<Message> response, std::unique_ptr<Message>) override {
        ++answers_;
        failed_ += response->returnCode == server::kPlayerFailed ? 1 : 0;
    }
    void OnChannelLost(int) override {}

    std::atomic<int> answers_{0};
    std::atomic<int> failed_{0};
    ServerConnection connection_{this};
};

TEST_F(MessageLoopTest, TicksMissedInAStallAreNotMadeUp) {
    testing::TestServer server(Options());
    Turn(*server);
    EXPECT_EQ(probe_->ticks, 0);
    clock_->milliseconds += 10'000;  // ten ticks' time spent in one call
    for (int turn = 0; turn < 3; ++turn) {
        Turn(*server);
    }
    EXPECT_EQ(probe_->ticks, 1);
    clock_->milliseconds += 1'000;
    Turn(*server);
    Turn(*server);
    EXPECT_EQ(probe_->ticks, 2);
}

TEST_F(MessageLoopTest, ALongSearchHoldsUpNoCommand) {
    testing::TestServer server(Options());
    Client searcher;
    Client other;
    ASSERT_TRUE(searcher.Connect(server.Port()) && other.Connect(server.Port()));
    auto search = std::make_unique<MediaSearchRequest>();
    search->any = "a";
    searcher.Send(std::move(search));
    ASSERT_TRUE(WaitUntil([&] { return probe_->searching.load(); }));

    auto volume = std::make_unique<SetVolumeRequest>();
    volume->volume = 30;
    const auto answer = other.Ask(std::move(volume));
    const bool searchDone = searcher.Answers() != 0;
    probe_->Open();
    ASSERT_NE(answer, nullptr) << "the volume waited for the search";
    EXPECT_EQ(answer->returnCode, kSuccess);
    EXPECT_FALSE(searchDone);
    EXPECT_TRUE(WaitUntil([&] { return searcher.Answers() == 1; }));
}

// A flood of searches behind a slow one: those beyond what may wait are
// answered at once as failed; the rest are answered in turn.
TEST_F(MessageLoopTest, LibraryRequestsBeyondThoseThatMayWaitFailAtOnce) {
    auto options = Options();
    options.maxClientsPerAddress = 10;
    testing::TestServer server(options);
    // Ten clients, thirty requests each: within a client's share, past the
    // total.
    Client searchers[10];
    for (Client& searcher : searchers) {
        ASSERT_TRUE(searcher.Connect(server.Port()));
    }
    searchers[0].Send(std::make_unique<MediaSearchRequest>());
    ASSERT_TRUE(WaitUntil([&] { return probe_->searching.load(); }));
    for (int i = 1; i < 300; ++i) {
        searchers[i % 10].Send(std::make_unique<MediaSearchRequest>());
    }
    const auto count = [&](int (Client::*what)() const) {
        int sum = 0;
        for (const Client& searcher : searchers) {
            sum += (searcher.*what)();
        }
        return sum;
    };
    // One is searched for, 256 wait, the rest failed.
    ASSERT_TRUE(WaitUntil([&] { return count(&Client::Answers) == 300 - 257; }));
    EXPECT_EQ(count(&Client::Failed), 300 - 257);
    probe_->Open();
    EXPECT_TRUE(WaitUntil([&] { return count(&Client::Answers) == 300; }));
    EXPECT_EQ(count(&Client::Failed), 300 - 257);
}

// A loop stuck in a call past Stop()'s wait is left to finish; the player
// it is using stops only once it has.
TEST_F(MessageLoopTest, ALoopThatOutlivesStopKeepsItsPlayerUntilItEnds) {
    auto server = std::make_unique<testing::SimulatedServer>(Options());
    ASSERT_TRUE(server->Start());
    std::atomic<bool> inCall{false};
    std::atomic<bool> stoppedInCall{false};
    server->Post([&, probe = probe_](PlayerBackend&, Events&) {
        inCall = true;
        probe->Wait();
        stoppedInCall = probe->stopped.load();
    });
    ASSERT_TRUE(WaitUntil([&] { return inCall.load(); }));
    server->Stop();  // waits its time, and lets the loop go
    EXPECT_FALSE(probe_->stopped);
    probe_->Open();
    EXPECT_TRUE(WaitUntil([&] { return probe_->stopped.load(); }));
    EXPECT_FALSE(stoppedInCall);
    server.reset();
}

// (A data race only the thread sanitizer shows.)
TEST_F(MessageLoopTest, PostsRacingStopAreSafe) {
    for (int round = 0; round < 20; ++round) {
        testing::SimulatedServer server(Options());
        ASSERT_TRUE(server.Start());
        std::atomic<bool> done{false};
        std::thread poster([&] {
            while (!done) {
                server.Post([](PlayerBackend&, Events&) {});
                server.SendRaw("");
            }
        });
        std::this_thread::sleep_for(1ms);
        server.Stop();
        done = true;
        poster.join();
    }
}

// A hostile peer floods searches behind a slow one; another client's
// single request is still taken, not answered as failed for the flood.
TEST_F(MessageLoopTest, OnePeersFloodOfSearchesFailsNoOtherClientsRequest) {
    testing::TestServer server(Options());
    Client other;
    ASSERT_TRUE(other.Connect(server.Port()));
    const testing::RawPeer flooder(server.Port());
    std::string search = MediaSearchRequest().ToXml();
    search.push_back('\0');
    ASSERT_TRUE(flooder.Send(search));
    ASSERT_TRUE(WaitUntil([&] { return probe_->searching.load(); }));
    std::string flood;
    for (int i = 0; i < 299; ++i) {
        flood += search;
    }
    ASSERT_TRUE(flooder.Send(flood));
    ASSERT_TRUE(WaitUntil([&] { return !flooder.Receive(100ms).empty(); }));  // failures begin
    other.Send(std::make_unique<MediaSearchRequest>());
    const bool failedAtOnce = WaitUntil([&] { return other.Failed() == 1; }, 300ms);
    probe_->Open();
    EXPECT_FALSE(failedAtOnce) << "the other client's search failed for the flood";
}

// What a client hears, in order: "event" or "response".
class Recorder final : private ServerConnection::Handler {
public:
    bool Connect(std::uint16_t port) { return connection_.Connect("127.0.0.1", port); }
    void Send(std::unique_ptr<Message> request) {
        (void)connection_.SendRequest(std::move(request));
    }
    std::vector<std::string> Heard() {
        std::lock_guard lock(mutex_);
        return heard_;
    }

private:
    void OnEvent(std::unique_ptr<Message> event) override {
        std::lock_guard lock(mutex_);
        heard_.push_back(std::string(event->TypeName()));
    }
    void OnResponse(std::unique_ptr<Message> response, std::unique_ptr<Message>) override {
        std::lock_guard lock(mutex_);
        heard_.push_back(std::string(response->TypeName()));
    }
    void OnChannelLost(int) override {}

    std::mutex mutex_;
    std::vector<std::string> heard_;
    ServerConnection connection_{this};
};

// The library changes while a search reads it: the client must not hear
// the change first and the search's answer, read from the library before
// it changed, after it, as if it were the new one.
TEST_F(MessageLoopTest, ALibraryAnswerReadBeforeAChangeIsNotToldAfterIt) {
    testing::TestServer server(Options());
    Recorder client;
    ASSERT_TRUE(client.Connect(server.Port()));
    client.Send(std::make_unique<MediaSearchRequest>());
    ASSERT_TRUE(WaitUntil([&] { return probe_->searching.load(); }));
    server->Post([](PlayerBackend&, Events& events) {
        events.push_back(std::make_unique<MediaLibraryChangedEvent>());
    });
    // Time for a change told at once to arrive, ahead of the answer.
    (void)WaitUntil([&] { return !client.Heard().empty(); }, 300ms);
    probe_->Open();
    ASSERT_TRUE(WaitUntil([&] { return client.Heard().size() == 2; }));
    EXPECT_EQ(client.Heard(),
              (std::vector<std::string>{"MediaSearchResponse", "MediaLibraryChangedEvent"}));
}

}  // namespace
}  // namespace vantor
