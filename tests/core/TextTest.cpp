#include <gtest/gtest.h>

#include "core/Text.h"

namespace vantor {
namespace {

struct Utf16Case {
    const char* label;
    std::string text;
    std::size_t units;
};

TEST(TextTest, Utf16LengthCountsCodeUnits) {
    const Utf16Case cases[] = {
        {"empty", "", 0},
        {"ascii", "Vantor", 6},
        {"two-byte", "S\xC3\xAD", 2},                              // Sí
        {"three-byte", "\xE2\x82\xAC", 1},                         // €
        {"four-byte is a surrogate pair", "\xF0\x9F\x8E\xB5", 2},  // 🎵
        {"stray continuation byte", "\x80", 1},
        {"cut sequence", "\xE2\x82", 2},
        {"overlong form", "\xC0\xAF", 2},
        {"encoded surrogate", "\xED\xA0\x80", 3},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Utf16Length(c.text), c.units) << c.label;
    }
}

TEST(TextTest, TruncateNeverSplitsACodePoint) {
    const std::string text = "ab\xC3\xAD\xF0\x9F\x8E\xB5z";  // a b í 🎵 z = 6 units
    EXPECT_EQ(TruncateUtf16(text, 100), text);
    EXPECT_EQ(TruncateUtf16(text, 6), text);
    EXPECT_EQ(TruncateUtf16(text, 5), "ab\xC3\xAD\xF0\x9F\x8E\xB5");
    EXPECT_EQ(TruncateUtf16(text, 4), "ab\xC3\xAD") << "half a surrogate pair is dropped";
    EXPECT_EQ(TruncateUtf16(text, 3), "ab\xC3\xAD");
    EXPECT_EQ(TruncateUtf16(text, 2), "ab");
    EXPECT_EQ(TruncateUtf16(text, 0), "");
    EXPECT_EQ(TruncateUtf16(std::string(150, 'x'), 100), std::string(100, 'x'));
}

TEST(TextTest, PeerTextIsCappedOnACodePointBoundary) {
    const std::size_t cap = kMaxPeerText;
    const std::string euro = "\xE2\x82\xAC";
    struct Case {
        const char* label;
        std::string text;
        std::string kept;
    };
    const Case cases[] = {
        {"short text stays", "Song", "Song"},
        {"exactly the cap stays", std::string(cap, 'a'), std::string(cap, 'a')},
        {"a megabyte is cut", std::string(1 << 20, 'a'), std::string(cap, 'a')},
        {"a sequence across the cut goes whole", std::string(cap - 1, 'a') + euro,
         std::string(cap - 1, 'a')},
        {"a sequence ending at the cut stays", std::string(cap - 3, 'a') + euro + "b",
         std::string(cap - 3, 'a') + euro},
        {"stray continuation bytes are cut where they are", std::string(cap, '\x80') + "z",
         std::string(cap, '\x80')},
    };
    for (const Case& c : cases) {
        std::string text = c.text;
        CapPeerText(text);
        EXPECT_EQ(text, c.kept) << c.label;
    }
}

TEST(TextTest, FormatHandlesLongOutput) {
    EXPECT_EQ(Format("%s (%d:%02d)", "Song", 3, 7), "Song (3:07)");
    const std::string big(1000, 'q');
    EXPECT_EQ(Format("[%s]", big.c_str()), "[" + big + "]");
}

TEST(TextTest, ToLowerAsciiLeavesOtherBytesAlone) {
    EXPECT_EQ(ToLowerAscii("TRUE Fast-Forwarding"), "true fast-forwarding");
    EXPECT_EQ(ToLowerAscii("\xC3\x89T\xC3\x89"), "\xC3\x89t\xC3\x89");  // ÉTÉ
}

}  // namespace
}  // namespace vantor
