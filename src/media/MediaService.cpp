#include "media/MediaService.h"

#include <vector>

#include "core/Text.h"

namespace vantor {

namespace {

constexpr std::size_t kCanonicalLimit = 1023;

bool Unsafe(unsigned char c) {
    if (c <= 0x20 || c >= 0x7F) {
        return true;
    }
    switch (c) {
        case '"':
        case '<':
        case '>':
        case '#':
        case '?':
        case '{':
        case '}':
        case '|':
        case '\\':
        case '^':
        case '~':
        case '[':
        case ']':
        case '`':
            return true;
        default:
            return false;
    }
}

std::string Query(const std::vector<std::string>& parameters) {
    std::string query;
    for (const std::string& parameter : parameters) {
        query += (query.empty() ? "?" : "&") + parameter;
    }
    return query;
}

template <class Page>
std::shared_ptr<const Page> Fetch(const std::string& url, const HttpOptions& options,
                                  bool (*decode)(const std::uint8_t*, std::size_t, Page*)) {
    if (url.empty()) {
        return nullptr;
    }
    ResponseBuffer body;
    if (HttpGetToBuffer(url, body, options) != 0) {
        return nullptr;
    }
    auto page = std::make_shared<Page>();
    if (!decode(body.Data(), body.Size(), page.get())) {
        return nullptr;
    }
    return page;
}

}  // namespace

std::string CanonicalizeUrlText(const std::string& text) {
    std::string safe;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (Unsafe(byte)) {
            safe += Format("%%%02X", byte);
        } else {
            safe += c;
        }
    }
    return safe.size() <= kCanonicalLimit ? safe : std::string();
}

MediaService::MediaService(std::uint16_t port, HttpOptions options)
    : port_(port), options_(options) {}

void MediaService::SetHost(std::string host) {
    std::lock_guard lock(mutex_);
    host_ = std::move(host);
}

std::string MediaService::Host() const {
    std::lock_guard lock(mutex_);
    return host_;
}

std::string MediaService::Base() const {
    return Format("http://%s:%d", Host().c_str(), port_);
}

std::string MediaService::PlaylistUrl(int start, int count, bool withTotal) const {
    return Base() + Format("/playlist.thrift?start=%d&count=%d", start, count) +
           (withTotal ? "&includeTotalCount=true" : "");
}

std::string MediaService::FolderUrl(const std::string& path, int start, int count,
                                    bool withTotal) const {
    std::vector<std::string> parameters;
    if (start != 0) {
        parameters.push_back(Format("start=%d", start));
    }
    if (count != -1) {
        parameters.push_back(Format("count=%d", count));
    }
    if (withTotal) {
        parameters.emplace_back("includeTotalCount=true");
    }
    return Base() + "/media" + CanonicalizeUrlText(path) + ".thrift" + Query(parameters);
}

std::string MediaService::SearchUrl(const std::string& text, int start, int count) const {
    const std::string safe = CanonicalizeUrlText(text);
    if (safe.empty()) {
        return {};
    }
    std::vector<std::string> parameters;
    if (start != 0) {
        parameters.push_back(Format("start=%d", start));
    }
    if (count != -1) {
        parameters.push_back(Format("count=%d", count));
    }
    return Base() + "/media/search/" + safe + ".thrift" + Query(parameters);
}

std::shared_ptr<const wire::PlaylistPage> MediaService::FetchPlaylistPage(int start, int count,
                                                                          bool withTotal) const {
    return Fetch<wire::PlaylistPage>(PlaylistUrl(start, count, withTotal), options_,
                                     DecodePlaylistPage);
}

std::shared_ptr<const wire::MediaList> MediaService::FetchFolderPage(const std::string& path,
                                                                     int start, int count,
                                                                     bool withTotal) const {
    return Fetch<wire::MediaList>(FolderUrl(path, start, count, withTotal), options_,
                                  DecodeMediaList);
}

std::shared_ptr<const wire::MediaList> MediaService::Search(const std::string& text, int start,
                                                            int count) const {
    return Fetch<wire::MediaList>(SearchUrl(text, start, count), options_, DecodeMediaList);
}

}  // namespace vantor
