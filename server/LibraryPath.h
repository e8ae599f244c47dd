#pragma once

// A library path read once, for both players: which folder it names and
// the names it names it by. Paths are the ones the client builds: a
// container's path is its folder's path, "/" and its title (a "/" in the
// title written "%2F"), an item's is its folder's path, "/" and its id; "//"
// and a trailing "/" mean nothing.
//
//   /                                        kRoot: Music, Podcasts
//   /Music                                   kMusic: the five categories
//   /Music/Artists[/<artist>[/<album>]]      kArtists, kArtist, kArtistAlbum
//   /Music/Albums[/<album>]                  kAlbums, kAlbum
//   /Music/Genres[/<genre>[/<artist>[/<album>]]]
//                                            kGenres, kGenre, kGenreArtist, kGenreArtistAlbum
//   /Music/Songs                             kSongs: every song
//   /Music/Playlists[/<playlist>]            kPlaylists, kPlaylist
//   /Podcasts[/<show>]                       kPodcasts, kShow
//
// Anything else is kUnknown.

#include <cstdint>
#include <string>
#include <vector>

namespace vantor::server {

struct LibraryPath {
    enum class Kind {
        kRoot,
        kMusic,
        kArtists,
        kArtist,
        kArtistAlbum,
        kAlbums,
        kAlbum,
        kGenres,
        kGenre,
        kGenreArtist,
        kGenreArtistAlbum,
        kSongs,
        kPlaylists,
        kPlaylist,
        kPodcasts,
        kShow,
        kUnknown,
    };

    static LibraryPath Parse(const std::string& path);

    Kind kind = Kind::kRoot;
    std::vector<std::string> names;  // unescaped, in order
    // What the folder is narrowed by; empty where its kind has no such name.
    std::string genre;
    std::string artist;
    std::string album;
    std::string playlist;
    std::string show;  // a podcast show's name
    // The path written the one way: "/" before each escaped name ("/" alone
    // for the root), the form the rows inside it build on.
    std::string text;

    // The last name as a song number, for an item's path (its folder's path
    // and its id); -1 when the path has no folder or the name is no number.
    std::int32_t ItemId() const;
    // The path without its last name.
    LibraryPath Parent() const;
};

}  // namespace vantor::server
