#include "session/ConnectionFlow.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "core/GrowingPause.h"
#include "core/Logger.h"
#include "core/NamedThread.h"
#include "protocol/Messages.h"
#include "session/Settings.h"

namespace vantor {

class ConnectionFlow::Core final : public PlayerListener,
                                   public std::enable_shared_from_this<Core> {
public:
    Core(ConnectionManager& manager, ConnectionFrame& frame, PlayerListener* frameListener,
         std::shared_ptr<LocalAddressSource> addresses, UpdateCheck* update, FlowOptions options)
        : manager_(manager),
          frame_(frame),
          frameListener_(frameListener),
          addresses_(std::move(addresses)),
          update_(update),
          options_(std::move(options)) {}

    void Start(bool firstRun, bool autoConnect);
    void ConnectPressed();
    void Disconnect();
    void Handle(FlowMessage message);
    void OnTimer(FlowTimer timer);
    void Exit();
    // The flow's end: ends the threads, and waits for a call to the frame or
    // the manager under way; a thread that is still running afterwards calls
    // neither again.
    void Close();

    // PlayerListener, on the receiver thread: passed on to the frame's
    // listener; the client version also runs the update check and starts
    // the session, and a lost channel asks for a reconnection.
    void OnCurrentMediaChanged(const CurrentMedia& media) override;
    void OnVolumeChanged(std::int32_t volume, std::int32_t difference) override;
    void OnShuffleChanged(bool shuffle) override;
    void OnRepeatChanged(std::int32_t repeat) override;
    void OnPlayingStateChanged(std::int32_t state) override;
    void OnPlaylistPositionChanged(std::int32_t position) override;
    void OnPlayPositionChanged(std::int32_t seconds) override;
    void OnPlaylistChanged(const PlaylistChangedEvent& event) override;
    void OnEqChanged(const EqSettings& eq) override;
    void OnSpeakerListChanged(const std::vector<Speaker>& speakers) override;
    void OnAlbumArtChanged(const AlbumArtChangedEvent& event) override;
    void OnCapabilities() override;
    void OnMediaLibraryChanged(const MediaLibraryChangedEvent& event) override;
    void OnRequestFailed(std::int32_t returnCode, const Message& request) override;
    void OnPlaylistItems(const GetPlaylistItemsResponse& page, std::int32_t start) override;
    void OnAlbumArtUrl(const std::string& url) override;
    void OnArtists(const BrowseArtistsResponse& artists) override;
    void OnLibraryPage(const BrowseLibraryResponse& page,
                       const BrowseLibraryRequest& request) override;
    void OnSearchResults(const std::string& text, const MediaSearchResponse& results) override;
    void OnClientVersion(const GetClientVersionResponse& response) override;
    void OnEqPresets(const std::vector<std::string>& presets) override;
    void OnChannelLost() override;

    void SaveTitleAndShow(const std::string& text);
    void RestoreTitle();
    bool AttemptRunning() const { return attemptRunning_; }
    bool NetworkDown() const { return networkDown_; }
    std::string TargetServer() const;

private:
    void StartAttempt(std::string target, bool reconnect);
    void RunAttempt(std::string target, bool reconnect);
    // The end of every attempt: a reconnection asked for while it ran is
    // posted again now, unless the attempt left a live connection.
    void FinishAttempt();
    // The pause before reconnecting after connections that dropped at once.
    std::chrono::milliseconds DropPause() const;
    void WatchNetwork();
    // Sleeps unless the attempt is aborted or the flow closes; false then.
    bool Pause(std::chrono::milliseconds duration);
    // After abort_ or closing_ was set: ends the sleeps.
    void WakeSleepers();
    static std::string TargetFromListText(const std::string& text);

    // Runs `call` (which uses the frame, the frame's listener or the
    // manager) unless the flow is closed; false then.
    template <class Call>
    bool Out(Call&& call);
    FlowScreen Screen();

    ConnectionManager& manager_;
    ConnectionFrame& frame_;
    PlayerListener* frameListener_;
    std::shared_ptr<LocalAddressSource> addresses_;
    UpdateCheck* update_;
    FlowOptions options_;

    // Single flags, each written by one side and read by the others.
    std::atomic<bool> attemptRunning_{false};
    std::atomic<bool> abort_{false};
    std::atomic<bool> reconnect_{false};
    std::atomic<bool> networkDown_{false};
    std::atomic<bool> closing_{false};
    // Connections in a row that dropped right after they were made.
    std::atomic<int> quickDrops_{0};

    // Guards target_, the saved title, the connection's start and the
    // pending reconnection (with attemptRunning_ turning false), and wakes
    // Pause.
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::string target_;
    std::chrono::steady_clock::time_point connectedAt_;
    bool answered_ = false;  // the current connection's server answered
    bool reconnectPending_ = false;
    bool titleSaved_ = false;
    std::pair<std::string, bool> savedTitle_;

    // Guards calls_ and closed_: the calls to the frame and the manager
    // under way, and whether the flow is gone.
    std::mutex gateMutex_;
    std::condition_variable gateIdle_;
    int calls_ = 0;
    bool closed_ = false;

    NamedThread attempt_;
    NamedThread watch_;
};

template <class Call>
bool ConnectionFlow::Core::Out(Call&& call) {
    {
        std::lock_guard lock(gateMutex_);
        if (closed_) {
            return false;
        }
        ++calls_;
    }
    call();
    std::lock_guard lock(gateMutex_);
    if (--calls_ == 0) {
        gateIdle_.notify_all();
    }
    return true;
}

FlowScreen ConnectionFlow::Core::Screen() {
    // Once closed, the connect screen: the one on which nothing is posted.
    FlowScreen screen = FlowScreen::Connect;
    Out([&] { screen = frame_.CurrentScreen(); });
    return screen;
}

void ConnectionFlow::Core::Close() {
    closing_ = true;
    abort_ = true;
    Out([&] { manager_.AbortDiscovery(); });
    WakeSleepers();
    attempt_.Stop();
    watch_.Stop();
    std::unique_lock lock(gateMutex_);
    gateIdle_.wait(lock, [this] { return calls_ == 0; });
    closed_ = true;
}

std::string ConnectionFlow::Core::TargetServer() const {
    std::lock_guard lock(mutex_);
    return target_;
}

std::string ConnectionFlow::Core::TargetFromListText(const std::string& text) {
    return text == kFindAutomatically ? std::string() : text;
}

void ConnectionFlow::Core::Start(bool firstRun, bool autoConnect) {
    closing_ = false;
    if (!watch_.IsRunning()) {
        watch_.Start("Network Watch", [core = shared_from_this()] { core->WatchNetwork(); });
    }
    if (!firstRun && autoConnect) {
        frame_.StartTimer(FlowTimer::AutoConnect, std::chrono::milliseconds(10));
    }
}

void ConnectionFlow::Core::ConnectPressed() {
    if (attemptRunning_) {
        return;
    }
    frame_.SaveSettings();
    quickDrops_ = 0;
    // A Connect the user presses is never a reconnection, whatever the last
    // attempt was: its session starts on the main screen.
    StartAttempt(TargetFromListText(frame_.ServerListText()), false);
}

void ConnectionFlow::Core::StartAttempt(std::string target, bool reconnect) {
    {
        std::lock_guard lock(mutex_);
        target_ = target;
    }
    abort_ = false;
    reconnect_ = reconnect;
    attemptRunning_ = true;
    if (attempt_.Start("Connection Attempt",
                       [core = shared_from_this(), target = std::move(target), reconnect] {
                           core->RunAttempt(target, reconnect);
                       }) != 0) {
        attemptRunning_ = false;
    }
}

void ConnectionFlow::Core::WakeSleepers() {
    {
        // Under the lock, so that a thread between its check of the flags
        // and its wait still sees them.
        std::lock_guard lock(mutex_);
    }
    wake_.notify_all();
}

bool ConnectionFlow::Core::Pause(std::chrono::milliseconds duration) {
    std::unique_lock lock(mutex_);
    return !wake_.wait_for(lock, duration, [this] { return abort_.load() || closing_.load(); });
}

void ConnectionFlow::Core::RunAttempt(std::string target, bool reconnect) {
    // The thread's calls to the frame and the manager pass through Out, so
    // that they stop once the flow is gone.
    const bool onConnectScreen = Screen() == FlowScreen::Connect;
    if (target.empty() && onConnectScreen) {
        Out([&] { frame_.SetStatus(kDiscoveringText); });
    }

    // Discovery, at most once, waiting while the device has no network.
    bool discovered = false;
    bool fromDiscovery = false;
    while (target.empty() && !discovered && !abort_) {
        if (networkDown_) {
            Pause(options_.networkDownStep);
            continue;
        }
        Out([&] { target = manager_.Discover(); });
        discovered = true;
        fromDiscovery = true;
    }
    if (abort_) {
        FinishAttempt();
        return;
    }
    if (target.empty() || target == "0.0.0.0") {
        Out([&] {
            if (frame_.CurrentScreen() == FlowScreen::Connect) {
                frame_.SetStatus(kDiscoveryFailedText);
                frame_.SetConnectReady();
            }
            frame_.ShowMessage(kDiscoveryFailureCaption, kDiscoveryFailureMessage);
        });
        FinishAttempt();
        return;
    }

    if (reconnect) {
        SaveTitleAndShow(kReconnectingText);
        if (quickDrops_ > 0) {
            const std::chrono::milliseconds pause = DropPause();
            Log(kLogInfo, "Reconnecting after a quick drop: pause %lld ms",
                static_cast<long long>(pause.count()));
            Pause(pause);
        }
    } else {
        Out([&] {
            if (frame_.CurrentScreen() == FlowScreen::Connect) {
                frame_.SetStatus(kConnectingText);
            }
        });
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
            Out([&] {
                if (next >= manager_.DiscoveredCount()) {
                    next = 0;
                }
                target = manager_.DiscoveredServer(next++);
            });
        }
        {
            // Before the connect: its channel may be lost before it returns.
            std::lock_guard lock(mutex_);
            connectedAt_ = std::chrono::steady_clock::now();
            answered_ = false;
        }
        Out([&] { connected = manager_.ConnectToHost(target, options_.port, &abort_); });
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
        Out([&] { static_cast<void>(manager_.RequestClientVersion(options_.platform)); });
    }
    FinishAttempt();
}

void ConnectionFlow::Core::FinishAttempt() {
    bool again = false;
    {
        std::lock_guard lock(mutex_);
        attemptRunning_ = false;
        again = std::exchange(reconnectPending_, false);
    }
    // A loss of the channel the attempt just made, or of the one before it
    // when the attempt made none, is not answered by anyone else.
    if (again && !abort_ && !closing_) {
        Out([&] {
            if (!manager_.IsConnected() && frame_.CurrentScreen() != FlowScreen::Connect) {
                frame_.Post(FlowMessage::Reconnect);
            }
        });
    }
}

std::chrono::milliseconds ConnectionFlow::Core::DropPause() const {
    return GrowingPause(options_.dropPause, options_.dropPauseCap, quickDrops_);
}

void ConnectionFlow::Core::WatchNetwork() {
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
            Out([&] { frame_.Post(FlowMessage::NetworkLost); });
        } else if (networkDown_) {
            networkDown_ = false;
            Out([&] { frame_.Post(FlowMessage::NetworkBack); });
        }
    }
}

void ConnectionFlow::Core::SaveTitleAndShow(const std::string& text) {
    {
        std::lock_guard lock(mutex_);
        if (!titleSaved_) {
            Out([&] { savedTitle_ = frame_.Title(); });
            titleSaved_ = true;
        }
    }
    Out([&] { frame_.SetTitle(text, true); });
}

void ConnectionFlow::Core::RestoreTitle() {
    std::pair<std::string, bool> title;
    {
        std::lock_guard lock(mutex_);
        if (!titleSaved_) {
            return;
        }
        titleSaved_ = false;
        title = savedTitle_;
    }
    Out([&] { frame_.SetTitle(title.first, title.second); });
}

void ConnectionFlow::Core::Handle(FlowMessage message) {
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

void ConnectionFlow::Core::OnTimer(FlowTimer timer) {
    if (timer == FlowTimer::Reconnect) {
        if (frame_.CurrentScreen() != FlowScreen::Connect) {
            frame_.Post(FlowMessage::Reconnect);
        }
    } else if (timer == FlowTimer::AutoConnect) {
        frame_.KillTimer(FlowTimer::AutoConnect);
        StartAttempt(TargetFromListText(frame_.ServerListText()), false);
    }
}

void ConnectionFlow::Core::Disconnect() {
    if (attemptRunning_) {
        abort_ = true;
        manager_.AbortDiscovery();
        WakeSleepers();
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

void ConnectionFlow::Core::Exit() {
    if (attemptRunning_) {
        abort_ = true;
        manager_.AbortDiscovery();
    }
    frame_.SaveSettings();
    closing_ = true;
    WakeSleepers();
    watch_.Stop();
    attempt_.Stop();
}

// --- The manager's listener calls ---------------------------------------------

void ConnectionFlow::Core::OnClientVersion(const GetClientVersionResponse& response) {
    Out([&] {
        if (frameListener_ != nullptr) {
            frameListener_->OnClientVersion(response);
        }
    });
    {
        std::lock_guard lock(mutex_);
        answered_ = true;
    }
    // Not through Out: the check may wait for the window (its question, its
    // download) while the window closes the flow. This Core outlives the
    // call, as the manager holds on to its listener for it.
    if (update_ != nullptr && update_->Run(response)) {
        return;  // an update is being applied; the client is quitting
    }
    Out([&] {
        manager_.RequestSessionState();
        frame_.Post(FlowMessage::SessionReady);
    });
}

void ConnectionFlow::Core::OnChannelLost() {
    Out([&] {
        if (frameListener_ != nullptr) {
            frameListener_->OnChannelLost();
        }
    });
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
    Out([&] {
        if (frame_.CurrentScreen() != FlowScreen::Connect) {
            frame_.Post(FlowMessage::Reconnect);
        }
    });
}

#define VANTOR_PASS_ON(call)             \
    Out([&] {                            \
        if (frameListener_ != nullptr) { \
            frameListener_->call;        \
        }                                \
    });

void ConnectionFlow::Core::OnCurrentMediaChanged(const CurrentMedia& media) {
    VANTOR_PASS_ON(OnCurrentMediaChanged(media))
}
void ConnectionFlow::Core::OnVolumeChanged(std::int32_t volume, std::int32_t difference) {
    VANTOR_PASS_ON(OnVolumeChanged(volume, difference))
}
void ConnectionFlow::Core::OnShuffleChanged(bool shuffle) {
    VANTOR_PASS_ON(OnShuffleChanged(shuffle))
}
void ConnectionFlow::Core::OnRepeatChanged(std::int32_t repeat) {
    VANTOR_PASS_ON(OnRepeatChanged(repeat))
}
void ConnectionFlow::Core::OnPlayingStateChanged(std::int32_t state) {
    VANTOR_PASS_ON(OnPlayingStateChanged(state))
}
void ConnectionFlow::Core::OnPlaylistPositionChanged(std::int32_t position) {
    VANTOR_PASS_ON(OnPlaylistPositionChanged(position))
}
void ConnectionFlow::Core::OnPlayPositionChanged(std::int32_t seconds) {
    VANTOR_PASS_ON(OnPlayPositionChanged(seconds))
}
void ConnectionFlow::Core::OnPlaylistChanged(const PlaylistChangedEvent& event) {
    VANTOR_PASS_ON(OnPlaylistChanged(event))
}
void ConnectionFlow::Core::OnEqChanged(const EqSettings& eq) {
    VANTOR_PASS_ON(OnEqChanged(eq))
}
void ConnectionFlow::Core::OnSpeakerListChanged(const std::vector<Speaker>& speakers) {
    VANTOR_PASS_ON(OnSpeakerListChanged(speakers))
}
void ConnectionFlow::Core::OnAlbumArtChanged(const AlbumArtChangedEvent& event) {
    VANTOR_PASS_ON(OnAlbumArtChanged(event))
}
void ConnectionFlow::Core::OnCapabilities() {
    VANTOR_PASS_ON(OnCapabilities())
}
void ConnectionFlow::Core::OnMediaLibraryChanged(const MediaLibraryChangedEvent& event) {
    VANTOR_PASS_ON(OnMediaLibraryChanged(event))
}
void ConnectionFlow::Core::OnRequestFailed(std::int32_t returnCode, const Message& request) {
    VANTOR_PASS_ON(OnRequestFailed(returnCode, request))
}
void ConnectionFlow::Core::OnPlaylistItems(const GetPlaylistItemsResponse& page,
                                           std::int32_t start) {
    VANTOR_PASS_ON(OnPlaylistItems(page, start))
}
void ConnectionFlow::Core::OnAlbumArtUrl(const std::string& url) {
    VANTOR_PASS_ON(OnAlbumArtUrl(url))
}
void ConnectionFlow::Core::OnArtists(const BrowseArtistsResponse& artists) {
    VANTOR_PASS_ON(OnArtists(artists))
}
void ConnectionFlow::Core::OnLibraryPage(const BrowseLibraryResponse& page,
                                         const BrowseLibraryRequest& request) {
    VANTOR_PASS_ON(OnLibraryPage(page, request))
}
void ConnectionFlow::Core::OnSearchResults(const std::string& text,
                                           const MediaSearchResponse& results) {
    VANTOR_PASS_ON(OnSearchResults(text, results))
}
void ConnectionFlow::Core::OnEqPresets(const std::vector<std::string>& presets) {
    VANTOR_PASS_ON(OnEqPresets(presets))
}

#undef VANTOR_PASS_ON

// --- The flow: its core, shared with the threads -------------------------------

ConnectionFlow::ConnectionFlow(ConnectionManager& manager, ConnectionFrame& frame,
                               PlayerListener* frameListener,
                               std::shared_ptr<LocalAddressSource> addresses, UpdateCheck* update,
                               FlowOptions options)
    : core_(std::make_shared<Core>(manager, frame, frameListener, std::move(addresses), update,
                                   std::move(options))),
      manager_(manager) {
    manager_.SetListener(core_);
}

ConnectionFlow::~ConnectionFlow() {
    // A listener call under way keeps the core; closed, it calls nothing.
    core_->Close();
    manager_.SetListener(nullptr);
}

void ConnectionFlow::Start(bool firstRun, bool autoConnect) {
    core_->Start(firstRun, autoConnect);
}
void ConnectionFlow::ConnectPressed() {
    core_->ConnectPressed();
}
void ConnectionFlow::Disconnect() {
    core_->Disconnect();
}
void ConnectionFlow::Handle(FlowMessage message) {
    core_->Handle(message);
}
void ConnectionFlow::OnTimer(FlowTimer timer) {
    core_->OnTimer(timer);
}
void ConnectionFlow::Exit() {
    core_->Exit();
}
void ConnectionFlow::ShowInTitle(const std::string& text) {
    core_->SaveTitleAndShow(text);
}
void ConnectionFlow::RestoreTitleNow() {
    core_->RestoreTitle();
}
bool ConnectionFlow::AttemptRunning() const {
    return core_->AttemptRunning();
}
bool ConnectionFlow::NetworkDown() const {
    return core_->NetworkDown();
}
std::string ConnectionFlow::TargetServer() const {
    return core_->TargetServer();
}

}  // namespace vantor
