#include "MediaHttpServer.h"

#include <httplib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "AlbumArtImage.h"
#include "core/Logger.h"
#include "media/MediaPages.h"
#include "media/ZlibStream.h"

namespace vantor::server {

namespace {

constexpr const char* kThriftType = "application/x-thrift";

int Parameter(const httplib::Request& request, const char* name, int fallback) {
    if (!request.has_param(name)) {
        return fallback;
    }
    try {
        return std::stoi(request.get_param_value(name));
    } catch (const std::exception&) {
        return fallback;
    }
}

// Decodes %XX escapes, except "%2F", which inside a library path is a "/"
// within a name and must reach the library as it stands.
std::string DecodePath(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() &&
            std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            const int value = std::stoi(text.substr(i + 1, 2), nullptr, 16);
            if (value != '/') {
                decoded += static_cast<char>(value);
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

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

bool MediaHttpServer::Start() {
    Stop();
    http_ = std::make_unique<httplib::Server>();
    http_->set_pre_routing_handler(
        [this](const httplib::Request& request, httplib::Response& response) {
            Serve(request, response);
            return httplib::Server::HandlerResponse::Handled;
        });
    const int port =
        options_.port == 0
            ? http_->bind_to_any_port(options_.bindAddress)
            : (http_->bind_to_port(options_.bindAddress, options_.port) ? options_.port : -1);
    if (port <= 0) {
        Log(kLogError, "vantor-server: cannot bind the media service to %s:%u",
            options_.bindAddress.c_str(), static_cast<unsigned>(options_.port));
        http_.reset();
        return false;
    }
    port_ = static_cast<std::uint16_t>(port);
    httplib::Server* http = http_.get();
    thread_ = std::thread([http] { http->listen_after_bind(); });
    // A stop that came before the listening loop began would be missed by
    // it; so Start returns only once the loop runs.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!http_->is_running()) {
        if (std::chrono::steady_clock::now() > deadline) {
            Log(kLogError, "vantor-server: the media service did not start");
            Stop();
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void MediaHttpServer::Stop() {
    if (!http_) {
        return;
    }
    http_->stop();
    if (thread_.joinable()) {
        thread_.join();
    }
    http_.reset();
}

std::vector<std::string> MediaHttpServer::ServedPaths() const {
    std::lock_guard lock(servedMutex_);
    return served_;
}

void MediaHttpServer::Serve(const httplib::Request& request, httplib::Response& response) {
    const std::string target = request.target.substr(0, request.target.find('?'));
    const std::string path = DecodePath(target);
    {
        std::lock_guard lock(servedMutex_);
        if (served_.size() == 1000) {
            served_.erase(served_.begin());
        }
        served_.push_back(path);
    }
    const auto endsWith = [&](const std::string& suffix) {
        return path.size() >= suffix.size() &&
               path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0;
    };
    const int start = Parameter(request, "start", 0);
    const int count = Parameter(request, "count", -1);
    const bool withTotal = request.has_param("includeTotalCount") &&
                           request.get_param_value("includeTotalCount") == "true";

    std::string body;
    std::string type = kThriftType;
    if (request.method != "GET") {
        response.status = 405;
        return;
    }
    if (path == "/playlist.thrift") {
        const auto queue = queue_(std::max(start, 0), PageCount(count));
        if (!queue) {
            response.status = 503;
            return;
        }
        wire::PlaylistPage page;
        page.__set_start(static_cast<std::int32_t>(
            std::min<std::size_t>(static_cast<std::size_t>(std::max(start, 0)), queue->total)));
        if (withTotal) {
            page.__set_totalCount(static_cast<std::int32_t>(queue->total));
        }
        page.__set_items(Items(queue->entries));
        body = EncodePlaylistPage(page);
    } else if (path.rfind("/media/search/", 0) == 0 && endsWith(".thrift")) {
        const std::string text = MediaLibrary::UnescapeName(path.substr(14, path.size() - 14 - 7));
        ListPage results;
        const std::int32_t code =
            player_->Search(text, std::max(start, 0), PageCount(count), &results);
        if (code != kSuccess) {
            response.status = StatusFor(code);
            return;
        }
        wire::MediaList list;
        list.__set_path("/Music/Search/" + text);
        list.__set_start(static_cast<std::int32_t>(
            std::min<std::size_t>(static_cast<std::size_t>(std::max(start, 0)), results.total)));
        list.__set_totalCount(static_cast<std::int32_t>(results.total));
        list.__set_items(Items(results.entries));
        body = EncodeMediaList(list);
    } else if (path.rfind("/media", 0) == 0 && endsWith(".thrift")) {
        const std::string folder = path.substr(6, path.size() - 6 - 7);
        ListPage entries;
        const std::int32_t code = player_->Browse(folder.empty() ? "/" : folder, std::max(start, 0),
                                                  PageCount(count), &entries);
        if (code != kSuccess) {
            response.status = StatusFor(code);
            return;
        }
        wire::MediaList list;
        list.__set_path(folder.empty() ? "/" : folder);
        list.__set_start(static_cast<std::int32_t>(
            std::min<std::size_t>(static_cast<std::size_t>(std::max(start, 0)), entries.total)));
        if (withTotal) {
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
        body = EncodeMediaList(list);
    } else if (path.rfind("/art/", 0) == 0 && path.find('.', 5) != std::string::npos) {
        const std::string id = path.substr(5, path.find('.', 5) - 5);
        std::int32_t code = kNotFound;
        try {
            std::size_t used = 0;
            const int number = std::stoi(id, &used);
            if (used == id.size()) {
                code = player_->AlbumArt(number, &body, &type);
            }
        } catch (const std::exception&) {
        }
        if (code != kSuccess) {
            response.status = StatusFor(code);
            return;
        }
    } else if (!options_.updateFile.empty() && path == UpdatePath()) {
        body = ReadFile(options_.updateFile);
        type = "application/octet-stream";
    } else {
        response.status = 404;
        return;
    }

    if (options_.gzip && type == kThriftType &&
        request.get_header_value("Accept-Encoding").find("gzip") != std::string::npos) {
        std::string packed = GzipForClient(body);
        if (!packed.empty()) {
            body = std::move(packed);
            response.set_header("Content-Encoding", "gzip");
        }
    }
    response.status = 200;
    response.set_content(std::move(body), type.c_str());
}

}  // namespace vantor::server
