#pragma once

// Fetches the current song's cover picture into the client's album-art file
// on the "Download Thread", one download at a time.
//
// Threads: Fetch and destruction on the window's thread; `done` is called
// on a download thread, which must hand the result to the window.
//
// Lifetime: the window's thread never waits for the network. A download
// that is no longer wanted is told to give up and left to end on its own
// (a server named by host may hold it in the resolver for as long as DNS
// takes); it owns what it uses, never calls `done` and never touches the
// album-art file once given up.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/NamedThread.h"

namespace vantor {

struct HttpOptions;

class AlbumArtDownloader {
public:
    // ok: the file was downloaded (load it); otherwise there is no art.
    using Done = std::function<void(bool ok, const std::string& file)>;
    // Fetches `url` into `file`, 0 or -1: HttpDownloadToFile, but for tests.
    using Transfer =
        std::function<int(const std::string& url, const std::string& file, const HttpOptions&)>;

    // A cover larger than this is no cover (the server sends at most as much).
    static constexpr std::size_t kMaxArtBytes = 8 * 1024 * 1024;

    // `file` is where every picture goes ("albumart.jpg" in the client's
    // own folder), whatever its format.
    explicit AlbumArtDownloader(std::string file, std::uint16_t port = 3569,
                                Transfer transfer = nullptr);
    // Gives up every download under way; waits for them briefly.
    ~AlbumArtDownloader();

    AlbumArtDownloader(const AlbumArtDownloader&) = delete;
    AlbumArtDownloader& operator=(const AlbumArtDownloader&) = delete;

    // The art of the current song: `artPath` as the server gave it. An empty
    // path means no art (done(false) at once, no request); a URL without a
    // "." is not fetched at all. A download still running is given up: its
    // picture is no longer the one wanted. Each download goes to a file of
    // its own that replaces `file` whole once complete, so a given-up
    // download never mixes into the next picture.
    void Fetch(const std::string& host, const std::string& artPath, Done done);

    const std::string& File() const { return file_; }

private:
    void GiveUp();

    std::string file_;
    std::uint16_t port_;
    Transfer transfer_;
    // The download under way gives up when this is set; the thread holds a
    // share, so a thread that outlives its stop never reads freed memory.
    std::shared_ptr<std::atomic<bool>> abort_;
    // Held by a download while it puts its picture in place and reports it,
    // and by GiveUp while it sets the abort flag: once given up, a download
    // has either finished reporting or will not report.
    std::shared_ptr<std::mutex> publish_ = std::make_shared<std::mutex>();
    std::unique_ptr<NamedThread> thread_;
    std::vector<std::unique_ptr<NamedThread>> leaving_;  // given up, maybe still running
    unsigned downloads_ = 0;
};

}  // namespace vantor
