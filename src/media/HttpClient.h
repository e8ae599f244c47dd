#pragma once

// Blocking HTTP GET, two ways: into memory (accepting gzip bodies, which it
// inflates itself), and into a file. Both return 0 on success and -1 on any
// failure, parse their URL themselves, and are re-entrant: everything they
// use is local to the call. Callers run them on worker threads.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "media/ResponseBuffer.h"

namespace vantor {

struct ParsedUrl {
    std::string host;
    std::uint16_t port = 80;
    std::string path = "/";
    bool secure = false;
};

// The memory variant's rules: "https://" at the start means port 443 and a
// secure request; otherwise every "http://" is removed. The host runs to
// the first "/" (the path is the rest, or "/"); a ":" in the host gives the
// port (its leading digits; none means the scheme's default).
ParsedUrl ParseHttpUrl(const std::string& url);
// The file variant's: the same, but "https://" means nothing special.
ParsedUrl ParseDownloadUrl(const std::string& url);

// Limits that keep a broken or hostile server from holding a worker or its
// memory. The defaults suit every fetch of the client.
struct HttpOptions {
    std::chrono::milliseconds connectTimeout{30000};
    // A transfer during which nothing arrives for this long fails.
    std::chrono::milliseconds stallTimeout{30000};
    std::size_t maxBodyBytes = 64 * 1024 * 1024;
    // Setting it gives up the transfer.
    const std::atomic<bool>* abort = nullptr;
};

// GETs the URL into `body` (cleared first). Agent "Vantor", no proxy,
// "Accept-Encoding: gzip"; only status 200 succeeds; Content-Length, when
// given, sizes the buffer. A body whose Content-Encoding contains "gzip" is
// inflated by one inflate call per 1024 bytes received into at most 30720
// bytes, as the server expects: it never sends a chunk that grows more.
int HttpGetToBuffer(const std::string& url, ResponseBuffer& body, const HttpOptions& options = {});

// Flag bit 0: connect directly; otherwise the system's proxy settings apply.
inline constexpr std::uint32_t kDownloadDirect = 1;

// GETs the URL into the file (created or truncated once the status is 200).
// Agent "Microsoft Internet Explorer". A body cut short by a network error
// still counts as success: the caller finds a shorter file. A body larger
// than maxBodyBytes, or one that cannot be written whole, fails (whatever
// was written stays for the caller to remove).
int HttpDownloadToFile(const std::string& url, const std::string& path, std::uint32_t flags,
                       const HttpOptions& options = {});

// Bytes received so far, and the Content-Length (-1 when not given).
using DownloadProgress = std::function<void(std::uint64_t received, std::int64_t length)>;

// The self-update's download: the file is created (replacing an earlier
// one) as soon as the server answers, only a 200 succeeds, and an error
// while the body arrives fails the download. `progress` is called after each
// piece of the body is written. `created`, when given, is set once the file
// was made (whatever the outcome), so the caller knows the file is its own.
int HttpSaveToFile(const std::string& url, const std::string& path,
                   const DownloadProgress& progress, const HttpOptions& options = {},
                   bool* created = nullptr);

}  // namespace vantor
