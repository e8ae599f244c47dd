#pragma once

// The connection to the server and what hangs off it: the connection
// manager, the flow that connects and reconnects, the self-update, the
// media service and the page fetcher. It is the window's RequestSink, and
// it knows the order they go in: the manager's receiver thread calls into
// the flow, the update and the window's listener, so the listener is
// detached and the manager disconnected before any of them goes.
//
// Threads: made, used and destroyed on the window's thread; the pieces
// run threads of their own (see their headers).

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "media/LibraryBrowser.h"
#include "net/ServerDiscovery.h"
#include "session/PlayerState.h"

namespace vantor {
class ConnectionFlow;
class ConnectionFrame;
class ConnectionManager;
class Launcher;
class MediaService;
class PlayerListener;
class SelfUpdate;
class UpdateUi;
}  // namespace vantor

namespace vantor::ui {

class PageFetcher;
class WindowMailbox;

struct SessionOptions {
    std::uint16_t port = 0;  // the message port; 0: the default
    std::uint16_t mediaPort = 0;
    DiscoveryOptions discovery;
    std::string installDir;  // where an update is unpacked
};

struct SessionWindow {
    ConnectionFrame& frame;
    PlayerListener& listener;  // the player as the window shows it
    UpdateUi& updateUi;
    Launcher& launcher;
    std::shared_ptr<WindowMailbox> mailbox;  // the fetcher's pages come back through it
};

class RemoteSession final : public RequestSink {
public:
    RemoteSession(const SessionOptions& options, std::shared_ptr<LocalAddressSource> addresses,
                  SessionWindow window);
    ~RemoteSession() override;

    RemoteSession(const RemoteSession&) = delete;
    RemoteSession& operator=(const RemoteSession&) = delete;

    ConnectionFlow& Flow() { return *flow_; }
    PageFetcher& Fetcher() { return *fetcher_; }

    bool Connected() const;
    bool AttemptRunning() const;
    bool NetworkDown() const;
    PlayerState Player() const;
    std::string Host() const;

    // A session (re)started: the media service follows its server.
    void SessionReady();

    // Ends every thread the session runs, in the order above: any answer
    // the receiver thread waits for must have been given first.
    void Shutdown();

    // RequestSink
    SendResult SendRequest(std::unique_ptr<Message>&& request) override;
    void CancelRequests(MessageType type) override;

private:
    std::unique_ptr<ConnectionManager> manager_;
    std::atomic<bool> updateAbort_{false};
    std::unique_ptr<SelfUpdate> update_;
    std::unique_ptr<ConnectionFlow> flow_;
    std::shared_ptr<std::atomic<bool>> mediaAbort_;
    std::shared_ptr<MediaService> media_;
    std::unique_ptr<PageFetcher> fetcher_;
};

}  // namespace vantor::ui
