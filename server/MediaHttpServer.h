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
// Threads: requests are served on the HTTP library's worker threads; Start
// and Stop belong to the owner. The library and the art come from the
// player backend's any-thread methods; the play queue is asked for through
// `queue`, which may be called from any thread.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "PlayerBackend.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace vantor::server {

struct MediaHttpOptions {
    std::string bindAddress = "0.0.0.0";
    std::uint16_t port = 3569;  // 0: any free port
    bool gzip = true;
    // A file offered as the client update, served under /update/<its name>.
    std::string updateFile;
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

    // A body compressed for the client, which inflates each 1024 bytes it
    // reads into at most 30720: full compression when every chunk stays
    // within that, Huffman coding alone (never above eightfold) otherwise.
    static std::string GzipForClient(const std::string& body);

private:
    void Serve(const httplib::Request& request, httplib::Response& response);

    MediaHttpOptions options_;
    std::shared_ptr<PlayerBackend> player_;
    QueueSource queue_;
    std::unique_ptr<httplib::Server> http_;
    std::thread thread_;
    std::uint16_t port_ = 0;
    mutable std::mutex servedMutex_;  // guards served_
    std::vector<std::string> served_;
};

}  // namespace vantor::server
