#include "ui/window/CMainFrame.h"

#include <QApplication>
#include <QCloseEvent>
#include <QCryptographicHash>
#include <QDir>
#include <QMenuBar>
#include <QScreen>
#include <QStandardPaths>
#include <algorithm>
#include <cmath>
#include <filesystem>

#include "core/Logger.h"
#include "net/RequestTable.h"
#include "protocol/Messages.h"
#include "session/ConnectionFlow.h"
#include "session/SelfUpdate.h"
#include "session/Settings.h"
#include "ui/access/ScreenAccess.h"
#include "ui/desktop/MprisService.h"
#include "ui/keys/FunctionTable.h"
#include "ui/lists/LibraryList.h"
#include "ui/lists/PagedRowsModel.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/player/PlaybackClock.h"
#include "ui/player/PlayerActions.h"
#include "ui/player/PlayerPresenter.h"
#include "ui/remote/AlbumArtLoader.h"
#include "ui/remote/FlowFace.h"
#include "ui/remote/RemoteSession.h"
#include "ui/screens/ConnectScreen.h"
#include "ui/screens/EqScreen.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/screens/MainScreen.h"
#include "ui/screens/ScreenNavigator.h"
#include "ui/settings/UserSettings.h"
#include "ui/window/CommandMenu.h"
#include "ui/window/FrameTimers.h"
#include "ui/window/HandOff.h"
#include "ui/window/Prompter.h"
#include "ui/window/Tour.h"
#include "ui/window/WindowCommands.h"

namespace vantor::ui {

namespace {

using std::chrono::milliseconds;

constexpr double kLeastRowMillimetres = 7.0;

// Each settings file has a folder of its own: two windows started with
// different --config files would otherwise download into, and clear at
// start, the same pictures.
std::string CacheFolder(const std::string& configPath) {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (folder.isEmpty()) {
        folder = QDir::tempPath();
    }
    const std::filesystem::path settings = std::filesystem::absolute(configPath).lexically_normal();
    const QByteArray digest = QCryptographicHash::hash(QByteArray::fromStdString(settings.string()),
                                                       QCryptographicHash::Sha1);
    return (folder + QStringLiteral("/vantor/") + QString::fromStdString(settings.stem().string()) +
            QLatin1Char('-') + QString::fromLatin1(digest.toHex().left(12)) + QLatin1Char('/'))
        .toStdString();
}

}  // namespace

CMainFrame::CMainFrame(FrameOptions options, FrameServices services)
    : options_(std::move(options)),
      prompter_(services.prompter),
      launcher_(services.launcher),
      addresses_(std::move(services.addresses)),
      quit_(services.quit ? std::move(services.quit)
                          : [](int code) { QCoreApplication::exit(code); }),
      settings_(std::make_unique<UserSettings>(options_.configPath)),
      look_(options_.dpi),
      handOff_(std::make_unique<HandOff>(this, [this](int change) { Busy(change); })),
      timers_(std::make_unique<FrameTimers>(this, [this](TimerId id) { OnTimer(id); })),
      view_(new ScreenView(
          look_.ViewSkin(), *this,
          [this] {
              // Until the first switch the view shows the connect screen.
              const ScreenId id = screens_ ? screens_->Current() : ScreenId::None;
              return SkinKey(id == ScreenId::None ? ScreenId::Connect : id);
          },
          this)) {
    setObjectName(QStringLiteral("Vantor"));
    setWindowTitle(QStringLiteral("Vantor"));
    if (prompter_ == nullptr) {
        ownPrompter_ = std::make_unique<MessageBoxPrompter>(this);
        prompter_ = ownPrompter_.get();
    }
    if (launcher_ == nullptr) {
        ownLauncher_ = std::make_unique<XdgLauncher>();
        launcher_ = ownLauncher_.get();
    }
    if (!addresses_) {
        addresses_ = std::make_shared<InterfaceAddressSource>();
    }
    if (options_.dataDir.empty()) {
        options_.dataDir = CacheFolder(settings_->Path());
    }
    if (options_.dataDir.back() != '/') {
        options_.dataDir += '/';
    }
    std::error_code ignored;
    std::filesystem::create_directories(options_.dataDir, ignored);

    screens_ = std::make_unique<ScreenNavigator>(
        *view_, ScreenNavigator::Hooks{.hidden = [this] { return landscape_; },
                                       .switched =
                                           [this](const ui::Screen& screen) {
                                               menu_->SetButton(screen.CommandLabel(),
                                                                screen.Command());
                                               OnScreenSwitched();
                                           }});
    connect_ = std::make_unique<ConnectScreen>(
        view_, [this] { Command(WindowCommand::Connect); }, [this] { return !AttemptRunning(); });
    keys_ = std::make_unique<KeyTranslator>(settings_->Functions(), static_cast<KeyWindow&>(*this));
    setCentralWidget(view_);
    InstallAccessibleFactory();
    view_->SetBackHandler([this] { GoBack(); });
    view_->SetResizeHandler([this](QSize size) { CheckOrientation(size); });
    qApp->installEventFilter(this);
}

CMainFrame::~CMainFrame() {
    qApp->removeEventFilter(this);
    Shutdown();
}

// --- Start-up ---------------------------------------------------------------------

bool CMainFrame::Create() {
    // The window's client area is the device's screen.
    view_->setMinimumSize(1, 1);
    screenSize_ = options_.screen;
    if (options_.fullScreen && QGuiApplication::primaryScreen() != nullptr) {
        screenSize_ = QGuiApplication::primaryScreen()->size();
    }
    ApplyScale(screenSize_);
    landscape_ = screenSize_.width() > screenSize_.height();
    menu_ = std::make_unique<CommandMenu>(
        *this, *this,
        CommandMenu::Hooks{
            .command = [this](WindowCommand command) { Command(command); },
            .busy = [this](int change) { Busy(change); },
            .multipleSpeakers = [this] { return settings_->Get().useMultipleSpeakers; }});

    // Settings. A start without a settings file is the first run; the
    // installer's part then records where the program's data is.
    const bool firstRun = settings_->Load(*prompter_);
    Settings& settings = settings_->Get();

    MakeSession();

    // Every start uses the default skin; the saved choice is written back
    // on every save all the same.
    if (!LoadSkin({})) {
        return false;
    }

    if (options_.screenIsWindow || options_.fullScreen) {
        // The menu and the command bar take their height from the window,
        // in the fonts of the scale just set; the screen has the rest.
        const int chrome = menuBar()->sizeHint().height() + menu_->BarHeight();
        screenSize_.setHeight(std::max(screenSize_.height() - chrome, 1));
        landscape_ = screenSize_.width() > screenSize_.height();
        if (!look_.Fit(screenSize_) && !LoadSkin(look_.Path())) {
            return false;
        }
    }

    MakeScreens();
    commands_->AddMenuItems();
    connect_->SetServers(settings.servers);
    if (!options_.server.empty()) {
        connect_->SetText(options_.server);
    }
    view_->SetShowRemaining(settings.showRemainingTime);
    // The window is the screen with the menu above and the command bar below.
    view_->SetPreferredSize(screenSize_);
    view_->resize(screenSize_);
    resize(screenSize_.width(),
           screenSize_.height() + menuBar()->sizeHint().height() + menu_->BarHeight());
    PlaceControls();

    // Threads and timers: the position thread with its animation step,
    // the network watch, then the welcome or the automatic connection.
    player_->Clock().Start();
    timers_->Start(TimerId::Animation, milliseconds(30));
    session_->Flow().Start(firstRun, settings.autoConnect);
    if (firstRun) {
        timers_->Start(TimerId::Welcome, milliseconds(10));
    }
    screens_->NoteInput();
    timers_->Start(TimerId::Idle, milliseconds(1000));
    created_ = true;
    FollowScreen();

    if (landscape_) {
        player_->Suspend(true);
        view_->SetLandscapeMessage(QString::fromLatin1(kLandscapeText));
    } else {
        screens_->Switch(ScreenId::Connect);
    }
    return true;
}

// The session and the rooms that follow it: the player as shown (the
// session's listener), the flow's view of the window, the album art and
// the player's actions.
void CMainFrame::MakeSession() {
    PlayerPresenter::Hooks hooks;
    hooks.connected = [this] { return Connected(); };
    hooks.hidden = [this] { return landscape_; };
    hooks.showsSongTitleFont = [this] { return look_.Skin().FindFont("songtitle") != nullptr; };
    hooks.draggingVolume = [this] { return actions_->DraggingVolume(); };
    hooks.draggingPosition = [this] { return actions_->DraggingPosition(); };
    hooks.songShown = [this](const CurrentMedia& media) {
        queue_->SetCurrentRating(media.rating);
        if (screens_->Current() == ScreenId::NowPlaying) {
            timers_->Start(TimerId::AlbumArt, milliseconds(200));
        }
    };
    // A changed queue or library is read again where the user is.
    hooks.queueChanged = [this] {
        if (queue_->IsOpen()) {
            queue_->Changed();
        }
    };
    hooks.libraryChanged = [this] { library_->LibraryChanged(); };
    hooks.eq = [this](const EqSettings& eq) {
        eq_->SetEq(eq);
        view_->SetEq(eq_->Eq());
    };
    hooks.eqPresets = [this](const std::vector<std::string>& presets) { eq_->SetPresets(presets); };
    hooks.speakers = [this](const std::vector<Speaker>& speakers) {
        menu_->SetSpeakers(speakers);
        menu_->Rebuild();
    };
    hooks.artChanged = [this] {
        if (screens_->Current() == ScreenId::NowPlaying) {
            timers_->Start(TimerId::AlbumArt, milliseconds(100));
        }
    };
    hooks.artUrl = [this](const std::string& url) { art_->Fetch(url); };
    hooks.refused = [this] { timers_->Start(TimerId::DeferredRequest, milliseconds(1000)); };
    hooks.clientVersion = [this](const std::string& version) { serverVersion_ = version; };
    player_ = std::make_unique<PlayerPresenter>(*handOff_, *view_, *timers_, std::move(hooks));

    face_ = std::make_unique<FlowFace>(FlowFaceParts{
        .handOff = *handOff_,
        .screens = *screens_,
        .connect = *connect_,
        .player = *player_,
        .timers = *timers_,
        .prompter = *prompter_,
        .view = *view_,
        .menu = *menu_,
        .save = [this] { SaveAll(); },
        .busy = [this](int change) { Busy(change); },
    });
    SessionOptions session;
    session.port = options_.port;
    session.mediaPort = options_.mediaPort;
    session.discovery = options_.discovery;
    session.installDir = settings_->Get().installDir;
    session_ = std::make_unique<RemoteSession>(
        session, addresses_,
        SessionWindow{*face_, *player_, *face_, *launcher_, handOff_->Mailbox()});
    face_->SetFlow(&session_->Flow());
    art_ = std::make_unique<AlbumArtLoader>(
        options_.dataDir, options_.mediaPort, *handOff_, *session_,
        [this] { return session_->Host(); },
        AlbumArtLoader::Shown{
            .url = [this](const std::string& url) { player_->SetArtUrl(url); },
            .file = [this](const std::string& file) { player_->SetArtFile(file); }});
}

// The screens' controls, and the screens in the navigator.
void CMainFrame::MakeScreens() {
    queue_ = new PlayQueueList(view_, session_->Fetcher(), *session_);
    queue_->SetMenuHandler([this](bool open) { Busy(open ? 1 : -1); });
    LibraryScreen::Hooks hooks;
    hooks.searchTimer = [this](bool start) {
        if (start) {
            timers_->Start(TimerId::SearchSettled, milliseconds(1500));
        } else {
            timers_->Kill(TimerId::SearchSettled);
        }
    };
    hooks.menuOpen = [this](bool open) { Busy(open ? 1 : -1); };
    library_ =
        std::make_unique<LibraryScreen>(view_, session_->Fetcher(), *session_, *queue_, hooks);
    eq_ = std::make_unique<EqScreen>(view_, *session_,
                                     [this](const EqSettings& eq) { view_->SetEq(eq); });
    actions_ = std::make_unique<PlayerActions>(this, *session_, *view_, *player_, *eq_,
                                               [this] { return Player(); });

    main_ = std::make_unique<MainScreen>(
        *queue_,
        MainScreen::Hooks{.connected = [this] { return Connected(); },
                          .playlistPosition = [this] { return player_->PlaylistPosition(); }});
    nowPlaying_ = std::make_unique<NowPlayingScreen>();
    for (ui::Screen* screen : std::initializer_list<ui::Screen*>{
             connect_.get(), main_.get(), nowPlaying_.get(), library_.get(), eq_.get()}) {
        screens_->Add(*screen);
    }
    commands_ = std::make_unique<WindowCommands>(WindowCommands::Parts{
        .screens = *screens_,
        .session = *session_,
        .connect = *connect_,
        .queue = *queue_,
        .library = *library_,
        .menu = *menu_,
        .player = *player_,
        .timers = *timers_,
        .settings = settings_->Get(),
        .options = [this] { OpenSettings(); },
        .exit = [this] { Exit(); },
        .save = [this] { SaveAll(); },
    });
}

void CMainFrame::ApplyScale(QSize screen) {
    look_.ApplyScale(screen, PixelRatio());
    view_->SetPixelRatio(look_.Ratio());
}

double CMainFrame::PixelRatio() const {
    return options_.pixelRatio > 0 ? options_.pixelRatio : devicePixelRatioF();
}

// The skin at `path` (empty: the default), and the window's own controls
// in its colours and the frame's font, so they grow with the screen's
// scale. Message boxes are windows of their own, which take nothing from
// the window unless given it.
bool CMainFrame::LoadSkin(const std::string& path) {
    const std::string defaultPath = settings_->Get().DefaultSkinPath();
    if (!look_.Load(path, defaultPath, screenSize_, *this)) {
        return false;
    }
    view_->SetFrameLook(FrameLook::kBackground, look_.ViewNormal(), look_.ViewLarge(),
                        look_.IconFolders(defaultPath));
    const QPalette chrome = look_.Chrome();
    setPalette(chrome);
    menu_->SetLook(chrome, look_.Normal());
    // Popup menus (a row's, its rating submenu, the Buttons page's) are
    // windows of their own, made where they open: they take the look by
    // their class.
    QApplication::setPalette(chrome, "QMenu");
    QApplication::setFont(look_.Normal(), "QMenu");
    prompter_->SetLook(chrome, look_.Normal());
    return true;
}

void CMainFrame::PlaceControls() {
    // Rows a finger can take: at least 7 mm at the screen's physical size.
    const double dpi = options_.physicalDpi > 0 ? options_.physicalDpi
                       : screen() != nullptr    ? screen()->physicalDotsPerInch()
                                                : 96.0;
    const int row = static_cast<int>(std::ceil(kLeastRowMillimetres * dpi / 25.4));
    for (QWidget* list :
         {static_cast<QWidget*>(queue_), static_cast<QWidget*>(&library_->List())}) {
        list->setProperty(kMinimumRowHeight, row);
    }
    for (ui::Screen* screen : screens_->All()) {
        screen->Place(look_.Skin(), screenSize_, look_.Normal());
    }
    if (player_->Volume() >= 0) {
        view_->SetVolumePercent(player_->Volume());
    }
}

void CMainFrame::CheckOrientation(QSize screen) {
    if (!created_ || screen.isEmpty() || (screen == screenSize_ && PixelRatio() == look_.Ratio())) {
        return;
    }
    screenSize_ = screen;
    if (screen.width() > screen.height()) {
        // A portrait window whose screen came out wider than tall may only
        // have shrunk from a larger step (a panel's size): its menu and
        // command bar still take that step's font. At the width's own scale
        // they give the screen its height back, and the resize that follows
        // decides again.
        if (height() > width() && look_.Scale() != FrameLook::ScaleFor(screen.width())) {
            ApplyScale(screen);
            if (!look_.Fit(screen) && !LoadSkin(look_.Path())) {
                Exit();
                return;
            }
        }
        if (!landscape_) {
            landscape_ = true;
            // Only a window turned on its side lands on "main" when turned
            // back; a portrait one too short for its screen keeps it.
            turned_ = width() > height();
            screens_->HideControls();
            player_->Suspend(true);
        }
        view_->SetLandscapeMessage(QString::fromLatin1(kLandscapeText));
        return;
    }
    // Portrait: the skin's right and bottom distances count from the new
    // size, so its components are placed again. Within one width step the
    // scale and the images stay, and so does everything read and decoded;
    // a step to another scale reads the skin again. Turned back from
    // landscape, the window lands on "main".
    const bool wasLandscape = landscape_;
    landscape_ = false;
    ApplyScale(screen);
    if (!look_.Fit(screen) && !LoadSkin(look_.Path())) {
        Exit();
        return;
    }
    PlaceControls();
    view_->SetLandscapeMessage(QString());
    if (wasLandscape) {
        screens_->Switch(turned_ ? ScreenId::Main : screens_->Current());
        player_->Suspend(false);
    } else {
        screens_->Switch(screens_->Current());
    }
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    // Closing the window is the Exit command.
    Exit();
    event->accept();
}

void CMainFrame::Shutdown() {
    closing_ = true;
    handOff_->Close();
    if (session_) {
        session_->Shutdown();
    }
    if (art_) {
        art_->Stop();
    }
    if (player_) {
        player_->Stop();
    }
    timers_->Kill(TimerId::Animation);
}

// --- What the window shows, for the tour, the desktop and tests ----------------------------

std::string CMainFrame::Screen() const {
    return std::string(SkinKey(screens_->Current()));
}

PlayerState CMainFrame::Player() const {
    return session_ ? session_->Player() : PlayerState{};
}

bool CMainFrame::Connected() const {
    return session_ && session_->Connected();
}

bool CMainFrame::AttemptRunning() const {
    return session_ && session_->AttemptRunning();
}

const Settings& CMainFrame::CurrentSettings() const {
    return settings_->Get();
}

const FunctionTable& CMainFrame::Functions() const {
    return settings_->Functions();
}

const std::vector<Speaker>& CMainFrame::Speakers() const {
    return menu_->Speakers();
}

std::vector<QString> CMainFrame::MenuTexts() {
    return menu_->Texts();
}

const PlayerSnapshot& CMainFrame::Snapshot() const {
    return player_->Snapshot();
}

void CMainFrame::AddPlayerWatcher(PlayerWatcher watcher) {
    player_->AddWatcher(std::move(watcher));
}

MprisHost CMainFrame::Desktop() {
    return MprisHost{*player_, *actions_, *this, [this] { Command(WindowCommand::Exit); }};
}

TourHost CMainFrame::ForTour() {
    return TourHost{.window = *this,
                    .screen = [this] { return Screen(); },
                    .command = [this](WindowCommand command) { Command(command); },
                    .player = [this] { return Player(); },
                    .view = *view_,
                    .queue = *queue_,
                    .library = library_->List(),
                    .equalizer = *eq_};
}

SendResult CMainFrame::SendRequest(std::unique_ptr<Message>&& request) {
    return session_ ? session_->SendRequest(std::move(request)) : SendResult::NotConnected;
}

void CMainFrame::CancelRequests(MessageType type) {
    if (session_) {
        session_->CancelRequests(type);
    }
}

void CMainFrame::ShowSkinError(std::string_view text, std::string_view caption) {
    prompter_->Inform(std::string(caption), std::string(text), PromptIcon::Warning);
}

}  // namespace vantor::ui
