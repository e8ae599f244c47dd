#pragma once

// The client's one connection to a server: the XML channel plus the table of
// requests that wait for their responses. Received responses are matched to
// their requests and handed on together; events are handed on as they come;
// a connection that ends by itself is reported once.
//
// Threads: Connect, Disconnect and destruction belong to the owner (at most
// one at a time). SendRequest, SendAndWait and CancelRequests may be called
// from any thread. The handler is called on the channel's receiver thread.

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "net/RequestTable.h"
#include "net/XmlChannel.h"

namespace vantor {

class ServerConnection : private XmlChannel::Owner {
public:
    class Handler {
    public:
        virtual ~Handler() = default;
        virtual void OnEvent(std::unique_ptr<Message> event) = 0;
        // A response with the request it answers (both owned by the handler).
        virtual void OnResponse(std::unique_ptr<Message> response,
                                std::unique_ptr<Message> request) = 0;
        // The connection ended without Disconnect() (see XmlChannel).
        virtual void OnChannelLost(int code) = 0;
    };

    explicit ServerConnection(Handler* handler,
                              std::size_t maxPending = MessageFramer::kDefaultMaxPending);
    ~ServerConnection() override;
    ServerConnection(const ServerConnection&) = delete;
    ServerConnection& operator=(const ServerConnection&) = delete;

    // Ends any current connection and drops its outstanding requests, then
    // connects (port 0: 3567). On success the host is remembered. Setting
    // `*abort` gives up a connect under way.
    bool Connect(const std::string& host, std::uint16_t port = 0,
                 const std::atomic<bool>* abort = nullptr);
    // Ends the connection and drops the outstanding requests.
    bool Disconnect();
    bool IsConnected() const;
    // The host of the last successful Connect.
    std::string Host() const;

    // See RequestTable::SendRequest.
    SendResult SendRequest(std::unique_ptr<Message>&& request);
    std::unique_ptr<Message> SendAndWait(std::unique_ptr<Message>&& request,
                                         std::chrono::milliseconds timeout,
                                         SendResult* result = nullptr);
    void CancelRequests(MessageType type) { requests_.CancelRequests(type); }
    int OutstandingRequests() const { return requests_.Outstanding(); }

private:
    void OnMessage(std::unique_ptr<Message> message) override;
    void OnDisconnected(int code) override;

    Handler* handler_;
    RequestTable requests_;
    mutable std::mutex hostMutex_;  // guards host_
    std::string host_;
    // Last, so it goes first: its receiver thread calls into the members above.
    const std::unique_ptr<XmlChannel> channel_;
};

}  // namespace vantor
