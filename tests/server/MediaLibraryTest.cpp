#include <gtest/gtest.h>

#include <set>

#include "MediaLibrary.h"

namespace vantor::server {
namespace {

TEST(MediaLibraryTest, GenerationIsRepeatableAndSized) {
    const MediaLibrary a = MediaLibrary::Generate(300, 5);
    const MediaLibrary b = MediaLibrary::Generate(300, 5);
    ASSERT_EQ(a.Tracks().size(), 300u);
    for (std::size_t i = 0; i < a.Tracks().size(); ++i) {
        EXPECT_EQ(a.Tracks()[i].title, b.Tracks()[i].title);
        EXPECT_EQ(a.Tracks()[i].id, static_cast<std::int32_t>(i + 1));
    }
    EXPECT_EQ(a.Find(1), &a.Tracks()[0]);
    EXPECT_EQ(a.Find(0), nullptr);
    EXPECT_EQ(a.Find(301), nullptr);
    EXPECT_GT(a.Artists().size(), 3u);
    EXPECT_FALSE(a.Genres().empty());
}

TEST(MediaLibraryTest, FoldersLeadDownToTheirSongs) {
    const MediaLibrary library = MediaLibrary::Generate(200);
    const auto root = library.Browse("/");
    ASSERT_TRUE(root.has_value());
    ASSERT_EQ(root->size(), 3u);
    EXPECT_EQ((*root)[0].path, "/Music/");

    const auto artists = library.Browse("/Music/Artists/");
    ASSERT_TRUE(artists.has_value());
    ASSERT_FALSE(artists->empty());
    const MediaResult& artist = artists->front();
    EXPECT_TRUE(artist.container);
    EXPECT_EQ(artist.type, MediaType::Artist);

    const auto albums = library.Browse(artist.path);
    ASSERT_TRUE(albums.has_value() && !albums->empty());
    const auto songs = library.Browse(albums->front().path);
    ASSERT_TRUE(songs.has_value() && !songs->empty());
    for (const MediaResult& song : *songs) {
        EXPECT_FALSE(song.container);
        const Track* track = library.Find(song.id);
        ASSERT_NE(track, nullptr);
        EXPECT_EQ(track->artist, artist.name);
        EXPECT_EQ(library.SongsAt(song.path), std::vector<std::int32_t>{song.id});
    }
    // Every song of the artist, through all albums.
    std::size_t byArtist = 0;
    for (const Track& track : library.Tracks()) {
        byArtist += track.artist == artist.name ? 1 : 0;
    }
    EXPECT_EQ(library.SongsAt(artist.path).size(), byArtist);
    EXPECT_EQ(library.Browse("/Music/Songs/")->size(), 200u);
}

TEST(MediaLibraryTest, UnknownPathsAreNotFolders) {
    const MediaLibrary library = MediaLibrary::Generate(50);
    for (const char* path :
         {"/Nothing/", "/Music/Artists/Nobody At All/", "/Music/Albums/x/y/", "/Music/Bogus/"}) {
        EXPECT_FALSE(library.Browse(path).has_value()) << path;
        EXPECT_TRUE(library.SongsAt(path).empty()) << path;
    }
    EXPECT_TRUE(library.Browse("/Playlists/").has_value());
}

TEST(MediaLibraryTest, SlashesInNamesAreEscapedInPaths) {
    EXPECT_EQ(MediaLibrary::EscapeName("AC/DC"), "AC%2FDC");
    EXPECT_EQ(MediaLibrary::UnescapeName("AC%2FDC"), "AC/DC");
    EXPECT_EQ(MediaLibrary::UnescapeName(MediaLibrary::EscapeName("a/b/c")), "a/b/c");
}

TEST(MediaLibraryTest, SearchIgnoresCaseAndListsArtistsAlbumsSongs) {
    const MediaLibrary library = MediaLibrary::Generate(300);
    const std::string artist = library.Tracks()[0].artist;
    std::string shouted = artist;
    for (char& c : shouted) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const auto results = library.Search(shouted);
    ASSERT_FALSE(results.empty());
    EXPECT_EQ(results[0].name, artist);
    EXPECT_EQ(results[0].type, MediaType::Artist);
    EXPECT_TRUE(library.Search("").empty());
    EXPECT_TRUE(library.Search("zzzz-no-such-thing").empty());
}

}  // namespace
}  // namespace vantor::server
