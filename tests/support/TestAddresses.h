#pragma once

// The machine's address as the network watch sees it; tests change it to
// play a network that goes away or comes back as another one.

#include <mutex>
#include <string>
#include <vector>

#include "net/LocalAddressSource.h"

namespace vantor::testing {

class TestAddresses final : public LocalAddressSource {
public:
    explicit TestAddresses(std::string address = "192.0.2.10") : address_(std::move(address)) {}
    std::vector<std::string> LocalAddresses() override {
        std::lock_guard lock(mutex_);
        return {address_};
    }
    void Set(std::string address) {
        std::lock_guard lock(mutex_);
        address_ = std::move(address);
    }

private:
    std::mutex mutex_;
    std::string address_;
};

}  // namespace vantor::testing
