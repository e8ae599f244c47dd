#pragma once

// Finds a Vantor server on the local network. For each local address in
// turn it broadcasts a 3-byte probe from that address and waits for a reply;
// when none comes it tries a TCP connection to the host at the other end of
// a cable link ("ppp_peer") from the same address. The first address found
// is the result; the server's reply may name further addresses of its own,
// which are kept in the list too.
//
// Threads: Discover() runs on the caller's thread and starts one probe
// thread at a time; it interrupts a probe still waiting by shutting its
// socket. The list may be read from any thread.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/Event.h"
#include "core/NamedThread.h"
#include "net/LocalAddressSource.h"
#include "net/Ports.h"

namespace vantor {

struct DiscoveryOptions {
    // Where the probe goes. The defaults reach every server on the local
    // network; tests give loopback addresses and ports of their own.
    std::string broadcastAddress = "255.255.255.255";
    std::uint16_t discoveryPort = kDiscoveryPort;
    std::uint16_t messagePort = kMessagePort;
    std::string peerHost = "ppp_peer";
    // Resolves the peer host to a dotted IPv4 address, or sets `error` and
    // returns nothing. Null means the system resolver.
    std::function<std::optional<std::string>(const std::string& host, int* error)> resolvePeer;
    std::chrono::milliseconds foundWait{2000};
    std::chrono::milliseconds doneWait{5000};
};

class ServerDiscovery {
public:
    explicit ServerDiscovery(std::shared_ptr<LocalAddressSource> addresses,
                             DiscoveryOptions options = {});
    ~ServerDiscovery();
    ServerDiscovery(const ServerDiscovery&) = delete;
    ServerDiscovery& operator=(const ServerDiscovery&) = delete;

    // One run: the first server found, as dotted text, or empty when none was
    // found, a probe thread could not be started, or the run was aborted.
    std::string Discover();

    // Ends a run under way as soon as its probe has stopped (any thread).
    // The next Discover() runs normally.
    void Abort();

    // The servers the last run found, in the order found, without duplicates.
    int ServerCount() const;
    // Empty for an index out of range.
    std::string Server(int index) const;

    // The 3-byte probe and the reply's first two bytes.
    static constexpr unsigned char kProbe[3] = {0x01, 0x00, 0xFF};

private:
    struct Shared;

    static void BroadcastProbe(Shared& shared, LocalAddressSource& source,
                               const DiscoveryOptions& options, std::size_t index);
    static void PeerProbe(Shared& shared, LocalAddressSource& source,
                          const DiscoveryOptions& options, std::size_t index);

    std::shared_ptr<LocalAddressSource> addresses_;
    DiscoveryOptions options_;
    std::shared_ptr<Shared> shared_;
    NamedThread probe_;
};

}  // namespace vantor
