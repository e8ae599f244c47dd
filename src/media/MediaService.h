#pragma once

// The server's media service over HTTP (port 3569): pages of the play queue,
// of library folders and of search results, each a Thrift struct. Fetches
// block, so they run on worker threads; the service itself holds only the
// server's address and may be used from any thread.

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "media/HttpClient.h"
#include "media/MediaPages.h"

namespace vantor {

inline constexpr std::uint16_t kMediaServicePort = 3569;

// The text made safe for a URL path as the server expects it: spaces,
// control and non-ASCII bytes (UTF-8) and the characters that are unsafe
// in a URL become %XX; "/" and "%" stay, so a name's "%2F" reaches the
// server as it stands. Empty when the result would not fit 1023 characters.
std::string CanonicalizeUrlText(const std::string& text);

class MediaService {
public:
    explicit MediaService(std::uint16_t port = kMediaServicePort, HttpOptions options = {});

    // The connected server's address (the connection manager's host).
    void SetHost(std::string host);
    std::string Host() const;
    std::uint16_t Port() const { return port_; }

    std::string PlaylistUrl(int start, int count, bool withTotal) const;
    // `path` is a library path such as "/Music/Artists".
    std::string FolderUrl(const std::string& path, int start, int count, bool withTotal) const;
    // Empty when the text cannot be made into a URL.
    std::string SearchUrl(const std::string& text, int start, int count) const;

    // Fetch and decode; null when the request failed, the body was empty or
    // could not be decoded (the views then keep what they show).
    std::shared_ptr<const wire::PlaylistPage> FetchPlaylistPage(int start, int count,
                                                                bool withTotal) const;
    std::shared_ptr<const wire::MediaList> FetchFolderPage(const std::string& path, int start,
                                                           int count, bool withTotal) const;
    std::shared_ptr<const wire::MediaList> Search(const std::string& text, int start,
                                                  int count) const;

private:
    std::string Base() const;

    std::uint16_t port_;
    HttpOptions options_;
    mutable std::mutex mutex_;  // guards host_
    std::string host_;
};

}  // namespace vantor
