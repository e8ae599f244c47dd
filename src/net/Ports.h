#pragma once

#include <cstdint>

namespace vantor {

// The server's well-known ports.
inline constexpr std::uint16_t kMessagePort = 3567;    // XML messages over TCP
inline constexpr std::uint16_t kDiscoveryPort = 3568;  // UDP discovery
inline constexpr std::uint16_t kMediaPort = 3569;      // HTTP media service

}  // namespace vantor
