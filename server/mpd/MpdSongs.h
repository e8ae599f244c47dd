#pragma once

// Songs as clients know them: by a number. The first song the server names
// gets 1, the next 2, and so on for as long as the server runs; the numbers
// stand for MPD's song URIs. Any thread.

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "MediaLibrary.h"

struct mpd_song;

namespace vantor::server {

class MpdSongs {
public:
    std::int32_t IdOf(const std::string& uri);
    // Empty for a number never given out.
    std::string UriOf(std::int32_t id) const;
    // A song's row, its path the one under "Songs".
    LibraryEntry Entry(const mpd_song* song);

private:
    mutable std::mutex mutex_;       // guards uris_ and ids_; taken last
    std::vector<std::string> uris_;  // by id - 1
    std::unordered_map<std::string, std::int32_t> ids_;
};

}  // namespace vantor::server
