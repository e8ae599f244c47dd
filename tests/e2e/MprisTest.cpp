// vantor-server driving real desktop media players over a session bus of
// the test's own (CTest runs every case under dbus-run-session): mpv with
// its MPRIS plugin, and VLC's D-Bus control for the track list, with
// vantorctl as the client. What reaches the player is read back from the
// player itself (mpv's IPC socket, playerctl); what the player does on its
// own reaches a watching vantorctl. Skipped, with the reason, where a player
// is missing or the bus is not the test's own.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "e2e/ServerProcessTest.h"
#include "protocol/MessageFactory.h"
#include "protocol/Messages.h"
#include "protocol/XmlReader.h"
#include "support/MprisPlayers.h"
#include "support/Process.h"
#include "support/Wait.h"

namespace vantor {
namespace {

namespace fs = std::filesystem;
using testing::FindProgram;
using testing::Mpv;
using testing::Playerctl;
using testing::Process;
using testing::TestSong;
using testing::WaitUntil;

const std::vector<TestSong> kSongs = {
    {"Mira Solen/Blue Rivers/01.flac", "Mira Solen", "Blue Rivers", "Night Drive"},
    {"Glass Orchard/Paper Fields/01.flac", "Glass Orchard", "Paper Fields", "Summer Rain"},
    {"Glass Orchard/Paper Fields/02.flac", "Glass Orchard", "Paper Fields", "Slow Dance"},
};

// Why a case cannot run, given why its player cannot; empty when it can.
std::string SkipReason(const std::string& player) {
    if (!testing::OnPrivateBus()) {
        return "not on a session bus of its own: run it through ctest, or as "
               "dbus-run-session -- mpris_e2e_tests";
    }
    if (FindProgram("flac").empty() || FindProgram("playerctl").empty()) {
        return "flac or playerctl is not installed (scripts/install-deps installs them)";
    }
    return player;
}

class MprisTest : public testing::ServerProcessTest {
protected:
    void SetUp() override {
        if (const std::string reason =
                SkipReason(Mpv::Available() ? ""
                                            : "mpv or its MPRIS plugin is not installed "
                                              "(scripts/install-deps installs mpv and mpv-mpris)");
            !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        ASSERT_NO_FATAL_FAILURE(WriteSongs());
        mpv_ = std::make_unique<Mpv>(folder_ / "list.m3u", folder_ / "mpv.sock");
        ASSERT_TRUE(mpv_->Start()) << "mpv did not come onto the bus";
        StartServer({"--mpris"});
    }

    void TearDown() override {
        StopServer();
        mpv_.reset();
        if (!folder_.empty()) {
            fs::remove_all(folder_);
        }
    }

    // The songs, in a folder of the test's own that another user may read
    // (VLC may be one).
    void WriteSongs() {
        char pattern[] = "/tmp/vantor-mpris-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        folder_ = pattern;
        fs::permissions(folder_, fs::perms(0755));
        std::string error;
        ASSERT_TRUE(testing::WriteMusic(folder_, kSongs, "", &error)) << error;
    }

    void StartServer(const std::vector<std::string>& player) {
        std::vector<std::string> arguments = {"--no-discovery", "--log-level", "2"};
        arguments.insert(arguments.end(), player.begin(), player.end());
        ServerProcessTest::StartServer(arguments, ", MPRIS player", std::chrono::seconds(30));
    }

    // One request over a connection of its own, as the client writes it;
    // its response, or null.
    std::unique_ptr<Message> Ask(Message& request) const {
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port_)));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        std::unique_ptr<Message> response;
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            request.requestId = 7;
            std::string bytes = request.ToXml();
            bytes.push_back('\0');
            (void)!::write(fd, bytes.data(), bytes.size());
            timeval wait{5, 0};
            ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
            std::string received;
            char buffer[4096];
            ssize_t size;
            while (!response && (size = ::read(fd, buffer, sizeof buffer)) > 0) {
                received.append(buffer, static_cast<std::size_t>(size));
                std::size_t end;
                while (!response && (end = received.find('\0')) != std::string::npos) {
                    const std::string text =
                        RemoveProcessingInstructionsAndComments(received.substr(0, end));
                    received.erase(0, end + 1);
                    auto message = MessageFactory::Create(MessageTypeFromName(RootName(text)));
                    if (message &&
                        message->Type() == static_cast<MessageType>(
                                               static_cast<std::uint32_t>(request.Type()) + 1)) {
                        message->FromXml(text);
                        response = std::move(message);
                    }
                }
            }
        }
        ::close(fd);
        return response;
    }

    fs::path folder_;
    std::unique_ptr<Mpv> mpv_;
};

TEST_F(MprisTest, CommandsReachMpvAndComeBackAsEvents) {
    Process watch(Ctl({"watch"}));
    ASSERT_TRUE(watch.WaitForOutput("watching")) << watch.Output();

    EXPECT_EQ(Run({"play"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("state playing\n")) << watch.Output();
    EXPECT_TRUE(WaitUntil([&] { return mpv_->Get("pause") == "false"; }));

    EXPECT_EQ(Run({"volume", "70"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("volume 70\n")) << watch.Output();
    EXPECT_TRUE(WaitUntil([&] { return mpv_->Get("volume").rfind("70.", 0) == 0; }))
        << mpv_->Get("volume");

    EXPECT_EQ(Run({"next"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("now playing: Glass Orchard - Summer Rain")) << watch.Output();
    EXPECT_TRUE(WaitUntil([&] { return mpv_->Get("playlist-pos") == "1"; }));
    const std::size_t second = watch.Output().size();
    EXPECT_EQ(Run({"prev"}).first, 0);
    EXPECT_TRUE(WaitUntil([&] {
        return watch.Output().find("now playing: Mira Solen - Night Drive", second) !=
               std::string::npos;
    })) << watch.Output();
    EXPECT_TRUE(WaitUntil([&] { return mpv_->Get("playlist-pos") == "0"; }));

    EXPECT_EQ(Run({"seek", "12"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("position 00:12\n")) << watch.Output();
    EXPECT_GE(std::atof(mpv_->Get("time-pos").c_str()), 12.0);

    EXPECT_EQ(Run({"pause"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("state paused\n")) << watch.Output();
    EXPECT_TRUE(WaitUntil([&] { return mpv_->Get("pause") == "true"; }));

    EXPECT_EQ(Run({"repeat", "all"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("repeat all\n")) << watch.Output();
    EXPECT_TRUE(WaitUntil([&] { return mpv_->Get("loop-playlist") == "\"inf\""; }))
        << mpv_->Get("loop-playlist");
    EXPECT_EQ(Run({"shuffle", "on"}).first, 0) << "mpv has Shuffle";

    const auto [code, output] = Run({"status"});
    EXPECT_EQ(code, 0) << output;
    EXPECT_NE(output.find("(Desktop media player (MPRIS))"), std::string::npos) << output;
    EXPECT_NE(output.find("playing:   Mira Solen - Night Drive (0:30)"), std::string::npos)
        << output;
    EXPECT_NE(output.find("album:     Blue Rivers"), std::string::npos) << output;
    EXPECT_NE(output.find("volume:    70"), std::string::npos) << output;
    // mpv has no track list and no playlists: the play queue and the
    // library hold the current track, and search finds it there.
    EXPECT_TRUE(Says({"queue"}, "Night Drive - Mira Solen"));
    EXPECT_TRUE(Says({"browse", "/"}, "Night Drive"));
    EXPECT_TRUE(Says({"search", "night"}, "Night Drive"));
    EXPECT_FALSE(Says({"search", "summer"}, "Summer Rain")) << "only what is listed";

    // What MPRIS has no way to do is refused as unsupported.
    for (const std::vector<std::string>& refused :
         std::vector<std::vector<std::string>>{{"eq"}, {"rate", "60"}, {"add", "/"}}) {
        const auto answer = Run(refused);
        EXPECT_EQ(answer.first, 4) << refused[0] << "\n" << answer.second;
        EXPECT_NE(answer.second.find(": 1 "), std::string::npos) << answer.second;
    }
    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Wait(), 0);
}

TEST_F(MprisTest, AfterStopTheQueueHasNoBlankEntryAndPlayPlaysAgain) {
    EXPECT_EQ(Run({"play"}).first, 0);
    EXPECT_TRUE(EventuallySays({"status"}, "state:     playing"));
    // mpv's Stop empties its playlist: nothing is left to list.
    EXPECT_EQ(Run({"stop"}).first, 0);
    EXPECT_TRUE(EventuallySays({"queue"}, "queue: 0 entries")) << Run({"queue"}).second;
    EXPECT_TRUE(Says({"status"}, "state:     stopped"));

    // Play brings back the song that was stopped.
    EXPECT_EQ(Run({"play"}).first, 0);
    EXPECT_TRUE(WaitUntil([&] {
        return mpv_->Get("pause") == "false" && mpv_->Get("idle-active") == "false";
    })) << mpv_->Get("idle-active");
    EXPECT_TRUE(EventuallySays({"status"}, "playing:   Mira Solen - Night Drive"))
        << Run({"status"}).second;
    EXPECT_TRUE(EventuallySays({"status"}, "state:     playing"));
}

TEST_F(MprisTest, TwoPlayersAreSpeakersAndTheClientSwitchesBetweenThem) {
    Mpv other(folder_ / "list.m3u", folder_ / "other.sock");
    ASSERT_TRUE(other.Start());
    const std::string otherName =
        "org.mpris.MediaPlayer2.mpv.instance" + std::to_string(other.Pid());
    ASSERT_TRUE(EventuallySays({"speakers"}, otherName + "\t"));
    const auto listed = Run({"speakers"}).second;
    EXPECT_NE(listed.find("org.mpris.MediaPlayer2.mpv\t"), std::string::npos) << listed;
    EXPECT_NE(listed.find(otherName + "\tmpv (mpv.instance"), std::string::npos)
        << "players of one name are told apart:\n"
        << listed;
    EXPECT_NE(listed.find("off"), std::string::npos) << listed;

    Process watch(Ctl({"watch"}));
    ASSERT_TRUE(watch.WaitForOutput("watching")) << watch.Output();
    SelectSpeakerRequest select;
    select.id = otherName;
    const auto selected = Ask(select);
    ASSERT_NE(selected, nullptr);
    EXPECT_EQ(selected->returnCode, 0);
    EXPECT_TRUE(EventuallySays(
        {"speakers"}, otherName + "\tmpv (mpv.instance" + std::to_string(other.Pid()) + ")\ton"));
    EXPECT_TRUE(watch.WaitForOutput("speakers ")) << watch.Output();

    EXPECT_EQ(Run({"play"}).first, 0);
    EXPECT_TRUE(WaitUntil([&] { return other.Get("pause") == "false"; }));
    EXPECT_EQ(mpv_->Get("pause"), "true") << "the first player is left alone";
    EXPECT_TRUE(watch.WaitForOutput("state playing\n")) << watch.Output();

    // Without a name the server follows the player a person uses: the first
    // one starting to play on the desktop is driven again.
    mpv_->Set("pause", "false");
    EXPECT_TRUE(EventuallySays({"speakers"}, "org.mpris.MediaPlayer2.mpv\tmpv (mpv)\ton"))
        << Run({"speakers"}).second << server_->Output();

    SelectSpeakerRequest unknown;
    unknown.id = "org.mpris.MediaPlayer2.nobody";
    const auto refused = Ask(unknown);
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->returnCode, 3);
    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Wait(), 0);
}

TEST_F(MprisTest, ANamedPlayerIsTheOnlyOneDriven) {
    StopServer();
    StartServer({"--mpris", "vlc"});
    EXPECT_TRUE(Says({"status"}, "playing:   -")) << "mpv is not vlc";
    EXPECT_EQ(Run({"play"}).first, 4);
    StopServer();
    StartServer({"--mpris", "org.mpris.MediaPlayer2.mpv"});
    EXPECT_TRUE(EventuallySays({"status"}, "Night Drive"));
    EXPECT_EQ(Run({"play"}).first, 0);
    EXPECT_TRUE(WaitUntil([&] { return mpv_->Get("pause") == "false"; }));
}

TEST(MprisStartTest, WithoutASessionBusTheServerSaysSoAndFails) {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    const std::string saved = address ? address : "";
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/vantor-test-bus", 1);
    Process server({VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0", "--no-discovery",
                    "--media-port", "0", "--mpris"});
    const int status = server.Wait();
    if (address) {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", saved.c_str(), 1);
    } else {
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    }
    EXPECT_EQ(status, 1) << server.Output();
    EXPECT_NE(server.Output().find("--mpris needs the session bus"), std::string::npos)
        << server.Output();
}

// VLC's D-Bus control has a track list (and no playlists): the play queue
// is VLC's. As root VLC runs as another user, on a bus the test starts for
// both of them.
class MprisVlcTest : public MprisTest {
protected:
    void SetUp() override {
        if (const std::string reason = SkipReason(testing::Vlc::Unavailable()); !reason.empty()) {
            GTEST_SKIP() << reason << "; the track-list tests against VLC are skipped";
        }
        ASSERT_NO_FATAL_FAILURE(WriteSongs());
        if (testing::Vlc::AsOtherUser()) {
            bus_ = std::make_unique<testing::SharedBus>(folder_ / "bus");
            ASSERT_TRUE(bus_->Start()) << "no bus for VLC and the server: " << bus_->Output();
        }
        std::vector<std::string> files;
        for (const TestSong& song : kSongs) {
            files.push_back((folder_ / "music" / song.file).string());
        }
        vlc_ = std::make_unique<testing::Vlc>(files, folder_);
        ASSERT_TRUE(vlc_->Start()) << "VLC did not come onto the bus: " << vlc_->Output();
        StartServer({"--mpris", "vlc"});
    }
    void TearDown() override {
        StopServer();
        vlc_.reset();
        bus_.reset();
        MprisTest::TearDown();
    }

    std::unique_ptr<testing::SharedBus> bus_;
    std::unique_ptr<testing::Vlc> vlc_;
};

TEST_F(MprisVlcTest, TheTrackListIsThePlayQueue) {
    ASSERT_TRUE(EventuallySays({"queue"}, "queue: 3 entries")) << Run({"queue"}).second;
    // VLC reads the tags of the entries after it has listed them.
    for (const char* entry : {"0  Night Drive - Mira Solen", "1  Summer Rain - Glass Orchard",
                              "2  Slow Dance - Glass Orchard"}) {
        EXPECT_TRUE(EventuallySays({"queue"}, entry)) << Run({"queue"}).second;
    }
    EXPECT_TRUE(Says({"search", "slow"}, "Slow Dance"));

    // Going to an entry is VLC's GoTo: VLC itself plays the one chosen.
    SetPlaylistPositionRequest jump;
    jump.position = 2;
    const auto jumped = Ask(jump);
    ASSERT_NE(jumped, nullptr);
    EXPECT_EQ(jumped->returnCode, 0);
    EXPECT_TRUE(WaitUntil([] {
        return Playerctl("vlc", {"metadata", "title"}) == "Slow Dance";
    })) << Playerctl("vlc", {"metadata", "title"});
    EXPECT_TRUE(EventuallySays({"status"}, "Slow Dance"));
    EXPECT_TRUE(EventuallySays({"status"}, "queue:     position 2"));
    jump.position = 3;
    const auto beyond = Ask(jump);
    ASSERT_NE(beyond, nullptr);
    EXPECT_NE(beyond->returnCode, 0) << "there is no fourth entry";

    // VLC has no playlists: the library is the track it plays.
    const auto library = Run({"browse", "/"}).second;
    EXPECT_NE(library.find("Slow Dance"), std::string::npos) << library;
    EXPECT_EQ(library.find("Playlists"), std::string::npos) << library;
}

}  // namespace
}  // namespace vantor
