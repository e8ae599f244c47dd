// Rooms on a real snapserver, with vantor-server in a process of its own
// (its simulated player, --snapcast) and real snapclients playing to
// nothing, against Snapcast's own control API in the same run:
// - selecting a room: a client sends SelectSpeakerRequest and waits for the
//   SpeakerListChangedEvent that shows that room alone on (the mutes have
//   reached snapserver and the list has been made again), beside one
//   Client.SetVolume JSON-RPC round trip straight to snapserver; with 3
//   rooms and with 50; and with 50 rooms all playing, the select that
//   mutes 49 of them at once;
// - the list of 50 rooms: GetSpeakerListRequest to its response, the list
//   built and sent.
// Skipped where snapserver or snapclient is not installed.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "RawClient.h"
#include "e2e/SnapcastRooms.h"
#include "protocol/PlayerMessages.h"
#include "support/BenchReport.h"
#include "support/MpdInstance.h"
#include "support/Process.h"

namespace vantor {
namespace {

namespace fs = std::filesystem;
using bench::RawClient;
using testing::Process;
using testing::Room;
using testing::SnapControl;
using testing::Snapserver;
using namespace std::chrono_literals;

std::string RoomId(int index) {
    char id[16];
    std::snprintf(id, sizeof id, "room%02d", index + 1);
    return id;
}

// The speakers a document lists, when it is a `Kind` (an event or the
// list's response); none otherwise.
template <class Kind>
bool ReadList(const std::string& document, std::vector<Speaker>& speakers) {
    const std::string tag = "<" + std::string(MessageTypeName(Kind::kType));
    if (document.find(tag) == std::string::npos) {
        return false;
    }
    Kind message;
    message.FromXml(document);
    speakers = message.speakers;
    return true;
}

// One snapserver, its rooms and a vantor-server on them, for the whole run.
class Household {
public:
    static Household& Instance() {
        static Household instance;
        return instance;
    }
    const std::string& Why() const { return why_; }
    std::uint16_t ServerPort() const { return serverPort_; }
    std::uint16_t ControlPort() const { return snapserver_->ControlPort(); }

    // Grows the household to `rooms` rooms and waits until the server lists
    // them all; false (and Why()) when it cannot.
    bool Grow(int rooms) {
        if (!why_.empty()) {
            return false;
        }
        while (static_cast<int>(rooms_.size()) < rooms) {
            rooms_.push_back(std::make_unique<Room>(snapclient_, snapserver_->StreamPort(),
                                                    RoomId(static_cast<int>(rooms_.size())),
                                                    fs::path()));
            rooms_.back()->Start();
        }
        RawClient client(serverPort_);
        const bool listed = testing::WaitUntil(
            [&] {
                GetSpeakerListRequest request;
                request.requestId = 1;
                std::vector<Speaker> speakers;
                return client.Send(request) && client.ReadUntil([&](const std::string& document) {
                    return ReadList<GetSpeakerListResponse>(document, speakers);
                }) && static_cast<int>(speakers.size()) >= rooms;
            },
            30s);
        server_->Output();
        snapserver_->Output();
        if (!listed) {
            why_ = "the server never listed " + std::to_string(rooms) + " rooms";
        }
        return listed;
    }

    ~Household() {
        server_.reset();
        rooms_.clear();
        snapserver_.reset();
        if (!folder_.empty()) {
            fs::remove_all(folder_);
        }
    }

private:
    Household() {
        const std::string snapserver = testing::FindProgram("snapserver");
        snapclient_ = testing::FindProgram("snapclient");
        if (snapserver.empty() || snapclient_.empty()) {
            why_ = "snapserver or snapclient is not installed (scripts/install-deps installs them)";
            return;
        }
        char pattern[] = "/tmp/vantor-snapcast-bench-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) {
            why_ = "no temporary folder";
            return;
        }
        folder_ = pattern;
        snapserver_ = std::make_unique<Snapserver>(snapserver, folder_);
        if (!snapserver_->Start()) {
            why_ = "snapserver did not start: " + snapserver_->Output();
            return;
        }
        server_ = std::make_unique<Process>(std::vector<std::string>{
            VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0", "--discovery-port", "0",
            "--media-port", "0", "--snapcast",
            "127.0.0.1:" + std::to_string(snapserver_->ControlPort()), "--snapcast-stream", "MPD"});
        unsigned port = 0;
        const std::string prefix = "vantor-server: listening on 127.0.0.1:";
        if (!server_->WaitForOutput(prefix, 20s) ||
            std::sscanf(server_->Output().c_str() + server_->Output().find(prefix),
                        "vantor-server: listening on 127.0.0.1:%u", &port) != 1) {
            why_ = "vantor-server did not start: " + server_->Output();
            return;
        }
        serverPort_ = static_cast<std::uint16_t>(port);
    }

    std::string why_;
    std::string snapclient_;
    fs::path folder_;
    std::unique_ptr<Snapserver> snapserver_;
    std::vector<std::unique_ptr<Room>> rooms_;
    std::unique_ptr<Process> server_;
    std::uint16_t serverPort_ = 0;
};

bool Ready(benchmark::State& state, int rooms) {
    if (!Household::Instance().Grow(rooms)) {
        state.SkipWithError(Household::Instance().Why().c_str());
        return false;
    }
    return true;
}

void BM_SelectRoom(benchmark::State& state) {
    const int rooms = static_cast<int>(state.range(0));
    if (!Ready(state, rooms)) {
        return;
    }
    RawClient client(Household::Instance().ServerPort());
    // Between two rooms, so that every select changes the list (selecting
    // the room that is already alone on changes nothing and sends no
    // event); on from where the last run left off.
    static int next = 0;
    for (auto _ : state) {
        const std::string id = RoomId(next++ % 2);
        SelectSpeakerRequest request;
        request.requestId = 1;
        request.id = id;
        const bool alone = client.Send(request) && client.ReadUntil([&](const std::string& doc) {
            std::vector<Speaker> speakers;
            if (!ReadList<SpeakerListChangedEvent>(doc, speakers) ||
                static_cast<int>(speakers.size()) < rooms) {
                return false;
            }
            for (const Speaker& speaker : speakers) {
                if (speaker.enabled != (speaker.id == id)) {
                    return false;
                }
            }
            return true;
        });
        if (!alone) {
            state.SkipWithError("no event showing the room alone on");
            return;
        }
    }
}

// Every room plays, and one is selected: all the others are muted in one
// batch. The rooms are all switched on again (directly, untimed) before
// each select.
void BM_SelectRoomFromAllOn(benchmark::State& state) {
    const int rooms = static_cast<int>(state.range(0));
    if (!Ready(state, rooms)) {
        return;
    }
    RawClient client(Household::Instance().ServerPort());
    SnapControl control(Household::Instance().ControlPort());
    const auto shows = [&](const std::string& alone) {
        return client.ReadUntil([&](const std::string& doc) {
            std::vector<Speaker> speakers;
            if (!ReadList<SpeakerListChangedEvent>(doc, speakers) ||
                static_cast<int>(speakers.size()) < rooms) {
                return false;
            }
            for (const Speaker& speaker : speakers) {
                if (speaker.enabled != (alone.empty() || speaker.id == alone)) {
                    return false;
                }
            }
            return true;
        });
    };
    for (auto _ : state) {
        state.PauseTiming();
        for (int i = 0; i < rooms; ++i) {
            control.Call("Client.SetVolume", {{"id", RoomId(i)}, {"volume", {{"muted", false}}}});
        }
        const bool allOn = shows("");
        state.ResumeTiming();
        SelectSpeakerRequest request;
        request.requestId = 1;
        request.id = RoomId(0);
        if (!allOn || !client.Send(request) || !shows(RoomId(0))) {
            state.SkipWithError("the rooms never showed as asked");
            return;
        }
    }
}

void BM_DirectSetVolume(benchmark::State& state) {
    if (!Ready(state, static_cast<int>(state.range(0)))) {
        return;
    }
    SnapControl control(Household::Instance().ControlPort());
    bool muted = false;
    for (auto _ : state) {
        muted = !muted;
        const auto reply = control.Call("Client.SetVolume",
                                        {{"id", RoomId(2)}, {"volume", {{"muted", muted}}}}, 5s);
        if (!reply.is_object() || !reply.contains("result")) {
            state.SkipWithError("snapserver did not answer");
            return;
        }
    }
}

void BM_SpeakerList(benchmark::State& state) {
    const int rooms = static_cast<int>(state.range(0));
    if (!Ready(state, rooms)) {
        return;
    }
    RawClient client(Household::Instance().ServerPort());
    std::vector<Speaker> speakers;
    for (auto _ : state) {
        GetSpeakerListRequest request;
        request.requestId = 1;
        const bool answered = client.Send(request) && client.ReadUntil([](const std::string& doc) {
            return doc.find("<GetSpeakerListResponse") != std::string::npos;
        });
        if (!answered) {
            state.SkipWithError("no list");
            return;
        }
    }
    state.counters["rooms"] = rooms;
}

// A household of 3 rooms first, then of 50.
BENCHMARK(BM_SelectRoom)->Arg(3)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_DirectSetVolume)->Arg(3)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_SelectRoom)->Arg(50)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_DirectSetVolume)->Arg(50)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_SelectRoomFromAllOn)->Arg(50)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_SpeakerList)->Arg(50)->Unit(benchmark::kMicrosecond)->UseRealTime();

const bool kComparisons = [] {
    bench::CompareTo("BM_SelectRoom", "BM_DirectSetVolume");
    return true;
}();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
