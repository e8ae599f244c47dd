#include <gtest/gtest.h>

#include <random>

#include "core/Text.h"
#include "protocol/XmlReader.h"
#include "protocol/XmlWriter.h"
#include "support/ReferenceXmlReader.h"

namespace vantor {
namespace {

std::string ReadText(std::string_view text, std::string_view name) {
    const XmlDocument document(text);
    return document.Root().Text(name);
}

std::int32_t ReadInt(std::string_view text, std::string_view name) {
    const XmlDocument document(text);
    return document.Root().Int(name);
}

bool ReadBool(std::string_view text, std::string_view name) {
    const XmlDocument document(text);
    return document.Root().Bool(name);
}

TEST(XmlEscapeTest, EscapesAndDecodesInTheirOrder) {
    EXPECT_EQ(EscapeXml("a<b & c"), "a&lt;b &amp; c");
    EXPECT_EQ(EscapeXml("\"it's\" > x"), "&quot;it&apos;s&quot; &gt; x");
    EXPECT_EQ(DecodeEntities("a&lt;b &amp; c"), "a<b & c");
    // "&amp;" is decoded last, so an escaped entity stays an entity.
    EXPECT_EQ(DecodeEntities("&amp;lt;"), "&lt;");
    EXPECT_EQ(DecodeEntities("&amp;amp;"), "&amp;");
    // Numeric references and unknown or broken entities stay as they are.
    EXPECT_EQ(DecodeEntities("&#60; &nbsp; &lt &"), "&#60; &nbsp; &lt &");
    for (const std::string value : {"a<b & c", "&amp;", "<<>>", "'\"'", "plain", ""}) {
        EXPECT_EQ(DecodeEntities(EscapeXml(value)), value);
    }
}

// The search rules a field is found by, kept exactly as the server has them.
TEST(XmlReaderTest, FieldsAreFoundByTheSearchRules) {
    struct Case {
        const char* rule;
        const char* text;
        const char* value;
    };
    const Case cases[] = {
        {"the first of a name, decoded", "<M>\n<t>a&lt;b &amp; c</t>\n<t>second</t>\n</M>",
         "a<b & c"},
        {"a prefix of a name is another name", "<M><title>x</title></M>", ""},
        {"a blank-terminated tag is searched first", "<M><t>plain</t><t lang=\"en\">attr</t></M>",
         "attr"},
        {"a bare blank ends the name too", "<M><t x>y</t></M>", "y"},
        {"self-closed reads as missing", "<M>\n<t/>\n</M>", ""},
        {"self-closed with an attribute is found, and empty", "<M><t a=\"1\"/><t>later</t></M>",
         ""},
        {"<t/> never matches a search", "<M><t/><t>later</t></M>", "later"},
        {"nested same-name elements are skipped", "<M><t>a<t>b</t>c</t><t>d</t></M>", "a<t>b</t>c"},
        {"a nested opening tag uses up the only closing tag", "<M><t><t>only opened</t></M>", ""},
        // Scalar fields are searched across the whole text; writers put them
        // ahead of their lists for this reason.
        {"a field inside an earlier entry is found first",
         "<M><r><t>/inner</t></r><t>/outer</t></M>", "/inner"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ReadText(c.text, "t"), c.value) << c.rule;
    }
    EXPECT_EQ(ReadText("<M><t>x</t></M>", "missing"), "");
    EXPECT_EQ(ReadInt("<M>\n<volume/>\n</M>", "volume"), -1);
}

TEST(XmlReaderTest, UnterminatedInputReadsAsMissing) {
    const char* const inputs[] = {
        "",           "<",
        "<title",     "<title>",
        "<title>abc", "<title>abc</title",
        "<title x",   "<title x=\"1\"",
        "</title>",   "<title><title><title>",
    };
    for (const char* input : inputs) {
        EXPECT_EQ(ReadText(input, "title"), "") << input;
        EXPECT_EQ(ReadInt(input, "title"), -1) << input;
    }
}

TEST(XmlReaderTest, IntegersReadTheLeadingNumber) {
    struct Case {
        const char* content;
        std::int32_t value;
    };
    const Case cases[] = {
        {"12", 12},
        {"12abc", 12},
        {"-7", -7},
        {"+5", 5},
        {"  42", 42},
        {"\t\n3", 3},
        {"abc", 0},
        {"-", 0},
        {"0x10", 0},
        {"&lt;1", 0},
        {"2147483647", 2147483647},
        {"2147483648", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"99999999999999999999", 2147483647},
        {"-99999999999999999999", -2147483647 - 1},
    };
    for (const Case& c : cases) {
        const std::string text = std::string("<M><volume>") + c.content + "</volume></M>";
        EXPECT_EQ(ReadInt(text, "volume"), c.value) << c.content;
    }
    EXPECT_EQ(ReadInt("<M><volume></volume></M>", "volume"), -1) << "empty";
    EXPECT_EQ(ReadInt("<M></M>", "volume"), -1) << "missing";
}

TEST(XmlReaderTest, BooleansAreTrueOnlyForTheWordTrue) {
    struct Case {
        const char* content;
        bool value;
    };
    const Case cases[] = {{"true", true}, {"TRUE", true},   {"True", true},   {"1", false},
                          {"yes", false}, {" true", false}, {"true ", false}, {"", false}};
    for (const Case& c : cases) {
        const std::string text =
            std::string("<M><shuffleState>") + c.content + "</shuffleState></M>";
        EXPECT_EQ(ReadBool(text, "shuffleState"), c.value) << c.content;
    }
    EXPECT_FALSE(ReadBool("<M></M>", "shuffleState"));
}

TEST(XmlReaderTest, ListsAreWalkedInOrderAndEndAtAnEmptyEntry) {
    const XmlDocument document(
        "<M>\n<preset>Rock</preset>\n<preset/>\n<preset>Jazz &amp; Blues</preset>"
        "\n<preset></preset>\n<preset>After the end</preset>\n</M>");
    EXPECT_EQ(document.Root().TextList("preset"),
              (std::vector<std::string>{"Rock", "Jazz & Blues"}));

    const XmlDocument records(
        "<M>\n<path>/top</path>\n<result>\n<name>a</name>\n<path>/a</path>\n</result>"
        "\n<result>\n<name>b</name>\n</result>\n</M>");
    std::vector<std::string> seen;
    records.Root().ForEach("result", [&](const XmlView& entry) {
        seen.push_back(entry.Text("name") + "|" + entry.Text("path"));
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"a|/a", "b|"}))
        << "an entry's fields are searched within that entry only";
    EXPECT_EQ(records.Root().Text("path"), "/top");
}

TEST(XmlRootNameTest, TakesTheFirstElementsName) {
    struct Case {
        const char* text;
        const char* name;
    };
    const Case cases[] = {
        {"<VolumeChangedEvent>\n<volume>3</volume>\n</VolumeChangedEvent>", "VolumeChangedEvent"},
        {"<PlayRequest requestId=\"1\">", "PlayRequest"},
        {"  junk <PlayRequest>", "PlayRequest"},
        {"<A&amp;B>", "A&B"},
        {"<PlayRequest/>", "PlayRequest/"},
        {"<PlayRequest", ""},
        {"no tag at all", ""},
        {"", ""},
        {"<>", ""},
        {"<A\n>", "A\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RootName(c.text), c.name) << c.text;
    }
}

TEST(XmlMarkupRemovalTest, RemovesDeclarationsThenComments) {
    struct Case {
        const char* text;
        const char* stripped;
    };
    const Case cases[] = {
        {"<?xml version=\"1.0\"?><A/>", "<A/>"},
        {"<!-- hi --><A/>", "<A/>"},
        {"<?pi?><!--c--><A><!--x-->b<?q?></A>", "<A>b</A>"},
        {"<A><!-- <?x?> --></A>", "<A></A>"},
        {"<A/><?unterminated", "<A/><?unterminated"},
        {"<A/><!-- unterminated <?x?>", "<A/><!-- unterminated "},
        {"<?a?>x<?b", "x<?b"},
        {"<!-- a -->x<!-- b", "x<!-- b"},
        {"<!---->", ""},
        {"<?>", "<?>"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RemoveProcessingInstructionsAndComments(c.text), c.stripped) << c.text;
    }
    EXPECT_EQ(RootName(RemoveProcessingInstructionsAndComments(
                  "<?xml version=\"1.0\"?>\n<!-- from the server -->\n<PlayResponse>")),
              "PlayResponse");
}

TEST(XmlReaderTest, HugeHostileInputsAreReadInLinearTime) {
    // Each of these would take minutes if a search rescanned the text per
    // step; the suite's time-out catches that.
    const std::string lessThans(10 * 1024 * 1024, '<');
    EXPECT_EQ(ReadText(lessThans, "item"), "");
    EXPECT_EQ(RootName(lessThans), "");

    std::string opens;
    for (int i = 0; i < 1'000'000; ++i) {
        opens += "<item>";
    }
    EXPECT_EQ(ReadText(opens, "item"), "");
    opens += "</item>";
    EXPECT_EQ(ReadText(opens, "item"), "");
    EXPECT_TRUE(XmlDocument(opens).Root().TextList("item").empty());

    std::string nested;
    for (int i = 0; i < 200'000; ++i) {
        nested += "<item>";
    }
    nested += "x";
    for (int i = 0; i < 200'000; ++i) {
        nested += "</item>";
    }
    EXPECT_EQ(ReadText(nested, "item"), nested.substr(6, kMaxPeerText)) << "capped";

    std::string list = "<M>";
    for (int i = 0; i < 200'000; ++i) {
        list += "<item>x</item>";
    }
    list += "</M>";
    EXPECT_EQ(XmlDocument(list).Root().TextList("item").size(), 200'000u);
}

// Random inputs built from the pieces the searches care about; the indexed
// reader must agree with the literal one on every field and list.
TEST(XmlReaderTest, AgreesWithTheLiteralReaderOnRandomInput) {
    const char* const pieces[] = {"<a>",  "</a>",     "<a ",   "<a/>",  "<a x>", "<a x/>", "<b>",
                                  "</b>", "<b ",      "<ab>",  "<a",    ">",     "/",      " ",
                                  "x",    "&amp;",    "&lt;",  "&",     ";",     "<",      "</",
                                  "\n",   "&amp;lt;", "<a\t>", "</a >", "<b/>",  "</ab>",  "y"};
    std::mt19937 random(20261122);
    std::uniform_int_distribution<std::size_t> pick(0, std::size(pieces) - 1);
    std::uniform_int_distribution<int> length(0, 24);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (int n = length(random); n > 0; --n) {
            text += pieces[pick(random)];
        }
        const XmlDocument document(text);
        const XmlView& root = document.Root();
        for (const char* name : {"a", "b", "ab"}) {
            ASSERT_EQ(root.Text(name), reference::ReadText(text, name)) << text << " / " << name;
        }
        std::vector<std::string> raw;
        std::vector<std::string> inner;
        root.ForEach("a", [&](const XmlView& entry) {
            raw.emplace_back(entry.Raw());
            inner.push_back(entry.Text("b"));
        });
        const auto expected = reference::ReadList(text, "a");
        ASSERT_EQ(raw, expected) << text;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(inner[i], reference::ReadText(expected[i], "b")) << text;
        }
    }
}

}  // namespace
}  // namespace vantor
