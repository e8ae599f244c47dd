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

constexpr std::size_t kCachedFolders = 16;
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

// The slice [start, start + count) of a list; count -1 means to the end.
template <class Entry>
std::pair<std::size_t, std::size_t> Slice(const std::vector<Entry>& all, int start, int count) {
    const std::size_t first =
        std::min<std::size_t>(static_cast<std::size_t>(std::max(start, 0)), all.size());
    std::size_t last = all.size();
    if (count >= 0) {
        last = std::min(all.size(), first + static_cast<std::size_t>(count));
    }
    last = std::min(last, first + static_cast<std::size_t>(kMaxPageList));
    return {first, last};
}

// Jump labels for a list of folders in name order: the first row of each
// initial letter ("#" for the rest).
std::vector<wire::MediaIndexEntry> JumpLabels(const std::vector<LibraryEntry>& entries) {
    std::vector<wire::MediaIndexEntry> index;
    if (entries.size() < 30 || !std::all_of(entries.begin(), entries.end(),
                                            [](const LibraryEntry& e) { return e.container; })) {
        return index;
    }
    std::string last;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const char first = entries[i].title.empty() ? '#' : entries[i].title[0];
        const std::string label =
            std::isalpha(static_cast<unsigned char>(first))
                ? std::string(1, static_cast<char>(std::toupper(static_cast<unsigned char>(first))))
                : "#";
        if (label != last) {
            wire::MediaIndexEntry entry;
            entry.__set_label(label);
            entry.__set_position(static_cast<std::int32_t>(i));
            index.push_back(entry);
            last = label;
        }
    }
    return index;
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

MediaHttpServer::MediaHttpServer(MediaHttpOptions options,
                                 std::shared_ptr<const MediaLibrary> library, QueueSource queue)
    : options_(std::move(options)), library_(std::move(library)), queue_(std::move(queue)) {}

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

std::shared_ptr<const std::vector<LibraryEntry>> MediaHttpServer::Folder(const std::string& path) {
    {
        std::lock_guard lock(cacheMutex_);
        for (auto it = cache_.begin(); it != cache_.end(); ++it) {
            if (it->first == path) {
                cache_.splice(cache_.begin(), cache_, it);
                return it->second;
            }
        }
    }
    auto entries = library_->Browse(path);
    if (!entries) {
        return nullptr;
    }
    auto shared = std::make_shared<const std::vector<LibraryEntry>>(std::move(*entries));
    std::lock_guard lock(cacheMutex_);
    cache_.emplace_front(path, shared);
    if (cache_.size() > kCachedFolders) {
        cache_.pop_back();
    }
    return shared;
}

void MediaHttpServer::Serve(const httplib::Request& request, httplib::Response& response) {
    const std::string target = request.target.substr(0, request.target.find('?'));
    const std::string path = DecodePath(target);
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
        const auto queue = queue_();
        if (!queue) {
            response.status = 503;
            return;
        }
        wire::PlaylistPage page;
        const auto [first, last] = Slice(*queue, start, count);
        page.__set_start(static_cast<std::int32_t>(first));
        if (withTotal) {
            page.__set_totalCount(static_cast<std::int32_t>(queue->size()));
        }
        std::vector<wire::MediaItem> items;
        for (std::size_t i = first; i < last; ++i) {
            if (const Track* track = library_->Find((*queue)[i])) {
                LibraryEntry entry;
                entry.id = track->id;
                entry.type = track->type;
                entry.title = track->title;
                entry.artist = track->artist;
                entry.album = track->album;
                entry.genre = track->genre;
                entry.length = track->length;
                entry.rating = track->rating;
                entry.path = "/Music/Songs/" + std::to_string(track->id);
                items.push_back(ToItem(entry));
            }
        }
        page.__set_items(std::move(items));
        body = EncodePlaylistPage(page);
    } else if (path.rfind("/media/search/", 0) == 0 && endsWith(".thrift")) {
        const std::string text = MediaLibrary::UnescapeName(path.substr(14, path.size() - 14 - 7));
        const auto results = library_->Search(text);
        const auto [first, last] = Slice(results, start, count);
        wire::MediaList list;
        list.__set_path("/Music/Search/" + text);
        list.__set_start(static_cast<std::int32_t>(first));
        list.__set_totalCount(static_cast<std::int32_t>(results.size()));
        std::vector<wire::MediaItem> items;
        for (std::size_t i = first; i < last; ++i) {
            items.push_back(ToItem(results[i]));
        }
        list.__set_items(std::move(items));
        body = EncodeMediaList(list);
    } else if (path.rfind("/media", 0) == 0 && endsWith(".thrift")) {
        const std::string folder = path.substr(6, path.size() - 6 - 7);
        const auto entries = Folder(folder.empty() ? "/" : folder);
        if (!entries) {
            response.status = 404;
            return;
        }
        const auto [first, last] = Slice(*entries, start, count);
        wire::MediaList list;
        list.__set_path(folder.empty() ? "/" : folder);
        list.__set_start(static_cast<std::int32_t>(first));
        if (withTotal) {
            list.__set_totalCount(static_cast<std::int32_t>(entries->size()));
        }
        std::vector<wire::MediaItem> items;
        items.reserve(last - first);
        for (std::size_t i = first; i < last; ++i) {
            items.push_back(ToItem((*entries)[i]));
        }
        list.__set_items(std::move(items));
        if (first == 0) {
            auto labels = JumpLabels(*entries);
            if (!labels.empty()) {
                list.__set_index(std::move(labels));
            }
        }
        body = EncodeMediaList(list);
    } else if (path.rfind("/art/", 0) == 0 && endsWith(".png")) {
        const std::string id = path.substr(5, path.size() - 5 - 4);
        const Track* track = nullptr;
        try {
            track = library_->Find(std::stoi(id));
        } catch (const std::exception&) {
        }
        if (track == nullptr) {
            response.status = 404;
            return;
        }
        body = AlbumArtPng(track->album);
        type = "image/png";
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
