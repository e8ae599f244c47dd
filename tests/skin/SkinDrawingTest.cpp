#include <gtest/gtest.h>

#include <QBuffer>
#include <climits>

#include "skin/SkinDrawing.h"
#include "skin/SkinFixture.h"
#include "support/LogCapture.h"

namespace vantor {
namespace {

using testing::LogCapture;
using testing::Rgb;
using testing::SkinFixture;
using testing::SolidImage;

constexpr QRgb kKey = 0xFF00FF;
constexpr QRgb kGrey = 0x808080;

// Every pixel different: red from x, green from y.
QImage Gradient(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image.setPixel(x, y, qRgb(x * 10, y * 10, 7));
        }
    }
    return image;
}

QImage Target(int width, int height) {
    return SolidImage(width, height, QColor::fromRgb(kGrey));
}

// Each target pixel shows the source pixel under its centre: equal sizes
// copy, others stretch by the nearest pixel; -1 sizes are the image's own.
TEST(SkinDrawingTest, OpaqueDrawsTheNearestSourcePixel) {
    const struct {
        int imageW, imageH, targetW, targetH;
        std::int32_t x, y, w, h, sx, sy, sw, sh;
    } cases[] = {
        {6, 6, 8, 8, 2, 3, 3, 2, 1, 2, 3, 2},    // same size: a copy
        {4, 4, 8, 8, 0, 0, 8, 8, 1, 1, 2, 2},    // up
        {4, 4, 2, 2, 0, 0, 2, 2, 0, 0, 4, 4},    // down
        {3, 2, 5, 5, 1, 1, -1, -1, 2, 2, 1, 1},  // the whole image, source ignored
        {3, 2, 5, 5, 1, 1, 3, 2, 0, 0, -1, -1},  // the source's own size
    };
    const SkinDrawGuard lock;
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.x << "," << c.y << " " << c.w << "x" << c.h);
        const SkinImage image = SkinImage::Of(Gradient(c.imageW, c.imageH));
        QImage target = Target(c.targetW, c.targetH);
        ASSERT_TRUE(DrawOpaque(lock, image, target, c.x, c.y, c.w, c.h, c.sx, c.sy, c.sw, c.sh));
        const bool whole = c.w == -1 && c.h == -1;
        const int w = whole ? c.imageW : c.w, h = whole ? c.imageH : c.h;
        const int sx = whole ? 0 : c.sx, sy = whole ? 0 : c.sy;
        const int sw = whole || c.sw == -1 ? c.imageW : c.sw;
        const int sh = whole || c.sh == -1 ? c.imageH : c.sh;
        for (int y = 0; y < c.targetH; ++y) {
            for (int x = 0; x < c.targetW; ++x) {
                const int dx = x - c.x, dy = y - c.y;
                const bool inside = dx >= 0 && dx < w && dy >= 0 && dy < h;
                EXPECT_EQ(Rgb(target, x, y),
                          inside ? Rgb(image.pixels, sx + (2 * dx + 1) * sw / (2 * w),
                                       sy + (2 * dy + 1) * sh / (2 * h))
                                 : kGrey)
                    << x << "," << y;
            }
        }
    }
}

TEST(SkinDrawingTest, ColourKeyIsExact) {
    QImage source(4, 2, QImage::Format_RGB32);
    const QRgb row0[] = {kKey, 0xFE00FF, 0xFF0000, kKey};
    const QRgb row1[] = {0x00FF00, kKey, 0xFF00FE, 0x0000FF};
    for (int x = 0; x < 4; ++x) {
        source.setPixel(x, 0, row0[x]);
        source.setPixel(x, 1, row1[x]);
    }
    const SkinImage image = SkinImage::Of(source);
    const SkinDrawGuard lock;
    QImage target = Target(6, 4);
    ASSERT_TRUE(
        DrawTransparent(lock, image, target, 1, 1, SkinColor::FromRgb(255, 0, 255), 4, 2, 0, 0));
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x) {
            QRgb expected = kGrey;
            if (x >= 1 && x < 5 && y >= 1 && y < 3) {
                const QRgb drawn = (y == 1 ? row0 : row1)[x - 1];
                expected = drawn == kKey ? kGrey : drawn;  // a colour one unit off is drawn
            }
            EXPECT_EQ(Rgb(target, x, y), expected) << x << "," << y;
        }
    }
}

// A loaded keyed bitmap copies the runs between key pixels found at load;
// an image built by hand has none and is tested pixel by pixel. Both must
// leave exactly the same pixels, wherever the part is cut.
TEST(SkinDrawingTest, KeyedRunsAgreeWithThePixelTest) {
    QImage sheet(23, 9, QImage::Format_RGB32);
    std::uint32_t seed = 12345;
    for (int y = 0; y < sheet.height(); ++y) {
        for (int x = 0; x < sheet.width(); ++x) {
            seed = seed * 1103515245u + 12345u;
            sheet.setPixel(x, y, (seed >> 16) % 3 == 0 ? kKey : (seed & 0xFFFFFF));
        }
    }
    SkinFixture fixture;
    fixture.WriteImage("keyed.png", sheet);
    const CSkin skin =
        fixture.Load(R"(<bitmap name="k" file="keyed.png" transparency="255,0,255"/>)");
    const SkinDrawGuard lock;
    const SkinBitmap& bitmap = *skin.FindBitmap("k");
    ASSERT_TRUE(LoadSkinImage(lock, bitmap));
    ASSERT_FALSE(bitmap.image.rowFirstRun.empty());
    const SkinImage byPixel = SkinImage::Of(sheet);
    const SkinColor key = SkinColor::FromRgb(255, 0, 255);
    const struct {
        int x, y, w, h, sx, sy;
    } cases[] = {{0, 0, 23, 9, 0, 0},
                 {3, 2, 10, 5, 4, 1},
                 {-4, -2, 30, 12, -3, -1},
                 {5, 5, 23, 9, 20, 7},
                 {0, 0, 1, 1, 22, 8}};
    for (const auto& c : cases) {
        QImage runs = Target(20, 12);
        QImage pixels = Target(20, 12);
        DrawTransparent(lock, bitmap.image, runs, c.x, c.y, key, c.w, c.h, c.sx, c.sy);
        DrawTransparent(lock, byPixel, pixels, c.x, c.y, key, c.w, c.h, c.sx, c.sy);
        EXPECT_EQ(runs, pixels) << c.x << "," << c.y << " " << c.w << "x" << c.h << " from " << c.sx
                                << "," << c.sy;
    }
}

TEST(SkinDrawingTest, AbsurdRectanglesAreClipped) {
    const SkinImage image = SkinImage::Of(Gradient(4, 4));
    const SkinDrawGuard lock;
    QImage target = Target(4, 4);
    ASSERT_TRUE(DrawOpaque(lock, image, target, -2, -2, 4, 4, 0, 0, 4, 4));
    EXPECT_EQ(Rgb(target, 0, 0), Rgb(image.pixels, 2, 2));
    EXPECT_EQ(Rgb(target, 2, 2), kGrey);

    const struct {
        std::int32_t x, y, w, h, sx, sy, sw, sh;
    } cases[] = {
        {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX, 0, 0, 4, 4},
        {0, 0, INT32_MAX, INT32_MAX, 0, 0, 1, 1},
        {0, 0, 4, 4, INT32_MIN, INT32_MAX, 4, 4},
        {0, 0, 4, 4, INT32_MAX, 0, INT32_MAX, INT32_MAX},
        {-5, -5, -4, -4, 0, 0, 4, 4},
        {2, 2, 4, 4, -3, -3, 4, 4},
    };
    for (const auto& c : cases) {
        QImage scratch = Target(4, 4);
        DrawOpaque(lock, image, scratch, c.x, c.y, c.w, c.h, c.sx, c.sy, c.sw, c.sh);
        DrawTransparent(lock, image, scratch, c.x, c.y, SkinColor(), c.w, c.h, c.sx, c.sy);
    }
    // The source corner may lie off the image: only pixels on it are drawn.
    QImage partial = Target(4, 4);
    DrawTransparent(lock, image, partial, 0, 0, SkinColor(), 4, 4, -2, 0);
    EXPECT_EQ(Rgb(partial, 1, 0), kGrey);
    EXPECT_EQ(Rgb(partial, 2, 0), Rgb(image.pixels, 0, 0));
}

TEST(SkinDrawingTest, UnsupportedTargetsAndEmptyImagesDrawNothing) {
    const SkinImage image = SkinImage::Of(Gradient(2, 2));
    const SkinDrawGuard lock;
    QImage indexed(4, 4, QImage::Format_Indexed8);
    EXPECT_FALSE(DrawOpaque(lock, image, indexed, 0, 0, 2, 2, 0, 0, 2, 2));
    QImage target = Target(4, 4);
    EXPECT_FALSE(DrawOpaque(lock, SkinImage{}, target, 0, 0, 2, 2, 0, 0, 2, 2));
    EXPECT_EQ(target, Target(4, 4));
}

TEST(SkinDrawingTest, StatesLoadLazilyAndRetryMissingFiles) {
    SkinFixture fixture;
    const CSkin skin = fixture.Load(
        R"(<bitmap name="late" file="late.png"/>
           <component name="c" mode="main"><state type="norm">
             <source name="late" x="0" y="0" width="2" height="2"/>
             <rect x="1" y="1" width="2" height="2"/></state>
           <state type="push"><source name="nobody" x="0" y="0"/></state></component>)",
        8, 8);
    const SkinComponent& component = *skin.FindComponent("c");
    QImage target = Target(8, 8);
    {
        LogCapture capture(kLogError);
        EXPECT_FALSE(DrawComponentState(skin, target, component, false));
        EXPECT_FALSE(DrawComponentState(skin, target, component, false));
        EXPECT_EQ(capture.Lines().size(), 1u);  // retried, logged once
        EXPECT_NE(capture.Lines()[0].find("late.png"), std::string::npos);
    }
    EXPECT_EQ(target, Target(8, 8));
    EXPECT_FALSE(DrawComponentState(skin, target, component, true));  // unknown bitmap

    fixture.WriteImage("late.png", SolidImage(2, 2, Qt::blue));
    EXPECT_TRUE(DrawComponentState(skin, target, component, false));
    EXPECT_EQ(Rgb(target, 1, 1), 0x0000FFu);
    EXPECT_EQ(Rgb(target, 3, 3), kGrey);
}

TEST(SkinDrawingTest, ReadsPngGifAndJpeg) {
    SkinFixture fixture;
    fixture.WriteImage("p.png", SolidImage(3, 2, Qt::red));
    fixture.WriteImage("j.jpg", SolidImage(3, 2, Qt::white), "JPG");
    // A 1 x 1 GIF whose one pixel is palette entry 0, red.
    fixture.WriteFile("g.gif", std::string("GIF89a\x01\x00\x01\x00\x80\x00\x00"
                                           "\xFF\x00\x00\x00\x00\x00"
                                           "\x2C\x00\x00\x00\x00\x01\x00\x01\x00\x00"
                                           "\x02\x02\x44\x01\x00\x3B",
                                           35));
    const CSkin skin = fixture.Load(
        R"(<bitmap name="p" file="p.png"/><bitmap name="g" file="g.gif"/>
           <bitmap name="j" file="j.jpg"/>)");
    const SkinDrawGuard lock;
    const struct {
        const char* name;
        int width, height;
        QRgb pixel;
    } cases[] = {{"p", 3, 2, 0xFF0000}, {"g", 1, 1, 0xFF0000}, {"j", 3, 2, 0xFFFFFF}};
    for (const auto& c : cases) {
        const SkinBitmap& bitmap = *skin.FindBitmap(c.name);
        ASSERT_TRUE(LoadSkinImage(lock, bitmap)) << c.name;
        EXPECT_EQ(bitmap.image.width, c.width) << c.name;
        EXPECT_EQ(bitmap.image.height, c.height) << c.name;
        EXPECT_EQ(Rgb(bitmap.image.pixels, 0, 0), c.pixel) << c.name;
    }
}

// A file read for another scale (here 96 DPI on a 216 DPI screen: 2.25
// times) is enlarged smoothly, each cell on its own, on its first draw: a
// cell's edge never takes its neighbour's colour, and a cell drawn in part
// (a bar's fill, from the scaled image) shows what the whole cell (drawn
// straight from the file) shows there.
TEST(SkinDrawingTest, ImagesForAnotherScaleAreEnlargedSmoothlyACellAtATime) {
    SkinFixture fixture;
    QImage sheet(8, 4, QImage::Format_RGB32);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 8; ++x) {
            sheet.setPixel(x, y, x < 2 ? qRgb(0, 0, 0) : x < 4 ? qRgb(255, 255, 255) : kKey);
        }
    }
    fixture.WriteImage("sheet.png", sheet);
    const CSkin skin = fixture.Load(
        R"(<bitmap name="sheet" file="sheet.png"/>
           <component name="edge" mode="main"><state type="norm">
             <source name="sheet" x="0" y="0" width="4" height="4"/>
             <rect x="0" y="0" width="4" height="4"/></state></component>
           <component name="next" mode="main"><state type="norm">
             <source name="sheet" x="4" y="0" width="4" height="4"/>
             <rect x="4" y="0" width="4" height="4"/></state></component>)",
        240, 320, 216);
    const SkinComponent& edge = *skin.FindComponent("edge");
    const SkinComponent& next = *skin.FindComponent("next");
    ASSERT_EQ(next.norm.source, (SkinRect{9, 0, 18, 9}));

    QImage parts = Target(18, 9);
    for (const SkinComponent* component : {&edge, &next}) {
        SkinImageState part = component->norm;
        part.source.right -= 3;
        SkinRect rect = part.destination;
        rect.right -= 3;
        const SkinDrawGuard lock;
        ASSERT_TRUE(DrawStateInto(lock, skin, parts, part, rect)) << component->name;
    }
    QImage whole = Target(18, 9);
    ASSERT_TRUE(DrawComponentState(skin, whole, edge, false));
    ASSERT_TRUE(DrawComponentState(skin, whole, next, false));

    // "edge": black, a blend, white up to its last column; "next": its own
    // colour from its first.
    EXPECT_EQ(Rgb(whole, 0, 4), 0x000000u);
    EXPECT_EQ(Rgb(whole, 8, 4), 0xFFFFFFu);
    bool blended = false;
    for (int x = 0; x < 18; ++x) {
        const int red = qRed(whole.pixel(x, 4));
        blended = blended || (x < 9 && red > 0 && red < 255);
        EXPECT_EQ(Rgb(whole, x, 0), Rgb(whole, x, 8)) << x;  // a plain column stays plain
        if (x >= 9) {
            EXPECT_EQ(Rgb(whole, x, 4), kKey) << x;
        }
        const bool drawnInPart = x < 6 || (x >= 9 && x < 15);
        EXPECT_EQ(Rgb(parts, x, 4), drawnInPart ? Rgb(whole, x, 4) : kGrey) << x;
    }
    EXPECT_TRUE(blended);
}

// A cell reaching past the right of its image (a skin's rectangle wider
// than its file) shows the same pixels whether it is drawn while the file is
// kept or after the image was scaled a cell at a time and the file let go:
// what lies past the scaled image is not drawn either way.
TEST(SkinDrawingTest, ACellPastItsImageLooksTheSameBeforeAndAfterTheFileGoes) {
    SkinFixture fixture;
    QImage sheet(4, 4, QImage::Format_RGB32);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            sheet.setPixel(x, y, qRgb(60 * x, 40 * y, 200));
        }
    }
    fixture.WriteImage("sheet.png", sheet);
    // 96-DPI units on a 192-DPI screen: the image is 8 pixels wide there,
    // the cell 12.
    const CSkin skin = fixture.Load(
        R"(<bitmap name="sheet" file="sheet.png"/>
           <component name="wide" mode="main"><state type="norm">
             <source name="sheet" x="0" y="0" width="6" height="4"/>
             <rect x="0" y="0" width="6" height="4"/></state></component>
           <component name="fill" mode="main"><state type="norm">
             <source name="sheet" x="0" y="0" width="6" height="4"/>
             <rect x="0" y="4" width="3" height="4"/></state></component>)",
        240, 320, 192);
    const SkinComponent& wide = *skin.FindComponent("wide");
    ASSERT_EQ(wide.norm.source, (SkinRect{0, 0, 12, 8}));

    QImage kept = Target(16, 8);
    ASSERT_TRUE(DrawComponentState(skin, kept, wide, false));
    // A draw at another size scales the bitmap's only cell; the file goes.
    QImage scratch = Target(16, 16);
    ASSERT_TRUE(DrawComponentState(skin, scratch, *skin.FindComponent("fill"), false));
    QImage scaled = Target(16, 8);
    ASSERT_TRUE(DrawComponentState(skin, scaled, wide, false));
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 16; ++x) {
            EXPECT_EQ(Rgb(kept, x, y), Rgb(scaled, x, y)) << x << "," << y;
        }
    }
    EXPECT_EQ(Rgb(scaled, 8, 0), kGrey);  // past the image: untouched
}

// Pixels made in bulk start black, small or screen-sized (the latter from
// memory mapped for large pages), and every row is writable to its end.
TEST(SkinDrawingTest, ZeroedImagesAreBlackAndWritableToTheLastPixel) {
    EXPECT_TRUE(ZeroedImage(QSize(0, 5)).isNull());
    for (const QSize size : {QSize(3, 2), QSize(1080, 2160), QSize(1, 700000)}) {
        QImage image = ZeroedImage(size);
        ASSERT_FALSE(image.isNull()) << size.width() << "x" << size.height();
        EXPECT_EQ(image.format(), QImage::Format_RGB32);
        EXPECT_EQ(image.size(), size);
        const QPoint last(size.width() - 1, size.height() - 1);
        EXPECT_EQ(Rgb(image, 0, 0), 0u);
        EXPECT_EQ(Rgb(image, last.x(), last.y()), 0u);
        image.setPixel(last, kKey);
        const QImage copy = image.copy();
        image = QImage();  // the mapping goes; the copy keeps its own pixels
        EXPECT_EQ(Rgb(copy, last.x(), last.y()), kKey);
    }
}

TEST(SkinDrawingTest, TransparentPixelsNeedAKeyAndALoadedImage) {
    SkinFixture fixture;
    QImage sheet = SolidImage(2, 1, Qt::green);
    sheet.setPixel(0, 0, kKey);
    fixture.WriteImage("s.png", sheet);
    const CSkin skin = fixture.Load(
        R"(<bitmap name="keyed" file="s.png" transparency="255,0,255"/>
           <bitmap name="plain" file="s.png"/>
           <component name="c" mode="main"><state type="norm">
             <source name="keyed" x="0" y="0" width="2" height="1"/>
             <rect x="0" y="0" width="2" height="1"/></state></component>)");
    EXPECT_FALSE(IsTransparentPixel(skin, "keyed", 0, 0));  // not drawn yet, so not loaded
    QImage target = Target(2, 1);
    ASSERT_TRUE(DrawComponentState(skin, target, *skin.FindComponent("c"), false));
    EXPECT_EQ(Rgb(target, 0, 0), kGrey);
    EXPECT_TRUE(IsTransparentPixel(skin, "keyed", 0, 0));
    EXPECT_FALSE(IsTransparentPixel(skin, "keyed", 1, 0));
    EXPECT_FALSE(IsTransparentPixel(skin, "keyed", 2, 0));
    EXPECT_FALSE(IsTransparentPixel(skin, "keyed", -1, 0));
    EXPECT_FALSE(IsTransparentPixel(skin, "plain", 0, 0));
    EXPECT_FALSE(IsTransparentPixel(skin, "unknown", 0, 0));
}

}  // namespace
}  // namespace vantor
