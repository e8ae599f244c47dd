// The rooms against a real snapserver with real snapclients, all on
// loopback: a client of the server sees the rooms, switches them, and
// follows what others change in Snapcast; snapserver stopped and started
// again takes the rooms away and brings them back. Skipped where Snapcast
// is not installed.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "net/ServerConnection.h"
#include "protocol/Messages.h"
#include "snapcast/SnapcastRooms.h"
#include "support/Process.h"
#include "support/TestServer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::Process;
using testing::WaitUntil;

const char kSnapserver[] = "/usr/bin/snapserver";
const char kSnapclient[] = "/usr/bin/snapclient";

// A port nobody listens on just now.
std::uint16_t FreePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}

// snapserver on loopback with one stream ("MPD", from a pipe nobody writes
// to), its rooms, and a control connection of the test's own.
class Snapcast {
public:
    Snapcast()
        : folder_(std::filesystem::temp_directory_path() /
                  ("vantor-snap-" + std::to_string(::getpid()))) {
        std::filesystem::create_directories(folder_ / "data");
        ::mkfifo((folder_ / "fifo").c_str(), 0600);
        control_ = FreePort();
        audio_ = FreePort();
        std::ofstream(folder_ / "snapserver.conf")
            << "[server]\ndatadir = " << (folder_ / "data").string()
            << "\n[http]\nenabled = false\n[tcp]\nbind_to_address = 127.0.0.1\nport = " << control_
            << "\n[stream]\nbind_to_address = 127.0.0.1\nport = " << audio_ << "\nsource = pipe://"
            << (folder_ / "fifo").string()
            << "?name=MPD&sampleformat=48000:16:2&codec=pcm&mode=read\nbuffer = 400\n"
               "[logging]\nsink = null\n";
    }
    ~Snapcast() {
        rooms_.clear();
        server_.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    std::uint16_t ControlPort() const { return control_; }

    bool StartServer() {
        server_ = std::make_unique<Process>(
            std::vector<std::string>{kSnapserver, "-c", (folder_ / "snapserver.conf").string()});
        return server_->Started() &&
               WaitUntil([this] { return Ask("Server.GetStatus").is_object(); }, 10s);
    }
    void StopServer() {
        server_->Signal(SIGTERM);
        server_->Wait();
        server_.reset();
    }
    void AddRoom(const std::string& id) {
        rooms_[id] = std::make_unique<Process>(std::vector<std::string>{
            kSnapclient, "-h", "127.0.0.1", "-p", std::to_string(audio_), "--hostID", id,
            "--player", "file:filename=null", "--logsink", "null"});
    }
    void RemoveRoom(const std::string& id) { rooms_.erase(id); }
    // SIGSTOP: the room's box hangs, its connection stays up.
    void SignalRoom(const std::string& id, int signal) { rooms_.at(id)->Signal(signal); }

    // One call on a control connection of its own; its result, or null.
    json Ask(const std::string& method, const json& params = json::object()) const {
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(control_);
        json result;
        timeval wait{5, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            const std::string call =
                json({{"id", 1}, {"jsonrpc", "2.0"}, {"method", method}, {"params", params}})
                    .dump() +
                "\n";
            ::send(fd, call.data(), call.size(), MSG_NOSIGNAL);
            std::string line;
            char byte = 0;
            while (::recv(fd, &byte, 1, 0) == 1 && byte != '\n') {
                line.push_back(byte);
            }
            const json reply = json::parse(line, nullptr, false);
            if (reply.is_object() && reply.contains("result")) {
                result = reply["result"];
            }
        }
        ::close(fd);
        return result;
    }
    // Whether snapserver has the client muted.
    bool Muted(const std::string& id) const {
        const json status = Ask("Server.GetStatus");
        for (const json& group : status["server"]["groups"]) {
            for (const json& client : group["clients"]) {
                if (client["id"] == id) {
                    return client["config"]["volume"]["muted"].get<bool>();
                }
            }
        }
        return false;
    }

private:
    std::filesystem::path folder_;
    std::uint16_t control_ = 0;
    std::uint16_t audio_ = 0;
    std::unique_ptr<Process> server_;
    std::map<std::string, std::unique_ptr<Process>> rooms_;
};

std::string Listed(const std::vector<Speaker>& speakers) {
    std::string text;
    for (const Speaker& speaker : speakers) {
        text += (text.empty() ? "" : ", ") + speaker.id + "=" + speaker.name + "/" +
                (speaker.enabled ? "on" : "off");
    }
    return text;
}

// A client of vantor-server, keeping the speaker lists it was sent.
class Remote final : private ServerConnection::Handler {
public:
    bool Connect(std::uint16_t port) { return connection_.Connect("127.0.0.1", port); }
    std::unique_ptr<Message> Ask(std::unique_ptr<Message> request) {
        return connection_.SendAndWait(std::move(request), 20s);
    }
    std::string Speakers() {
        const auto answer = Ask(std::make_unique<GetSpeakerListRequest>());
        return answer ? Listed(As<GetSpeakerListResponse>(*answer)->speakers) : "no answer";
    }
    int Switch(std::unique_ptr<Message> request) {
        const auto answer = Ask(std::move(request));
        return answer ? answer->returnCode : -1;
    }
    // Whether a change to `list` comes, after the last one asked about.
    // The changes told after the last one asked about.
    std::vector<std::string> Since() {
        std::lock_guard lock(mutex_);
        return {told_.begin() + static_cast<std::ptrdiff_t>(seen_), told_.end()};
    }
    bool Told(const std::string& list) {
        return WaitUntil(
            [&] {
                std::lock_guard lock(mutex_);
                const auto found = std::find(told_.begin() + seen_, told_.end(), list);
                if (found == told_.end()) {
                    return false;
                }
                seen_ = static_cast<std::size_t>(found - told_.begin()) + 1;
                return true;
            },
            20s);
    }

private:
    void OnEvent(std::unique_ptr<Message> event) override {
        if (event->Type() == MessageType::SpeakerListChangedEvent) {
            std::lock_guard lock(mutex_);
            told_.push_back(Listed(As<SpeakerListChangedEvent>(*event)->speakers));
        }
    }
    void OnResponse(std::unique_ptr<Message>, std::unique_ptr<Message>) override {}
    void OnChannelLost(int) override {}

    std::mutex mutex_;
    std::vector<std::string> told_;
    std::size_t seen_ = 0;
    ServerConnection connection_{this};
};

std::unique_ptr<Message> Select(const std::string& id) {
    auto request = std::make_unique<SelectSpeakerRequest>();
    request->id = id;
    return request;
}

std::unique_ptr<Message> Enable(const std::string& id, bool enabled) {
    auto request = std::make_unique<EnableSpeakerRequest>();
    request->id = id;
    request->enabled = enabled;
    return request;
}

// A snapserver with two rooms, "Kitchen" and "Patio", their names set.
bool StartKitchenAndPatio(Snapcast& snapcast) {
    if (!snapcast.StartServer()) {
        return false;
    }
    snapcast.AddRoom("kitchen");
    snapcast.AddRoom("patio");
    return WaitUntil(
        [&] {
            return snapcast.Ask("Client.SetName", {{"id", "kitchen"}, {"name", "Kitchen"}})
                       .is_object() &&
                   snapcast.Ask("Client.SetName", {{"id", "patio"}, {"name", "Patio"}}).is_object();
        },
        10s);
}

TEST(SnapserverTest, ARemoteSwitchesRoomsAndFollowsSnapcastThroughAStopAndAStart) {
    if (::access(kSnapserver, X_OK) != 0 || ::access(kSnapclient, X_OK) != 0) {
        GTEST_SKIP() << "snapserver and snapclient are not installed (scripts/install-deps)";
    }
    Snapcast snapcast;
    ASSERT_TRUE(StartKitchenAndPatio(snapcast));

    server::snapcast::SnapcastOptions rooms;
    rooms.port = snapcast.ControlPort();
    rooms.firstPause = 50ms;
    rooms.longestPause = 200ms;
    auto options = testing::LoopbackServerOptions();
    options.mediaService = false;
    options.discovery = false;
    options.speakers = std::make_shared<server::snapcast::SnapcastRooms>(rooms);
    testing::TestServer server(options);
    Remote remote;
    ASSERT_TRUE(remote.Connect(server.Port()));
    ASSERT_TRUE(
        WaitUntil([&] { return remote.Speakers() == "kitchen=Kitchen/on, patio=Patio/on"; }, 10s))
        << remote.Speakers();
    const auto capabilities = remote.Ask(std::make_unique<GetPlayerCapabilitiesRequest>());
    ASSERT_NE(capabilities, nullptr);
    EXPECT_TRUE(As<GetPlayerCapabilitiesResponse>(*capabilities)->supportsMultipleSpeakers);

    // Select: the other room is muted in snapserver, and every client hears.
    EXPECT_EQ(remote.Switch(Select("kitchen")), 0);
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/on, patio=Patio/off"));
    EXPECT_TRUE(snapcast.Muted("patio"));
    EXPECT_FALSE(snapcast.Muted("kitchen"));
    EXPECT_EQ(remote.Switch(Enable("patio", true)), 0);
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/on, patio=Patio/on"));
    EXPECT_EQ(remote.Switch(Enable("kitchen", false)), 0);
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/off, patio=Patio/on"));
    EXPECT_TRUE(snapcast.Muted("kitchen"));
    EXPECT_EQ(remote.Switch(Select("nosuch")), 3);

    // Changes made by others in Snapcast reach the remote.
    snapcast.Ask("Client.SetName", {{"id", "patio"}, {"name", "Garden\x01"}});
    EXPECT_TRUE(remote.Told("patio=Garden/on, kitchen=Kitchen/off"));
    snapcast.Ask("Client.SetVolume", {{"id", "kitchen"}, {"volume", {{"muted", false}}}});
    EXPECT_TRUE(remote.Told("patio=Garden/on, kitchen=Kitchen/on"));
    snapcast.RemoveRoom("patio");
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/on"));

    // snapserver gone: no rooms, the player served; back: the rooms are back.
    snapcast.StopServer();
    EXPECT_TRUE(remote.Told(""));
    EXPECT_EQ(remote.Speakers(), "");
    EXPECT_NE(remote.Ask(std::make_unique<GetCurrentStateRequest>()), nullptr);
    EXPECT_EQ(remote.Switch(Select("kitchen")), 4);
    ASSERT_TRUE(snapcast.StartServer());
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/on"));
    EXPECT_EQ(remote.Switch(Select("kitchen")), 0);

    // The same from the command line.
    const auto vantorctl = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {VANTORCTL_PATH, "--server", "127.0.0.1", "--port",
                                     std::to_string(server.Port())});
        Process run(words);
        const int status = run.Wait();
        return std::to_string(status) + " " + run.Output();
    };
    EXPECT_EQ(vantorctl({"speaker", "kitchen", "off"}), "0 ");
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/off"));
    EXPECT_EQ(vantorctl({"speakers"}), "0 kitchen\tKitchen\toff\n");
    EXPECT_EQ(vantorctl({"speaker", "kitchen"}), "0 ");
    EXPECT_EQ(vantorctl({"speakers"}), "0 kitchen\tKitchen\ton\n");
    EXPECT_EQ(vantorctl({"speaker", "kitchen", "loud"}).substr(0, 2), "1 ");
    EXPECT_EQ(vantorctl({"speaker", "nosuch", "on"}).substr(0, 2), "4 ");

    // A room new to snapserver joins: it has a group of its own, on our
    // stream, named by its host until someone names it.
    char host[256] = {};
    ::gethostname(host, sizeof host - 1);
    snapcast.AddRoom("den");
    EXPECT_TRUE(WaitUntil(
        [&] {
            return remote.Speakers().find("den=" + std::string(host) + "/on") != std::string::npos;
        },
        20s))
        << remote.Speakers();
}

TEST(SnapserverTest, ARoomWhoseBoxHangsLeavesTheListAndIsBackWhenItRuns) {
    if (::access(kSnapserver, X_OK) != 0 || ::access(kSnapclient, X_OK) != 0) {
        GTEST_SKIP() << "snapserver and snapclient are not installed (scripts/install-deps)";
    }
    Snapcast snapcast;
    ASSERT_TRUE(StartKitchenAndPatio(snapcast));

    // A live snapclient is seen about every second.
    server::snapcast::SnapcastOptions rooms;
    rooms.port = snapcast.ControlPort();
    rooms.statusEvery = 250ms;
    rooms.hungAfter = 3s;
    auto options = testing::LoopbackServerOptions();
    options.mediaService = false;
    options.discovery = false;
    options.speakers = std::make_shared<server::snapcast::SnapcastRooms>(rooms);
    testing::TestServer server(options);
    Remote remote;
    ASSERT_TRUE(remote.Connect(server.Port()));
    ASSERT_TRUE(
        WaitUntil([&] { return remote.Speakers() == "kitchen=Kitchen/on, patio=Patio/on"; }, 10s))
        << remote.Speakers();

    // snapserver keeps it connected; its lastSeen stands still.
    snapcast.SignalRoom("patio", SIGSTOP);
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/on"));
    EXPECT_EQ(remote.Speakers(), "kitchen=Kitchen/on");
    snapcast.SignalRoom("patio", SIGCONT);
    EXPECT_TRUE(remote.Told("kitchen=Kitchen/on, patio=Patio/on"));
    // Reading the status again and again, with nothing changed, tells
    // nothing.
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(remote.Since(), std::vector<std::string>());
}

}  // namespace
}  // namespace vantor
