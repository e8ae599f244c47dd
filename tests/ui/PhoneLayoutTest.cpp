// The window at the sizes a phone or a small handheld gives it, with the
// menu and the command bar inside it (the command line's --geometry): what
// each screen leaves a user to read and press, and the speakers' menu under
// a finger while the list of rooms changes.

#include <QtGui/private/qhighdpiscaling_p.h>

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QTest>
#include <QWheelEvent>
#include <mutex>

#include "SpeakerService.h"
#include "protocol/Messages.h"
#include "skin/SkinScreen.h"
#include "ui/GuiFixture.h"

namespace vantor::testing {
namespace {

// The connect screen's list of servers shows at least two whole rows in a
// window of the handheld's own size, the menu and the command bar in it
// (the band below the skin's panel is given up for it), and its first row
// at 480x640: the one choice a new user has ("(Find Automatically)") and
// the last server can be read and tapped.
TEST_F(GuiTest, TheServerListShowsWholeRowsInSmallWindows) {
    WriteSettings([](RegistryStore& store) { store.SetDword(kSettingsKey, "AutoConnect", 0); });
    for (const auto& [window, rows] : {std::pair{QSize(240, 320), 2}, std::pair{QSize(320, 400), 2},
                                       std::pair{QSize(480, 640), 1}}) {
        StopWindow();
        StartWindow([&](ui::FrameOptions& options) {
            options.screen = window;
            options.screenIsWindow = true;
            options.pixelRatio = 1;
            options.server.clear();
        });
        ASSERT_TRUE(Pump([&] { return frame_->Screen() == "connect"; }));
        PumpFor(100ms);
        auto* list = frame_->findChild<QListWidget*>(QStringLiteral("Server List"));
        ASSERT_NE(list, nullptr);
        ASSERT_GT(list->count(), 0);
        const QRect row = list->visualItemRect(list->item(0));
        const std::string at =
            std::to_string(window.width()) + "x" + std::to_string(window.height());
        EXPECT_GE(list->viewport()->height(), rows * row.height())
            << at << ": the list is " << list->viewport()->height() << " high, a row "
            << row.height();
        EXPECT_TRUE(list->viewport()->rect().contains(row))
            << at << ": " << list->item(0)->text().toStdString() << " is cut off";
        // Nothing of the list lies under the status line or the bar.
        const QRect status = frame_->findChild<QLabel*>(QStringLiteral("Status Line"))->geometry();
        EXPECT_LT(list->geometry().bottom(), status.top()) << at;
        EXPECT_LE(status.bottom(), list->parentWidget()->height()) << at;
    }
}

// On the tall phones (1080x2400, 1440x3200) the now-playing screen leaves
// no empty band between the art and the song: the art's square, as large
// as its box holds, lies no further than the skin's own margin (6 units)
// above the margin strip over the title.
TEST_F(GuiTest, TheNowPlayingScreenOfATallPhoneLeavesNoBandUnderTheArt) {
    WriteSettings();
    for (const QSize window : {QSize(360, 720), QSize(1080, 2400), QSize(1440, 3200)}) {
        StopWindow();
        StartWindow([&](ui::FrameOptions& options) {
            options.screen = window;
            options.screenIsWindow = true;
            options.pixelRatio = 1;
        });
        ASSERT_TRUE(OnMainWithSong());
        frame_->Command(ui::WindowCommand::NowPlaying);
        ASSERT_TRUE(Pump([&] { return frame_->Screen() == "nowplaying"; }));
        const ui::ScreenView& view = frame_->View();
        const CSkin& skin = frame_->Skin();
        const SkinWinComponent* box = skin.FindWinComponent("albumart");
        ASSERT_NE(box, nullptr);
        const SkinRect placed = PlaceWindowOn(skin, *box, view.DeviceSize().width(),
                                              view.DeviceSize().height(), "nowplaying");
        // The art the screen draws: the largest square its box holds.
        QRect art;
        for (const ui::ScreenView::AccessControl& control : view.AccessControls()) {
            if (control.kind == ui::ScreenView::AccessControl::Kind::Image) {
                art = control.rect;
            }
        }
        ASSERT_EQ(art.width(), std::min(placed.Width(), placed.Height()));
        ASSERT_EQ(art.height(), art.width());
        const int artBottom = art.bottom() + 1;
        const int margin = view.ComponentRect("albumart.margin").top();
        const int band = margin - artBottom;
        const int allowed = skin.Scale().Height(6);
        EXPECT_LE(band, allowed) << window.width() << "x" << window.height() << ": " << band
                                 << " pixels of " << view.DeviceSize().height()
                                 << " empty between the art and the title";
    }
}

// The presets' box now lies at the equaliser's bottom: the list it opens
// stays inside the window (it opens upward, or scrolls) rather than running
// down the screen below the window's bottom.
TEST_F(GuiTest, TheEqualisersPresetListStaysInsideTheWindow) {
    WriteSettings();
    StartWindow([](ui::FrameOptions& options) {
        options.screen = QSize(320, 400);
        options.screenIsWindow = true;
        options.pixelRatio = 1;
    });
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::Equalizer);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "eq"; }));
    auto* presets = frame_->findChild<QComboBox*>(QStringLiteral("Equalizer Presets"));
    ASSERT_NE(presets, nullptr);
    ASSERT_TRUE(Pump([&] { return presets->count() >= 4; }));
    presets->showPopup();
    QWidget* list = presets->view()->window();
    ASSERT_TRUE(Pump([&] { return list->isVisible(); }));
    const QRect window = frame_->frameGeometry();
    EXPECT_TRUE(window.contains(list->geometry()))
        << "the list lies at " << list->geometry().y() << " to " << list->geometry().bottom()
        << ", the window ends at " << window.bottom() << " on a screen of "
        << frame_->screen()->geometry().height();
    presets->hidePopup();
}

// Rooms of a multi-room system, as many as a house has, that change while
// the window shows them; remembers which one a user chose.
class ManyRooms final : public server::SpeakerService {
public:
    explicit ManyRooms(int count) {
        for (int room = 0; room < count; ++room) {
            rooms_.push_back(
                {"room-" + std::to_string(room), "Room " + std::to_string(room), room == 0});
        }
    }
    void Start(Changed changed) override {
        std::lock_guard lock(mutex_);
        changed_ = std::move(changed);
    }
    void Stop() override {}
    std::vector<Speaker> Speakers() const override {
        std::lock_guard lock(mutex_);
        return rooms_;
    }
    void Select(const std::string& id, Done done) override {
        {
            std::lock_guard lock(mutex_);
            chosen_.push_back(id);
        }
        done(server::kSuccess);
    }
    void Enable(const std::string& id, bool, Done done) override { Select(id, std::move(done)); }

    // A room goes on elsewhere (another remote, the room's own panel).
    void SwitchOn(int room) {
        Changed changed;
        std::vector<Speaker> rooms;
        {
            std::lock_guard lock(mutex_);
            for (std::size_t i = 0; i < rooms_.size(); ++i) {
                rooms_[i].enabled = static_cast<int>(i) == room;
            }
            changed = changed_;
            rooms = rooms_;
        }
        if (changed) {
            changed(rooms);
        }
    }
    // A room renamed, as its owner may name it at length.
    void Rename(int room, const std::string& name) {
        std::lock_guard lock(mutex_);
        rooms_[static_cast<std::size_t>(room)].name = name;
    }
    std::vector<std::string> Chosen() const {
        std::lock_guard lock(mutex_);
        return chosen_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<Speaker> rooms_;
    std::vector<std::string> chosen_;
    Changed changed_;
};

class MenuFingerTest : public GuiTest {
protected:
    MenuFingerTest() { serverOptions_.speakers = rooms_; }

    // The "Speakers" submenu, opened from the window's menu as a user does.
    QMenu* OpenSpeakers() {
        QMenu* menu = frame_->findChild<QMenu*>(QStringLiteral("Menu"));
        if (menu == nullptr) {
            return nullptr;
        }
        menu->popup(frame_->mapToGlobal(QPoint(0, 0)));
        if (!Pump([&] { return menu->isVisible(); })) {
            return nullptr;
        }
        for (QAction* action : menu->actions()) {
            if (action->menu() != nullptr && action->text() == QStringLiteral("Speakers")) {
                menu->setActiveAction(action);
                QTest::keyClick(menu, Qt::Key_Right);
                QMenu* speakers = action->menu();
                return Pump([&] { return speakers->isVisible(); }) ? speakers : nullptr;
            }
        }
        return nullptr;
    }

    // The window on the main screen with a song, its fifty rooms listed.
    bool StartWithRooms(const std::function<void(ui::FrameOptions&)>& options = nullptr) {
        WriteSettings();
        StartWindow(options);
        return OnMainWithSong() && Pump([&] { return frame_->Speakers().size() == 50; });
    }

    std::shared_ptr<ManyRooms> rooms_ = std::make_shared<ManyRooms>(50);
};

QString RowAt(QMenu* menu, QPoint at) {
    const QAction* action = menu->actionAt(at);
    return action != nullptr ? action->text() : QString();
}

// The list of rooms changes (a room went on elsewhere) while a finger has
// the menu scrolled down it: the menu keeps what the finger showed, and a
// tap then chooses the room under the finger, not another.
TEST_F(MenuFingerTest, ATapAfterTheRoomsChangeChoosesTheRoomUnderTheFinger) {
    ASSERT_TRUE(StartWithRooms());
    QMenu* speakers = OpenSpeakers();
    ASSERT_NE(speakers, nullptr);
    const QRect firstRow = speakers->actionGeometry(speakers->actions().front());
    const int row = firstRow.height();
    const QPoint near(firstRow.center().x(), firstRow.center().y() + row);
    FingerDown(speakers, near + QPoint(0, 8 * row));
    for (int step = 1; step <= 8; ++step) {
        FingerMove(speakers, near + QPoint(0, (8 - step) * row));
    }
    FingerUp(speakers, near);
    PumpFor(500ms);
    const QString scrolled = RowAt(speakers, near);
    if (scrolled == QStringLiteral("Room 1") &&
        speakers->height() < speakers->screen()->availableGeometry().height() - 2 * row) {
        GTEST_SKIP() << "the screen holds all fifty rooms: the menu has nothing to scroll";
    }
    ASSERT_NE(scrolled, QStringLiteral("Room 1")) << "the finger did not scroll the menu";

    rooms_->SwitchOn(7);
    ASSERT_TRUE(Pump([&] { return frame_->Speakers()[7].enabled; }));
    PumpFor(200ms);
    ASSERT_TRUE(speakers->isVisible());
    const QString under = RowAt(speakers, near);
    EXPECT_EQ(under.toStdString(), scrolled.toStdString()) << "the menu jumped under the finger";
    FingerDown(speakers, near);
    FingerUp(speakers, near);
    ASSERT_TRUE(Pump([&] { return !rooms_->Chosen().empty(); }));
    EXPECT_EQ(rooms_->Chosen().front(),
              "room-" + under.mid(QStringLiteral("Room ").size()).toStdString());
}

// Fifty rooms make a menu longer than the window: on a phone the window is
// the screen, on a desktop or a panel it is not, and the menu stays inside
// the window all the same (it scrolls) rather than running down the
// screen past the window's bottom.
TEST_F(MenuFingerTest, TheLongSpeakersMenuStaysInsideTheWindow) {
    ASSERT_TRUE(StartWithRooms([](ui::FrameOptions& options) {
        options.screen = QSize(480, 640);
        options.screenIsWindow = true;
    }));
    QMenu* speakers = OpenSpeakers();
    ASSERT_NE(speakers, nullptr);
    PumpFor(200ms);
    const QRect window = frame_->frameGeometry();
    EXPECT_TRUE(window.contains(speakers->geometry()))
        << "the menu lies at " << speakers->geometry().x() << "," << speakers->geometry().y() << " "
        << speakers->width() << "x" << speakers->height() << ", the window at " << window.x() << ","
        << window.y() << " " << window.width() << "x" << window.height() << " on a screen of "
        << frame_->screen()->geometry().height();
    // The last room is reached by the wheel (as by a finger), inside still.
    QAction* last = speakers->actions().back();
    for (int turn = 0; turn < 60 && speakers->actionGeometry(last).isEmpty(); ++turn) {
        const QPoint middle = speakers->rect().center();
        QWheelEvent wheel(middle, speakers->mapToGlobal(middle), QPoint(), QPoint(0, -120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(speakers, &wheel);
        PumpFor(10ms);
    }
    EXPECT_FALSE(speakers->actionGeometry(last).isEmpty()) << "the last room cannot be reached";
    EXPECT_EQ(speakers->actionAt(speakers->actionGeometry(last).center()), last);
    EXPECT_TRUE(window.contains(speakers->geometry()));
}

// A finger put on the window's menu and drawn down it (to read it, or to
// scroll a list under it) chooses nothing when it lifts, as on the
// speakers' menu: here it would have disconnected.
TEST_F(MenuFingerTest, AFingerDrawnDownTheWindowsMenuChoosesNothing) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    QMenu* menu = frame_->findChild<QMenu*>(QStringLiteral("Menu"));
    ASSERT_NE(menu, nullptr);
    menu->popup(frame_->mapToGlobal(QPoint(0, 0)));
    ASSERT_TRUE(Pump([&] { return menu->isVisible(); }));
    QAction* first = nullptr;
    QAction* disconnect = nullptr;
    for (QAction* action : menu->actions()) {
        if (first == nullptr && !action->isSeparator()) {
            first = action;
        }
        if (action->text() == QStringLiteral("Disconnect")) {
            disconnect = action;
        }
    }
    ASSERT_NE(first, nullptr);
    ASSERT_NE(disconnect, nullptr);
    const QPoint from = menu->actionGeometry(first).center();
    const QPoint to = menu->actionGeometry(disconnect).center();
    FingerDown(menu, from);
    for (int step = 1; step <= 10; ++step) {
        FingerMove(menu, from + (to - from) * step / 10);
    }
    FingerUp(menu, to);
    PumpFor(300ms);
    EXPECT_EQ(frame_->Screen(), "main");
}

// The window moves to a screen of another pixel ratio while the speakers'
// menu is open under a finger: nothing breaks, and a tap still chooses the
// room under it.
TEST_F(MenuFingerTest, ANewPixelRatioWhileTheMenuIsOpenLeavesItWorking) {
    ASSERT_TRUE(StartWithRooms());
    QMenu* speakers = OpenSpeakers();
    ASSERT_NE(speakers, nullptr);
    const QRect firstRow = speakers->actionGeometry(speakers->actions().front());
    const QPoint at(firstRow.center().x(), firstRow.center().y() + 2 * firstRow.height());
    FingerDown(speakers, at);
    QScreen* shown = frame_->screen();
    ASSERT_NE(shown, nullptr);
    for (const double ratio : {2.0, 1.0}) {
        QHighDpiScaling::setScreenFactor(shown, ratio);
        QEvent moved(QEvent::ScreenChangeInternal);
        QCoreApplication::sendEvent(frame_.get(), &moved);
        PumpFor(200ms);
    }
    FingerUp(speakers, at);
    PumpFor(200ms);
    if (speakers->isVisible()) {
        const QString under = RowAt(speakers, at);
        FingerDown(speakers, at);
        FingerUp(speakers, at);
        ASSERT_TRUE(Pump([&] { return !rooms_->Chosen().empty(); }));
        EXPECT_EQ(rooms_->Chosen().front(),
                  "room-" + under.mid(QStringLiteral("Room ").size()).toStdString());
    }
    EXPECT_EQ(frame_->Screen(), "main");
}

// The window is made shorter while the speakers' menu is open (a phone
// turned, a panel resized): both menus close, rather than being laid out
// again under Qt while it rebuilds them, and the speakers open again
// afterwards, inside the smaller window.
TEST_F(MenuFingerTest, TheSpeakersOpenAgainAfterTheWindowIsResized) {
    ASSERT_TRUE(StartWithRooms());
    frame_->resize(480, 800);
    PumpFor(100ms);
    QMenu* speakers = OpenSpeakers();
    ASSERT_NE(speakers, nullptr);
    PumpFor(100ms);
    frame_->resize(480, 560);
    PumpFor(300ms);
    QMenu* menu = frame_->findChild<QMenu*>(QStringLiteral("Menu"));
    ASSERT_NE(menu, nullptr);
    EXPECT_FALSE(speakers->isVisible());
    EXPECT_FALSE(menu->isVisible());
    speakers->hide();
    menu->hide();
    PumpFor(100ms);
    for (int again = 0; again < 2; ++again) {
        speakers = OpenSpeakers();
        ASSERT_NE(speakers, nullptr) << "opening " << again;
        PumpFor(100ms);
        EXPECT_TRUE(frame_->frameGeometry().contains(speakers->geometry()));
        speakers->hide();
        menu->hide();
        PumpFor(100ms);
    }
}

// Fifty rooms in a 480x640 window: the speakers' menu shows some of them.
// Keys reach every room as they do in a menu that shows all its rows: End
// goes to the last room, Home to the first, and Up from the first room
// wraps round to the last room, not to the last row that happens to show.
TEST_F(MenuFingerTest, EndHomeAndUpFromTheFirstRoomReachTheEndsOfTheList) {
    ASSERT_TRUE(StartWithRooms([](ui::FrameOptions& options) {
        options.screen = QSize(480, 640);
        options.screenIsWindow = true;
        options.pixelRatio = 1;
    }));
    QMenu* speakers = OpenSpeakers();
    ASSERT_NE(speakers, nullptr);
    PumpFor(200ms);
    ASSERT_TRUE(speakers->actionGeometry(speakers->actions().back()).isEmpty())
        << "the window holds all fifty rooms: nothing to scroll";
    const auto active = [&] {
        return speakers->activeAction() != nullptr ? speakers->activeAction()->text().toStdString()
                                                   : std::string("(none)");
    };
    ASSERT_EQ(active(), "Room 0");
    QTest::keyClick(speakers, Qt::Key_End);
    PumpFor(50ms);
    EXPECT_EQ(active(), "Room 49") << "End";
    QTest::keyClick(speakers, Qt::Key_Home);
    PumpFor(50ms);
    EXPECT_EQ(active(), "Room 0") << "Home";
    speakers->setActiveAction(speakers->actions().front());
    QTest::keyClick(speakers, Qt::Key_Up);
    PumpFor(50ms);
    EXPECT_EQ(active(), "Room 49") << "Up from the first room";
    speakers->hide();
}

// Rooms are named by their owners, some at length. A long name further
// down the list, scrolled into a menu that opened at the window's right
// edge, widens the menu: it stays inside the window all the same.
TEST_F(MenuFingerTest, ALongNameScrolledInKeepsTheMenuInsideTheWindow) {
    rooms_->Rename(45, "Room 45 by the garden shed");
    ASSERT_TRUE(StartWithRooms([](ui::FrameOptions& options) {
        options.screen = QSize(480, 640);
        options.screenIsWindow = true;
        options.pixelRatio = 1;
    }));
    QMenu* speakers = OpenSpeakers();
    ASSERT_NE(speakers, nullptr);
    PumpFor(200ms);
    const QRect window = frame_->frameGeometry();
    ASSERT_TRUE(window.contains(speakers->geometry()));
    QAction* last = speakers->actions().back();
    for (int turn = 0; turn < 60 && speakers->actionGeometry(last).isEmpty(); ++turn) {
        const QPoint middle = speakers->rect().center();
        QWheelEvent wheel(middle, speakers->mapToGlobal(middle), QPoint(), QPoint(0, -120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(speakers, &wheel);
        PumpFor(10ms);
    }
    PumpFor(100ms);
    ASSERT_FALSE(speakers->actionGeometry(last).isEmpty());
    EXPECT_TRUE(window.contains(speakers->geometry()))
        << "the menu lies at " << speakers->geometry().x() << "," << speakers->geometry().y() << " "
        << speakers->width() << "x" << speakers->height() << ", the window at " << window.x() << ","
        << window.y() << " " << window.width() << "x" << window.height();
    speakers->hide();
}

}  // namespace
}  // namespace vantor::testing
