#include "net/ServerDiscovery.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vantor {

// What a probe thread shares with the coordinator. A probe that outlives its
// wait keeps its share, so it never touches freed state.
struct ServerDiscovery::Shared {
    Event found;
    Event probeDone;

    std::mutex mutex;  // guards servers, socket and interrupted
    std::vector<std::string> servers;
    int socket = -1;
    bool interrupted = false;
    std::atomic<bool> aborted{false};

    void Add(const std::string& address) {
        std::lock_guard lock(mutex);
        if (std::find(servers.begin(), servers.end(), address) == servers.end()) {
            servers.push_back(address);
        }
    }

    // Makes the probe's socket; -1 when the coordinator has already given up
    // on this probe.
    int OpenSocket(int type) {
        std::lock_guard lock(mutex);
        if (interrupted) {
            return -1;
        }
        socket = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
        return socket;
    }

    void CloseSocket() {
        std::lock_guard lock(mutex);
        if (socket >= 0) {
            ::close(socket);
            socket = -1;
        }
    }

    // The coordinator's way to end a probe blocked in a receive or connect:
    // shutting the socket wakes it (closing it would not, on Linux).
    void Interrupt() {
        std::lock_guard lock(mutex);
        interrupted = true;
        if (socket >= 0) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }

    void BeginProbe() {
        std::lock_guard lock(mutex);
        interrupted = false;
    }
};

namespace {

bool ToAddress(const std::string& dotted, std::uint16_t port, sockaddr_in* address) {
    std::memset(address, 0, sizeof *address);
    address->sin_family = AF_INET;
    address->sin_port = htons(port);
    return ::inet_pton(AF_INET, dotted.c_str(), &address->sin_addr) == 1;
}

std::string ToDotted(const in_addr& address) {
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

std::optional<std::string> ResolveWithSystem(const std::string& host, int* error) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* found = nullptr;
    const int result = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (result != 0 || found == nullptr) {
        *error = result;
        return std::nullopt;
    }
    const std::string dotted = ToDotted(reinterpret_cast<sockaddr_in*>(found->ai_addr)->sin_addr);
    ::freeaddrinfo(found);
    return dotted;
}

// One probe's local address, or nothing when the list has become shorter.
std::optional<std::string> LocalAddress(LocalAddressSource& source, std::size_t index) {
    const std::vector<std::string> addresses = source.LocalAddresses();
    if (index >= addresses.size()) {
        return std::nullopt;
    }
    return addresses[index];
}

}  // namespace

ServerDiscovery::ServerDiscovery(std::shared_ptr<LocalAddressSource> addresses,
                                 DiscoveryOptions options)
    : addresses_(std::move(addresses)),
      options_(std::move(options)),
      shared_(std::make_shared<Shared>()) {
    if (!options_.resolvePeer) {
        options_.resolvePeer = ResolveWithSystem;
    }
}

ServerDiscovery::~ServerDiscovery() {
    shared_->Interrupt();
    probe_.Stop(NamedThread::kDefaultTimeoutMs, true);
}

int ServerDiscovery::ServerCount() const {
    std::lock_guard lock(shared_->mutex);
    return static_cast<int>(shared_->servers.size());
}

std::string ServerDiscovery::Server(int index) const {
    std::lock_guard lock(shared_->mutex);
    if (index < 0 || static_cast<std::size_t>(index) >= shared_->servers.size()) {
        return {};
    }
    return shared_->servers[static_cast<std::size_t>(index)];
}

void ServerDiscovery::Abort() {
    shared_->aborted = true;
    shared_->Interrupt();
    shared_->found.Set();  // ends the coordinator's wait
}

std::string ServerDiscovery::Discover() {
    const std::shared_ptr<Shared> shared = shared_;
    shared->aborted = false;
    shared->found.Reset();
    {
        std::lock_guard lock(shared->mutex);
        shared->servers.clear();
    }
    const std::shared_ptr<LocalAddressSource> source = addresses_;
    const DiscoveryOptions options = options_;

    // Runs one probe on its own thread and waits for it as the original did:
    // up to foundWait for a result, then the socket is shut to end a probe
    // still waiting, then up to doneWait for the thread to finish.
    const auto probe = [&](auto&& body) {
        shared->probeDone.Reset();
        shared->BeginProbe();
        if (probe_.Start("Discovery Probe", [shared, body] {
                body();
                shared->CloseSocket();
                shared->probeDone.Set();
            }) != 0) {
            return false;
        }
        shared->found.WaitFor(options.foundWait);
        shared->Interrupt();
        shared->probeDone.WaitFor(options.doneWait);
        return true;
    };

    const std::size_t count = source->LocalAddresses().size();
    for (std::size_t index = 0; index < count && !shared->aborted; ++index) {
        if (!probe([shared, source, options, index] {
                BroadcastProbe(*shared, *source, options, index);
            })) {
            return {};
        }
        if (!shared->found.IsSet() && !shared->aborted) {
            const bool started = probe(
                [shared, source, options, index] { PeerProbe(*shared, *source, options, index); });
            if (!started) {
                return {};
            }
        }
        if (shared->found.IsSet()) {
            break;
        }
    }
    if (shared->aborted) {
        return {};
    }
    return Server(0);
}

void ServerDiscovery::PeerProbe(Shared& shared, LocalAddressSource& source,
                                const DiscoveryOptions& options, std::size_t index) {
    const std::optional<std::string> local = LocalAddress(source, index);
    sockaddr_in bindAddress;
    if (!local || !ToAddress(*local, 0, &bindAddress)) {
        return;
    }
    const int fd = shared.OpenSocket(SOCK_STREAM);
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&bindAddress), sizeof bindAddress) != 0) {
        return;
    }
    int error = 0;
    const std::optional<std::string> peer = options.resolvePeer(options.peerHost, &error);
    if (!peer) {
        // Printed, not logged, as the cable-link probe always has.
        std::printf("gethostbyname for:%s failed %d\n", options.peerHost.c_str(), error);
        std::fflush(stdout);
        return;
    }
    sockaddr_in peerAddress;
    if (!ToAddress(*peer, options.messagePort, &peerAddress)) {
        return;
    }
    if (::connect(fd, reinterpret_cast<sockaddr*>(&peerAddress), sizeof peerAddress) == 0) {
        shared.Add(*peer);
        shared.found.Set();
    }
}

void ServerDiscovery::BroadcastProbe(Shared& shared, LocalAddressSource& source,
                                     const DiscoveryOptions& options, std::size_t index) {
    const std::optional<std::string> local = LocalAddress(source, index);
    sockaddr_in bindAddress;
    sockaddr_in target;
    if (!local || !ToAddress(*local, 0, &bindAddress) ||
        !ToAddress(options.broadcastAddress, options.discoveryPort, &target)) {
        return;
    }
    const int fd = shared.OpenSocket(SOCK_DGRAM);
    if (fd < 0) {
        return;
    }
    const int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &one, sizeof one);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&bindAddress), sizeof bindAddress) != 0) {
        return;
    }
    // The probe goes to the configured broadcast address as it is: the
    // limited broadcast by default, never a subnet broadcast worked out from
    // the local address, which servers behind some routers never see.
    if (::sendto(fd, ServerDiscovery::kProbe, sizeof ServerDiscovery::kProbe, 0,
                 reinterpret_cast<sockaddr*>(&target), sizeof target) < 0) {
        return;
    }

    unsigned char reply[1000] = {};
    sockaddr_in sender{};
    socklen_t senderLength = sizeof sender;
    const ssize_t received =
        ::recvfrom(fd, reply, sizeof reply, 0, reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (received <= 0 || reply[0] != 0x01 || reply[1] != 0x00) {
        return;
    }
    shared.Add(ToDotted(sender.sin_addr));

    // Bytes 3 on are further addresses of the server, separated by ",";
    // like the original, the text ends at its first zero byte.
    char text[1000] = {};
    if (received > 3) {
        std::memcpy(text, reply + 3, static_cast<std::size_t>(received - 3));
    }
    const std::string pieces(text);
    std::size_t start = 0;
    while (start <= pieces.size()) {
        std::size_t comma = pieces.find(',', start);
        if (comma == std::string::npos) {
            comma = pieces.size();
        }
        if (comma > start) {
            shared.Add(pieces.substr(start, comma - start));
        }
        start = comma + 1;
    }
    shared.found.Set();
}

}  // namespace vantor
