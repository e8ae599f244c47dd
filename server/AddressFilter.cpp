#include "AddressFilter.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <charconv>
#include <cstring>

namespace vantor::server {

namespace {

constexpr std::array<std::uint8_t, 12> kMappedPrefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

std::array<std::uint8_t, 16> Mapped(const in_addr& address) {
    std::array<std::uint8_t, 16> bytes{};
    std::memcpy(bytes.data(), kMappedPrefix.data(), kMappedPrefix.size());
    std::memcpy(bytes.data() + 12, &address, 4);
    return bytes;
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

// One numeric address, either family, as 16 bytes (IPv4 mapped).
std::optional<std::array<std::uint8_t, 16>> ParseAddress(const std::string& text, bool* v4) {
    in_addr address4{};
    if (::inet_pton(AF_INET, text.c_str(), &address4) == 1) {
        *v4 = true;
        return Mapped(address4);
    }
    in6_addr address6{};
    if (::inet_pton(AF_INET6, text.c_str(), &address6) == 1) {
        *v4 = false;
        std::array<std::uint8_t, 16> bytes{};
        std::memcpy(bytes.data(), &address6, 16);
        return bytes;
    }
    return std::nullopt;
}

}  // namespace

AddressFilter::AddressFilter() : AddressFilter(*Parse(kDefaultRanges)) {}

std::optional<AddressFilter> AddressFilter::Parse(std::string_view list, std::string* error) {
    AddressFilter filter{Empty{}};
    filter.text_ = std::string(Trim(list));
    std::size_t start = 0;
    while (start <= list.size()) {
        const std::size_t comma = std::min(list.find(',', start), list.size());
        const std::string_view piece = Trim(list.substr(start, comma - start));
        start = comma + 1;
        if (piece.empty()) {
            continue;
        }
        const std::size_t slash = piece.find('/');
        bool v4 = false;
        const auto bytes = ParseAddress(std::string(piece.substr(0, slash)), &v4);
        int prefix = v4 ? 32 : 128;
        bool ok = bytes.has_value();
        if (ok && slash != std::string_view::npos) {
            const std::string_view bits = piece.substr(slash + 1);
            const auto [end, failure] =
                std::from_chars(bits.data(), bits.data() + bits.size(), prefix);
            ok = !bits.empty() && failure == std::errc() && end == bits.data() + bits.size() &&
                 prefix >= 0 && prefix <= (v4 ? 32 : 128);
        }
        if (!ok) {
            if (error != nullptr) {
                *error = std::string(piece);
            }
            return std::nullopt;
        }
        filter.ranges_.push_back({*bytes, v4 ? prefix + 96 : prefix});
    }
    return filter;
}

bool AddressFilter::Matches(const std::array<std::uint8_t, 16>& address) const {
    for (const Range& range : ranges_) {
        const int whole = range.prefix / 8;
        const int rest = range.prefix % 8;
        if (std::memcmp(address.data(), range.bytes.data(), static_cast<std::size_t>(whole)) != 0) {
            continue;
        }
        if (rest != 0) {
            const auto mask = static_cast<std::uint8_t>(0xff << (8 - rest));
            if ((address[static_cast<std::size_t>(whole)] & mask) !=
                (range.bytes[static_cast<std::size_t>(whole)] & mask)) {
                continue;
            }
        }
        return true;
    }
    return false;
}

bool AddressFilter::Allows(const sockaddr* address, socklen_t length) const {
    if (address == nullptr) {
        return false;
    }
    if (address->sa_family == AF_INET && length >= static_cast<socklen_t>(sizeof(sockaddr_in))) {
        return Matches(Mapped(reinterpret_cast<const sockaddr_in*>(address)->sin_addr));
    }
    if (address->sa_family == AF_INET6 && length >= static_cast<socklen_t>(sizeof(sockaddr_in6))) {
        std::array<std::uint8_t, 16> bytes{};
        std::memcpy(bytes.data(), &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, 16);
        return Matches(bytes);
    }
    return false;
}

bool AddressFilter::Allows(const std::string& address) const {
    bool v4 = false;
    const auto bytes = ParseAddress(address, &v4);
    return bytes && Matches(*bytes);
}

std::string PeerHost(const sockaddr* address, socklen_t length) {
    char text[INET6_ADDRSTRLEN] = {};
    if (address != nullptr && address->sa_family == AF_INET &&
        length >= static_cast<socklen_t>(sizeof(sockaddr_in))) {
        ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text,
                    sizeof text);
        return text;
    }
    if (address != nullptr && address->sa_family == AF_INET6 &&
        length >= static_cast<socklen_t>(sizeof(sockaddr_in6))) {
        const in6_addr& in6 = reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
        if (IN6_IS_ADDR_V4MAPPED(&in6)) {
            ::inet_ntop(AF_INET, in6.s6_addr + 12, text, sizeof text);
        } else {
            ::inet_ntop(AF_INET6, &in6, text, sizeof text);
        }
        return text;
    }
    return "an unknown address";
}

std::string DescribePeer(const sockaddr* address, socklen_t length) {
    const std::string host = PeerHost(address, length);
    if (address != nullptr && address->sa_family == AF_INET &&
        length >= static_cast<socklen_t>(sizeof(sockaddr_in))) {
        return host + ":" +
               std::to_string(ntohs(reinterpret_cast<const sockaddr_in*>(address)->sin_port));
    }
    if (address != nullptr && address->sa_family == AF_INET6 &&
        length >= static_cast<socklen_t>(sizeof(sockaddr_in6))) {
        return "[" + host + "]:" +
               std::to_string(ntohs(reinterpret_cast<const sockaddr_in6*>(address)->sin6_port));
    }
    return host;
}

}  // namespace vantor::server
