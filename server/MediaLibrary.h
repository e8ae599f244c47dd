#pragma once

// The simulated player's media library: a generated collection of songs with
// genres, artists and albums, playlists and podcasts, browsed by library
// path (LibraryPath.h has the folders a path names).
//
// Immutable once generated, so any thread may read it.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "protocol/MediaType.h"

namespace vantor::server {

struct LibraryPath;

struct Track {
    std::int32_t id = 0;
    MediaType type = MediaType::Music;  // music or podcast
    std::string title;
    std::string artist;  // a podcast's host
    std::string album;   // a podcast's show
    std::string genre;
    std::int32_t length = 0;  // seconds
    std::int32_t rating = 0;  // 0..100
};

// One row of a folder.
struct LibraryEntry {
    std::int32_t id = -1;
    MediaType type = MediaType::Undefined;
    bool container = false;
    std::string title;
    std::string artist;
    std::string album;
    std::string genre;
    std::int32_t length = -1;
    std::int32_t rating = -1;
    std::string path;
};

// The row of a folder named `title` in the folder `parent` ("/" for the root).
LibraryEntry FolderEntry(const std::string& parent, const std::string& title, MediaType type);

// The row of a track in the folder `parent` ("/" for the root), with the
// rating given.
LibraryEntry TrackEntry(const std::string& parent, const Track& track, std::int32_t rating);

class MediaLibrary {
public:
    // About `songs` songs plus a few podcasts; the same for the same arguments.
    static MediaLibrary Generate(int songs, unsigned seed = 1);
    // A library of these songs (ids are given anew, from 1), with no
    // playlists or podcasts.
    static MediaLibrary FromSongs(std::vector<Track> songs);

    // Songs and podcast episodes; ids run from 1 in this order.
    const std::vector<Track>& Tracks() const { return tracks_; }
    const Track* Find(std::int32_t id) const;
    int SongCount() const { return songs_; }

    std::vector<std::string> Genres() const;
    std::vector<std::string> Artists(const std::string& genre = {}) const;

    // The rows of a folder, or nothing when the path names no folder.
    std::optional<std::vector<LibraryEntry>> Browse(const std::string& path) const;
    // The tracks at a path: a folder's (all the way down, each once) or one
    // item's.
    std::vector<std::int32_t> SongsAt(const std::string& path) const;
    // Artists, albums, playlists, shows and songs whose names contain the
    // text, any case.
    std::vector<LibraryEntry> Search(const std::string& text) const;

    // A name in a path: "/" written "%2F" (read in either case).
    static std::string EscapeName(const std::string& name);
    static std::string UnescapeName(const std::string& name);

private:
    std::optional<std::vector<LibraryEntry>> BrowseFolder(const LibraryPath& at) const;

    std::vector<Track> tracks_;
    int songs_ = 0;
    std::map<std::string, std::vector<std::int32_t>> playlists_;
};

}  // namespace vantor::server
