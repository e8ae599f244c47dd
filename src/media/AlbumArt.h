#pragma once

// Fetches the current song's cover picture into the client's album-art file
// on the "Download Thread", one download at a time.
//
// Threads: Fetch and destruction on the window's thread; `done` is called
// on the download thread, which must hand the result to the window.

#include <cstdint>
#include <functional>
#include <string>

#include "core/NamedThread.h"

namespace vantor {

class AlbumArtDownloader {
public:
    // ok: the file was downloaded (load it); otherwise there is no art.
    using Done = std::function<void(bool ok, const std::string& file)>;

    // `file` is where every picture goes ("albumart.jpg" in the client's
    // own folder), whatever its format.
    explicit AlbumArtDownloader(std::string file, std::uint16_t port = 3569);
    ~AlbumArtDownloader();

    // The art of the current song: `artPath` as the server gave it. An empty
    // path means no art (done(false) at once, no request); a URL without a
    // "." is not fetched at all. A download still running is waited for
    // first.
    void Fetch(const std::string& host, const std::string& artPath, Done done);

    const std::string& File() const { return file_; }

private:
    std::string file_;
    std::uint16_t port_;
    NamedThread thread_;
};

}  // namespace vantor
