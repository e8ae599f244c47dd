#pragma once

// The client's one window and its controller. It owns the settings, the
// skin, the connection (manager, flow and self-update), the player's
// now-playing clock and the screens, shows one screen at a time drawn from
// the skin with a few child controls on top, carries the menu and the
// command bar, and turns every user action, timer and worker's notice into
// what the remote does.
//
// Threads. Everything here runs on the window's (the user interface's)
// thread, except the interface functions marked "any thread" below. Other
// threads never touch a widget: the receiver thread's listener calls, the
// connection flow's notices and the workers' results are posted through
// the mailbox as FrameEvents and carried out here. A worker that needs an
// answer from the user (the update prompt) waits for the window to ask;
// closing the window answers every such wait.

#include <QMainWindow>
#include <QSize>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/AlbumArt.h"
#include "media/LibraryBrowser.h"
#include "media/MediaService.h"
#include "net/ServerDiscovery.h"
#include "session/ConnectionFlow.h"
#include "session/ConnectionManager.h"
#include "session/PlayerListener.h"
#include "session/RegistryStore.h"
#include "session/SelfUpdate.h"
#include "session/Settings.h"
#include "skin/CSkin.h"
#include "skin/SkinFallback.h"
#include "ui/keys/FunctionTable.h"
#include "ui/keys/KeyTranslator.h"
#include "ui/player/DragCoalescer.h"
#include "ui/player/PlaybackClock.h"
#include "ui/player/PlayerSnapshot.h"
#include "ui/screens/ConnectScreen.h"
#include "ui/screens/Screens.h"
#include "ui/view/ScreenView.h"
#include "ui/window/FrameMessages.h"
#include "ui/window/FrameTimers.h"
#include "ui/window/Prompter.h"

class QMenu;
class QToolBar;
class QToolButton;

namespace vantor::ui {

class AlbumArtCache;
class EqScreen;
class PageFetcher;
class PlayQueueList;
class LibraryScreen;

inline constexpr const char* kLandscapeText =
    "Sorry, Vantor does not support landscape screen orientations - please use a portrait "
    "screen orientation.";
inline constexpr const char* kWelcomeCaption = "Welcome!";
inline constexpr const char* kWelcomeText =
    "Welcome to Vantor! Since this appears to be the first time you have configured this "
    "remote, you will now be taken to the Settings screen to choose the media player you'd like "
    "Vantor to control.";

struct FrameOptions {
    std::string configPath;  // the settings file
    QSize screen{480, 640};  // the device's screen: the window's client area
    int dpi = 0;             // 0: 96 x the display scale
    std::string server;      // for this run only, saved settings untouched; empty: as saved
    std::uint16_t port = 0;  // the message port; 0: 3567
    std::uint16_t mediaPort = kMediaServicePort;
    DiscoveryOptions discovery;  // where discovery probes go
    std::string dataDir;         // the client's own files (album art); empty: the cache folder
    std::chrono::milliseconds idleTime{20000};  // before the idle switch to "nowplaying"
};

struct FrameServices {
    Prompter* prompter = nullptr;                   // null: message boxes
    Launcher* launcher = nullptr;                   // null: xdg-open
    std::shared_ptr<LocalAddressSource> addresses;  // null: the machine's interfaces
    // Ends the program's event loop with a code; null: QCoreApplication::exit.
    std::function<void(int code)> quit;
};

class CMainFrame final : public QMainWindow,
                         private ConnectionFrame,
                         private PlayerListener,
                         private UpdateUi,
                         private SkinErrorReporter,
                         private ScreenInput,
                         private KeyWindow,
                         public RequestSink {
public:
    CMainFrame(FrameOptions options, FrameServices services);
    ~CMainFrame() override;

    // The start-up after the window is made: settings, skin, controls,
    // threads, and the first screen. False when no skin could be loaded
    // (the user was told): the program ends.
    bool Create();

    // A command of the menu or the command bar, by its number.
    void Command(int id);

    // Told "window mapped" when the window first paints, and "title shown"
    // when the playing title first shows on the main screen (start-up
    // figures).
    void SetMilestoneHandler(std::function<void(const char*)> handler) {
        milestone_ = std::move(handler);
    }

    // What the window shows and holds, for the tour and for tests.
    std::string Screen() const { return CurrentScreen(); }
    const ScreenView& View() const { return *view_; }
    bool Landscape() const { return landscape_; }
    bool Closing() const { return closing_; }
    double DisplayScale() const { return displayScale_; }
    const Settings& CurrentSettings() const { return settings_; }
    PlayerState Player() const { return manager_->Snapshot(); }
    bool Connected() const { return manager_->IsConnected(); }
    bool AttemptRunning() const { return flow_ && flow_->AttemptRunning(); }
    const PlayQueueList& Queue() const { return *queue_; }
    LibraryScreen& Library() { return *library_; }
    EqScreen& Equalizer() { return *eq_; }
    const std::vector<Speaker>& Speakers() const { return speakers_; }
    const ConnectScreen& Connect() const { return connect_; }
    // The keys bound to the remote's functions, as the settings sheet left them.
    const FunctionTable& Functions() const { return functions_; }
    const CSkin& Skin() const { return skin_; }
    // The menu's items as they stand now (run-time items included).
    std::vector<QString> MenuTexts();

    // The player as the window shows it, and those told of every change
    // (the desktop's media controls).
    const PlayerSnapshot& Snapshot() const { return snapshot_; }
    void AddPlayerWatcher(PlayerWatcher watcher) { watchers_.push_back(std::move(watcher)); }

    // For screens that plug in: the registry, the menu's run-time items,
    // the server and the media service.
    ScreenRegistry& Screens() { return screens_; }
    void AddMenuItem(MenuItemSpec item) { menuItems_.push_back(std::move(item)); }
    int SendRequest(std::unique_ptr<Message>&& request) override;
    void CancelRequests(MessageType type) override;

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    // Start-up pieces.
    void BuildMenu();
    void BuildScreens();
    void ApplyScale(QSize screen);
    bool LoadSkin();
    void ApplyChromeLook();
    void PlaceControls();

    // Screens.
    void SwitchScreen(const std::string& name) override;
    void SetCurrentScreen(const std::string& name);
    void RebuildMenu();
    void CheckOrientation(QSize screen);
    void OnIdleTick();

    // Commands.
    void Exit();
    void Disconnect();
    void ShowNowPlaying();
    void ShowLibrary();
    void ToggleMultipleSpeakers();
    void FillSpeakers(QMenu& menu);
    void ChooseSpeaker(const std::string& id, bool enabled);
    void OpenSettings();
    void ApplySkin(const std::string& path);

    // Timers and posted messages.
    void OnTimer(int id);
    void OnFrameEvent(const FrameEvent& event);
    void RefreshProgress();
    void ScheduleAnimation();
    void RequestAlbumArt();
    void FetchAlbumArt(const std::string& url);
    void ShowTitle();
    void ShowMedia(const CurrentMedia& media);
    void TellWatchers(bool seeked = false);
    void SaveAll();

    // A worker's question, asked on the window's thread; `ifClosing` when
    // the window closes first.
    bool AskOnWindowThread(std::function<bool()> ask, bool ifClosing);
    void CancelWaits();
    void Shutdown();
    void PostCall(std::function<void()> work);

    // ConnectionFrame
    std::string CurrentScreen() const override;
    void Post(FlowMessage message) override;
    void SetStatus(const std::string& text) override;  // also UpdateUi's
    void SetConnectReady() override;
    void ShowMessage(const std::string& caption, const std::string& text) override;
    std::pair<std::string, bool> Title() const override;
    void SetTitle(const std::string& text, bool shown) override;
    std::string ServerListText() const override;
    void StartTimer(int id, std::chrono::milliseconds period) override;
    void KillTimer(int id) override;
    void SaveSettings() override;
    void RefreshNowPlaying() override;
    void Redraw() override;

    // PlayerListener (receiver thread): each posts what it was told.
    void OnCurrentMediaChanged(const CurrentMedia& media) override;
    void OnVolumeChanged(std::int32_t volume, std::int32_t difference) override;
    void OnShuffleChanged(bool shuffle) override;
    void OnRepeatChanged(std::int32_t repeat) override;
    void OnPlayingStateChanged(std::int32_t state) override;
    void OnPlaylistPositionChanged(std::int32_t position) override;
    void OnPlayPositionChanged(std::int32_t seconds) override;
    void OnPlaylistChanged(const PlaylistChangedEvent& event) override;
    void OnEqChanged(const EqSettings& eq) override;
    void OnAlbumArtChanged(const AlbumArtChangedEvent& event) override;
    void OnCapabilities() override;
    void OnRequestFailed(std::int32_t returnCode, const Message& request) override;
    void OnAlbumArtUrl(const std::string& url) override;
    void OnSpeakerListChanged(const std::vector<Speaker>& speakers) override;
    void OnEqPresets(const std::vector<std::string>& presets) override;

    // UpdateUi (receiver thread)
    bool AskYesNo(const std::string& caption, const std::string& text) override;
    void ShowError(const std::string& caption, const std::string& text) override;
    bool OnConnectScreen() const override;
    void ShowProgressBar(bool shown) override;
    void SetProgress(int percent) override;
    void ShowInTitle(const std::string& text) override;
    void RestoreTitle() override;
    void Quit() override;

    // SkinErrorReporter
    void ShowSkinError(std::string_view text, std::string_view caption) override;

    // ScreenInput
    void OnSkinButton(std::string_view component) override;
    void OnBarDragged(std::string_view back, std::int32_t value, std::int32_t extent,
                      bool finished) override;
    void OnNowPlayingTapped() override;

    // KeyWindow (the keys' rules; the functions they fire)
    bool SearchFieldHasFocus() const override;
    void FireFunction(int id) override;
    void OpenSelectedEntry() override;
    void GoBack() override;
    void FocusLibrary() override;
    bool MainListHasFocus() const override;
    void FocusCurrentEntry() override;
    void NoteUserInput() override;
    std::chrono::steady_clock::time_point Now() const override;
    bool TranslateKey(QObject* watched, QEvent* event);
    void SkipBy(std::int32_t seconds);
    void OnClientVersion(const GetClientVersionResponse& response) override;

    FrameOptions options_;
    std::unique_ptr<Prompter> ownPrompter_;
    Prompter* prompter_;
    std::unique_ptr<Launcher> ownLauncher_;
    Launcher* launcher_;
    std::shared_ptr<LocalAddressSource> addresses_;
    std::function<void(int)> quit_;
    std::shared_ptr<WindowMailbox> mailbox_;

    RegistryStore store_;
    Settings settings_;
    bool firstRun_ = false;
    CSkin skin_;
    std::string skinPath_;
    QFont normalFont_;  // 10 pt
    QFont largeFont_;   // 16 pt
    double displayScale_ = 1.0;
    bool landscape_ = false;
    bool created_ = false;
    bool closing_ = false;
    QSize screenSize_;

    // The connection. The flow and the update use the manager; the manager's
    // receiver thread calls into all three, so they go in the reverse order
    // (see Shutdown).
    std::unique_ptr<ConnectionManager> manager_;
    std::atomic<bool> updateAbort_{false};
    std::unique_ptr<SelfUpdate> update_;
    std::unique_ptr<ConnectionFlow> flow_;
    std::shared_ptr<std::atomic<bool>> mediaAbort_;
    std::shared_ptr<MediaService> media_;
    std::unique_ptr<PageFetcher> fetcher_;
    std::unique_ptr<AlbumArtDownloader> art_;
    std::unique_ptr<AlbumArtCache> artCache_;
    int artGeneration_ = 0;
    std::unique_ptr<PlaybackClock> clock_;

    FrameTimers timers_;
    ScreenView* view_;
    ConnectScreen connect_;
    PlayQueueList* queue_ = nullptr;
    std::unique_ptr<LibraryScreen> library_;
    std::unique_ptr<EqScreen> eq_;
    std::vector<Speaker> speakers_;
    QMenu* menu_ = nullptr;
    QToolBar* commandBar_ = nullptr;
    QToolButton* commandButton_ = nullptr;
    int buttonCommand_ = 0;
    ScreenRegistry screens_;
    FunctionTable functions_;
    KeyTranslator keys_{functions_, *this};
    std::string serverVersion_;  // the connected server's, for the About page
    std::vector<MenuItemSpec> menuItems_;

    mutable std::mutex screenMutex_;  // guards screen_ (read by other threads)
    std::string screen_;
    std::string previousScreen_;
    std::chrono::steady_clock::time_point lastActivity_;
    int busy_ = 0;  // menus and boxes open: the idle switch waits

    // The now-playing title and whether it shows: set by the flow's status
    // texts from any thread, and by the song on this one.
    mutable std::mutex titleMutex_;  // guards the three below
    std::string titleText_;
    bool titleShown_ = false;
    std::string mediaTitleLine_;  // what the song alone would show

    PlayerSnapshot snapshot_;
    std::vector<PlayerWatcher> watchers_;

    std::int32_t volume_ = -1;
    std::int32_t playlistPosition_ = -1;
    bool artStale_ = true;
    DragCoalescer volumeDrag_;
    DragCoalescer positionDrag_;

    std::function<void(const char*)> milestone_;
    bool mappedTold_ = false;
    bool titleTold_ = false;

    // Questions a worker waits on.
    struct Wait;
    std::mutex waitsMutex_;  // guards waits_ and waitsClosed_
    std::vector<std::shared_ptr<Wait>> waits_;
    bool waitsClosed_ = false;
};

}  // namespace vantor::ui
