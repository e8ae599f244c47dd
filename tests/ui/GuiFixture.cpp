#include "ui/GuiFixture.h"

#include <stdlib.h>

#include <QCoreApplication>
#include <QTest>
#include <QTimer>

#include "session/NowPlaying.h"

namespace vantor::testing {

int PixelsNear(const QImage& image, const QRect& region, QColor colour) {
    int count = 0;
    for (int y = region.top(); y <= region.bottom(); ++y) {
        for (int x = region.left(); x <= region.right(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            count += std::abs(pixel.red() - colour.red()) +
                         std::abs(pixel.green() - colour.green()) +
                         std::abs(pixel.blue() - colour.blue()) <
                     12;
        }
    }
    return count;
}

QPoint RowCenter(QAbstractItemView* list, int row) {
    QApplication::processEvents();  // a page is laid out once shown
    const QModelIndex index = list->model()->index(row, 0);
    list->scrollTo(index);
    return list->visualRect(index).center();
}

void TapRow(QAbstractItemView* list, int row) {
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, RowCenter(list, row));
}

void DoubleTapRow(QAbstractItemView* list, int row) {
    const QPoint at = RowCenter(list, row);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseRelease(list->viewport(), Qt::LeftButton, {}, at);
}

namespace {

QPointingDevice* TouchScreen() {
    static QPointingDevice* const screen = QTest::createTouchDevice();
    return screen;
}

}  // namespace

void FingerDown(QWidget* widget, QPoint at, int id) {
    QTest::touchEvent(widget, TouchScreen()).press(id, at, widget);
}

void FingerMove(QWidget* widget, QPoint at, int id) {
    QTest::touchEvent(widget, TouchScreen()).move(id, at, widget);
}

void FingerUp(QWidget* widget, QPoint at, int id) {
    QTest::touchEvent(widget, TouchScreen()).release(id, at, widget);
}

void TwoFingers(QWidget* widget, QPoint first, QPoint second,
                const std::function<void()>& between) {
    // One sequence, so the finger that stays is reported with the other.
    auto fingers = QTest::touchEvent(widget, TouchScreen(), false);
    fingers.press(0, first, widget);
    fingers.commit();
    fingers.stationary(0);
    fingers.press(1, second, widget);
    fingers.commit();
    if (between) {
        between();
    }
    fingers.release(0, first, widget);
    fingers.stationary(1);
    fingers.commit();
    fingers.release(1, second, widget);
    fingers.commit();
}

void Swipe(QWidget* widget, QPoint from, QPoint to) {
    constexpr int kSteps = 12;
    FingerDown(widget, from);
    for (int step = 1; step <= kSteps; ++step) {
        QTest::qWait(8);  // a finger's speed, for the flick to go on from
        FingerMove(widget, from + (to - from) * step / kSteps);
    }
    FingerUp(widget, to);
}

void CancelTouches(QWidget* widget) {
    QTouchEvent cancel(QEvent::TouchCancel, TouchScreen());
    QApplication::sendEvent(widget->window()->windowHandle(), &cancel);
}

void PressKey(QWidget* window, int key, Qt::KeyboardModifiers modifiers) {
    QWidget* target = window->focusWidget() != nullptr ? window->focusWidget() : window;
    for (QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent event(type, key, modifiers);
        QApplication::sendEvent(target, &event);
    }
}

GuiTest::GuiTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vantor-gui-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
    // The install folder holds the shipped skins; downloads land beside them.
    installDir_ = dir_ / "install";
    std::filesystem::create_directories(installDir_);
    std::filesystem::create_directory_symlink(VANTOR_SKINS_DIR, installDir_ / "skins");
    settingsFile_ = (dir_ / "settings.reg").string();
    serverOptions_ = LoopbackServerOptions();
    serverOptions_.startPlaying = true;
}

GuiTest::~GuiTest() {
    StopWindow();
    server_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

void GuiTest::WriteSettings(const std::function<void(RegistryStore&)>& more) {
    RegistryStore store(settingsFile_);
    store.Load();
    store.CreateKey(kSettingsKey);
    store.SetString(kSettingsKey, "InstallDir", installDir_.string() + "/");
    store.SetDword(kSettingsKey, "AutoConnect", 1);
    if (more) {
        more(store);
    }
    ASSERT_EQ(store.Save(), 0);
}

void GuiTest::StartWindow(const std::function<void(ui::FrameOptions&)>& tweak) {
    if (!server_) {
        server_ = std::make_unique<TestServer>(serverOptions_);
    }
    ui::FrameOptions options;
    options.configPath = settingsFile_;
    options.server = "127.0.0.1";
    options.port = server_->Port();
    options.mediaPort = (*server_)->MediaPort();
    options.discovery.broadcastAddress = "127.0.0.1";
    options.discovery.discoveryPort = (*server_)->DiscoveryPort();
    options.discovery.messagePort = server_->Port();
    options.discovery.peerHost = "127.0.0.1";
    options.dataDir = (dir_ / "data").string();
    if (tweak) {
        tweak(options);
    }
    ui::FrameServices services;
    services.prompter = &prompter_;
    services.launcher = &launcher_;
    services.addresses = addresses_;
    // The suite's event loops must go on after a window has quit.
    services.quit = [](int) {};
    frame_ = std::make_unique<ui::CMainFrame>(options, services);
    ASSERT_TRUE(frame_->Create());
    frame_->show();
    // The window a user works in is the active one (popups, such as the
    // rows' menus, stay open only in an active application).
    frame_->activateWindow();
    Pump([&] { return frame_->isActiveWindow(); }, 1s);
}

void GuiTest::StopWindow() {
    if (frame_) {
        frame_->Command(ui::WindowCommand::Exit);
        frame_.reset();
    }
}

bool GuiTest::Pump(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

void GuiTest::PumpFor(std::chrono::milliseconds time) {
    Pump([] { return false; }, time);
}

bool GuiTest::OnMainWithSong() {
    return Pump([this] {
        return frame_->Screen() == "main" && !frame_->View().Content().songTitle.empty();
    });
}

QWidget* GuiTest::Screen() const {
    return frame_->findChild<QWidget*>(QStringLiteral("Skinned Screen"));
}

QPoint GuiTest::Center(std::string_view component) const {
    const QRect rect = frame_->View().ComponentRect(component);
    EXPECT_FALSE(rect.isEmpty()) << component << " is not on " << frame_->Screen();
    return rect.center();
}

void GuiTest::Mouse(QEvent::Type type, QPoint at, Qt::MouseButtons buttons) {
    QWidget* screen = Screen();
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, QPointF(at), screen->mapToGlobal(QPointF(at)), button, buttons,
                      Qt::NoModifier);
    QApplication::sendEvent(screen, &event);
}

void GuiTest::Click(QPoint at) {
    Mouse(QEvent::MouseButtonPress, at, Qt::LeftButton);
    Mouse(QEvent::MouseButtonRelease, at, Qt::NoButton);
}

void GuiTest::Key(QEvent::Type type, int key, bool autoRepeat) {
    QWidget* target = frame_->focusWidget() != nullptr ? frame_->focusWidget() : frame_.get();
    QKeyEvent event(type, key, Qt::NoModifier, QString(), autoRepeat);
    QApplication::sendEvent(target, &event);
}

void GuiTest::WithSettings(const std::function<void(ui::SettingsSheet&)>& act,
                           const std::function<void()>& open) {
    // The sheet runs its own event loop inside the command; a timer of the
    // test's finds it there.
    QTimer watch;
    bool acted = false;
    QObject::connect(&watch, &QTimer::timeout, &watch, [&] {
        auto* sheet = dynamic_cast<ui::SettingsSheet*>(QApplication::activeModalWidget());
        if (sheet != nullptr && sheet->isVisible()) {
            watch.stop();
            acted = true;
            act(*sheet);
        }
    });
    watch.start(10);
    // A sheet left open by a failed step still closes in time.
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, &guard, [] {
        if (QWidget* sheet = QApplication::activeModalWidget()) {
            ADD_FAILURE() << "the settings sheet was left open";
            sheet->close();
        }
    });
    guard.start(10s);
    if (open) {
        open();
    } else {
        frame_->Command(ui::WindowCommand::Options);
    }
    EXPECT_TRUE(acted) << "the settings sheet did not open";
}

int GuiTest::Received(const std::string& name) const {
    int count = 0;
    for (const std::string& request : (*server_)->ReceivedRequests()) {
        count += request == name;
    }
    return count;
}

void GuiTest::OnServer(const std::function<void(server::PlayerModel&)>& read) {
    // Shared with the loop's task, which may outlive a wait that timed out.
    struct Done {
        std::mutex mutex;
        std::condition_variable finished;
        bool done = false;
    };
    auto done = std::make_shared<Done>();
    (*server_)->Post([done, read](server::PlayerModel& player, server::Events&) {
        read(player);
        std::lock_guard lock(done->mutex);
        done->done = true;
        done->finished.notify_all();
    });
    std::unique_lock lock(done->mutex);
    ASSERT_TRUE(done->finished.wait_for(lock, 5s, [&] { return done->done; }));
}

std::string GuiTest::ServerTitleLine() {
    std::string line;
    OnServer([&](server::PlayerModel& player) {
        if (const server::Track* track = player.Current()) {
            line = TitleLine(track->artist, track->title, track->length, true);
        }
    });
    return line;
}

std::int32_t GuiTest::ServerVolume() {
    std::int32_t volume = -1;
    OnServer([&](server::PlayerModel& player) { volume = player.Volume(); });
    return volume;
}

std::int32_t GuiTest::ServerPosition() {
    std::int32_t position = -1;
    OnServer([&](server::PlayerModel& player) { position = player.PlaybackPosition(); });
    return position;
}

server::Track GuiTest::ServerTrack() {
    server::Track track;
    OnServer([&](server::PlayerModel& player) { track = *player.Current(); });
    return track;
}

server::Track GuiTest::PlayAnotherAlbum() {
    server::Track next;
    OnServer([&](server::PlayerModel& player) {
        const std::string album = player.Current()->album;
        for (std::size_t i = 0; i < player.Queue().size(); ++i) {
            const server::Track* track = (*server_)->Library().Find(player.Queue()[i]);
            if (track->album != album) {
                next = *track;
                (*server_)->Post([i](server::PlayerModel& model, server::Events& events) {
                    model.SetQueuePosition(static_cast<std::int32_t>(i), events);
                });
                return;
            }
        }
    });
    return next;
}

void GuiTest::CopySkins() {
    std::filesystem::remove_all(installDir_ / "skins");
    std::filesystem::copy(VANTOR_SKINS_DIR, installDir_ / "skins",
                          std::filesystem::copy_options::recursive);
}

}  // namespace vantor::testing
