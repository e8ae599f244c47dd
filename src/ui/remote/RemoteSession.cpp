#include "ui/remote/RemoteSession.h"

#include "core/Logger.h"
#include "media/MediaService.h"
#include "net/RequestTable.h"
#include "session/ConnectionFlow.h"
#include "session/ConnectionManager.h"
#include "session/SelfUpdate.h"
#include "ui/remote/PageFetcher.h"

namespace vantor::ui {

RemoteSession::RemoteSession(const SessionOptions& options,
                             std::shared_ptr<LocalAddressSource> addresses, SessionWindow window)
    : manager_(std::make_unique<ConnectionManager>(addresses, options.discovery)) {
    update_ = std::make_unique<SelfUpdate>(
        window.updateUi, window.launcher, [this] { return manager_->Host(); }, options.installDir,
        options.mediaPort);
    update_->SetAbort(&updateAbort_);
    FlowOptions flow;
    flow.port = options.port;
    flow_ = std::make_unique<ConnectionFlow>(*manager_, window.frame, &window.listener,
                                             std::move(addresses), update_.get(), flow);
    mediaAbort_ = std::make_shared<std::atomic<bool>>(false);
    HttpOptions http;
    http.abort = mediaAbort_.get();
    media_ = std::make_shared<MediaService>(options.mediaPort, http);
    fetcher_ = std::make_unique<PageFetcher>(media_, mediaAbort_, std::move(window.mailbox));
}

RemoteSession::~RemoteSession() {
    Shutdown();
}

bool RemoteSession::Connected() const {
    return manager_ && manager_->IsConnected();
}

bool RemoteSession::AttemptRunning() const {
    return flow_ && flow_->AttemptRunning();
}

bool RemoteSession::NetworkDown() const {
    return flow_ && flow_->NetworkDown();
}

PlayerState RemoteSession::Player() const {
    return manager_ ? manager_->Snapshot() : PlayerState{};
}

std::string RemoteSession::Host() const {
    return manager_ ? manager_->Host() : std::string();
}

void RemoteSession::SessionReady() {
    media_->SetHost(manager_->Host());
}

void RemoteSession::Shutdown() {
    updateAbort_ = true;
    if (manager_) {
        // The receiver thread may be inside a listener call (the update's
        // download, say): the abort above ends it, and the disconnect
        // waits for it before anything it uses goes.
        manager_->SetListener(nullptr);
        manager_->Disconnect();
    }
    flow_.reset();
    manager_.reset();
    update_.reset();
    fetcher_.reset();
}

SendResult RemoteSession::SendRequest(std::unique_ptr<Message>&& request) {
    if (!manager_) {
        return SendResult::NotConnected;
    }
    const MessageType type = request->Type();
    const SendResult result = manager_->SendRequest(std::move(request));
    // Not connected is the session's to show (the connect screen, the
    // reconnection); a full table loses the request, which nothing else says.
    if (result == SendResult::TableFull) {
        Log(kLogError, "Too many requests unanswered; %s was not sent",
            std::string(MessageTypeName(type)).c_str());
    }
    return result;
}

void RemoteSession::CancelRequests(MessageType type) {
    if (manager_) {
        manager_->CancelRequests(type);
    }
}

}  // namespace vantor::ui
