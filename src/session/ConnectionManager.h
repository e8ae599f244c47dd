#pragma once

// The client's side of the connection to a server: it owns the connection
// (channel and request table) and the discovery, keeps the player state
// that the server's events and responses change, and reports the changes to
// one listener.
//
// Threads: ConnectToHost, Disconnect and Discover are called by the
// connection flow (its attempt thread or the user-interface thread, one at a
// time); SendRequest and the rest by any thread. The listener is called on
// the channel's receiver thread. The player state is written only there;
// Snapshot() gives any thread a copy.

#include <memory>
#include <mutex>
#include <string>

#include "net/ServerConnection.h"
#include "net/ServerDiscovery.h"
#include "session/PlayerListener.h"
#include "session/PlayerState.h"

namespace vantor {

class ConnectionManager : private ServerConnection::Handler {
public:
    ConnectionManager(std::shared_ptr<LocalAddressSource> addresses,
                      DiscoveryOptions discovery = {});
    ~ConnectionManager() override;
    ConnectionManager(const ConnectionManager&) = delete;
    ConnectionManager& operator=(const ConnectionManager&) = delete;

    // Set before connecting; null for none. A call under way keeps the
    // listener it started with alive until it returns, so a listener let go
    // of meanwhile is never freed under it.
    void SetListener(std::shared_ptr<PlayerListener> listener);

    // Ends any connection and drops its outstanding requests, then connects
    // (port 0: 3567). True when connected; the host is then remembered.
    bool ConnectToHost(const std::string& host, std::uint16_t port = 0,
                       const std::atomic<bool>* abort = nullptr);
    bool Disconnect();
    bool IsConnected() const { return connection_.IsConnected(); }
    std::string Host() const { return connection_.Host(); }

    // One discovery run: the first server found, or empty.
    std::string Discover() { return discovery_.Discover(); }
    void AbortDiscovery() { discovery_.Abort(); }
    int DiscoveredCount() const { return discovery_.ServerCount(); }
    std::string DiscoveredServer(int index) const { return discovery_.Server(index); }

    // Asks which client version the server offers for this platform; the
    // answer reaches the listener's OnClientVersion.
    SendResult RequestClientVersion(const std::string& platform);
    // The requests that start a session, in their order: capabilities,
    // current state, speakers, equaliser.
    void RequestSessionState();

    SendResult SendRequest(std::unique_ptr<Message>&& request) {
        return connection_.SendRequest(std::move(request));
    }
    std::unique_ptr<Message> SendAndWait(std::unique_ptr<Message>&& request,
                                         std::chrono::milliseconds timeout,
                                         SendResult* result = nullptr) {
        return connection_.SendAndWait(std::move(request), timeout, result);
    }
    void CancelRequests(MessageType type) { connection_.CancelRequests(type); }

    PlayerState Snapshot() const;

private:
    void OnEvent(std::unique_ptr<Message> event) override;
    void OnResponse(std::unique_ptr<Message> response, std::unique_ptr<Message> request) override;
    void OnChannelLost(int code) override;
    void Publish();
    std::shared_ptr<PlayerListener> Listener() const;

    mutable std::mutex listenerMutex_;  // guards listener_
    std::shared_ptr<PlayerListener> listener_;
    PlayerState state_;                  // receiver thread only
    mutable std::mutex publishedMutex_;  // guards published_
    PlayerState published_;
    ServerDiscovery discovery_;
    // Last, so it goes first: its receiver thread uses the members above.
    ServerConnection connection_;
};

}  // namespace vantor
