#pragma once

// The client's one window: the shell that makes the window's rooms and
// wires them together, loads the skin, follows the window's orientation
// and scale, places the child controls, opens the settings sheet and
// closes. The rooms do the work:
//
//   HandOff          posts and questions from other threads
//   RemoteSession    the connection, the flow, the update, the media service
//   FlowFace         the window as the flow and the update see it
//   PlayerPresenter  the player as shown: listener calls, title, snapshot
//   PlayerActions    buttons, keys and desktop calls become requests
//   AlbumArtLoader   the song's picture
//   ScreenNavigator  which screen shows; the idle switch
//   CommandMenu      the menu, the command bar and the speakers
//   WindowCommands   what the commands do; the menu's run-time items
//   FrameLook        the skin, the scale and the frame's fonts and colours
//   UserSettings     the settings file, the key bindings and the sheet
//
// Threads: the window's thread only; other threads reach it through the
// HandOff.

#include <QMainWindow>
#include <QSize>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "media/LibraryBrowser.h"
#include "media/MediaService.h"
#include "net/ServerDiscovery.h"
#include "skin/SkinFallback.h"
#include "ui/keys/KeyTranslator.h"
#include "ui/player/PlayerSnapshot.h"
#include "ui/screens/Screens.h"
#include "ui/view/ScreenView.h"
#include "ui/window/FrameLook.h"

namespace vantor {
class Launcher;
struct PlayerState;
struct Settings;
}  // namespace vantor

namespace vantor::ui {

class AlbumArtLoader;
class CommandMenu;
class ConnectScreen;
class EqScreen;
class FlowFace;
class FrameEvent;
class FrameTimers;
enum class TimerId;
class FunctionTable;
class HandOff;
class LibraryScreen;
class MainScreen;
class NowPlayingScreen;
class PlayQueueList;
class PlayerActions;
class PlayerPresenter;
class Prompter;
class RemoteSession;
class ScreenNavigator;
class UserSettings;
class WindowCommands;
struct MprisHost;
struct TourHost;

inline constexpr const char* kLandscapeText =
    "Sorry, Vantor does not support landscape screen orientations - please use a portrait "
    "screen orientation.";

struct FrameOptions {
    std::string configPath;  // the settings file
    QSize screen{480, 640};  // the device's screen: the window's client area
    // `screen` is the whole window, the menu and the command bar inside it
    // (the command line's --geometry), rather than the skinned screen alone.
    bool screenIsWindow = false;
    bool fullScreen = false;  // the whole screen, no frame (`screen` is then ignored)
    // Device pixels to one of the window's; 0: the screen's.
    double pixelRatio = 0;
    // The window's pixels to a physical inch; 0: the screen's.
    double physicalDpi = 0;
    int dpi = 0;             // 0: 96 x the display scale
    std::string server;      // for this run only, saved settings untouched; empty: as saved
    std::uint16_t port = 0;  // the message port; 0: 3567
    std::uint16_t mediaPort = kMediaServicePort;
    DiscoveryOptions discovery;  // where discovery probes go
    std::string
        dataDir;  // the client's own files (album art); empty: the settings file's cache folder
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

    // A command of the menu or the command bar (none while the window is
    // being made or closing).
    void Command(WindowCommand command);

    // Told "window mapped" when the window first paints, and "title shown"
    // when the playing title first shows on the main screen (start-up
    // figures).
    void SetMilestoneHandler(std::function<void(const char*)> handler) {
        milestone_ = std::move(handler);
    }

    // What the window shows and holds, for the tour and for tests.
    std::string Screen() const;
    const ScreenView& View() const { return *view_; }
    bool Landscape() const { return landscape_; }
    bool Closing() const { return closing_; }
    double DisplayScale() const { return look_.Scale(); }
    const Settings& CurrentSettings() const;
    PlayerState Player() const;
    bool Connected() const;
    bool AttemptRunning() const;
    const PlayQueueList& Queue() const { return *queue_; }
    LibraryScreen& Library() { return *library_; }
    EqScreen& Equalizer() { return *eq_; }
    const std::vector<Speaker>& Speakers() const;
    const ConnectScreen& Connect() const { return *connect_; }
    // The keys bound to the remote's functions, as the settings sheet left them.
    const FunctionTable& Functions() const;
    const CSkin& Skin() const { return look_.Skin(); }
    // The menu's items as they stand now (run-time items included).
    std::vector<QString> MenuTexts();

    // The player as the window shows it (and those told of every change).
    const PlayerSnapshot& Snapshot() const;
    void AddPlayerWatcher(PlayerWatcher watcher);
    // What the desktop's media controls use of the window.
    MprisHost Desktop();
    TourHost ForTour();

    SendResult SendRequest(std::unique_ptr<Message>&& request) override;
    void CancelRequests(MessageType type) override;

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    // Start-up pieces (CMainFrame.cpp).
    void MakeSession();
    void MakeScreens();
    void ApplyScale(QSize screen);
    bool LoadSkin(const std::string& path);
    void PlaceControls();
    void CheckOrientation(QSize screen);
    void FollowScreen();
    double PixelRatio() const;
    void Shutdown();

    // Commands, timers and posts (CMainFrameCommands.cpp).
    void Exit();
    void OpenSettings();
    void ApplySkin(const std::string& path);
    void SaveAll();
    void OnTimer(TimerId id);
    void OnIdleTick();
    void OnFrameEvent(const FrameEvent& event);
    void Busy(int change);
    void OnScreenSwitched();

    // SkinErrorReporter
    void ShowSkinError(std::string_view text, std::string_view caption) override;

    // ScreenInput
    void OnSkinButton(std::string_view component) override;
    void OnBarDragged(std::string_view back, std::int32_t value, std::int32_t extent,
                      bool finished) override;
    void OnBarDragCancelled(std::string_view back) override;
    void OnNowPlayingTapped() override;
    bool ControlsAct() const override { return Connected(); }

    // KeyWindow (CMainFrameInput.cpp)
    ScreenKeys& CurrentKeys() override;
    void FireFunction(FunctionId id) override;
    void NoteUserInput() override;
    std::chrono::steady_clock::time_point Now() const override;
    bool TranslateKey(QObject* watched, QEvent* event);
    // Escape: where the handheld's Back goes from the screen shown.
    void GoBack();

    FrameOptions options_;
    std::unique_ptr<Prompter> ownPrompter_;
    Prompter* prompter_;
    std::unique_ptr<Launcher> ownLauncher_;
    Launcher* launcher_;
    std::shared_ptr<LocalAddressSource> addresses_;
    std::function<void(int)> quit_;

    std::unique_ptr<UserSettings> settings_;
    FrameLook look_;
    bool landscape_ = false;
    bool turned_ = false;  // the landscape was the window turned on its side
    bool created_ = false;
    QMetaObject::Connection screenScale_;  // the shown screen's scale
    bool closing_ = false;
    QSize screenSize_;
    std::string serverVersion_;  // the connected server's, for the About page

    // The rooms, in the order they are made; Shutdown ends their threads
    // in the order they must go.
    std::unique_ptr<HandOff> handOff_;
    std::unique_ptr<FrameTimers> timers_;
    ScreenView* view_;
    std::unique_ptr<ScreenNavigator> screens_;
    std::unique_ptr<CommandMenu> menu_;
    std::unique_ptr<ConnectScreen> connect_;
    std::unique_ptr<PlayerPresenter> player_;
    std::unique_ptr<FlowFace> face_;
    std::unique_ptr<RemoteSession> session_;
    std::unique_ptr<AlbumArtLoader> art_;
    PlayQueueList* queue_ = nullptr;
    std::unique_ptr<LibraryScreen> library_;
    std::unique_ptr<EqScreen> eq_;
    std::unique_ptr<MainScreen> main_;
    std::unique_ptr<NowPlayingScreen> nowPlaying_;
    std::unique_ptr<PlayerActions> actions_;
    std::unique_ptr<WindowCommands> commands_;
    std::unique_ptr<KeyTranslator> keys_;

    std::function<void(const char*)> milestone_;
    bool mappedTold_ = false;
    bool titleTold_ = false;
};

}  // namespace vantor::ui
