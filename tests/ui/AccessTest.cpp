// The skinned screen as a screen reader and the keyboard meet it: each
// control family's role, name, value and place, what its actions send, the
// keyboard's focus, and a reader that holds on to what has gone. (What a
// reader is told as things change is read over AT-SPI: screen_reader_story.)

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QTest>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "skin/CSkin.h"
#include "skin/SkinBar.h"
#include "ui/GuiFixture.h"
#include "ui/access/ReadableText.h"
#include "ui/access/ScreenAccess.h"
#include "ui/keys/FunctionTable.h"
#include "ui/keys/KeyNames.h"
#include "ui/lists/LibraryList.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/view/ScreenView.h"

namespace vantor::testing {
namespace {

// What the view asked of the window.
struct RecordingInput final : ui::ScreenInput {
    void OnSkinButton(std::string_view component) override {
        sent.push_back("button " + std::string(component));
    }
    void OnBarDragged(std::string_view back, std::int32_t value, std::int32_t extent,
                      bool finished) override {
        sent.push_back("bar " + std::string(back) + " " + std::to_string(value) + "/" +
                       std::to_string(extent) + (finished ? " done" : ""));
    }
    void OnBarDragCancelled(std::string_view back) override {
        sent.push_back("cancel " + std::string(back));
    }
    void OnNowPlayingTapped() override { sent.push_back("tap"); }
    bool ControlsAct() const override { return act; }

    std::vector<std::string> sent;
    bool act = true;
};

class AccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        ui::InstallAccessibleFactory();
        skin_.SetScale(SkinScale{192, 192});
        ASSERT_TRUE(
            skin_.LoadSkin(VANTOR_SKINS_DIR "/default/default.xml", SkinRect{0, 0, 480, 640}));
        view_ = std::make_unique<ui::ScreenView>(
            skin_, input_, [this] { return screen_; }, nullptr);
        view_->resize(480, 640);
        view_->SetPreferredSize(QSize(480, 640));
        view_->SetVolumePercent(50);
        view_->SetPosition(30'000, 200);
        view_->SetSongTitle("Luca Arden - Summer Dance", true, false);
        view_->SetPlayingState(PlayingState::Playing);
        view_->Rebuild();
    }
    void TearDown() override { view_.reset(); }

    void Show(std::string_view screen) {
        screen_ = screen;
        view_->Rebuild();
    }
    QAccessibleInterface* Root() const {
        return QAccessible::queryAccessibleInterface(view_.get());
    }
    // The screen's children by name (the skinned ones only).
    std::map<std::string, QAccessibleInterface*> Children() const {
        std::map<std::string, QAccessibleInterface*> children;
        QAccessibleInterface* root = Root();
        for (int i = 0; i < root->childCount(); ++i) {
            QAccessibleInterface* child = root->child(i);
            if (child != nullptr && child->object() == nullptr) {
                children[child->text(QAccessible::Name).toStdString()] = child;
            }
        }
        return children;
    }
    QAccessibleInterface* Child(const std::string& name) const {
        const auto children = Children();
        const auto found = children.find(name);
        return found == children.end() ? nullptr : found->second;
    }
    void Key(int key, Qt::KeyboardModifiers modifiers = {}) {
        QKeyEvent press(QEvent::KeyPress, key, modifiers);
        QApplication::sendEvent(view_.get(), &press);
    }

    CSkin skin_;
    RecordingInput input_;
    std::string_view screen_ = kScreenMain;
    std::unique_ptr<ui::ScreenView> view_;
};

TEST_F(AccessTest, EachScreenOffersItsOwnControlsWithRoleNameAndPlace) {
    struct Expected {
        std::string_view screen;
        const char* title;  // the view's name: what a reader hears of a switch
        std::vector<std::pair<std::string, QAccessible::Role>> controls;
    };
    const Expected table[] = {
        {kScreenMain,
         "Controls",
         {{"Play", QAccessible::PushButton},
          {"Pause", QAccessible::PushButton},
          {"Stop", QAccessible::PushButton},
          {"Previous", QAccessible::PushButton},
          {"Next", QAccessible::PushButton},
          {"Repeat", QAccessible::PushButton},
          {"Shuffle", QAccessible::PushButton},
          {"Volume", QAccessible::Slider},
          {"Position", QAccessible::Slider},
          {"Luca Arden - Summer Dance", QAccessible::StaticText},
          {"Playing", QAccessible::StaticText}}},
        {kScreenNowPlaying,
         "Now Playing",
         {{"Album art", QAccessible::Graphic}, {"Position", QAccessible::Slider}}},
        {kScreenEq,
         "Equalizer",
         {{"Band 1", QAccessible::Slider},
          {"Band 10", QAccessible::Slider},
          {"Preamp", QAccessible::Slider},
          {"Equalizer", QAccessible::PushButton},
          {"Auto Load", QAccessible::PushButton}}},
    };
    // A switch renames the view, and a listening reader is told so: the
    // name it is told is the new screen's.
    static std::vector<std::string>* renamed = nullptr;
    std::vector<std::string> heard;
    renamed = &heard;
    QAccessible::installUpdateHandler([](QAccessibleEvent* event) {
        if (renamed != nullptr && event->type() == QAccessible::NameChanged && event->child() < 0 &&
            event->accessibleInterface() != nullptr) {
            renamed->push_back(event->accessibleInterface()->text(QAccessible::Name).toStdString());
        }
    });
    QAccessible::setActive(true);
    for (const Expected& expected : table) {
        heard.clear();
        Show(expected.screen);
        EXPECT_EQ(Root()->text(QAccessible::Name).toStdString(), expected.title);
        // (Qt tells no one on a platform without an accessibility bridge.)
        if (QAccessible::isActive()) {
            EXPECT_EQ(heard, std::vector<std::string>{expected.title}) << expected.screen;
        }
        const auto children = Children();
        for (const auto& [name, role] : expected.controls) {
            const auto found = children.find(name);
            ASSERT_NE(found, children.end()) << expected.screen << ": " << name;
            QAccessibleInterface* child = found->second;
            EXPECT_EQ(child->role(), role) << name;
            EXPECT_FALSE(child->state().invisible) << name;
            EXPECT_EQ(child->parent(), Root());
            EXPECT_EQ(Root()->child(Root()->indexOfChild(child)), child);
            // Its place on screen is the rectangle drawn.
            const QRect rect = child->rect();
            EXPECT_FALSE(rect.isEmpty()) << name;
            EXPECT_TRUE(QRect(view_->mapToGlobal(QPoint(0, 0)), view_->size()).contains(rect))
                << name;
            EXPECT_EQ(Root()->childAt(rect.center().x(), rect.center().y()), child) << name;
        }
    }
    // The other screens' controls are not in the tree: the transport is
    // the main screen's alone, and the connect screen has none.
    Show(kScreenEq);
    EXPECT_EQ(Child("Play"), nullptr);
    Show(kScreenConnect);
    EXPECT_TRUE(Children().empty());
    EXPECT_EQ(Root()->text(QAccessible::Name), QStringLiteral("Connect"));
    QAccessible::installUpdateHandler(nullptr);
    QAccessible::setActive(false);
    renamed = nullptr;
}

TEST_F(AccessTest, ActionsAndValuesSendWhatATapOrADragSends) {
    const std::int32_t width = view_->VolumeWidth();
    ASSERT_GT(width, 0);
    Child("Play")->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QAccessibleInterface* repeat = Child("Repeat");
    EXPECT_TRUE(repeat->state().checkable);
    EXPECT_FALSE(repeat->state().checked);
    repeat->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    view_->SetRepeat(RepeatState::All);
    EXPECT_TRUE(repeat->state().checked);

    QAccessibleValueInterface* volume = Child("Volume")->valueInterface();
    ASSERT_NE(volume, nullptr);
    EXPECT_EQ(volume->minimumValue().toInt(), 0);
    EXPECT_EQ(volume->maximumValue().toInt(), 100);
    EXPECT_EQ(volume->currentValue().toInt(), 50);
    volume->setCurrentValue(40);
    QAccessibleValueInterface* position = Child("Position")->valueInterface();
    EXPECT_EQ(position->maximumValue().toInt(), 200);
    EXPECT_EQ(position->currentValue().toInt(), 30);
    position->setCurrentValue(1e9);  // clamped to the song's end
    Child("Position")->actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    EXPECT_EQ(input_.sent,
              (std::vector<std::string>{
                  "button play", "button repeat",
                  "bar volumebar.back " + std::to_string(VolumeToPixels(40, width)) + "/" +
                      std::to_string(width) + " done",
                  "bar positionbar.back 200/200 done", "bar positionbar.back 35/200 done"}));

    // A band's gain goes out as the drag's formula reads it back.
    Show(kScreenEq);
    input_.sent.clear();
    Child("Band 3")->valueInterface()->setCurrentValue(-30);
    ASSERT_EQ(input_.sent.size(), 1u);
    int value = 0, extent = 0;
    ASSERT_EQ(std::sscanf(input_.sent[0].c_str(), "bar eq.bar03 %d/%d done", &value, &extent), 2);
    EXPECT_EQ(EqPixelsToGain(value, extent), -30);

    // While there is no player to tell, nothing goes.
    Show(kScreenMain);
    input_.sent.clear();
    input_.act = false;
    Child("Play")->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    Child("Volume")->valueInterface()->setCurrentValue(10);
    EXPECT_TRUE(input_.sent.empty());
}

TEST_F(AccessTest, TitlesOfAnyLengthAndControlCharactersReadAsText) {
    view_->SetSongTitle(std::string(1 << 20, 'x'), true, false);
    std::string name;
    for (const auto& [text, child] : Children()) {
        if (child->role() == QAccessible::StaticText && text.rfind('x', 0) == 0) {
            name = text;
        }
    }
    EXPECT_GT(name.size(), 100);
    EXPECT_LE(name.size(), 1024);
    view_->SetSongTitle(std::string("A\x01\tB\nC\x7f", 7) + "D", true, false);
    EXPECT_NE(Child("A B C D"), nullptr);
}

// A long title in a script of many bytes a letter is cut between letters:
// the reader is not given half a letter (a replacement character).
TEST(ReadableText, ALongTitleIsCutBetweenLetters) {
    std::string title;
    while (title.size() < 4096) {
        title += "\xe6\x97\xa5";  // three bytes a letter
    }
    const QString read = ui::ReadableText(title);
    EXPECT_FALSE(read.isEmpty());
    EXPECT_FALSE(read.contains(QChar(QChar::ReplacementCharacter)))
        << "ends in U+" << std::hex << static_cast<int>(read.back().unicode());
    const QString accented = ui::ReadableText(std::string(1023, 'x') + "\xc3\xa9 more");
    EXPECT_FALSE(accented.contains(QChar(QChar::ReplacementCharacter)));
}

TEST_F(AccessTest, AReaderHoldingAControlOfAScreenThatWentFindsNothingToPress) {
    QAccessibleInterface* play = Child("Play");
    ASSERT_NE(play, nullptr);
    const QAccessible::Id id = QAccessible::uniqueId(play);
    Show(kScreenEq);
    // The same object, off the tree: invisible, nowhere, and inert.
    EXPECT_EQ(QAccessible::accessibleInterface(id), play);
    EXPECT_TRUE(play->state().invisible);
    EXPECT_TRUE(play->rect().isEmpty());
    EXPECT_EQ(Root()->indexOfChild(play), -1);
    play->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(input_.sent.empty());
    // Back on its screen, it presses once per press.
    Show(kScreenMain);
    play->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(input_.sent, std::vector<std::string>{"button play"});

    // A reader attached and detached many times, and the view going while
    // a reader holds its controls' ids: no interface outlives its view.
    for (int round = 0; round < 50; ++round) {
        QAccessible::setActive(round % 2 == 0);
        ASSERT_NE(Root(), nullptr);
        ASSERT_EQ(Root()->childCount(), Root()->childCount());
    }
    view_.reset();
    EXPECT_EQ(QAccessible::accessibleInterface(id), nullptr);
}

TEST_F(AccessTest, TheKeyboardMovesThroughTheScreenInReadingOrderAndActs) {
    view_->show();
    view_->activateWindow();
    const bool active = QTest::qWaitForWindowActive(view_.get());
    view_->setFocus(Qt::ActiveWindowFocusReason);
    if (!active || !view_->hasFocus()) {
        GTEST_SKIP() << "the platform gives no window the focus";
    }
    // A focus the window merely has picks no control (no ring for a mouse
    // user); Tab does.
    EXPECT_EQ(view_->FocusedControl(), "");
    Key(Qt::Key_Tab);
    // Tab from the first control to the last, in the order a reader reads.
    std::vector<std::string> order;
    const std::vector<ui::ScreenView::AccessControl> controls = view_->AccessControls();
    for (std::size_t i = 0; i < controls.size(); ++i) {
        order.push_back(view_->FocusedControl());
        if (i + 1 < controls.size()) {
            Key(Qt::Key_Tab);
        }
    }
    std::vector<std::string> expected;
    for (const auto& control : controls) {
        expected.push_back(control.key);
    }
    EXPECT_EQ(order, expected);
    for (std::size_t i = 1; i < controls.size(); ++i) {
        EXPECT_LE(controls[i - 1].rect.top(), controls[i].rect.top());
    }
    Key(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(view_->FocusedControl(), expected[expected.size() - 2]);

    // Space presses; the arrows step the volume by 5 %; End and Home go to
    // its ends; Escape goes back.
    bool wentBack = false;
    view_->SetBackHandler([&] { wentBack = true; });
    view_->FocusControl("play");
    Key(Qt::Key_Space);
    QKeyEvent repeat(QEvent::KeyPress, Qt::Key_Space, {}, QString(), true);
    QApplication::sendEvent(view_.get(), &repeat);  // held: still one press
    view_->FocusControl("volumebar.back");
    Key(Qt::Key_Right);
    Key(Qt::Key_End);
    Key(Qt::Key_Home);
    Key(Qt::Key_Escape);
    const std::int32_t width = view_->VolumeWidth();
    const auto volume = [&](int percent) {
        return "bar volumebar.back " + std::to_string(VolumeToPixels(percent, width)) + "/" +
               std::to_string(width) + " done";
    };
    EXPECT_EQ(input_.sent,
              (std::vector<std::string>{"button play", volume(55), volume(100), volume(0)}));
    EXPECT_TRUE(wentBack);
    // The focus is drawn.
    const QImage drawn = view_->grab().toImage();
    const QRect ring = view_->ComponentRect("volumebar.back").adjusted(-2, -2, 1, 1);
    EXPECT_EQ(drawn.pixelColor(ring.topLeft()), QColor(255, 255, 255));

    // A screen without the focused control moves the focus to its own.
    Show(kScreenEq);
    EXPECT_EQ(view_->FocusedControl(), view_->AccessControls().front().key);
}

// A skinned control of the window by name, as a reader finds it.
QAccessibleInterface* WindowControl(const ui::ScreenView& view, const char* name) {
    QAccessibleInterface* root =
        QAccessible::queryAccessibleInterface(const_cast<ui::ScreenView*>(&view));
    for (int i = 0; root != nullptr && i < root->childCount(); ++i) {
        QAccessibleInterface* child = root->child(i);
        if (child != nullptr && child->text(QAccessible::Name) == QString::fromLatin1(name)) {
            return child;
        }
    }
    return nullptr;
}

TEST_F(GuiTest, AReaderPressingAsTheServerGoesOrTheQueueChangesSendsOnceOrNothing) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    const ui::ScreenView& view = frame_->View();
    QAccessibleInterface* pause = WindowControl(view, "Pause");
    ASSERT_NE(pause, nullptr);
    pause->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(Pump([&] { return frame_->Player().playingState == PlayingState::Paused; }));

    // The queue's rows read "Title, Artist, 3:27"; a queue replaced under
    // a reader reads the new rows (or nothing), never the old.
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 25 && !queue.RowText(0).empty(); }));
    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(&queue);
    ASSERT_NE(list, nullptr);
    const auto row = [&](int index) {
        QAccessibleInterface* cell =
            list->tableInterface() ? list->tableInterface()->cellAt(index, 0) : list->child(index);
        return cell ? cell->text(QAccessible::Name).toStdString() : std::string();
    };
    const std::string first = row(0);
    EXPECT_EQ(first.rfind(queue.RowText(0) + ", ", 0), 0u) << first;
    EXPECT_NE(first.find_last_of(':'), std::string::npos) << first;
    (*server_)->Post([](server::PlayerModel& player, server::Events& events) {
        const std::vector<std::int32_t> two = {player.Queue()[5], player.Queue()[6]};
        player.PlayNow(two, 0, events);
    });
    for (int i = 0; i < 50 && queue.RowCount() != 2; ++i) {
        (void)row(i % 25);  // read while the rows change
        PumpFor(10ms);
    }
    ASSERT_TRUE(Pump([&] { return queue.RowCount() == 2 && !queue.RowText(1).empty(); }));
    EXPECT_EQ(row(1).rfind(queue.RowText(1) + ", ", 0), 0u) << row(1);
    EXPECT_EQ(row(7), std::string());

    // Pressed while the server has gone: nothing goes, then or later.
    SimulatedOptions again = serverOptions_;
    again.mediaPort = (*server_)->MediaPort();
    again.discoveryPort = (*server_)->DiscoveryPort();
    const int plays = Received("PlayRequest");
    server_->Stop();
    ASSERT_TRUE(Pump([&] { return !frame_->Connected(); }));
    WindowControl(view, "Play")
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::pressAction());
    WindowControl(view, "Volume")->valueInterface()->setCurrentValue(5);
    ASSERT_TRUE(server_->Restart(again));
    ASSERT_TRUE(Pump([&] { return frame_->Connected() && frame_->Screen() == "main"; }));
    PumpFor(300ms);
    EXPECT_EQ(Received("PlayRequest"), plays);
    EXPECT_EQ(Received("SetVolumeRequest"), 0);
    // Back, one press is one request.
    WindowControl(view, "Play")
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(Pump([&] { return Received("PlayRequest") == plays + 1; }));
    PumpFor(200ms);
    EXPECT_EQ(Received("PlayRequest"), plays + 1);
}

// Counts what the pointer does anywhere in the application.
class PointerWatch final : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        switch (event->type()) {
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonRelease:
            case QEvent::MouseButtonDblClick:
            case QEvent::TouchBegin:
            case QEvent::TabletPress:
                ++presses;
                break;
            default:
                break;
        }
        return QObject::eventFilter(watched, event);
    }
    int presses = 0;
};

TEST_F(GuiTest, AKeyboardAloneConnectsPlaysFindsASongAndPlaysIt) {
    serverOptions_.startPlaying = false;
    // Right is bound to "Next Song": a bound key is the binding's wherever
    // the focus is.
    WriteSettings([](RegistryStore& store) {
        store.SetDword(kSettingsKey, "AutoConnect", 0);
        store.SetDword(kSettingsKey,
                       "FunctionKey" + std::to_string(ui::RowOf(ui::FunctionId::NextSong) + 1),
                       ui::kVkRight);
    });
    StartWindow([](ui::FrameOptions& options) { options.server.clear(); });
    PointerWatch pointer;
    qApp->installEventFilter(&pointer);
    const auto key = [&](int code, Qt::KeyboardModifiers modifiers = {}) {
        PressKey(frame_.get(), code, modifiers);
        PumpFor(10ms);
    };
    const auto type = [&](const QString& text) {
        for (const QChar c : text) {
            QWidget* target = frame_->focusWidget();
            ASSERT_NE(target, nullptr);
            for (QEvent::Type kind : {QEvent::KeyPress, QEvent::KeyRelease}) {
                QKeyEvent event(kind, 0, Qt::NoModifier, QString(c));
                QApplication::sendEvent(target, &event);
            }
        }
    };
    // Tab (at most round the window twice) until `there` holds.
    const auto tabTo = [&](const std::function<bool()>& there) {
        for (int step = 0; step < 80 && !there(); ++step) {
            key(Qt::Key_Tab);
        }
        return there();
    };
    const auto focusNamed = [&](const char* name) {
        return [this, name] {
            return frame_->focusWidget() &&
                   frame_->focusWidget()->objectName() == QString::fromLatin1(name);
        };
    };
    const ui::ScreenView& view = frame_->View();

    // Connect: the server typed into its box, Enter.
    ASSERT_EQ(frame_->Screen(), "connect");
    ASSERT_TRUE(tabTo(focusNamed("Server Box")));
    frame_->focusWidget()->setProperty("text", QString());
    type(QStringLiteral("127.0.0.1"));
    key(Qt::Key_Return);
    ASSERT_TRUE(OnMainWithSong());

    // Play: the focus on the skinned button, Space.
    ASSERT_TRUE(tabTo([&] { return view.hasFocus() && view.FocusedControl() == "play"; }));
    key(Qt::Key_Space);
    EXPECT_TRUE(Pump([&] { return frame_->Player().playingState == PlayingState::Playing; }));
    EXPECT_EQ(Received("PlayRequest"), 1);

    // On the volume bar, Up steps it; Right stays "Next Song".
    ASSERT_TRUE(tabTo([&] { return view.FocusedControl() == "volumebar.back"; }));
    key(Qt::Key_Right);
    EXPECT_TRUE(Pump([&] { return Received("NextItemRequest") == 1; }));
    key(Qt::Key_Up);
    EXPECT_TRUE(Pump([&] { return Received("SetVolumeRequest") == 1; }));
    EXPECT_EQ(view.FocusedControl(), "volumebar.back");
    EXPECT_EQ(Received("NextItemRequest"), 1);

    // The library: the command bar's button.
    ASSERT_TRUE(tabTo(focusNamed("Command Button")));
    key(Qt::Key_Space);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "playlist"; }));

    // Search: the field, a word, then on into the results and Enter on the
    // first song (a row read with its length).
    ui::LibraryList& list = frame_->Library().List();
    ASSERT_TRUE(tabTo(focusNamed("Search Field")));
    QTest::keyClick(frame_->focusWidget(), Qt::Key_A, Qt::ControlModifier);
    type(QStringLiteral("Summer"));
    ASSERT_TRUE(Pump(
        [&] {
            return frame_->Library().Browser().SearchMode() && list.Count() > 0 &&
                   !list.model()->index(0, 0).data(Qt::AccessibleTextRole).toString().isEmpty();
        },
        5s));
    ASSERT_TRUE(tabTo([&] { return list.hasFocus(); }));
    const auto selected = [&] {
        return list.currentIndex().data(Qt::AccessibleTextRole).toString();
    };
    for (int row = 0; row < list.Count() && !selected().contains(QLatin1Char(':')); ++row) {
        key(Qt::Key_Down);
    }
    const QString song = selected();
    ASSERT_TRUE(song.contains(QLatin1Char(':'))) << song.toStdString();
    key(Qt::Key_Return);
    const std::string title = song.section(QStringLiteral(", "), 0, 0).toStdString();
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().title == title; })) << title;

    // Escape goes back from the results, as the handheld's Back does.
    key(Qt::Key_Escape);
    EXPECT_TRUE(Pump([&] { return !frame_->Library().Browser().SearchMode(); }));

    EXPECT_EQ(pointer.presses, 0);
    qApp->removeEventFilter(&pointer);
}

// The list has the keyboard: a key it leaves goes to its parent, the view,
// which must not press the control a Tab once left the focus on.
TEST_F(GuiTest, AKeyTheQueueLeavesDoesNotPressTheControlLastFocusedOnTheScreen) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    const ui::ScreenView& view = frame_->View();
    const auto& queue = frame_->Queue();
    ASSERT_TRUE(Pump([&] { return queue.RowCount() > 0; }));
    const auto key = [&](int code) {
        PressKey(frame_.get(), code);
        PumpFor(10ms);
    };
    for (int step = 0; step < 80 && !(view.hasFocus() && view.FocusedControl() == "next"); ++step) {
        key(Qt::Key_Tab);
    }
    ASSERT_EQ(view.FocusedControl(), "next");
    // Down, as on the handheld, takes the keyboard into the queue.
    key(Qt::Key_Down);
    ASSERT_TRUE(Pump([&] { return queue.hasFocus(); }));
    const int nexts = Received("NextItemRequest");
    // Enter on a row of the queue.
    key(Qt::Key_Return);
    PumpFor(300ms);
    EXPECT_EQ(Received("NextItemRequest"), nexts) << "Enter in the queue pressed \"Next\"";

    // The same with the volume bar focused and the queue then clicked.
    for (int step = 0; step < 80 && !(view.hasFocus() && view.FocusedControl() == "volumebar.back");
         ++step) {
        key(Qt::Key_Tab);
    }
    ASSERT_EQ(view.FocusedControl(), "volumebar.back");
    const_cast<ui::PlayQueueList&>(queue).setFocus(Qt::MouseFocusReason);
    ASSERT_TRUE(Pump([&] { return queue.hasFocus(); }));
    const int volumes = Received("SetVolumeRequest");
    key(Qt::Key_Right);  // nowhere to go in a one-column list
    key(Qt::Key_End);
    PumpFor(300ms);
    EXPECT_EQ(Received("SetVolumeRequest"), volumes) << "keys in the queue moved the volume";
}

// What the window tells a reader of the focus, last first.
std::vector<std::string>* focusHeard = nullptr;
void HearFocus(QAccessibleEvent* event) {
    if (focusHeard != nullptr && event->type() == QAccessible::Focus) {
        QAccessibleInterface* focused = event->accessibleInterface();
        focusHeard->push_back(focused != nullptr ? focused->text(QAccessible::Name).toStdString()
                                                 : std::string("(none)"));
    }
}

// Tab from the queue back onto the skinned screen: the last focus a reader
// is told of is the control the ring is on, not the unnamed screen.
TEST_F(GuiTest, TabbingOntoTheScreenTellsAReaderTheControlNotTheScreen) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    if (!Pump([] { return QAccessible::isActive(); }, 2s)) {
        GTEST_SKIP() << "no assistive technology bus (run under Xvfb with the AT-SPI bus)";
    }
    const ui::ScreenView& view = frame_->View();
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    queue.setFocus(Qt::OtherFocusReason);
    ASSERT_TRUE(Pump([&] { return queue.hasFocus(); }));
    std::vector<std::string> heard;
    focusHeard = &heard;
    QAccessible::installUpdateHandler(&HearFocus);
    for (int step = 0; step < 40 && !view.hasFocus(); ++step) {
        PressKey(frame_.get(), Qt::Key_Tab);
        PumpFor(10ms);
    }
    PumpFor(100ms);
    QAccessible::installUpdateHandler(nullptr);
    focusHeard = nullptr;
    ASSERT_TRUE(view.hasFocus());
    ASSERT_FALSE(view.FocusedControl().empty());
    ASSERT_FALSE(heard.empty());
    std::string told;
    for (const auto& control : view.AccessControls()) {
        if (control.key == view.FocusedControl()) {
            told = control.name.toStdString();
        }
    }
    EXPECT_EQ(heard.back(), told) << "the reader was last told of \"" << heard.back() << "\"";
}

// A menu closes, the view has the focus back and the chosen screen comes in
// the same turn: a reader looks at what it was told of only after that, so
// it must not have been told of the old screen's control, gone by then.
std::vector<QAccessibleInterface*>* focusTold = nullptr;
TEST_F(GuiTest, AFocusGivenBackAsTheScreenSwitchesTellsAReaderNothingGone) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Player().supportsEq; }));
    if (!Pump([] { return QAccessible::isActive(); }, 2s)) {
        GTEST_SKIP() << "no assistive technology bus (run under Xvfb with the AT-SPI bus)";
    }
    auto& view = const_cast<ui::ScreenView&>(frame_->View());
    view.setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(Pump([&] { return view.hasFocus() && !view.FocusedControl().empty(); }));
    auto& queue = const_cast<ui::PlayQueueList&>(frame_->Queue());
    queue.setFocus(Qt::OtherFocusReason);
    ASSERT_TRUE(Pump([&] { return queue.hasFocus(); }));
    std::vector<QAccessibleInterface*> told;
    focusTold = &told;
    QAccessible::installUpdateHandler([](QAccessibleEvent* event) {
        if (focusTold != nullptr && event->type() == QAccessible::Focus) {
            focusTold->push_back(event->accessibleInterface());
        }
    });
    view.setFocus(Qt::PopupFocusReason);
    frame_->Command(ui::WindowCommand::Equalizer);
    PumpFor(100ms);
    QAccessible::installUpdateHandler(nullptr);
    focusTold = nullptr;
    ASSERT_EQ(frame_->Screen(), "eq");
    for (QAccessibleInterface* control : told) {
        ASSERT_NE(control, nullptr);
        EXPECT_TRUE(control->isValid() && !control->state().invisible)
            << "a reader was told of \"" << control->text(QAccessible::Name).toStdString()
            << "\", which is not on the equaliser";
    }
}

// A reader tabbing into a list hears which list it is, not "list" alone.
TEST_F(GuiTest, TheQueueAndTheLibraryListHaveNames) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    QAccessibleInterface* queue =
        QAccessible::queryAccessibleInterface(const_cast<ui::PlayQueueList*>(&frame_->Queue()));
    ASSERT_NE(queue, nullptr);
    EXPECT_FALSE(queue->text(QAccessible::Name).isEmpty()) << "the queue reads as \"list\"";
    QAccessibleInterface* library =
        QAccessible::queryAccessibleInterface(&frame_->Library().List());
    ASSERT_NE(library, nullptr);
    EXPECT_FALSE(library->text(QAccessible::Name).isEmpty()) << "the library reads as \"list\"";
}

// Escape is the screen's Back wherever the window's focus is: on the
// now-playing screen with the command bar's button focused too, and on the
// equaliser, which the handheld leaves by the command bar's "Controls".
TEST_F(GuiTest, EscapeLeavesNowPlayingAndTheEqualizerWithTheFocusOnTheCommandBar) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Player().supportsEq; }));
    const std::pair<ui::WindowCommand, const char*> table[] = {
        {ui::WindowCommand::NowPlaying, "nowplaying"},
        {ui::WindowCommand::Equalizer, "eq"},
    };
    for (const auto& [command, screen] : table) {
        frame_->Command(command);
        ASSERT_TRUE(Pump([&] { return frame_->Screen() == screen; })) << screen;
        auto* button = frame_->findChild<QWidget*>(QStringLiteral("Command Button"));
        ASSERT_NE(button, nullptr);
        button->setFocus(Qt::TabFocusReason);
        ASSERT_TRUE(Pump([&] { return button->hasFocus(); }));
        PressKey(frame_.get(), Qt::Key_Escape);
        EXPECT_TRUE(Pump([&] { return frame_->Screen() == "main"; }, 1s))
            << screen << " -> " << frame_->Screen();
    }
}

// Tab on the main screen reads as the eye does: the controls above the
// queue, the queue, the controls below it, then the command bar; Shift+Tab
// the same backwards. The library screen's title is its name.
TEST_F(GuiTest, TabGoesThroughTheMainScreenInReadingOrderAndShiftTabBack) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    const ui::ScreenView& view = frame_->View();
    const QWidget& queue = frame_->Queue();
    auto* button = frame_->findChild<QWidget*>(QStringLiteral("Command Button"));
    ASSERT_NE(button, nullptr);
    button->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(Pump([&] { return button->hasFocus(); }));
    const auto where = [&]() -> std::string {
        if (view.hasFocus()) {
            return view.FocusedControl();
        }
        QWidget* focus = QApplication::focusWidget();
        if (focus == &queue || queue.isAncestorOf(focus)) {
            return "queue";
        }
        return focus == button ? "command bar" : "elsewhere";
    };
    const auto walk = [&](int key, Qt::KeyboardModifiers modifiers) {
        std::vector<std::string> seen;
        for (int step = 0; step < 60; ++step) {
            PressKey(frame_.get(), key, modifiers);
            PumpFor(5ms);
            seen.push_back(where());
            if (seen.back() == "command bar") {
                break;
            }
        }
        return seen;
    };
    const std::vector<std::string> forward = walk(Qt::Key_Tab, {});
    std::vector<std::string> expected;
    std::vector<ui::ScreenView::AccessControl> controls = view.AccessControls();
    const int queueTop = queue.geometry().top();
    bool queued = false;
    for (const auto& control : controls) {
        if (!queued && control.rect.top() > queueTop) {
            expected.push_back("queue");
            queued = true;
        }
        expected.push_back(control.key);
    }
    if (!queued) {
        expected.push_back("queue");
    }
    expected.push_back("command bar");
    EXPECT_EQ(forward, expected);
    ASSERT_NE(expected.front(), "queue");
    ASSERT_NE(expected[expected.size() - 2], "queue") << "no control below the queue";

    std::vector<std::string> backward = walk(Qt::Key_Backtab, Qt::ShiftModifier);
    std::vector<std::string> reversed(expected.rbegin() + 1, expected.rend());
    reversed.push_back("command bar");
    EXPECT_EQ(backward, reversed);

    // The library's name is its title, as its tab row shows it.
    frame_->Command(ui::WindowCommand::Library);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "playlist"; }));
    QAccessibleInterface* root =
        QAccessible::queryAccessibleInterface(const_cast<ui::ScreenView*>(&view));
    const QString name = root->text(QAccessible::Name);
    EXPECT_FALSE(name.isEmpty());
    bool tab = false;
    for (int i = 0; i < root->childCount(); ++i) {
        QAccessibleInterface* child = root->child(i);
        for (int j = 0; child != nullptr && j < child->childCount(); ++j) {
            QAccessibleInterface* part = child->child(j);
            tab = tab || (part != nullptr && part->role() == QAccessible::PageTab &&
                          part->state().checked && part->text(QAccessible::Name) == name);
        }
    }
    EXPECT_TRUE(tab) << name.toStdString();

    // The window closed with the ring on a control ends cleanly (the focus
    // leaves the view after the window's skin has gone).
    frame_->Command(ui::WindowCommand::Controls);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "main"; }));
    for (int step = 0; step < 60 && !(view.hasFocus() && !view.FocusedControl().empty()); ++step) {
        PressKey(frame_.get(), Qt::Key_Tab);
        PumpFor(5ms);
    }
    ASSERT_TRUE(view.hasFocus() && !view.FocusedControl().empty());
    StopWindow();
}

// A window made wider than tall shows only a message where the screen was:
// a reader is given that message, not an empty, unnamed screen.
TEST_F(GuiTest, TheLandscapeMessageIsReadable) {
    WriteSettings();
    StartWindow([](ui::FrameOptions& options) { options.screenIsWindow = true; });
    ASSERT_TRUE(OnMainWithSong());
    frame_->resize(QSize(800, 480));
    ASSERT_TRUE(Pump([&] { return frame_->Landscape(); }));
    PumpFor(50ms);
    QAccessibleInterface* root =
        QAccessible::queryAccessibleInterface(const_cast<ui::ScreenView*>(&frame_->View()));
    ASSERT_NE(root, nullptr);
    QString said =
        root->text(QAccessible::Name) + QLatin1Char(' ') + root->text(QAccessible::Description);
    for (int i = 0; i < root->childCount(); ++i) {
        if (QAccessibleInterface* child = root->child(i); child != nullptr) {
            said += QLatin1Char(' ') + child->text(QAccessible::Name);
        }
    }
    EXPECT_TRUE(said.contains(QStringLiteral("landscape"))) << said.toStdString();
}

// Shift+Tab from the command bar onto the equaliser lands on the presets'
// box, the screen's last stop: the last focus a reader is told of is that
// box, not the screen it lies on.
TEST_F(GuiTest, ShiftTabFromTheCommandBarOntoTheEqualizerTellsAReaderThePresets) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    if (!Pump([] { return QAccessible::isActive(); }, 2s)) {
        GTEST_SKIP() << "no assistive technology bus (run under Xvfb with the AT-SPI bus)";
    }
    ASSERT_TRUE(Pump([&] { return frame_->Player().supportsEq; }));
    frame_->Command(ui::WindowCommand::Equalizer);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "eq"; }));
    auto* button = frame_->findChild<QWidget*>(QStringLiteral("Command Button"));
    ASSERT_NE(button, nullptr);
    button->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(Pump([&] { return button->hasFocus(); }));
    const QWidget* presets = frame_->findChild<QWidget*>(QStringLiteral("Equalizer Presets"));
    ASSERT_NE(presets, nullptr);
    ASSERT_TRUE(Pump([&] { return presets->isVisible() && presets->isEnabled(); }));
    std::vector<std::string> heard;
    focusHeard = &heard;
    QAccessible::installUpdateHandler(&HearFocus);
    PressKey(frame_.get(), Qt::Key_Backtab, Qt::ShiftModifier);
    PumpFor(100ms);
    QAccessible::installUpdateHandler(nullptr);
    focusHeard = nullptr;
    std::string said;
    for (const std::string& name : heard) {
        said += "\"" + name + "\" ";
    }
    const QWidget* focus = QApplication::focusWidget();
    ASSERT_TRUE(presets->hasFocus())
        << "the focus is on " << (focus != nullptr ? focus->objectName().toStdString() : "nothing")
        << "; the reader was told " << said;
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back(), "Presets") << "the reader was told " << said;
}

// A step of one band tells a reader of that band's value, not of every
// band, the preamp and the switches.
std::vector<std::string>* changesHeard = nullptr;
void HearChanges(QAccessibleEvent* event) {
    if (changesHeard == nullptr) {
        return;
    }
    const char* kind = event->type() == QAccessible::ValueChanged   ? "value "
                       : event->type() == QAccessible::StateChanged ? "state "
                                                                    : nullptr;
    QAccessibleInterface* changed = event->accessibleInterface();
    if (kind != nullptr && changed != nullptr) {
        changesHeard->push_back(kind + changed->text(QAccessible::Name).toStdString());
    }
}

TEST_F(GuiTest, AStepOfOneBandTellsAReaderOfThatBandAlone) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    if (!Pump([] { return QAccessible::isActive(); }, 2s)) {
        GTEST_SKIP() << "no assistive technology bus (run under Xvfb with the AT-SPI bus)";
    }
    ASSERT_TRUE(Pump([&] { return frame_->Player().supportsEq; }));
    frame_->Command(ui::WindowCommand::Equalizer);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "eq"; }));
    const ui::ScreenView& view = frame_->View();
    for (int step = 0; step < 40 && !(view.hasFocus() && view.FocusedControl() == "eq.bar03");
         ++step) {
        PressKey(frame_.get(), Qt::Key_Tab);
        PumpFor(5ms);
    }
    ASSERT_EQ(view.FocusedControl(), "eq.bar03");
    const int before = frame_->Player().eq.bands[2];
    std::vector<std::string> heard;
    changesHeard = &heard;
    QAccessible::installUpdateHandler(&HearChanges);
    PressKey(frame_.get(), Qt::Key_Up);
    const bool moved = Pump([&] { return frame_->Player().eq.bands[2] != before; });
    PumpFor(100ms);
    QAccessible::installUpdateHandler(nullptr);
    changesHeard = nullptr;
    ASSERT_TRUE(moved);
    std::string said;
    for (const std::string& change : heard) {
        said += "\"" + change + "\" ";
    }
    EXPECT_EQ(heard, std::vector<std::string>{"value Band 3"}) << said;
}

// The connect screen's list of servers is one of its controls: Tab reaches
// it, so a keyboard alone can choose a server found on the network.
TEST_F(GuiTest, TabReachesTheConnectScreensListOfServers) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::Disconnect);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "connect"; }));
    QWidget* box = frame_->findChild<QWidget*>(QStringLiteral("Server Box"));
    QWidget* list = frame_->findChild<QWidget*>(QStringLiteral("Server List"));
    ASSERT_NE(box, nullptr);
    ASSERT_NE(list, nullptr);
    box->setFocus(Qt::OtherFocusReason);
    ASSERT_TRUE(Pump([&] { return box->hasFocus(); }));
    const QString before = qobject_cast<QLineEdit*>(box)->text();
    std::string path;
    bool reached = false;
    for (int step = 0; step < 12 && !reached; ++step) {
        PressKey(frame_.get(), Qt::Key_Tab);
        PumpFor(5ms);
        QWidget* focus = QApplication::focusWidget();
        path += (focus != nullptr ? focus->objectName().toStdString() : "(none)") + " > ";
        reached = focus == list;
    }
    EXPECT_TRUE(reached) << "Tab goes " << path;
    // Reaching the list chooses nothing; an arrow then does.
    auto* edit = qobject_cast<QLineEdit*>(box);
    ASSERT_NE(edit, nullptr);
    EXPECT_EQ(edit->text(), before);
    PressKey(list, Qt::Key_Down);
    PumpFor(5ms);
    EXPECT_EQ(edit->text(), QStringLiteral("(Find Automatically)"));
}
}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// Tab onto the list of servers when the box holds a server the list has
// not: the list takes the focus with no row chosen, and a person at the
// keyboard must still see that it has it (a ring, a marked row), or the
// next arrow chooses a server they did not know they were choosing among.
TEST_F(GuiTest, TheServerListShowsThatTabGaveItTheFocus) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::Disconnect);
    ASSERT_TRUE(Pump([&] { return frame_->Screen() == "connect"; }));
    auto* edit = frame_->findChild<QLineEdit*>(QStringLiteral("Server Box"));
    QWidget* list = frame_->findChild<QWidget*>(QStringLiteral("Server List"));
    ASSERT_NE(edit, nullptr);
    ASSERT_NE(list, nullptr);
    edit->setFocus(Qt::OtherFocusReason);
    ASSERT_TRUE(Pump([&] { return edit->hasFocus(); }));
    edit->selectAll();
    QTest::keyClicks(edit, QStringLiteral("media-room.local"));
    PumpFor(20ms);
    ASSERT_EQ(qobject_cast<QListWidget*>(list)->currentItem(), nullptr);
    const QImage unfocused = list->grab().toImage();
    for (int step = 0; step < 12 && !list->hasFocus(); ++step) {
        PressKey(frame_.get(), Qt::Key_Tab);
        PumpFor(5ms);
    }
    ASSERT_TRUE(list->hasFocus());
    PumpFor(20ms);
    const QImage focused = list->grab().toImage();
    EXPECT_NE(focused, unfocused) << "the list looks the same with the focus as without it";
}

}  // namespace
}  // namespace vantor::testing
