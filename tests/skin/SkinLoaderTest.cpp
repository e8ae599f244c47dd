#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "skin/CSkin.h"
#include "skin/SkinDrawLock.h"
#include "skin/SkinDrawing.h"
#include "skin/SkinFallback.h"
#include "skin/SkinFixture.h"
#include "skin/SkinFonts.h"
#include "support/LogCapture.h"

namespace vantor {
namespace {

using testing::LogCapture;
using testing::SkinFixture;
using testing::SolidImage;

TEST(SkinLoaderTest, PicksResolutionVariantsByScreenWidth) {
    SkinFixture fixture;
    fixture.WriteImage("a.png", SolidImage(2, 2, Qt::red));
    fixture.WriteImage("a@2x.png", SolidImage(4, 4, Qt::red));  // no "@1.3x" variant
    fixture.WriteImage("noext", SolidImage(2, 2, Qt::red));
    fixture.WriteImage("noext@2x", SolidImage(4, 4, Qt::red));
    const std::string body =
        "<bitmap name=\"a\" file=\"a.png\"/><bitmap name=\"n\" file=\"noext\"/>";
    const struct {
        std::int32_t width;
        const char* suffix;
        const char* aFile;
    } cases[] = {
        {240, "", "a.png"},      {319, "", "a.png"},       {320, "@1.3x", "a.png"},
        {479, "@1.3x", "a.png"}, {480, "@2x", "a@2x.png"}, {1024, "@2x", "a@2x.png"},
    };
    for (const auto& c : cases) {
        const CSkin skin = fixture.Load(body, c.width, 640);
        EXPECT_EQ(skin.ResolutionSuffix(), c.suffix) << c.width;
        ASSERT_NE(skin.FindBitmap("a"), nullptr);
        EXPECT_EQ(skin.FindBitmap("a")->filePath, fixture.Path(c.aFile)) << c.width;
        // A file name without a dot never gets a variant.
        EXPECT_EQ(skin.FindBitmap("n")->filePath, fixture.Path("noext")) << c.width;
    }
}

TEST(SkinLoaderTest, BitmapTransparencyIsSetOnlyWhenGiven) {
    SkinFixture fixture;
    const CSkin skin = fixture.Load(
        "<bitmap name=\"k\" file=\"k.png\" transparency=\"250,128,5\"/>"
        "<bitmap name=\"e\" file=\"e.png\" transparency=\"\"/><bitmap name=\"n\" file=\"n.png\"/>");
    EXPECT_TRUE(skin.FindBitmap("k")->transparent);
    EXPECT_EQ(skin.FindBitmap("k")->transparencyColor, SkinColor::FromRgb(250, 128, 5));
    EXPECT_FALSE(skin.FindBitmap("e")->transparent);
    EXPECT_FALSE(skin.FindBitmap("n")->transparent);
}

TEST(SkinLoaderTest, WindowComponentsKeepAnchoredEdgesUnscaled) {
    SkinFixture fixture;
    const CSkin skin = fixture.Load(
        "<wincomponent name=\"sized\" x=\"10\" y=\"20\" width=\"100\" height=\"50\" "
        "backcolor=\"1,2,3\" forecolor=\"\"/>"
        "<wincomponent name=\"anchored\" x=\"10\" y=\"20\" right=\"10\" bottom=\"30\"/>"
        "<wincomponent name=\"bare\" x=\"10\" y=\"20\"/>"
        "<wincomponent name=\"zero\" x=\"10\" y=\"20\" width=\"0\" right=\"5\" height=\"0\"/>",
        480, 640, 192);
    const struct {
        const char* name;
        SkinRect placed;  // in a 480 x 640 parent
        bool rightAnchored, bottomAnchored;
    } cases[] = {
        {"sized", {20, 40, 220, 140}, false, false},
        {"anchored", {20, 40, 470, 610}, true, true},  // 10 and 30 are raw pixels
        {"bare", {20, 40, 20, 40}, false, false},
        {"zero", {20, 40, 20, 40}, false, false},  // "width"="0" is given: "right" is not read
    };
    for (const auto& c : cases) {
        const SkinWinComponent* window = skin.FindWinComponent(c.name);
        ASSERT_NE(window, nullptr) << c.name;
        EXPECT_EQ(window->Place(480, 640), c.placed) << c.name;
        EXPECT_EQ(window->rightAnchored, c.rightAnchored) << c.name;
        EXPECT_EQ(window->bottomAnchored, c.bottomAnchored) << c.name;
    }
    const SkinWinComponent* sized = skin.FindWinComponent("sized");
    EXPECT_EQ(sized->backColor, SkinColor::FromRgb(1, 2, 3));
    EXPECT_FALSE(sized->foreColor.has_value());
    EXPECT_FALSE(sized->selectColor.has_value());
}

TEST(SkinLoaderTest, ComponentRectanglesFollowEveryFallBack) {
    SkinFixture fixture;
    const CSkin skin = fixture.Load(
        R"(<component name="zero" mode="main">
             <state type="norm"><source name="b" x="0" y="0" width="0" height="0"/>
               <rect x="5" y="5" width="0" height="0"/></state></component>
           <component name="anchored" mode="main">
             <state type="norm"><source name="b" x="0" y="0" width="20" height="10"/>
               <rect right="4" bottom="6"/></state></component>
           <component name="states" mode="main" ignoreinput="true">
             <state type="norm"><source name="b" x="1" y="2" width="20" height="10"/>
               <rect x="3" y="4" width="20" height="10"/></state>
             <state type="hover"><source name="b" x="30" y="2"/></state>
             <state type="push"><source name="b" x="60" y="2" width="20"/><rect x="3" y="4"/></state>
             <state type="pressed"><source name="other"/></state></component>
           <component name="hoverfirst" mode="main">
             <state type="hover"><source name="b" x="0" y="0"/><rect x="1" y="1"/></state>
             <state type="norm"><source name="b" width="5" height="5"/></state></component>)",
        480, 640, 192);

    const SkinComponent* zero = skin.FindComponent("zero");
    ASSERT_NE(zero, nullptr);
    EXPECT_EQ(zero->norm.destination, (SkinRect{10, 10, 10, 10}));  // 0 is given and not scaled
    EXPECT_EQ(zero->norm.source, (SkinRect{0, 0, 0, 0}));

    // "right" without "x": x = right - the source's width (both scaled).
    const SkinComponent* anchored = skin.FindComponent("anchored");
    EXPECT_EQ(anchored->norm.destination, (SkinRect{432, 608, 472, 628}));

    const SkinComponent* states = skin.FindComponent("states");
    EXPECT_TRUE(states->ignoreInput);
    EXPECT_EQ(states->norm.source, (SkinRect{2, 4, 42, 24}));
    EXPECT_EQ(states->norm.destination, (SkinRect{6, 8, 46, 28}));
    // A hover "source" without "width" takes the norm's size; without "rect"
    // it is drawn at the norm's rectangle.
    EXPECT_TRUE(states->hover.present);
    EXPECT_EQ(states->hover.source, (SkinRect{60, 4, 100, 24}));
    EXPECT_EQ(states->hover.destination, states->norm.destination);
    // "width" without "height" gives a height of -1, and a "rect" without
    // sizes takes the source's own "width" and "height" (-1 when missing).
    EXPECT_EQ(states->push.source, (SkinRect{120, 4, 160, 3}));
    EXPECT_EQ(states->push.destination, (SkinRect{6, 8, 46, 7}));
    EXPECT_EQ(states->push.sourceBitmap, "b");

    // A hover read before its norm falls back to a norm not read yet.
    const SkinComponent* hoverFirst = skin.FindComponent("hoverfirst");
    EXPECT_EQ(hoverFirst->hover.source, (SkinRect{0, 0, 0, 0}));
    EXPECT_EQ(hoverFirst->hover.destination, (SkinRect{2, 2, 1, 1}));  // x + (-1)
    EXPECT_EQ(hoverFirst->norm.source, (SkinRect{-2, -2, 8, 8}));      // missing x, y scale to -2
}

TEST(SkinLoaderTest, FittingToAnotherSizeKeepsTheImagesWithinOneWidthStep) {
    SkinFixture fixture;
    fixture.WriteImage("a.png", SolidImage(2, 2, Qt::red));
    fixture.WriteImage("a@2x.png", SolidImage(4, 4, Qt::red));
    const std::string path = fixture.WriteSkin(
        R"(<bitmap name="a" file="a.png"/>
           <component name="c" mode="main"><state type="norm">
             <source name="a" x="0" y="0" width="2" height="2"/><rect x="0" bottom="5"/>
           </state></component>)");
    CSkin skin;
    skin.SetScale(SkinScale{192, 192});
    ASSERT_TRUE(skin.LoadSkin(path, SkinRect{0, 0, 480, 640}));
    {
        const SkinDrawGuard lock;
        ASSERT_TRUE(LoadSkinImage(lock, *skin.FindBitmap("a")));
    }
    // Placed again from the file as read (gone since), in the same record,
    // its image as decoded.
    const SkinComponent* component = skin.FindComponent("c");
    std::filesystem::remove(path);
    ASSERT_TRUE(skin.Fit(SkinRect{0, 0, 500, 700}));
    EXPECT_EQ(skin.FindComponent("c"), component);
    EXPECT_EQ(component->norm.destination, (SkinRect{0, 686, 4, 690}));
    EXPECT_FALSE(skin.FindBitmap("a")->image.pixels.isNull());
    // Another width step takes other images, another scale other sizes:
    // only a load gives those.
    EXPECT_FALSE(skin.Fit(SkinRect{0, 0, 479, 700}));
    skin.SetScale(SkinScale{125, 125});
    EXPECT_FALSE(skin.Fit(SkinRect{0, 0, 500, 700}));
    EXPECT_EQ(skin.FindComponent("c")->norm.destination, (SkinRect{0, 686, 4, 690}));
}

TEST(SkinLoaderTest, FontsTakeHeightFromPointsAndKeepTheirWords) {
    SkinFixture fixture;
    const CSkin skin = fixture.Load(
        R"(<font name="plain" face="Arial" size="10"/>
           <font name="odd" face="Arial" size="-3" weight="Bold" quality="nonantialiased"
                 italic="true" underline="True" color="10,20,30"/>
           <font name="bold" face="Arial" size="12" weight="bold"/>
           <font name="nosize" face="Arial"/>)",
        480, 640, 192);
    const SkinFont* plain = skin.FindFont("plain");
    ASSERT_NE(plain, nullptr);
    EXPECT_EQ(plain->height, -26);  // -(10 x 192 / 72), truncated
    EXPECT_EQ(plain->weight, "normal");
    EXPECT_EQ(plain->quality, "default");
    EXPECT_EQ(plain->color, SkinColor());
    EXPECT_EQ(plain->font.pixelSize(), 26);
    EXPECT_EQ(plain->font.weight(), QFont::Normal);

    const SkinFont* odd = skin.FindFont("odd");
    EXPECT_EQ(odd->height, 0);  // negative sizes count as 0: the default size
    EXPECT_EQ(odd->weight, "Bold");
    EXPECT_EQ(odd->font.weight(), QFont::Normal);  // "Bold" is not a weight word
    EXPECT_TRUE(odd->italic);
    EXPECT_FALSE(odd->underline);  // flags are exactly "true"
    EXPECT_EQ(odd->color, SkinColor::FromRgb(10, 20, 30));
    EXPECT_TRUE(odd->font.italic());
    EXPECT_TRUE(odd->font.styleStrategy() & QFont::NoAntialias);

    EXPECT_EQ(skin.FindFont("bold")->height, -32);
    EXPECT_EQ(skin.FindFont("bold")->font.weight(), QFont::Bold);
    EXPECT_EQ(skin.FindFont("nosize")->height, 0);
}

TEST(SkinLoaderTest, FindsTheFirstRecordOfAnExactName) {
    SkinFixture fixture;
    const CSkin skin = fixture.Load(
        "<bitmap name=\"x\" file=\"1.png\"/><bitmap name=\"x\" file=\"2.png\"/>"
        "<component name=\"c\" mode=\"a\"/><component name=\"c\" mode=\"b\"/>");
    EXPECT_EQ(skin.FindBitmap("x")->filePath, fixture.Path("1.png"));
    EXPECT_EQ(skin.FindBitmap("X"), nullptr);
    EXPECT_EQ(skin.FindComponent("c")->mode, "a");
    EXPECT_EQ(skin.FindWinComponent("x"), nullptr);
    EXPECT_EQ(skin.FindFont("x"), nullptr);
}

TEST(SkinLoaderTest, IsShownInIsASubstringTest) {
    const struct {
        const char* mode;
        const char* screen;
        bool shown;
    } cases[] = {
        {"", "main", false},
        {"all", "eq", true},
        {"All", "eq", false},
        {"main,nowplaying", "main", true},
        {"main,nowplaying", "nowplaying", true},
        {"main,nowplaying", "eq", false},
        {"nowplaying", "playing", true},
        {"nowplaying", "Nowplaying", false},
    };
    for (const auto& c : cases) {
        SkinComponent component;
        component.mode = c.mode;
        EXPECT_EQ(IsShownIn(component, c.screen), c.shown) << c.mode << " / " << c.screen;
    }
}

TEST(SkinLoaderTest, AMissingFileLeavesTheSkinAsItWas) {
    SkinFixture fixture;
    CSkin skin = fixture.Load("<bitmap name=\"kept\" file=\"k.png\"/>");
    EXPECT_FALSE(skin.LoadSkin(fixture.Path("missing.xml"), SkinRect{0, 0, 240, 320}));
    EXPECT_FALSE(skin.LoadSkin(fixture.Folder(), SkinRect{0, 0, 240, 320}));  // a folder
    EXPECT_NE(skin.FindBitmap("kept"), nullptr);
    // A reload empties the arrays before filling them.
    EXPECT_TRUE(skin.LoadSkin(fixture.WriteSkin("<font name=\"f\"/>"), SkinRect{0, 0, 240, 320}));
    EXPECT_EQ(skin.FindBitmap("kept"), nullptr);
    EXPECT_NE(skin.FindFont("f"), nullptr);
}

TEST(SkinLoaderTest, MalformedFilesLoadWhatCanBeReadAndSaySo) {
    SkinFixture fixture;
    const std::string whole =
        "<skin><bitmap name=\"one\" file=\"1.png\"/><component name=\"c\" mode=\"main\">"
        "<state type=\"norm\"><source name=\"one\" width=\"4\" height=\"4\"/></state>"
        "</component><font name=\"f\" size=\"9\"/></skin>";
    std::string binary;
    for (int i = 0; i < 3000; ++i) {
        binary.push_back(static_cast<char>((i * 131 + 7) & 0xFF));
    }
    const struct {
        std::string bytes;
        std::size_t bitmaps, components, fonts;
    } cases[] = {
        {whole.substr(0, whole.find("<font")), 1, 1, 0},       // cut short
        {whole.substr(0, whole.find("width=") + 9), 1, 1, 0},  // cut inside a tag
        {binary, 0, 0, 0},
        {std::string("\0<skin>\0", 8), 0, 0, 0},
    };
    for (const auto& c : cases) {
        LogCapture capture(kLogError);
        fixture.WriteFile("broken.xml", c.bytes);
        CSkin skin;
        EXPECT_TRUE(skin.LoadSkin(fixture.Path("broken.xml"), SkinRect{0, 0, 240, 320}));
        EXPECT_EQ(skin.Bitmaps().size(), c.bitmaps);
        EXPECT_EQ(skin.Components().size(), c.components);
        EXPECT_EQ(skin.Fonts().size(), c.fonts);
        ASSERT_FALSE(capture.Lines().empty());
        EXPECT_NE(capture.Lines()[0].find("broken.xml"), std::string::npos) << capture.Lines()[0];
    }
}

TEST(SkinLoaderTest, ReadsLatin1FilesAndBoundsHugeOnes) {
    SkinFixture fixture;
    fixture.WriteFile("latin1.xml", "<skin><font name=\"caf\xE9\"/></skin>");
    CSkin skin;
    ASSERT_TRUE(skin.LoadSkin(fixture.Path("latin1.xml"), SkinRect{0, 0, 240, 320}));
    EXPECT_NE(skin.FindFont("caf\xC3\xA9"), nullptr);

    LogCapture capture(kLogError);
    fixture.WriteFile("huge.xml", "<skin><font name=\"first\"/>" + std::string(5 << 20, ' ') +
                                      "<font name=\"beyond\"/></skin>");
    ASSERT_TRUE(skin.LoadSkin(fixture.Path("huge.xml"), SkinRect{0, 0, 240, 320}));
    EXPECT_NE(skin.FindFont("first"), nullptr);
    EXPECT_EQ(skin.FindFont("beyond"), nullptr);
    EXPECT_FALSE(capture.Lines().empty());
}

class RecordingReporter final : public SkinErrorReporter {
public:
    void ShowSkinError(std::string_view text, std::string_view caption) override {
        shown.emplace_back(std::string(text) + " / " + std::string(caption));
    }
    std::vector<std::string> shown;
};

TEST(SkinFallbackTest, FallsBackToTheDefaultSkinThenReports) {
    SkinFixture fixture;
    const std::string good = fixture.WriteSkin("<font name=\"good\"/>", "good.xml");
    const std::string fallback = fixture.WriteSkin("<font name=\"default\"/>", "default.xml");
    const std::string missing = fixture.Path("missing.xml");
    const struct {
        std::string path;
        std::string defaultPath;
        bool loaded;
        std::string finalPath;
        const char* font;
    } cases[] = {
        {good, fallback, true, good, "good"},
        {missing, fallback, true, fallback, "default"},
        {missing, missing, false, missing, nullptr},
        {missing, fixture.Path("also-missing.xml"), false, fixture.Path("also-missing.xml"),
         nullptr},
    };
    for (const auto& c : cases) {
        CSkin skin;
        RecordingReporter reporter;
        std::string path = c.path;
        EXPECT_EQ(
            LoadSkinWithFallback(skin, path, c.defaultPath, SkinRect{0, 0, 240, 320}, reporter),
            c.loaded);
        EXPECT_EQ(path, c.finalPath);
        if (c.loaded) {
            EXPECT_TRUE(reporter.shown.empty());
            EXPECT_NE(skin.FindFont(c.font), nullptr);
        } else {
            EXPECT_EQ(reporter.shown,
                      std::vector<std::string>{"Error Loading Skin! / Skin System Error"});
        }
    }
    EXPECT_EQ(DefaultSkinPath("/opt/vantor/"), "/opt/vantor/skins/default/default.xml");
    EXPECT_EQ(DefaultSkinPath(""), "skins/default/default.xml");
}

}  // namespace
}  // namespace vantor
