#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "skin/SkinColor.h"
#include "skin/SkinScale.h"
#include "skin/SkinXmlReader.h"

namespace vantor {
namespace {

std::vector<std::string> Names(const SkinXmlDocument& document) {
    std::vector<std::string> names;
    for (const SkinXmlElement& element : document.Elements()) {
        names.push_back(element.name);
    }
    return names;
}

TEST(SkinXmlReaderTest, ReadsTheTreeSkippingCommentsAndDeclarations) {
    const SkinXmlDocument document = SkinXmlDocument::Parse(
        "<?xml version=\"1.0\"?>\n<!DOCTYPE skin>\n<skin>"
        "<!-- <bitmap name=\"hidden\"/> -- still a comment -->"
        "<component name = \"play\" mode=\"main\">"
        "  <state type=\"norm\"><source name=\"a\"/><rect x=\"1\"></rect></state>"
        "</component><font/></skin>");
    EXPECT_EQ(Names(document),
              (std::vector<std::string>{"skin", "component", "state", "source", "rect", "font"}));
    EXPECT_EQ(document.Problems().count, 0u);

    const SkinXmlElement& component = document.At(1);
    EXPECT_EQ(component.Text("name"), "play");  // blanks around "=" are allowed
    ASSERT_EQ(component.children, std::vector<std::size_t>{2});
    const SkinXmlElement& state = document.At(2);
    EXPECT_EQ(state.children, (std::vector<std::size_t>{3, 4}));
    ASSERT_NE(document.FirstChild(state, "rect"), nullptr);
    EXPECT_EQ(document.FirstChild(state, "rect")->Number("x"), 1);
    EXPECT_EQ(document.FirstChild(state, "missing"), nullptr);
    EXPECT_EQ(document.At(0).children, (std::vector<std::size_t>{1, 5}));  // "font" self-closed
}

TEST(SkinXmlReaderTest, AnyClosingTagClosesTheCurrentElement) {
    // "</a>" closes "b", the element open at that point, so "c" is a child
    // of "a"; "</x>" then closes "a".
    const SkinXmlDocument document = SkinXmlDocument::Parse("<a><b></a><c/></x><d/>");
    EXPECT_EQ(Names(document), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_EQ(document.At(0).children, (std::vector<std::size_t>{1, 2}));
    EXPECT_TRUE(document.At(1).children.empty());
    EXPECT_EQ(document.Problems().count, 0u);
}

TEST(SkinXmlReaderTest, DecodesAmpFirst) {
    const struct {
        const char* raw;
        const char* decoded;
    } cases[] = {
        {"a &amp; b", "a & b"}, {"&lt;&gt;&quot;", "<>\""},
        {"&amp;lt;", "<"},  // "&amp;" first, so the "&lt;" it leaves is decoded too
        {"&amp;amp;", "&amp;"}, {"&apos;&#65;", "&apos;&#65;"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(DecodeSkinEntities(c.raw), c.decoded) << c.raw;
        const std::string xml = std::string("<e v=\"") + c.raw + "\"/>";
        EXPECT_EQ(SkinXmlDocument::Parse(xml).At(0).Text("v"), c.decoded) << c.raw;
    }
}

TEST(SkinXmlReaderTest, ReadsNumbersTextsAndFlags) {
    const struct {
        const char* value;
        std::int32_t number;
        bool flag;
    } cases[] = {
        {"12", 12, false},
        {"-7", -7, false},
        {"+3px", 3, false},
        {" 5", 5, false},
        {"true", 1, true},
        {"TRUE", 1, false},  // numbers ignore case, flags do not
        {"False", 0, false},
        {"1", 1, false},
        {"", 0, false},
        {"abc", 0, false},
        {"0000000000000012", 1, false},  // only the first 15 characters count
        {"999999999999999", INT32_MAX, false},
        {"-99999999999999", INT32_MIN, false},
    };
    for (const auto& c : cases) {
        const SkinXmlDocument document =
            SkinXmlDocument::Parse(std::string("<e v=\"") + c.value + "\"/>");
        const SkinXmlElement& e = document.At(0);
        EXPECT_EQ(e.Number("v"), c.number) << '"' << c.value << '"';
        EXPECT_EQ(e.Flag("v"), c.flag) << '"' << c.value << '"';
        EXPECT_EQ(e.Text("v"), c.value);
    }
    const SkinXmlDocument empty = SkinXmlDocument::Parse("<e/>");
    EXPECT_EQ(empty.At(0).Number("v"), -1);
    EXPECT_EQ(empty.At(0).Text("v"), "");
    EXPECT_FALSE(empty.At(0).Flag("v"));
}

TEST(SkinXmlReaderTest, KeepsWhatPrecedesDamage) {
    const struct {
        const char* text;
        std::vector<std::string> names;
        const char* firstProblem;
    } cases[] = {
        {"<a><b x=\"1\"/><c", {"a", "b"}, "tag without \">\""},
        {"<a><b/><!-- never closed <c/>", {"a", "b"}, "comment without \"-->\""},
        {"<a x=1 y=\"2\"><b/></a>", {"a", "b"}, "attribute value without double quotes"},
        {"<a x=\"1><b/></a>", {"a", "b"}, "attribute value without its closing quote"},
        {"</a><b/>", {"b"}, "closing tag with no element open"},
        {"<a lone y=\"2\"/>", {"a"}, "attribute without \"=\""},
        {"<><b/>", {"b"}, "tag without a name"},
        {"<a><b>", {"a", "b"}, "element not closed at the end of the file"},
    };
    for (const auto& c : cases) {
        const SkinXmlDocument document = SkinXmlDocument::Parse(c.text);
        EXPECT_EQ(Names(document), c.names) << c.text;
        EXPECT_GE(document.Problems().count, 1u) << c.text;
        EXPECT_EQ(document.Problems().first, c.firstProblem) << c.text;
    }
    // An attribute after a word without "=" is still read.
    EXPECT_EQ(SkinXmlDocument::Parse("<a lone y=\"2\"/>").At(0).Number("y"), 2);
}

TEST(SkinXmlReaderTest, DeepNestingNeitherRecursesNorGrowsWithoutBound) {
    std::string text;
    for (int i = 0; i < 100000; ++i) {
        text += "<n>";
    }
    const SkinXmlDocument deep = SkinXmlDocument::Parse(text);
    EXPECT_EQ(deep.Elements().size(), kMaxSkinXmlElements);
    EXPECT_EQ(deep.At(kMaxSkinXmlElements - 2).children,
              std::vector<std::size_t>{kMaxSkinXmlElements - 1});
    EXPECT_EQ(deep.Problems().first, "too many elements; the rest is ignored");

    std::string wide = "<e";
    for (int i = 0; i < 1000; ++i) {
        wide += " a" + std::to_string(i) + "=\"" + std::to_string(i) + "\"";
    }
    const SkinXmlDocument many = SkinXmlDocument::Parse(wide + "/><f/>");
    EXPECT_EQ(many.At(0).attributes.size(), kMaxSkinXmlAttributes);
    EXPECT_EQ(many.At(0).Number("a63"), 63);
    EXPECT_EQ(many.Elements().size(), 2u);  // the next tag is read again
}

TEST(SkinScaleTest, RoundsHalfAwayFromZero) {
    const struct {
        std::int32_t value;
        std::int32_t dpi;
        std::int32_t scaled;
    } cases[] = {
        {10, 96, 10},
        {-10, 96, -10},
        {1, 144, 2},
        {-1, 144, -2},
        {3, 144, 5},
        {-3, 144, -5},
        {240, 192, 480},
        {240, 125, 313},
        {3, 125, 4},
        {-1, 192, -2},
        {INT32_MAX, 192, INT32_MAX},
        {INT32_MIN, 192, INT32_MIN},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SkinScale::Scale(c.value, c.dpi), c.scaled) << c.value << " at " << c.dpi;
    }
    const SkinScale scale{192, 144};
    EXPECT_EQ(scale.Width(0), 0);
    EXPECT_EQ(scale.Width(-1), -1);
    EXPECT_EQ(scale.Height(-5), -5);
    EXPECT_EQ(scale.Height(5), 8);
    EXPECT_EQ(scale.X(-1), -2);  // positions are scaled whatever their sign
}

TEST(SkinColorTest, ParsesThreeDecimalsCutToBytes) {
    const struct {
        const char* text;
        int red, green, blue;
    } cases[] = {
        {"255,128,0", 255, 128, 0}, {"1, 2, 3", 1, 2, 3}, {"300,0,-1", 44, 0, 255}, {"7", 7, 0, 0},
        {"7,8", 7, 8, 0},           {"1,2,3,4", 1, 2, 3},
    };
    for (const auto& c : cases) {
        const SkinColor color = ParseSkinColor(c.text);
        EXPECT_EQ(color.Red(), c.red) << c.text;
        EXPECT_EQ(color.Green(), c.green) << c.text;
        EXPECT_EQ(color.Blue(), c.blue) << c.text;
    }
    EXPECT_EQ(ParseSkinColor("255,128,0").Value(), 0x0080FFu);  // red in the low byte
    EXPECT_EQ(ParseSkinColor("255,128,0").Pixel(), 0xFFFF8000u);
}

}  // namespace
}  // namespace vantor
