#include "net/ServerConnection.h"

namespace vantor {

// The channel is made up front, not on the first connect, so no thread ever
// sees it appear; "no channel" and "not connected" answer a request alike.
ServerConnection::ServerConnection(Handler* handler, std::size_t maxPending)
    : handler_(handler),
      channel_(std::make_unique<XmlChannel>(static_cast<XmlChannel::Owner*>(this), maxPending)) {}

ServerConnection::~ServerConnection() = default;

bool ServerConnection::Connect(const std::string& host, std::uint16_t port,
                               const std::atomic<bool>* abort) {
    channel_->Disconnect();
    requests_.Clear();
    if (!channel_->Connect(host, port, abort)) {
        return false;
    }
    std::lock_guard lock(hostMutex_);
    host_ = host;
    return true;
}

bool ServerConnection::Disconnect() {
    channel_->Disconnect();
    requests_.Clear();
    return true;
}

bool ServerConnection::IsConnected() const {
    return channel_->IsConnected();
}

std::string ServerConnection::Host() const {
    std::lock_guard lock(hostMutex_);
    return host_;
}

SendResult ServerConnection::SendRequest(std::unique_ptr<Message>&& request) {
    return requests_.SendRequest(std::move(request), channel_.get());
}

std::unique_ptr<Message> ServerConnection::SendAndWait(std::unique_ptr<Message>&& request,
                                                       std::chrono::milliseconds timeout,
                                                       SendResult* result) {
    return requests_.SendAndWait(std::move(request), channel_.get(), timeout, result);
}

void ServerConnection::OnMessage(std::unique_ptr<Message> message) {
    switch (message->Kind()) {
        case MessageKind::Response:
            if (auto match = requests_.MatchResponse(std::move(message))) {
                handler_->OnResponse(std::move(match->response), std::move(match->request));
            }
            break;
        case MessageKind::Event:
            handler_->OnEvent(std::move(message));
            break;
        default:
            break;  // a request from the server means nothing to the client
    }
}

void ServerConnection::OnDisconnected(int code) {
    handler_->OnChannelLost(code);
}

}  // namespace vantor
