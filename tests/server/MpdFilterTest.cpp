// Filter expressions and what paths and selectors name in MPD's terms,
// without MPD.

#include <gtest/gtest.h>

#include "mpd/MpdFilter.h"
#include "mpd/MpdSelection.h"

namespace vantor::server {
namespace {

TEST(MpdFilterTest, TextIsQuotedForMpdsFilters) {
    struct Case {
        std::string made;
        const char* filter;
    };
    const Case cases[] = {
        {mpd::Quote("plain"), "'plain'"},
        {mpd::Quote("a\\b'c"), "'a\\\\b\\'c'"},
        {mpd::Quote("say \"hi\""), "'say \"hi\"'"},
        {mpd::Equals("album", "It's Late"), "(album == 'It\\'s Late')"},
        {mpd::AllOf({}), "(file != '')"},
        {mpd::AllOf({"(a == 'x')"}), "(a == 'x')"},
        {mpd::AllOf({"(a == 'x')", "(b == 'y')"}), "((a == 'x') AND (b == 'y'))"},
        {mpd::AnyContains("rain"), "(any contains 'rain')"},
        // A regular expression: its own specials escaped, then quoted.
        {mpd::ContainsAnyCase("title", "a.b"), "(title =~ '(?i)a\\\\.b')"},
        {mpd::ContainsAnyCase("title", "(It's)"), "(title =~ '(?i)\\\\(It\\'s\\\\)')"},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(test.made, test.filter);
    }
}

TEST(MpdFilterTest, LibraryPathsAndSelectorsBecomeSelections) {
    const MpdSongs songs;  // none given out yet
    using Kind = MpdSelection::Kind;
    struct Case {
        const char* path;
        Kind kind;
        const char* value;
    };
    const Case cases[] = {
        {"/Music/Artists/Mira Solen", Kind::kFilter, "(artist == 'Mira Solen')"},
        {"/Music/Artists/AC%2FDB/Live", Kind::kFilter,
         "((artist == 'AC/DB') AND (album == 'Live'))"},
        {"/Music/Albums/It's Late/", Kind::kFilter, "(album == 'It\\'s Late')"},
        {"/Music/Genres/Jazz/A/B", Kind::kFilter,
         "((genre == 'Jazz') AND (artist == 'A') AND (album == 'B'))"},
        {"//Music//Songs", Kind::kFilter, "(file != '')"},
        {"/Music/Playlists/Evening", Kind::kPlaylist, "Evening"},
        {"/Music/Songs/999", Kind::kNothing, ""},  // a song number never given out
        {"/", Kind::kFilter, "(file != '')"},
        {"/Music", Kind::kFilter, "(file != '')"},
        {"/Music/Artists", Kind::kFilter, "(artist != '')"},
        {"/Music/Genres/", Kind::kFilter, "(genre != '')"},
        {"/Podcasts/Show", Kind::kNothing, ""},
        {"/Music/Artists/A/B/C/D", Kind::kNothing, ""},
    };
    for (const Case& test : cases) {
        const auto selection = MpdSelection::OfPath(test.path, songs);
        EXPECT_EQ(selection.kind, test.kind) << test.path;
        EXPECT_EQ(selection.value, test.value) << test.path;
    }

    MediaSelector tags;
    tags.any = "rain";
    tags.artist = "Glass Orchard";
    const auto byTags = MpdSelection::Of(tags, songs);
    EXPECT_EQ(byTags.kind, Kind::kFilter);
    EXPECT_EQ(byTags.value, "((any contains 'rain') AND (artist == 'Glass Orchard'))");
    MediaSelector unknownSong;
    unknownSong.id = 3;
    EXPECT_EQ(MpdSelection::Of(unknownSong, songs).kind, Kind::kNothing);
}

}  // namespace
}  // namespace vantor::server
