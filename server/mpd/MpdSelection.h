#pragma once

// What a library path or a request's selector names, in MPD's terms: one
// song, a filter over the database, or a stored playlist.

#include <string>

#include "MpdSongs.h"
#include "protocol/Messages.h"

namespace vantor::server {

struct MpdSelection {
    enum class Kind { kNothing, kSong, kFilter, kPlaylist } kind = Kind::kNothing;
    std::string value;  // the song's URI, the filter expression or the playlist's name

    static MpdSelection OfPath(const std::string& path, const MpdSongs& songs);
    static MpdSelection Of(const MediaSelector& selector, const MpdSongs& songs);
};

}  // namespace vantor::server
