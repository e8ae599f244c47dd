// The rooms: the speaker list made of Snapcast's status and notifications,
// the calls that switch rooms, and the link to snapserver among peers that
// a real snapserver cannot be made to be: garbage, silence, a drop in the
// middle of a call, lines of megabytes, hundreds of rooms with long names.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "net/ServerConnection.h"
#include "snapcast/Rooms.h"
#include "snapcast/SnapcastRooms.h"
#include "support/LogCapture.h"
#include "support/LoopbackListener.h"
#include "support/MpdInstance.h"
#include "support/TestServer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using server::kNotFound;
using server::kPlayerFailed;
using server::kSuccess;
using server::ResultCode;
using server::snapcast::Call;
using server::snapcast::Rooms;
using server::snapcast::SnapcastOptions;
using server::snapcast::SnapcastRooms;
using testing::WaitUntil;

struct Room {
    std::string id;
    std::string name;  // configured
    std::string host;
    bool muted = false;
    bool connected = true;
};

json Client(const Room& room) {
    return {{"id", room.id},
            {"connected", room.connected},
            {"config",
             {{"name", room.name},
              {"instance", 1},
              {"latency", 0},
              {"volume", {{"percent", 100}, {"muted", room.muted}}}}},
            {"host", {{"name", room.host}, {"ip", "127.0.0.1"}}}};
}

json Group(const std::string& id, const std::string& stream, bool muted,
           const std::vector<Room>& rooms) {
    json clients = json::array();
    for (const Room& room : rooms) {
        clients.push_back(Client(room));
    }
    return {
        {"id", id}, {"name", ""}, {"muted", muted}, {"stream_id", stream}, {"clients", clients}};
}

// Server.GetStatus's result.
json Status(const std::vector<json>& groups, const std::vector<std::string>& streams = {"MPD"}) {
    json list = json::array();
    for (const std::string& stream : streams) {
        list.push_back({{"id", stream}, {"status", "idle"}, {"uri", {{"raw", "pipe:///x"}}}});
    }
    return {{"server", {{"groups", groups}, {"streams", list}, {"server", json::object()}}}};
}

std::string Listed(const std::vector<Speaker>& speakers) {
    std::string text;
    for (const Speaker& speaker : speakers) {
        text += (text.empty() ? "" : ", ") + speaker.id + "=" + speaker.name + "/" +
                (speaker.enabled ? "on" : "off");
    }
    return text;
}

std::string Calls(const std::vector<Call>& calls) {
    std::string text;
    for (const Call& call : calls) {
        const json params = json::parse(call.params);
        text += (text.empty() ? "" : "; ") + call.method + " " + params["id"].get<std::string>();
        if (call.method == "Client.SetVolume") {
            text += params["volume"]["muted"].get<bool>() ? " mute" : " unmute";
        } else if (call.method == "Group.SetMute") {
            text += params["mute"].get<bool>() ? " mute" : " unmute";
        } else if (call.method == "Group.SetClients") {
            for (const json& client : params["clients"]) {
                text += " " + client.get<std::string>();
            }
        } else {
            text += " " + params["stream_id"].get<std::string>();
        }
    }
    return text;
}

TEST(RoomsTest, TheListShowsConnectedClientsByTheirNamesAndWhetherTheyPlayOurStream) {
    struct Case {
        const char* what;
        json status;
        std::string expected;
    };
    const std::string longName(10000, 'x');
    const Case cases[] = {
        {"configured name, else host name; muted, muted group, other stream are off",
         Status({Group("g1", "MPD", false,
                       {{"kitchen", "Kitchen", "pi1"}, {"patio", "", "pi2", true}}),
                 Group("g2", "MPD", true, {{"hall", "Hall", "pi3"}}),
                 Group("g3", "Radio", false, {{"den", "Den", "pi4"}}),
                 Group("g4", "MPD", false, {{"gone", "Gone", "pi5", false, false}})},
                {"MPD", "Radio"}),
         "den=Den/off, hall=Hall/off, kitchen=Kitchen/on, patio=pi2/off"},
        {"shared names get the id in brackets; no name at all: the id",
         Status({Group("g1", "MPD", false,
                       {{"a", "", "box"}, {"b", "", "box"}, {"c", "", ""}, {"d", "Box", ""}})}),
         "d=Box/on, a=box (a)/on, b=box (b)/on, c=c/on"},
        {"control characters go, spaces around too, long names are cut",
         Status({Group("g1", "MPD", false,
                       {{"a", " Li\x01ving\x1b Room\x7f\xc2\x85 ", ""}, {"b", longName, ""}})}),
         "a=Living Room/on, b=" + std::string(Rooms::kMaxNameBytes, 'x') + "/on"},
        {"ids the protocol cannot carry name no speaker",
         Status(
             {Group("g1", "MPD", false,
                    {{"ok", "Ok", ""}, {"bad\nid", "Bad", ""}, {std::string(300, 'i'), "", ""}})}),
         "ok=Ok/on"},
        {"no stream of ours: every room is off",
         Status({Group("g1", "A", false, {{"a", "A", ""}})}, {"A", "B"}), "a=A/off"},
    };
    for (const Case& test : cases) {
        Rooms rooms("", "MPD");
        ASSERT_TRUE(rooms.Load(test.status)) << test.what;
        EXPECT_EQ(Listed(rooms.Speakers()), test.expected) << test.what;
    }
}

TEST(RoomsTest, ANameCutInTheMiddleOfACharacterLosesTheWholeCharacter) {
    const std::string name = std::string(Rooms::kMaxNameBytes - 1, 'a') + "\xc3\xa9" + "tail";
    EXPECT_EQ(Rooms::CleanName(name), std::string(Rooms::kMaxNameBytes - 1, 'a'));
}

TEST(RoomsTest, OurStreamIsTheNamedOneTheOnlyOneOrTheOneNamedLikeThePlayer) {
    struct Case {
        std::vector<std::string> streams;
        std::string wanted;
        std::string player;
        std::string expected;
    } cases[] = {
        {{"Radio"}, "", "MPD", "Radio"},
        {{"Radio", "mpd"}, "", "MPD", "mpd"},
        {{"Radio", "Spotify"}, "", "MPD", ""},
        {{"Radio", "MPD"}, "Radio", "MPD", "Radio"},
        {{"Radio", "MPD"}, "radio", "MPD", "Radio"},
        {{"Radio"}, "Jazz", "MPD", ""},
        {{}, "", "MPD", ""},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(Rooms::ChooseStream(test.streams, test.wanted, test.player), test.expected)
            << test.wanted << " " << test.player;
    }
}

TEST(RoomsTest, SelectingMutesTheOthersFirstThenBringsTheRoomToOurStream) {
    Rooms rooms("", "MPD");
    ASSERT_TRUE(rooms.Load(
        Status({Group("g1", "MPD", false, {{"kitchen", "K", ""}, {"patio", "P", "", true}}),
                Group("g2", "Radio", true, {{"den", "D", "", true}, {"hall", "H", ""}}),
                Group("g3", "MPD", false, {{"attic", "A", ""}})},
               {"MPD", "Radio"})));
    struct Case {
        bool select;
        std::string id;
        bool enabled;
        ResultCode code;
        std::string calls;
    } cases[] = {
        // The hall, of the den's group, stays as it is: the den leaves the
        // group first.
        {true, "den", true, kSuccess,
         "Client.SetVolume kitchen mute; Client.SetVolume attic mute; Group.SetClients g2 hall"},
        {true, "kitchen", true, kSuccess, "Client.SetVolume attic mute"},
        {false, "den", true, kSuccess, "Group.SetClients g2 hall"},
        {false, "patio", true, kSuccess, "Client.SetVolume patio unmute"},
        {false, "kitchen", false, kSuccess, "Client.SetVolume kitchen mute"},
        {false, "patio", false, kSuccess, ""},
        {true, "nosuch", true, kNotFound, ""},
        {false, "nosuch", false, kNotFound, ""},
    };
    for (const Case& test : cases) {
        std::vector<Call> calls;
        const ResultCode code = test.select ? rooms.SelectCalls(test.id, &calls)
                                            : rooms.EnableCalls(test.id, test.enabled, &calls);
        EXPECT_EQ(code, test.code) << test.id;
        EXPECT_EQ(Calls(calls), test.calls) << test.id;
    }
    // Carried out, they make the list they were meant to: once snapserver
    // has given the den a group of its own, the calls asked for again
    // switch it on there.
    std::vector<Call> calls;
    ASSERT_EQ(rooms.SelectCalls("den", &calls), kSuccess);
    ASSERT_EQ(calls.back().method, "Group.SetClients");
    ASSERT_TRUE(rooms.Load(
        Status({Group("g1", "MPD", false, {{"kitchen", "K", "", true}, {"patio", "P", "", true}}),
                Group("g2", "Radio", true, {{"hall", "H", ""}}),
                Group("g3", "MPD", false, {{"attic", "A", "", true}}),
                Group("g5", "Radio", false, {{"den", "D", "", true}})},
               {"MPD", "Radio"})));
    ASSERT_EQ(rooms.SelectCalls("den", &calls), kSuccess);
    EXPECT_EQ(Calls(calls), "Group.SetStream g5 MPD; Client.SetVolume den unmute");
    for (const Call& call : calls) {
        ASSERT_TRUE(rooms.Apply(call.method, json::parse(call.params)));
    }
    EXPECT_EQ(Listed(rooms.Speakers()),
              "attic=A/off, den=D/on, hall=H/off, kitchen=K/off, "
              "patio=P/off");
}

TEST(RoomsTest, NotificationsChangeTheListAndUnknownOnesAskForTheStatusAgain) {
    Rooms rooms("", "MPD");
    ASSERT_TRUE(rooms.Load(Status({Group("g1", "MPD", false, {{"a", "A", "hostA"}}),
                                   Group("g2", "MPD", false, {{"b", "B", "", false, false}})})));
    struct Case {
        const char* method;
        json params;
        bool followed;
        std::string expected;
    } cases[] = {
        {"Client.OnVolumeChanged",
         {{"id", "a"}, {"volume", {{"muted", true}, {"percent", 5}}}},
         true,
         "a=A/off"},
        {"Client.OnNameChanged", {{"id", "a"}, {"name", ""}}, true, "a=hostA/off"},
        {"Client.OnConnect",
         {{"id", "b"}, {"client", Client({"b", "Bee", "", false, true})}},
         true,
         "b=Bee/on, a=hostA/off"},
        {"Group.OnMute", {{"id", "g2"}, {"mute", true}}, true, "b=Bee/off, a=hostA/off"},
        {"Group.OnStreamChanged",
         {{"id", "g1"}, {"stream_id", "Other"}},
         true,
         "b=Bee/off, a=hostA/off"},
        {"Client.OnDisconnect",
         {{"id", "a"}, {"client", Client({"a", "", "", false, false})}},
         true,
         "b=Bee/off"},
        {"Client.OnLatencyChanged", {{"id", "b"}, {"latency", 10}}, true, "b=Bee/off"},
        {"Client.OnVolumeChanged",
         {{"id", "zz"}, {"volume", {{"muted", true}}}},
         false,
         "b=Bee/off"},
        {"Client.OnConnect",
         {{"id", "new"}, {"client", Client({"new", "", "", false})}},
         false,
         "b=Bee/off"},
        {"Group.OnMute", {{"id", "nogroup"}, {"mute", false}}, false, "b=Bee/off"},
        {"Stream.OnUpdate", {{"id", "Fresh"}, {"stream", json::object()}}, false, "b=Bee/off"},
        {"Client.OnNameChanged", json("garbage"), false, "b=Bee/off"},
        {"Server.OnUpdate", Status({Group("g9", "MPD", false, {{"c", "Sea", ""}})}), true,
         "c=Sea/on"},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(rooms.Apply(test.method, test.params), test.followed) << test.method;
        EXPECT_EQ(Listed(rooms.Speakers()), test.expected) << test.method;
    }
    // A status that is none changes nothing.
    EXPECT_FALSE(rooms.Load(json::parse(R"({"server":{"groups":7}})")));
    EXPECT_FALSE(rooms.Load(json::parse(R"([1,2,3])")));
    EXPECT_EQ(Listed(rooms.Speakers()), "c=Sea/on");
}

TEST(RoomsTest, ARoomWhoseLastSeenStandsStillLeavesTheListUntilItMoves) {
    // Each read: when, by our clock (s), each room's lastSeen (snapserver's
    // clock, s; a room left out is not told), what the list shows then.
    struct Read {
        int at;
        std::map<std::string, int> lastSeen;
        std::string expected;
    };
    struct Case {
        const char* what;
        std::vector<Read> reads;
    };
    const Case cases[] = {
        {"a hung box leaves once its lastSeen stood still longer than the bound, and is back "
         "once it moves",
         {{0, {{"a", 100}, {"b", 100}}, "a=A/on, b=B/on"},
          {5, {{"a", 105}, {"b", 100}}, "a=A/on, b=B/on"},
          {15, {{"a", 115}, {"b", 100}}, "a=A/on, b=B/on"},
          {16, {{"a", 116}, {"b", 100}}, "a=A/on"},
          {30, {{"a", 130}, {"b", 100}}, "a=A/on"},
          {31, {{"a", 131}, {"b", 131}}, "a=A/on, b=B/on"}}},
        {"a room seen in one read only is live",
         {{0, {{"a", 100}}, "a=A/on, b=B/on"}, {40, {{"a", 140}, {"b", 10}}, "a=A/on, b=B/on"}}},
        {"every lastSeen standing still is snapserver standing still",
         {{0, {{"a", 100}, {"b", 100}}, "a=A/on, b=B/on"},
          {20, {{"a", 100}, {"b", 100}}, "a=A/on, b=B/on"},
          {60, {{"a", 100}, {"b", 100}}, "a=A/on, b=B/on"}}},
        {"reads far apart: a change between them is life",
         {{0, {{"a", 1}, {"b", 1}}, "a=A/on, b=B/on"},
          {40, {{"a", 2}, {"b", 2}}, "a=A/on, b=B/on"}}},
        {"a lastSeen set back is a change too",
         {{0, {{"a", 100}, {"b", 100}}, "a=A/on, b=B/on"},
          {20, {{"a", 50}, {"b", 120}}, "a=A/on, b=B/on"}}},
        {"a room snapserver tells no lastSeen of stays",
         {{0, {{"b", 1}}, "a=A/on, b=B/on"}, {20, {{"b", 2}}, "a=A/on, b=B/on"}}},
    };
    for (const Case& test : cases) {
        Rooms rooms("", "MPD", 15s);
        const auto start = std::chrono::steady_clock::time_point() + 1h;
        for (const Read& read : test.reads) {
            json status = Status({Group("g1", "MPD", false, {{"a", "A", ""}, {"b", "B", ""}})});
            for (json& client : status["server"]["groups"][0]["clients"]) {
                const auto seen = read.lastSeen.find(client["id"].get<std::string>());
                if (seen != read.lastSeen.end()) {
                    client["lastSeen"] = {{"sec", seen->second}, {"usec", 0}};
                }
            }
            ASSERT_TRUE(rooms.Load(status));
            rooms.Watch(start + std::chrono::seconds(read.at));
            EXPECT_EQ(Listed(rooms.Speakers()), read.expected) << test.what << ", at " << read.at;
        }
    }

    // A hung room is no room to switch, and a notification between the
    // reads does not bring it back.
    Rooms rooms("", "MPD", 15s);
    const auto start = std::chrono::steady_clock::time_point() + 1h;
    for (int at : {0, 20}) {
        json status = Status({Group("g1", "MPD", false, {{"a", "A", ""}, {"b", "B", ""}})});
        status["server"]["groups"][0]["clients"][0]["lastSeen"] = {{"sec", at}, {"usec", 0}};
        status["server"]["groups"][0]["clients"][1]["lastSeen"] = {{"sec", 0}, {"usec", 0}};
        ASSERT_TRUE(rooms.Load(status));
        rooms.Watch(start + std::chrono::seconds(at));
    }
    ASSERT_EQ(Listed(rooms.Speakers()), "a=A/on");
    std::vector<Call> calls;
    EXPECT_EQ(rooms.SelectCalls("b", &calls), kNotFound);
    EXPECT_EQ(rooms.EnableCalls("b", true, &calls), kNotFound);
    EXPECT_TRUE(
        rooms.Apply("Client.OnVolumeChanged", {{"id", "b"}, {"volume", {{"muted", true}}}}));
    EXPECT_EQ(Listed(rooms.Speakers()), "a=A/on");
    // Its box restarted: connected anew, it is back before the next read.
    EXPECT_TRUE(rooms.Apply("Client.OnDisconnect",
                            {{"id", "b"}, {"client", Client({"b", "B", "", true, false})}}));
    EXPECT_TRUE(rooms.Apply("Client.OnConnect",
                            {{"id", "b"}, {"client", Client({"b", "B", "", true, true})}}));
    EXPECT_EQ(Listed(rooms.Speakers()), "a=A/on, b=B/off");
}

TEST(RoomsTest, SwitchingARoomOffLeavesItAloneWhenItPlaysAnotherStream) {
    Rooms rooms("", "MPD");
    ASSERT_TRUE(rooms.Load(Status({Group("g1", "MPD", false, {{"kitchen", "K", ""}}),
                                   Group("g2", "Radio", false, {{"den", "D", ""}})},
                                  {"MPD", "Radio"})));
    ASSERT_EQ(Listed(rooms.Speakers()), "den=D/off, kitchen=K/on");
    // The den is off for this player already; muting it silences the radio
    // someone else plays there.
    std::vector<Call> calls;
    EXPECT_EQ(rooms.EnableCalls("den", false, &calls), kSuccess);
    EXPECT_EQ(Calls(calls), "");
}

TEST(RoomsTest, SwitchingOnARoomLeavesTheOtherRoomsOfItsGroupPlayingTheirStream) {
    Rooms rooms("", "MPD");
    ASSERT_TRUE(
        rooms.Load(Status({Group("g1", "MPD", false, {{"kitchen", "K", ""}}),
                           Group("g2", "Radio", false, {{"den", "D", ""}, {"hall", "H", ""}})},
                          {"MPD", "Radio"})));
    // The hall plays the radio; switching the den on for this player (alone,
    // or as the one room that plays) must not silence the hall or take its
    // radio away.
    for (const bool select : {false, true}) {
        std::vector<Call> calls;
        EXPECT_EQ(
            select ? rooms.SelectCalls("den", &calls) : rooms.EnableCalls("den", true, &calls),
            kSuccess);
        const std::string text = Calls(calls);
        EXPECT_EQ(text.find("Client.SetVolume hall"), std::string::npos) << text;
        EXPECT_EQ(text.find("Group.SetStream g2"), std::string::npos) << text;
    }
}

TEST(RoomsTest, SwitchingOnARoomOfAMutedGroupLeavesTheOthersOfTheGroupAsTheyAre) {
    Rooms rooms("", "MPD");
    ASSERT_TRUE(rooms.Load(Status({Group(
        "g1", "MPD", true, {{"den", "D", ""}, {"hall", "H", ""}, {"attic", "A", "", true}})})));
    std::vector<Call> calls;
    ASSERT_EQ(rooms.EnableCalls("den", true, &calls), kSuccess);
    EXPECT_EQ(Calls(calls), "Group.SetClients g1 hall attic");
    // Selected, the others are muted anyway: no need to leave the group.
    ASSERT_EQ(rooms.SelectCalls("den", &calls), kSuccess);
    EXPECT_EQ(Calls(calls), "Client.SetVolume hall mute; Group.SetMute g1 unmute");
}

TEST(RoomsTest, NamesMadeDistinctStayDistinct) {
    Rooms rooms("", "MPD");
    ASSERT_TRUE(rooms.Load(Status(
        {Group("g1", "MPD", false, {{"a", "Box", ""}, {"b", "Box", ""}, {"c", "Box (a)", ""}})})));
    const std::vector<Speaker> speakers = rooms.Speakers();
    std::set<std::string> names;
    for (const Speaker& speaker : speakers) {
        names.insert(speaker.name);
    }
    EXPECT_EQ(names.size(), speakers.size()) << Listed(speakers);
}

// A stand-in for snapserver's control port: each connection it accepts is
// handed to the script with its number. Lines are read and written whole.
class ScriptedSnapserver {
public:
    struct Connection {
        int fd;
        int number;
        std::string pending;
        // The next line from the link; empty when none came in `wait` or the
        // link went.
        std::string ReadLine(std::chrono::milliseconds wait = 5s) {
            const auto deadline = std::chrono::steady_clock::now() + wait;
            while (true) {
                if (const auto end = pending.find('\n'); end != std::string::npos) {
                    std::string line = pending.substr(0, end);
                    pending.erase(0, end + 1);
                    return line;
                }
                const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
                pollfd polled{fd, POLLIN, 0};
                if (left.count() <= 0 || ::poll(&polled, 1, static_cast<int>(left.count())) <= 0) {
                    return {};
                }
                char buffer[65536];
                const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
                if (got <= 0) {
                    return {};
                }
                pending.append(buffer, static_cast<std::size_t>(got));
            }
        }
        void Send(const std::string& bytes) const {
            std::size_t sent = 0;
            while (sent < bytes.size()) {
                const ssize_t n =
                    ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
                if (n <= 0) {
                    return;
                }
                sent += static_cast<std::size_t>(n);
            }
        }
        // Answers the link's next call, which must be Server.GetStatus.
        bool AnswerStatus(const json& status) {
            const json asked = json::parse(ReadLine(), nullptr, false);
            if (!asked.is_object() || asked.value("method", "") != "Server.GetStatus") {
                return false;
            }
            Send(json({{"id", asked["id"]}, {"jsonrpc", "2.0"}, {"result", status}}).dump() +
                 "\r\n");
            return true;
        }
    };
    using Script = std::function<void(Connection&)>;

    explicit ScriptedSnapserver(Script script) : script_(std::move(script)) {
        listener_ = testing::ListenOnLoopback(8, &port_);
        thread_ = std::thread([this] { Run(); });
    }
    ~ScriptedSnapserver() {
        stop_ = true;
        thread_.join();
        ::close(listener_);
    }
    std::uint16_t Port() const { return port_; }
    int Connections() const { return connections_; }

private:
    void Run() {
        while (!stop_) {
            pollfd polled{listener_, POLLIN, 0};
            if (::poll(&polled, 1, 20) <= 0) {
                continue;
            }
            const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) {
                continue;
            }
            Connection connection{fd, connections_++, {}};
            script_(connection);
            // Until the link leaves, or the test ends.
            while (!stop_) {
                pollfd open{fd, POLLIN, 0};
                char byte[4096];
                if (::poll(&open, 1, 20) > 0 && ::recv(fd, byte, sizeof byte, 0) <= 0) {
                    break;
                }
            }
            ::close(fd);
        }
    }

    Script script_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<int> connections_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// The rooms against a peer, with what they published.
class LinkTest : public ::testing::Test {
protected:
    void Start(std::uint16_t port, SnapcastOptions options = {}) {
        options.host = "127.0.0.1";
        options.port = port;
        options.player = "MPD";
        options.firstPause = 10ms;
        options.longestPause = 50ms;
        rooms_ = std::make_unique<SnapcastRooms>(options);
        rooms_->Start([this](std::vector<Speaker> speakers) {
            std::lock_guard lock(mutex_);
            published_.push_back(Listed(speakers));
        });
    }
    void TearDown() override {
        if (rooms_) {
            rooms_->Stop();
        }
    }
    std::vector<std::string> Published() {
        std::lock_guard lock(mutex_);
        return published_;
    }
    bool Shows(const std::string& list) {
        return WaitUntil([&] { return Listed(rooms_->Speakers()) == list; }, 10s);
    }
    // The outcome of a switch, waited for.
    ResultCode Switch(const std::string& id, std::optional<bool> enabled = std::nullopt) {
        auto promise = std::make_shared<std::promise<ResultCode>>();
        auto outcome = promise->get_future();
        auto done = [promise](ResultCode code) { promise->set_value(code); };
        if (enabled) {
            rooms_->Enable(id, *enabled, done);
        } else {
            rooms_->Select(id, done);
        }
        EXPECT_EQ(outcome.wait_for(20s), std::future_status::ready);
        return outcome.get();
    }

    std::unique_ptr<SnapcastRooms> rooms_;
    std::mutex mutex_;
    std::vector<std::string> published_;
};

const json kTwoRooms = Status({Group("g1", "MPD", false, {{"a", "A", ""}, {"b", "B", ""}})});

TEST_F(LinkTest, GarbageIsSkippedAndTheStatusAfterItServed) {
    ScriptedSnapserver peer([](ScriptedSnapserver::Connection& link) {
        const json asked = json::parse(link.ReadLine(), nullptr, false);
        link.Send("garbage\r\n\r\n{\"id\":\"x\"}\r\n[1,2]\r\n{}\r\n" + std::string(500, '[') +
                  std::string(500, ']') + "\r\n{\"jsonrpc\":\"2.0\",\"method\":7}\r\n");
        link.Send(json({{"id", asked["id"]}, {"jsonrpc", "2.0"}, {"result", kTwoRooms}}).dump() +
                  "\r\n");
    });
    Start(peer.Port());
    EXPECT_TRUE(Shows("a=A/on, b=B/on"));
    EXPECT_TRUE(rooms_->Linked());
    EXPECT_EQ(peer.Connections(), 1);
    EXPECT_EQ(Switch("nosuch"), kNotFound);
}

TEST_F(LinkTest, TheStatusIsReadAgainInTimeEvenWhenItsAnswerIsNone) {
    // Each read again answered with what is no status: logged, the list
    // kept, and asked for again after the interval, not at once.
    std::atomic<int> reads{0};
    ScriptedSnapserver peer([&reads](ScriptedSnapserver::Connection& link) {
        link.AnswerStatus(kTwoRooms);
        const auto end = std::chrono::steady_clock::now() + 1s;
        while (std::chrono::steady_clock::now() < end) {
            const json asked = json::parse(link.ReadLine(100ms), nullptr, false);
            if (asked.is_object() && asked.value("method", "") == "Server.GetStatus") {
                ++reads;
                link.Send(json({{"id", asked["id"]}, {"jsonrpc", "2.0"}, {"result", 7}}).dump() +
                          "\r\n");
            }
        }
    });
    SnapcastOptions options;
    options.statusEvery = 200ms;
    testing::LogCapture log;
    Start(peer.Port(), options);
    EXPECT_TRUE(Shows("a=A/on, b=B/on"));
    EXPECT_TRUE(WaitUntil([&] { return reads >= 2; }, 10s));
    std::this_thread::sleep_for(1s);
    // 200 ms apart: at most 6 in the second the peer answers.
    EXPECT_LE(reads, 6);
    EXPECT_EQ(Listed(rooms_->Speakers()), "a=A/on, b=B/on");
    EXPECT_EQ(Published(), std::vector<std::string>{"a=A/on, b=B/on"});
}

TEST_F(LinkTest, ALineLongerThanTheCapDropsTheLinkWhichIsMadeAgain) {
    ScriptedSnapserver peer([](ScriptedSnapserver::Connection& link) {
        if (link.number == 0) {
            (void)link.ReadLine();
            link.Send(std::string(300 * 1024, 'x'));  // and no end of line
            return;
        }
        link.AnswerStatus(kTwoRooms);
    });
    SnapcastOptions options;
    options.maxLine = 64 * 1024;
    Start(peer.Port(), options);
    EXPECT_TRUE(Shows("a=A/on, b=B/on"));
    EXPECT_GE(peer.Connections(), 2);
}

TEST_F(LinkTest, APeerThatStopsAnsweringOrDropsMidCallFailsTheSwitchEmptiesTheListAndIsRetried) {
    for (const bool drop : {false, true}) {
        published_.clear();
        ScriptedSnapserver peer([drop](ScriptedSnapserver::Connection& link) {
            link.AnswerStatus(kTwoRooms);
            if (link.number == 0) {
                (void)link.ReadLine();  // the switch, never answered
                if (drop) {
                    ::shutdown(link.fd, SHUT_RDWR);
                }
            }
        });
        SnapcastOptions options;
        options.callTimeout = 300ms;
        Start(peer.Port(), options);
        ASSERT_TRUE(Shows("a=A/on, b=B/on"));
        EXPECT_EQ(Switch("a"), kPlayerFailed) << drop;
        EXPECT_TRUE(Shows("a=A/on, b=B/on")) << drop;
        EXPECT_GE(peer.Connections(), 2);
        const auto published = Published();
        ASSERT_GE(published.size(), 3u);
        EXPECT_EQ(published[0], "a=A/on, b=B/on");
        EXPECT_EQ(published[1], "") << "the rooms went with the link";
        rooms_->Stop();
    }
}

TEST_F(LinkTest, AnErrorForACallFailsTheSwitchAndTheStatusIsReadAgain) {
    std::atomic<bool> reread{false};
    ScriptedSnapserver peer([&reread](ScriptedSnapserver::Connection& link) {
        link.AnswerStatus(kTwoRooms);
        const json batch = json::parse(link.ReadLine(), nullptr, false);
        json replies = json::array();
        for (const json& call : batch) {
            replies.push_back({{"id", call["id"]},
                               {"jsonrpc", "2.0"},
                               {"error", {{"code", -32603}, {"message", "Client not found"}}}});
        }
        link.Send(replies.dump() + "\r\n");
        reread = link.AnswerStatus(kTwoRooms);
    });
    Start(peer.Port());
    ASSERT_TRUE(Shows("a=A/on, b=B/on"));
    EXPECT_EQ(Switch("b"), kPlayerFailed);
    EXPECT_TRUE(WaitUntil([&] { return reread.load(); }));
    EXPECT_EQ(peer.Connections(), 1);
}

TEST_F(LinkTest, ABurstOfNotificationsMakesOneChange) {
    ScriptedSnapserver peer([](ScriptedSnapserver::Connection& link) {
        link.AnswerStatus(kTwoRooms);
        std::string burst;
        for (const char* id : {"a", "b", "a", "b"}) {
            burst +=
                json({{"jsonrpc", "2.0"},
                      {"method", "Client.OnVolumeChanged"},
                      {"params", {{"id", id}, {"volume", {{"muted", std::string(id) == "a"}}}}}})
                    .dump() +
                "\r\n";
        }
        burst +=
            R"({"jsonrpc":"2.0","method":"Client.OnNameChanged","params":{"id":"b","name":"Bee"}})"
            "\r\n";
        link.Send(burst);
    });
    Start(peer.Port());
    ASSERT_TRUE(Shows("a=A/off, b=Bee/on"));
    const auto published = Published();
    EXPECT_EQ(published, (std::vector<std::string>{"a=A/on, b=B/on", "a=A/off, b=Bee/on"}));
}

TEST_F(LinkTest, TwoHundredRoomsWithLongNamesAreListedCut) {
    std::vector<Room> many;
    for (int i = 0; i < 200; ++i) {
        many.push_back({"room" + std::to_string(1000 + i),
                        std::to_string(1000 + i) + std::string(10000, 'n') + "\x07", ""});
    }
    const json status = Status({Group("g1", "MPD", false, many)});
    ScriptedSnapserver peer([&status](ScriptedSnapserver::Connection& link) {
        link.AnswerStatus(status);
        // A switch of one of them is one batch.
        const json batch = json::parse(link.ReadLine(), nullptr, false);
        json replies = json::array();
        for (const json& call : batch) {
            replies.push_back({{"id", call["id"]}, {"jsonrpc", "2.0"}, {"result", json::object()}});
        }
        link.Send(replies.dump() + "\r\n");
    });
    Start(peer.Port());
    ASSERT_TRUE(WaitUntil([&] { return rooms_->Speakers().size() == 200; }, 10s));
    for (const Speaker& speaker : rooms_->Speakers()) {
        EXPECT_EQ(speaker.name.size(), Rooms::kMaxNameBytes);
        EXPECT_TRUE(speaker.enabled);
    }
    EXPECT_EQ(Switch("room1100"), kSuccess);
    const auto speakers = rooms_->Speakers();
    EXPECT_EQ(std::count_if(speakers.begin(), speakers.end(),
                            [](const Speaker& speaker) { return speaker.enabled; }),
              1);
}

TEST_F(LinkTest, NoSnapserverMeansNoRoomsAndSwitchesFailAtOnce) {
    std::uint16_t port = 0;
    const int listener = testing::ListenOnLoopback(1, &port);
    ::close(listener);  // nobody listens there now
    Start(port);
    EXPECT_EQ(Switch("a"), kPlayerFailed);
    EXPECT_TRUE(rooms_->Speakers().empty());
    EXPECT_FALSE(rooms_->Linked());
}

TEST_F(LinkTest, NoSnapserverAtTheStartIsNoChangeOfAnEmptyList) {
    std::uint16_t port = 0;
    const int listener = testing::ListenOnLoopback(1, &port);
    ::close(listener);  // nobody listens there now
    Start(port);
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(rooms_->Speakers().empty());
    // The list was empty and is: nothing to tell the clients.
    EXPECT_EQ(Published(), std::vector<std::string>{});
}

TEST_F(LinkTest, ASwitchAskedForWhileConnectingDoesNotGiveUpTheConnection) {
    std::uint16_t port = 0;
    const int listener = testing::ListenOnLoopback(0, &port);
    // Its queue full, its host answers the link's connection late.
    std::vector<int> queued;
    for (int i = 0; i < 4; ++i) {
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        queued.push_back(fd);
    }
    std::this_thread::sleep_for(100ms);
    testing::LogCapture log;
    SnapcastOptions options;
    options.callTimeout = 3s;
    Start(port, options);
    std::this_thread::sleep_for(300ms);  // connecting
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(Switch("a"), kPlayerFailed);
    EXPECT_LT(std::chrono::steady_clock::now() - asked, 1s) << "no rooms yet: failed at once";
    std::this_thread::sleep_for(300ms);
    // The connection waits its time-out, whoever asks for a switch meanwhile.
    for (const std::string& line : log.Lines()) {
        EXPECT_EQ(line.find("no answer"), std::string::npos) << line;
    }
    rooms_->Stop();
    for (const int fd : queued) {
        ::close(fd);
    }
    ::close(listener);
}

TEST_F(LinkTest, SwitchesWithoutAStreamOfOursAreLoggedOnceNotEachTime) {
    const json noneOurs = Status({Group("g1", "A", false, {{"a", "A", ""}})}, {"A", "B"});
    ScriptedSnapserver peer(
        [&noneOurs](ScriptedSnapserver::Connection& link) { link.AnswerStatus(noneOurs); });
    Start(peer.Port());
    ASSERT_TRUE(Shows("a=A/off"));
    testing::LogCapture log;
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(Switch("a"), kPlayerFailed);
    }
    int told = 0;
    for (const std::string& line : log.Lines()) {
        told += line.find("has no stream for this player") != std::string::npos ? 1 : 0;
    }
    // Any client could otherwise write a line to the log with each request.
    EXPECT_LE(told, 1);
}

TEST_F(LinkTest, ARoomLeavesAGroupOfAnotherStreamAndIsThenSwitchedOnInItsOwn) {
    const json before = Status({Group("g1", "MPD", false, {{"a", "A", ""}}),
                                Group("g2", "Radio", false, {{"den", "D", ""}, {"hall", "H", ""}})},
                               {"MPD", "Radio"});
    const json split = Status({Group("g1", "MPD", false, {{"a", "A", ""}}),
                               Group("g2", "Radio", false, {{"hall", "H", ""}}),
                               Group("g5", "Radio", false, {{"den", "D", ""}})},
                              {"MPD", "Radio"});
    std::atomic<int> batches{0};
    std::string second;
    std::mutex secondMutex;
    ScriptedSnapserver peer([&](ScriptedSnapserver::Connection& link) {
        link.AnswerStatus(before);
        for (int i = 0; i < 2; ++i) {
            const json batch = json::parse(link.ReadLine(), nullptr, false);
            if (!batch.is_array()) {
                return;
            }
            json replies = json::array();
            for (const json& call : batch) {
                const bool setClients = call.value("method", "") == "Group.SetClients";
                replies.push_back({{"id", call["id"]},
                                   {"jsonrpc", "2.0"},
                                   {"result", setClients ? split : json::object()}});
            }
            if (i == 1) {
                std::lock_guard lock(secondMutex);
                second = batch.dump();
            }
            ++batches;
            link.Send(replies.dump() + "\r\n");
        }
    });
    Start(peer.Port());
    ASSERT_TRUE(Shows("a=A/on, den=D/off, hall=H/off"));
    EXPECT_EQ(Switch("den", true), kSuccess);
    EXPECT_EQ(batches, 2);
    EXPECT_EQ(Listed(rooms_->Speakers()), "a=A/on, den=D/on, hall=H/off");
    std::lock_guard lock(secondMutex);
    EXPECT_NE(second.find("g5"), std::string::npos) << second;
    EXPECT_EQ(second.find("hall"), std::string::npos) << second;
}

TEST_F(LinkTest, ASnapserverThatDropsEachLinkAtOnceIsTriedAgainAfterGrowingPauses) {
    ScriptedSnapserver peer([](ScriptedSnapserver::Connection& link) {
        link.AnswerStatus(kTwoRooms);
        ::shutdown(link.fd, SHUT_RDWR);  // and gone again
    });
    SnapcastOptions options;
    options.host = "127.0.0.1";
    options.port = peer.Port();
    options.player = "MPD";
    options.firstPause = 100ms;
    options.longestPause = 1600ms;
    rooms_ = std::make_unique<SnapcastRooms>(options);
    rooms_->Start([this](std::vector<Speaker> speakers) {
        std::lock_guard lock(mutex_);
        published_.push_back(Listed(speakers));
    });
    std::this_thread::sleep_for(3s);
    rooms_->Stop();
    // Pauses of 100, 200, 400, 800 and 1600 ms: a handful of links in 3 s,
    // not one every 100 ms with two changes of the list each.
    EXPECT_LE(peer.Connections(), 8);
    EXPECT_LE(Published().size(), 16u);
}

TEST_F(LinkTest, ABurstPartlyFollowedByReadingTheStatusAgainMakesOneChange) {
    const json after = Status({Group("g1", "MPD", false, {{"a", "A", "", true}, {"b", "B", ""}}),
                               Group("g9", "MPD", false, {{"c", "C", ""}})});
    ScriptedSnapserver peer([&after](ScriptedSnapserver::Connection& link) {
        link.AnswerStatus(kTwoRooms);
        // One burst: a change it can follow, and a room it does not know.
        link.Send(R"({"jsonrpc":"2.0","method":"Client.OnVolumeChanged",)"
                  R"("params":{"id":"a","volume":{"muted":true}}})"
                  "\r\n"
                  R"({"jsonrpc":"2.0","method":"Client.OnConnect",)"
                  R"("params":{"id":"c","client":{"id":"c","connected":true}}})"
                  "\r\n");
        std::this_thread::sleep_for(100ms);  // snapserver busy a moment
        link.AnswerStatus(after);
    });
    Start(peer.Port());
    ASSERT_TRUE(Shows("a=A/off, b=B/on, c=C/on"));
    EXPECT_EQ(Published(), (std::vector<std::string>{"a=A/on, b=B/on", "a=A/off, b=B/on, c=C/on"}));
}

// A client that sends requests without waiting and counts the answers.
class Counting final : private ServerConnection::Handler {
public:
    bool Connect(std::uint16_t port) { return connection_.Connect("127.0.0.1", port); }
    ServerConnection& Connection() { return connection_; }
    int Answered(std::int32_t code) const {
        std::lock_guard lock(mutex_);
        return static_cast<int>(std::count(codes_.begin(), codes_.end(), code));
    }

private:
    void OnEvent(std::unique_ptr<Message>) override {}
    void OnResponse(std::unique_ptr<Message> response, std::unique_ptr<Message>) override {
        std::lock_guard lock(mutex_);
        codes_.push_back(response->returnCode);
    }
    void OnChannelLost(int) override {}

    mutable std::mutex mutex_;
    std::vector<std::int32_t> codes_;
    ServerConnection connection_{this};
};

TEST(RoomsServerTest, SwitchesASnapserverSitsOnNeverHoldTheLoopAndOneClientWaitsForSixteen) {
    std::atomic<bool> release{false};
    auto peer =
        std::make_unique<ScriptedSnapserver>([&release](ScriptedSnapserver::Connection& link) {
            if (link.number == 0) {
                link.AnswerStatus(kTwoRooms);
                WaitUntil([&] { return release.load(); }, 60s);  // hears the switches, says nothing
            }
        });
    SnapcastOptions rooms;
    rooms.port = peer->Port();
    rooms.callTimeout = 60s;  // longer than anyone waits below
    auto options = testing::LoopbackServerOptions();
    options.mediaService = false;
    options.discovery = false;
    options.speakers = std::make_shared<SnapcastRooms>(rooms);
    testing::TestServer server(options);
    ASSERT_TRUE(WaitUntil([&] { return options.speakers->Speakers().size() == 2; }, 10s));
    Counting client;
    ASSERT_TRUE(client.Connect(server.Port()));
    for (int i = 0; i < 20; ++i) {
        auto select = std::make_unique<SelectSpeakerRequest>();
        select->id = i % 2 == 0 ? "a" : "b";
        ASSERT_EQ(client.Connection().SendRequest(std::move(select)), SendResult::Sent);
    }
    EXPECT_NE(client.Connection().SendAndWait(std::make_unique<GetCurrentStateRequest>(), 5s),
              nullptr);
    EXPECT_TRUE(WaitUntil([&] { return client.Answered(kPlayerFailed) == 4; }));
    // The peer goes: every switch still waiting fails.
    release = true;
    peer.reset();
    EXPECT_TRUE(WaitUntil([&] { return client.Answered(kPlayerFailed) == 20; }, 10s));
}

// Speakers that are not the player's and never change.
class FixedSpeakers final : public server::SpeakerService {
public:
    void Start(Changed) override {}
    void Stop() override {}
    std::vector<Speaker> Speakers() const override { return {{"kitchen", "Kitchen", true}}; }
    void Select(const std::string&, Done done) override { done(kSuccess); }
    void Enable(const std::string&, bool, Done done) override { done(kSuccess); }
};

// A client that keeps the speaker lists the server sends it.
class ListWatcher final : private ServerConnection::Handler {
public:
    bool Connect(std::uint16_t port) { return connection_.Connect("127.0.0.1", port); }
    ServerConnection& Connection() { return connection_; }
    std::vector<std::string> Lists() const {
        std::lock_guard lock(mutex_);
        return lists_;
    }

private:
    void OnEvent(std::unique_ptr<Message> event) override {
        if (event->Type() == MessageType::SpeakerListChangedEvent) {
            std::lock_guard lock(mutex_);
            lists_.push_back(Listed(static_cast<SpeakerListChangedEvent&>(*event).speakers));
        }
    }
    void OnResponse(std::unique_ptr<Message>, std::unique_ptr<Message>) override {}
    void OnChannelLost(int) override {}

    mutable std::mutex mutex_;
    std::vector<std::string> lists_;
    ServerConnection connection_{this};
};

TEST(RoomsServerTest, WhenTheRoomsAreTheSpeakersThePlayersOwnSpeakerListNeverReachesAClient) {
    const std::string program = testing::FindProgram("mpd");
    if (program.empty()) {
        GTEST_SKIP() << "mpd is not installed";
    }
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("vantor-rooms-mpd-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder / "music");
    std::filesystem::create_directories(folder / "playlists");
    {
        testing::Mpd mpd(program, folder);
        ASSERT_TRUE(mpd.Start());
        auto options = testing::LoopbackServerOptions();
        options.mediaService = false;
        options.discovery = false;
        options.mpdHost = "127.0.0.1";
        options.mpdPort = mpd.Port();
        options.speakers = std::make_shared<FixedSpeakers>();
        testing::TestServer server(options);
        ListWatcher client;
        ASSERT_TRUE(client.Connect(server.Port()));
        auto asked = client.Connection().SendAndWait(std::make_unique<GetSpeakerListRequest>(), 5s);
        ASSERT_NE(asked, nullptr);
        EXPECT_EQ(Listed(static_cast<GetSpeakerListResponse&>(*asked).speakers),
                  "kitchen=Kitchen/on");
        // Someone switches one of MPD's outputs (mpc disable 1).
        auto own = mpd.Connect();
        ASSERT_NE(own, nullptr);
        ASSERT_TRUE(mpd_run_disable_output(own.get(), 0));
        WaitUntil([&] { return !client.Lists().empty(); }, 2s);
        for (const std::string& list : client.Lists()) {
            EXPECT_EQ(list, "kitchen=Kitchen/on") << "a list that is not the rooms'";
        }
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

}  // namespace
}  // namespace vantor
