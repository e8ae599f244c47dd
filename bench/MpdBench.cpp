// vantor-server over a real Music Player Daemon, against MPD's own protocol
// measured in the same run:
// - a command's round trip: a client sets the volume through the server,
//   which has MPD do it, and waits for the VolumeChangedEvent that comes
//   back; beside libmpdclient setting the volume directly (a command and its
//   answer), and setting it while a second connection waits in "idle" for
//   the mixer event (a command and its event);
// - browsing a database of 10 000 songs: the first page of "Songs" through
//   the server's media service, beside `mpc listall` of the same database.
// Skipped where mpd or mpc is not installed.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <mpd/client.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "BenchServer.h"
#include "RawClient.h"
#include "media/MediaService.h"
#include "protocol/Messages.h"
#include "support/BenchReport.h"
#include "support/MpdInstance.h"

namespace vantor {
namespace {

namespace fs = std::filesystem;
using bench::RawClient;

constexpr int kSongs = 10000;

// One mpd for the whole run, with a database of 10 000 songs written
// directly (the files themselves need not exist to be listed), under the
// header MPD wrote for an empty one.
class BenchMpd {
public:
    static BenchMpd& Instance() {
        static BenchMpd instance;
        return instance;
    }
    bool Ready() const { return ready_; }
    const std::string& Why() const { return why_; }
    std::uint16_t Port() const { return mpd_ ? mpd_->Port() : 0; }
    testing::MpdConnectionPtr Connect() const { return mpd_->Connect(); }

    ~BenchMpd() {
        mpd_.reset();
        if (!folder_.empty()) {
            fs::remove_all(folder_);
        }
    }

private:
    BenchMpd() {
        const std::string program = testing::FindProgram("mpd");
        if (program.empty()) {
            why_ = "mpd is not installed (scripts/install-deps installs it)";
            return;
        }
        char pattern[] = "/tmp/vantor-mpd-bench-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) {
            why_ = "no temporary folder";
            return;
        }
        folder_ = pattern;
        fs::create_directories(folder_ / "music");
        fs::create_directories(folder_ / "playlists");
        mpd_ = std::make_unique<testing::Mpd>(program, folder_);
        if (!mpd_->Start() || !mpd_->Update(0)) {
            why_ = "mpd did not start: " + mpd_->Output();
            return;
        }
        mpd_->Stop();
        std::ifstream empty(folder_ / "database");
        std::string header;
        for (std::string line; std::getline(empty, line);) {
            header += line + "\n";
            if (line == "info_end") {
                break;
            }
        }
        empty.close();
        std::ofstream database(folder_ / "database");
        database << header;
        // 100 artists with 4 albums of 25 songs each.
        for (int artist = 0; artist < 100; ++artist) {
            const std::string artistName = "Artist " + std::to_string(artist);
            database << "directory: " << artistName << "\nmtime: 0\nbegin: " << artistName << "\n";
            for (int album = 0; album < 4; ++album) {
                const std::string albumName = "Album " + std::to_string(album);
                const std::string path = artistName + "/" + albumName;
                database << "directory: " << albumName << "\nmtime: 0\nbegin: " << path << "\n";
                for (int track = 1; track <= 25; ++track) {
                    database << "song_begin: " << track << ".flac\nTime: 200.000\n"
                             << "Title: Song " << artist << "-" << album << "-" << track << "\n"
                             << "Artist: " << artistName << "\nAlbum: " << albumName << "\n"
                             << "Genre: Genre " << artist % 8 << "\nTrack: " << track << "\n"
                             << "mtime: 0\nsong_end\n";
                }
                database << "end: " << path << "\n";
            }
            database << "end: " << artistName << "\n";
        }
        database.close();
        if (!mpd_->Start()) {
            why_ = "mpd did not start again: " + mpd_->Output();
            return;
        }
        auto connection = mpd_->Connect();
        mpd_stats* stats = connection ? mpd_run_stats(connection.get()) : nullptr;
        const unsigned songs = stats ? mpd_stats_get_number_of_songs(stats) : 0;
        if (stats) {
            mpd_stats_free(stats);
        }
        if (songs != kSongs) {
            why_ = "mpd did not load the database: " + std::to_string(songs) + " songs\n" +
                   mpd_->Output();
            return;
        }
        ready_ = true;
    }

    fs::path folder_;
    std::unique_ptr<testing::Mpd> mpd_;
    bool ready_ = false;
    std::string why_;
};

testing::SimulatedOptions MpdServerOptions() {
    testing::SimulatedOptions options = bench::QuietServerOptions(0, true);
    options.mpdHost = "127.0.0.1";
    options.mpdPort = BenchMpd::Instance().Port();
    return options;
}

bool Skip(benchmark::State& state) {
    if (!BenchMpd::Instance().Ready()) {
        state.SkipWithError(BenchMpd::Instance().Why().c_str());
        return true;
    }
    return false;
}

void BM_ServerVolumeRoundTrip(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    testing::SimulatedServer server(MpdServerOptions());
    if (!server.Start()) {
        state.SkipWithError("no server");
        return;
    }
    RawClient client(server.Port());
    if (!client.Connected()) {
        state.SkipWithError("cannot connect");
        return;
    }
    // Away from both volumes the loop sets, which would otherwise change
    // nothing and be told to no one.
    SetVolumeRequest away;
    away.requestId = 1;
    away.volume = 50;
    if (!client.Send(away) || !client.ReadUntil([](const std::string& document) {
            return document.find("<SetVolumeResponse") != std::string::npos;
        })) {
        state.SkipWithError("no answer");
        return;
    }
    int volume = 30;
    for (auto _ : state) {
        volume = volume == 30 ? 31 : 30;
        if (!client.SetVolume(volume)) {
            state.SkipWithError("no event");
            break;
        }
    }
}

void BM_MpdSetVolume(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    auto connection = BenchMpd::Instance().Connect();
    mpd_run_set_volume(connection.get(), 50);
    unsigned volume = 30;
    for (auto _ : state) {
        volume = volume == 30 ? 31 : 30;
        if (!mpd_run_set_volume(connection.get(), volume)) {
            state.SkipWithError("setvol failed");
            break;
        }
    }
}

void BM_MpdSetVolumeAndIdle(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    auto command = BenchMpd::Instance().Connect();
    auto idle = BenchMpd::Instance().Connect();
    mpd_run_set_volume(command.get(), 50);
    unsigned volume = 30;
    for (auto _ : state) {
        volume = volume == 30 ? 31 : 30;
        if (!mpd_send_idle_mask(idle.get(), MPD_IDLE_MIXER) ||
            !mpd_run_set_volume(command.get(), volume) ||
            mpd_recv_idle(idle.get(), true) != MPD_IDLE_MIXER) {
            state.SkipWithError("setvol or idle failed");
            break;
        }
    }
}

void BM_ServerFirstSongsPage(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    testing::SimulatedServer server(MpdServerOptions());
    if (!server.Start()) {
        state.SkipWithError("no server");
        return;
    }
    MediaService media(server.MediaPort());
    media.SetHost("127.0.0.1");
    for (auto _ : state) {
        const auto page = media.FetchFolderPage("/Music/Songs", 0, 1000, true);
        if (!page || page->items.size() != 1000 || page->totalCount != kSongs) {
            state.SkipWithError("no first page");
            break;
        }
    }
}

void BM_MpcListall(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    const std::string mpc = testing::FindProgram("mpc");
    if (mpc.empty()) {
        state.SkipWithError("mpc is not installed (scripts/install-deps installs it)");
        return;
    }
    const std::string port = std::to_string(BenchMpd::Instance().Port());
    for (auto _ : state) {
        testing::Process listall({mpc, "--host", "127.0.0.1", "--port", port, "listall"});
        const int status = listall.Wait();
        if (status != 0 ||
            std::count(listall.Output().begin(), listall.Output().end(), '\n') != kSongs) {
            state.SkipWithError("mpc listall failed");
            break;
        }
    }
}

BENCHMARK(BM_ServerVolumeRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_MpdSetVolume)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_MpdSetVolumeAndIdle)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_ServerFirstSongsPage)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MpcListall)->Unit(benchmark::kMillisecond)->UseRealTime();

const bool kComparisons = [] {
    bench::CompareTo("BM_ServerVolumeRoundTrip", "BM_MpdSetVolumeAndIdle");
    bench::CompareTo("BM_ServerVolumeRoundTrip", "BM_MpdSetVolume");
    bench::CompareTo("BM_ServerFirstSongsPage", "BM_MpcListall");
    return true;
}();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
