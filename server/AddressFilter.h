#pragma once

// Which peers may talk to the server: a list of address ranges in CIDR form
// ("192.168.0.0/16", "fe80::/10", "10.1.2.3" for one host), IPv4 and IPv6.
// An IPv4 address carried in IPv6 ("::ffff:10.0.0.1") is judged as IPv4.
//
// Threads: immutable once made; any thread may ask it.

#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::server {

class AddressFilter {
public:
    // Loopback, the private ranges and link-local, both families.
    static constexpr const char* kDefaultRanges =
        "127.0.0.0/8,10.0.0.0/8,172.16.0.0/12,192.168.0.0/16,169.254.0.0/16,"
        "::1/128,fc00::/7,fe80::/10";

    // The default ranges.
    AddressFilter();

    // Parses ranges separated by commas (spaces around them allowed);
    // nothing, with `error` naming the bad piece, when one cannot be read.
    static std::optional<AddressFilter> Parse(std::string_view list, std::string* error = nullptr);

    bool Allows(const sockaddr* address, socklen_t length) const;
    // A numeric address as text.
    bool Allows(const std::string& address) const;

    // The ranges as given, for log lines.
    const std::string& Text() const { return text_; }

private:
    struct Empty {};
    explicit AddressFilter(Empty) {}

    struct Range {
        // IPv4 ranges are kept as IPv4-mapped IPv6 (::ffff:a.b.c.d).
        std::array<std::uint8_t, 16> bytes{};
        int prefix = 0;  // bits of `bytes` that must match
    };
    bool Matches(const std::array<std::uint8_t, 16>& address) const;

    std::vector<Range> ranges_;
    std::string text_;
};

// A peer's host as text ("10.0.0.2", "fe80::1"), IPv4 carried in IPv6 as
// IPv4.
std::string PeerHost(const sockaddr* address, socklen_t length);
// A peer address as text ("10.0.0.2:50123", "[fe80::1]:50123").
std::string DescribePeer(const sockaddr* address, socklen_t length);

}  // namespace vantor::server
