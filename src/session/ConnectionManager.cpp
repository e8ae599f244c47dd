#include "session/ConnectionManager.h"

#include <utility>

#include "protocol/Messages.h"
#include "session/PlayerUpdates.h"

namespace vantor {

ConnectionManager::ConnectionManager(std::shared_ptr<LocalAddressSource> addresses,
                                     DiscoveryOptions discovery)
    : discovery_(std::move(addresses), std::move(discovery)),
      connection_(static_cast<ServerConnection::Handler*>(this)) {}

ConnectionManager::~ConnectionManager() = default;

void ConnectionManager::SetListener(std::shared_ptr<PlayerListener> listener) {
    std::lock_guard lock(listenerMutex_);
    listener_ = std::move(listener);
}

std::shared_ptr<PlayerListener> ConnectionManager::Listener() const {
    std::lock_guard lock(listenerMutex_);
    return listener_;
}

bool ConnectionManager::ConnectToHost(const std::string& host, std::uint16_t port,
                                      const std::atomic<bool>* abort) {
    return connection_.Connect(host, port, abort);
}

bool ConnectionManager::Disconnect() {
    return connection_.Disconnect();
}

SendResult ConnectionManager::RequestClientVersion(const std::string& platform) {
    auto request = std::make_unique<GetClientVersionRequest>();
    request->type = platform;
    return SendRequest(std::move(request));
}

void ConnectionManager::RequestSessionState() {
    std::unique_ptr<Message> requests[] = {std::make_unique<GetPlayerCapabilitiesRequest>(),
                                           std::make_unique<GetCurrentStateRequest>(),
                                           std::make_unique<GetSpeakerListRequest>(),
                                           std::make_unique<GetEqRequest>()};
    // A connection lost on the way is the flow's to handle; the next
    // session asks for all of it again.
    for (std::unique_ptr<Message>& request : requests) {
        if (SendRequest(std::move(request)) != SendResult::Sent) {
            return;
        }
    }
}

PlayerState ConnectionManager::Snapshot() const {
    std::lock_guard lock(publishedMutex_);
    return published_;
}

void ConnectionManager::Publish() {
    std::lock_guard lock(publishedMutex_);
    published_ = state_;
}

void ConnectionManager::OnEvent(std::unique_ptr<Message> event) {
    const std::shared_ptr<PlayerListener> listener = Listener();
    ApplyEvent(*event, state_, listener.get());
    Publish();
}

void ConnectionManager::OnResponse(std::unique_ptr<Message> response,
                                   std::unique_ptr<Message> request) {
    const std::shared_ptr<PlayerListener> listener = Listener();
    ApplyResponse(*response, *request, state_, listener.get());
    Publish();
}

void ConnectionManager::OnChannelLost(int /*code*/) {
    if (const std::shared_ptr<PlayerListener> listener = Listener()) {
        listener->OnChannelLost();
    }
}

}  // namespace vantor
