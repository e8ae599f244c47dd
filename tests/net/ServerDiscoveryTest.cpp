// Discovery on loopback only: the "broadcast" address and every port are the
// tests' own, and the cable-link peer is resolved by the tests.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "net/ServerDiscovery.h"
#include "support/TestServer.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::TestServer;

class FixedAddresses final : public LocalAddressSource {
public:
    explicit FixedAddresses(std::vector<std::string> addresses)
        : addresses_(std::move(addresses)) {}
    std::vector<std::string> LocalAddresses() override { return addresses_; }

private:
    std::vector<std::string> addresses_;
};

std::shared_ptr<LocalAddressSource> Local(std::vector<std::string> addresses) {
    return std::make_shared<FixedAddresses>(std::move(addresses));
}

// A UDP responder on 127.0.0.1 that logs where each probe came from and
// answers with `reply(source)` (nothing when it returns empty).
class ScriptedResponder {
public:
    explicit ScriptedResponder(std::function<std::string(const std::string& source)> reply)
        : reply_(std::move(reply)) {
        fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t length = sizeof address;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Run(); });
    }
    ~ScriptedResponder() {
        stop_ = true;
        thread_.join();
        ::close(fd_);
    }

    std::uint16_t Port() const { return port_; }
    std::vector<std::string> Log() const {
        std::lock_guard lock(mutex_);
        return log_;
    }
    void Note(const std::string& entry) {
        std::lock_guard lock(mutex_);
        log_.push_back(entry);
    }

private:
    void Run() {
        while (!stop_) {
            pollfd polled{fd_, POLLIN, 0};
            if (::poll(&polled, 1, 20) <= 0) {
                continue;
            }
            unsigned char probe[16];
            sockaddr_in sender{};
            socklen_t length = sizeof sender;
            const ssize_t size = ::recvfrom(fd_, probe, sizeof probe, 0,
                                            reinterpret_cast<sockaddr*>(&sender), &length);
            char text[INET_ADDRSTRLEN] = {};
            ::inet_ntop(AF_INET, &sender.sin_addr, text, sizeof text);
            Note(std::string("probe from ") + text +
                 (size == 3 && probe[0] == 1 && probe[1] == 0 && probe[2] == 0xFF
                      ? ""
                      : " (malformed)"));
            const std::string reply = reply_(text);
            if (!reply.empty()) {
                ::sendto(fd_, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr*>(&sender),
                         length);
            }
        }
    }

    std::function<std::string(const std::string&)> reply_;
    int fd_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    mutable std::mutex mutex_;
    std::vector<std::string> log_;
    std::thread thread_;
};

DiscoveryOptions LoopbackOptions(std::uint16_t discoveryPort) {
    DiscoveryOptions options;
    options.broadcastAddress = "127.0.0.1";
    options.discoveryPort = discoveryPort;
    options.foundWait = 300ms;
    options.resolvePeer = [](const std::string&, int* error) -> std::optional<std::string> {
        *error = 11001;
        return std::nullopt;
    };
    return options;
}

std::vector<std::string> Servers(const ServerDiscovery& discovery) {
    std::vector<std::string> servers;
    for (int i = 0; i < discovery.ServerCount(); ++i) {
        servers.push_back(discovery.Server(i));
    }
    return servers;
}

TEST(ServerDiscoveryTest, FindsTheServerAndTheAddressesItNames) {
    auto options = testing::LoopbackServerOptions();
    options.advertisedAddresses = {"127.0.0.1", "192.0.2.10"};
    TestServer server(options);
    ServerDiscovery discovery(Local({"127.0.0.1"}), LoopbackOptions(server->DiscoveryPort()));
    EXPECT_EQ(discovery.Discover(), "127.0.0.1");
    EXPECT_EQ(Servers(discovery), (std::vector<std::string>{"127.0.0.1", "192.0.2.10"}))
        << "the sender first, its own address named again not twice";
    EXPECT_EQ(discovery.Server(2), "");
    EXPECT_EQ(discovery.Server(-1), "");
}

TEST(ServerDiscoveryTest, RepliesAreReadAsTheyStand) {
    struct Case {
        const char* label;
        std::string reply;
        std::vector<std::string> servers;
    };
    using namespace std::string_literals;
    const Case cases[] = {
        {"no addresses after the header", "\x01\x00\x07"s, {"127.0.0.1"}},
        {"duplicates",
         "\x01\x00\x00"
         "192.0.2.1,127.0.0.1,192.0.2.1"s,
         {"127.0.0.1", "192.0.2.1"}},
        {"empty pieces", "\x01\x00\x00,,192.0.2.2,"s, {"127.0.0.1", "192.0.2.2"}},
        {"text ends at a zero byte",
         "\x01\x00\x00"
         "192.0.2.3\0"
         "192.0.2.4"s,
         {"127.0.0.1", "192.0.2.3"}},
        {"wrong first byte", "\x02\x00\x00"s, {}},
        {"wrong second byte", "\x01\x01\x00"s, {}},
    };
    for (const Case& c : cases) {
        ScriptedResponder responder([&](const std::string&) { return c.reply; });
        ServerDiscovery discovery(Local({"127.0.0.1"}), LoopbackOptions(responder.Port()));
        ::testing::internal::CaptureStdout();
        const std::string found = discovery.Discover();
        const std::string printed = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(Servers(discovery), c.servers) << c.label;
        EXPECT_EQ(found, c.servers.empty() ? "" : c.servers[0]) << c.label;
        if (c.servers.empty()) {
            EXPECT_EQ(printed, "gethostbyname for:ppp_peer failed 11001\n") << c.label;
        }
    }
}

TEST(ServerDiscoveryTest, NoLocalAddressFindsNothing) {
    ServerDiscovery discovery(Local({}), LoopbackOptions(9));
    EXPECT_EQ(discovery.Discover(), "");
}

TEST(ServerDiscoveryTest, EachAddressIsProbedBothWaysBeforeTheNext) {
    ScriptedResponder responder([](const std::string& source) {
        return source == "127.0.0.3" ? std::string("\x01\x00\x00", 3) : std::string();
    });
    auto options = LoopbackOptions(responder.Port());
    options.resolvePeer = [&](const std::string& host, int* error) -> std::optional<std::string> {
        responder.Note("resolve " + host);
        *error = 1;
        return std::nullopt;
    };
    ServerDiscovery discovery(Local({"127.0.0.2", "127.0.0.3"}), options);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(discovery.Discover(), "127.0.0.1") << "the reply's sender";
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(responder.Log(), (std::vector<std::string>{"probe from 127.0.0.2", "resolve ppp_peer",
                                                         "probe from 127.0.0.3"}));
}

TEST(ServerDiscoveryTest, TheCableLinkPeerIsTriedWhenNoReplyComes) {
    TestServer server;
    auto options = LoopbackOptions(9);  // nothing answers there
    options.messagePort = server.Port();
    options.resolvePeer = [](const std::string&, int*) -> std::optional<std::string> {
        return "127.0.0.1";
    };
    ServerDiscovery discovery(Local({"127.0.0.1"}), options);
    EXPECT_EQ(discovery.Discover(), "127.0.0.1");
}

}  // namespace
}  // namespace vantor
