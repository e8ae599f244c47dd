// The session core against vantor-server on loopback: how long from the
// connect to a ready session, and how many events a second the client
// applies to its player state.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "BenchServer.h"
#include "session/ConnectionFlow.h"
#include "support/BenchReport.h"

namespace vantor {
namespace {

class FixedAddress final : public LocalAddressSource {
public:
    std::vector<std::string> LocalAddresses() override { return {"192.0.2.5"}; }
};

// A window that only notes when the session is ready.
class ReadyFrame final : public ConnectionFrame {
public:
    FlowScreen CurrentScreen() const override { return FlowScreen::Connect; }
    void Post(FlowMessage message) override {
        if (message == FlowMessage::SessionReady) {
            std::lock_guard lock(mutex_);
            ready_ = true;
            changed_.notify_all();
        }
    }
    void SetStatus(const std::string&) override {}
    void SetConnectReady() override {}
    void ShowMessage(const std::string&, const std::string&) override {}
    std::pair<std::string, bool> Title() const override { return {}; }
    void SetTitle(const std::string&, bool) override {}
    std::string ServerListText() const override { return "127.0.0.1"; }
    void SwitchScreen(FlowScreen) override {}
    void StartTimer(FlowTimer, std::chrono::milliseconds) override {}
    void KillTimer(FlowTimer) override {}
    void SaveSettings() override {}
    void RefreshNowPlaying() override {}
    void Redraw() override {}

    void Reset() {
        std::lock_guard lock(mutex_);
        ready_ = false;
    }
    void WaitReady() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return ready_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ready_ = false;
};

testing::SimulatedOptions Options() {
    return bench::QuietServerOptions(200, false);
}

void BM_ConnectToSessionReady(benchmark::State& state) {
    testing::SimulatedServer server(Options());
    if (!server.Start()) {
        state.SkipWithError("no server");
        return;
    }
    auto addresses = std::make_shared<FixedAddress>();
    ConnectionManager manager(addresses);
    ReadyFrame frame;
    FlowOptions options;
    options.port = server.Port();
    ConnectionFlow flow(manager, frame, nullptr, addresses, nullptr, options);
    std::vector<double> samples;
    for (auto _ : state) {
        frame.Reset();
        const auto start = std::chrono::steady_clock::now();
        flow.ConnectPressed();
        frame.WaitReady();
        samples.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
        state.PauseTiming();
        while (flow.AttemptRunning()) {
            std::this_thread::yield();
        }
        manager.Disconnect();
        state.ResumeTiming();
    }
    std::sort(samples.begin(), samples.end());
    state.counters["median_us"] = samples[samples.size() / 2];
    flow.Exit();
}

class PositionCounter final : public PlayerListener {
public:
    void OnPlayPositionChanged(std::int32_t) override {
        if (++count_ == target_) {
            std::lock_guard lock(mutex_);
            done_.notify_all();
        }
    }
    void Expect(long target) {
        count_ = 0;
        target_ = target;
    }
    void Wait() {
        std::unique_lock lock(mutex_);
        done_.wait(lock, [this] { return count_.load() >= target_; });
    }

private:
    std::atomic<long> count_{0};
    long target_ = 0;
    std::mutex mutex_;
    std::condition_variable done_;
};

void BM_EventsApplied(benchmark::State& state) {
    constexpr long kEvents = 50'000;
    testing::SimulatedServer server(Options());
    if (!server.Start()) {
        state.SkipWithError("no server");
        return;
    }
    ConnectionManager manager(std::make_shared<FixedAddress>());
    auto counter = std::make_shared<PositionCounter>();
    manager.SetListener(counter);
    if (!manager.ConnectToHost("127.0.0.1", server.Port())) {
        state.SkipWithError("cannot connect");
        return;
    }
    // Events go to the clients the server's loop has accepted; one posted
    // before it has taken this connection would reach nobody.
    while (server.ClientCount() == 0) {
        std::this_thread::yield();
    }
    for (auto _ : state) {
        counter->Expect(kEvents);
        for (long batch = 0; batch < kEvents / 1000; ++batch) {
            server.Post([](server::PlayerBackend&, server::Events& events) {
                for (int i = 0; i < 1000; ++i) {
                    auto event = std::make_unique<PlayPositionChangedEvent>();
                    event->playbackPosition = i;
                    events.push_back(std::move(event));
                }
            });
        }
        counter->Wait();
    }
    state.SetItemsProcessed(state.iterations() * kEvents);
    manager.SetListener(nullptr);
    manager.Disconnect();
}

BENCHMARK(BM_ConnectToSessionReady)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_EventsApplied)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
