#include "ui/window/CMainFrame.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QMenu>
#include <QMenuBar>
#include <QStandardPaths>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <filesystem>

#include "core/Logger.h"
#include "protocol/Messages.h"
#include "session/NowPlaying.h"
#include "skin/SkinBar.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/remote/AlbumArtCache.h"
#include "ui/remote/PageFetcher.h"
#include "ui/screens/EqScreen.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/window/ChromeLook.h"

namespace vantor::ui {

namespace {

using std::chrono::milliseconds;

constexpr QColor kFrameBackground{24, 69, 154};

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

std::string CacheFolder() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (folder.isEmpty()) {
        folder = QDir::tempPath();
    }
    return (folder + QStringLiteral("/vantor/")).toStdString();
}

// A frame font: "Arial" (served by Liberation Sans) of normal weight in the
// sans-serif family, `points` high at the device's vertical resolution.
QFont FrameFont(int dpi, int points) {
    QFont font(QStringLiteral("Arial"));
    font.setStyleHint(QFont::SansSerif);
    font.setWeight(QFont::Normal);
    font.setPixelSize(std::max(dpi * points / 72, 1));
    return font;
}

}  // namespace

// A worker waiting for the user's answer.
struct CMainFrame::Wait {
    std::mutex mutex;  // guards done and answer
    std::condition_variable finished;
    bool done = false;
    bool answer = false;

    void Finish(bool value) {
        {
            std::lock_guard lock(mutex);
            if (done) {
                return;
            }
            done = true;
            answer = value;
        }
        finished.notify_all();
    }
    bool Answer() {
        std::unique_lock lock(mutex);
        finished.wait(lock, [this] { return done; });
        return answer;
    }
};

CMainFrame::CMainFrame(FrameOptions options, FrameServices services)
    : options_(std::move(options)),
      prompter_(services.prompter),
      launcher_(services.launcher),
      addresses_(std::move(services.addresses)),
      quit_(services.quit ? std::move(services.quit)
                          : [](int code) { QCoreApplication::exit(code); }),
      mailbox_(std::make_shared<WindowMailbox>(this)),
      store_(options_.configPath.empty() ? RegistryStore::DefaultPath() : options_.configPath),
      timers_(this, [this](int id) { OnTimer(id); }),
      view_(new ScreenView(skin_, *this, this)),
      connect_(view_, [this] { Command(kCommandConnect); }),
      volumeDrag_(this,
                  [this](std::int32_t percent) {
                      auto request = std::make_unique<SetVolumeRequest>();
                      request->volume = percent;
                      SendRequest(std::move(request));
                  }),
      positionDrag_(this, [this](std::int32_t seconds) {
          auto request = std::make_unique<SetPlayPositionRequest>();
          request->position = seconds;
          SendRequest(std::move(request));
      }) {
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
        options_.dataDir = CacheFolder();
    }
    if (options_.dataDir.back() != '/') {
        options_.dataDir += '/';
    }
    std::error_code ignored;
    std::filesystem::create_directories(options_.dataDir, ignored);

    setCentralWidget(view_);
    view_->SetResizeHandler([this](QSize size) { CheckOrientation(size); });
    qApp->installEventFilter(this);
    lastActivity_ = std::chrono::steady_clock::now();
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
    ApplyScale(screenSize_);
    landscape_ = screenSize_.width() > screenSize_.height();
    BuildMenu();

    // Settings. A start without a settings file is the first run; the
    // installer's part then records where the program's data is.
    firstRun_ = !std::filesystem::exists(store_.Path());
    store_.Load();
    EnsureInstalled(store_);
    LoadSettings(store_, settings_);
    functions_.Load(settings_);

    // The connection and its helpers.
    manager_ = std::make_unique<ConnectionManager>(addresses_, options_.discovery);
    const std::uint16_t mediaPort = options_.mediaPort;
    update_ = std::make_unique<SelfUpdate>(
        static_cast<UpdateUi&>(*this), *launcher_, [this] { return manager_->Host(); },
        settings_.installDir, mediaPort);
    update_->SetAbort(&updateAbort_);
    FlowOptions flow;
    flow.port = options_.port;
    flow_ = std::make_unique<ConnectionFlow>(*manager_, static_cast<ConnectionFrame&>(*this),
                                             static_cast<PlayerListener*>(this), addresses_,
                                             update_.get(), flow);
    mediaAbort_ = std::make_shared<std::atomic<bool>>(false);
    HttpOptions http;
    http.abort = mediaAbort_.get();
    media_ = std::make_shared<MediaService>(mediaPort, http);
    fetcher_ = std::make_unique<PageFetcher>(media_, mediaAbort_, mailbox_);
    art_ = std::make_unique<AlbumArtDownloader>(options_.dataDir + "albumart.jpg", mediaPort);
    artCache_ = std::make_unique<AlbumArtCache>(options_.dataDir + "art");
    clock_ = std::make_unique<PlaybackClock>(
        [mailbox = mailbox_] { mailbox->Post(FrameMessage::Progress); });

    // Every start uses the default skin; the saved choice is written back
    // on every save all the same.
    const std::string savedSkin = settings_.skinFilePath;
    skinPath_.clear();
    if (!LoadSkin()) {
        return false;
    }
    settings_.skinFilePath = savedSkin;

    // Child controls and screens.
    queue_ = new PlayQueueList(view_, *fetcher_, *this);
    queue_->SetMenuHandler([this](bool open) { busy_ += open ? 1 : -1; });
    LibraryScreen::Hooks hooks;
    hooks.searchTimer = [this](bool start) {
        if (start) {
            timers_.Start(kSearchSettledTimer, milliseconds(1500));
        } else {
            timers_.Kill(kSearchSettledTimer);
        }
    };
    hooks.menuOpen = [this](bool open) { busy_ += open ? 1 : -1; };
    library_ = std::make_unique<LibraryScreen>(view_, *fetcher_, *this, *queue_, hooks);
    eq_ = std::make_unique<EqScreen>(view_, *this,
                                     [this](const EqSettings& eq) { view_->SetEq(eq); });
    BuildScreens();
    connect_.SetServers(settings_.servers);
    if (!options_.server.empty()) {
        connect_.SetText(options_.server);
    }
    view_->SetShowRemaining(settings_.showRemainingTime);
    // The window is the screen with the menu above and the command bar below.
    view_->SetPreferredSize(screenSize_);
    view_->resize(screenSize_);
    resize(screenSize_.width(), screenSize_.height() + menuBar()->sizeHint().height() +
                                    commandBar_->sizeHint().height());
    PlaceControls();

    // Threads and timers: the position thread with its animation step,
    // the network watch, then the welcome or the automatic connection.
    clock_->Start();
    timers_.Start(kAnimationTimer, milliseconds(30));
    flow_->Start(firstRun_, settings_.autoConnect);
    if (firstRun_) {
        timers_.Start(kWelcomeTimer, milliseconds(10));
    }
    lastActivity_ = std::chrono::steady_clock::now();
    timers_.Start(kIdleTimer, milliseconds(1000));
    created_ = true;

    if (landscape_) {
        clock_->Suspend(true);
        timers_.Kill(kAnimationTimer);
        view_->SetLandscapeMessage(QString::fromLatin1(kLandscapeText));
    } else {
        SwitchScreen(std::string(kScreenConnect));
    }
    return true;
}

void CMainFrame::BuildMenu() {
    menu_ = menuBar()->addMenu(QStringLiteral("Menu"));
    menu_->setObjectName(QStringLiteral("Menu"));
    connect(menu_, &QMenu::aboutToShow, this, [this] {
        ++busy_;
        RebuildMenu();
    });
    connect(menu_, &QMenu::aboutToHide, this, [this] { --busy_; });
    RebuildMenu();

    auto* bar = new QToolBar(QStringLiteral("Command Bar"), this);
    commandBar_ = bar;
    bar->setObjectName(QStringLiteral("Command Bar"));
    bar->setMovable(false);
    bar->setFloatable(false);
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    commandButton_ = new QToolButton(bar);
    commandButton_->setObjectName(QStringLiteral("Command Button"));
    commandButton_->setToolButtonStyle(Qt::ToolButtonTextOnly);
    commandButton_->setAutoRaise(false);
    connect(commandButton_, &QToolButton::clicked, this, [this] { Command(buttonCommand_); });
    bar->addWidget(commandButton_);
    addToolBar(Qt::BottomToolBarArea, bar);
}

void CMainFrame::BuildScreens() {
    screens_.Add({std::string(kScreenConnect), QStringLiteral("Connect"), kCommandConnect,
                  [this](bool shown) { connect_.SetShown(shown, !flow_->AttemptRunning()); },
                  nullptr});
    screens_.Add({std::string(kScreenMain), QStringLiteral("Library"), kCommandLibrary,
                  [this](bool shown) {
                      if (shown) {
                          queue_->Place(skin_, screenSize_, normalFont_);
                      }
                      queue_->setVisible(shown);
                      queue_->setEnabled(shown);
                  },
                  [this] {
                      if (!queue_->IsOpen() && manager_->IsConnected()) {
                          queue_->Open(playlistPosition_);
                      }
                  }});
    screens_.Add({std::string(kScreenNowPlaying), QStringLiteral("Controls"), kCommandControls,
                  nullptr, nullptr});
    screens_.Add({std::string(kScreenPlaylist), QStringLiteral("Controls"), kCommandControls,
                  [this](bool shown) { library_->SetShown(shown); },
                  [this] { library_->Entered(); }});
    screens_.Add({std::string(kScreenEq), QStringLiteral("Controls"), kCommandControls,
                  [this](bool shown) { eq_->SetShown(shown); }, nullptr});
    queue_->setVisible(false);

    AddMenuItem(
        {.command = kCommandNowPlaying, .label = QStringLiteral("Now Playing"), .shown = [this] {
             const std::string screen = CurrentScreen();
             return screen != kScreenConnect && screen != kScreenNowPlaying;
         }});
    AddMenuItem({.command = kCommandLibrary, .label = QStringLiteral("Library"), .shown = [this] {
                     const std::string screen = CurrentScreen();
                     return screen != kScreenConnect && screen != kScreenPlaylist;
                 }});
    AddMenuItem(
        {.command = kCommandEqualizer, .label = QStringLiteral("Equalizer"), .shown = [this] {
             const std::string screen = CurrentScreen();
             return manager_->IsConnected() && manager_->Snapshot().supportsEq &&
                    screen != kScreenConnect && screen != kScreenEq;
         }});
    AddMenuItem({.command = kCommandSpeakers,
                 .label = QStringLiteral("Speakers"),
                 .shown = [this] { return manager_->IsConnected() && !speakers_.empty(); },
                 .fill = [this](QMenu& menu) { FillSpeakers(menu); }});
    AddMenuItem({.command = kCommandMultipleSpeakers,
                 .label = QStringLiteral("Use Multiple Speakers"),
                 .shown =
                     [this] {
                         return manager_->IsConnected() &&
                                manager_->Snapshot().supportsMultipleSpeakers;
                     },
                 .checked = [this] { return settings_.useMultipleSpeakers; }});
    AddMenuItem({.command = kCommandDisconnect,
                 .label = QStringLiteral("Disconnect"),
                 .shown = [this] { return manager_->IsConnected() || flow_->AttemptRunning(); }});
}

void CMainFrame::ApplyScale(QSize screen) {
    // The display scale follows the screen's width; a narrow screen keeps
    // whatever scale it had.
    if (screen.width() >= 480) {
        displayScale_ = 2.0;
    } else if (screen.width() >= 320) {
        displayScale_ = 1.3;
    }
    const int dpi =
        options_.dpi > 0 ? options_.dpi : static_cast<int>(std::lround(96 * displayScale_));
    skin_.SetScale(SkinScale{dpi, dpi});
    normalFont_ = FrameFont(dpi, 10);
    largeFont_ = FrameFont(dpi, 16);
    // Below 320 pixels the skin's smallest images are read, which only a
    // scale of 1 draws right; a handheld's screen never shrank, but a
    // desktop window could, so one drawn larger stops at 320.
    view_->setMinimumWidth(displayScale_ > 1.0 ? 320 : 1);
}

bool CMainFrame::LoadSkin() {
    const SkinRect screen{0, 0, screenSize_.width(), screenSize_.height()};
    if (!LoadSkinWithFallback(skin_, skinPath_, settings_.DefaultSkinPath(), screen, *this)) {
        return false;
    }
    const std::string folder = skinPath_.substr(0, skinPath_.rfind('/') + 1);
    const std::string defaultPath = settings_.DefaultSkinPath();
    view_->SetFrameLook(kFrameBackground, normalFont_, largeFont_,
                        {folder, defaultPath.substr(0, defaultPath.rfind('/') + 1)});
    ApplyChromeLook();
    return true;
}

// The menu bar, the command bar and the boxes take the colours of the
// skin's header and lists, so the window reads as one piece, and the
// frame's font, so they grow with the screen's scale.
void CMainFrame::ApplyChromeLook() {
    const SkinWinComponent* header = skin_.FindWinComponent("playlist.header");
    const SkinWinComponent* lists = skin_.FindWinComponent("playlist.main");
    const auto colour = [](const SkinWinComponent* window,
                           const std::optional<SkinColor> SkinWinComponent::*field, QColor other) {
        return window && window->*field ? (window->*field)->ToQColor() : other;
    };
    const QColor back = colour(header, &SkinWinComponent::backColor, kFrameBackground);
    const QColor text = colour(lists, &SkinWinComponent::foreColor, QColor(Qt::white));
    const QColor accent = colour(header, &SkinWinComponent::selectColor, QColor(Qt::white));
    const QColor base = colour(lists, &SkinWinComponent::backColor, back.darker(130));
    const QPalette chrome = ChromePalette(back, text, accent, base);
    // Menus and message boxes are windows of their own, which take
    // nothing from the window unless given it.
    setPalette(chrome);
    if (menu_ != nullptr) {
        menu_->setPalette(chrome);
    }
    if (auto* boxes = dynamic_cast<MessageBoxPrompter*>(prompter_)) {
        boxes->SetLook(chrome, normalFont_);
    }
    for (QWidget* bar :
         {static_cast<QWidget*>(menuBar()), static_cast<QWidget*>(menu_),
          static_cast<QWidget*>(commandBar_), static_cast<QWidget*>(commandButton_)}) {
        if (bar != nullptr) {
            bar->setFont(normalFont_);
        }
    }
}

void CMainFrame::PlaceControls() {
    connect_.Place(skin_, normalFont_);
    if (queue_ != nullptr) {
        queue_->Place(skin_, screenSize_, normalFont_);
        library_->Place(skin_, screenSize_, normalFont_);
        eq_->Place(skin_, screenSize_, normalFont_);
    }
    if (volume_ >= 0) {
        view_->SetVolumePercent(volume_);
    }
}

void CMainFrame::CheckOrientation(QSize screen) {
    if (!created_ || screen == screenSize_ || screen.isEmpty()) {
        return;
    }
    screenSize_ = screen;
    if (screen.width() > screen.height()) {
        if (!landscape_) {
            landscape_ = true;
            if (const ScreenSpec* current = screens_.Find(CurrentScreen());
                current && current->showControls) {
                current->showControls(false);
            }
            clock_->Suspend(true);
            timers_.Kill(kAnimationTimer);
        }
        view_->SetLandscapeMessage(QString::fromLatin1(kLandscapeText));
        return;
    }
    // Portrait: the skin is read again for the new size (its right and
    // bottom distances and its images depend on it). Coming back from
    // landscape lands on "main".
    const bool wasLandscape = landscape_;
    landscape_ = false;
    ApplyScale(screen);
    if (!LoadSkin()) {
        Exit();
        return;
    }
    PlaceControls();
    view_->SetLandscapeMessage(QString());
    if (wasLandscape) {
        SwitchScreen(std::string(kScreenMain));
        clock_->Suspend(false);
        timers_.Start(kAnimationTimer, milliseconds(30));
    } else {
        SwitchScreen(CurrentScreen());
    }
}

// --- Screens ------------------------------------------------------------------------

std::string CMainFrame::CurrentScreen() const {
    std::lock_guard lock(screenMutex_);
    return screen_;
}

void CMainFrame::SetCurrentScreen(const std::string& name) {
    std::lock_guard lock(screenMutex_);
    screen_ = name;
}

void CMainFrame::SwitchScreen(const std::string& name) {
    if (const ScreenSpec* current = screens_.Find(CurrentScreen());
        current && current->showControls) {
        current->showControls(false);
    }
    const ScreenSpec* next = screens_.Find(name);
    if (landscape_ || next == nullptr) {
        return;
    }
    SetCurrentScreen(name);
    buttonCommand_ = next->command;
    commandButton_->setText(next->commandLabel);
    if (next->showControls) {
        next->showControls(true);
    }
    view_->SetScreen(name);
    if (next->entered) {
        next->entered();
    }
    RefreshProgress();
    RebuildMenu();
}

void CMainFrame::RebuildMenu() {
    if (menu_ == nullptr) {
        return;
    }
    menu_->clear();
    for (const MenuItemSpec& item : menuItems_) {
        if (item.shown && !item.shown()) {
            continue;
        }
        if (item.fill) {
            QMenu* submenu = menu_->addMenu(item.label);
            submenu->setPalette(menu_->palette());
            submenu->setFont(menu_->font());
            submenu->setObjectName(QStringLiteral("command %1").arg(item.command));
            item.fill(*submenu);
            continue;
        }
        QAction* action = menu_->addAction(item.label);
        action->setObjectName(QStringLiteral("command %1").arg(item.command));
        if (item.checked) {
            action->setCheckable(true);
            action->setChecked(item.checked());
        }
        const int command = item.command;
        connect(action, &QAction::triggered, this, [this, command] { Command(command); });
    }
    if (!menu_->isEmpty()) {
        menu_->addSeparator();
    }
    QAction* options = menu_->addAction(QStringLiteral("Options..."));
    options->setObjectName(QStringLiteral("command %1").arg(kCommandOptions));
    connect(options, &QAction::triggered, this, [this] { Command(kCommandOptions); });
    QAction* exit = menu_->addAction(QStringLiteral("Exit"));
    exit->setObjectName(QStringLiteral("command %1").arg(kCommandExit));
    connect(exit, &QAction::triggered, this, [this] { Command(kCommandExit); });
}

std::vector<QString> CMainFrame::MenuTexts() {
    RebuildMenu();
    std::vector<QString> texts;
    for (const QAction* action : menu_->actions()) {
        if (!action->isSeparator()) {
            texts.push_back(action->text());
        }
    }
    return texts;
}

// --- Commands -------------------------------------------------------------------------

void CMainFrame::Command(int id) {
    if (!created_ || closing_) {
        return;
    }
    const std::string screen = CurrentScreen();
    switch (id) {
        case kCommandOptions:
            OpenSettings();
            break;
        case kCommandExit:
            Exit();
            break;
        case kCommandConnect:
            flow_->ConnectPressed();
            connect_.SetServers(settings_.servers);
            connect_.SetReady(!flow_->AttemptRunning());
            break;
        case kCommandDisconnect:
            Disconnect();
            break;
        case kCommandNowPlaying:
            ShowNowPlaying();
            break;
        case kCommandControls:
            if (screen != kScreenConnect && screen != kScreenMain) {
                SwitchScreen(std::string(kScreenMain));
            }
            break;
        case kCommandLibrary:
            ShowLibrary();
            break;
        case kCommandMultipleSpeakers:
            ToggleMultipleSpeakers();
            break;
        case kCommandEqualizer:
            if (screen != kScreenConnect && screen != kScreenEq && manager_->IsConnected()) {
                SwitchScreen(std::string(kScreenEq));
            }
            break;
        default:
            break;
    }
}

void CMainFrame::Exit() {
    if (closing_) {
        return;
    }
    closing_ = true;
    CancelWaits();
    flow_->Exit();
    quit_(0);
}

void CMainFrame::Disconnect() {
    flow_->Disconnect();
    SwitchScreen(std::string(kScreenConnect));
    queue_->Clear();
    library_->Reset();
    speakers_.clear();
    connect_.SetStatus("");
    connect_.SetReady(true);
    RebuildMenu();
    TellWatchers();
}

void CMainFrame::ShowNowPlaying() {
    const std::string screen = CurrentScreen();
    if (screen == kScreenConnect || screen == kScreenNowPlaying) {
        return;
    }
    previousScreen_ = screen;
    SwitchScreen(std::string(kScreenNowPlaying));
    timers_.Start(kAlbumArtTimer, milliseconds(100));
}

void CMainFrame::ShowLibrary() {
    const std::string screen = CurrentScreen();
    if (screen == kScreenConnect || screen == kScreenPlaylist || flow_->NetworkDown() ||
        flow_->AttemptRunning() || screens_.Find(kScreenPlaylist) == nullptr) {
        return;
    }
    if (!queue_->IsOpen()) {
        queue_->Open(playlistPosition_);
    }
    SwitchScreen(std::string(kScreenPlaylist));
}

void CMainFrame::ToggleMultipleSpeakers() {
    settings_.useMultipleSpeakers = !settings_.useMultipleSpeakers;
    RebuildMenu();
    SaveAll();
}

// The speakers: one chosen at a time, or (with "Use Multiple Speakers")
// each switched on and off.
void CMainFrame::FillSpeakers(QMenu& menu) {
    QActionGroup* one = nullptr;
    if (!settings_.useMultipleSpeakers) {
        one = new QActionGroup(&menu);
        one->setExclusive(true);
    }
    for (const Speaker& speaker : speakers_) {
        QAction* action = menu.addAction(Q(speaker.name.empty() ? speaker.id : speaker.name));
        action->setObjectName(Q("speaker " + speaker.id));
        action->setCheckable(true);
        action->setChecked(speaker.enabled);
        if (one != nullptr) {
            one->addAction(action);
        }
        connect(action, &QAction::triggered, this,
                [this, id = speaker.id](bool checked) { ChooseSpeaker(id, checked); });
    }
}

void CMainFrame::ChooseSpeaker(const std::string& id, bool enabled) {
    if (settings_.useMultipleSpeakers) {
        auto request = std::make_unique<EnableSpeakerRequest>();
        request->id = id;
        request->enabled = enabled;
        SendRequest(std::move(request));
    } else {
        auto request = std::make_unique<SelectSpeakerRequest>();
        request->id = id;
        SendRequest(std::move(request));
    }
}

void CMainFrame::SaveAll() {
    // The history comes from the connect screen's box; a server given for
    // this run only leaves the saved history as it is.
    const std::string shown = connect_.Text();
    if (options_.server.empty() || shown != options_.server) {
        settings_.servers = RebuildServerHistory(shown, connect_.Items());
    }
    vantor::SaveSettings(store_, settings_);
    if (store_.Save() != 0) {
        Log(kLogError, "Could not save the settings to %s", store_.Path().c_str());
    }
}

// --- Timers and posted messages -----------------------------------------------------

void CMainFrame::OnTimer(int id) {
    switch (id) {
        case kReconnectPromptTimer:
        case kAutoConnectTimerId:
            flow_->OnTimer(id);
            if (id == kAutoConnectTimerId) {
                connect_.SetReady(!flow_->AttemptRunning());
                RebuildMenu();
            }
            break;
        case kWelcomeTimer:
            timers_.Kill(kWelcomeTimer);
            ++busy_;
            prompter_->Inform(kWelcomeCaption, kWelcomeText);
            --busy_;
            OpenSettings();
            break;
        case kIdleTimer:
            OnIdleTick();
            break;
        case kSearchSettledTimer:
            timers_.Kill(kSearchSettledTimer);
            library_->SearchTimerFired();
            break;
        case kDeferredRequestTimer:
            // A request was refused: what the screen shows may be what was
            // asked for rather than what is; ask the player how it stands.
            timers_.Kill(kDeferredRequestTimer);
            SendRequest(std::make_unique<GetCurrentStateRequest>());
            break;
        case kAlbumArtTimer:
            timers_.Kill(kAlbumArtTimer);
            RequestAlbumArt();
            break;
        case kAnimationTimer:
            RefreshProgress();
            break;
        default:
            break;
    }
}

void CMainFrame::OnIdleTick() {
    const std::string screen = CurrentScreen();
    if (!settings_.nowPlayingOnIdle || busy_ > 0 || screen == kScreenNowPlaying ||
        screen == kScreenConnect || flow_->AttemptRunning() ||
        std::chrono::steady_clock::now() - lastActivity_ < options_.idleTime ||
        manager_->Snapshot().playingState == PlayingState::Stopped) {
        return;
    }
    previousScreen_ = screen;
    SwitchScreen(std::string(kScreenNowPlaying));
    RequestAlbumArt();
}

void CMainFrame::RefreshProgress() {
    if (landscape_) {
        return;
    }
    view_->SetPosition(clock_->PositionMs(), clock_->Length());
    ScheduleAnimation();
}

// The animation step moves the position bars. It is due when the next
// pixel of a bar on the screen is (at most every 30 ms), and rests while
// nothing moves: a step every 30 ms would wake the program 33 times a
// second to change a pixel twice. The seconds of the time text come from
// the position thread.
void CMainFrame::ScheduleAnimation() {
    const std::int64_t due =
        clock_->Playing() ? view_->MsUntilNextPixel(clock_->PositionMs(), clock_->Length()) : -1;
    if (due < 0) {
        timers_.Kill(kAnimationTimer);
        return;
    }
    timers_.Start(kAnimationTimer, milliseconds(std::clamp<std::int64_t>(due, 30, 1000)));
}

void CMainFrame::RequestAlbumArt() {
    const SkinWinComponent* box = skin_.FindWinComponent("albumart");
    auto request = std::make_unique<GetAlbumArtRequest>();
    if (box != nullptr) {
        const SkinRect rect = box->Place(screenSize_.width(), screenSize_.height());
        request->width = SkinClamp(rect.Width());
        request->height = SkinClamp(rect.Height());
    }
    artStale_ = false;
    SendRequest(std::move(request));
}

void CMainFrame::FetchAlbumArt(const std::string& url) {
    const int generation = ++artGeneration_;
    snapshot_.artUrl =
        url.empty() ? std::string()
                    : "http://" + manager_->Host() + ":" + std::to_string(options_.mediaPort) + url;
    snapshot_.artFile.clear();
    TellWatchers();
    const auto show = [this](const std::string& file) {
        view_->SetAlbumArt(file.empty() ? QImage() : QImage(Q(file)));
        snapshot_.artFile = file;
        TellWatchers();
    };
    // A picture shown before comes from its kept copy.
    if (const std::string kept = artCache_->Find(snapshot_.artUrl); !kept.empty()) {
        show(kept);
        return;
    }
    art_->Fetch(
        manager_->Host(), url,
        [this, mailbox = mailbox_, generation, show, artUrl = snapshot_.artUrl](
            bool ok, const std::string& file) {
            mailbox->Post(FrameMessage::WorkerCall, 0, [this, generation, ok, file, show, artUrl] {
                if (generation != artGeneration_) {
                    return;
                }
                const std::string kept = ok ? artCache_->Keep(artUrl, file) : std::string();
                show(ok ? (kept.empty() ? file : kept) : std::string());
            });
        });
}

bool CMainFrame::event(QEvent* event) {
    if (FrameEvent::Is(*event)) {
        OnFrameEvent(static_cast<const FrameEvent&>(*event));
        return true;
    }
    return QMainWindow::event(event);
}

void CMainFrame::OnFrameEvent(const FrameEvent& event) {
    if (closing_ && event.Message() != FrameMessage::Quit) {
        return;
    }
    switch (event.Message()) {
        case FrameMessage::PlaylistRow:
            // The list selects the entry now, or once its rows come.
            playlistPosition_ = event.Parameter();
            queue_->SetCurrent(playlistPosition_);
            if (queue_->RowCount() == 0) {
                RefreshProgress();
            }
            break;
        case FrameMessage::Progress:
            RefreshProgress();
            break;
        case FrameMessage::NowPlaying:
        case FrameMessage::WorkerCall:
            event.Run();
            break;
        case FrameMessage::MenuItems:
            RebuildMenu();
            break;
        case FrameMessage::SessionReady:
            // The media service is on the server the session runs with, and
            // after a reconnection its queue may be another one.
            media_->SetHost(manager_->Host());
            if (queue_->IsOpen()) {
                queue_->Open(playlistPosition_);
            }
            library_->Refresh();
            [[fallthrough]];
        case FrameMessage::Reconnect:
        case FrameMessage::NetworkLost:
        case FrameMessage::NetworkBack:
            flow_->Handle(static_cast<FlowMessage>(event.Message()));
            connect_.SetReady(!flow_->AttemptRunning());
            RebuildMenu();
            TellWatchers();
            break;
        case FrameMessage::Quit:
            Exit();
            break;
    }
}

bool CMainFrame::eventFilter(QObject* watched, QEvent* event) {
    if (milestone_ && watched == view_ && event->type() == QEvent::Paint) {
        if (!mappedTold_) {
            mappedTold_ = true;
            milestone_("window mapped");
        }
        if (!titleTold_ && CurrentScreen() == kScreenMain && !view_->Content().songTitle.empty()) {
            titleTold_ = true;
            milestone_("title shown");
        }
    }
    if (TranslateKey(watched, event)) {
        return true;
    }
    switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseMove:
        case QEvent::Wheel:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::TouchBegin:
            lastActivity_ = std::chrono::steady_clock::now();
            break;
        default:
            break;
    }
    return QMainWindow::eventFilter(watched, event);
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    // Closing the window is the Exit command.
    Exit();
    event->accept();
}

void CMainFrame::PostCall(std::function<void()> work) {
    mailbox_->Post(FrameMessage::WorkerCall, 0, std::move(work));
}

bool CMainFrame::AskOnWindowThread(std::function<bool()> ask, bool ifClosing) {
    auto wait = std::make_shared<Wait>();
    {
        std::lock_guard lock(waitsMutex_);
        if (waitsClosed_) {
            return ifClosing;
        }
        waits_.push_back(wait);
    }
    PostCall([this, wait, ask = std::move(ask)] {
        ++busy_;
        const bool answer = ask();
        --busy_;
        wait->Finish(answer);
    });
    const bool answer = wait->Answer();
    {
        std::lock_guard lock(waitsMutex_);
        std::erase(waits_, wait);
        if (waitsClosed_) {
            return ifClosing;
        }
    }
    return answer;
}

void CMainFrame::CancelWaits() {
    std::lock_guard lock(waitsMutex_);
    waitsClosed_ = true;
    for (const std::shared_ptr<Wait>& wait : waits_) {
        wait->Finish(false);
    }
}

void CMainFrame::Shutdown() {
    closing_ = true;
    mailbox_->Close();
    CancelWaits();
    updateAbort_ = true;
    timers_.Kill(kAnimationTimer);
    if (manager_) {
        // The receiver thread may be inside a listener call (the update's
        // download, say): the answers and the abort above end it, and the
        // disconnect waits for it before anything it uses goes.
        manager_->SetListener(nullptr);
        manager_->Disconnect();
    }
    flow_.reset();
    manager_.reset();
    update_.reset();
    art_.reset();
    fetcher_.reset();
    clock_.reset();
}

// --- ConnectionFrame --------------------------------------------------------------------

void CMainFrame::Post(FlowMessage message) {
    mailbox_->Post(static_cast<FrameMessage>(message));
}

void CMainFrame::SetStatus(const std::string& text) {
    PostCall([this, text] { connect_.SetStatus(text); });
}

void CMainFrame::SetConnectReady() {
    PostCall([this] {
        connect_.SetReady(true);
        RebuildMenu();
    });
}

void CMainFrame::ShowMessage(const std::string& caption, const std::string& text) {
    PostCall([this, caption, text] {
        ++busy_;
        prompter_->Inform(caption, text);
        --busy_;
    });
}

std::pair<std::string, bool> CMainFrame::Title() const {
    std::lock_guard lock(titleMutex_);
    return {titleText_, titleShown_};
}

void CMainFrame::SetTitle(const std::string& text, bool shown) {
    {
        std::lock_guard lock(titleMutex_);
        titleText_ = text;
        titleShown_ = shown;
    }
    PostCall([this] { ShowTitle(); });
}

void CMainFrame::ShowTitle() {
    std::string text;
    bool shown = false;
    bool status = false;
    {
        std::lock_guard lock(titleMutex_);
        text = titleText_;
        shown = titleShown_;
        status = titleText_ != mediaTitleLine_;
    }
    view_->SetSongTitle(text, shown, status);
}

std::string CMainFrame::ServerListText() const {
    return connect_.Text();
}

void CMainFrame::StartTimer(int id, std::chrono::milliseconds period) {
    timers_.Start(id, period);
}

void CMainFrame::KillTimer(int id) {
    timers_.Kill(id);
}

void CMainFrame::SaveSettings() {
    SaveAll();
}

void CMainFrame::RefreshNowPlaying() {
    RefreshProgress();
    if (CurrentScreen() == kScreenNowPlaying) {
        timers_.Start(kAlbumArtTimer, milliseconds(100));
    }
}

void CMainFrame::Redraw() {
    view_->update();
}

// --- The player, as the receiver thread reports it ---------------------------------------

void CMainFrame::ShowMedia(const CurrentMedia& media) {
    const std::string line =
        TitleLine(media.artist, media.title, media.length, skin_.FindFont("songtitle") != nullptr);
    {
        std::lock_guard lock(titleMutex_);
        mediaTitleLine_ = line;
        titleText_ = line;
        titleShown_ = !line.empty();
    }
    ShowTitle();
    view_->SetMediaLines(media.title, media.artist, media.album);
    clock_->SetLength(media.length);
    if (snapshot_.media.title != media.title || snapshot_.media.artist != media.artist ||
        snapshot_.media.album != media.album || snapshot_.media.length != media.length) {
        ++snapshot_.song;
        snapshot_.artUrl.clear();
        snapshot_.artFile.clear();
    }
    snapshot_.media = media;
    queue_->SetCurrentRating(media.rating);
    RefreshProgress();
    if (CurrentScreen() == kScreenNowPlaying) {
        timers_.Start(kAlbumArtTimer, milliseconds(200));
    } else {
        artStale_ = true;
    }
    TellWatchers();
}

void CMainFrame::TellWatchers(bool seeked) {
    snapshot_.connected = manager_ && manager_->IsConnected();
    snapshot_.positionMs = clock_ ? clock_->PositionMs() : -1;
    snapshot_.seeked = seeked;
    for (const PlayerWatcher& watcher : watchers_) {
        watcher(snapshot_);
    }
}

void CMainFrame::OnCurrentMediaChanged(const CurrentMedia& media) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, media] { ShowMedia(media); });
}

void CMainFrame::OnVolumeChanged(std::int32_t volume, std::int32_t /*difference*/) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, volume] {
        volume_ = volume;
        if (!volumeDrag_.Dragging()) {
            view_->SetVolumePercent(volume);
        }
        snapshot_.volume = volume;
        TellWatchers();
    });
}

void CMainFrame::OnShuffleChanged(bool shuffle) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, shuffle] {
        view_->SetShuffle(shuffle);
        snapshot_.shuffle = shuffle;
        TellWatchers();
    });
}

void CMainFrame::OnRepeatChanged(std::int32_t repeat) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, repeat] {
        view_->SetRepeat(repeat);
        snapshot_.repeat = repeat;
        TellWatchers();
    });
}

void CMainFrame::OnPlayingStateChanged(std::int32_t state) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, state] {
        view_->SetPlayingState(state);
        clock_->SetPlaying(state == PlayingState::Playing);
        RefreshProgress();
        snapshot_.playingState = state;
        TellWatchers();
    });
}

void CMainFrame::OnPlaylistPositionChanged(std::int32_t position) {
    mailbox_->Post(FrameMessage::PlaylistRow, position);
}

void CMainFrame::OnPlayPositionChanged(std::int32_t seconds) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, seconds] {
        if (positionDrag_.Dragging()) {
            return;
        }
        const std::int64_t running = clock_->PositionMs();
        clock_->Report(seconds, clock_->Playing(), clock_->Length());
        RefreshProgress();
        // A position that does not follow from the running one is a jump.
        const std::int64_t now = clock_->PositionMs();
        if (running < 0 || now < running || now - running >= 1500) {
            TellWatchers(true);
        }
    });
}

void CMainFrame::OnPlaylistChanged(const PlaylistChangedEvent& /*event*/) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this] {
        if (queue_->IsOpen()) {
            queue_->Open(playlistPosition_);
        }
    });
}

void CMainFrame::OnEqChanged(const EqSettings& eq) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, eq] {
        eq_->SetEq(eq);
        view_->SetEq(eq_->Eq());
    });
}

void CMainFrame::OnEqPresets(const std::vector<std::string>& presets) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, presets] { eq_->SetPresets(presets); });
}

void CMainFrame::OnSpeakerListChanged(const std::vector<Speaker>& speakers) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, speakers] {
        speakers_ = speakers;
        RebuildMenu();
    });
}

void CMainFrame::OnAlbumArtChanged(const AlbumArtChangedEvent& /*event*/) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this] {
        if (CurrentScreen() == kScreenNowPlaying) {
            timers_.Start(kAlbumArtTimer, milliseconds(100));
        } else {
            artStale_ = true;
        }
    });
}

void CMainFrame::OnCapabilities() {
    mailbox_->Post(FrameMessage::MenuItems);
}

void CMainFrame::OnRequestFailed(std::int32_t returnCode, const Message& request) {
    Log(kLogError, "The server refused %s (%d)",
        std::string(MessageTypeName(request.Type())).c_str(), returnCode);
    mailbox_->Post(FrameMessage::NowPlaying, 0,
                   [this] { timers_.Start(kDeferredRequestTimer, milliseconds(1000)); });
}

void CMainFrame::OnAlbumArtUrl(const std::string& url) {
    mailbox_->Post(FrameMessage::NowPlaying, 0, [this, url] { FetchAlbumArt(url); });
}

// --- UpdateUi (the receiver thread) -----------------------------------------------------

bool CMainFrame::AskYesNo(const std::string& caption, const std::string& text) {
    return AskOnWindowThread([this, caption, text] { return prompter_->AskYesNo(caption, text); },
                             false);
}

void CMainFrame::ShowError(const std::string& caption, const std::string& text) {
    AskOnWindowThread(
        [this, caption, text] {
            prompter_->Inform(caption, text, PromptIcon::Warning);
            return true;
        },
        true);
}

bool CMainFrame::OnConnectScreen() const {
    return CurrentScreen() == kScreenConnect;
}

void CMainFrame::ShowProgressBar(bool shown) {
    PostCall([this, shown] {
        connect_.SetStatusLineShown(!shown);
        view_->SetProgress(shown, view_->Content().progressPercent);
    });
}

void CMainFrame::SetProgress(int percent) {
    PostCall([this, percent] { view_->SetProgress(view_->Content().progressShown, percent); });
}

void CMainFrame::ShowInTitle(const std::string& text) {
    flow_->ShowInTitle(text);
}

void CMainFrame::RestoreTitle() {
    flow_->RestoreTitleNow();
}

void CMainFrame::Quit() {
    mailbox_->Post(FrameMessage::Quit);
}

void CMainFrame::ShowSkinError(std::string_view text, std::string_view caption) {
    prompter_->Inform(std::string(caption), std::string(text), PromptIcon::Warning);
}

// --- The stylus on the skinned screen --------------------------------------------------

void CMainFrame::OnSkinButton(std::string_view component) {
    const PlayerState player = manager_->Snapshot();
    std::unique_ptr<Message> request;
    if (eq_->Toggle(component)) {
        return;
    }
    if (component == "play") {
        request = std::make_unique<PlayRequest>();
    } else if (component == "pause") {
        request = std::make_unique<PauseRequest>();
    } else if (component == "stop") {
        request = std::make_unique<StopRequest>();
    } else if (component == "prev") {
        request = std::make_unique<PreviousItemRequest>();
    } else if (component == "next") {
        request = std::make_unique<NextItemRequest>();
    } else if (component == "repeat") {
        const std::int32_t repeat =
            view_->Content().repeat == RepeatState::Off ? RepeatState::All : RepeatState::Off;
        view_->SetRepeat(repeat);
        auto set = std::make_unique<SetRepeatStateRequest>();
        set->repeatState = repeat;
        request = std::move(set);
    } else if (component == "shuffle") {
        const bool shuffle = !view_->Content().shuffle;
        view_->SetShuffle(shuffle);
        auto set = std::make_unique<SetShuffleStateRequest>();
        set->shuffleState = shuffle;
        request = std::move(set);
    }
    if (request) {
        SendRequest(std::move(request));
    }
}

void CMainFrame::OnBarDragged(std::string_view back, std::int32_t value, std::int32_t extent,
                              bool finished) {
    if (extent <= 0) {
        return;
    }
    if (back == kVolumeBar.back) {
        const auto percent = static_cast<std::int32_t>(std::lround(100.0 * value / extent));
        if (finished) {
            volume_ = percent;
            view_->SetVolumePixels(value);
            volumeDrag_.Finish(percent);
        } else {
            volumeDrag_.Update(percent);
        }
    } else if (back.rfind("eq.", 0) == 0) {
        for (int track = 0; track < kEqTracks; ++track) {
            if (back == EqTrackName(track)) {
                eq_->TrackDragged(track, EqPixelsToGain(value, extent), finished);
            }
        }
    } else if (back == kPositionBar.back || back == kNowPlayingPositionBar.back) {
        const std::int32_t length = clock_->Length();
        if (length <= 0) {
            return;  // nothing to seek in
        }
        const auto seconds =
            static_cast<std::int32_t>(std::lround(double(value) * length / extent));
        if (finished) {
            clock_->Report(seconds, clock_->Playing(), length);
            positionDrag_.Finish(seconds);
            RefreshProgress();
        } else {
            positionDrag_.Update(seconds);
        }
    }
}

void CMainFrame::OnNowPlayingTapped() {
    if (CurrentScreen() == kScreenNowPlaying) {
        SwitchScreen(previousScreen_.empty() || previousScreen_ == kScreenNowPlaying
                         ? std::string(kScreenMain)
                         : previousScreen_);
    } else {
        ShowNowPlaying();
    }
}

// --- RequestSink -------------------------------------------------------------------------

int CMainFrame::SendRequest(std::unique_ptr<Message>&& request) {
    return manager_ ? manager_->SendRequest(std::move(request)) : 12;
}

void CMainFrame::CancelRequests(MessageType type) {
    if (manager_) {
        manager_->CancelRequests(type);
    }
}

}  // namespace vantor::ui
