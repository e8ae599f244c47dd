// The list screen, the equaliser and the speakers, story by story, against
// vantor-server on loopback: browsing, searching as you type, the row
// menus, a long queue, the jump labels, the equaliser's bands and presets,
// and choosing speakers; and what a media service that misbehaves leaves.

#include <QtGui/private/qinputmethod_p.h>
#include <qpa/qplatforminputcontext.h>

#include <QAccessible>
#include <QActionGroup>
#include <QApplication>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QInputMethod>
#include <QKeyEvent>
#include <QMenu>
#include <QScrollBar>
#include <QScroller>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "media/MediaPages.h"
#include "protocol/Messages.h"
#include "skin/SkinBar.h"
#include "support/ScriptedHttp.h"
#include "ui/GuiFixture.h"
#include "ui/lists/ListTouch.h"
#include "ui/screens/EqScreen.h"
#include "ui/screens/HeaderBarWidget.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/view/ScreenView.h"

namespace vantor::testing {
namespace {

// An on-screen keyboard as a phone's platform offers one, standing in for
// the platform's own while it lives: it shows when asked and then covers
// `cover` (in the window's coordinates).
class OnScreenKeyboard final : public QPlatformInputContext {
public:
    OnScreenKeyboard() { Private()->testContext = this; }
    ~OnScreenKeyboard() override { Private()->testContext = nullptr; }

    bool isValid() const override { return true; }
    void showInputPanel() override { SetVisible(true); }
    void hideInputPanel() override { SetVisible(false); }
    bool isInputPanelVisible() const override { return visible_; }
    QRectF keyboardRect() const override { return visible_ ? cover : QRectF(); }

    QRectF cover;

private:
    static QInputMethodPrivate* Private() {
        return QInputMethodPrivate::get(QGuiApplication::inputMethod());
    }
    void SetVisible(bool visible) {
        if (visible != visible_) {
            visible_ = visible;
            emitInputPanelVisibleChanged();
            emitKeyboardRectChanged();
        }
    }
    bool visible_ = false;
};

class ListScreensTest : public GuiTest {
protected:
    // Starts the window and goes to the library.
    void OpenLibrary() {
        WriteSettings();
        StartWindow();
        ASSERT_TRUE(OnMainWithSong());
        frame_->Command(ui::WindowCommand::Library);
        ASSERT_EQ(frame_->Screen(), "playlist");
        ASSERT_TRUE(Pump([&] { return List().Count() > 0; }));
    }
    ui::LibraryScreen& Screen() { return frame_->Library(); }
    ui::LibraryList& List() { return Screen().List(); }
    std::string Row(int row) { return Screen().Browser().RowText(row); }

    // A tap on one of the tab row's buttons, which act on the release.
    void TapHeader(int button) {
        const QPointF at = QRectF(Screen().Header().ButtonRect(button)).center();
        QMouseEvent release(QEvent::MouseButtonRelease, at, Screen().Header().mapToGlobal(at),
                            Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&Screen().Header(), &release);
    }
    // Opens a row's menu and chooses the entry with that text, as the user
    // would with the menu open.
    static void ChooseFromMenu(QAbstractItemView& view, int row, const QString& entry) {
        PickWhenOpen(entry, 100);
        const QPoint at = view.visualRect(view.model()->index(row, 0)).center();
        QContextMenuEvent event(QContextMenuEvent::Mouse, at, view.viewport()->mapToGlobal(at));
        QApplication::sendEvent(view.viewport(), &event);
    }
    // Waits (turning the menu's own event loop) for a menu to open, then
    // picks the entry.
    static void PickWhenOpen(const QString& entry, int tries) {
        QTimer::singleShot(10, [entry, tries] {
            auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            if (menu == nullptr) {
                if (tries > 0) {
                    PickWhenOpen(entry, tries - 1);
                }
                return;
            }
            for (QAction* action : menu->actions()) {
                if (action->text() == entry) {
                    menu->setActiveAction(action);
                }
            }
            QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
            QApplication::sendEvent(menu, &enter);
        });
    }
    // Closes every menu that opens, keeping its entries, after running
    // `whileOpen` once in it: a menu runs its own loop, so it is met from a
    // timer.
    struct MenuWatch {
        MenuWatch() {
            timer.setInterval(20);
            QObject::connect(&timer, &QTimer::timeout, [this] {
                if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
                    QStringList entries;
                    for (const QAction* action : menu->actions()) {
                        entries << action->text();
                    }
                    opened.push_back(entries.join(QLatin1Char(',')).toStdString());
                    if (auto act = std::exchange(whileOpen, nullptr)) {
                        act();
                    }
                    if (menu->isVisible()) {
                        menu->close();
                    }
                }
            });
            timer.start();
        }
        QTimer timer;
        std::vector<std::string> opened;
        std::function<void()> whileOpen;
    };
    int FindRow(const std::string& title) {
        for (int row = 0; row < List().Count(); ++row) {
            if (Row(row) == title) {
                return row;
            }
        }
        return -1;
    }
};

TEST_F(ListScreensTest, TheLibraryOpensFoldersAndGoesBack) {
    OpenLibrary();
    EXPECT_EQ(Row(0), "Music");
    EXPECT_EQ(Screen().Header().Texts().front(), "Media Library");
    TapRow(&List(), 0);
    ASSERT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    EXPECT_EQ(Screen().Header().Texts().front(), "\u2039 Music");

    const int albums = FindRow("Albums");
    ASSERT_GE(albums, 0);
    TapRow(&List(), albums);
    ASSERT_TRUE(Pump(
        [&] { return Screen().Browser().CurrentPath() == "/Music/Albums" && !Row(0).empty(); }));
    // Back twice: the tab row's library button, then the screen's back key.
    TapHeader(0);
    ASSERT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    EXPECT_TRUE(Pump([&] { return List().SelectedRow() == albums; }));  // where it was
    EXPECT_TRUE(Screen().Back());
    EXPECT_TRUE(Pump([&] { return Row(0) == "Music"; }));
    EXPECT_FALSE(Screen().Back());

    // "Controls" goes back to the main screen and its queue.
    frame_->Command(ui::WindowCommand::Controls);
    EXPECT_EQ(frame_->Screen(), "main");
    EXPECT_TRUE(frame_->Queue().isVisible());
    EXPECT_FALSE(List().isVisible());
}

TEST_F(ListScreensTest, TwoLettersShowTwentyAtOnceAndEverythingWhenTypingStops) {
    serverOptions_.songs = 500;
    OpenLibrary();
    const std::size_t everything = (*server_)->Library().Search("an").size();
    ASSERT_GT(everything, 20u);

    QLineEdit& box = Screen().SearchField();
    box.setText(QStringLiteral("a"));
    box.setText(QStringLiteral("an"));
    ASSERT_TRUE(Pump([&] { return Screen().Browser().SearchMode() && List().Count() > 0; }));
    EXPECT_EQ(List().Count(), 20);
    EXPECT_EQ(Screen().Header().Texts().front(), "\u2039 Search Results");
    // The full list once the box has rested for a second and a half.
    EXPECT_TRUE(Pump([&] { return List().Count() == static_cast<int>(everything); }, 4s));

    // Back from the results: the box empty (showing "Search"), the library
    // as it was.
    EXPECT_TRUE(Screen().Back());
    EXPECT_TRUE(Pump([&] { return Row(0) == "Music"; }));
    EXPECT_EQ(box.text(), QString());
    EXPECT_FALSE(Screen().Browser().SearchMode());
}

TEST_F(ListScreensTest, AFingerInTheSearchBoxTypesAboveTheKeyboard) {
    OnScreenKeyboard keyboard;
    OpenLibrary();
    const QRect full = List().geometry();
    QWidget* window = frame_.get();
    keyboard.cover = QRectF(0, window->height() * 0.6, window->width(), window->height() * 0.4);

    // The empty box shows "Search", and what is typed is all it holds.
    QLineEdit& box = Screen().SearchField();
    EXPECT_EQ(box.text(), QString());
    EXPECT_EQ(box.placeholderText(), QStringLiteral("Search"));
    QTest::mouseClick(&box, Qt::LeftButton, {}, box.rect().center());
    ASSERT_TRUE(box.hasFocus());
    // The first tap brings the keyboard up, and the list ends above it.
    EXPECT_TRUE(QGuiApplication::inputMethod()->isVisible());
    EXPECT_LE(List().mapTo(window, QPoint(0, List().height())).y(), keyboard.cover.top());
    EXPECT_GT(List().height(), 0);

    QTest::keyClicks(&box, QStringLiteral("ghost"));
    EXPECT_EQ(box.text(), QStringLiteral("ghost"));
    const std::size_t found = (*server_)->Library().Search("ghost").size();
    ASSERT_GT(found, 0u);
    EXPECT_TRUE(Pump([&] {
        return Screen().Browser().SearchMode() && List().Count() == static_cast<int>(found);
    }));
    EXPECT_NE(Row(0).find("Ghost"), std::string::npos) << Row(0);

    // Leaving the screen puts the keyboard down; back on it the list has
    // its height again.
    frame_->Command(ui::WindowCommand::Controls);
    EXPECT_FALSE(QGuiApplication::inputMethod()->isVisible());
    frame_->Command(ui::WindowCommand::Library);
    EXPECT_EQ(List().geometry(), full);

    // The box taking the focus by a key asks for the keyboard too (Tab
    // from the list: from outside the screen Tab starts at its top).
    List().setFocus(Qt::OtherFocusReason);
    box.setFocus(Qt::TabFocusReason);
    EXPECT_TRUE(QGuiApplication::inputMethod()->isVisible());
}

TEST_F(ListScreensTest, AKeyboardPutDownStaysDownWhenTheBoxGetsItsFocusBack) {
    OnScreenKeyboard keyboard;
    OpenLibrary();
    QWidget* window = frame_.get();
    keyboard.cover = QRectF(0, window->height() * 0.6, window->width(), window->height() * 0.4);
    QLineEdit& box = Screen().SearchField();
    QTest::mouseClick(&box, Qt::LeftButton, {}, box.rect().center());
    ASSERT_TRUE(QGuiApplication::inputMethod()->isVisible());

    // The user puts the keyboard down to see the whole list; the box keeps
    // the focus.
    QGuiApplication::inputMethod()->hide();
    const QRect full = List().geometry();
    ASSERT_TRUE(box.hasFocus());

    // A popup menu opens and closes: the box gets its focus back, nobody
    // touched it, and the keyboard stays down.
    QMenu menu(window);
    menu.addAction(QStringLiteral("Close"));
    QTimer::singleShot(100, &menu, [&] { menu.close(); });
    menu.exec(window->mapToGlobal(QPoint(10, 10)));
    PumpFor(50ms);
    ASSERT_TRUE(box.hasFocus());
    EXPECT_FALSE(QGuiApplication::inputMethod()->isVisible());
    EXPECT_EQ(List().geometry(), full);

    // Another window is used and this one comes back: the same.
    QWidget other;
    other.show();
    QApplication::setActiveWindow(&other);
    PumpFor(50ms);
    QApplication::setActiveWindow(window);
    PumpFor(50ms);
    ASSERT_TRUE(box.hasFocus());
    EXPECT_FALSE(QGuiApplication::inputMethod()->isVisible());
    EXPECT_EQ(List().geometry(), full);
}

TEST_F(ListScreensTest, TheLibraryEnteredWhileTheKeyboardShowsEndsAboveIt) {
    OnScreenKeyboard keyboard;
    OpenLibrary();
    QWidget* window = frame_.get();
    const QRect full = List().geometry();
    keyboard.cover = QRectF(0, window->height() * 0.6, window->width(), window->height() * 0.4);
    frame_->Command(ui::WindowCommand::Controls);
    ASSERT_EQ(frame_->Screen(), "main");

    // The keyboard comes up while another screen shows (the user raised it
    // from the phone's panel, or another field asked for it), and the user
    // goes to the library with it still up.
    QGuiApplication::inputMethod()->show();
    ASSERT_TRUE(QGuiApplication::inputMethod()->isVisible());
    frame_->Command(ui::WindowCommand::Library);
    ASSERT_EQ(frame_->Screen(), "playlist");
    EXPECT_LE(List().mapTo(window, QPoint(0, List().height())).y(), keyboard.cover.top());
    EXPECT_LT(List().height(), full.height());
}

TEST_F(ListScreensTest, TheWindowClosedWhileTypingWithTheKeyboardUpEndsCleanly) {
    OnScreenKeyboard keyboard;
    OpenLibrary();
    QWidget* window = frame_.get();
    keyboard.cover = QRectF(0, window->height() * 0.6, window->width(), window->height() * 0.4);
    QLineEdit& box = Screen().SearchField();
    QTest::mouseClick(&box, Qt::LeftButton, {}, box.rect().center());
    ASSERT_TRUE(QGuiApplication::inputMethod()->isVisible());
    // As a platform does, the keyboard goes down as the focus leaves the
    // box, here because the window is taken down around it.
    const QMetaObject::Connection down =
        QObject::connect(qApp, &QGuiApplication::focusObjectChanged, qApp,
                         [](QObject*) { QGuiApplication::inputMethod()->hide(); });

    // The user closes the window while typing: Exit, then the window goes.
    StopWindow();
    EXPECT_FALSE(QGuiApplication::inputMethod()->isVisible());
    QObject::disconnect(down);
}

TEST_F(ListScreensTest, ASearchTypedInABurstKeepsTheWayBack) {
    OpenLibrary();
    TapRow(&List(), 0);  // Music
    ASSERT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    TapRow(&List(), FindRow("Songs"));
    ASSERT_TRUE(Pump(
        [&] { return Screen().Browser().CurrentPath() == "/Music/Songs" && !Row(0).empty(); }));

    // A word from an on-screen keyboard, each key before the search for the
    // last has come back.
    QLineEdit& box = Screen().SearchField();
    const QString word = QStringLiteral("summerheart");
    for (int length = 1; length <= word.size(); ++length) {
        box.setText(word.left(length));
    }
    ASSERT_TRUE(Pump([&] { return Screen().Browser().SearchMode(); }));
    // The results stay until the box rests: the settle timer brings no
    // second way back.
    PumpFor(1700ms);

    // Back to the songs, back to Music, back to the library's root; and
    // there the way back ends.
    EXPECT_TRUE(Screen().Back());
    EXPECT_TRUE(Pump(
        [&] { return Screen().Browser().CurrentPath() == "/Music/Songs" && !Row(0).empty(); }));
    EXPECT_EQ(box.text(), QString());
    EXPECT_TRUE(Screen().Back());
    EXPECT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    EXPECT_TRUE(Screen().Back());
    EXPECT_TRUE(Pump([&] { return Row(0) == "Music"; }));
    EXPECT_FALSE(Screen().Back());
}

TEST_F(ListScreensTest, PlayNowAndAddToQueueReachTheServer) {
    OpenLibrary();
    TapRow(&List(), 0);  // Music
    ASSERT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    const int songs = FindRow("Songs");
    TapRow(&List(), songs);
    ASSERT_TRUE(Pump([&] {
        return Screen().Browser().CurrentPath() == "/Music/Songs" && List().Count() > 3 &&
               !Row(3).empty();
    }));

    // "Play now" plays the song alone; "Add to queue" puts one after it.
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ChooseFromMenu(List(), 3, QStringLiteral("Play now"));
    EXPECT_TRUE(Pump([&] { return Received("PlayMediaRequest") == 1; }));
    const std::string chosen = Row(3);
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().title == chosen; })) << chosen;
    ChooseFromMenu(List(), 2, QStringLiteral("Add to queue"));
    EXPECT_TRUE(Pump([&] { return Received("PlaylistAddRequest") == 1; }));
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 2 && queue.RowText(1) == Row(2); }));

    // The queue's menu on the same screen: play another entry. Its rows came
    // while it was hidden under the library; shown, it does not say it
    // still waits for them.
    TapHeader(1);
    ASSERT_TRUE(queue.isVisible());
    EXPECT_FALSE(queue.ShowsBusy());
    ChooseFromMenu(queue, 1, QStringLiteral("Play"));
    EXPECT_TRUE(Pump([&] { return Received("SetPlaylistPositionRequest") == 1; }));
    EXPECT_TRUE(Pump([&] { return frame_->Player().playlistPosition == 1; }));
}

TEST_F(ListScreensTest, AQueueThousandsLongShowsTheRowsScrolledTo) {
    serverOptions_.songs = 6000;
    serverOptions_.queueLength = 6000;
    OpenLibrary();
    Screen().ShowMode(ui::LibraryScreen::Mode::Queue);
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 6000; }));

    queue.scrollTo(queue.model()->index(4321, 0), QAbstractItemView::PositionAtTop);
    EXPECT_TRUE(queue.RowText(4321).empty());  // its page is on its way
    std::string expected;
    OnServer([&](server::PlayerModel& player) {
        expected = (*server_)->Library().Find(player.Queue()[4321])->title;
    });
    EXPECT_TRUE(Pump([&] { return queue.RowText(4321) == expected; })) << expected;
    // Only the pages in view were asked for: the first, and the one there.
    EXPECT_LE(queue.PagesFetched(), 3);
}

// A finger on the queue: a flick scrolls it and neither selects nor plays a
// row; a tap selects, a second tap plays; a finger held still opens the
// row's menu, a ring round it first. A held finger that moves, two fingers
// and a touch the system takes back do nothing at all.
TEST_F(ListScreensTest, AFingerFlicksTapsAndHoldsTheQueue) {
    serverOptions_.songs = 600;
    serverOptions_.queueLength = 500;
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 500; }));
    MenuWatch menus;
    QWidget* rows = queue.viewport();
    QScroller* scroller = QScroller::scroller(rows);
    const auto still = [&] { return scroller->state() == QScroller::Inactive; };
    const auto rowAt = [&](QPoint at) { return queue.indexAt(at).row(); };
    const int selected = queue.SelectedEntry();
    const int plays = Received("SetPlaylistPositionRequest");

    const QPoint low(rows->width() / 2, rows->height() * 3 / 4);
    const int top = queue.verticalScrollBar()->value();
    Swipe(rows, low, low - QPoint(0, rows->height() / 2));
    EXPECT_TRUE(Pump([&] { return queue.verticalScrollBar()->value() > top + rows->height() / 4; }))
        << "the flick did not scroll the queue";
    EXPECT_TRUE(Pump(still));
    EXPECT_EQ(queue.SelectedEntry(), selected) << "the flick selected a row";

    // A tap selects, the second plays.
    const QPoint at = rows->rect().center();
    const int row = rowAt(at);
    ASSERT_NE(row, selected);
    FingerDown(rows, at);
    FingerUp(rows, at);
    EXPECT_EQ(queue.SelectedEntry(), row);
    EXPECT_EQ(Received("SetPlaylistPositionRequest"), plays);
    FingerDown(rows, at);
    FingerUp(rows, at);
    EXPECT_TRUE(Pump([&] { return frame_->Player().playlistPosition == row; }));
    EXPECT_EQ(Received("SetPlaylistPositionRequest"), plays + 1);

    // Held still: the ring, then the row's menu; the finger lifted over the
    // menu chooses nothing.
    const QPoint other = at + QPoint(0, queue.visualRect(queue.model()->index(row, 0)).height());
    menus.whileOpen = [&] { FingerUp(rows, other); };
    FingerDown(rows, other);
    const QWidget* cue = rows->findChild<QWidget*>(QStringLiteral("Hold Cue"));
    ASSERT_NE(cue, nullptr);
    EXPECT_TRUE(cue->isVisible());
    ASSERT_TRUE(Pump([&] { return !menus.opened.empty(); }));
    EXPECT_EQ(menus.opened.front().substr(0, 11), "Play,Remove");
    EXPECT_FALSE(cue->isVisible());
    EXPECT_EQ(queue.SelectedEntry(), rowAt(other));

    // A hold that moves, two fingers, a touch taken back: no menu, no
    // selection, nothing sent.
    const int now = queue.SelectedEntry();
    FingerDown(rows, at);
    FingerMove(rows, at + QPoint(0, QApplication::startDragDistance() * 3));
    PumpFor(std::chrono::milliseconds(ui::kTouchHoldMs * 2));
    FingerUp(rows, at + QPoint(0, QApplication::startDragDistance() * 3));
    EXPECT_TRUE(Pump(still));
    TwoFingers(rows, at, at + QPoint(30, 0),
               [&] { PumpFor(std::chrono::milliseconds(ui::kTouchHoldMs * 2)); });
    FingerDown(rows, at);
    CancelTouches(rows);
    PumpFor(std::chrono::milliseconds(ui::kTouchHoldMs * 2));
    FingerUp(rows, at);
    PumpFor(100ms);
    EXPECT_EQ(menus.opened.size(), 1u);
    EXPECT_EQ(queue.SelectedEntry(), now);
    EXPECT_EQ(Received("SetPlaylistPositionRequest"), plays + 1);
    EXPECT_EQ(Received("PlaylistRemoveRequest"), 0);

    // Drawn down past its top, the list gives way and comes back.
    queue.scrollToTop();
    const int rest = rows->y();
    FingerDown(rows, low);
    for (int step = 1; step <= 5; ++step) {
        FingerMove(rows, low + QPoint(0, step * rows->height() / 10));
    }
    EXPECT_TRUE(Pump([&] { return rows->y() > rest; })) << "no overshoot";
    FingerUp(rows, low + QPoint(0, rows->height() / 2));
    EXPECT_TRUE(Pump([&] { return still() && rows->y() == rest; }));
    EXPECT_EQ(queue.verticalScrollBar()->value(), 0);
}

TEST_F(ListScreensTest, AQueueWhoseMediaServiceIsAwayIsAskedCalmly) {
    // A queue of 6000 whose first page came, and then the media service
    // went away (the player behind it restarting): every page is a 503.
    std::atomic<int> served{0};
    ScriptedHttp media([&](const std::string&) {
        if (served++ > 0) {
            return ScriptedReply{ScriptedHttp::Response(503, ""), 0ms, false};
        }
        wire::PlaylistPage page;
        page.__set_start(0);
        page.__set_totalCount(6000);
        page.items.resize(1000);
        const std::string body = EncodePlaylistPage(page);
        return ScriptedReply{ScriptedHttp::Response(200, body), 0ms, false};
    });
    WriteSettings();
    StartWindow([&](ui::FrameOptions& options) { options.mediaPort = media.Port(); });
    ASSERT_TRUE(OnMainWithSong());
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 6000; }));

    // Scrolled to rows not loaded: their page is asked for, fails, and is
    // asked again only after a pause that grows, never in a loop.
    const int before = served;
    queue.scrollTo(queue.model()->index(4321, 0), QAbstractItemView::PositionAtTop);
    PumpFor(1500ms);
    const int asked = served - before;
    std::printf("pages asked in 1.5 s with the media service away: %d\n", asked);
    EXPECT_GE(asked, 2) << "asked again after a pause";
    EXPECT_LE(asked, 8);
    EXPECT_TRUE(queue.RowText(4321).empty());
}

TEST_F(ListScreensTest, TheQueuesMenuActsOnTheRowItWasOpenedOn) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() > 5 && !queue.RowText(3).empty(); }));
    std::vector<std::int32_t> before;
    OnServer([&](server::PlayerModel& player) { before = player.Queue(); });
    const int playing = frame_->Player().playlistPosition;
    ASSERT_NE(playing, 3);

    // The song changes while the menu on row 3 is open: the list selects
    // the new song's row, and "Remove" still removes row 3.
    std::function<void(int)> whenOpen = [&](int tries) {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (menu == nullptr) {
            if (tries > 0) {
                QTimer::singleShot(10, [&, tries] { whenOpen(tries - 1); });
            }
            return;
        }
        (*server_)->Post(
            [](server::PlayerModel& player, server::Events& events) { events = player.Next(); });
        Pump([&] { return queue.SelectedEntry() != 3 && queue.SelectedEntry() >= 0; });
        PickWhenOpen(QStringLiteral("Remove"), 100);
    };
    TapRow(&queue, 3);
    QTimer::singleShot(10, [&] { whenOpen(100); });
    const QPoint at = queue.visualRect(queue.model()->index(3, 0)).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, at, queue.viewport()->mapToGlobal(at));
    QApplication::sendEvent(queue.viewport(), &event);

    ASSERT_TRUE(Pump([&] { return Received("PlaylistRemoveRequest") == 1; }));
    before.erase(before.begin() + 3);
    std::vector<std::int32_t> after;
    EXPECT_TRUE(Pump([&] {
        OnServer([&](server::PlayerModel& player) { after = player.Queue(); });
        return after == before;
    }));
}

TEST_F(ListScreensTest, AQueueThatChangesKeepsTheUsersPlace) {
    serverOptions_.songs = 3000;
    serverOptions_.queueLength = 2500;
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 2500; }));
    queue.scrollTo(queue.model()->index(1500, 0), QAbstractItemView::PositionAtTop);
    ASSERT_TRUE(Pump([&] { return !queue.RowText(1500).empty(); }));
    const int top = queue.indexAt(QPoint(1, 1)).row();

    // The song played is taken off the queue (a player that consumes its
    // queue does so with every song): the rows are read again, in place.
    (*server_)->Post(
        [](server::PlayerModel& player, server::Events& events) { player.Remove(0, events); });
    std::string expected;
    OnServer([&](server::PlayerModel& player) {
        expected = (*server_)->Library().Find(player.Queue()[1500])->title;
    });
    EXPECT_TRUE(Pump([&] { return queue.RowCount() == 2499 && queue.RowText(1500) == expected; }))
        << expected;
    EXPECT_EQ(queue.indexAt(QPoint(1, 1)).row(), top);
}

TEST_F(ListScreensTest, AJumpLabelLandsOnTheFirstRowOfItsLetter) {
    serverOptions_.songs = 500;
    OpenLibrary();
    TapRow(&List(), 0);
    ASSERT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    TapRow(&List(), FindRow("Albums"));
    ASSERT_TRUE(Pump([&] { return !List().JumpLabels().empty(); }));
    const auto labels = List().JumpLabels();
    const auto& [letter, row] = labels[labels.size() / 2];

    auto* strip = frame_->findChild<QWidget*>(QStringLiteral("Jump Labels"));
    ASSERT_NE(strip, nullptr);
    ASSERT_TRUE(strip->isVisible());
    const int index = static_cast<int>(labels.size() / 2);
    const QPoint at(strip->width() / 2,
                    (2 * index + 1) * strip->height() / (2 * static_cast<int>(labels.size())));
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(at), strip->mapToGlobal(QPointF(at)),
                      Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(strip, &press);
    EXPECT_EQ(List().TopRow(), row);
    EXPECT_EQ(List().SelectedRow(), row);
    ASSERT_TRUE(Pump([&] { return !Row(row).empty(); }));
    EXPECT_EQ(QString::fromStdString(Row(row)).left(1).toUpper(), letter);
    EXPECT_NE(QString::fromStdString(Row(row - 1)).left(1).toUpper(), letter);

    // A reader finds the letters as buttons and presses one; the tab row's
    // back arrow is "Back", and takes the list back.
    QAccessibleInterface* letters = QAccessible::queryAccessibleInterface(strip);
    ASSERT_EQ(letters->childCount(), static_cast<int>(labels.size()));
    QAccessibleInterface* first = letters->child(0);
    EXPECT_EQ(first->role(), QAccessible::PushButton);
    EXPECT_EQ(first->text(QAccessible::Name), labels.front().first);
    EXPECT_EQ(first->rect().size(), QSize(strip->width(), strip->height() / int(labels.size())));
    letters->child(1)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(List().TopRow(), labels[1].second);
    QAccessibleInterface* header = QAccessible::queryAccessibleInterface(&Screen().Header());
    std::vector<std::string> names;
    for (int i = 0; i < header->childCount(); ++i) {
        names.push_back(header->child(i)->text(QAccessible::Name).toStdString());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Back", "Albums", "Queue"}));
    EXPECT_TRUE(header->child(1)->state().checked);
    header->child(0)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    EXPECT_EQ(header->childCount(), 3);  // the way back to the library's top
}

TEST_F(ListScreensTest, EqualiserBandsAndPresetsReachTheServer) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Player().supportsEq; }));
    frame_->Command(ui::WindowCommand::Equalizer);
    ASSERT_EQ(frame_->Screen(), "eq");
    ui::EqScreen& eq = frame_->Equalizer();
    ASSERT_TRUE(Pump([&] { return !eq.Presets().empty(); }));

    // Band 4 dragged up to a quarter below the top: a gain of +50.
    const QRect band = frame_->View().ComponentRect(EqTrackName(3));
    const int x = band.center().x();
    Mouse(QEvent::MouseButtonPress, QPoint(x, band.bottom() - 2), Qt::LeftButton);
    for (int step = 1; step <= 20; ++step) {
        Mouse(QEvent::MouseMove, QPoint(x, band.bottom() - step * band.height() * 3 / 80),
              Qt::LeftButton);
    }
    const int y = band.top() + band.height() / 4;
    Mouse(QEvent::MouseButtonRelease, QPoint(x, y), Qt::NoButton);
    const int gain = EqPixelsToGain(band.top() + band.height() - y, band.height());
    EXPECT_TRUE(Pump([&] {
        EqSettings now;
        OnServer([&](server::PlayerModel& player) { now = player.Eq(); });
        return now.bands[3] == gain;
    })) << gain;
    EXPECT_LE(Received("SetEqRequest"), 4);

    // A tap on "eq.enabled" switches the equaliser.
    const bool enabled = frame_->Player().eq.enabled;
    Click("eq.enabled");
    EXPECT_TRUE(Pump([&] { return frame_->Player().eq.enabled != enabled; }));

    // A preset from the box, by finger: a drag along its list chooses
    // nothing, a tap chooses.
    const std::string preset = eq.Presets().back();
    QComboBox& box = eq.PresetsBox();
    box.showPopup();
    QAbstractItemView* presets = box.view();
    ASSERT_TRUE(Pump([&] { return presets->isVisible(); }));
    const int last = box.count() - 1;
    const QPoint first = RowCenter(presets, 0);
    const QPoint dragged = first + QPoint(0, QApplication::startDragDistance() * 3);
    Swipe(presets->viewport(), first, dragged);
    PumpFor(100ms);
    EXPECT_TRUE(presets->isVisible());
    FingerDown(presets->viewport(), RowCenter(presets, last));
    FingerUp(presets->viewport(), RowCenter(presets, last));
    EXPECT_TRUE(Pump([&] { return Received("SetEqPresetRequest") == 1; })) << preset;
    EXPECT_EQ(box.currentIndex(), last);
    EXPECT_FALSE(presets->isVisible());
}

TEST_F(ListScreensTest, ASkinWithoutAnEqualiserGetsTheWindowsOwn) {
    CopySkins();
    const std::filesystem::path xml = installDir_ / "skins" / "default" / "default.xml";
    std::ifstream in(xml);
    std::string text, line;
    while (std::getline(in, line)) {
        if (line.find("<bitmap name=\"eqbar\"") == std::string::npos) {
            text += line + "\n";
        }
    }
    in.close();
    std::ofstream(xml) << text;
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::Equalizer);
    ASSERT_EQ(frame_->Screen(), "eq");

    // The preamplifier's track is the leftmost; a drag on it goes out.
    const QRect preamp = frame_->View().Scaled(14, 44, 14, 200);
    Mouse(QEvent::MouseButtonPress, QPoint(preamp.center().x(), preamp.top() + 4), Qt::LeftButton);
    Mouse(QEvent::MouseButtonRelease, QPoint(preamp.center().x(), preamp.top() + 4), Qt::NoButton);
    EXPECT_TRUE(Pump([&] {
        EqSettings now;
        OnServer([&](server::PlayerModel& player) { now = player.Eq(); });
        return now.preamp > 90;
    }));
}

TEST_F(ListScreensTest, SpeakersAreChosenOneOrSeveralAndTheFlagIsSaved) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Speakers().size() >= 2; }));
    const std::string second = frame_->Speakers()[1].id;

    const auto speakerAction = [&](const std::string& id) {
        frame_->MenuTexts();  // builds the menu as it would show
        return frame_->findChild<QAction*>(QString::fromStdString("speaker " + id));
    };
    ASSERT_NE(speakerAction(second), nullptr);
    speakerAction(second)->trigger();
    EXPECT_TRUE(Pump([&] { return Received("SelectSpeakerRequest") == 1; }));
    EXPECT_TRUE(
        Pump([&] { return frame_->Speakers()[1].enabled && !frame_->Speakers()[0].enabled; }));

    // A window left running goes from screen to screen and opens its menu
    // a thousand times; its menu is rebuilt each time and stays the same
    // size: one "Speakers" submenu, one group of speakers.
    const auto menus = [&] { return frame_->findChildren<QMenu*>().size(); };
    const auto groups = [&] { return frame_->findChildren<QActionGroup*>().size(); };
    const qsizetype menusBefore = menus();
    const qsizetype groupsBefore = groups();
    for (int i = 0; i < 500; ++i) {
        frame_->Command(ui::WindowCommand::NowPlaying);
        frame_->Command(ui::WindowCommand::Controls);
    }
    EXPECT_EQ(menus(), menusBefore);
    EXPECT_EQ(groups(), groupsBefore);
    EXPECT_EQ(frame_->Screen(), "main");
    ASSERT_NE(speakerAction(second), nullptr);
    EXPECT_TRUE(speakerAction(second)->isChecked());

    frame_->Command(ui::WindowCommand::MultipleSpeakers);
    EXPECT_TRUE(frame_->CurrentSettings().useMultipleSpeakers);
    RegistryStore saved(settingsFile_);
    saved.Load();
    EXPECT_EQ(saved.QueryDword(kSettingsKey, "UseMultipleSpeakers").value_or(0), 1u);
    // Several now: the first switched on beside the second.
    const std::string first = frame_->Speakers()[0].id;
    speakerAction(first)->trigger();
    EXPECT_TRUE(Pump([&] { return Received("EnableSpeakerRequest") == 1; }));
    EXPECT_TRUE(
        Pump([&] { return frame_->Speakers()[0].enabled && frame_->Speakers()[1].enabled; }));

    // With rooms the list is fifty long, longer than the window: a finger
    // dragged up it scrolls it and chooses nothing; a tap chooses the row
    // under it; the mouse drags over rows without scrolling.
    QMenu* speakers = qobject_cast<QMenu*>(speakerAction(first)->parent());
    ASSERT_NE(speakers, nullptr);
    int chosen = 0;
    for (int room = 0; room < 48; ++room) {
        QObject::connect(speakers->addAction(QStringLiteral("Room %1").arg(room)),
                         &QAction::triggered, speakers, [&] { ++chosen; });
    }
    const auto rowAt = [&](QPoint at) {
        const QAction* action = speakers->actionAt(at);
        return action != nullptr ? action->text() : QString();
    };
    speakers->popup(frame_->mapToGlobal(QPoint(0, 0)));
    ASSERT_TRUE(Pump([&] { return speakers->isVisible(); }));
    const QRect firstRow = speakers->actionGeometry(speakers->actions().front());
    const int row = firstRow.height();
    const QPoint near(firstRow.center().x(), firstRow.center().y() + row);
    const QString before = rowAt(near);
    ASSERT_FALSE(before.isEmpty());
    FingerDown(speakers, near + QPoint(0, 8 * row));
    for (int step = 1; step <= 8; ++step) {
        FingerMove(speakers, near + QPoint(0, (8 - step) * row));
    }
    FingerUp(speakers, near);
    EXPECT_TRUE(Pump([&] { return rowAt(near) != before; })) << before.toStdString();
    PumpFor(200ms);
    EXPECT_TRUE(speakers->isVisible());
    EXPECT_EQ(chosen, 0);
    EXPECT_EQ(Received("EnableSpeakerRequest") + Received("SelectSpeakerRequest"), 2);
    const QString tapped = rowAt(near);
    ASSERT_TRUE(tapped.startsWith(QStringLiteral("Room"))) << tapped.toStdString();
    FingerDown(speakers, near);
    FingerUp(speakers, near);
    EXPECT_TRUE(Pump([&] { return chosen == 1; }));
    EXPECT_FALSE(speakers->isVisible());

    speakers->popup(frame_->mapToGlobal(QPoint(0, 0)));
    ASSERT_TRUE(Pump([&] { return speakers->isVisible(); }));
    const QString shown = rowAt(near);
    QTest::mousePress(speakers, Qt::LeftButton, {}, near + QPoint(0, 4 * row));
    for (int step = 1; step <= 4; ++step) {
        QTest::mouseMove(speakers, near + QPoint(0, (4 - step) * row));
    }
    EXPECT_EQ(rowAt(near), shown);
    speakers->hide();
}

TEST_F(ListScreensTest, AFolderThatShrinksIsReadAgainInPlace) {
    // A folder of 5000 rows that the server's library cuts to 2500.
    std::atomic<int> rows{5000};
    ScriptedHttp media([&](const std::string& head) {
        const auto number = [&](const std::string& name, int otherwise) {
            const std::size_t at = head.find(name + "=");
            return at == std::string::npos ? otherwise
                                           : std::atoi(head.c_str() + at + name.size() + 1);
        };
        const int total = rows;
        const int start = std::min(number("start", 0), total);
        wire::MediaList list;
        list.__set_path("/");
        list.__set_start(start);
        if (head.find("includeTotalCount=true") < head.find("\r\n")) {
            list.__set_totalCount(total);
        }
        std::vector<wire::MediaItem> items;
        for (int row = start; row < std::min(start + 1000, total); ++row) {
            wire::MediaItem item;
            item.__set_title(std::to_string(total) + " " + std::to_string(row));
            item.__set_container(false);
            items.push_back(item);
        }
        list.__set_items(items);
        return ScriptedReply{ScriptedHttp::Response(200, EncodeMediaList(list)), 0ms, false};
    });
    WriteSettings();
    StartWindow([&](ui::FrameOptions& options) { options.mediaPort = media.Port(); });
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::Library);
    ASSERT_TRUE(Pump([&] { return List().Count() == 5000; }));
    List().EnsureVisible(2100);
    ASSERT_TRUE(Pump([&] { return Row(2100) == "5000 2100"; }));
    List().SelectRow(2101);
    const int top = List().TopRow();

    rows = 2500;
    (*server_)->Post([](server::PlayerModel&, server::Events& events) {
        events.push_back(std::make_unique<MediaLibraryChangedEvent>());
    });
    EXPECT_TRUE(Pump([&] { return List().Count() == 2500 && Row(2100) == "2500 2100"; }));
    EXPECT_EQ(List().TopRow(), top);
    EXPECT_EQ(List().SelectedRow(), 2101);
    EXPECT_TRUE(Pump([&] { return Row(2499) == "2500 2499"; }));
}

TEST_F(ListScreensTest, BrokenPagesAndASlowSearchLeaveTheListUsable) {
    // A media service that answers every folder with a page that claims a
    // billion rows and carries two, and every search slowly with one row
    // named after what was asked.
    const auto page = [](const std::string& path, const std::string& text) {
        wire::MediaList list;
        list.__set_path(path);
        list.__set_start(0);
        list.__set_totalCount(1'000'000'000);
        wire::MediaItem item;
        item.__set_title(text);
        item.__set_container(false);
        list.__set_items({item, item});
        return EncodeMediaList(list);
    };
    ScriptedHttp media([&](const std::string& head) {
        const std::size_t search = head.find("/search/");
        const std::string body =
            search == std::string::npos
                ? page("/", "row")
                : page("/", head.substr(search + 8, head.find(".thrift") - search - 8));
        const std::string reply =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        if (search != std::string::npos) {
            std::this_thread::sleep_for(150ms);
        }
        return ScriptedReply{reply, 0ms, false};
    });
    WriteSettings();
    StartWindow([&](ui::FrameOptions& options) { options.mediaPort = media.Port(); });
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::Library);
    ASSERT_TRUE(Pump([&] { return List().Count() > 0; }));
    EXPECT_EQ(Row(0), "row");
    EXPECT_EQ(Row(5000), "");  // pending: never more than the rows that came

    // Typed faster than the search answers: what the box says in the end is
    // what is asked for and shown.
    QLineEdit& box = Screen().SearchField();
    for (const char* text : {"j", "ja", "jaz", "jazz"}) {
        box.setText(QString::fromLatin1(text));
        PumpFor(20ms);
    }
    EXPECT_TRUE(Pump([&] { return Screen().Browser().SearchMode() && Row(0) == "jazz"; }, 4s));
    EXPECT_EQ(frame_->Screen(), "playlist");
}

// A reader holding the tab row's "Back" while another screen shows: the
// button is not on screen, so it reads as hidden and a press goes nowhere.
TEST_F(ListScreensTest, AReaderPressingTheLibrarysBackWhileTheScreenIsHiddenDoesNothing) {
    OpenLibrary();
    TapRow(&List(), 0);
    ASSERT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    QAccessibleInterface* header = QAccessible::queryAccessibleInterface(&Screen().Header());
    ASSERT_NE(header, nullptr);
    QAccessibleInterface* back = nullptr;
    for (int i = 0; i < header->childCount(); ++i) {
        if (header->child(i)->text(QAccessible::Name) == QStringLiteral("Back")) {
            back = header->child(i);
        }
    }
    ASSERT_NE(back, nullptr);
    frame_->Command(ui::WindowCommand::Controls);
    ASSERT_EQ(frame_->Screen(), "main");
    ASSERT_FALSE(Screen().Header().isVisible());
    const std::string path = Screen().Browser().CurrentPath();
    EXPECT_TRUE(back->state().invisible) << "the hidden screen's Back reads as shown";
    back->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    PumpFor(300ms);
    EXPECT_EQ(Screen().Browser().CurrentPath(), path)
        << "the hidden library went back a list under the main screen";
}

// The tab row's title is a folder's name from the server (an artist's, an
// album's): a reader is given it as it is given a song's title, cut to a
// length it can say and with control characters as blanks.
TEST_F(ListScreensTest, TheTabRowsTitleOfMegabytesOrControlCharactersReadsAsText) {
    OpenLibrary();
    QAccessibleInterface* header = QAccessible::queryAccessibleInterface(&Screen().Header());
    ASSERT_NE(header, nullptr);
    const auto longest = [&] {
        qsizetype size = 0;
        for (int i = 0; i < header->childCount(); ++i) {
            size = std::max(size, header->child(i)->text(QAccessible::Name).size());
        }
        return size;
    };
    // As the screen sets the row for a folder opened (see UpdateHeader).
    ui::HeaderBarWidget& row = Screen().Header();
    row.SetButtons({"\u2039 " + std::string(1 << 20, 'x'), "Queue"}, 0);
    EXPECT_LE(longest(), 1024);
    row.SetButtons({"\u2039 " + std::string("A\x01\tB\nC\x7f", 7) + "D", "Queue"}, 0);
    bool read = false;
    for (int i = 0; i < header->childCount(); ++i) {
        read = read || header->child(i)->text(QAccessible::Name) == QStringLiteral("A B C D");
    }
    EXPECT_TRUE(read) << header->child(0)->text(QAccessible::Name).toStdString();
}

// The tab row is a control of the list screen: Tab reaches it, so the
// keyboard alone can switch to the queue's tab.
TEST_F(ListScreensTest, TabReachesTheTabRowAndTheKeyboardOpensTheQueueTab) {
    OpenLibrary();
    std::vector<std::string> visited;
    bool reached = false;
    for (int step = 0; step < 40 && !reached; ++step) {
        PressKey(frame_.get(), Qt::Key_Tab);
        PumpFor(10ms);
        QWidget* focus = frame_->focusWidget();
        visited.push_back(focus ? focus->objectName().toStdString() : "(none)");
        reached = focus == &Screen().Header();
    }
    std::string path;
    for (std::size_t i = 0; i < visited.size() && i < 8; ++i) {
        path += visited[i] + " > ";
    }
    ASSERT_TRUE(reached) << "Tab goes " << path << "...";

    // Left and Right walk the row (the library's Left, a step back, stays
    // the list's); Enter opens the tab the focus is on.
    const std::string where = Screen().Browser().CurrentPath();
    const int last = static_cast<int>(Screen().Header().Texts().size()) - 1;
    ASSERT_GT(last, 0);
    for (int i = 0; i < last + 2; ++i) {
        PressKey(frame_.get(), Qt::Key_Right);
    }
    PressKey(frame_.get(), Qt::Key_Left);
    PressKey(frame_.get(), Qt::Key_Right);
    EXPECT_EQ(Screen().Header().FocusedButton(), last);
    EXPECT_EQ(Screen().Browser().CurrentPath(), where);
    PressKey(frame_.get(), Qt::Key_Return);
    EXPECT_TRUE(Pump([&] { return Screen().Header().On() == last; }));
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// A finger put on a queue still moving after a flick stops it, as on any
// phone: that tap (and a second to stop it dead) selects and plays nothing.
TEST_F(ListScreensTest, ATapThatStopsAFlickSelectsAndPlaysNothing) {
    serverOptions_.songs = 600;
    serverOptions_.queueLength = 500;
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 500; }));
    QWidget* rows = queue.viewport();
    QScroller* scroller = QScroller::scroller(rows);
    const int selected = queue.SelectedEntry();
    const int plays = Received("SetPlaylistPositionRequest");

    const QPoint low(rows->width() / 2, rows->height() * 3 / 4);
    Swipe(rows, low, low - QPoint(0, rows->height() / 2));
    ASSERT_EQ(scroller->state(), QScroller::Scrolling) << "the flick did not go on by itself";
    const QPoint at = rows->rect().center();
    FingerDown(rows, at);
    FingerUp(rows, at);
    EXPECT_EQ(queue.SelectedEntry(), selected) << "the tap that stopped the list selected a row";
    // The list is still now: the next tap selects, and is no double tap.
    FingerDown(rows, at);
    FingerUp(rows, at);
    EXPECT_EQ(queue.SelectedEntry(), queue.indexAt(at).row());
    PumpFor(300ms);
    EXPECT_EQ(Received("SetPlaylistPositionRequest"), plays)
        << "two taps that stopped the list played a row";
}

// A finger held on a row at the queue's right edge: the row's menu opens
// inside the window, not over its edge.
TEST_F(ListScreensTest, ARowsMenuHeldAtTheWindowsEdgeStaysInsideIt) {
    serverOptions_.songs = 60;
    serverOptions_.queueLength = 40;
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 40; }));
    QWidget* rows = queue.viewport();
    MenuWatch menus;
    QRect opened;
    const QPoint edge(rows->width() - 4, rows->height() - 4);
    menus.whileOpen = [&] {
        opened = QApplication::activePopupWidget()->geometry();
        FingerUp(rows, edge);
    };
    FingerDown(rows, edge);
    ASSERT_TRUE(Pump([&] { return !menus.opened.empty(); }));
    const QRect window = frame_->geometry();
    EXPECT_TRUE(window.contains(opened))
        << "the menu at (" << opened.x() << "," << opened.y() << " " << opened.width() << "x"
        << opened.height() << ") in a window at (" << window.x() << "," << window.y() << " "
        << window.width() << "x" << window.height() << ")";
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// A jump label tapped while a flick still carries the list: the list stops
// on the letter's first row, the flick does not carry it on past it.
TEST_F(ListScreensTest, AJumpLabelTappedDuringAFlickLandsOnItsLetter) {
    serverOptions_.songs = 500;
    OpenLibrary();
    TapRow(&List(), 0);
    ASSERT_TRUE(Pump([&] { return Row(0) == "Artists"; }));
    TapRow(&List(), FindRow("Albums"));
    ASSERT_TRUE(Pump([&] { return !List().JumpLabels().empty(); }));
    const auto labels = List().JumpLabels();
    const int index = static_cast<int>(labels.size() / 2);
    const int row = labels[static_cast<std::size_t>(index)].second;
    auto* strip = frame_->findChild<QWidget*>(QStringLiteral("Jump Labels"));
    ASSERT_NE(strip, nullptr);

    QWidget* rows = List().viewport();
    QScroller* scroller = QScroller::scroller(rows);
    const QPoint low(rows->width() / 2, rows->height() * 3 / 4);
    Swipe(rows, low, low - QPoint(0, rows->height() / 2));
    ASSERT_EQ(scroller->state(), QScroller::Scrolling);
    const QPoint at(strip->width() / 2,
                    (2 * index + 1) * strip->height() / (2 * static_cast<int>(labels.size())));
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(at), strip->mapToGlobal(QPointF(at)),
                      Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(strip, &press);
    QMouseEvent release(QEvent::MouseButtonRelease, QPointF(at), strip->mapToGlobal(QPointF(at)),
                        Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(strip, &release);
    EXPECT_EQ(List().TopRow(), row);
    EXPECT_TRUE(Pump([&] { return scroller->state() == QScroller::Inactive; }, 3s));
    PumpFor(100ms);
    EXPECT_EQ(List().TopRow(), row) << "the flick carried the list on past the letter";
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// The song changes while a finger holds the queue partway down, or while a
// flick still carries it: the list stays under the finger and goes on
// with the flick, rather than jumping to the entry now playing and back.
TEST_F(ListScreensTest, ASongChangingUnderAFingerLeavesTheQueueWhereTheFingerHasIt) {
    serverOptions_.songs = 600;
    serverOptions_.queueLength = 500;
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 500; }));
    QWidget* rows = queue.viewport();
    QScrollBar* bar = queue.verticalScrollBar();
    const int playing = frame_->Player().playlistPosition;

    // Drawn well down the queue and held there.
    const QPoint low(rows->width() / 2, rows->height() - 4);
    FingerDown(rows, low);
    for (int step = 1; step <= 8; ++step) {
        QTest::qWait(8);
        FingerMove(rows, low - QPoint(0, step * (rows->height() - 8) / 8));
    }
    PumpFor(100ms);
    const int held = bar->value();
    ASSERT_GT(held, 0);
    std::vector<int> seen;
    (*server_)->Post(
        [](server::PlayerModel& player, server::Events& events) { events = player.Next(); });
    ASSERT_TRUE(Pump([&] {
        seen.push_back(bar->value());
        return frame_->Player().playlistPosition == playing + 1;
    }));
    for (int tick = 0; tick < 20; ++tick) {
        PumpFor(10ms);
        seen.push_back(bar->value());
    }
    for (const int value : seen) {
        EXPECT_EQ(value, held) << "the held queue moved from under the finger";
    }
    FingerUp(rows, QPoint(low.x(), 4));
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// What the window tells a reader: the names it is told of, by kind.
std::vector<std::string>* namesHeard = nullptr;
QAccessible::Event namesKind = QAccessible::NameChanged;
void HearNames(QAccessibleEvent* event) {
    if (namesHeard != nullptr && event->type() == namesKind) {
        QAccessibleInterface* told = event->accessibleInterface();
        namesHeard->push_back(told != nullptr ? told->text(QAccessible::Name).toStdString()
                                              : std::string("(none)"));
    }
}

// The library's screen is named by the folder it shows: a folder opened or
// left renames it, and a reader is told the new name, as
// it is told of a switch of screens.
TEST_F(ListScreensTest, AFolderOpenedOrLeftTellsAReaderTheScreensNewName) {
    OpenLibrary();
    if (!Pump([] { return QAccessible::isActive(); }, 2s)) {
        GTEST_SKIP() << "no assistive technology bus (run under Xvfb with the AT-SPI bus)";
    }
    QAccessibleInterface* screen =
        QAccessible::queryAccessibleInterface(const_cast<ui::ScreenView*>(&frame_->View()));
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->text(QAccessible::Name).toStdString(), "Media Library");
    std::vector<std::string> heard;
    namesHeard = &heard;
    namesKind = QAccessible::NameChanged;
    QAccessible::installUpdateHandler(&HearNames);
    TapRow(&List(), 0);
    const bool opened = Pump([&] { return Row(0) == "Artists"; });
    PumpFor(100ms);
    const std::vector<std::string> onOpening = heard;
    heard.clear();
    EXPECT_TRUE(Screen().Back());
    const bool left = Pump([&] { return Row(0) == "Music"; });
    PumpFor(100ms);
    QAccessible::installUpdateHandler(nullptr);
    namesHeard = nullptr;
    ASSERT_TRUE(opened);
    ASSERT_TRUE(left);
    EXPECT_EQ(screen->text(QAccessible::Name).toStdString(), "Media Library");
    EXPECT_NE(std::find(onOpening.begin(), onOpening.end(), "Music"), onOpening.end())
        << "opening Music told a reader of " << onOpening.size() << " new names";
    EXPECT_NE(std::find(heard.begin(), heard.end(), "Media Library"), heard.end())
        << "going back told a reader of " << heard.size() << " new names";
}

// The tab row's keyboard focus is a reader's too: the button the ring is on
// is the row's focused child, and Right tells a reader the next one.
TEST_F(ListScreensTest, TheTabRowsRingIsWhereAReaderIsToldTheFocusIs) {
    OpenLibrary();
    if (!Pump([] { return QAccessible::isActive(); }, 2s)) {
        GTEST_SKIP() << "no assistive technology bus (run under Xvfb with the AT-SPI bus)";
    }
    ui::HeaderBarWidget& header = Screen().Header();
    for (int step = 0; step < 40 && !header.hasFocus(); ++step) {
        PressKey(frame_.get(), Qt::Key_Tab);
        PumpFor(10ms);
    }
    ASSERT_TRUE(header.hasFocus());
    QAccessibleInterface* row = QAccessible::queryAccessibleInterface(&header);
    ASSERT_NE(row, nullptr);
    const std::vector<std::string> texts = header.Texts();
    ASSERT_EQ(texts.size(), 2u);
    QAccessibleInterface* focused = row->focusChild();
    EXPECT_TRUE(focused != nullptr && focused->text(QAccessible::Name).toStdString() == texts[0])
        << "the row's focused child: "
        << (focused ? focused->text(QAccessible::Name).toStdString() : "(none)");

    std::vector<std::string> heard;
    namesHeard = &heard;
    namesKind = QAccessible::Focus;
    QAccessible::installUpdateHandler(&HearNames);
    PressKey(frame_.get(), Qt::Key_Right);
    PumpFor(100ms);
    QAccessible::installUpdateHandler(nullptr);
    namesHeard = nullptr;
    ASSERT_EQ(header.FocusedButton(), 1);
    EXPECT_EQ(heard, std::vector<std::string>{"Queue"});
}

}  // namespace
}  // namespace vantor::testing
