#pragma once

// Fetches the current song's cover picture into the client's album-art file
// on the "Download Thread", one download at a time.
//
// Threads: Fetch and destruction on the window's thread; `done` is called
// on the download thread, which must hand the result to the window.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
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
    // Gives up a download under way and waits for its thread, bounded.
    ~AlbumArtDownloader();

    // The art of the current song: `artPath` as the server gave it. An empty
    // path means no art (done(false) at once, no request); a URL without a
    // "." is not fetched at all. A download still running is given up and
    // waited for first: its picture is no longer the one wanted, and a
    // stalled server must not hold the window's thread.
    void Fetch(const std::string& host, const std::string& artPath, Done done);

    const std::string& File() const { return file_; }

private:
    std::string file_;
    std::uint16_t port_;
    // The download under way gives up when this is set; the thread holds a
    // share, so a thread that outlives its stop never reads freed memory.
    std::shared_ptr<std::atomic<bool>> abort_;
    NamedThread thread_;
};

}  // namespace vantor
