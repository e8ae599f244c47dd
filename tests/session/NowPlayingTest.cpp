#include <gtest/gtest.h>

#include "session/NowPlaying.h"

namespace vantor {
namespace {

TEST(NowPlayingTest, TitleLineForms) {
    struct Case {
        const char* artist;
        const char* title;
        std::int32_t length;
        const char* line;
    };
    const Case cases[] = {
        {"Ana", "Intro", 59, "Ana - Intro (0:59)"},
        {"Ana", "Intro", 3600, "Ana - Intro (1:00:00)"},
        {"Ana", "Intro", 3725, "Ana - Intro (1:02:05)"},
        {"Ana", "Intro", 0, "Ana - Intro"},
        {"Ana", "Intro", -1, "Ana - Intro"},
        {"Ana", "Intro", 60, "Ana - Intro (1:00)"},
        {"", "Intro", 245, "Intro (4:05)"},
        {"Ana", "", 245, "Ana -  (4:05)"},
        {"", "", 245, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(TitleLine(c.artist, c.title, c.length, true), c.line)
            << c.artist << "/" << c.title << "/" << c.length;
    }
}

TEST(NowPlayingTest, AccentsAreFoldedOnlyWithoutATitleFont) {
    EXPECT_EQ(TitleLine("Ana", "S\xC3\xAD", 0, false), "Ana - Si");
    EXPECT_EQ(TitleLine("Ana", "S\xC3\xAD", 0, true), "Ana - S\xC3\xAD");
}

TEST(NowPlayingTest, FoldingReplacesOneForOneAndKeepsItsGaps) {
    // 192-255 in UTF-8, and what each becomes ("=" keeps the letter).
    const char* const expected = "AAAAAAACEEEEIIII=NOOOOO==UUUU===aaaaaaaceeeeiiii=nooooo==uuuu===";
    for (unsigned code = 192; code <= 255; ++code) {
        const std::string letter = {static_cast<char>(0xC0 | (code >> 6)),
                                    static_cast<char>(0x80 | (code & 0x3F))};
        const char plain = expected[code - 192];
        EXPECT_EQ(FoldLatin1(letter), plain == '=' ? letter : std::string(1, plain)) << code;
    }
    EXPECT_EQ(FoldLatin1("Bj\xC3\xB6rk \xE2\x82\xAC \xC3"), "Bjork \xE2\x82\xAC \xC3")
        << "other text, and a cut sequence, stay";
}

TEST(NowPlayingTest, TimeTexts) {
    EXPECT_EQ(FormatPlayTime(0), "00:00");
    EXPECT_EQ(FormatPlayTime(65), "01:05");
    EXPECT_EQ(FormatPlayTime(3599), "59:59");
    EXPECT_EQ(FormatPlayTime(3600), "1:00:00");
    EXPECT_EQ(FormatPlayTime(-5), "00:00");
    EXPECT_EQ(PlayTimeText(65, 245, false), "01:05");
    EXPECT_EQ(PlayTimeText(65, 245, true), "-03:00");
    EXPECT_EQ(PlayTimeText(65, 7265, true), "-2:00:00");
    EXPECT_EQ(PlayTimeText(65, -1, true), "-00:00");
    EXPECT_EQ(PlayTimeText(4000, -1, true), "-0:00:00");
    EXPECT_EQ(PlayTimeText(300, 245, true), "-00:00") << "past the end";
}

}  // namespace
}  // namespace vantor
