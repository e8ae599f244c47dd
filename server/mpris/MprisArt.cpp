#include "mpris/MprisArt.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/Logger.h"
#include "core/Text.h"
#include "media/HttpClient.h"

namespace vantor::server::mpris {

namespace {

// %XX decoded; false when an escape is broken.
bool PercentDecode(std::string_view text, std::string* out) {
    out->clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out->push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size() || HexDigitValue(text[i + 1]) < 0 ||
            HexDigitValue(text[i + 2]) < 0) {
            return false;
        }
        out->push_back(
            static_cast<char>(HexDigitValue(text[i + 1]) * 16 + HexDigitValue(text[i + 2])));
        i += 2;
    }
    return true;
}

int Base64Value(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+' || c == '-') {
        return 62;
    }
    if (c == '/' || c == '_') {
        return 63;
    }
    return -1;
}

bool Base64Decode(std::string_view text, std::size_t limit, std::string* out) {
    out->clear();
    unsigned bits = 0;
    int count = 0;
    for (const char c : text) {
        if (c == '=' || c == '\n' || c == '\r' || c == ' ') {
            continue;
        }
        const int value = Base64Value(c);
        if (value < 0) {
            return false;
        }
        bits = (bits << 6) | static_cast<unsigned>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            if (out->size() == limit) {
                return false;
            }
            out->push_back(static_cast<char>((bits >> count) & 0xff));
        }
    }
    return true;
}

std::string Shown(const std::string& url) {
    return url.size() > 120 ? url.substr(0, 120) + "..." : url;
}

}  // namespace

std::string LocalPathOf(const std::string& url) {
    if (url.rfind("file://", 0) != 0) {
        return {};
    }
    const std::size_t slash = url.find('/', 7);
    if (slash == std::string::npos) {
        return {};
    }
    const std::string host = url.substr(7, slash - 7);
    if (!host.empty() && host != "localhost") {
        return {};
    }
    std::string path;
    const std::string encoded = url.substr(slash, url.find_first_of("?#", slash) - slash);
    if (!PercentDecode(encoded, &path) || path.find('\0') != std::string::npos) {
        return {};
    }
    return path;
}

int ReadPictureFile(const std::string& path, std::size_t limit, Picture* picture) {
    // Non-blocking, so that opening a FIFO cannot wait for a writer.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        Log(kLogError, "vantor-server: the player's album art %s cannot be opened: %s",
            path.c_str(), std::strerror(errno));
        return -1;
    }
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        Log(kLogError, "vantor-server: refusing the player's album art %s: not a regular file",
            path.c_str());
        return -1;
    }
    if (info.st_size <= 0 || static_cast<std::uint64_t>(info.st_size) > limit) {
        Log(kLogError,
            "vantor-server: refusing the player's album art %s: %lld bytes (at most %zu served)",
            path.c_str(), static_cast<long long>(info.st_size), limit);
        return -1;
    }
    const auto size = static_cast<std::size_t>(info.st_size);
    std::string bytes(std::min<std::size_t>(size, 32), '\0');
    const ssize_t head = ::pread(fd, bytes.data(), bytes.size(), 0);
    if (head <= 0) {
        Log(kLogError, "vantor-server: the player's album art %s cannot be read", path.c_str());
        return -1;
    }
    bytes.resize(static_cast<std::size_t>(head));
    const std::string type = PictureTypeOf(bytes);
    if (type.empty()) {
        Log(kLogError, "vantor-server: refusing the player's album art %s: not a picture",
            path.c_str());
        return -1;
    }
    bytes.resize(size);
    std::size_t have = static_cast<std::size_t>(head);
    while (have < size) {
        const ssize_t got = ::pread(fd, bytes.data() + have, size - have, static_cast<off_t>(have));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;  // shrunk while being read: serve what is there
        }
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    picture->bytes = std::move(bytes);
    picture->type = type;
    return 0;
}

int DecodeDataUrl(const std::string& url, std::size_t limit, Picture* picture) {
    const std::size_t comma = url.find(',');
    if (url.rfind("data:", 0) != 0 || comma == std::string::npos) {
        Log(kLogError, "vantor-server: the player's album art is a broken data URL");
        return -1;
    }
    const std::string_view header(url.data() + 5, comma - 5);
    const std::string_view payload(url.data() + comma + 1, url.size() - comma - 1);
    std::string bytes;
    const bool base64 = header.size() >= 7 && header.substr(header.size() - 7) == ";base64";
    const bool decoded = base64 ? Base64Decode(payload, limit, &bytes)
                                : payload.size() <= 3 * limit && PercentDecode(payload, &bytes);
    if (!decoded || bytes.size() > limit) {
        Log(kLogError,
            "vantor-server: the player's album art is a data URL that does not decode to at "
            "most %zu bytes",
            limit);
        return -1;
    }
    const std::string type = PictureTypeOf(bytes);
    if (type.empty()) {
        Log(kLogError, "vantor-server: refusing the player's album art data URL: not a picture");
        return -1;
    }
    picture->bytes = std::move(bytes);
    picture->type = type;
    return 0;
}

int ArtCache::Get(const std::string& url, Picture* picture) {
    if (url.rfind("file://", 0) == 0) {
        const std::string path = LocalPathOf(url);
        if (path.empty()) {
            Log(kLogError, "vantor-server: refusing the player's album art %s: not a local file",
                Shown(url).c_str());
            return -1;
        }
        return ReadPictureFile(path, kMaxArtBytes, picture);
    }
    if (url.rfind("data:", 0) == 0) {
        return DecodeDataUrl(url, kMaxArtBytes, picture);
    }
    if (url.rfind("http://", 0) != 0 && url.rfind("https://", 0) != 0) {
        Log(kLogError, "vantor-server: the player's album art %s has a scheme not served",
            Shown(url).c_str());
        return -1;
    }
    const auto remembered = [&] {
        std::lock_guard lock(mutex_);
        const auto found = std::find_if(entries_.begin(), entries_.end(),
                                        [&](const Entry& entry) { return entry.url == url; });
        if (found == entries_.end()) {
            return 0;
        }
        entries_.splice(entries_.begin(), entries_, found);
        if (!found->ok) {
            return -1;
        }
        *picture = found->picture;
        return 1;
    };
    if (const int known = remembered(); known != 0) {
        return known > 0 ? 0 : -1;
    }
    std::lock_guard fetching(fetchMutex_);
    if (const int known = remembered(); known != 0) {
        return known > 0 ? 0 : -1;  // fetched while this one waited
    }
    Entry entry;
    entry.url = url;
    HttpOptions options;
    options.connectTimeout = std::chrono::seconds(5);
    options.stallTimeout = std::chrono::seconds(5);
    options.maxBodyBytes = kMaxArtBytes;
    ResponseBuffer body;
    if (HttpGetToBuffer(url, body, options) != 0) {
        Log(kLogError, "vantor-server: the player's album art %s could not be fetched",
            Shown(url).c_str());
    } else {
        std::string bytes(reinterpret_cast<const char*>(body.Data()), body.Size());
        entry.picture.type = PictureTypeOf(bytes);
        entry.ok = !entry.picture.type.empty();
        if (entry.ok) {
            entry.picture.bytes = std::move(bytes);
        } else {
            Log(kLogError, "vantor-server: refusing the player's album art %s: not a picture",
                Shown(url).c_str());
        }
    }
    std::lock_guard lock(mutex_);
    entries_.push_front(entry);
    if (entries_.size() > kRemembered) {
        entries_.pop_back();
    }
    if (!entry.ok) {
        return -1;
    }
    *picture = std::move(entry.picture);
    return 0;
}

}  // namespace vantor::server::mpris
