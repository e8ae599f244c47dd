#include "media/HttpClient.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "media/CurlEasy.h"
#include "media/ZlibStream.h"

namespace vantor {

namespace {

constexpr std::size_t kReadChunk = 1024;
constexpr std::size_t kInflateOutput = 30720;

// The leading decimal number of a port text; 0 when there is none.
std::uint16_t LeadingPort(const std::string& text) {
    long value = 0;
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) {
        ++i;
    }
    while (i < text.size() && text[i] >= '0' && text[i] <= '9' && value <= 65535) {
        value = value * 10 + (text[i] - '0');
        ++i;
    }
    return value > 65535 ? 0 : static_cast<std::uint16_t>(value);
}

ParsedUrl Parse(std::string rest, bool knowsHttps) {
    ParsedUrl url;
    if (knowsHttps && rest.rfind("https://", 0) == 0) {
        rest.erase(0, 8);
        url.port = 443;
        url.secure = true;
    } else {
        for (std::size_t at; (at = rest.find("http://")) != std::string::npos;) {
            rest.erase(at, 7);
        }
    }
    const std::size_t slash = rest.find('/');
    url.host = rest.substr(0, slash);
    url.path = slash == std::string::npos ? "/" : rest.substr(slash);
    const std::size_t colon = url.host.find(':');
    if (colon != std::string::npos) {
        const std::uint16_t port = LeadingPort(url.host.substr(colon + 1));
        // Port 0 asks for the service's default.
        url.port = port != 0 ? port : (url.secure ? 443 : 80);
        url.host.erase(colon);
    }
    return url;
}

std::string CurlUrl(const ParsedUrl& url) {
    return std::string(url.secure ? "https://" : "http://") + url.host + ":" +
           std::to_string(url.port) + url.path;
}

// Gives up a transfer that is aborted, or whose body has not moved for the
// stall time-out. (libcurl's own low-speed check averages over several
// seconds, so a body that stops after a burst would run on for longer.)
struct Watchdog {
    const std::atomic<bool>* abort = nullptr;
    std::chrono::milliseconds stallTimeout{0};
    curl_off_t received = -1;
    std::chrono::steady_clock::time_point moved = std::chrono::steady_clock::now();

    static int OnProgress(void* context, curl_off_t, curl_off_t now, curl_off_t, curl_off_t) {
        auto* watchdog = static_cast<Watchdog*>(context);
        if (watchdog->abort != nullptr && watchdog->abort->load()) {
            return 1;
        }
        const auto time = std::chrono::steady_clock::now();
        if (now != watchdog->received) {
            watchdog->received = now;
            watchdog->moved = time;
        } else if (time - watchdog->moved > watchdog->stallTimeout) {
            return 1;
        }
        return 0;
    }
};

// Common set-up of every variant.
bool Prepare(CurlEasy& curl, const ParsedUrl& url, const char* agent, bool direct,
             const HttpOptions& options, CurlHeaders& headers, Watchdog& watchdog) {
    watchdog.abort = options.abort;
    watchdog.stallTimeout = options.stallTimeout;
    bool ok =
        curl.Valid() && curl.Set(CURLOPT_URL, CurlUrl(url).c_str()) &&
        curl.Set(CURLOPT_USERAGENT, agent) && curl.Set(CURLOPT_HTTPGET, 1L) &&
        curl.Set(CURLOPT_NOSIGNAL, 1L) && curl.Set(CURLOPT_FOLLOWLOCATION, 0L) &&
        curl.Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connectTimeout.count())) &&
        curl.Set(CURLOPT_NOPROGRESS, 0L) &&
        curl.Set(CURLOPT_XFERINFOFUNCTION, &Watchdog::OnProgress) &&
        curl.Set(CURLOPT_XFERINFODATA, &watchdog) && headers.Append("Accept: */*");
    if (direct) {
        ok = ok && curl.Set(CURLOPT_NOPROXY, "*");
    }
    return ok;
}

// What the memory variant keeps while its body arrives.
struct MemoryTransfer {
    CurlEasy* curl = nullptr;
    ResponseBuffer* body = nullptr;
    const HttpOptions* options = nullptr;
    bool started = false;
    bool failed = false;
    bool gzip = false;
    ZlibInflater inflater;
    std::vector<std::uint8_t> output;
    std::vector<std::uint8_t> pending;  // received bytes short of a whole chunk

    // The first bytes of the body: only a 200 goes on.
    bool Start() {
        started = true;
        if (curl->ResponseCode() != 200) {
            return false;
        }
        curl_off_t length = -1;
        if (curl_easy_getinfo(curl->Get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) ==
                CURLE_OK &&
            length >= 0 && static_cast<std::uint64_t>(length) <= options->maxBodyBytes) {
            body->Reserve(static_cast<std::size_t>(length));
        }
        if (gzip) {
            if (!inflater.Init()) {
                return false;
            }
            output.resize(kInflateOutput);
        }
        return true;
    }

    // One chunk as a 1024-byte read would have returned it.
    bool Chunk(const std::uint8_t* data, std::size_t size) {
        long appended;
        if (gzip) {
            const std::size_t produced =
                inflater.InflateOnce(data, size, output.data(), output.size());
            appended = body->Append(output.data(), produced);
        } else {
            appended = body->Append(data, size);
        }
        return appended >= 0 && body->Size() <= options->maxBodyBytes;
    }

    bool Receive(const char* data, std::size_t size) {
        if (!started && !Start()) {
            return false;
        }
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(data);
        pending.insert(pending.end(), bytes, bytes + size);
        std::size_t used = 0;
        while (pending.size() - used >= kReadChunk) {
            if (!Chunk(pending.data() + used, kReadChunk)) {
                return false;
            }
            used += kReadChunk;
        }
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(used));
        return true;
    }

    bool Finish() { return pending.empty() || Chunk(pending.data(), pending.size()); }
};

std::size_t OnMemoryHeader(char* data, std::size_t size, std::size_t count, void* context) {
    auto* transfer = static_cast<MemoryTransfer*>(context);
    const std::size_t length = size * count;
    std::string line(data, length);
    for (char& c : line) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (line.rfind("content-encoding:", 0) == 0 && line.find("gzip") != std::string::npos) {
        transfer->gzip = true;
    }
    if (line.rfind("http/", 0) == 0) {
        transfer->gzip = false;  // a new response (after a 100 Continue) starts afresh
    }
    return length;
}

std::size_t OnMemoryData(char* data, std::size_t size, std::size_t count, void* context) {
    auto* transfer = static_cast<MemoryTransfer*>(context);
    if (!transfer->Receive(data, size * count)) {
        transfer->failed = true;
        return 0;  // ends the transfer
    }
    return size * count;
}

struct FileTransfer {
    CurlEasy* curl = nullptr;
    const std::string* path = nullptr;
    const HttpOptions* options = nullptr;
    std::FILE* file = nullptr;
    bool started = false;
    bool opened = false;
    bool failed = false;  // a write failed or the body outgrew its limit
    std::uint64_t written = 0;

    ~FileTransfer() { Close(); }
    bool Start() {
        started = true;
        if (curl->ResponseCode() != 200) {
            return false;
        }
        curl_off_t length = -1;
        if (curl_easy_getinfo(curl->Get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) ==
                CURLE_OK &&
            length > 0 && static_cast<std::uint64_t>(length) > options->maxBodyBytes) {
            failed = true;
            return false;
        }
        file = std::fopen(path->c_str(), "wb");
        opened = file != nullptr;
        return opened;
    }
    // A file that cannot be completed on disk (a full disk, for one) is
    // not a download.
    void Close() {
        if (file != nullptr) {
            failed = std::fclose(file) != 0 || failed;
            file = nullptr;
        }
    }
};

std::size_t OnFileData(char* data, std::size_t size, std::size_t count, void* context) {
    auto* transfer = static_cast<FileTransfer*>(context);
    if (!transfer->started && !transfer->Start()) {
        return 0;
    }
    const std::size_t length = size * count;
    transfer->written += length;
    if (transfer->written > transfer->options->maxBodyBytes ||
        std::fwrite(data, 1, length, transfer->file) != length) {
        transfer->failed = true;
        return 0;
    }
    return length;
}

struct SaveTransfer {
    CurlEasy* curl = nullptr;
    const std::string* path = nullptr;
    const DownloadProgress* progress = nullptr;
    std::FILE* file = nullptr;
    const HttpOptions* options = nullptr;
    bool* created = nullptr;
    bool failed = false;
    std::uint64_t received = 0;

    ~SaveTransfer() {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
};

std::size_t OnSaveHeader(char*, std::size_t size, std::size_t count, void* context) {
    auto* transfer = static_cast<SaveTransfer*>(context);
    if (transfer->file == nullptr && !transfer->failed) {
        // Made new, or a file that was there already: only the first is the
        // caller's to call its own later.
        const char* path = transfer->path->c_str();
        int fd = ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        const bool made = fd >= 0;
        if (fd < 0 && errno == EEXIST) {
            fd = ::open(path, O_WRONLY | O_TRUNC | O_CLOEXEC);
        }
        transfer->file = fd >= 0 ? ::fdopen(fd, "wb") : nullptr;
        if (transfer->file == nullptr && fd >= 0) {
            ::close(fd);
        }
        transfer->failed = transfer->file == nullptr;
        if (transfer->file != nullptr && made && transfer->created != nullptr) {
            *transfer->created = true;
        }
    }
    return transfer->failed ? 0 : size * count;
}

std::size_t OnSaveData(char* data, std::size_t size, std::size_t count, void* context) {
    auto* transfer = static_cast<SaveTransfer*>(context);
    if (transfer->curl->ResponseCode() != 200 || transfer->file == nullptr) {
        return 0;
    }
    const std::size_t length = size * count;
    if (transfer->received + length > transfer->options->maxBodyBytes ||
        std::fwrite(data, 1, length, transfer->file) != length) {
        transfer->failed = true;
        return 0;
    }
    transfer->received += length;
    if (*transfer->progress) {
        curl_off_t total = -1;
        curl_easy_getinfo(transfer->curl->Get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &total);
        (*transfer->progress)(transfer->received, static_cast<std::int64_t>(total));
    }
    return length;
}

}  // namespace

ParsedUrl ParseHttpUrl(const std::string& url) {
    return Parse(url, true);
}

ParsedUrl ParseDownloadUrl(const std::string& url) {
    return Parse(url, false);
}

int HttpGetToBuffer(const std::string& url, ResponseBuffer& body, const HttpOptions& options) {
    body.Clear();
    CurlEasy curl;
    CurlHeaders headers;
    Watchdog watchdog;
    if (!Prepare(curl, ParseHttpUrl(url), "Vantor", true, options, headers, watchdog) ||
        !headers.Append("Accept-Encoding: gzip") || !curl.Set(CURLOPT_HTTPHEADER, headers.Get())) {
        return -1;
    }
    MemoryTransfer transfer;
    transfer.curl = &curl;
    transfer.body = &body;
    transfer.options = &options;
    curl.Set(CURLOPT_HEADERFUNCTION, OnMemoryHeader);
    curl.Set(CURLOPT_HEADERDATA, &transfer);
    curl.Set(CURLOPT_WRITEFUNCTION, OnMemoryData);
    curl.Set(CURLOPT_WRITEDATA, &transfer);

    const CURLcode result = curl.Perform();
    if (curl.ResponseCode() != 200) {
        body.Clear();
        return -1;
    }
    if (result != CURLE_OK || transfer.failed) {
        return -1;
    }
    if (!transfer.started && !transfer.Start()) {
        return -1;  // an empty body still needs its 200 (and zlib for gzip)
    }
    return transfer.Finish() ? 0 : -1;
}

int HttpDownloadToFile(const std::string& url, const std::string& path, std::uint32_t flags,
                       const HttpOptions& options) {
    CurlEasy curl;
    CurlHeaders headers;
    Watchdog watchdog;
    if (!Prepare(curl, ParseDownloadUrl(url), "Microsoft Internet Explorer",
                 (flags & kDownloadDirect) != 0, options, headers, watchdog) ||
        !curl.Set(CURLOPT_HTTPHEADER, headers.Get())) {
        return -1;
    }
    FileTransfer transfer;
    transfer.curl = &curl;
    transfer.path = &path;
    transfer.options = &options;
    curl.Set(CURLOPT_WRITEFUNCTION, OnFileData);
    curl.Set(CURLOPT_WRITEDATA, &transfer);
    curl.Set(CURLOPT_BUFFERSIZE, 10240L);

    const CURLcode result = curl.Perform();
    if (curl.ResponseCode() != 200) {
        return -1;
    }
    if (!transfer.started && result == CURLE_OK) {
        transfer.Start();  // an empty body: the file is still made
    }
    transfer.Close();
    // Once the file is open, a network error while reading ends the body
    // early but still counts as a download; a failed write does not.
    return transfer.opened && !transfer.failed ? 0 : -1;
}

}  // namespace vantor

namespace vantor {

int HttpSaveToFile(const std::string& url, const std::string& path,
                   const DownloadProgress& progress, const HttpOptions& options, bool* created) {
    CurlEasy curl;
    CurlHeaders headers;
    Watchdog watchdog;
    if (!Prepare(curl, ParseDownloadUrl(url), "Vantor", true, options, headers, watchdog) ||
        !curl.Set(CURLOPT_HTTPHEADER, headers.Get())) {
        return -1;
    }
    SaveTransfer transfer;
    transfer.curl = &curl;
    transfer.path = &path;
    transfer.progress = &progress;
    transfer.options = &options;
    transfer.created = created;
    curl.Set(CURLOPT_HEADERFUNCTION, OnSaveHeader);
    curl.Set(CURLOPT_HEADERDATA, &transfer);
    curl.Set(CURLOPT_WRITEFUNCTION, OnSaveData);
    curl.Set(CURLOPT_WRITEDATA, &transfer);
    curl.Set(CURLOPT_BUFFERSIZE, 10240L);
    const CURLcode result = curl.Perform();
    if (transfer.file != nullptr) {
        const bool closed = std::fclose(transfer.file) == 0;
        transfer.file = nullptr;
        transfer.failed = transfer.failed || !closed;
    }
    return result == CURLE_OK && !transfer.failed && curl.ResponseCode() == 200 ? 0 : -1;
}

}  // namespace vantor
