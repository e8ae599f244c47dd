// vantor-server's rooms on the real Snapcast: MPD plays a few tones into a
// FIFO that a snapserver of the test's own reads, three snapclient rooms
// record what they play, and vantorctl switches the rooms. What a room
// records is the proof: a room that is on hears the tone, one that is off
// hears nothing. Skipped where mpd, snapserver or snapclient is missing.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "e2e/ServerProcessTest.h"
#include "e2e/SnapcastRooms.h"
#include "protocol/PlayerMessages.h"
#include "support/MpdInstance.h"
#include "support/Process.h"
#include "support/RawPeer.h"
#include "support/Wait.h"

namespace vantor {
namespace {

namespace fs = std::filesystem;
using testing::FindProgram;
using testing::Mpd;
using testing::Process;
using testing::Room;
using testing::SnapControl;
using testing::Snapserver;
using testing::WaitUntil;
using namespace std::chrono_literals;

struct RoomName {
    const char* id;
    const char* name;
};
constexpr RoomName kRooms[] = {
    {"living", "Living Room"}, {"kitchen", "Kitchen"}, {"patio", "Patio"}};

// A client of the message protocol that asks for the speakers once and
// then listens for the SpeakerListChangedEvents every client is sent.
class SpeakerEvents {
public:
    explicit SpeakerEvents(const std::string& port)
        : peer_(static_cast<std::uint16_t>(std::stoi(port))) {
        GetSpeakerListRequest request;
        request.requestId = 1;
        std::string bytes = request.ToXml();
        bytes.push_back('\0');
        peer_.Send(bytes);
    }

    // Waits for an event whose list, as "NAME (on|off)" in the order of the
    // names and joined by ", ", is `wanted`.
    bool WaitFor(const std::string& wanted) {
        return WaitUntil(
            [&] {
                input_ += peer_.Receive(50ms);
                std::size_t end;
                while ((end = input_.find('\0')) != std::string::npos) {
                    const std::string document = input_.substr(0, end);
                    input_.erase(0, end + 1);
                    if (document.find("<SpeakerListChangedEvent") == std::string::npos) {
                        continue;
                    }
                    SpeakerListChangedEvent event;
                    event.FromXml(document);
                    std::vector<std::string> entries;
                    for (const Speaker& speaker : event.speakers) {
                        entries.push_back(speaker.name + (speaker.enabled ? " (on)" : " (off)"));
                    }
                    std::sort(entries.begin(), entries.end());
                    last_.clear();
                    for (const std::string& entry : entries) {
                        last_ += (last_.empty() ? "" : ", ") + entry;
                    }
                    if (last_ == wanted) {
                        return true;
                    }
                }
                return false;
            },
            20s);
    }
    const std::string& Last() const { return last_; }

private:
    testing::RawPeer peer_;
    std::string input_;
    std::string last_;
};

class SnapcastTest : public testing::ServerProcessTest {
protected:
    void SetUp() override {
        const std::string mpd = FindProgram("mpd");
        const std::string snapserver = FindProgram("snapserver");
        const std::string snapclient = FindProgram("snapclient");
        if (mpd.empty() || snapserver.empty() || snapclient.empty()) {
            GTEST_SKIP() << "mpd, snapserver or snapclient is not installed (scripts/install-deps "
                            "installs them); the tests against a real Snapcast are skipped";
        }
        char pattern[] = "/tmp/vantor-snapcast-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        folder_ = pattern;
        fs::create_directories(folder_ / "playlists");
        fs::create_directories(folder_ / "music/Tones");
        const double frequencies[] = {440, 523, 659};
        for (int i = 0; i < 3; ++i) {
            testing::WriteToneWav(folder_ / "music/Tones" / (std::to_string(i + 1) + ".wav"), 20,
                                  frequencies[i]);
        }

        snapserver_ = std::make_unique<Snapserver>(snapserver, folder_);
        ASSERT_TRUE(snapserver_->Start()) << snapserver_->Output();
        mpd_ = std::make_unique<Mpd>(mpd, folder_);
        testing::AddFifoOutput(folder_ / "mpd.conf", snapserver_->Fifo());
        ASSERT_TRUE(mpd_->Start()) << mpd_->Output();
        ASSERT_TRUE(mpd_->Update(3)) << mpd_->Output();

        control_ = std::make_unique<SnapControl>(snapserver_->ControlPort());
        ASSERT_TRUE(control_->Connected());
        for (const RoomName& room : kRooms) {
            rooms_.push_back(
                std::make_unique<Room>(snapclient, snapserver_->StreamPort(), room.id, folder_));
            ASSERT_TRUE(rooms_.back()->Start());
        }
        for (const RoomName& room : kRooms) {
            ASSERT_TRUE(WaitUntil(
                [&] {
                    const auto client = control_->Client(room.id);
                    return client.is_object() && client["connected"] == true;
                },
                10s))
                << room.id << " never reached snapserver\n"
                << snapserver_->Output();
            ASSERT_TRUE(control_->Result("Client.SetName", {{"id", room.id}, {"name", room.name}})
                            .is_object());
        }

        StartServer({"--no-discovery", "--mpd", "127.0.0.1:" + std::to_string(mpd_->Port()),
                     "--mpd-timeout", "1000", "--snapcast",
                     "127.0.0.1:" + std::to_string(snapserver_->ControlPort())},
                    ", MPD at");
        ASSERT_EQ(Run({"repeat", "all"}).first, 0);
        ASSERT_EQ(Run({"play-path", "/Music/Songs"}).first, 0);
    }

    void TearDown() override {
        StopServer();
        control_.reset();
        rooms_.clear();
        mpd_.reset();
        snapserver_.reset();
        if (!folder_.empty()) {
            fs::remove_all(folder_);
        }
    }

    Room& RoomOf(const std::string& id) {
        for (auto& room : rooms_) {
            if (room->Id() == id) {
                return *room;
            }
        }
        throw std::logic_error("no room " + id);
    }

    // Waits until the rooms in `on` play the music and every other room
    // plays silence; says what each room played when they never do.
    ::testing::AssertionResult OnlyThesePlay(const std::set<std::string>& on) {
        const auto settled = [&] {
            for (const auto& room : rooms_) {
                if (on.count(room->Id()) ? !room->HearsMusic() : !room->HearsSilence()) {
                    return false;
                }
            }
            return true;
        };
        if (WaitUntil(settled, 10s)) {
            return ::testing::AssertionSuccess();
        }
        auto failure = ::testing::AssertionFailure() << "loudest sample of the last 200 ms:";
        for (const auto& room : rooms_) {
            failure << " " << room->Id() << " " << room->RecentPeak()
                    << (on.count(room->Id()) ? " (should be on)" : " (should be off)");
        }
        return failure;
    }

    // `vantorctl speakers`, one "ID<tab>NAME<tab>on|off" line a room.
    std::string Speakers() const {
        const auto [status, output] = Run({"speakers"});
        return status == 0 ? output : "(vantorctl failed: " + output + ")";
    }
    bool EventuallyListed(const std::string& line) const {
        return WaitUntil([&] { return Speakers().find(line + "\n") != std::string::npos; }, 20s);
    }

    fs::path folder_;
    std::unique_ptr<Snapserver> snapserver_;
    std::unique_ptr<Mpd> mpd_;
    std::unique_ptr<SnapControl> control_;
    std::vector<std::unique_ptr<Room>> rooms_;
};

TEST_F(SnapcastTest, SelectEnableAndDisableSwitchWhatTheRoomsHearAndSnapcastNamesReachTheClient) {
    ASSERT_TRUE(EventuallyListed("living\tLiving Room\ton")) << Speakers();
    EXPECT_TRUE(EventuallyListed("kitchen\tKitchen\ton")) << Speakers();
    EXPECT_TRUE(EventuallyListed("patio\tPatio\ton")) << Speakers();
    EXPECT_TRUE(OnlyThesePlay({"living", "kitchen", "patio"}));

    SpeakerEvents events(port_);

    // Selecting a room leaves it the only one that plays.
    EXPECT_EQ(Run({"speaker", "kitchen"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"kitchen"}));
    EXPECT_TRUE(events.WaitFor("Kitchen (on), Living Room (off), Patio (off)")) << events.Last();
    EXPECT_EQ(control_->Client("living")["muted"], true);
    EXPECT_EQ(control_->Client("kitchen")["muted"], false);
    EXPECT_EQ(control_->Client("patio")["muted"], true);

    // Switching one on or off leaves the others as they are.
    EXPECT_EQ(Run({"speaker", "patio", "on"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"kitchen", "patio"}));
    EXPECT_EQ(Run({"speaker", "kitchen", "off"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"patio"}));
    EXPECT_TRUE(EventuallyListed("kitchen\tKitchen\toff")) << Speakers();
    EXPECT_TRUE(EventuallyListed("patio\tPatio\ton")) << Speakers();

    // A room another Snapcast remote moved to another stream is off for us;
    // selecting it brings it back to ours.
    const std::string livingGroup = control_->Client("living")["group"];
    ASSERT_FALSE(livingGroup.empty());
    ASSERT_TRUE(
        control_->Result("Client.SetVolume", {{"id", "living"}, {"volume", {{"muted", false}}}})
            .is_object());
    ASSERT_TRUE(control_->Result("Group.SetStream", {{"id", livingGroup}, {"stream_id", "Radio"}})
                    .is_object());
    EXPECT_TRUE(EventuallyListed("living\tLiving Room\toff")) << Speakers();
    EXPECT_TRUE(OnlyThesePlay({"patio"}));
    EXPECT_EQ(Run({"speaker", "living"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"living"}));
    EXPECT_EQ(control_->Client("living")["stream"], "MPD");

    // A name given in Snapcast (by any remote) reaches our clients.
    ASSERT_TRUE(
        control_->Result("Client.SetName", {{"id", "patio"}, {"name", "Garden"}}).is_object());
    EXPECT_TRUE(events.WaitFor("Garden (off), Kitchen (off), Living Room (on)")) << events.Last();
    EXPECT_TRUE(EventuallyListed("patio\tGarden\toff")) << Speakers();
    // Two rooms of one name are told apart by their ids.
    ASSERT_TRUE(
        control_->Result("Client.SetName", {{"id", "patio"}, {"name", "Kitchen"}}).is_object());
    EXPECT_TRUE(WaitUntil(
        [&] {
            const std::string list = Speakers();
            return list.find("patio\tKitchen (patio)\toff\n") != std::string::npos ||
                   list.find("patio\tKitchen [patio]\toff\n") != std::string::npos;
        },
        20s))
        << Speakers();
    // A room without a name is shown by its host's name.
    ASSERT_TRUE(control_->Result("Client.SetName", {{"id", "patio"}, {"name", ""}}).is_object());
    const std::string host =
        control_->Result("Server.GetStatus")["server"]["groups"][0]["clients"][0]["host"]["name"];
    EXPECT_TRUE(EventuallyListed("patio\t" + host + "\toff")) << Speakers();

    // A room snapserver does not know is refused.
    const auto unknown = Run({"speaker", "cellar"});
    EXPECT_EQ(unknown.first, 4) << unknown.second;
    EXPECT_TRUE(OnlyThesePlay({"living"}));

    // A name of 10 kB full of control characters, as any remote may give,
    // is listed without breaking the list or the loop.
    std::string garbage;
    for (int i = 0; garbage.size() < 10000; ++i) {
        garbage += static_cast<char>(1 + i % 31);
        garbage += "<&\"room\"> ";
    }
    ASSERT_TRUE(
        control_->Result("Client.SetName", {{"id", "patio"}, {"name", garbage}}).is_object());
    EXPECT_TRUE(WaitUntil(
        [&] {
            const auto [code, list] = Run({"speakers"});
            return code == 0 && list.find(host + "\toff") == std::string::npos &&
                   std::count(list.begin(), list.end(), '\n') == 3 &&
                   ("\n" + list).find("\npatio\t") != std::string::npos;
        },
        20s))
        << Run({"speakers"}).second.substr(0, 300);
    EXPECT_EQ(Run({"speaker", "kitchen"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"kitchen"}));
}

TEST_F(SnapcastTest, RoomsMutedOrGroupedByAnotherRemoteAreSwitchedOneByOne) {
    ASSERT_TRUE(EventuallyListed("kitchen\tKitchen\ton")) << Speakers();
    EXPECT_TRUE(OnlyThesePlay({"living", "kitchen", "patio"}));

    // Another remote mutes a room's whole group: the room is silent, so it
    // is off; switched on, it plays again.
    const std::string livingGroup = control_->Client("living")["group"];
    ASSERT_TRUE(
        control_->Result("Group.SetMute", {{"id", livingGroup}, {"mute", true}}).is_object());
    EXPECT_TRUE(OnlyThesePlay({"kitchen", "patio"}));
    EXPECT_TRUE(EventuallyListed("living\tLiving Room\toff")) << Speakers();
    EXPECT_EQ(Run({"speaker", "living", "on"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"living", "kitchen", "patio"}));
    EXPECT_TRUE(EventuallyListed("living\tLiving Room\ton")) << Speakers();

    // Kitchen and patio grouped on another stream: both are off. Switching
    // the kitchen on leaves the patio as it was.
    const std::string kitchenGroup = control_->Client("kitchen")["group"];
    ASSERT_TRUE(
        control_
            ->Result("Group.SetClients", {{"id", kitchenGroup}, {"clients", {"kitchen", "patio"}}})
            .is_object());
    ASSERT_TRUE(control_->Result("Group.SetStream", {{"id", kitchenGroup}, {"stream_id", "Radio"}})
                    .is_object());
    EXPECT_TRUE(OnlyThesePlay({"living"}));
    EXPECT_TRUE(EventuallyListed("kitchen\tKitchen\toff")) << Speakers();
    EXPECT_TRUE(EventuallyListed("patio\tPatio\toff")) << Speakers();
    EXPECT_EQ(Run({"speaker", "kitchen", "on"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"living", "kitchen"}));
    EXPECT_TRUE(EventuallyListed("kitchen\tKitchen\ton")) << Speakers();
    EXPECT_NE(Speakers().find("patio\tPatio\toff\n"), std::string::npos) << Speakers();
}

TEST_F(SnapcastTest, ASnapserverThatStopsAnsweringFailsTheSwitchNotTheServerAndComesBack) {
    ASSERT_TRUE(EventuallyListed("kitchen\tKitchen\ton")) << Speakers();
    EXPECT_EQ(Run({"speaker", "patio"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"patio"}));

    // Frozen, snapserver takes the call and never answers: the switch is
    // refused after a bounded wait, and the player is served meanwhile.
    snapserver_->Signal(SIGSTOP);
    Process select(Ctl({"speaker", "kitchen"}));
    ASSERT_TRUE(select.Started());
    EXPECT_TRUE(Says({"status"}, "state:     playing"));
    EXPECT_EQ(select.Wait(std::chrono::milliseconds(0)), -1)
        << "the status was answered while the switch waited";
    const int refused = select.Wait();
    EXPECT_EQ(refused, 4) << select.Output();
    EXPECT_TRUE(WaitUntil([&] { return Speakers().empty(); }, 20s)) << Speakers();

    // Thawed, it carries out what it was sent, late: the switch may have
    // happened after all. Whatever it did, the rooms are back and listed as
    // they play.
    snapserver_->Signal(SIGCONT);
    EXPECT_TRUE(WaitUntil(
        [&] {
            const std::string list = Speakers();
            std::size_t rooms = 0;
            for (std::size_t at = 0, end; (end = list.find('\n', at)) != std::string::npos;
                 at = end + 1) {
                const std::string line = list.substr(at, end - at);
                const bool on = line.ends_with("\ton");
                const Room& room = RoomOf(line.substr(0, line.find('\t')));
                if (on ? !room.HearsMusic() : !room.HearsSilence()) {
                    return false;
                }
                ++rooms;
            }
            return rooms == 3;
        },
        20s))
        << Speakers();
    EXPECT_EQ(Run({"speaker", "kitchen"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"kitchen"}));
}

TEST_F(SnapcastTest, AWatchThatOnlyListensHearsARoomRenamedLongAfterItStarted) {
    Process watch(Ctl({"watch"}));
    ASSERT_TRUE(watch.WaitForOutput("watching")) << watch.Output();
    // The server closes connections that say nothing in their first 5
    // seconds; a watch, which only listens, has to outlast that.
    std::this_thread::sleep_for(6s);
    ASSERT_TRUE(
        control_->Result("Client.SetName", {{"id", "patio"}, {"name", "Garden"}}).is_object());
    EXPECT_TRUE(watch.WaitForOutput("Garden (on)")) << watch.Output() << server_->Output();
    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Wait(), 0) << watch.Output();
}

TEST_F(SnapcastTest, RoomsLeaveAndJoinAndComeBackAfterSnapserverRestartsWithoutAServerRestart) {
    ASSERT_TRUE(EventuallyListed("kitchen\tKitchen\ton")) << Speakers();
    EXPECT_EQ(Run({"speaker", "patio"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"patio"}));

    // A room that goes away leaves the list; back, it is listed as it was.
    RoomOf("kitchen").Stop();
    EXPECT_TRUE(WaitUntil([&] { return Speakers().find("kitchen\t") == std::string::npos; }, 20s))
        << Speakers();
    EXPECT_NE(Speakers().find("patio\tPatio\ton\n"), std::string::npos) << Speakers();
    // Snapserver still knows the room gone, but it is no speaker.
    const auto gone = Run({"speaker", "kitchen"});
    EXPECT_EQ(gone.first, 4) << gone.second;
    EXPECT_TRUE(OnlyThesePlay({"patio"}));
    ASSERT_TRUE(RoomOf("kitchen").Start());
    EXPECT_TRUE(EventuallyListed("kitchen\tKitchen\toff")) << Speakers();
    EXPECT_EQ(Run({"speaker", "kitchen", "on"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"patio", "kitchen"}));

    // Snapserver gone: no rooms, and the player is served as before.
    snapserver_->Stop();
    EXPECT_TRUE(WaitUntil([&] { return Speakers().empty(); }, 20s)) << Speakers();
    EXPECT_TRUE(Says({"volume", "60"}, "")) << "the player is still served";
    EXPECT_TRUE(EventuallySays({"status"}, "volume:    60"));

    // Back: the rooms are back, with their names and switches, on the same
    // vantor-server.
    const pid_t server = server_->Pid();
    ASSERT_TRUE(snapserver_->Start()) << snapserver_->Output();
    EXPECT_TRUE(EventuallyListed("living\tLiving Room\toff")) << Speakers();
    EXPECT_TRUE(EventuallyListed("kitchen\tKitchen\ton")) << Speakers();
    EXPECT_TRUE(EventuallyListed("patio\tPatio\ton")) << Speakers();
    EXPECT_EQ(Run({"speaker", "living"}).first, 0);
    EXPECT_TRUE(OnlyThesePlay({"living"}));
    EXPECT_EQ(server_->Pid(), server);
    // One line for the loss, however often the link was tried meanwhile,
    // and one each time the rooms came.
    const std::string log = server_->Output();
    const auto count = [&](const std::string& text) {
        std::size_t found = 0;
        for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count("lost snapserver"), 1u) << log;
    EXPECT_EQ(count("rooms from snapserver"), 2u) << log;
    EXPECT_EQ(::kill(server, 0), 0) << "vantor-server is still the one started";
}

}  // namespace
}  // namespace vantor
