#pragma once

// The simulated player's media library: a generated collection of songs with
// genres, artists and albums, browsed by library path:
//
//   /                                Music, Playlists, Podcasts
//   /Music/                          Artists, Albums, Genres, Songs
//   /Music/Artists/<artist>/         the artist's albums
//   /Music/Artists/<artist>/<album>/ the album's songs
//   /Music/Albums/<album>/           the album's songs
//   /Music/Genres/<genre>/           the genre's artists
//   /Music/Songs/                    every song
//
// A "/" inside a name is written "%2F" in a path. Immutable once generated,
// so any thread may read it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/LibraryMessages.h"

namespace vantor::server {

struct Track {
    std::int32_t id = 0;
    std::string title;
    std::string artist;
    std::string album;
    std::string genre;
    std::int32_t length = 0;  // seconds
    std::int32_t rating = 0;  // 0..100
};

class MediaLibrary {
public:
    // `songs` songs, the same ones for the same arguments.
    static MediaLibrary Generate(int songs, unsigned seed = 1);

    const std::vector<Track>& Tracks() const { return tracks_; }
    const Track* Find(std::int32_t id) const;

    std::vector<std::string> Genres() const;
    std::vector<std::string> Artists(const std::string& genre = {}) const;

    // The entries of a folder; nothing when the path names no folder.
    std::optional<std::vector<MediaResult>> Browse(const std::string& path) const;
    // The songs below a path (a song's own path gives that song).
    std::vector<std::int32_t> SongsAt(const std::string& path) const;
    // Artists, albums and songs whose names contain the text, any case.
    std::vector<MediaResult> Search(const std::string& text) const;

    static std::string EscapeName(const std::string& name);
    static std::string UnescapeName(const std::string& name);

private:
    std::vector<Track> tracks_;
};

}  // namespace vantor::server
