#include <gtest/gtest.h>

#include <QFont>
#include <QFontMetrics>
#include <climits>
#include <thread>

#include "skin/HeaderBar.h"
#include "skin/SkinBar.h"
#include "skin/SkinDrawing.h"
#include "skin/SkinFixture.h"
#include "skin/SkinMessageDialog.h"
#include "skin/SkinScreen.h"

namespace vantor {
namespace {

using testing::Rgb;
using testing::SkinFixture;
using testing::SolidImage;

constexpr QRgb kKey = 0xFF00FF;
constexpr QRgb kGrey = 0x808080;
constexpr QRgb kBlue = 0x0000FF;
constexpr QRgb kRed = 0xFF0000;
constexpr QRgb kOrange = 0xFF8000;

void Fill(QImage& image, int x, int y, int w, int h, QRgb color) {
    for (int row = y; row < y + h; ++row) {
        for (int col = x; col < x + w; ++col) {
            image.setPixel(col, row, color);
        }
    }
}

// Two components on the same 10 x 10 rectangle: "over", whose norm and push
// images are see-through on their left half, and after it "under" (blue).
// Hit tests take the first component in document order and painting draws
// later ones on top, so a tap meets "over" first while "under" is drawn
// over it.
class ScreenTest : public ::testing::Test {
protected:
    void SetUp() override {
        QImage sheet = SolidImage(40, 20, Qt::darkGreen);
        Fill(sheet, 0, 0, 10, 10, kBlue);
        Fill(sheet, 10, 0, 5, 10, kKey);
        Fill(sheet, 15, 0, 5, 10, kRed);
        Fill(sheet, 20, 0, 5, 10, kKey);
        Fill(sheet, 25, 0, 5, 10, kOrange);
        fixture_.WriteImage("sheet.png", sheet);
        skin_ = fixture_.Load(R"(
            <bitmap name="sheet" file="sheet.png" transparency="255,0,255"/>
            <component name="over" mode="main,nowplaying"><s type="norm">
                <source name="sheet" x="10" y="0" width="10" height="10"/>
                <rect x="10" y="10" width="10" height="10"/></s>
              <s type="push"><source name="sheet" x="20" y="0"/></s></component>
            <component name="under" mode="main"><s type="norm">
                <source name="sheet" x="0" y="0" width="10" height="10"/>
                <rect x="10" y="10" width="10" height="10"/></s>
              <s type="push"><source name="sheet" x="0" y="10"/></s></component>
            <component name="nopush" mode="main"><s type="norm">
                <source name="sheet" x="0" y="0" width="10" height="10"/>
                <rect x="30" y="10" width="10" height="10"/></s></component>
            <component name="ignored" mode="all" ignoreinput="true"><s type="norm">
                <source name="sheet" x="0" y="0" width="10" height="10"/>
                <rect x="50" y="10" width="10" height="10"/></s>
              <s type="push"><source name="sheet" x="0" y="10"/></s></component>
            <component name="hidden" mode="eq"><s type="norm">
                <source name="sheet" x="0" y="0" width="10" height="10"/>
                <rect x="70" y="10" width="10" height="10"/></s>
              <s type="push"><source name="sheet" x="0" y="10"/></s></component>)",
                              100, 100);
    }

    std::string PressName(int x, int y, std::string_view screen = kScreenMain) const {
        const SkinComponent* component = ComponentAtPress(skin_, x, y, screen);
        return component ? component->name : "-";
    }
    std::string InputName(int x, int y, bool testPixels) const {
        const SkinComponent* component = ComponentAtInput(skin_, x, y, kScreenMain, testPixels);
        return component ? component->name : "-";
    }
    QImage Paint(std::string_view screen) const {
        QImage target = SolidImage(100, 100, QColor::fromRgb(kGrey));
        const SkinDrawGuard lock;
        PaintScreen(lock, skin_, target, screen);
        return target;
    }

    SkinFixture fixture_;
    CSkin skin_;
};

TEST_F(ScreenTest, PaintsShownComponentsInDocumentOrder) {
    const QImage main = Paint(kScreenMain);
    EXPECT_EQ(Rgb(main, 12, 12), kBlue);
    EXPECT_EQ(Rgb(main, 17, 12), kBlue);  // "under" comes later and covers "over"
    EXPECT_EQ(Rgb(main, 32, 12), kBlue);
    EXPECT_EQ(Rgb(main, 52, 12), kBlue);  // "ignoreinput" components are painted
    EXPECT_EQ(Rgb(main, 72, 12), kGrey);  // "hidden" shows on "eq" only
    EXPECT_EQ(Rgb(main, 20, 20), kGrey);  // right and bottom are exclusive when drawing

    const QImage nowPlaying = Paint(kScreenNowPlaying);
    EXPECT_EQ(Rgb(nowPlaying, 12, 12), kGrey);  // see-through half of "over"
    EXPECT_EQ(Rgb(nowPlaying, 17, 12), kRed);
    EXPECT_EQ(Rgb(nowPlaying, 52, 12), kBlue);
}

TEST_F(ScreenTest, PressTestLooksThroughSeeThroughPushPixels) {
    // Before anything is drawn the images are not loaded, so no pixel is
    // see-through yet.
    EXPECT_EQ(PressName(12, 12), "over");
    Paint(kScreenMain);
    const struct {
        int x, y;
        const char* hit;
    } cases[] = {
        {12, 12, "under"},  // see-through push pixel: the tap falls through
        {17, 12, "over"},
        {10, 10, "under"},
        {20, 20, "over"},  // edges are inside
        {21, 20, "-"},
        {32, 12, "-"},        // no push state
        {52, 12, "ignored"},  // "ignoreinput" does not matter here
        {72, 12, "-"},        // not on this screen
        {INT32_MIN, INT32_MAX, "-"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PressName(c.x, c.y), c.hit) << c.x << "," << c.y;
    }
    EXPECT_EQ(PressName(72, 12, kScreenEq), "hidden");
}

TEST_F(ScreenTest, InputTestSkipsIgnoredAndOptionallySeeThrough) {
    Paint(kScreenMain);
    const struct {
        int x, y;
        bool testPixels;
        const char* hit;
    } cases[] = {
        {12, 12, false, "over"},   {12, 12, true, "under"}, {17, 12, true, "over"},
        {32, 12, true, "nopush"},  {52, 12, false, "-"},    {72, 12, false, "-"},
        {40, 20, false, "nopush"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(InputName(c.x, c.y, c.testPixels), c.hit)
            << c.x << "," << c.y << " pixels " << c.testPixels;
    }
}

// Once a screen is painted, the images only its fixed parts draw are let go
// (the picture holds them); those of its controls, of parts with a push
// state or a colour key, and of components without a mode stay. Painted
// again, the screen looks the same.
TEST(SkinImagesTest, AScreenLetsGoOfWhatOnlyItsFixedPartsDraw) {
    SkinFixture fixture;
    for (const char* file : {"back.png", "button.png", "keyed.png", "bar.png", "eq.png"}) {
        fixture.WriteImage(file, SolidImage(4, 4, QColor::fromRgb(kOrange)));
    }
    const CSkin skin = fixture.Load(R"(
        <bitmap name="back" file="back.png"/>
        <bitmap name="button" file="button.png"/>
        <bitmap name="keyed" file="keyed.png" transparency="255,0,255"/>
        <bitmap name="bar" file="bar.png"/>
        <bitmap name="eq" file="eq.png"/>
        <component name="background" mode="main" ignoreinput="true"><s type="norm">
            <source name="back" x="0" y="0" width="4" height="4"/>
            <rect x="0" y="0" width="4" height="4"/></s></component>
        <component name="play" mode="main"><s type="norm">
            <source name="button" x="0" y="0" width="4" height="4"/>
            <rect x="4" y="0" width="4" height="4"/></s></component>
        <component name="indicator" mode="main" ignoreinput="true"><s type="norm">
            <source name="keyed" x="0" y="0" width="4" height="4"/>
            <rect x="8" y="0" width="4" height="4"/></s></component>
        <component name="fill" mode=""><s type="norm">
            <source name="bar" x="0" y="0" width="4" height="4"/>
            <rect x="0" y="4" width="4" height="4"/></s></component>
        <component name="band" mode="eq"><s type="norm">
            <source name="eq" x="0" y="0" width="4" height="4"/>
            <rect x="0" y="8" width="4" height="4"/></s></component>)",
                                    100, 100);
    QImage first = SolidImage(16, 16, QColor::fromRgb(kGrey));
    {
        const SkinDrawGuard lock;
        PaintScreen(lock, skin, first, kScreenMain);
        PaintScreen(lock, skin, first, kScreenEq);
        DrawState(lock, skin, first, skin.FindComponent("fill")->norm);  // as the program does
        ReleaseImagesPaintedOnce(lock, skin, kScreenMain);
    }
    for (const auto& [name, kept] :
         {std::pair{"back", false}, std::pair{"button", true}, std::pair{"keyed", true},
          std::pair{"bar", true}, std::pair{"eq", false}}) {
        const SkinDrawGuard lock;
        EXPECT_EQ(!skin.FindBitmap(name)->image.pixels.isNull(), kept) << name;
    }
    QImage again = SolidImage(16, 16, QColor::fromRgb(kGrey));
    {
        const SkinDrawGuard lock;
        PaintScreen(lock, skin, again, kScreenMain);
        PaintScreen(lock, skin, again, kScreenEq);
        DrawState(lock, skin, again, skin.FindComponent("fill")->norm);
    }
    EXPECT_EQ(again, first);
    EXPECT_EQ(Rgb(again, 1, 1), kOrange);
}

TEST(SkinPlayerStateTest, PausedAndStoppedHaveTheirOwnImage) {
    const struct {
        std::int32_t state;
        const char* name;
    } cases[] = {{2, "playingstate.paused"},   {3, "playingstate.stopped"},
                 {1, "playingstate.playing"},  {0, "playingstate.playing"},
                 {-1, "playingstate.playing"}, {99, "playingstate.playing"}};
    for (const auto& c : cases) {
        EXPECT_EQ(PlayerStateComponentName(c.state), c.name) << c.state;
    }
}

// A horizontal track 40 x 6 with a fill whose columns all differ, and a
// vertical track 10 x 50 with a 10 x 6 knob.
class BarTest : public ::testing::Test {
protected:
    static constexpr int kHx = 10, kHy = 50, kVx = 70, kVy = 20;

    void SetUp() override {
        QImage sheet = SolidImage(60, 60, QColor::fromRgb(kGrey));
        Fill(sheet, 0, 0, 40, 6, 0x202020);
        for (int x = 0; x < 40; ++x) {
            Fill(sheet, x, 10, 1, 6, qRgb(100 + x, 0, 0));
        }
        Fill(sheet, 40, 0, 10, 50, 0x303030);
        Fill(sheet, 50, 0, 10, 6, kOrange);
        fixture_.WriteImage("bars.png", sheet);
        skin_ = fixture_.Load(R"(
            <bitmap name="bars" file="bars.png"/>
            <component name="h.back" mode="main"><s type="norm">
              <source name="bars" x="0" y="0" width="40" height="6"/>
              <rect x="10" y="50" width="40" height="6"/></s></component>
            <component name="h.fill" mode="main"><s type="norm">
              <source name="bars" x="0" y="10" width="40" height="6"/>
              <rect x="0" y="0" width="40" height="6"/></s></component>
            <component name="v.back" mode="eq"><s type="norm">
              <source name="bars" x="40" y="0" width="10" height="50"/>
              <rect x="70" y="20" width="10" height="50"/></s></component>
            <component name="knob" mode="eq"><s type="norm">
              <source name="bars" x="50" y="0" width="10" height="6"/>
              <rect x="0" y="0" width="10" height="6"/></s></component>
            <component name="huge.back" mode="main"><s type="norm">
              <source name="bars" x="0" y="0" width="40" height="6"/>
              <rect x="-100000000" y="-5" width="999999999" height="20"/></s></component>)",
                              100, 100);
    }

    QImage Draw(SkinBarNames names, int value, bool knob, std::string_view screen) const {
        QImage target = SolidImage(100, 100, Qt::white);
        const SkinDrawGuard lock;
        DrawBar(lock, skin_, target, names, value, knob, screen);
        return target;
    }

    SkinFixture fixture_;
    CSkin skin_;
};

TEST_F(BarTest, HorizontalFillShowsValuePixelsFromTheLeft) {
    for (const int value : {0, 1, 15, 40, 41, 1000, -5}) {
        const QImage target = Draw({"h.back", "h.fill"}, value, false, kScreenMain);
        const int filled = std::clamp(value, 0, 40);
        for (int x = kHx - 1; x <= kHx + 40; ++x) {
            QRgb expected = 0xFFFFFF;
            if (x >= kHx && x < kHx + 40) {
                expected = x - kHx < filled ? qRgb(100 + x - kHx, 0, 0) & 0xFFFFFF : 0x202020;
            }
            EXPECT_EQ(Rgb(target, x, kHy + 3), expected) << "value " << value << " x " << x;
        }
        EXPECT_EQ(Rgb(target, kHx, kHy - 1), 0xFFFFFFu);
        EXPECT_EQ(Rgb(target, kHx, kHy + 6), 0xFFFFFFu);
    }
}

TEST_F(BarTest, KnobIsCentredOnTheValueAndKeptInTheTrack) {
    const struct {
        int value;
        int knobTop;  // inside the track
    } cases[] = {
        {0, 44},   // lower edge on the track's lower edge
        {1, 44},   // 49 + 3 is past 50, so not moved up; then clamped
        {3, 44},   // 47 + 3 is not past 50: moved up to 44
        {25, 22},  // centred on 25 from the bottom
        {49, 0},  {50, 0}, {80, 0}, {-10, 44},
    };
    for (const auto& c : cases) {
        const QImage target = Draw({"v.back", "knob"}, c.value, true, kScreenEq);
        for (int y = 0; y < 50; ++y) {
            const bool knob = y >= c.knobTop && y < c.knobTop + 6;
            EXPECT_EQ(Rgb(target, kVx + 5, kVy + y), knob ? kOrange : 0x303030u)
                << "value " << c.value << " row " << y;
        }
    }
    // Without the knob flag a vertical bar shows its track only.
    const QImage plain = Draw({"v.back", "knob"}, 25, false, kScreenEq);
    EXPECT_EQ(Rgb(plain, kVx + 5, kVy + 24), 0x303030u);
}

TEST_F(BarTest, NothingIsDrawnOffScreenOrWithoutATrack) {
    const QImage untouched = SolidImage(100, 100, Qt::white);
    EXPECT_EQ(Draw({"v.back", "knob"}, 10, true, kScreenMain), untouched);
    EXPECT_EQ(Draw({"missing", "knob"}, 10, true, kScreenEq), untouched);
    // A track far larger than the screen is composed only where it is seen.
    const QImage huge = Draw({"huge.back", "h.fill"}, 5, false, kScreenMain);
    EXPECT_EQ(Rgb(huge, 0, 0), Rgb(huge, 99, 14));
}

// The refresh thread redraws bars while the user-interface thread paints
// and hit-tests the same screen, each under the drawing lock; the images
// are loaded by whichever draws first. (ThreadSanitizer checks the rest.)
TEST_F(BarTest, ThreadsDrawIntoOneScreenUnderTheLock) {
    QImage screen = SolidImage(100, 100, Qt::white);
    std::thread refresh([&] {
        for (int value = 0; value < 300; ++value) {
            const SkinDrawGuard lock;
            DrawBar(lock, skin_, screen, {"h.back", "h.fill"}, value % 41, false, kScreenMain);
        }
    });
    for (int i = 0; i < 300; ++i) {
        {
            const SkinDrawGuard lock;
            PaintScreen(lock, skin_, screen, kScreenMain);
        }
        ComponentAtInput(skin_, kHx + 1, kHy + 1, kScreenMain, true);
    }
    refresh.join();
    const SkinDrawGuard lock;
    DrawBar(lock, skin_, screen, {"h.back", "h.fill"}, 40, false, kScreenMain);
    EXPECT_EQ(Rgb(screen, kHx + 39, kHy), qRgb(139, 0, 0) & 0xFFFFFFu);
}

TEST(SkinBarValuesTest, RoundHalfUp) {
    EXPECT_EQ(VolumeToPixels(100, 80), 80);
    EXPECT_EQ(VolumeToPixels(0, 80), 0);
    EXPECT_EQ(VolumeToPixels(50, 81), 41);
    EXPECT_EQ(VolumeToPixels(33, 80), 26);
    EXPECT_EQ(PositionToPixels(30000, 60000, 101), 51);
    EXPECT_EQ(PositionToPixels(5000, 0, 100), 0);
    EXPECT_EQ(PositionToPixels(90000, 60000, 100), 150);

    const struct {
        std::int32_t gain, height, pixels;
    } gains[] = {{0, 100, 50}, {100, 100, 100}, {-100, 100, 0}, {-25, 150, 56}, {1, 99, 50}};
    for (const auto& c : gains) {
        EXPECT_EQ(EqGainToPixels(c.gain, c.height), c.pixels) << c.gain;
    }
    const struct {
        std::int32_t value, height, gain;
    } stylus[] = {{50, 100, 0}, {100, 100, 100}, {0, 100, -100},  {-20, 100, -100},
                  {75, 150, 0}, {37, 150, -51},  {130, 100, 160}, {10, 0, 0}};
    for (const auto& c : stylus) {
        EXPECT_EQ(EqPixelsToGain(c.value, c.height), c.gain) << c.value << " of " << c.height;
    }
}

TEST(HeaderBarTest, ButtonWidthIsTextPlusPaddingAtMostHalfTheBar) {
    QFont font(QStringLiteral("Arial"));
    font.setPixelSize(12);
    const QFontMetrics metrics(font);
    const struct {
        std::int32_t clientWidth, padding, textWidth, width;
    } cases[] = {
        {240, 10, 30, 50}, {240, 10, 100, 120}, {240, 10, 0, 20},
        {480, 20, 30, 70}, {100, 4, 60, 50},    {0, 0, 10, 0},
    };
    for (const auto& c : cases) {
        const HeaderBar bar(c.clientWidth, font);
        EXPECT_EQ(bar.Padding(), c.padding) << c.clientWidth;
        EXPECT_EQ(bar.ButtonWidth(c.textWidth), c.width) << c.clientWidth << " " << c.textWidth;
    }

    HeaderBar bar(240, font);
    const std::size_t queue = bar.AddButton("Queue");
    const std::size_t library = bar.AddButton("Library");
    bar.SetButtonOn(library, true);
    const std::vector<SkinRect> rects = bar.Layout(24);
    ASSERT_EQ(rects.size(), 2u);
    EXPECT_EQ(rects[0],
              (SkinRect{0, 0, 20 + metrics.horizontalAdvance(QStringLiteral("Queue")), 24}));
    EXPECT_EQ(rects[1].left, rects[0].right);
    EXPECT_EQ(bar.ButtonAt(rects[1].left, 5, 24), static_cast<std::int64_t>(library));
    EXPECT_EQ(bar.ButtonAt(rects[1].right, 5, 24), -1);
    EXPECT_FALSE(bar.IsButtonOn(queue));
    EXPECT_TRUE(bar.IsButtonOn(library));
    EXPECT_FALSE(bar.IsButtonOn(7));
}

// A 100 x 60 dialog: the background's four-colour source stretched over
// the client area, OK and Cancel buttons with distinct push colours.
class DialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        QImage sheet = SolidImage(40, 20, Qt::black);
        sheet.setPixel(0, 0, 0x112233);
        sheet.setPixel(1, 0, 0x445566);
        sheet.setPixel(0, 1, 0x778899);
        sheet.setPixel(1, 1, 0xAABBCC);
        Fill(sheet, 10, 0, 10, 5, 0x00AA00);  // OK
        Fill(sheet, 10, 5, 10, 5, 0x00FF00);  // OK pushed
        Fill(sheet, 20, 0, 10, 5, 0xAA0000);  // Cancel
        Fill(sheet, 20, 5, 10, 5, 0xFF0000);  // Cancel pushed
        fixture_.WriteImage("dlg.png", sheet);
        skin_ = fixture_.Load(R"(
            <bitmap name="dlg" file="dlg.png"/>
            <component name="dlg.background" mode="dialog" ignoreinput="true"><s type="norm">
              <source name="dlg" x="0" y="0" width="2" height="2"/>
              <rect x="0" y="0" width="100" height="60"/></s></component>
            <component name="dlg.ok" mode="dialog"><s type="norm">
              <source name="dlg" x="10" y="0" width="10" height="5"/>
              <rect x="20" y="45" width="10" height="5"/></s>
              <s type="push"><source name="dlg" x="10" y="5"/></s></component>
            <component name="dlg.cancel" mode="dialog"><s type="norm">
              <source name="dlg" x="20" y="0" width="10" height="5"/>
              <rect x="70" y="45" width="10" height="5"/></s>
              <s type="push"><source name="dlg" x="20" y="5"/></s></component>)",
                              240, 320);
    }

    QImage Paint(const SkinMessageDialog& dialog) const {
        QImage target(dialog.PreferredSize(), QImage::Format_RGB32);
        const SkinDrawGuard lock;
        dialog.Paint(lock, target, Qt::white);
        return target;
    }

    SkinFixture fixture_;
    CSkin skin_;
};

TEST_F(DialogTest, StretchesTheBackgroundAndShowsTheHeldButtonPushed) {
    SkinMessageDialog dialog(skin_, "", "");
    EXPECT_EQ(dialog.PreferredSize(), QSize(100, 60));
    QImage image = Paint(dialog);
    EXPECT_EQ(Rgb(image, 0, 0), 0x112233u);
    EXPECT_EQ(Rgb(image, 99, 0), 0x445566u);
    EXPECT_EQ(Rgb(image, 0, 59), 0x778899u);
    EXPECT_EQ(Rgb(image, 99, 59), 0xAABBCCu);
    EXPECT_EQ(Rgb(image, 25, 47), 0x00AA00u);

    dialog.Press(25, 47);
    EXPECT_EQ(Rgb(Paint(dialog), 25, 47), 0x00FF00u);
    dialog.Move(90, 10);  // off the button: shown released, still held
    EXPECT_EQ(Rgb(Paint(dialog), 25, 47), 0x00AA00u);
    dialog.Move(21, 46);
    EXPECT_EQ(Rgb(Paint(dialog), 25, 47), 0x00FF00u);
    EXPECT_EQ(dialog.Release(21, 46), DialogResult::Ok);
    EXPECT_EQ(Rgb(Paint(dialog), 25, 47), 0x00AA00u);
}

TEST_F(DialogTest, ClosesOnlyWhenReleasedOverThePressedButton) {
    const struct {
        int pressX, pressY, releaseX, releaseY;
        DialogResult result;
    } cases[] = {
        {25, 47, 25, 47, DialogResult::Ok},   {75, 47, 80, 50, DialogResult::Cancel},
        {25, 47, 75, 47, DialogResult::None}, {50, 10, 25, 47, DialogResult::None},
        {75, 47, 75, 20, DialogResult::None},
    };
    for (const auto& c : cases) {
        SkinMessageDialog dialog(skin_, "Error Loading Skin!", "Skin System Error");
        dialog.Press(c.pressX, c.pressY);
        EXPECT_EQ(dialog.Release(c.releaseX, c.releaseY), c.result)
            << c.pressX << "," << c.pressY << " -> " << c.releaseX << "," << c.releaseY;
    }
}

}  // namespace
}  // namespace vantor
