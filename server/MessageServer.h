#pragma once

// The network side of vantor-server: a TCP listener for any number of
// clients speaking the XML protocol (each message followed by a zero byte),
// the UDP discovery responder, and the one-second clock of the player. The
// player, and the rooms when the speakers are not the player's, are made by
// whoever puts the program together (ServerParts). Every request gets its
// response; every change of the player's state is pushed to every client as
// events. Malformed, unknown or misdirected messages are logged and dropped.
//
// Peers outside the allowed ranges are closed at once and get no discovery
// reply. Connections beyond the per-address or the total limit are refused,
// unless one that has not yet sent a whole message can make room (the oldest
// such goes): silent connections never lock out a real client, which sends
// its version request at once. A connection that sends no whole message
// within the greeting time is dropped; one that has spoken may then stay
// idle for as long as it likes. When accept fails for want of descriptors or
// memory, the listener rests (logged once) and is tried again with a
// growing pause, so the loop never spins.
//
// Threads: everything runs on one loop thread ("Server Loop"), which owns
// the clients and the sockets and makes every loop-thread call of the
// player backend. Start and Stop belong to the owner; the other public
// methods may be called from any thread and hand their work to the loop.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "AddressFilter.h"
#include "MediaHttpServer.h"
#include "PlayerBackend.h"
#include "RequestHandler.h"
#include "SpeakerService.h"
#include "core/NamedThread.h"
#include "net/MessageFramer.h"
#include "net/Ports.h"

namespace vantor::server {

struct ServerOptions {
    std::string bindAddress = "0.0.0.0";
    std::uint16_t port = kMessagePort;  // 0: any free port
    bool discovery = true;
    std::uint16_t discoveryPort = kDiscoveryPort;  // 0: any free port
    // Addresses named in discovery replies; empty: the bind address, or the
    // interface addresses when bound to every interface.
    std::vector<std::string> advertisedAddresses;
    std::chrono::milliseconds tick{1000};
    // The loop's clock (ticks, greeting time, the listener's rest); empty:
    // the steady clock. Tests give one they move themselves.
    std::function<std::chrono::steady_clock::time_point()> clock;
    std::size_t maxPending = MessageFramer::kDefaultMaxPending;
    // Output all clients together may hold unsent; past it the client
    // holding most, the one not reading, is dropped.
    std::size_t maxUnsent = 64 * 1024 * 1024;
    // How long the player may take to answer a library request: at Stop the
    // library thread is waited for this long and more.
    std::chrono::milliseconds playerTimeout{2000};
    bool startPlaying = false;
    ServerInfo info;
    // The media service over HTTP, on the same address.
    bool mediaService = true;
    std::uint16_t mediaPort = 3569;  // 0: any free port
    bool gzip = true;
    // A file offered to clients as their update (see ServerInfo for the rest
    // of the offer; the URL and checksum are filled in from it when empty).
    std::string updateFile;
    // Who may connect to either port, and gets discovery replies.
    AddressFilter allow;
    // Message connections at most, in all and from one address.
    std::size_t maxClients = 64;
    std::size_t maxClientsPerAddress = 8;
    // How long a new connection may take to send its first whole message.
    std::chrono::milliseconds greetingTimeout{5000};
    // The media service's connections: the same from one address and in
    // all, and seconds of silence before one is closed.
    unsigned mediaMaxConnections = 1000;
    unsigned mediaMaxConnectionsPerAddress = 64;
    unsigned mediaTimeout = 15;
};

// One framed document as the server reads it: leading zero bytes, markup
// instructions and comments dropped, the root named, the request made and
// filled. Null when it holds no request; `root` then names what it held and
// `notRequest` tells a known message that is not a request from an unknown
// or malformed one.
std::unique_ptr<Message> ReadRequest(std::string_view document, std::string* text,
                                     std::string* root, bool* notRequest);

// What the server serves.
struct ServerParts {
    // Makes the player; called by each Start().
    std::function<std::shared_ptr<PlayerBackend>()> makePlayer;
    // The speakers when they are not the player's (the rooms); started and
    // stopped with the server.
    std::shared_ptr<SpeakerService> speakers;
};

class MessageServer {
public:
    MessageServer(ServerOptions options, ServerParts parts);
    virtual ~MessageServer();
    MessageServer(const MessageServer&) = delete;
    MessageServer& operator=(const MessageServer&) = delete;

    // Binds the sockets and starts the loop; false (logged) when a socket
    // cannot be bound.
    bool Start();
    void Stop();

    std::uint16_t Port() const { return port_; }
    std::uint16_t DiscoveryPort() const { return discoveryPort_; }
    std::uint16_t MediaPort() const;

    // A page of the play queue, asked of the loop (any thread); nothing
    // when the loop does not answer within two seconds.
    std::optional<ListPage> QueuePage(std::int32_t start, std::int32_t count);

    int ClientCount() const { return stats_->clients.load(); }
    // Messages received that were not requests the server could read.
    int MalformedCount() const { return stats_->malformed.load(); }
    int RequestCount() const { return stats_->requests.load(); }
    // The type names of the latest 1000 requests received, in order.
    std::vector<std::string> ReceivedRequests() const;
    // The paths the media service was asked for lately, in order.
    std::vector<std::string> MediaRequests() const;
    // The media service's connections open now.
    unsigned MediaConnectionCount() const;

    // Runs `task` on the loop thread with the player; the events it adds
    // are pushed to every client. Returns at once.
    void Post(PlayerBackend::Task task);
    // Writes bytes as they are to every client (for tests of the client's
    // framing).
    void SendRaw(std::string bytes);
    // Closes every client connection; the server goes on listening.
    void DropClients();

private:
    struct Client;
    class Loop;
    std::shared_ptr<Loop> CurrentLoop() const {
        std::lock_guard lock(loopMutex_);
        return loop_;
    }
    struct Stats {
        std::atomic<int> clients{0};
        std::atomic<int> malformed{0};
        std::atomic<int> requests{0};
        mutable std::mutex mutex;  // guards received
        std::vector<std::string> received;
    };

    ServerOptions options_;
    ServerParts parts_;
    // The loop thread holds shares of these, so a loop that outlives Stop()
    // never reaches freed state.
    std::shared_ptr<PlayerBackend> player_;
    std::shared_ptr<Stats> stats_;
    mutable std::mutex loopMutex_;  // guards loop_: posters on any thread, Stop on the owner's
    std::shared_ptr<Loop> loop_;
    std::unique_ptr<MediaHttpServer> media_;
    std::uint16_t port_ = 0;
    std::uint16_t discoveryPort_ = 0;
    NamedThread thread_;
};

}  // namespace vantor::server
