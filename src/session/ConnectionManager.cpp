#include "session/ConnectionManager.h"

#include "protocol/Messages.h"
#include "session/PlayerUpdates.h"

namespace vantor {

ConnectionManager::ConnectionManager(std::shared_ptr<LocalAddressSource> addresses,
                                     DiscoveryOptions discovery)
    : discovery_(std::move(addresses), std::move(discovery)),
      connection_(static_cast<ServerConnection::Handler*>(this)) {}

ConnectionManager::~ConnectionManager() = default;

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
    ApplyEvent(*event, state_, listener_.load());
    Publish();
}

void ConnectionManager::OnResponse(std::unique_ptr<Message> response,
                                   std::unique_ptr<Message> request) {
    ApplyResponse(*response, *request, state_, listener_.load());
    Publish();
}

void ConnectionManager::OnChannelLost(int /*code*/) {
    if (PlayerListener* listener = listener_.load()) {
        listener->OnChannelLost();
    }
}

}  // namespace vantor
