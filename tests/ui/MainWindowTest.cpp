// The window as a user meets it, story by story, against vantor-server on
// loopback: what it shows, what its buttons and bars send, and how it
// copes when the server goes, the screen turns, or nobody touches it.

#include <QtGui/private/qhighdpiscaling_p.h>

#include <QCryptographicHash>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QPaintEngine>
#include <QScreen>
#include <QTest>
#include <fstream>

#include "protocol/Messages.h"
#include "skin/SkinBar.h"
#include "support/ScriptedHttp.h"
#include "ui/GuiFixture.h"
#include "ui/lists/LibraryList.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/screens/LibraryScreen.h"

namespace vantor::testing {
namespace {

TEST_F(GuiTest, ConnectsAutomaticallyAndDrawsTheServersSongTimeAndVolume) {
    WriteSettings([](RegistryStore& store) { store.SetString(kSettingsKey, "Server1", "nas"); });
    server_ = std::make_unique<TestServer>(serverOptions_);
    (*server_)->Post([](server::PlayerModel& player, server::Events& events) {
        player.SetQueuePosition(7, events);
    });
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());

    const std::string line = ServerTitleLine();
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().songTitle == line; })) << line;
    const std::int32_t volume = ServerVolume();
    const ui::ScreenView& view = frame_->View();
    const std::int32_t fill = VolumeToPixels(volume, view.VolumeWidth());
    EXPECT_TRUE(Pump([&] { return view.Content().volumePixels == fill; }));
    EXPECT_TRUE(Pump([&] { return view.Content().positionMs >= 0; }));

    // Drawn, not only known: the title and the time in their fonts'
    // colours, the volume fill ending where the volume says.
    const QImage& image = view.Frame();
    EXPECT_GT(PixelsNear(image, view.ComponentRect("songback"), QColor(238, 242, 248)), 50);
    EXPECT_GT(PixelsNear(image, view.ComponentRect("positionback"), QColor(46, 196, 182)), 20);
    const QRect bar = view.ComponentRect("volumebar.back");
    EXPECT_NE(image.pixel(bar.left() + fill - 2, bar.center().y()),
              image.pixel(bar.left() + fill + 2, bar.center().y()));
    // The queue lists the server's, the entry now playing selected.
    EXPECT_TRUE(Pump([&] { return frame_->Queue().RowCount() == 25; }));
    EXPECT_TRUE(Pump([&] { return frame_->Queue().SelectedEntry() == 7; }));

    // The server given for this run is not saved over the history.
    StopWindow();
    RegistryStore store(settingsFile_);
    store.Load();
    EXPECT_EQ(store.QueryString(kSettingsKey, "Server1", 200).value_or(""), "nas");
}

TEST_F(GuiTest, ButtonsAndDragsReachTheServerAsRequests) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());

    Click("pause");
    EXPECT_TRUE(Pump([&] { return frame_->Player().playingState == PlayingState::Paused; }));
    Click("play");
    EXPECT_TRUE(Pump([&] { return frame_->Player().playingState == PlayingState::Playing; }));
    const std::string first = frame_->View().Content().songTitle;
    Click("next");
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().songTitle != first; }));
    Click("repeat");
    EXPECT_TRUE(Pump([&] { return frame_->Player().repeat == RepeatState::All; }));
    EXPECT_EQ(frame_->View().Content().repeat, RepeatState::All);

    // A press that slides off its button before the release sends nothing.
    const QRect stop = frame_->View().ComponentRect("stop");
    Mouse(QEvent::MouseButtonPress, stop.center(), Qt::LeftButton);
    Mouse(QEvent::MouseMove, stop.topLeft() - QPoint(40, 40), Qt::LeftButton);
    Mouse(QEvent::MouseButtonRelease, stop.topLeft() - QPoint(40, 40), Qt::NoButton);
    PumpFor(200ms);
    EXPECT_EQ(Received("StopRequest"), 0);
    EXPECT_EQ(Received("PauseRequest"), 1);
    EXPECT_EQ(Received("NextItemRequest"), 1);

    // Thirty moves across the volume bar cost a request or two, and the
    // bar's final place is the volume the server ends with.
    const QRect volume = frame_->View().ComponentRect("volumebar.back");
    const int y = volume.center().y();
    const int end = volume.left() + volume.width() * 3 / 4;
    const int sentBefore = Received("SetVolumeRequest");
    Mouse(QEvent::MouseButtonPress, QPoint(volume.left() + 2, y), Qt::LeftButton);
    for (int step = 1; step <= 30; ++step) {
        Mouse(QEvent::MouseMove, QPoint(volume.left() + (end - volume.left()) * step / 30, y),
              Qt::LeftButton);
    }
    Mouse(QEvent::MouseButtonRelease, QPoint(end, y), Qt::NoButton);
    const int expected =
        static_cast<int>(std::lround(100.0 * (end - volume.left()) / frame_->View().VolumeWidth()));
    EXPECT_TRUE(Pump([&] { return frame_->Player().volume == expected; })) << expected;
    const int sent = Received("SetVolumeRequest") - sentBefore;
    EXPECT_GE(sent, 1);
    EXPECT_LE(sent, 3);

    // Dragging the position bar seeks.
    const QRect position = frame_->View().ComponentRect("positionbar.back");
    const std::int32_t length = ServerTrack().length;
    Mouse(QEvent::MouseButtonPress, QPoint(position.left() + 4, position.center().y()),
          Qt::LeftButton);
    Mouse(QEvent::MouseMove, position.center(), Qt::LeftButton);
    Mouse(QEvent::MouseButtonRelease, position.center(), Qt::NoButton);
    const int target = static_cast<int>(
        std::lround(double(position.center().x() - position.left()) * length / position.width()));
    EXPECT_TRUE(Pump([&] { return ServerPosition() >= target && ServerPosition() <= target + 2; }))
        << target;
}

TEST_F(GuiTest, ADragWhoseBarGoesEndsUnsent) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Player().volume >= 0; }));

    // The volume bar held while the screen changes under the stylus: the
    // drag ends there, and the release sends nothing.
    const QRect volume = frame_->View().ComponentRect("volumebar.back");
    const int y = volume.center().y();
    Mouse(QEvent::MouseButtonPress, QPoint(volume.left() + 2, y), Qt::LeftButton);
    Mouse(QEvent::MouseMove, QPoint(volume.left() + volume.width() / 3, y), Qt::LeftButton);
    PumpFor(300ms);
    const int sent = Received("SetVolumeRequest");
    frame_->Command(ui::WindowCommand::Library);
    Mouse(QEvent::MouseButtonRelease, QPoint(volume.left() + volume.width() / 2, y), Qt::NoButton);
    frame_->Command(ui::WindowCommand::Controls);
    ASSERT_EQ(frame_->Screen(), "main");
    PumpFor(300ms);
    EXPECT_EQ(Received("SetVolumeRequest"), sent);

    // The bar follows the server again.
    (*server_)->Post(
        [](server::PlayerModel& player, server::Events& events) { events = player.SetVolume(37); });
    const std::int32_t pixels = VolumeToPixels(37, frame_->View().VolumeWidth());
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().volumePixels == pixels; })) << pixels;

    // The position bar the same, its drag ended by the connection's loss.
    const QRect position = frame_->View().ComponentRect("positionbar.back");
    Mouse(QEvent::MouseButtonPress, QPoint(position.left() + 4, position.center().y()),
          Qt::LeftButton);
    frame_->Command(ui::WindowCommand::Disconnect);
    ASSERT_EQ(frame_->Screen(), "connect");
    Mouse(QEvent::MouseButtonRelease, QPoint(position.left() + 4, position.center().y()),
          Qt::NoButton);
    frame_->Command(ui::WindowCommand::Connect);
    ASSERT_TRUE(OnMainWithSong());
    const std::int32_t middle = ServerTrack().length / 2;
    (*server_)->Post([middle](server::PlayerModel& player, server::Events& events) {
        player.SetPlaybackPosition(middle, events);
    });
    EXPECT_TRUE(Pump([&] {
        const std::int64_t shown = frame_->View().Content().positionMs / 1000;
        return shown >= middle && shown <= middle + 2;
    })) << middle;
}

// A release the view never gets (a box that opened during the drag took
// it): the pointer moving afterwards, no button held, must not seek or
// set the volume.
// A finger on the skinned screen is the stylus, less what only a pointer
// has: a button shows pushed under it and nothing is lit once it lifts; a
// drag along the volume bar sends a few coalesced volumes, the last of
// which the server ends with. A finger that slides on to another button, a
// second finger and a touch the system takes back send nothing and leave
// nothing pushed; a drag taken back sends no more and shows the server's
// volume again.
TEST_F(GuiTest, AFingerPushesButtonsAndDragsTheVolumeBar) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Player().volume >= 0; }));
    QWidget* screen = Screen();
    const ui::ScreenView& view = frame_->View();
    const auto picture = [&](std::string_view name) {
        return view.Frame().copy(view.ComponentRect(name));
    };
    const QImage next = picture("next");
    const QImage prev = picture("prev");

    FingerDown(screen, Center("next"));
    EXPECT_NE(picture("next"), next) << "not pushed under the finger";
    FingerUp(screen, Center("next"));
    EXPECT_TRUE(Pump([&] { return Received("NextItemRequest") == 1; }));
    EXPECT_EQ(picture("next"), next) << "still lit after the finger lifted";

    FingerDown(screen, Center("next"));
    FingerMove(screen, Center("prev"));
    FingerUp(screen, Center("prev"));
    TwoFingers(screen, Center("next"), Center("songback"));
    TwoFingers(screen, Center("prev"), Center("next"));
    FingerDown(screen, Center("prev"));
    CancelTouches(screen);
    EXPECT_EQ(picture("prev"), prev) << "pushed after the touch was taken back";
    FingerUp(screen, Center("prev"));
    PumpFor(200ms);
    EXPECT_EQ(Received("NextItemRequest"), 1);
    EXPECT_EQ(Received("PreviousItemRequest"), 0);
    EXPECT_EQ(picture("next"), next);
    EXPECT_EQ(picture("prev"), prev);

    const QRect volume = view.ComponentRect("volumebar.back");
    const int y = volume.center().y();
    const int end = volume.left() + volume.width() * 3 / 4;
    const int sentBefore = Received("SetVolumeRequest");
    FingerDown(screen, QPoint(volume.left() + 2, y));
    for (int step = 1; step <= 30; ++step) {
        FingerMove(screen, QPoint(volume.left() + (end - volume.left()) * step / 30, y));
    }
    FingerUp(screen, QPoint(end, y));
    const int expected =
        static_cast<int>(std::lround(100.0 * (end - volume.left()) / view.VolumeWidth()));
    EXPECT_TRUE(Pump([&] { return ServerVolume() == expected; })) << expected;
    const int sent = Received("SetVolumeRequest") - sentBefore;
    EXPECT_GE(sent, 1);
    EXPECT_LE(sent, 3);

    // Put down at the volume the server has, drawn away and taken back.
    const QPoint at(volume.left() + VolumeToPixels(expected, view.VolumeWidth()), y);
    FingerDown(screen, at);
    FingerMove(screen, QPoint(volume.left() + 4, y));
    CancelTouches(screen);
    FingerUp(screen, QPoint(volume.left() + 4, y));
    PumpFor(300ms);
    EXPECT_EQ(ServerVolume(), expected) << "a drag taken back was sent";
    EXPECT_TRUE(Pump([&] {
        return view.Content().volumePixels == VolumeToPixels(expected, view.VolumeWidth());
    }));
}

TEST_F(GuiTest, APointerMovedWithNoButtonHeldIsNoDrag) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Player().volume >= 0; }));

    const QRect volume = frame_->View().ComponentRect("volumebar.back");
    const int y = volume.center().y();
    Mouse(QEvent::MouseButtonPress, QPoint(volume.left() + 2, y), Qt::LeftButton);
    PumpFor(300ms);
    const int sent = Received("SetVolumeRequest");
    // No release; the pointer then hovers across the bar.
    for (int step = 1; step <= 4; ++step) {
        Mouse(QEvent::MouseMove, QPoint(volume.left() + step * volume.width() / 5, y),
              Qt::NoButton);
        PumpFor(200ms);
    }
    EXPECT_EQ(Received("SetVolumeRequest"), sent) << "the bar followed a pointer with no button";

    // The next tap is on "next": it skips, and sets no volume.
    const int volumes = Received("SetVolumeRequest");
    const int skips = Received("NextItemRequest");
    Click("next");
    PumpFor(300ms);
    EXPECT_EQ(Received("NextItemRequest"), skips + 1) << "the tap on next did not skip";
    EXPECT_EQ(Received("SetVolumeRequest"), volumes) << "the tap on next set the volume";
}

// The server goes while the volume bar is held; the release then sends
// nothing, so the bar must not show the value as set, and once the server
// is back the bar shows the server's volume.
TEST_F(GuiTest, AVolumeDragEndedWhileTheServerIsAwayShowsTheServersVolume) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_TRUE(Pump([&] { return frame_->Player().volume >= 0; }));
    const std::int32_t serverVolume = ServerVolume();
    const ui::ScreenView& view = frame_->View();
    const std::int32_t serverPixels = VolumeToPixels(serverVolume, view.VolumeWidth());
    ASSERT_TRUE(Pump([&] { return view.Content().volumePixels == serverPixels; }));

    const QRect volume = view.ComponentRect("volumebar.back");
    const int y = volume.center().y();
    // Pressed where the fill already ends: the press sends nothing new.
    const QPoint at(volume.left() + serverPixels, y);
    Mouse(QEvent::MouseButtonPress, at, Qt::LeftButton);

    serverOptions_.mediaPort = (*server_)->MediaPort();
    server_->Stop();
    ASSERT_TRUE(Pump([&] { return view.Content().songTitle == "Reconnecting..."; }));
    const QPoint far(serverPixels > volume.width() / 2 ? volume.left() + 2 : volume.right() - 2, y);
    Mouse(QEvent::MouseMove, far, Qt::LeftButton);
    Mouse(QEvent::MouseButtonRelease, far, Qt::NoButton);
    EXPECT_EQ(view.Content().volumePixels, serverPixels)
        << "the bar shows a volume that was never sent";

    ASSERT_TRUE(server_->Restart(serverOptions_));
    const std::string line = ServerTitleLine();
    ASSERT_TRUE(Pump([&] { return view.Content().songTitle == line; }, 10s)) << line;
    const std::int32_t backPixels = VolumeToPixels(ServerVolume(), view.VolumeWidth());
    EXPECT_TRUE(Pump([&] { return view.Content().volumePixels == backPixels; }, 3s))
        << "server volume " << ServerVolume() << " (" << backPixels << " px), shown "
        << view.Content().volumePixels << " px";
}

TEST_F(GuiTest, LosingTheServerShowsReconnectingUntilItReturns) {
    WriteSettings([](RegistryStore& store) {
        store.SetString(kSettingsKey, "Server1", "192.0.2.99");
        store.SetDword(kSettingsKey, "NowPlayingOnIdle", 1);
    });
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());

    serverOptions_.mediaPort = (*server_)->MediaPort();
    server_->Stop();
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().songTitle == "Reconnecting..."; }));
    // The window goes on working meanwhile: a button press returns at once.
    Click("next");
    EXPECT_EQ(frame_->Screen(), "main");
    // It shows the player as it was last known: the clock stands where the
    // song was, and a bar that nothing could be sent for does not move.
    const ui::ScreenContent& content = frame_->View().Content();
    const std::int64_t stood = content.positionMs;
    const QRect volume = frame_->View().ComponentRect("volumebar.back");
    const QImage volumeShown = frame_->View().Frame().copy(volume);
    const std::int32_t volumePixels = content.volumePixels;
    const QPoint low(volume.left() + 2, volume.center().y());
    Mouse(QEvent::MouseButtonPress, low, Qt::LeftButton);
    EXPECT_EQ(frame_->View().Frame().copy(volume), volumeShown);
    Mouse(QEvent::MouseButtonRelease, low, Qt::NoButton);
    EXPECT_EQ(content.volumePixels, volumePixels);
    EXPECT_EQ(frame_->View().Frame().copy(volume), volumeShown);
    PumpFor(1500ms);
    EXPECT_EQ(content.positionMs, stood);

    ASSERT_TRUE(server_->Restart(serverOptions_));
    const std::string line = ServerTitleLine();
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().songTitle == line; }, 10s)) << line;
    EXPECT_EQ(frame_->Screen(), "main");
    // Back with a playing player, the clock runs between its reports again
    // (which alone would leave it on whole seconds).
    EXPECT_TRUE(Pump([&] { return content.positionMs > 0 && content.positionMs % 1000 != 0; }));
    EXPECT_TRUE(Pump([&] { return frame_->Queue().RowCount() > 0; }));

    StopWindow();
    RegistryStore store(settingsFile_);
    store.Load();
    EXPECT_EQ(store.QueryString(kSettingsKey, "Server1", 200).value_or(""), "192.0.2.99");
    EXPECT_EQ(store.QueryDword(kSettingsKey, "NowPlayingOnIdle").value_or(0), 1u);
}

TEST_F(GuiTest, AButtonLightsOnlyWhileThePointerIsOnItAndAToggleShowsItsState) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    ASSERT_FALSE(frame_->View().Content().shuffle);
    // The pointer as the platform moves it, over the window's children.
    const auto moveTo = [&](const QWidget* widget, QPoint at) {
        QTest::mouseMove(frame_->windowHandle(), widget->mapTo(frame_.get(), at));
    };
    const auto picture = [&](std::string_view name) {
        return frame_->View().Frame().copy(frame_->View().ComponentRect(name));
    };
    const QPoint clear = Center("songback");
    moveTo(Screen(), clear);
    const QImage next = picture("next");
    const QImage shuffleOff = picture("shuffle");

    // Lit under the pointer; out once the pointer has gone on to the queue.
    moveTo(Screen(), Center("next"));
    ASSERT_NE(picture("next"), next);
    const QWidget* queue = frame_->Queue().viewport();
    moveTo(queue, queue->rect().center());
    EXPECT_EQ(picture("next"), next);

    // Shuffle switched on shows on, the pointer still on it or not.
    moveTo(Screen(), Center("shuffle"));
    const QImage shuffleHovered = picture("shuffle");
    ASSERT_NE(shuffleHovered, shuffleOff);
    Click("shuffle");
    ASSERT_TRUE(frame_->View().Content().shuffle);
    const QImage shuffleOnUnderPointer = picture("shuffle");
    moveTo(Screen(), clear);
    const QImage shuffleOn = picture("shuffle");
    EXPECT_NE(shuffleOn, shuffleOff);
    EXPECT_NE(shuffleOn, shuffleHovered);
    EXPECT_EQ(shuffleOnUnderPointer, shuffleOn);
    EXPECT_TRUE(Pump([&] { return frame_->Player().shuffle; }));
    moveTo(Screen(), Center("shuffle"));
    EXPECT_EQ(picture("shuffle"), shuffleOn);
}

TEST_F(GuiTest, LandscapeIsRefusedAndTurningBackLandsOnMain) {
    CopySkins();
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());

    // The menu and command bars follow the scale's font, so the window is
    // sized again once they have.
    const auto resizeScreen = [&](int width, int height) {
        for (int pass = 0; pass < 2; ++pass) {
            const QSize chrome = frame_->size() - Screen()->size();
            frame_->resize(width + chrome.width(), height + chrome.height());
            if (Pump([&] { return Screen()->size() == QSize(width, height); }, 1s)) {
                return true;
            }
        }
        return false;
    };
    // Taller at the same scale, the window keeps the skin as it read it and
    // the images it decoded: the buttons still show, moved down with the
    // deck, though their image's files have gone meanwhile.
    const QRect next = frame_->View().ComponentRect("next");
    const QImage nextShown = frame_->View().Frame().copy(next);
    for (const char* image : {"controls.png", "controls@1.3x.png", "controls@2x.png"}) {
        std::filesystem::remove(installDir_ / "skins" / "default" / image);
    }
    ASSERT_TRUE(resizeScreen(480, 700));
    EXPECT_EQ(frame_->View().ComponentRect("next"), next.translated(0, 60));
    EXPECT_EQ(frame_->View().Frame().copy(frame_->View().ComponentRect("next")), nextShown);
    CopySkins();

    frame_->Command(ui::WindowCommand::NowPlaying);
    ASSERT_EQ(frame_->Screen(), "nowplaying");
    ASSERT_TRUE(resizeScreen(640, 480));
    EXPECT_TRUE(frame_->Landscape());
    EXPECT_TRUE(frame_->View().Landscape());
    EXPECT_FALSE(frame_->Queue().isVisible());
    const int before = Received("NextItemRequest");
    Click(QPoint(320, 400));  // where buttons would be: nothing happens
    PumpFor(100ms);
    EXPECT_EQ(Received("NextItemRequest"), before);

    ASSERT_TRUE(resizeScreen(480, 640));
    EXPECT_FALSE(frame_->Landscape());
    EXPECT_EQ(frame_->Screen(), "main");
    EXPECT_EQ(frame_->View().Frame().size(), QSize(480, 640));
    EXPECT_TRUE(frame_->Queue().isVisible());
    EXPECT_FALSE(frame_->View().Content().songTitle.empty());

    // Narrower than the handheld's screen, the skin is drawn smaller, its
    // images scaled to fit.
    ASSERT_TRUE(resizeScreen(211, 537));
    EXPECT_DOUBLE_EQ(frame_->DisplayScale(), 84.0 / 96);
    EXPECT_EQ(frame_->View().Frame().width(), 211);
    // (The deck's edge carries it on past the skin's 240 units.)
    const auto deckRight = [&] {
        return (frame_->View().ComponentRect("deck") | frame_->View().ComponentRect("deck.edge"))
            .right();
    };
    EXPECT_EQ(deckRight(), 210);
    // A wider one draws the skin across its width, from the images of the
    // step below.
    ASSERT_TRUE(resizeScreen(360, 560));
    EXPECT_DOUBLE_EQ(frame_->DisplayScale(), 1.5);
    EXPECT_EQ(frame_->Skin().ResolutionSuffix(), "@1.3x");
    EXPECT_EQ(frame_->View().Frame().size(), QSize(360, 560));
    EXPECT_EQ(deckRight(), 359);
    Click("next");
    EXPECT_TRUE(Pump([&] { return Received("NextItemRequest") == before + 1; }));
}

TEST_F(GuiTest, AnIdleWindowShowsNowPlayingWhileMusicPlays) {
    WriteSettings(
        [](RegistryStore& store) { store.SetDword(kSettingsKey, "NowPlayingOnIdle", 1); });
    StartWindow([](ui::FrameOptions& options) { options.idleTime = 300ms; });
    ASSERT_TRUE(OnMainWithSong());
    EXPECT_TRUE(Pump([&] { return frame_->Screen() == "nowplaying"; }));

    // A tap on the art goes back to where the window was.
    Click(frame_->View().WindowRect("albumart").center());
    EXPECT_EQ(frame_->Screen(), "main");

    // With the player stopped the window stays where it is.
    Click("stop");
    ASSERT_TRUE(Pump([&] { return frame_->Player().playingState == PlayingState::Stopped; }));
    PumpFor(1500ms);
    EXPECT_EQ(frame_->Screen(), "main");
}

TEST_F(GuiTest, AnOfferedUpdateIsDownloadedWithProgressAndOpened) {
    const std::filesystem::path offer = dir_ / "offer" / "vantor-1.6.0.0.deb";
    std::filesystem::create_directories(offer.parent_path());
    std::string bytes(300 * 1024, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 7 + i / 1000);
    }
    std::ofstream(offer, std::ios::binary) << bytes;
    serverOptions_.updateFile = offer.string();
    serverOptions_.info.clientVersion = "1.6.0.0";
    prompter_.yes = true;
    WriteSettings();
    StartWindow();

    ASSERT_TRUE(Pump([&] { return !launcher_.Opened().empty(); }, 10s));
    EXPECT_TRUE(prompter_.Showed("Update Available"));
    const std::filesystem::path saved = installDir_ / "vantor-1.6.0.0.deb";
    EXPECT_EQ(launcher_.Opened().front(), saved.string() + " ");
    std::ifstream in(saved, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), bytes);
    // The bar went the whole way on the connect screen, and the window quits
    // so the installer can replace the program.
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().progressPercent == 100; }));
    EXPECT_TRUE(Pump([&] { return frame_->Closing(); }));
    EXPECT_FALSE(prompter_.Showed("Error Applying Update"));
}

TEST_F(GuiTest, TheNowPlayingScreenFollowsTheSongWithItsArt) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    Click(frame_->View().ComponentRect("songback").center());
    ASSERT_EQ(frame_->Screen(), "nowplaying");
    const ui::ScreenContent& content = frame_->View().Content();
    ASSERT_TRUE(Pump([&] { return !content.albumArt.isNull(); }));
    const QImage first = content.albumArt;

    // The next song from another album brings its own art and lines.
    const server::Track next = PlayAnotherAlbum();
    ASSERT_FALSE(next.title.empty());
    EXPECT_TRUE(Pump([&] { return content.title == next.title; }));
    EXPECT_EQ(content.artist, next.artist);
    EXPECT_EQ(content.album, next.album);
    EXPECT_TRUE(Pump([&] { return !content.albumArt.isNull() && content.albumArt != first; }));
    const auto artFetches = [&] {
        int fetches = 0;
        for (const std::string& path : (*server_)->MediaRequests()) {
            fetches += path.rfind("/art/", 0) == 0;
        }
        return fetches;
    };
    EXPECT_EQ(artFetches(), 2);
    // The art is drawn in its place.
    const QRect box = frame_->View().WindowRect("albumart");
    const QImage& image = frame_->View().Frame();
    const QImage drawn =
        content.albumArt.scaled(box.size(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
    EXPECT_EQ(image.pixelColor(box.center()), drawn.pixelColor(drawn.rect().center()));

    // Back to the first song: its art is shown again without a new fetch.
    (*server_)->Post([](server::PlayerModel& model, server::Events& events) {
        model.SetQueuePosition(0, events);
    });
    EXPECT_TRUE(Pump([&] { return content.albumArt == first; }));
    EXPECT_EQ(artFetches(), 2);
}

// Two windows with settings files of their own: the second one's start
// leaves the first one's pictures alone.
TEST_F(GuiTest, EachSettingsFileKeepsItsOwnArt) {
    const std::filesystem::path cache = dir_ / "cache";
    const QByteArray savedCache = qgetenv("XDG_CACHE_HOME");
    qputenv("XDG_CACHE_HOME", QByteArray::fromStdString(cache.string()));
    const auto kept = [&] {
        std::vector<std::filesystem::path> pictures;
        std::error_code error;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(cache, error)) {
            if (entry.path().extension() == ".img") {
                pictures.push_back(entry.path());
            }
        }
        return pictures;
    };
    WriteSettings();
    StartWindow([](ui::FrameOptions& options) { options.dataDir.clear(); });
    ASSERT_TRUE(OnMainWithSong());
    Click(frame_->View().ComponentRect("songback").center());
    ASSERT_TRUE(Pump([&] { return !kept().empty(); }));
    const std::vector<std::filesystem::path> first = kept();

    ui::FrameOptions other;
    other.configPath = (dir_ / "other.reg").string();
    RegistryStore otherSettings(other.configPath);
    otherSettings.CreateKey(kSettingsKey);
    otherSettings.SetString(kSettingsKey, "InstallDir", installDir_.string() + "/");
    otherSettings.SetDword(kSettingsKey, "AutoConnect", 0);
    ASSERT_EQ(otherSettings.Save(), 0);
    other.server = "127.0.0.1";
    other.port = server_->Port();
    other.discovery.broadcastAddress = "127.0.0.1";
    other.discovery.discoveryPort = (*server_)->DiscoveryPort();
    RecordingPrompter boxes;
    ui::FrameServices services;
    services.prompter = &boxes;
    services.launcher = &launcher_;
    services.addresses = addresses_;
    services.quit = [](int) {};
    auto second = std::make_unique<ui::CMainFrame>(other, services);
    ASSERT_TRUE(second->Create());
    for (const std::filesystem::path& picture : first) {
        EXPECT_TRUE(std::filesystem::exists(picture)) << picture;
    }
    second->Command(ui::WindowCommand::Exit);
    second.reset();
    if (savedCache.isNull()) {
        qunsetenv("XDG_CACHE_HOME");
    } else {
        qputenv("XDG_CACHE_HOME", savedCache);
    }
}

TEST_F(GuiTest, DisconnectingReturnsToTheConnectScreenAndConnectPicksTheTypedServer) {
    WriteSettings([](RegistryStore& store) { store.SetDword(kSettingsKey, "AutoConnect", 0); });
    StartWindow([](ui::FrameOptions& options) { options.server.clear(); });
    PumpFor(100ms);
    EXPECT_EQ(frame_->Screen(), "connect");
    EXPECT_FALSE(frame_->Connected());

    // Typed into the box, the address is what Connect connects to, and it
    // heads the saved history.
    QLineEdit* box = frame_->findChild<QLineEdit*>(QStringLiteral("Server Box"));
    ASSERT_NE(box, nullptr);
    box->setText(QStringLiteral("127.0.0.1"));
    frame_->Command(ui::WindowCommand::Connect);
    ASSERT_TRUE(OnMainWithSong());
    RegistryStore saved(settingsFile_);
    saved.Load();
    EXPECT_EQ(saved.QueryString(kSettingsKey, "Server1", 200).value_or(""), "127.0.0.1");

    // The server restarts and the window reconnects; what follows is the
    // user's own Disconnect and Connect, which must reach the main screen.
    SimulatedOptions again = serverOptions_;
    again.mediaPort = (*server_)->MediaPort();
    again.discoveryPort = (*server_)->DiscoveryPort();
    server_->Stop();
    EXPECT_TRUE(Pump([&] { return !frame_->Connected(); }));
    ASSERT_TRUE(server_->Restart(again));
    ASSERT_TRUE(Pump([&] { return frame_->Connected(); }));

    frame_->Command(ui::WindowCommand::Disconnect);
    EXPECT_EQ(frame_->Screen(), "connect");
    EXPECT_FALSE(frame_->Connected());
    EXPECT_EQ(frame_->Queue().RowCount(), 0);
    // Commands that need a session do nothing here.
    frame_->Command(ui::WindowCommand::NowPlaying);
    frame_->Command(ui::WindowCommand::Controls);
    EXPECT_EQ(frame_->Screen(), "connect");
    PumpFor(300ms);
    EXPECT_EQ(frame_->Screen(), "connect");  // no reconnection follows

    // Connected again, the library's list reads the new session's rows
    // (the list outlives the session's browsing).
    frame_->Command(ui::WindowCommand::Connect);
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::Library);
    ui::LibraryList& list = frame_->Library().List();
    EXPECT_TRUE(Pump([&] {
        return list.Count() > 0 &&
               list.model()->index(0, 0).data().toString() == QStringLiteral("Music");
    }));
}

TEST_F(GuiTest, AFirstRunWelcomesTheUserAndWaitsToBeToldWhereToConnect) {
    // No settings file yet: the welcome, then the settings sheet.
    bool sheet = false;
    WithSettings(
        [&](ui::SettingsSheet& shown) {
            sheet = true;
            EXPECT_TRUE(prompter_.Showed("Welcome!"));
            shown.reject();
        },
        [&] {
            StartWindow();
            Pump([&] { return sheet; });
        });
    PumpFor(200ms);
    EXPECT_EQ(frame_->Screen(), "connect");
    EXPECT_FALSE(frame_->AttemptRunning());
    EXPECT_FALSE(frame_->Connected());
}

TEST_F(GuiTest, GarbageStallsAndMissingImagesLeaveTheWindowWorking) {
    // A skin that lost some of its images still shows every screen.
    CopySkins();
    for (const char* image : {"deck.png", "deck@1.3x.png", "deck@2x.png"}) {
        std::filesystem::remove(installDir_ / "skins" / "default" / image);
    }
    // A media service that never answers.
    ScriptedHttp stalled([](const std::string&) { return ScriptedReply{"", 3s, false}; });
    WriteSettings();
    StartWindow([&](ui::FrameOptions& options) { options.mediaPort = stalled.Port(); });
    ASSERT_TRUE(OnMainWithSong());
    // Its page is on its way, and the list says so.
    EXPECT_EQ(frame_->Queue().RowCount(), 0);
    EXPECT_TRUE(Pump([&] { return frame_->Queue().ShowsBusy(); }));

    // Garbage from the server is dropped; the session goes on.
    (*server_)->SendRaw(std::string("<Bogus>1</Bogus>\0not xml at all\0<PlayRequest>\0", 46));
    const std::string title = frame_->View().Content().songTitle;
    Click("next");
    EXPECT_TRUE(Pump([&] { return frame_->View().Content().songTitle != title; }));
    EXPECT_EQ(frame_->Screen(), "main");
    frame_->Command(ui::WindowCommand::NowPlaying);
    EXPECT_EQ(frame_->Screen(), "nowplaying");
    // The library waits as visibly, and the window goes on meanwhile.
    frame_->Command(ui::WindowCommand::Library);
    EXPECT_TRUE(Pump([&] { return frame_->Library().List().ShowsBusy(); }));
    frame_->Command(ui::WindowCommand::Controls);
    EXPECT_EQ(frame_->Screen(), "main");
}

// The window as a user sizes it (menu and command bar inside), over the
// sizes of handhelds, phones and wall panels: the menu, the screen and the
// command bar tile the window; on the main screen the controls and the
// queue lie inside the screen, none over another, and the queue reaches
// from under the song's strip to the deck, which reaches the bottom; the
// buttons keep their shape. Sizes are device pixels at a pixel ratio, which
// the window sees as the size divided by it.
TEST_F(GuiTest, AnyPortraitWindowIsFilledWithoutOverlaps) {
    CopySkins();
    WriteSettings();
    const auto fitWindow = [&](QSize size) {
        frame_->resize(size);
        // The menu and the command bar take the new scale's font after the
        // screen has taken the new size: the screen is laid out again then.
        const auto settled = [&] {
            return frame_->size() == size &&
                   frame_->View().Frame().size() == frame_->View().DeviceSize();
        };
        return Pump(settled, 1s) && (PumpFor(100ms), Pump(settled, 1s));
    };
    // The handheld's screen as laid out (in the picture's pixels).
    const auto handheld = [&] {
        std::vector<QRect> rects;
        for (const char* name : {"songback", "positionbar.back", "prev", "play", "next", "repeat",
                                 "volumebar.back", "deck"}) {
            rects.push_back(frame_->View().ComponentRect(name));
        }
        rects.push_back(frame_->Queue().geometry());
        return rects;
    };

    const struct {
        int width, height;
        double ratio;
    } sizes[] = {{240, 320, 1},    {320, 400, 1},   {480, 640, 1},     {480, 800, 1},
                 {720, 1280, 1},   {800, 1280, 1},  {360, 1080, 1},    {720, 1440, 2},
                 {1080, 2160, 3},  {1440, 3200, 3}, {600, 1000, 1.25}, {1440, 2560, 4},
                 {1080, 2400, 1.5}};
    for (const auto& entry : sizes) {
        const QSize window(static_cast<int>(entry.width / entry.ratio),
                           static_cast<int>(entry.height / entry.ratio));
        // Each as a phone 62 mm across.
        StopWindow();
        StartWindow([&](ui::FrameOptions& options) {
            options.screenIsWindow = true;
            options.pixelRatio = entry.ratio;
            options.physicalDpi = window.width() * 25.4 / 62;
        });
        ASSERT_TRUE(OnMainWithSong());
        const std::string at = std::to_string(entry.width) + "x" + std::to_string(entry.height) +
                               "@" + std::to_string(entry.ratio);
        ASSERT_TRUE(fitWindow(window)) << at;
        ASSERT_FALSE(frame_->Landscape()) << at;
        const ui::ScreenView& view = frame_->View();
        const QRect menu = frame_->menuBar()->geometry();
        const QRect screen = Screen()->geometry();
        const QWidget* bar = frame_->findChild<QWidget*>(QStringLiteral("Command Bar"));
        ASSERT_NE(bar, nullptr);
        EXPECT_EQ(menu.top(), 0) << at;
        EXPECT_EQ(screen.top(), menu.bottom() + 1) << at;
        EXPECT_EQ(bar->geometry().top(), screen.bottom() + 1) << at;
        EXPECT_EQ(bar->geometry().bottom(), window.height() - 1) << at;
        for (const QRect& band : {menu, screen, bar->geometry()}) {
            EXPECT_EQ(band.left(), 0) << at;
            EXPECT_EQ(band.width(), window.width()) << at;
        }

        // In the picture's pixels; the queue, a control of the window's,
        // lands on them within a pixel ratio's rounding.
        const QRect inside(QPoint(0, 0), view.DeviceSize());
        const int slack = static_cast<int>(std::ceil(entry.ratio));
        const QRect queue = view.Device(frame_->Queue().geometry());
        std::vector<std::pair<std::string, QRect>> parts;
        for (const char* name : {"songback", "positionback", "positionbar.back", "prev", "play",
                                 "pause", "stop", "next", "repeat", "shuffle", "volumebar.back"}) {
            parts.emplace_back(name, view.ComponentRect(name));
        }
        parts.emplace_back("queue", queue.adjusted(0, slack, 0, -slack));
        for (std::size_t i = 0; i < parts.size(); ++i) {
            EXPECT_FALSE(parts[i].second.isEmpty()) << parts[i].first << " at " << at;
            EXPECT_TRUE(inside.contains(parts[i].second)) << parts[i].first << " at " << at;
            for (std::size_t j = i + 1; j < parts.size(); ++j) {
                EXPECT_FALSE(parts[i].second.intersects(parts[j].second))
                    << parts[i].first << " and " << parts[j].first << " at " << at;
            }
        }
        // No band left empty: the queue spans the width down to the deck,
        // which reaches the bottom and both sides; the buttons and the
        // song's strip reach the right edge.
        const QRect deck = view.ComponentRect("deck") | view.ComponentRect("deck.edge");
        EXPECT_LE(queue.left(), slack) << at;
        EXPECT_GE(queue.right(), inside.right() - slack) << at;
        EXPECT_LE(std::abs(queue.bottom() + 1 - deck.top()), slack) << at;
        EXPECT_EQ(deck.bottom(), inside.bottom()) << at;
        EXPECT_EQ(deck.left(), 0) << at;
        EXPECT_EQ(deck.right(), inside.right()) << at;
        // (At 320 the skin is drawn 312 wide, as on the handheld.)
        EXPECT_GE(view.ComponentRect("next").right(), inside.right() * 9 / 10) << at;
        EXPECT_GE(view.ComponentRect("songback").right(), inside.right() * 9 / 10) << at;
        // The buttons keep their shape; they and the queue's rows are at
        // least 7 mm tall.
        const QRect play = view.ComponentRect("play");
        EXPECT_EQ(play.width(), play.height()) << at;
        const double millimetres = 62.0 / inside.width();
        EXPECT_GE(play.height() * millimetres, 7.0) << at;
        EXPECT_GE(frame_->Queue().sizeHintForRow(0) * entry.ratio * millimetres, 7.0) << at;
    }

    // A sliver, landscape and back: nothing breaks, and the handheld's
    // screen is laid out as before.
    StopWindow();
    StartWindow([](ui::FrameOptions& options) { options.screenIsWindow = true; });
    ASSERT_TRUE(OnMainWithSong());
    const std::vector<QRect> at480 = handheld();
    const int screenHeight = Screen()->height();
    for (const QSize odd : {QSize(10, 800), QSize(480, 10), QSize(800, 480), QSize(1, 1)}) {
        frame_->resize(odd);
        PumpFor(50ms);
    }
    ASSERT_TRUE(fitWindow(QSize(480, 640)));
    EXPECT_FALSE(frame_->Landscape());
    EXPECT_EQ(handheld(), at480);
    EXPECT_EQ(Screen()->height(), screenHeight);

    // Moved to a screen of twice the pixel ratio, the window keeps its size
    // and no resize comes: the screen is drawn at the new ratio all the
    // same, and back at the old one on the way back.
    QScreen* shown = frame_->screen();
    ASSERT_NE(shown, nullptr);
    for (const double ratio : {2.0, 1.0}) {
        QHighDpiScaling::setScreenFactor(shown, ratio);
        QEvent moved(QEvent::ScreenChangeInternal);
        QCoreApplication::sendEvent(frame_.get(), &moved);
        EXPECT_TRUE(Pump(
            [&] {
                return frame_->View().DeviceSize() == frame_->View().size() * ratio &&
                       frame_->View().Frame().size() == frame_->View().DeviceSize();
            },
            1s))
            << ratio << ": " << frame_->View().DeviceSize().width();
    }
    EXPECT_EQ(handheld(), at480);
}

// A window made a wall panel's size and then the handheld's again is a
// portrait window again: the screen is drawn, not the landscape notice, and
// the menu and the command bar take the small scale's font back.
TEST_F(GuiTest, AWindowShrunkFromAPanelsSizeIsPortraitAgain) {
    CopySkins();
    WriteSettings();
    StartWindow([](ui::FrameOptions& options) { options.screenIsWindow = true; });
    ASSERT_TRUE(OnMainWithSong());
    const int menuHeight = frame_->menuBar()->height();
    for (const QSize size : {QSize(1440, 3200), QSize(480, 640)}) {
        frame_->resize(size);
        EXPECT_TRUE(Pump([&] { return frame_->size() == size; }, 1s));
        PumpFor(300ms);
    }
    EXPECT_FALSE(frame_->Landscape()) << Screen()->width() << "x" << Screen()->height();
    EXPECT_EQ(frame_->menuBar()->height(), menuHeight);
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

std::string Describe(const QRect& rect) {
    return "(" + std::to_string(rect.left()) + "," + std::to_string(rect.top()) + " " +
           std::to_string(rect.width()) + "x" + std::to_string(rect.height()) + ")";
}

// Sizes the window's table leaves out: one pixel past the handheld's, one
// short of the largest phone, a tablet's, a very tall one, and pixel
// ratios of 1.25 and 4. Every screen's controls lie inside it, none over
// another, and the main screen's queue reaches the deck.
TEST_F(GuiTest, OddPortraitWindowsAreFilledWithoutOverlaps) {
    CopySkins();
    WriteSettings();
    const struct {
        int width, height;
        double ratio;
    } sizes[] = {{241, 321, 1},    {1439, 3199, 1}, {600, 900, 1}, {400, 1200, 1},
                 {500, 800, 1.25}, {1200, 2400, 4}, {480, 640, 1}};
    for (const auto& entry : sizes) {
        const QSize window(static_cast<int>(entry.width / entry.ratio),
                           static_cast<int>(entry.height / entry.ratio));
        StopWindow();
        StartWindow([&](ui::FrameOptions& options) {
            options.screenIsWindow = true;
            options.pixelRatio = entry.ratio;
            options.physicalDpi = window.width() * 25.4 / 62;
        });
        ASSERT_TRUE(OnMainWithSong());
        const std::string at = std::to_string(entry.width) + "x" + std::to_string(entry.height) +
                               "@" + std::to_string(entry.ratio);
        frame_->resize(window);
        const auto settled = [&] {
            return frame_->size() == window &&
                   frame_->View().Frame().size() == frame_->View().DeviceSize();
        };
        ASSERT_TRUE(Pump(settled, 1s) && (PumpFor(100ms), Pump(settled, 1s))) << at;
        const ui::ScreenView& view = frame_->View();
        const QRect inside(QPoint(0, 0), view.DeviceSize());
        const auto check = [&](const std::string& screen,
                               std::vector<std::pair<std::string, QRect>> parts) {
            for (std::size_t i = 0; i < parts.size(); ++i) {
                EXPECT_FALSE(parts[i].second.isEmpty())
                    << screen << " " << parts[i].first << " at " << at;
                EXPECT_TRUE(inside.contains(parts[i].second))
                    << screen << " " << parts[i].first << " at " << at;
                for (std::size_t j = i + 1; j < parts.size(); ++j) {
                    // Strips anchored to the bottom one above the other each
                    // round on their own: at odd sizes they may share one
                    // row of pixels, never more.
                    const QRect shared = parts[i].second.intersected(parts[j].second);
                    EXPECT_TRUE(shared.isEmpty() || shared.height() == 1 || shared.width() == 1)
                        << screen << " " << parts[i].first << " and " << parts[j].first << " at "
                        << at << ": " << Describe(parts[i].second) << " "
                        << Describe(parts[j].second);
                }
            }
        };
        std::vector<std::pair<std::string, QRect>> main;
        for (const char* name : {"songback", "positionbar.back", "prev", "play", "next", "repeat",
                                 "shuffle", "volumebar.back"}) {
            main.emplace_back(name, view.ComponentRect(name));
        }
        const int slack = static_cast<int>(std::ceil(entry.ratio));
        const QRect queue = view.Device(frame_->Queue().geometry());
        main.emplace_back("queue", queue.adjusted(0, slack, 0, -slack));
        check("main", main);
        EXPECT_LE(std::abs(queue.bottom() + 1 - view.ComponentRect("deck").top()), slack) << at;
        EXPECT_EQ(view.ComponentRect("deck").bottom(), inside.bottom()) << at;

        frame_->Command(ui::WindowCommand::NowPlaying);
        ASSERT_TRUE(Pump([&] { return frame_->Screen() == "nowplaying"; })) << at;
        std::vector<std::pair<std::string, QRect>> playing;
        for (const char* name : {"titleback", "artistback", "albumback",
                                 "positionbar.nowplaying.back", "nowplaying.position", "deck"}) {
            playing.emplace_back(name, view.ComponentRect(name));
        }
        // The now-playing lines keep to the deck, so on a screen shorter
        // than the handheld's (a window with the menu and command bar in
        // it) they stay clear of it too.
        check("nowplaying", playing);

        frame_->Command(ui::WindowCommand::Equalizer);
        ASSERT_TRUE(Pump([&] { return frame_->Screen() == "eq"; })) << at;
        std::vector<std::pair<std::string, QRect>> eq;
        eq.emplace_back("eq.preamp", view.ComponentRect("eq.preamp"));
        eq.emplace_back("eq.bar10", view.ComponentRect("eq.bar10"));
        eq.emplace_back("eq.labels", view.ComponentRect("eq.labels"));
        eq.emplace_back("eq.presetsback", view.ComponentRect("eq.presetsback"));
        check("eq", eq);
        // The presets' box lies on its back, wherever the bottom is.
        const QWidget* presets = frame_->findChild<QWidget*>(QStringLiteral("Equalizer Presets"));
        ASSERT_NE(presets, nullptr);
        EXPECT_TRUE(view.ComponentRect("eq.presetsback")
                        .adjusted(-slack, -slack, slack, slack)
                        .contains(view.Device(presets->geometry())))
            << at;

        // The list of servers takes the height between the box and the
        // status line, which keeps above the progress bar, in the panel.
        frame_->Command(ui::WindowCommand::Disconnect);
        ASSERT_EQ(frame_->Screen(), "connect");
        const auto control = [&](const char* name) {
            const QWidget* widget = frame_->findChild<QWidget*>(QString::fromLatin1(name));
            return widget != nullptr ? view.Device(widget->geometry()) : QRect();
        };
        const QRect box = control("Server Box"), list = control("Server List"),
                    status = control("Status Line");
        const QRect panel = view.ComponentRect("connect.panel");
        const QRect progress = view.ComponentRect("progressbar.back");
        EXPECT_LT(box.bottom(), list.top()) << at;
        EXPECT_LT(list.bottom(), status.top()) << at;
        EXPECT_LT(status.bottom(), progress.top()) << at;
        EXPECT_LE(progress.bottom(), panel.bottom()) << at;
        EXPECT_LE(panel.bottom(), inside.bottom()) << at;
        // On a phone's tall screen the list takes most of the panel.
        if (inside.height() >= inside.width() * 2) {
            EXPECT_GT(list.height(), panel.height() / 2) << at;
        }
    }
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// The skin's images read for a pixel ratio of 1.5 are scaled smoothly, but
// not across the edges of what they hold: a button's cell meets the deck
// around it without a dark seam, as it does at a ratio of 1.
TEST_F(GuiTest, ButtonsAtAPixelRatioOfOneAndAHalfShowNoSeams) {
    WriteSettings();
    for (const double ratio : {1.0, 1.5}) {
        StopWindow();
        StartWindow([&](ui::FrameOptions& options) {
            options.screenIsWindow = true;
            options.pixelRatio = ratio;
        });
        ASSERT_TRUE(OnMainWithSong());
        const QSize window(240, 400);
        frame_->resize(window);
        const auto settled = [&] {
            return frame_->size() == window &&
                   frame_->View().Frame().size() == frame_->View().DeviceSize();
        };
        ASSERT_TRUE(Pump(settled, 1s) && (PumpFor(100ms), Pump(settled, 1s)));
        const QImage& frame = frame_->View().Frame();
        for (const char* name : {"repeat", "shuffle"}) {
            const QRect cell = frame_->View().ComponentRect(name);
            ASSERT_FALSE(cell.isEmpty()) << name;
            // Down the cell's left quarter, clear of its icon: its bottom
            // rows against the plain ones above them.
            const int x = cell.left() + cell.width() / 8;
            const QColor plain = frame.pixelColor(x, cell.bottom() - 4);
            for (int y = cell.bottom() - 2; y <= cell.bottom(); ++y) {
                const QColor seen = frame.pixelColor(x, y);
                const int off = std::max({std::abs(seen.red() - plain.red()),
                                          std::abs(seen.green() - plain.green()),
                                          std::abs(seen.blue() - plain.blue())});
                EXPECT_LE(off, 3) << name << " at a ratio of " << ratio << ", row " << y << " of "
                                  << cell.top() << ".." << cell.bottom() << ": "
                                  << seen.name().toStdString() << " under "
                                  << plain.name().toStdString();
            }
        }
    }
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// A paint device that keeps the texts drawn on it, as they are drawn.
class TextRecorder final : public QPaintDevice {
public:
    QPaintEngine* paintEngine() const override { return &engine_; }
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
            case PdmWidth:
            case PdmHeight:
                return 2000;
            case PdmDpiX:
            case PdmDpiY:
            case PdmPhysicalDpiX:
            case PdmPhysicalDpiY:
                return 96;
            case PdmDevicePixelRatio:
                return 1;
            case PdmDevicePixelRatioScaled:
                return static_cast<int>(devicePixelRatioFScale());
            case PdmDepth:
                return 32;
            default:
                return 1;
        }
    }
    const std::vector<std::string>& Drawn() const { return engine_.drawn; }

private:
    struct Engine final : QPaintEngine {
        bool begin(QPaintDevice*) override { return true; }
        bool end() override { return true; }
        void updateState(const QPaintEngineState&) override {}
        void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
        void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
        void drawTextItem(const QPointF&, const QTextItem& item) override {
            drawn.push_back(item.text().toStdString());
        }
        Type type() const override { return User; }
        std::vector<std::string> drawn;
    };
    mutable Engine engine_;
};

// The window's menu at a phone's width, in the skin's (large) font: every
// entry is drawn whole, none cut short with an ellipsis.
TEST_F(GuiTest, TheMenusEntriesAreDrawnWholeAtAPhonesWidth) {
    WriteSettings();
    StartWindow([](ui::FrameOptions& options) { options.screenIsWindow = true; });
    ASSERT_TRUE(OnMainWithSong());
    const QSize window(720, 1200);
    frame_->resize(window);
    const auto settled = [&] {
        return frame_->size() == window &&
               frame_->View().Frame().size() == frame_->View().DeviceSize();
    };
    ASSERT_TRUE(Pump(settled, 1s) && (PumpFor(100ms), Pump(settled, 1s)));
    ASSERT_FALSE(frame_->menuBar()->actions().isEmpty());
    QMenu* menu = frame_->menuBar()->actions().front()->menu();
    ASSERT_NE(menu, nullptr);
    menu->adjustSize();
    TextRecorder recorder;
    menu->render(&recorder);
    ASSERT_FALSE(recorder.Drawn().empty());
    for (const std::string& text : recorder.Drawn()) {
        EXPECT_EQ(text.find("\u2026"), std::string::npos)
            << text << " (menu " << menu->width() << " wide)";
    }
}

}  // namespace
}  // namespace vantor::testing

namespace vantor::testing {
namespace {

// A person reading the Now Playing screen on a panel makes the window small
// again: it is a portrait window all the way, and the screen they were on
// stays (only a turn to landscape and back lands on the main screen).
TEST_F(GuiTest, AWindowShrunkFromAPanelsSizeKeepsItsScreen) {
    CopySkins();
    WriteSettings();
    StartWindow([](ui::FrameOptions& options) { options.screenIsWindow = true; });
    ASSERT_TRUE(OnMainWithSong());
    frame_->Command(ui::WindowCommand::NowPlaying);
    ASSERT_EQ(frame_->Screen(), "nowplaying");
    for (const QSize size : {QSize(1440, 3200), QSize(480, 640)}) {
        frame_->resize(size);
        EXPECT_TRUE(Pump([&] { return frame_->size() == size; }, 1s));
        PumpFor(300ms);
        EXPECT_EQ(frame_->Screen(), "nowplaying") << "at " << size.width() << "x" << size.height();
    }
    EXPECT_FALSE(frame_->Landscape());
}

// Not connected, on the connect screen, the window is resized through
// sizes: at each portrait size the connect screen stays, with its box and
// list of servers, not the main screen of a session there is not.
class DisconnectedResizeTest : public GuiTest {
protected:
    void ResizeThrough(const std::vector<QSize>& sizes) {
        CopySkins();
        WriteSettings([](RegistryStore& store) { store.SetDword(kSettingsKey, "AutoConnect", 0); });
        StartWindow([](ui::FrameOptions& options) {
            options.screenIsWindow = true;
            options.server.clear();
        });
        ASSERT_TRUE(Pump([&] { return frame_->Screen() == "connect"; }));
        ASSERT_FALSE(frame_->Connected());
        for (const QSize size : sizes) {
            frame_->resize(size);
            EXPECT_TRUE(Pump([&] { return frame_->size() == size; }, 1s));
            PumpFor(300ms);
            if (size.width() < size.height()) {
                EXPECT_EQ(frame_->Screen(), "connect")
                    << "at " << size.width() << "x" << size.height();
            }
        }
        EXPECT_FALSE(frame_->Connected());
    }
};

// Made a panel's size and small again: a portrait window all the way.
TEST_F(DisconnectedResizeTest, ShrunkFromAPanelsSizeStaysOnTheConnectScreen) {
    ResizeThrough({QSize(1440, 3200), QSize(480, 640)});
}

}  // namespace
}  // namespace vantor::testing
