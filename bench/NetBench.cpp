// The receive path and request round trips, each beside the simplest code
// that moves the same bytes:
//
//  - the framer over 1000-byte chunks in memory, against a plain memchr
//    splitter over the same chunks;
//  - the receiver thread and framer fed from a loopback socket, against
//    recv(1000) and memchr on the same stream;
//  - SendRequest round trips to vantor-server, against a blocking TCP
//    ping-pong of the same sizes.
//
// Run it pinned to one core (scripts/bench does: taskset -c 0) so the
// threads of both sides share it alike.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "BenchServer.h"
#include "net/MessageFramer.h"
#include "net/ServerConnection.h"
#include "net/SocketReceiver.h"
#include "protocol/Messages.h"
#include "support/BenchReport.h"

namespace vantor {
namespace {

// A realistic stream: what a playing server sends over a while, with the
// occasional library page among the position events.
std::string RealisticStream(std::size_t* messages) {
    std::string stream;
    *messages = 0;
    const auto add = [&](const Message& message) {
        stream += message.ToXml();
        stream.push_back('\0');
        ++*messages;
    };
    GetCurrentStateResponse state;
    state.requestId = 3;
    state.playingState = PlayingState::Playing;
    state.volume = 50;
    state.artist = "Mira Solen";
    state.album = "Silent Harbours";
    state.title = "Night Drive";
    state.length = 245;
    BrowseLibraryResponse page;
    page.path = "/Music/Artists/";
    for (int i = 0; i < 40; ++i) {
        page.results.push_back(MediaResult{i, MediaType::Artist, true,
                                           "Artist " + std::to_string(i),
                                           "/Music/Artists/Artist " + std::to_string(i) + "/"});
    }
    while (stream.size() < 4 * 1024 * 1024) {
        for (int second = 0; second < 30; ++second) {
            PlayPositionChangedEvent position;
            position.playbackPosition = second;
            add(position);
        }
        add(state);
        VolumeChangedEvent volume;
        volume.volume = 40;
        add(volume);
        add(page);
    }
    return stream;
}

struct Stream {
    std::string bytes;
    std::size_t messages = 0;
    std::vector<std::string_view> chunks;
};

const Stream& TheStream() {
    static const Stream stream = [] {
        Stream s;
        s.bytes = RealisticStream(&s.messages);
        for (std::size_t at = 0; at < s.bytes.size(); at += 1000) {
            s.chunks.push_back(std::string_view(s.bytes).substr(at, 1000));
        }
        return s;
    }();
    return stream;
}

// The baseline splitter: hold what is incomplete, cut at every zero byte.
class MemchrSplitter {
public:
    template <class Deliver>
    void Feed(std::string_view chunk, Deliver&& deliver) {
        held_.append(chunk);
        std::size_t start = 0;
        while (const void* zero = std::memchr(held_.data() + start, '\0', held_.size() - start)) {
            const auto end =
                static_cast<std::size_t>(static_cast<const char*>(zero) - held_.data());
            deliver(std::string_view(held_).substr(start, end - start));
            start = end + 1;
        }
        held_.erase(0, start);
    }

private:
    std::string held_;
};

void SetThroughput(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void BM_Framer_InMemory(benchmark::State& state) {
    const Stream& stream = TheStream();
    for (auto _ : state) {
        MessageFramer framer;
        std::size_t count = 0;
        for (const std::string_view chunk : stream.chunks) {
            framer.Feed(chunk, [&](std::string_view message) { count += !message.empty(); });
        }
        if (count != stream.messages) {
            state.SkipWithError("lost messages");
        }
    }
    SetThroughput(state, stream.bytes.size());
}

void BM_MemchrSplitter_InMemory(benchmark::State& state) {
    const Stream& stream = TheStream();
    for (auto _ : state) {
        MemchrSplitter splitter;
        std::size_t count = 0;
        for (const std::string_view chunk : stream.chunks) {
            splitter.Feed(chunk, [&](std::string_view message) { count += !message.empty(); });
        }
        benchmark::DoNotOptimize(count);
    }
    SetThroughput(state, stream.bytes.size());
}

// A connected loopback pair: `client` is ours, `server` the peer's.
struct LoopbackPair {
    int listener = -1;
    int client = -1;
    int server = -1;
    std::uint16_t port = 0;

    LoopbackPair() {
        listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::listen(listener, 4);
        socklen_t length = sizeof address;
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    void ConnectRaw() {
        client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address);
        Accept();
    }
    void Accept() { server = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); }
    ~LoopbackPair() {
        for (const int fd : {listener, client, server}) {
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }
};

void SendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

class CountingListener final : public SocketReceiver::Listener {
public:
    void OnReceive(std::string_view bytes) override {
        framer_.Feed(bytes, [&](std::string_view message) {
            if (!message.empty() && ++count_ == expected_) {
                std::lock_guard lock(mutex_);
                done_.notify_all();
            }
        });
    }
    void OnDisconnected(int) override {}

    void Expect(std::size_t messages) {
        count_ = 0;
        expected_ = messages;
    }
    void Wait() {
        std::unique_lock lock(mutex_);
        done_.wait(lock, [&] { return count_.load() >= expected_; });
    }

private:
    MessageFramer framer_;
    std::atomic<std::size_t> count_{0};
    std::size_t expected_ = 0;
    std::mutex mutex_;
    std::condition_variable done_;
};

void BM_Framer_FromSocket(benchmark::State& state) {
    const Stream& stream = TheStream();
    LoopbackPair pair;
    CountingListener listener;
    SocketReceiver receiver("Bench Receiver");
    std::thread accept([&] { pair.Accept(); });
    if (!receiver.Connect("127.0.0.1", pair.port, &listener)) {
        accept.join();
        state.SkipWithError("cannot connect");
        return;
    }
    accept.join();
    for (auto _ : state) {
        listener.Expect(stream.messages);
        std::thread sender([&] { SendAll(pair.server, stream.bytes); });
        listener.Wait();
        sender.join();
    }
    receiver.Disconnect();
    SetThroughput(state, stream.bytes.size());
}

void BM_RecvMemchr_FromSocket(benchmark::State& state) {
    const Stream& stream = TheStream();
    LoopbackPair pair;
    pair.ConnectRaw();
    for (auto _ : state) {
        std::thread sender([&] { SendAll(pair.server, stream.bytes); });
        MemchrSplitter splitter;
        std::size_t count = 0;
        char buffer[1000];
        while (count < stream.messages) {
            const ssize_t received = ::recv(pair.client, buffer, sizeof buffer, 0);
            if (received <= 0) {
                break;
            }
            splitter.Feed(std::string_view(buffer, static_cast<std::size_t>(received)),
                          [&](std::string_view message) { count += !message.empty(); });
        }
        sender.join();
    }
    SetThroughput(state, stream.bytes.size());
}

// Per-iteration latencies, reported as median and 99th percentile (us).
class Latencies {
public:
    void Add(std::chrono::steady_clock::duration d) {
        samples_.push_back(std::chrono::duration<double, std::micro>(d).count());
    }
    void Report(benchmark::State& state) {
        if (samples_.empty()) {
            return;
        }
        std::sort(samples_.begin(), samples_.end());
        const auto at = [&](double q) {
            return samples_[std::min(
                samples_.size() - 1,
                static_cast<std::size_t>(q * static_cast<double>(samples_.size())))];
        };
        state.counters["p50_us"] = at(0.50);
        state.counters["p99_us"] = at(0.99);
    }

private:
    std::vector<double> samples_;
};

class ResponseWaiter final : public ServerConnection::Handler {
public:
    void OnEvent(std::unique_ptr<Message>) override {}
    void OnResponse(std::unique_ptr<Message>, std::unique_ptr<Message>) override {
        {
            std::lock_guard lock(mutex_);
            ++responses_;
        }
        arrived_.notify_one();
    }
    void OnChannelLost(int) override {}
    void WaitFor(int responses) {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [&] { return responses_ >= responses; });
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    int responses_ = 0;
};

void BM_SendRequest_RoundTrip(benchmark::State& state) {
    testing::SimulatedServer server(bench::QuietServerOptions(50, false));
    if (!server.Start()) {
        state.SkipWithError("no server");
        return;
    }
    ResponseWaiter waiter;
    ServerConnection connection(&waiter);
    if (!connection.Connect("127.0.0.1", server.Port())) {
        state.SkipWithError("cannot connect");
        return;
    }
    Latencies latencies;
    int sent = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (connection.SendRequest(std::make_unique<GetVolumeRequest>()) != SendResult::Sent) {
            state.SkipWithError("the request was not sent");
            break;
        }
        waiter.WaitFor(++sent);
        latencies.Add(std::chrono::steady_clock::now() - start);
    }
    latencies.Report(state);
    connection.Disconnect();
    server.Stop();
}

// The same sizes as GetVolumeRequest and GetVolumeResponse on the wire.
void BM_RawPingPong_RoundTrip(benchmark::State& state) {
    GetVolumeRequest requestMessage;
    requestMessage.requestId = 12345;
    GetVolumeResponse responseMessage;
    responseMessage.requestId = 12345;
    responseMessage.volume = 50;
    const std::string request = requestMessage.ToXml() + std::string(1, '\0');
    const std::string response = responseMessage.ToXml() + std::string(1, '\0');

    LoopbackPair pair;
    pair.ConnectRaw();
    const int one = 1;
    ::setsockopt(pair.server, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    std::thread echo([&] {
        char buffer[1000];
        while (true) {
            const ssize_t received = ::recv(pair.server, buffer, sizeof buffer, 0);
            if (received <= 0) {
                return;
            }
            for (ssize_t i = 0; i < received; ++i) {
                if (buffer[i] == '\0') {
                    SendAll(pair.server, response);
                }
            }
        }
    });
    Latencies latencies;
    char buffer[1000];
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        SendAll(pair.client, request);
        bool complete = false;
        while (!complete) {
            const ssize_t received = ::recv(pair.client, buffer, sizeof buffer, 0);
            if (received <= 0) {
                break;
            }
            complete = std::memchr(buffer, '\0', static_cast<std::size_t>(received)) != nullptr;
        }
        latencies.Add(std::chrono::steady_clock::now() - start);
    }
    latencies.Report(state);
    ::shutdown(pair.client, SHUT_RDWR);
    echo.join();
}

BENCHMARK(BM_Framer_InMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemchrSplitter_InMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Framer_FromSocket)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RecvMemchr_FromSocket)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SendRequest_RoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_RawPingPong_RoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();

const bool kComparisons = [] {
    bench::CompareTo("BM_Framer_InMemory", "BM_MemchrSplitter_InMemory");
    bench::CompareTo("BM_Framer_FromSocket", "BM_RecvMemchr_FromSocket");
    bench::CompareTo("BM_SendRequest_RoundTrip", "BM_RawPingPong_RoundTrip");
    bench::CompareCounter("BM_SendRequest_RoundTrip", "BM_RawPingPong_RoundTrip", "p50_us");
    bench::CompareCounter("BM_SendRequest_RoundTrip", "BM_RawPingPong_RoundTrip", "p99_us");
    return true;
}();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
