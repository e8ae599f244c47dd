// The default skin as shipped: every name the program looks up is there, at
// every resolution every image loads (in every shipped skin), every screen
// is covered, and each button takes the taps on its own face.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

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
constexpr std::int32_t kScreenWidthUnits = 240, kScreenHeightUnits = 320;
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
    } sizes[] = {{240, 320, 96},
                 {240, 400, 96},
                 {320, 400, 125},
                 {360, 720, 144},
                 {480, 640, 192},
                 {480, 800, 192},
                 {480, 1440, 192},
                 {720, 1280, 288},
                 {800, 1280, 320},
                 {1080, 2160, 432},
                 {1440, 3200, 576},
                 // The handheld's screens with the window's menu and command
                 // bar inside them.
                 {240, 262, 96},
                 {480, 524, 192}};
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
        const SkinRect edge = skin.FindComponent("deck.edge")->norm.destination;
        EXPECT_EQ(deck.bottom, size.height) << at;
        EXPECT_EQ(edge.bottom, size.height) << at;
        EXPECT_EQ(edge.left, deck.right) << at;
        EXPECT_EQ(edge.right, size.width) << at;
        const SkinRect play = skin.FindComponent("play")->norm.destination;
        EXPECT_EQ(play.Width(), scale.Width(40)) << at;
        EXPECT_EQ(play.Height(), scale.Height(40)) << at;
        EXPECT_EQ(play.bottom, size.height - scale.Y(52)) << at;
        const SkinRect queue = PlaceWindowOn(skin, *skin.FindWinComponent("playlist.main"),
                                             size.width, size.height, kScreenMain);
        EXPECT_EQ(queue, (SkinRect{0, scale.Y(54), size.width, deck.top})) << at;
        // Outside the screen at no size; a picture taller than a short
        // screen is cut off under what covers it.
        for (const SkinComponent& component : skin.Components()) {
            if (component.mode.empty() || component.mode == "dialog" ||
                component.name.starts_with("background.")) {
                continue;
            }
            const SkinRect& rect = component.norm.destination;
            EXPECT_TRUE(rect.left >= 0 && rect.top >= 0 && rect.right <= size.width &&
                        rect.bottom <= size.height)
                << component.name << " at " << at;
        }
        // What lies side by side on a screen lies over nothing else there:
        // the deck and the lines above it, the bands and their names. Strips
        // counted from the bottom round on their own: they may share a row.
        const auto square = [&](const char* name, std::string_view on) {
            SkinRect box =
                PlaceWindowOn(skin, *skin.FindWinComponent(name), size.width, size.height, on);
            const auto side = static_cast<std::int32_t>(std::min(box.Width(), box.Height()));
            box.left += (static_cast<std::int32_t>(box.Width()) - side) / 2;
            return SkinRect{box.left, box.top, box.left + side, box.top + side};
        };
        const struct {
            std::string_view screen;
            std::vector<const char*> parts;
        } screens[] = {
            {kScreenMain,
             {"songback", "positionback", "positionbar.back", "deck", "playlist.main"}},
            {kScreenMain,
             {"prev", "play", "pause", "stop", "next", "repeat", "shuffle", "volumebar.back"}},
            {kScreenNowPlaying,
             {"albumart", "albumart.margin", "titleback", "artistback", "albumback",
              "positionbar.nowplaying.back", "nowplaying.position", "deck"}},
            {kScreenEq,
             {"eq.enabled", "eq.autoload", "eq.preamp", "eq.bar01", "eq.bar10", "eq.labels",
              "eq.presetsback"}},
            {kScreenConnect, {"connect.panel"}}};
        for (const auto& [screen, parts] : screens) {
            std::vector<SkinRect> rects;
            for (const char* name : parts) {
                const SkinComponent* component = skin.FindComponent(name);
                rects.push_back(component != nullptr ? component->norm.destination
                                : std::string_view(name) == "albumart"
                                    ? square(name, screen)
                                    : PlaceWindowOn(skin, *skin.FindWinComponent(name), size.width,
                                                    size.height, screen));
            }
            for (std::size_t i = 0; i < rects.size(); ++i) {
                EXPECT_FALSE(rects[i].Width() <= 0 || rects[i].Height() <= 0)
                    << parts[i] << " at " << at;
                EXPECT_TRUE(rects[i].top >= 0 && rects[i].bottom <= size.height)
                    << parts[i] << " at " << at;
                for (std::size_t j = i + 1; j < rects.size(); ++j) {
                    const std::int64_t shared = std::min(rects[i].bottom, rects[j].bottom) -
                                                std::max(rects[i].top, rects[j].top);
                    const bool across =
                        rects[i].left < rects[j].right && rects[j].left < rects[i].right;
                    EXPECT_FALSE(across && shared > 1)
                        << parts[i] << " and " << parts[j] << " at " << at;
                }
            }
        }
        // The presets' box lies on its back, the bands' names under the
        // bands; the connect screen's progress bar inside its panel.
        const SkinRect presets = skin.FindComponent("eq.presetsback")->norm.destination;
        EXPECT_GE(presets.top, skin.FindComponent("eq.labels")->norm.destination.bottom) << at;
        const SkinRect panel = skin.FindComponent("connect.panel")->norm.destination;
        const SkinRect progress = skin.FindComponent("progressbar.back")->norm.destination;
        EXPECT_TRUE(progress.top > panel.top && progress.bottom < panel.bottom) << at;
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

// Where every component and window of the skins lay at the handheld's own
// screens before they learnt to stretch (left, top, right, bottom at 240x320,
// at the @1.3x step's 320x480 and at 480x640), the same in both skins.
struct Placed {
    const char* name;
    std::int32_t at[3][4];
};
constexpr Placed kHandheldPlaces[] = {
    {"background.main", {0, 0, 240, 320, 0, 0, 320, 480, 0, 0, 480, 640}},
    {"background.nowplaying", {0, 0, 240, 320, 0, 0, 320, 480, 0, 0, 480, 640}},
    {"background.playlist", {0, 0, 240, 320, 0, 0, 320, 480, 0, 0, 480, 640}},
    {"background.connect", {0, 0, 240, 320, 0, 0, 320, 480, 0, 0, 480, 640}},
    {"background.eq", {0, 0, 240, 320, 0, 0, 320, 480, 0, 0, 480, 640}},
    {"deck", {0, 222, 240, 320, 0, 352, 313, 480, 0, 444, 480, 640}},
    {"playingstate.playing", {7, 7, 23, 23, 9, 9, 30, 30, 14, 14, 46, 46}},
    {"playingstate.paused", {7, 7, 23, 23, 9, 9, 30, 30, 14, 14, 46, 46}},
    {"playingstate.stopped", {7, 7, 23, 23, 9, 9, 30, 30, 14, 14, 46, 46}},
    {"songback", {28, 0, 234, 30, 36, 0, 304, 39, 56, 0, 468, 60}},
    {"positionback", {6, 32, 56, 52, 8, 42, 73, 68, 12, 64, 112, 104}},
    {"positionbar.back", {62, 39, 232, 45, 81, 51, 302, 59, 124, 78, 464, 90}},
    {"positionbar", {62, 39, 232, 45, 81, 51, 302, 59, 124, 78, 464, 90}},
    {"playlist.searchback", {7, 30, 233, 52, 9, 39, 303, 68, 14, 60, 466, 104}},
    {"albumart.placeholder", {60, 12, 180, 132, 78, 16, 234, 172, 120, 24, 360, 264}},
    {"titleback", {0, 138, 240, 160, 0, 180, 313, 209, 0, 276, 480, 320}},
    {"artistback", {0, 160, 240, 178, 0, 208, 313, 231, 0, 320, 480, 356}},
    {"albumback", {0, 178, 240, 196, 0, 232, 313, 255, 0, 356, 480, 392}},
    {"positionbar.nowplaying.back", {16, 201, 224, 207, 21, 262, 292, 270, 32, 402, 448, 414}},
    {"positionbar.nowplaying", {16, 201, 224, 207, 21, 262, 292, 270, 32, 402, 448, 414}},
    {"prev", {8, 228, 48, 268, 10, 360, 62, 412, 16, 456, 96, 536}},
    {"play", {54, 228, 94, 268, 70, 360, 122, 412, 108, 456, 188, 536}},
    {"pause", {100, 228, 140, 268, 130, 360, 182, 412, 200, 456, 280, 536}},
    {"stop", {146, 228, 186, 268, 190, 360, 242, 412, 292, 456, 372, 536}},
    {"next", {192, 228, 232, 268, 250, 360, 302, 412, 384, 456, 464, 536}},
    {"repeat", {12, 282, 40, 310, 16, 431, 52, 467, 24, 564, 80, 620}},
    {"shuffle", {44, 282, 72, 310, 57, 431, 93, 467, 88, 564, 144, 620}},
    {"volumebar.back", {100, 293, 228, 299, 130, 445, 297, 453, 200, 586, 456, 598}},
    {"volumebar", {100, 293, 228, 299, 130, 445, 297, 453, 200, 586, 456, 598}},
    {"progressbar.back", {20, 266, 220, 272, 26, 346, 286, 354, 40, 532, 440, 544}},
    {"progressbar", {20, 266, 220, 272, 26, 346, 286, 354, 40, 532, 440, 544}},
    {"eq.enabled", {146, 8, 186, 28, 190, 10, 242, 36, 292, 16, 372, 56}},
    {"eq.autoload", {190, 8, 230, 28, 247, 10, 299, 36, 380, 16, 460, 56}},
    {"eq.preamp", {14, 44, 28, 244, 18, 57, 36, 317, 28, 88, 56, 488}},
    {"eq.bar01", {46, 44, 60, 244, 60, 57, 78, 317, 92, 88, 120, 488}},
    {"eq.bar02", {64, 44, 78, 244, 83, 57, 101, 317, 128, 88, 156, 488}},
    {"eq.bar03", {82, 44, 96, 244, 107, 57, 125, 317, 164, 88, 192, 488}},
    {"eq.bar04", {100, 44, 114, 244, 130, 57, 148, 317, 200, 88, 228, 488}},
    {"eq.bar05", {118, 44, 132, 244, 154, 57, 172, 317, 236, 88, 264, 488}},
    {"eq.bar06", {136, 44, 150, 244, 177, 57, 195, 317, 272, 88, 300, 488}},
    {"eq.bar07", {154, 44, 168, 244, 201, 57, 219, 317, 308, 88, 336, 488}},
    {"eq.bar08", {172, 44, 186, 244, 224, 57, 242, 317, 344, 88, 372, 488}},
    {"eq.bar09", {190, 44, 204, 244, 247, 57, 265, 317, 380, 88, 408, 488}},
    {"eq.bar10", {208, 44, 222, 244, 271, 57, 289, 317, 416, 88, 444, 488}},
    {"eq.position", {0, 0, 14, 10, 0, 0, 18, 13, 0, 0, 28, 20}},
    {"dlg.background", {0, 0, 200, 120, 0, 0, 260, 156, 0, 0, 400, 240}},
    {"dlg.ok", {28, 84, 92, 110, 36, 109, 119, 143, 56, 168, 184, 220}},
    {"dlg.cancel", {108, 84, 172, 110, 141, 109, 224, 143, 216, 168, 344, 220}},
    {"playlist.main", {0, 54, 240, 222, 0, 70, 313, 289, 0, 108, 480, 444}},
    {"medialib.tagview", {0, 56, 240, 320, 0, 73, 320, 480, 0, 112, 480, 640}},
    {"albumart", {60, 12, 180, 132, 78, 16, 234, 172, 120, 24, 360, 264}},
    {"nowplaying.position", {16, 207, 224, 221, 21, 270, 292, 288, 32, 414, 448, 442}},
    {"playlist.header", {0, 0, 240, 26, 0, 0, 313, 34, 0, 0, 480, 52}},
    {"playlist.search", {32, 32, 226, 50, 42, 42, 295, 65, 64, 64, 452, 100}},
    {"eq.presets", {10, 274, 230, 294, 13, 357, 299, 383, 20, 548, 460, 588}},
};

// The window a list or box lies on, to stop it at what is drawn below it.
std::string_view ScreenOfWindow(std::string_view name) {
    if (name == "playlist.main") {
        return kScreenMain;
    }
    if (name == "albumart") {
        return kScreenNowPlaying;
    }
    return name == "eq.presets" ? kScreenEq : kScreenPlaylist;
}

// A phone's layout must not move anything on the handheld's screens: at
// 240x320 and 480x640 (the handheld's 240x320 units) every component and
// window lies exactly where it did, a picture together with the strip that
// stretches it. The @1.3x step's screen is 369 units high and 246 wide:
// there what keeps to the bottom moves with it (so no band is left between
// the queue and the deck), a list reaches the right edge, and all else
// stays put.
TEST(DefaultSkinTest, TheHandheldsScreensKeepEveryPlace) {
    for (const char* path : {VANTOR_DEFAULT_SKIN, VANTOR_EMBER_SKIN}) {
        for (std::size_t d = 0; d < std::size(kDevices); ++d) {
            const Device& device = kDevices[d];
            const CSkin skin = LoadDefault(device, path);
            const SkinScale& scale = skin.Scale();
            const std::int32_t dx = device.width - scale.X(kScreenWidthUnits);
            const std::int32_t dy = device.height - scale.Y(kScreenHeightUnits);
            for (const Placed& placed : kHandheldPlaces) {
                const std::string at = std::string(placed.name) + " at " +
                                       std::to_string(device.width) + " in " + path;
                SkinRect rect;
                if (const SkinComponent* component = skin.FindComponent(placed.name)) {
                    rect = component->norm.destination;
                    if (const SkinComponent* fill =
                            skin.FindComponent(std::string(placed.name) + ".fill")) {
                        rect.bottom = fill->norm.destination.bottom;
                    }
                } else if (const SkinWinComponent* window = skin.FindWinComponent(placed.name)) {
                    rect = PlaceWindowOn(skin, *window, device.width, device.height,
                                         ScreenOfWindow(placed.name));
                    if (std::string_view(placed.name) == "albumart") {
                        // The art is the square that fits its box, in its
                        // middle; on a taller screen it grows.
                        if (device.height > scale.Y(kScreenHeightUnits)) {
                            continue;
                        }
                        const std::int64_t side = std::min(rect.Width(), rect.Height());
                        rect.left += (rect.Width() - side) / 2;
                        rect.right = rect.left + side;
                        rect.bottom = rect.top + side;
                    }
                } else {
                    ADD_FAILURE() << "missing: " << at;
                    continue;
                }
                const std::int32_t* was = placed.at[d];
                if (dx == 0 && dy == 0) {
                    EXPECT_EQ(rect, (SkinRect{was[0], was[1], was[2], was[3]})) << at;
                    continue;
                }
                // Kept, or moved with the far edge it keeps to (each edge
                // rounds on its own, so within a pixel).
                const auto keptOrMoved = [](std::int64_t edge, std::int32_t old, std::int32_t by) {
                    return edge == old || std::abs(edge - old - by) <= 1;
                };
                EXPECT_EQ(rect.left, was[0]) << at;
                EXPECT_TRUE(keptOrMoved(rect.top, was[1], dy)) << at << ": top " << rect.top;
                // Only a list reaches further right, to the screen's edge.
                if (skin.FindComponent(placed.name) != nullptr) {
                    EXPECT_EQ(rect.right, was[2]) << at;
                } else {
                    EXPECT_TRUE(keptOrMoved(rect.right, was[2], dx))
                        << at << ": right " << rect.right;
                }
                EXPECT_TRUE(keptOrMoved(rect.bottom, was[3], dy))
                    << at << ": bottom " << rect.bottom;
                // Nothing shrinks on a taller screen.
                EXPECT_GE(rect.Height(), was[3] - was[1] - 1) << at;
            }
        }
    }
}

}  // namespace
}  // namespace vantor
