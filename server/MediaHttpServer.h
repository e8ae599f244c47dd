#pragma once

// The server's media service over HTTP: pages of the play queue, of library
// folders and of searches as Thrift structs (gzip-compressed when the client
// accepts it), album art, and the client release it offers for update.
//
//   GET /playlist.thrift?start=S&count=C[&includeTotalCount=true]
//   GET /media<library path>.thrift?[start=S][&count=C][&includeTotalCount=true]
//   GET /media/search/<text>.thrift?[start=S][&count=C]
//   GET /art/<track id>.<any extension>
//   GET /update/<file name>
//
// The HTTP side is GNU libmicrohttpd, event-driven (epoll) on a small pool
// of threads: idle keep-alive connections, half-sent requests and peers that
// read a byte a second cost a descriptor and a little memory each, never a
// thread, and each is closed after the connection time-out of silence. Peers
// outside the allowed ranges, and connections beyond the per-address or the
// total limit, are closed at once (logged).
//
// Threads: requests are served on the HTTP library's threads ("MHD-worker"),
// several at once; Start and Stop belong to the owner. The library and the
// art come from the player backend's any-thread methods; the play queue is
// asked for through `queue`, which may be called from any thread.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AddressFilter.h"
#include "MediaRequest.h"
#include "PlayerBackend.h"
#include "RefusalLog.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace vantor::server {

struct MediaHttpOptions {
    std::string bindAddress = "0.0.0.0";
    std::uint16_t port = 3569;  // 0: any free port
    bool gzip = true;
    // A file offered as the client update, served under /update/<its name>.
    std::string updateFile;
    // Who may ask.
    AddressFilter allow;
    // Seconds of silence after which a connection is closed.
    unsigned connectionTimeout = 15;
    // Open connections at most, in all and from one address (0: no limit of
    // its own for the latter).
    unsigned maxConnections = 1000;
    unsigned maxConnectionsPerAddress = 64;
    // Threads serving requests (a page of a slow player must not hold up
    // the others).
    unsigned threads = 4;
};

// A response of the media service before it goes on the wire.
struct MediaResponse {
    int status = 200;
    std::string body;
    std::string type;
    bool gzipped = false;
};

class MediaHttpServer {
public:
    // A page of the play queue (count -1: to the end), or nothing when it
    // cannot be had.
    using QueueSource = std::function<std::optional<ListPage>(std::int32_t, std::int32_t)>;

    MediaHttpServer(MediaHttpOptions options, std::shared_ptr<PlayerBackend> player,
                    QueueSource queue);
    ~MediaHttpServer();
    MediaHttpServer(const MediaHttpServer&) = delete;
    MediaHttpServer& operator=(const MediaHttpServer&) = delete;

    // Binds and starts serving; false (logged) when the port cannot be bound.
    bool Start();
    void Stop();
    std::uint16_t Port() const { return port_; }

    // The URL path the update file is served at, empty without one.
    std::string UpdatePath() const;

    // The paths of the latest 1000 requests, in order (any thread).
    std::vector<std::string> ServedPaths() const;
    // The connections open now: taken by the library's threads and within
    // the limits (owner's thread).
    unsigned ConnectionCount() const;

    // A body compressed for the client, which inflates each 1024 bytes it
    // reads into at most 30720: full compression when every chunk stays
    // within that, Huffman coding alone (never above eightfold) otherwise.
    static std::string GzipForClient(const std::string& body);

    // Answers one request (any thread): the method, the raw target of the
    // request line and the client's Accept-Encoding header.
    MediaResponse Serve(std::string_view method, std::string_view target,
                        std::string_view acceptEncoding);

private:
    struct Callbacks;
    void LogRefusal(const std::string& peer, const char* why);

    MediaHttpOptions options_;
    std::shared_ptr<PlayerBackend> player_;
    QueueSource queue_;
    MHD_Daemon* daemon_ = nullptr;
    std::uint16_t port_ = 0;
    RefusalLog refusals_;
    mutable std::mutex servedMutex_;  // guards served_
    std::vector<std::string> served_;
};

}  // namespace vantor::server
