#pragma once

// Album art named by a player's mpris:artUrl, made safe to serve. A local
// player can name any file on the machine; the server serves a file only
// when it is a regular file of at most kMaxArtBytes whose first bytes are a
// picture's (PNG, JPEG, GIF, WebP or BMP), so a URL naming /etc/shadow, a
// key, a folder, a FIFO or /dev/zero is refused with a log line after at
// most a few header bytes were read, and nothing is ever read whole before
// it is known to be a picture. "data:" URLs are decoded under the same
// limit; "http(s):" pictures are fetched once (bounded in time and size)
// and kept, the last few of them, by URL.
//
// Threads: every function may be called on any thread; ArtCache guards
// itself.

#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <string_view>

#include "PictureType.h"

namespace vantor::server::mpris {

inline constexpr std::size_t kMaxArtBytes = 8 * 1024 * 1024;

struct Picture {
    std::string bytes;
    std::string type;  // MIME type
};

// The local path of a file: URL (percent-decoded, host empty or
// "localhost"); empty when it is no such URL.
std::string LocalPathOf(const std::string& url);

// Reads the picture at `path` under the rules above; 0 or -1 (logged).
int ReadPictureFile(const std::string& path, std::size_t limit, Picture* picture);
// Decodes a data: URL (base64 or percent-encoded) holding a picture; 0 or
// -1 (logged).
int DecodeDataUrl(const std::string& url, std::size_t limit, Picture* picture);

class ArtCache {
public:
    // The picture `url` names, by its scheme; 0 or -1 (logged once per URL
    // for remote ones, which are not asked again while remembered).
    int Get(const std::string& url, Picture* picture);

private:
    static constexpr std::size_t kRemembered = 8;
    struct Entry {
        std::string url;
        bool ok = false;
        Picture picture;
    };
    std::mutex fetchMutex_;     // one remote fetch at a time, so each URL is fetched once
    std::mutex mutex_;          // guards entries_
    std::list<Entry> entries_;  // remote pictures, newest first
};

}  // namespace vantor::server::mpris
