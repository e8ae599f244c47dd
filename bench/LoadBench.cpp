// A real client's page fetch and status round trip while the server holds
// 0, 100 or 1000 idle connections on each port (at 1000, also 200 requests
// cut off in their headers on the media port), as ratios to the same on a
// quiet server. Everything is on 127.0.0.1, so the per-address limits are
// lifted: these figures are of the event loops carrying the crowd, not of
// the limits refusing it.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <memory>
#include <string>
#include <vector>

#include "BenchServer.h"
#include "media/HttpClient.h"
#include "net/ServerConnection.h"
#include "protocol/Messages.h"
#include "support/BenchReport.h"
#include "support/RawPeer.h"

namespace vantor {
namespace {

using testing::RawPeer;

class NoHandler final : public ServerConnection::Handler {
    void OnEvent(std::unique_ptr<Message>) override {}
    void OnResponse(std::unique_ptr<Message>, std::unique_ptr<Message>) override {}
    void OnChannelLost(int) override {}
};

// A server with `idle` connections held to each port.
class LoadedServer {
public:
    explicit LoadedServer(int idle) {
        testing::RaiseDescriptorLimit(8192);
        auto options = bench::QuietServerOptions(2000, true);
        options.maxClients = 4000;
        options.maxClientsPerAddress = 4000;
        options.mediaMaxConnections = 4000;
        options.mediaMaxConnectionsPerAddress = 0;
        options.greetingTimeout = std::chrono::hours(1);
        server_ = std::make_unique<testing::SimulatedServer>(options);
        server_->Start();
        std::string greeting = GetClientVersionRequest().ToXml();
        greeting.push_back('\0');
        for (int i = 0; i < idle; ++i) {
            // Idle clients that spoke once, as a handheld left on.
            peers_.push_back(std::make_unique<RawPeer>(server_->Port()));
            peers_.back()->Send(greeting);
            peers_.push_back(std::make_unique<RawPeer>(server_->MediaPort()));
        }
        for (int i = 0; i < (idle >= 1000 ? 200 : 0); ++i) {
            peers_.push_back(std::make_unique<RawPeer>(server_->MediaPort()));
            peers_.back()->Send("GET /playlist.thrift HTTP/1.1\r\nHost: 127.0.0.1\r\nAcc");
        }
        connection_.Connect("127.0.0.1", server_->Port());
    }

    bool FetchPage() {
        ResponseBuffer body;
        return HttpGetToBuffer("http://127.0.0.1:" + std::to_string(server_->MediaPort()) +
                                   "/media/Music/Songs.thrift?start=0&count=100",
                               body) == 0;
    }
    bool Status() {
        return connection_.SendAndWait(std::make_unique<GetCurrentStateRequest>(),
                                       std::chrono::seconds(10)) != nullptr;
    }

private:
    std::unique_ptr<testing::SimulatedServer> server_;
    std::vector<std::unique_ptr<RawPeer>> peers_;
    NoHandler handler_;
    ServerConnection connection_{&handler_};
};

void PageFetch(benchmark::State& state, int idle) {
    LoadedServer server(idle);
    for (auto _ : state) {
        if (!server.FetchPage()) {
            state.SkipWithError("the page was not served");
            break;
        }
    }
}

void StatusRoundTrip(benchmark::State& state, int idle) {
    LoadedServer server(idle);
    for (auto _ : state) {
        if (!server.Status()) {
            state.SkipWithError("no status");
            break;
        }
    }
}

void BM_PageFetch_Held(benchmark::State& state) {
    PageFetch(state, static_cast<int>(state.range(0)));
}
void BM_PageFetch_Quiet(benchmark::State& state) {
    PageFetch(state, 0);
}
void BM_Status_Held(benchmark::State& state) {
    StatusRoundTrip(state, static_cast<int>(state.range(0)));
}
void BM_Status_Quiet(benchmark::State& state) {
    StatusRoundTrip(state, 0);
}

BENCHMARK(BM_PageFetch_Quiet)
    ->Arg(0)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_PageFetch_Held)
    ->Arg(0)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_Status_Quiet)
    ->Arg(0)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_Status_Held)
    ->Arg(0)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

const bool kCompared = [] {
    bench::CompareTo("BM_PageFetch_Held", "BM_PageFetch_Quiet");
    bench::CompareTo("BM_Status_Held", "BM_Status_Quiet");
    return true;
}();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
