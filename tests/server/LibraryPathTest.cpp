#include <gtest/gtest.h>

#include "LibraryPath.h"

namespace vantor::server {
namespace {

using Kind = LibraryPath::Kind;

TEST(LibraryPathTest, EachPathNamesOneFolderByItsNames) {
    struct Case {
        const char* path;
        Kind kind;
        const char* text;
        const char* genre;
        const char* artist;
        const char* album;
        const char* playlist;  // or the show
    };
    const Case cases[] = {
        {"", Kind::kRoot, "/", "", "", "", ""},
        {"//", Kind::kRoot, "/", "", "", "", ""},
        {"/Music/", Kind::kMusic, "/Music", "", "", "", ""},
        {"/Music/Artists", Kind::kArtists, "/Music/Artists", "", "", "", ""},
        {"/Music/Artists/AC%2FDB", Kind::kArtist, "/Music/Artists/AC%2FDB", "", "AC/DB", "", ""},
        {"/Music/Artists/AC%2fDB//Live/", Kind::kArtistAlbum, "/Music/Artists/AC%2FDB/Live", "",
         "AC/DB", "Live", ""},
        {"/Music/Artists/A/B/C", Kind::kUnknown, "/Music/Artists/A/B/C", "", "", "", ""},
        {"/Music/Albums/It's Late", Kind::kAlbum, "/Music/Albums/It's Late", "", "", "It's Late",
         ""},
        {"/Music/Albums/x/y", Kind::kUnknown, "/Music/Albums/x/y", "", "", "", ""},
        {"/Music/Genres", Kind::kGenres, "/Music/Genres", "", "", "", ""},
        {"/Music/Genres/Jazz", Kind::kGenre, "/Music/Genres/Jazz", "Jazz", "", "", ""},
        {"/Music/Genres/Jazz/A", Kind::kGenreArtist, "/Music/Genres/Jazz/A", "Jazz", "A", "", ""},
        {"/Music/Genres/Jazz/A/B", Kind::kGenreArtistAlbum, "/Music/Genres/Jazz/A/B", "Jazz", "A",
         "B", ""},
        {"/Music/Songs", Kind::kSongs, "/Music/Songs", "", "", "", ""},
        {"/Music/Songs/12", Kind::kUnknown, "/Music/Songs/12", "", "", "", ""},
        {"/Music/Playlists/Road Trip", Kind::kPlaylist, "/Music/Playlists/Road Trip", "", "", "",
         "Road Trip"},
        {"/Podcasts/Field Notes", Kind::kShow, "/Podcasts/Field Notes", "", "", "", "Field Notes"},
        {"/Podcasts/Field Notes/3", Kind::kUnknown, "/Podcasts/Field Notes/3", "", "", "", ""},
        {"/Video", Kind::kUnknown, "/Video", "", "", "", ""},
        {"/Music/Bogus", Kind::kUnknown, "/Music/Bogus", "", "", "", ""},
    };
    for (const Case& test : cases) {
        const LibraryPath at = LibraryPath::Parse(test.path);
        EXPECT_EQ(at.kind, test.kind) << test.path;
        EXPECT_EQ(at.text, test.text) << test.path;
        if (at.kind == Kind::kUnknown) {
            continue;
        }
        EXPECT_EQ(at.genre, test.genre) << test.path;
        EXPECT_EQ(at.artist, test.artist) << test.path;
        EXPECT_EQ(at.album, test.album) << test.path;
        EXPECT_EQ(at.kind == Kind::kShow ? at.show : at.playlist, test.playlist) << test.path;
    }
}

TEST(LibraryPathTest, AnItemIsItsFoldersPathAndANumber) {
    struct Case {
        const char* path;
        std::int32_t id;
        const char* parent;
    };
    const Case cases[] = {
        {"/Music/Albums/Blue/7", 7, "/Music/Albums/Blue"},
        {"/Music/Songs/123456789", 123456789, "/Music/Songs"},
        {"/Music/Songs/1234567890", -1, "/Music/Songs"},  // no song number is that long
        {"/7", -1, "/"},                                  // no folder before it
        {"/Music/Artists/1999", 1999, "/Music/Artists"},  // a number even where a name could be
        {"/Music/Songs/-3", -1, "/Music/Songs"},
        {"/Music/Songs/3a", -1, "/Music/Songs"},
    };
    for (const Case& test : cases) {
        const LibraryPath at = LibraryPath::Parse(test.path);
        EXPECT_EQ(at.ItemId(), test.id) << test.path;
        EXPECT_EQ(at.Parent().text, test.parent) << test.path;
    }
}

}  // namespace
}  // namespace vantor::server
