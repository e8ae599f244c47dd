// vantor-server driving a real Music Player Daemon, with vantorctl as the
// client: each test starts its own mpd on a free loopback port with its own
// configuration, database and music folder (a few short tagged FLAC files
// made here), and stops it again. Skipped where mpd or flac is missing.

#include <gtest/gtest.h>
#include <mpd/client.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "AlbumArtImage.h"
#include "e2e/ServerProcessTest.h"
#include "protocol/PlayerMessages.h"
#include "support/MpdInstance.h"
#include "support/Process.h"
#include "support/Wav.h"
#include "support/Wait.h"

namespace vantor {
namespace {

namespace fs = std::filesystem;
using testing::FindProgram;
using testing::FreePort;
using testing::Mpd;
using testing::Process;
using testing::WaitUntil;
using namespace std::chrono_literals;

struct Song {
    const char* file;
    const char* artist;
    const char* album;
    const char* title;
    const char* genre;
};

constexpr Song kSongs[] = {
    {"Mira Solen/Blue Rivers/01.flac", "Mira Solen", "Blue Rivers", "Night Drive", "Jazz"},
    {"Mira Solen/Blue Rivers/02.flac", "Mira Solen", "Blue Rivers", "Slow Dance", "Jazz"},
    {"Glass Orchard/Paper Fields/01.flac", "Glass Orchard", "Paper Fields", "Summer Rain", "Folk"},
};

class MpdTest : public testing::ServerProcessTest {
protected:
    void SetUp() override {
        const std::string mpd = FindProgram("mpd");
        const std::string flac = FindProgram("flac");
        if (mpd.empty() || flac.empty()) {
            GTEST_SKIP() << "mpd or flac is not installed (scripts/install-deps installs both); "
                            "the tests against a real MPD are skipped";
        }
        char pattern[] = "/tmp/vantor-mpd-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        folder_ = pattern;
        fs::create_directories(folder_ / "playlists");
        const fs::path wav = folder_ / "silence.wav";
        testing::WriteSilentWav(wav, 30);
        for (const Song& song : kSongs) {
            const fs::path file = folder_ / "music" / song.file;
            fs::create_directories(file.parent_path());
            Process encode({flac, "--silent", "--force", "-o", file.string(),
                            std::string("--tag=ARTIST=") + song.artist,
                            std::string("--tag=ALBUM=") + song.album,
                            std::string("--tag=TITLE=") + song.title,
                            std::string("--tag=GENRE=") + song.genre, wav.string()});
            ASSERT_EQ(encode.Wait(), 0) << encode.Output();
        }
        // And one song without tags, which MPD names by its file.
        fs::create_directories(folder_ / "music/Zed");
        Process encode({flac, "--silent", "--force", "-o", (folder_ / "music/Zed/b.flac").string(),
                        wav.string()});
        ASSERT_EQ(encode.Wait(), 0) << encode.Output();
        std::ofstream(folder_ / "music/Mira Solen/Blue Rivers/cover.png", std::ios::binary)
            << server::AlbumArtPng("Blue Rivers");
        std::ofstream(folder_ / "playlists/Evening.m3u") << kSongs[2].file << "\n"
                                                         << kSongs[0].file << "\n";

        mpd_ = std::make_unique<Mpd>(mpd, folder_);
        ASSERT_TRUE(mpd_->Start()) << mpd_->Output();
        ASSERT_TRUE(mpd_->Update(4)) << mpd_->Output();
        StartServer("127.0.0.1:" + std::to_string(mpd_->Port()));
    }

    void TearDown() override {
        StopServer();
        mpd_.reset();
        if (!folder_.empty()) {
            fs::remove_all(folder_);
        }
    }

    void StartServer(const std::string& mpd) {
        ServerProcessTest::StartServer({"--no-discovery", "--mpd", mpd, "--mpd-timeout", "1000"},
                                       ", MPD at");
    }

    fs::path folder_;
    std::unique_ptr<Mpd> mpd_;
};

TEST_F(MpdTest, TransportVolumeAndSeekReachMpdAndComeBackAsEventsAcrossARestart) {
    Process watch(Ctl({"watch"}));
    ASSERT_TRUE(watch.WaitForOutput("watching")) << watch.Output();

    EXPECT_EQ(Run({"play-path", "/Music/Songs"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("state playing\n")) << watch.Output();
    // MPD's database order: by folder and file name.
    EXPECT_TRUE(watch.WaitForOutput("now playing: Glass Orchard - Summer Rain")) << watch.Output();
    EXPECT_EQ(Run({"volume", "70"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("volume 70\n")) << watch.Output();
    EXPECT_EQ(Run({"next"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("now playing: Mira Solen - Night Drive")) << watch.Output();
    EXPECT_EQ(Run({"seek", "12"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("position 00:12\n")) << watch.Output();
    EXPECT_EQ(Run({"pause"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("state paused\n")) << watch.Output();
    EXPECT_EQ(Run({"shuffle", "on"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("shuffle on\n")) << watch.Output();
    EXPECT_EQ(Run({"repeat", "all"}).first, 0);
    EXPECT_TRUE(watch.WaitForOutput("repeat all\n")) << watch.Output();
    EXPECT_TRUE(Says({"speakers"}, "Null Output")) << "MPD's outputs are the speakers";

    // The events above are MPD's status read back, but a stray single mode
    // does not show in them: ask MPD itself.
    auto mpd = mpd_->Connect();
    ASSERT_TRUE(mpd);
    mpd_status* status = mpd_run_status(mpd.get());
    ASSERT_NE(status, nullptr);
    EXPECT_FALSE(mpd_status_get_single(status));
    mpd_status_free(status);

    // A change another MPD client makes reaches our clients too.
    EXPECT_TRUE(mpd_run_set_volume(mpd.get(), 33));
    EXPECT_TRUE(watch.WaitForOutput("volume 33\n")) << watch.Output();

    const auto [code, output] = Run({"status"});
    EXPECT_EQ(code, 0) << output;
    EXPECT_NE(output.find("(Music Player Daemon)"), std::string::npos) << output;
    EXPECT_NE(output.find("state:     paused"), std::string::npos) << output;
    EXPECT_NE(output.find("volume:    33"), std::string::npos) << output;

    // What MPD lacks is refused as unsupported.
    const auto eq = Run({"eq"});
    EXPECT_EQ(eq.first, 4) << eq.second;
    EXPECT_NE(eq.second.find(": 1 "), std::string::npos) << eq.second;

    // An MPD restart is survived: the player shows stopped meanwhile, and
    // the server finds MPD again by itself.
    mpd_->Stop();
    EXPECT_TRUE(watch.WaitForOutput("state stopped\n")) << watch.Output();
    const auto refused = Run({"volume", "20"});
    EXPECT_EQ(refused.first, 4) << refused.second;
    EXPECT_NE(refused.second.find(": 4 "), std::string::npos) << refused.second;
    ASSERT_TRUE(mpd_->Start()) << mpd_->Output();
    EXPECT_TRUE(WaitUntil([&] { return Run({"volume", "20"}).first == 0; }, 10s));
    EXPECT_TRUE(watch.WaitForOutput("volume 20\n")) << watch.Output();
    EXPECT_TRUE(Says({"queue"}, "queue: 4 entries"));
    // Whichever connection noticed first said so in the log.
    const std::string log = server_->Output();
    EXPECT_TRUE(log.find("lost MPD") != std::string::npos ||
                log.find("MPD connection (commands) failed") != std::string::npos)
        << log;

    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Wait(), 0);
}

TEST_F(MpdTest, QueueLibrarySearchArtAndRatings) {
    EXPECT_EQ(Run({"play-path", "/Music/Playlists/Evening"}).first, 0);
    EXPECT_EQ(Run({"add", "/Music/Albums/Blue Rivers"}).first, 0);
    const auto queue = Run({"queue", "1", "2"});
    EXPECT_EQ(queue.first, 0) << queue.second;
    EXPECT_NE(queue.second.find("queue: 4 entries"), std::string::npos) << queue.second;
    EXPECT_NE(queue.second.find("1  Night Drive - Mira Solen"), std::string::npos) << queue.second;
    EXPECT_NE(queue.second.find("2  Night Drive - Mira Solen"), std::string::npos) << queue.second;
    EXPECT_EQ(queue.second.find("Summer Rain"), std::string::npos) << "only the page asked for";

    struct Case {
        std::vector<std::string> command;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {{"browse", "/Music/Artists"}, {"Glass Orchard", "Mira Solen"}},
        {{"browse", "/Music/Genres/Jazz"}, {"Mira Solen"}},
        {{"browse", "/Music/Artists/Mira Solen/Blue Rivers"}, {"Night Drive", "Slow Dance"}},
        {{"browse", "/Music/Playlists"}, {"Evening"}},
        {{"search", "rain"}, {"Summer Rain"}},
        {{"search", "ORCHARD"}, {"Glass Orchard"}},
    };
    for (const Case& test : cases) {
        const auto [code, output] = Run(test.command);
        EXPECT_EQ(code, 0) << test.command[1] << "\n" << output;
        for (const std::string& text : test.expected) {
            EXPECT_NE(output.find(text), std::string::npos) << test.command[1] << "\n" << output;
        }
    }
    EXPECT_NE(Run({"browse", "/Music/Artists/Nobody"}).first, 0) << "no such folder";

    // Album art: the cover file beside the first album's songs; none for
    // the other album. A song's id ends its path in the album's listing.
    const auto art = [&](const std::string& album) {
        const std::string listing = Run({"browse", album}).second;
        const std::size_t at = listing.find(album + "/");
        EXPECT_NE(at, std::string::npos) << listing;
        const std::size_t id = at + album.size() + 1;
        return Get("/art/" + listing.substr(id, listing.find('\n', at) - id) + ".png");
    };
    const std::string cover = art("/Music/Artists/Mira Solen/Blue Rivers");
    EXPECT_EQ(cover.rfind("HTTP/1.1 200", 0), 0u) << cover.substr(0, 200);
    EXPECT_NE(cover.find("\r\n\r\n\x89PNG"), std::string::npos);
    EXPECT_EQ(art("/Music/Artists/Glass Orchard/Paper Fields").rfind("HTTP/1.1 404", 0), 0u);

    // Ratings are MPD stickers.
    EXPECT_TRUE(Says({"rate", "80"}, ""));
    EXPECT_TRUE(Says({"status"}, "rating:    80"));
    auto mpd = mpd_->Connect();
    ASSERT_TRUE(mpd);
    ASSERT_TRUE(mpd_send_sticker_get(mpd.get(), "song", kSongs[2].file, "rating"));
    mpd_pair* sticker = mpd_recv_sticker(mpd.get());
    ASSERT_NE(sticker, nullptr);
    EXPECT_STREQ(sticker->value, "80");
    mpd_return_sticker(mpd.get(), sticker);
    mpd_response_finish(mpd.get());
}

TEST_F(MpdTest, AFolderPlaysAsItsSongsOnceEachAndTheQueuesPlayPlaysThatEntry) {
    // A category plays the songs that have its tag.
    const std::pair<const char*, int> folders[] = {
        {"/", 4}, {"/Music", 4}, {"/Music/Artists", 3}, {"/Music/Genres", 3}, {"/Music/Albums", 3}};
    for (const auto& [path, songs] : folders) {
        EXPECT_EQ(Run({"play-path", path}).first, 0) << path;
        EXPECT_TRUE(EventuallySays({"queue"}, "queue: " + std::to_string(songs) + " entries"))
            << path << "\n"
            << Run({"queue"}).second;
        EXPECT_EQ(Run({"add", path}).first, 0) << path;
        EXPECT_TRUE(EventuallySays({"queue"}, "queue: " + std::to_string(2 * songs) + " entries"))
            << path << "\n"
            << Run({"queue"}).second;
    }

    EXPECT_EQ(Run({"play-path", "/Music"}).first, 0);
    const auto queue = Run({"queue"}).second;
    EXPECT_NE(queue.find("  b.flac (00:30)\n"), std::string::npos) << "no artist, no dash\n"
                                                                   << queue;

    // The queue's Play plays that entry, whether stopped, paused or playing.
    for (const char* before : {"stop", "pause", "play"}) {
        EXPECT_EQ(Run({before}).first, 0) << before;
        for (const std::string entry : {"1", "2"}) {
            EXPECT_EQ(Run({"play-entry", entry}).first, 0) << before;
            EXPECT_TRUE(EventuallySays({"status"}, "queue:     position " + entry)) << before;
            EXPECT_TRUE(Says({"status"}, "state:     playing")) << before;
        }
    }
    EXPECT_EQ(Run({"play-entry", "4"}).first, 4) << "there is no fifth entry";
}

// Needs no mpd: nothing listens where the server is told MPD is.
// MPD goes away while clients connect: the loop closes its connections
// to MPD and accepts the clients in one pass, so a client gets the
// descriptor number the idle connection had. Every client is still heard.
TEST_F(MpdTest, ClientsConnectingAsMpdGoesAreHeard) {
    ASSERT_TRUE(EventuallySays({"status"}, "(Music Player Daemon)"));
    std::this_thread::sleep_for(500ms);  // the idle connection is adopted and waits in idle
    // All happens while the server is held, so its next wait sees it together.
    server_->Signal(SIGSTOP);
    mpd_->Stop();
    std::string request = GetCurrentStateRequest().ToXml();
    request.push_back('\0');
    std::vector<std::unique_ptr<testing::RawPeer>> peers;
    for (int i = 0; i < 3; ++i) {
        peers.push_back(
            std::make_unique<testing::RawPeer>(static_cast<std::uint16_t>(std::stoi(port_))));
        ASSERT_TRUE(peers.back()->Connected());
        ASSERT_TRUE(peers.back()->Send(request));
    }
    server_->Signal(SIGCONT);
    for (std::size_t i = 0; i < peers.size(); ++i) {
        std::string answer;
        const auto deadline = std::chrono::steady_clock::now() + 5s;
        while (answer.find("GetCurrentStateResponse") == std::string::npos &&
               std::chrono::steady_clock::now() < deadline) {
            answer += peers[i]->Receive(100ms);
        }
        EXPECT_NE(answer.find("GetCurrentStateResponse"), std::string::npos)
            << "client " << i << ": " << answer;
    }
}

using MpdAbsentTest = testing::ServerProcessTest;

TEST_F(MpdAbsentTest, TheServerRunsAndSaysSo) {
    StartServer({"--no-discovery", "--mpd", "127.0.0.1:" + std::to_string(FreePort())}, ", MPD at");
    const auto status = Run({"status"});
    EXPECT_EQ(status.first, 0) << status.second;
    EXPECT_NE(status.second.find("state:     stopped"), std::string::npos) << status.second;
    for (int i = 0; i < 2; ++i) {
        const auto play = Run({"play"});
        EXPECT_EQ(play.first, 4) << play.second;
        EXPECT_NE(play.second.find("could not be reached"), std::string::npos) << play.second;
    }
    EXPECT_NE(Run({"queue"}).first, 0);
    // One line per connection and outage, however often it is tried.
    EXPECT_TRUE(server_->WaitForOutput("cannot reach MPD at 127.0.0.1")) << server_->Output();
    const std::string log = server_->Output();
    const std::size_t first = log.find("(commands connection): ");
    EXPECT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find("(commands connection): ", first + 1), std::string::npos) << log;
}

}  // namespace
}  // namespace vantor
