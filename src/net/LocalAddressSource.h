#pragma once

// Where the device's own IPv4 addresses come from. Discovery probes from
// each of them in turn, and the network watch takes the first: "127.0.0.1"
// or "0.0.0.0" there means the device has no usable network. Tests inject
// their own source to choose the addresses or simulate a lost network.

#include <memory>
#include <string>
#include <vector>

namespace vantor {

class LocalAddressSource {
public:
    virtual ~LocalAddressSource() = default;
    // Dotted IPv4 addresses, in a stable order. Called from any thread.
    virtual std::vector<std::string> LocalAddresses() = 0;
};

// The IPv4 addresses of the interfaces that are up, loopback left out; when
// there are none, "127.0.0.1" alone, as a handheld without a network reports.
class InterfaceAddressSource final : public LocalAddressSource {
public:
    std::vector<std::string> LocalAddresses() override;
};

}  // namespace vantor
