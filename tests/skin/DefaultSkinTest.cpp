// The default skin as shipped: every name the program looks up is there, at
// every resolution every image loads (in every shipped skin), every screen
// is covered, and each button takes the taps on its own face.

#include <gtest/gtest.h>

#include <string>

#include "skin/CSkin.h"
#include "skin/SkinBar.h"
#include "skin/SkinDrawing.h"
#include "skin/SkinFixture.h"
#include "skin/SkinMessageDialog.h"
#include "skin/SkinScreen.h"
#include "support/LogCapture.h"

namespace vantor {
namespace {

using testing::LogCapture;

struct Device {
    std::int32_t width, height, dpi;
    const char* suffix;
};
// The height the skin's screens are drawn for, in its units.
constexpr std::int32_t kScreenHeightUnits = 320;
constexpr Device kDevices[] = {
    {240, 320, 96, ""}, {320, 480, 125, "@1.3x"}, {480, 640, 192, "@2x"}};

CSkin LoadDefault(const Device& device, const char* path = VANTOR_DEFAULT_SKIN) {
    CSkin skin;
    skin.SetScale(SkinScale{device.dpi, device.dpi});
    EXPECT_TRUE(skin.LoadSkin(path, SkinRect{0, 0, device.width, device.height})) << path;
    return skin;
}

TEST(DefaultSkinTest, HasEveryNameTheProgramLooksUp) {
    const CSkin skin = LoadDefault(kDevices[0]);
    // The buttons and the bars' tracks are looked up where they take taps.
    const char* components[] = {"volumebar",
                                "positionbar",
                                "positionbar.nowplaying",
                                "positionbar.nowplaying.back",
                                "progressbar",
                                "progressbar.back",
                                "positionback",
                                "songback",
                                "titleback",
                                "artistback",
                                "albumback",
                                "playingstate.playing",
                                "playingstate.paused",
                                "playingstate.stopped",
                                "dlg.background",
                                "eq.position",
                                "nowplaying.position",
                                "albumart.placeholder"};
    for (const char* name : components) {
        EXPECT_NE(skin.FindComponent(name), nullptr) << name;
    }
    for (int track = 0; track < kEqTracks; ++track) {
        EXPECT_NE(skin.FindComponent(EqTrackName(track)), nullptr) << track;
    }
    for (const char* name : {"eqbar", "back.np"}) {
        EXPECT_NE(skin.FindBitmap(name), nullptr) << name;
    }
    for (const char* name : {"playlist.main", "medialib.tagview", "albumart"}) {
        EXPECT_NE(skin.FindWinComponent(name), nullptr) << name;
    }
    for (const char* name : {"playlist", "medialib", "songtitle", "title.nowplaying", "time",
                             "time.nowplaying", "dialog"}) {
        EXPECT_NE(skin.FindFont(name), nullptr) << name;
    }
}

TEST(DefaultSkinTest, EveryResolutionLoadsAndCoversEveryScreen) {
    for (const auto& [path, device] :
         {std::pair{VANTOR_DEFAULT_SKIN, kDevices[0]}, std::pair{VANTOR_DEFAULT_SKIN, kDevices[1]},
          std::pair{VANTOR_DEFAULT_SKIN, kDevices[2]}, std::pair{VANTOR_EMBER_SKIN, kDevices[0]},
          std::pair{VANTOR_EMBER_SKIN, kDevices[1]}, std::pair{VANTOR_EMBER_SKIN, kDevices[2]}}) {
        LogCapture capture(kLogError);
        const CSkin skin = LoadDefault(device, path);
        EXPECT_EQ(skin.ResolutionSuffix(), device.suffix);
        for (const SkinBitmap& bitmap : skin.Bitmaps()) {
            EXPECT_NE(bitmap.filePath.find(std::string(device.suffix) + ".png"), std::string::npos)
                << bitmap.filePath;
        }
        for (const SkinComponent& component : skin.Components()) {
            QImage scratch(device.width, device.height, QImage::Format_RGB32);
            for (const SkinImageState* state :
                 {&component.norm, &component.hover, &component.push}) {
                if (state->present) {
                    EXPECT_TRUE(DrawState(skin, scratch, *state)) << component.name;
                }
            }
        }
        for (const std::string_view screen :
             {kScreenMain, kScreenNowPlaying, kScreenPlaylist, kScreenConnect, kScreenEq}) {
            QImage target(device.width, device.height, QImage::Format_RGB32);
            target.fill(QColor(1, 2, 3));
            const SkinDrawGuard lock;
            PaintScreen(lock, skin, target, screen);
            int unpainted = 0;
            for (int y = 0; y < target.height(); ++y) {
                for (int x = 0; x < target.width(); ++x) {
                    unpainted += (target.pixel(x, y) & 0xFFFFFFu) == 0x010203u ? 1 : 0;
                }
            }
            EXPECT_EQ(unpainted, 0) << screen << " at " << device.width;
        }
        EXPECT_TRUE(capture.Lines().empty()) << capture.Lines()[0];
    }
}

// Buttons show feedback (toggles show "on" through their push state) and
// take the taps on their own faces.
TEST(DefaultSkinTest, ButtonsTakeTapsOnTheirFaces) {
    for (const Device& device : kDevices) {
        const CSkin skin = LoadDefault(device);
        QImage target(device.width, device.height, QImage::Format_RGB32);
        for (const std::string_view screen :
             {kScreenMain, kScreenNowPlaying, kScreenEq, kScreenDialog}) {
            const SkinDrawGuard lock;
            PaintScreen(lock, skin, target, screen);
        }
        const struct {
            const char* name;
            std::string_view screen;
        } buttons[] = {
            {"prev", kScreenMain},     {"play", kScreenMain},        {"pause", kScreenNowPlaying},
            {"stop", kScreenMain},     {"next", kScreenNowPlaying},  {"repeat", kScreenMain},
            {"shuffle", kScreenMain},  {"eq.enabled", kScreenEq},    {"eq.autoload", kScreenEq},
            {"dlg.ok", kScreenDialog}, {"dlg.cancel", kScreenDialog}};
        for (const auto& button : buttons) {
            const SkinComponent* component = skin.FindComponent(button.name);
            ASSERT_NE(component, nullptr) << button.name;
            EXPECT_TRUE(component->hover.present && component->push.present) << button.name;
            const SkinRect& rect = component->norm.destination;
            const auto x = static_cast<std::int32_t>(rect.left + rect.Width() / 2);
            const auto y = static_cast<std::int32_t>(rect.top + rect.Height() / 2);
            const SkinComponent* pressed = ComponentAtPress(skin, x, y, button.screen);
            ASSERT_NE(pressed, nullptr) << button.name << " at " << device.width;
            EXPECT_EQ(pressed->name, button.name) << device.width;
        }
        // The bars' tracks take the stylus for dragging.
        for (const char* track : {"volumebar.back", "positionbar.back", "eq.bar05"}) {
            ASSERT_NE(skin.FindComponent(track), nullptr) << track;
            const SkinRect& rect = skin.FindComponent(track)->norm.destination;
            const SkinComponent* hit = ComponentAtInput(
                skin, static_cast<std::int32_t>(rect.left + rect.Width() / 2),
                static_cast<std::int32_t>(rect.top + rect.Height() / 2),
                std::string_view(track) == "eq.bar05" ? kScreenEq : kScreenMain, true);
            ASSERT_NE(hit, nullptr) << track;
            EXPECT_EQ(hit->name, track);
        }
    }
}

// Any portrait screen, from the handheld's to a phone's: every screen is
// painted to its edges, the pictures keep their height (what they draw
// stays under the components over it), the controls keep their size and
// keep to the bottom, and the queue takes the height between its top and
// the deck.
TEST(DefaultSkinTest, ScreensFillAnyPortraitSize) {
    const struct {
        std::int32_t width, height, dpi;
    } sizes[] = {{240, 320, 96},   {240, 400, 96},    {320, 400, 125},  {360, 720, 144},
                 {480, 640, 192},  {480, 800, 192},   {480, 1440, 192}, {720, 1280, 288},
                 {800, 1280, 320}, {1080, 2160, 432}, {1440, 3200, 576}};
    for (const auto& size : sizes) {
        const Device device{size.width, size.height, size.dpi, ""};
        const CSkin skin = LoadDefault(device);
        const SkinScale& scale = skin.Scale();
        const std::string at = std::to_string(size.width) + "x" + std::to_string(size.height);
        for (const std::string_view screen :
             {kScreenMain, kScreenNowPlaying, kScreenPlaylist, kScreenConnect, kScreenEq}) {
            QImage target(size.width, size.height, QImage::Format_RGB32);
            target.fill(QColor(1, 2, 3));
            {
                const SkinDrawGuard lock;
                PaintScreen(lock, skin, target, screen);
            }
            int unpainted = 0;
            for (int y = 0; y < target.height(); ++y) {
                const auto* line = reinterpret_cast<const QRgb*>(target.constScanLine(y));
                for (int x = 0; x < target.width(); ++x) {
                    unpainted += (line[x] & 0xFFFFFFu) == 0x010203u ? 1 : 0;
                }
            }
            EXPECT_EQ(unpainted, 0) << screen << " at " << at;
            const SkinComponent* picture = skin.FindComponent("background." + std::string(screen));
            ASSERT_NE(picture, nullptr) << screen;
            EXPECT_EQ(picture->norm.destination.Height(), picture->norm.source.Height())
                << screen << " at " << at;
        }
        const SkinRect deck = skin.FindComponent("deck")->norm.destination;
        EXPECT_EQ(deck.bottom, size.height) << at;
        EXPECT_EQ(deck.right, size.width) << at;
        const SkinRect play = skin.FindComponent("play")->norm.destination;
        EXPECT_EQ(play.Width(), scale.Width(40)) << at;
        EXPECT_EQ(play.Height(), scale.Height(40)) << at;
        EXPECT_EQ(play.bottom, size.height - scale.Y(52)) << at;
        const SkinRect queue = PlaceWindowOn(skin, *skin.FindWinComponent("playlist.main"),
                                             size.width, size.height, kScreenMain);
        EXPECT_EQ(queue, (SkinRect{0, scale.Y(54), size.width, deck.top})) << at;
        // Outside the screen at no size.
        for (const SkinComponent& component : skin.Components()) {
            if (component.mode.empty() || component.mode == "dialog" ||
                component.name.ends_with(".fill")) {
                continue;
            }
            const SkinRect& rect = component.norm.destination;
            if (size.height >= scale.Y(kScreenHeightUnits)) {
                EXPECT_TRUE(rect.left >= 0 && rect.top >= 0 && rect.right <= size.width &&
                            rect.bottom <= size.height)
                    << component.name << " at " << at;
            }
        }
    }
}

// At the handheld's own screens the skin lays its components out where it
// always has: a phone's layout must not move them.
TEST(DefaultSkinTest, AScreenKeepsItsOwnImagesAndTheProgramsBarsAndFreesTheRest) {
    const CSkin skin = LoadDefault(kDevices[2]);
    QImage target(480, 640, QImage::Format_RGB32);
    const auto loaded = [&](std::string_view name) {
        const SkinDrawGuard lock;
        return !skin.FindBitmap(name)->image.pixels.isNull();
    };
    for (const std::string_view screen : {kScreenConnect, kScreenMain}) {
        const SkinDrawGuard lock;
        PaintScreen(lock, skin, target, screen);
    }
    ASSERT_TRUE(loaded("back.connect"));
    {
        const SkinDrawGuard lock;
        ReleaseImagesNotShownIn(lock, skin, kScreenMain);
    }
    EXPECT_FALSE(loaded("back.connect"));
    EXPECT_TRUE(loaded("back.main"));
    EXPECT_TRUE(loaded("controls"));  // the buttons and the bars' fills
    // A freed image comes back when its screen is drawn again.
    {
        const SkinDrawGuard lock;
        PaintScreen(lock, skin, target, kScreenConnect);
    }
    EXPECT_TRUE(loaded("back.connect"));
}

}  // namespace
}  // namespace vantor
