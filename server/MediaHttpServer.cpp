#include "MediaHttpServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "AlbumArtImage.h"
#include "core/Logger.h"
#include "core/Text.h"
#include "media/MediaPages.h"
#include "media/ZlibStream.h"

namespace vantor::server {

namespace {

constexpr const char* kThriftType = "application/x-thrift";
wire::MediaItem ToItem(const LibraryEntry& entry) {
    wire::MediaItem item;
    if (entry.id >= 0) {
        item.__set_mediaId(entry.id);
    }
    item.__set_type(static_cast<wire::MediaItemType::type>(entry.type));
    item.__set_container(entry.container);
    item.__set_title(entry.title);
    if (!entry.artist.empty()) {
        item.__set_artist(entry.artist);
    }
    if (!entry.album.empty()) {
        item.__set_album(entry.album);
    }
    if (!entry.genre.empty()) {
        item.__set_genre(entry.genre);
    }
    if (entry.length >= 0) {
        item.__set_length(entry.length);
    }
    if (entry.rating >= 0) {
        item.__set_rating(entry.rating);
    }
    item.__set_path(entry.path);
    return item;
}

// What a page asks for: count -1 (to the end) and counts beyond what the
// client reads in one page are cut to that.
std::int32_t PageCount(int count) {
    return count < 0 || count > kMaxPageList ? kMaxPageList : count;
}

std::vector<wire::MediaItem> Items(const std::vector<LibraryEntry>& entries) {
    std::vector<wire::MediaItem> items;
    items.reserve(entries.size());
    for (const LibraryEntry& entry : entries) {
        items.push_back(ToItem(entry));
    }
    return items;
}

// A failure of the player: 404 for what does not exist, 503 otherwise.
int StatusFor(std::int32_t code) {
    return code == kNotFound ? 404 : 503;
}

// What the client's one-inflate-per-1024-bytes reading makes of a gzip body.
std::string AsTheClientInflates(const std::string& gzip) {
    ZlibInflater inflater;
    if (!inflater.Init()) {
        return {};
    }
    std::string output;
    std::vector<std::uint8_t> buffer(30720);
    for (std::size_t at = 0; at < gzip.size(); at += 1024) {
        const std::size_t size = std::min<std::size_t>(1024, gzip.size() - at);
        const std::size_t produced =
            inflater.InflateOnce(reinterpret_cast<const std::uint8_t*>(gzip.data()) + at, size,
                                 buffer.data(), buffer.size());
        output.append(reinterpret_cast<const char*>(buffer.data()), produced);
    }
    return output;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

}  // namespace

MediaHttpServer::MediaHttpServer(MediaHttpOptions options, std::shared_ptr<PlayerBackend> player,
                                 QueueSource queue)
    : options_(std::move(options)), player_(std::move(player)), queue_(std::move(queue)) {}

MediaHttpServer::~MediaHttpServer() {
    Stop();
}

std::string MediaHttpServer::UpdatePath() const {
    if (options_.updateFile.empty()) {
        return {};
    }
    return "/update/" + std::filesystem::path(options_.updateFile).filename().string();
}

std::string MediaHttpServer::GzipForClient(const std::string& body) {
    std::string packed;
    if (GzipDeflater::Compress(body, Z_DEFAULT_STRATEGY, &packed) &&
        AsTheClientInflates(packed) == body) {
        return packed;
    }
    if (GzipDeflater::Compress(body, Z_HUFFMAN_ONLY, &packed)) {
        return packed;
    }
    return {};
}

// The C callbacks of libmicrohttpd, each handing on to the server.
struct MediaHttpServer::Callbacks {
    static MHD_Result Accept(void* self, const sockaddr* address, socklen_t length) {
        auto* server = static_cast<MediaHttpServer*>(self);
        if (server->options_.allow.Allows(address, length)) {
            return MHD_YES;
        }
        server->LogRefusal(DescribePeer(address, length),
                           "is outside the allowed addresses (--allow); connection closed");
        return MHD_NO;
    }

    // The raw target of the request line, before the library splits and
    // unescapes it; kept as the request's context.
    static void* Target(void* /*self*/, const char* uri, MHD_Connection* /*connection*/) {
        return new std::string(uri != nullptr ? uri : "");
    }

    static void Completed(void* /*self*/, MHD_Connection* /*connection*/, void** context,
                          MHD_RequestTerminationCode /*why*/) {
        delete static_cast<std::string*>(*context);
        *context = nullptr;
    }

    static MHD_Result Answer(void* self, MHD_Connection* connection, const char* /*url*/,
                             const char* method, const char* /*version*/, const char* /*upload*/,
                             size_t* uploadSize, void** context) {
        auto* server = static_cast<MediaHttpServer*>(self);
        if (*uploadSize != 0) {
            *uploadSize = 0;  // a body is never wanted; the answer went out already
            return MHD_YES;
        }
        const auto* target = static_cast<const std::string*>(*context);
        const char* encoding =
            MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Accept-Encoding");
        MediaResponse answer = server->Serve(method != nullptr ? method : "",
                                             target != nullptr ? *target : std::string(),
                                             encoding != nullptr ? encoding : "");
        MHD_Response* response = MHD_create_response_from_buffer(
            answer.body.size(), answer.body.data(), MHD_RESPMEM_MUST_COPY);
        if (response == nullptr) {
            return MHD_NO;
        }
        if (!answer.type.empty()) {
            MHD_add_response_header(response, "Content-Type", answer.type.c_str());
        }
        if (answer.gzipped) {
            MHD_add_response_header(response, "Content-Encoding", "gzip");
        }
        const MHD_Result queued =
            MHD_queue_response(connection, static_cast<unsigned>(answer.status), response);
        MHD_destroy_response(response);
        return queued;
    }

    __attribute__((format(printf, 2, 0))) static void Log(void* self, const char* format,
                                                          va_list arguments) {
        std::string line = FormatV(format, arguments);
        while (!line.empty() && line.back() == '\n') {
            line.pop_back();
        }
        static_cast<MediaHttpServer*>(self)->refusals_.Write("media service: " + line);
    }
};

void MediaHttpServer::LogRefusal(const std::string& peer, const char* why) {
    refusals_.Write("media service: " + peer + " " + why);
}

bool MediaHttpServer::Start() {
    Stop();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(options_.port);
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int one = 1;
    if (fd < 0 || ::inet_pton(AF_INET, options_.bindAddress.c_str(), &address.sin_addr) != 1 ||
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0 ||
        ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, SOMAXCONN) != 0) {
        Log(kLogError, "vantor-server: cannot bind the media service to %s:%u: %s",
            options_.bindAddress.c_str(), static_cast<unsigned>(options_.port),
            std::strerror(errno));
        if (fd >= 0) {
            ::close(fd);
        }
        return false;
    }
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);

    // The library checks the per-address limit itself; the total is split
    // among its threads.
    const unsigned threads = std::max(1u, options_.threads);
    daemon_ = MHD_start_daemon(
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC | MHD_USE_ERROR_LOG, 0, &Callbacks::Accept,
        this, &Callbacks::Answer, this,
        // First, so every message of the library comes through it.
        MHD_OPTION_EXTERNAL_LOGGER, &Callbacks::Log, this, MHD_OPTION_LISTEN_SOCKET, fd,
        MHD_OPTION_CONNECTION_TIMEOUT, options_.connectionTimeout, MHD_OPTION_CONNECTION_LIMIT,
        std::max(options_.maxConnections, threads), MHD_OPTION_PER_IP_CONNECTION_LIMIT,
        options_.maxConnectionsPerAddress, MHD_OPTION_THREAD_POOL_SIZE, threads,
        MHD_OPTION_URI_LOG_CALLBACK, &Callbacks::Target, this, MHD_OPTION_NOTIFY_COMPLETED,
        &Callbacks::Completed, this, MHD_OPTION_END);
    if (daemon_ == nullptr) {
        Log(kLogError, "vantor-server: the media service did not start on port %u",
            static_cast<unsigned>(port_));
        ::close(fd);
        return false;
    }
    return true;
}

void MediaHttpServer::Stop() {
    if (daemon_ == nullptr) {
        return;
    }
    // Waits for the library's threads; the listening socket goes with them.
    MHD_stop_daemon(daemon_);
    daemon_ = nullptr;
}

unsigned MediaHttpServer::ConnectionCount() const {
    const MHD_DaemonInfo* info =
        daemon_ != nullptr ? MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_CURRENT_CONNECTIONS)
                           : nullptr;
    return info != nullptr ? info->num_connections : 0;
}

std::vector<std::string> MediaHttpServer::ServedPaths() const {
    std::lock_guard lock(servedMutex_);
    return served_;
}

MediaResponse MediaHttpServer::Serve(std::string_view method, std::string_view target,
                                     std::string_view acceptEncoding) {
    const MediaRequest request = ParseMediaTarget(target);
    {
        std::lock_guard lock(servedMutex_);
        if (served_.size() == 1000) {
            served_.erase(served_.begin());
        }
        served_.push_back(request.path);
    }
    MediaResponse response;
    response.type = kThriftType;
    const auto fail = [&](int status) {
        response.status = status;
        response.body.clear();
        response.type.clear();
        return response;
    };
    if (method != "GET") {
        return fail(405);
    }
    const int start = std::max(request.start, 0);
    const auto first = [start](std::size_t total) {
        return static_cast<std::int32_t>(
            std::min<std::size_t>(static_cast<std::size_t>(start), total));
    };
    switch (request.kind) {
        case MediaRequest::Kind::Playlist: {
            const auto queue = queue_(start, PageCount(request.count));
            if (!queue) {
                return fail(503);
            }
            wire::PlaylistPage page;
            page.__set_start(first(queue->total));
            if (request.includeTotalCount) {
                page.__set_totalCount(static_cast<std::int32_t>(queue->total));
            }
            page.__set_items(Items(queue->entries));
            response.body = EncodePlaylistPage(page);
            break;
        }
        case MediaRequest::Kind::Search: {
            ListPage results;
            const std::int32_t code =
                player_->Search(request.argument, start, PageCount(request.count), &results);
            if (code != kSuccess) {
                return fail(StatusFor(code));
            }
            wire::MediaList list;
            list.__set_path("/Music/Search/" + request.argument);
            list.__set_start(first(results.total));
            list.__set_totalCount(static_cast<std::int32_t>(results.total));
            list.__set_items(Items(results.entries));
            response.body = EncodeMediaList(list);
            break;
        }
        case MediaRequest::Kind::Folder: {
            ListPage entries;
            const std::int32_t code =
                player_->Browse(request.argument, start, PageCount(request.count), &entries);
            if (code != kSuccess) {
                return fail(StatusFor(code));
            }
            wire::MediaList list;
            list.__set_path(request.argument);
            list.__set_start(first(entries.total));
            if (request.includeTotalCount) {
                list.__set_totalCount(static_cast<std::int32_t>(entries.total));
            }
            list.__set_items(Items(entries.entries));
            if (!entries.index.empty()) {
                std::vector<wire::MediaIndexEntry> labels;
                for (const IndexLabel& label : entries.index) {
                    wire::MediaIndexEntry entry;
                    entry.__set_label(label.label);
                    entry.__set_position(label.position);
                    labels.push_back(entry);
                }
                list.__set_index(std::move(labels));
            }
            response.body = EncodeMediaList(list);
            break;
        }
        case MediaRequest::Kind::Art: {
            std::int32_t code = kNotFound;
            try {
                std::size_t used = 0;
                const int number = std::stoi(request.argument, &used);
                if (used == request.argument.size()) {
                    code = player_->AlbumArt(number, &response.body, &response.type);
                }
            } catch (const std::exception&) {
            }
            if (code != kSuccess) {
                return fail(StatusFor(code));
            }
            break;
        }
        case MediaRequest::Kind::Other:
            if (options_.updateFile.empty() || request.path != UpdatePath()) {
                return fail(404);
            }
            response.body = ReadFile(options_.updateFile);
            response.type = "application/octet-stream";
            break;
    }

    if (options_.gzip && response.type == kThriftType &&
        acceptEncoding.find("gzip") != std::string_view::npos) {
        std::string packed = GzipForClient(response.body);
        if (!packed.empty()) {
            response.body = std::move(packed);
            response.gzipped = true;
        }
    }
    return response;
}

}  // namespace vantor::server
