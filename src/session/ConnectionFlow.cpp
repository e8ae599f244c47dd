#include "session/ConnectionFlow.h"

#include <algorithm>
#include <utility>

#include "core/GrowingPause.h"
#include "core/Logger.h"
#include "protocol/Messages.h"
#include "session/Settings.h"

namespace vantor {

ConnectionFlow::ConnectionFlow(ConnectionManager& manager, ConnectionFrame& frame,
                               PlayerListener* frameListener,
                               std::shared_ptr<LocalAddressSource> addresses, UpdateCheck* update,
                               FlowOptions options)
    : manager_(manager),
      frame_(frame),
      frameListener_(frameListener),
      addresses_(std::move(addresses)),
      update_(update),
      options_(std::move(options)) {
    manager_.SetListener(this);
}

ConnectionFlow::~ConnectionFlow() {
    closing_ = true;
    abort_ = true;
    manager_.AbortDiscovery();
    wake_.notify_all();
    attempt_.Stop();
    watch_.Stop();
    manager_.SetListener(nullptr);
}

std::string ConnectionFlow::TargetServer() const {
    std::lock_guard lock(mutex_);
    return target_;
}

std::string ConnectionFlow::TargetFromListText(const std::string& text) {
    return text == kFindAutomatically ? std::string() : text;
}

void ConnectionFlow::Start(bool firstRun, bool autoConnect) {
    closing_ = false;
    if (!watch_.IsRunning()) {
        watch_.Start("Network Watch", [this] { WatchNetwork(); });
    }
    if (!firstRun && autoConnect) {
        frame_.StartTimer(FlowTimer::AutoConnect, std::chrono::milliseconds(10));
    }
}

void ConnectionFlow::ConnectPressed() {
    if (attemptRunning_) {
        return;
    }
    frame_.SaveSettings();
    quickDrops_ = 0;
    StartAttempt(TargetFromListText(frame_.ServerListText()), reconnect_);
}

void ConnectionFlow::StartAttempt(std::string target, bool reconnect) {
    {
        std::lock_guard lock(mutex_);
        target_ = target;
    }
    abort_ = false;
    reconnect_ = reconnect;
    attemptRunning_ = true;
    if (attempt_.Start("Connection Attempt", [this, target = std::move(target), reconnect] {
            RunAttempt(target, reconnect);
        }) != 0) {
        attemptRunning_ = false;
    }
}

bool ConnectionFlow::Pause(std::chrono::milliseconds duration) {
    std::unique_lock lock(mutex_);
    return !wake_.wait_for(lock, duration, [this] { return abort_.load() || closing_.load(); });
}

void ConnectionFlow::RunAttempt(std::string target, bool reconnect) {
    const bool onConnectScreen = frame_.CurrentScreen() == FlowScreen::Connect;
    if (target.empty() && onConnectScreen) {
        frame_.SetStatus(kDiscoveringText);
    }

    // Discovery, at most once, waiting while the device has no network.
    bool discovered = false;
    bool fromDiscovery = false;
    while (target.empty() && !discovered && !abort_) {
        if (networkDown_) {
            Pause(options_.networkDownStep);
            continue;
        }
        target = manager_.Discover();
        discovered = true;
        fromDiscovery = true;
    }
    if (abort_) {
        FinishAttempt();
        return;
    }
    if (target.empty() || target == "0.0.0.0") {
        if (frame_.CurrentScreen() == FlowScreen::Connect) {
            frame_.SetStatus(kDiscoveryFailedText);
            frame_.SetConnectReady();
        }
        frame_.ShowMessage(kDiscoveryFailureCaption, kDiscoveryFailureMessage);
        FinishAttempt();
        return;
    }

    if (reconnect) {
        SaveTitleAndShow(kReconnectingText);
        if (quickDrops_ > 0) {
            Pause(DropPause());
        }
    } else if (frame_.CurrentScreen() == FlowScreen::Connect) {
        frame_.SetStatus(kConnectingText);
    }

    // Connect until connected or aborted; discovered servers in turn.
    int next = 0;
    bool connected = false;
    while (!connected && !abort_) {
        if (networkDown_) {
            Pause(options_.networkDownStep);
            continue;
        }
        if (fromDiscovery) {
            const int count = manager_.DiscoveredCount();
            if (next >= count) {
                next = 0;
            }
            target = manager_.DiscoveredServer(next++);
        }
        {
            // Before the connect: its channel may be lost before it returns.
            std::lock_guard lock(mutex_);
            connectedAt_ = std::chrono::steady_clock::now();
            answered_ = false;
        }
        connected = manager_.ConnectToHost(target, options_.port, &abort_);
        if (!connected) {
            Pause(options_.retryPause);
        }
    }
    RestoreTitle();
    if (connected && !abort_) {
        {
            std::lock_guard lock(mutex_);
            target_ = target;
        }
        // Its response starts the session. Not sent means the connection is
        // already gone again, and that loss is answered as any drop is.
        static_cast<void>(manager_.RequestClientVersion(options_.platform));
    }
    FinishAttempt();
}

void ConnectionFlow::FinishAttempt() {
    bool again = false;
    {
        std::lock_guard lock(mutex_);
        attemptRunning_ = false;
        again = std::exchange(reconnectPending_, false);
    }
    // A loss of the channel the attempt just made, or of the one before it
    // when the attempt made none, is not answered by anyone else.
    if (again && !abort_ && !closing_ && !manager_.IsConnected() &&
        frame_.CurrentScreen() != FlowScreen::Connect) {
        frame_.Post(FlowMessage::Reconnect);
    }
}

std::chrono::milliseconds ConnectionFlow::DropPause() const {
    return GrowingPause(options_.dropPause, options_.dropPauseCap, quickDrops_);
}

void ConnectionFlow::WatchNetwork() {
    networkDown_ = false;
    std::string last;
    while (!closing_) {
        std::unique_lock lock(mutex_);
        if (wake_.wait_for(lock, options_.watchPeriod, [this] { return closing_.load(); })) {
            break;
        }
        lock.unlock();
        const std::vector<std::string> addresses = addresses_->LocalAddresses();
        const std::string address = addresses.empty() ? "0.0.0.0" : addresses.front();
        if (address == last) {
            continue;
        }
        last = address;
        if (address == "127.0.0.1" || address == "0.0.0.0") {
            networkDown_ = true;
            frame_.Post(FlowMessage::NetworkLost);
        } else if (networkDown_) {
            networkDown_ = false;
            frame_.Post(FlowMessage::NetworkBack);
        }
    }
}

void ConnectionFlow::SaveTitleAndShow(const std::string& text) {
    {
        std::lock_guard lock(mutex_);
        if (!titleSaved_) {
            savedTitle_ = frame_.Title();
            titleSaved_ = true;
        }
    }
    frame_.SetTitle(text, true);
}

void ConnectionFlow::RestoreTitle() {
    std::pair<std::string, bool> title;
    {
        std::lock_guard lock(mutex_);
        if (!titleSaved_) {
            return;
        }
        titleSaved_ = false;
        title = savedTitle_;
    }
    frame_.SetTitle(title.first, title.second);
}

void ConnectionFlow::Handle(FlowMessage message) {
    const auto notConnectOrMain = [this] { return frame_.CurrentScreen() == FlowScreen::Other; };
    switch (message) {
        case FlowMessage::SessionReady:
            if (reconnect_) {
                frame_.RefreshNowPlaying();
            } else {
                frame_.SwitchScreen(FlowScreen::Main);
            }
            // Not sent means the connection dropped; the next session asks.
            static_cast<void>(manager_.SendRequest(std::make_unique<GetEqPresetsRequest>()));
            frame_.Redraw();
            break;
        case FlowMessage::Reconnect: {
            if (closing_) {
                break;
            }
            std::unique_lock lock(mutex_);
            if (attemptRunning_) {
                reconnectPending_ = true;
                break;
            }
            lock.unlock();
            frame_.KillTimer(FlowTimer::Reconnect);
            if (notConnectOrMain()) {
                frame_.SwitchScreen(FlowScreen::Main);
            }
            StartAttempt(TargetServer(), true);
            break;
        }
        case FlowMessage::NetworkLost:
            frame_.KillTimer(FlowTimer::Reconnect);
            SaveTitleAndShow(kNetworkDisconnectedText);
            if (notConnectOrMain()) {
                frame_.SwitchScreen(FlowScreen::Main);
            }
            manager_.Disconnect();
            break;
        case FlowMessage::NetworkBack:
            frame_.StartTimer(FlowTimer::Reconnect, std::chrono::milliseconds(2000));
            break;
    }
}

void ConnectionFlow::OnTimer(FlowTimer timer) {
    if (timer == FlowTimer::Reconnect) {
        if (frame_.CurrentScreen() != FlowScreen::Connect) {
            frame_.Post(FlowMessage::Reconnect);
        }
    } else if (timer == FlowTimer::AutoConnect) {
        frame_.KillTimer(FlowTimer::AutoConnect);
        StartAttempt(TargetFromListText(frame_.ServerListText()), false);
    }
}

void ConnectionFlow::Disconnect() {
    if (attemptRunning_) {
        abort_ = true;
        manager_.AbortDiscovery();
        wake_.notify_all();
        attempt_.Stop();
    }
    frame_.KillTimer(FlowTimer::Reconnect);
    manager_.Disconnect();
    quickDrops_ = 0;
    {
        std::lock_guard lock(mutex_);
        reconnectPending_ = false;
    }
    RestoreTitle();
}

void ConnectionFlow::Exit() {
    if (attemptRunning_) {
        abort_ = true;
        manager_.AbortDiscovery();
    }
    frame_.SaveSettings();
    closing_ = true;
    wake_.notify_all();
    watch_.Stop();
    attempt_.Stop();
}

// --- The manager's listener calls ---------------------------------------------

void ConnectionFlow::OnClientVersion(const GetClientVersionResponse& response) {
    if (frameListener_) {
        frameListener_->OnClientVersion(response);
    }
    {
        std::lock_guard lock(mutex_);
        answered_ = true;
    }
    if (update_ != nullptr && update_->Run(response)) {
        return;  // an update is being applied; the client is quitting
    }
    manager_.RequestSessionState();
    frame_.Post(FlowMessage::SessionReady);
}

void ConnectionFlow::OnChannelLost() {
    if (frameListener_) {
        frameListener_->OnChannelLost();
    }
    {
        std::lock_guard lock(mutex_);
        const bool quick =
            !answered_ || std::chrono::steady_clock::now() - connectedAt_ < options_.shortLived;
        if (quick) {
            ++quickDrops_;
        } else {
            quickDrops_ = 0;
        }
    }
    if (frame_.CurrentScreen() != FlowScreen::Connect) {
        frame_.Post(FlowMessage::Reconnect);
    }
}

#define VANTOR_PASS_ON(call)  \
    if (frameListener_) {     \
        frameListener_->call; \
    }

void ConnectionFlow::OnCurrentMediaChanged(const CurrentMedia& media) {
    VANTOR_PASS_ON(OnCurrentMediaChanged(media))
}
void ConnectionFlow::OnVolumeChanged(std::int32_t volume, std::int32_t difference) {
    VANTOR_PASS_ON(OnVolumeChanged(volume, difference))
}
void ConnectionFlow::OnShuffleChanged(bool shuffle) {
    VANTOR_PASS_ON(OnShuffleChanged(shuffle))
}
void ConnectionFlow::OnRepeatChanged(std::int32_t repeat) {
    VANTOR_PASS_ON(OnRepeatChanged(repeat))
}
void ConnectionFlow::OnPlayingStateChanged(std::int32_t state) {
    VANTOR_PASS_ON(OnPlayingStateChanged(state))
}
void ConnectionFlow::OnPlaylistPositionChanged(std::int32_t position) {
    VANTOR_PASS_ON(OnPlaylistPositionChanged(position))
}
void ConnectionFlow::OnPlayPositionChanged(std::int32_t seconds) {
    VANTOR_PASS_ON(OnPlayPositionChanged(seconds))
}
void ConnectionFlow::OnPlaylistChanged(const PlaylistChangedEvent& event) {
    VANTOR_PASS_ON(OnPlaylistChanged(event))
}
void ConnectionFlow::OnEqChanged(const EqSettings& eq) {
    VANTOR_PASS_ON(OnEqChanged(eq))
}
void ConnectionFlow::OnSpeakerListChanged(const std::vector<Speaker>& speakers) {
    VANTOR_PASS_ON(OnSpeakerListChanged(speakers))
}
void ConnectionFlow::OnAlbumArtChanged(const AlbumArtChangedEvent& event) {
    VANTOR_PASS_ON(OnAlbumArtChanged(event))
}
void ConnectionFlow::OnCapabilities() {
    VANTOR_PASS_ON(OnCapabilities())
}
void ConnectionFlow::OnMediaLibraryChanged(const MediaLibraryChangedEvent& event) {
    VANTOR_PASS_ON(OnMediaLibraryChanged(event))
}
void ConnectionFlow::OnRequestFailed(std::int32_t returnCode, const Message& request) {
    VANTOR_PASS_ON(OnRequestFailed(returnCode, request))
}
void ConnectionFlow::OnPlaylistItems(const GetPlaylistItemsResponse& page, std::int32_t start) {
    VANTOR_PASS_ON(OnPlaylistItems(page, start))
}
void ConnectionFlow::OnAlbumArtUrl(const std::string& url) {
    VANTOR_PASS_ON(OnAlbumArtUrl(url))
}
void ConnectionFlow::OnArtists(const BrowseArtistsResponse& artists) {
    VANTOR_PASS_ON(OnArtists(artists))
}
void ConnectionFlow::OnLibraryPage(const BrowseLibraryResponse& page,
                                   const BrowseLibraryRequest& request) {
    VANTOR_PASS_ON(OnLibraryPage(page, request))
}
void ConnectionFlow::OnSearchResults(const std::string& text, const MediaSearchResponse& results) {
    VANTOR_PASS_ON(OnSearchResults(text, results))
}
void ConnectionFlow::OnEqPresets(const std::vector<std::string>& presets) {
    VANTOR_PASS_ON(OnEqPresets(presets))
}

#undef VANTOR_PASS_ON

}  // namespace vantor
