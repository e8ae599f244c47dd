#include <gtest/gtest.h>

#include "MediaLibrary.h"

namespace vantor::server {
namespace {

TEST(MediaLibraryTest, GenerationIsRepeatableAndSized) {
    const MediaLibrary a = MediaLibrary::Generate(300, 5);
    const MediaLibrary b = MediaLibrary::Generate(300, 5);
    ASSERT_EQ(a.SongCount(), 300);
    ASSERT_EQ(a.Tracks().size(), b.Tracks().size());
    for (std::size_t i = 0; i < a.Tracks().size(); ++i) {
        EXPECT_EQ(a.Tracks()[i].title, b.Tracks()[i].title);
        EXPECT_EQ(a.Tracks()[i].id, static_cast<std::int32_t>(i + 1));
    }
    EXPECT_EQ(a.Find(1), &a.Tracks()[0]);
    EXPECT_EQ(a.Find(0), nullptr);
    EXPECT_EQ(a.Find(static_cast<std::int32_t>(a.Tracks().size()) + 1), nullptr);
    EXPECT_EQ(a.Tracks().back().type, MediaType::Podcast);
}

// Walks down by the client's rule for a container: its folder's path, "/"
// and its escaped title.
TEST(MediaLibraryTest, ContainersOpenByTheClientsPathRule) {
    const MediaLibrary library = MediaLibrary::Generate(200);
    const auto root = library.Browse("/");
    ASSERT_TRUE(root.has_value());
    ASSERT_EQ(root->size(), 2u);
    EXPECT_EQ((*root)[0].title, "Music");
    EXPECT_EQ((*root)[0].path, "/Music");

    const auto artists = library.Browse("//Music/Artists/");
    ASSERT_TRUE(artists.has_value() && !artists->empty());
    const LibraryEntry& artist = artists->front();
    EXPECT_TRUE(artist.container);
    EXPECT_EQ(artist.type, MediaType::Artist);
    EXPECT_EQ(artist.path, "/Music/Artists/" + MediaLibrary::EscapeName(artist.title));

    const auto albums = library.Browse(artist.path);
    ASSERT_TRUE(albums.has_value() && !albums->empty());
    const auto songs = library.Browse(albums->front().path);
    ASSERT_TRUE(songs.has_value() && !songs->empty());
    for (const LibraryEntry& song : *songs) {
        EXPECT_FALSE(song.container);
        EXPECT_EQ(song.artist, artist.title);
        EXPECT_EQ(song.path, albums->front().path + "/" + std::to_string(song.id));
        EXPECT_EQ(library.SongsAt(song.path), std::vector<std::int32_t>{song.id});
    }
    std::size_t byArtist = 0;
    for (const Track& track : library.Tracks()) {
        byArtist += track.artist == artist.title ? 1 : 0;
    }
    EXPECT_EQ(library.SongsAt(artist.path).size(), byArtist);
    EXPECT_EQ(library.Browse("/Music/Songs")->size(), 200u);
}

TEST(MediaLibraryTest, PlaylistsPodcastsAndGenres) {
    const MediaLibrary library = MediaLibrary::Generate(500);
    const auto playlists = library.Browse("/Music/Playlists");
    ASSERT_TRUE(playlists.has_value());
    ASSERT_FALSE(playlists->empty());
    EXPECT_EQ(playlists->front().type, MediaType::Playlist);
    EXPECT_FALSE(library.SongsAt(playlists->front().path).empty());

    const auto shows = library.Browse("/Podcasts");
    ASSERT_TRUE(shows.has_value() && !shows->empty());
    EXPECT_EQ(shows->front().type, MediaType::PodcastShow);
    const auto episodes = library.Browse(shows->front().path);
    ASSERT_TRUE(episodes.has_value() && !episodes->empty());
    EXPECT_EQ(episodes->front().type, MediaType::Podcast);

    const auto genres = library.Browse("/Music/Genres");
    ASSERT_TRUE(genres.has_value() && !genres->empty());
    const auto genreArtists = library.Browse(genres->front().path);
    ASSERT_TRUE(genreArtists.has_value() && !genreArtists->empty());
    const auto genreAlbums = library.Browse(genreArtists->front().path);
    ASSERT_TRUE(genreAlbums.has_value() && !genreAlbums->empty());
    EXPECT_FALSE(library.Browse(genreAlbums->front().path)->empty());
}

TEST(MediaLibraryTest, UnknownPathsAreNotFolders) {
    const MediaLibrary library = MediaLibrary::Generate(50);
    // Folders of the right form that hold nothing (LibraryPathTest has the
    // paths of no form).
    for (const char* path :
         {"/Music/Artists/Nobody At All", "/Music/Playlists/None Such", "/Podcasts/None"}) {
        EXPECT_FALSE(library.Browse(path).has_value()) << path;
        EXPECT_TRUE(library.SongsAt(path).empty()) << path;
    }
    EXPECT_TRUE(library.SongsAt("/Music/Songs/999999").empty());
}

TEST(MediaLibraryTest, SearchFindsFoldersWhereTheClientWillLook) {
    const MediaLibrary library = MediaLibrary::Generate(300);
    const std::string artist = library.Tracks()[0].artist;
    std::string shouted = artist;
    for (char& c : shouted) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const auto results = library.Search(shouted);
    ASSERT_FALSE(results.empty());
    EXPECT_EQ(results[0].title, artist);
    EXPECT_EQ(results[0].type, MediaType::Artist);
    EXPECT_TRUE(library.Browse("/Music/Artists/" + MediaLibrary::EscapeName(artist)).has_value());
    const auto playlists = library.Search("road");
    ASSERT_FALSE(playlists.empty());
    EXPECT_EQ(playlists[0].type, MediaType::PlaylistFolder);
    EXPECT_TRUE(library.Search("").empty());
    EXPECT_TRUE(library.Search("zzzz-no-such-thing").empty());
}

}  // namespace
}  // namespace vantor::server
