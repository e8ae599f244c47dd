#include "net/HostLookup.h"

#include <netdb.h>
#include <sys/socket.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace vantor {

namespace {

std::vector<sockaddr_in> Resolve(const std::string& host, std::uint16_t port, int flags) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* found = nullptr;
    std::vector<sockaddr_in> addresses;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        return addresses;
    }
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET && entry->ai_addrlen >= sizeof(sockaddr_in)) {
            addresses.push_back(*reinterpret_cast<const sockaddr_in*>(entry->ai_addr));
        }
    }
    ::freeaddrinfo(found);
    return addresses;
}

// What a lookup thread shares with the caller that started it; whichever
// lets go last frees it.
struct Lookup {
    std::mutex mutex;  // guards done and addresses
    std::condition_variable finished;
    bool done = false;
    std::vector<sockaddr_in> addresses;
};

}  // namespace

std::vector<sockaddr_in> SystemHostLookup(const std::string& host, std::uint16_t port) {
    return Resolve(host, port, 0);
}

int LookUpHost(const std::string& host, std::uint16_t port, std::chrono::milliseconds timeout,
               const std::atomic<bool>* abort, std::vector<sockaddr_in>* addresses,
               const HostLookupFunction& lookup) {
    addresses->clear();
    // A dotted address (in any form the resolver reads) needs no name server.
    *addresses = Resolve(host, port, AI_NUMERICHOST);
    if (!addresses->empty()) {
        return 0;
    }
    auto shared = std::make_shared<Lookup>();
    try {
        std::thread([shared, host, port, lookup] {
            std::vector<sockaddr_in> found = lookup(host, port);
            std::lock_guard lock(shared->mutex);
            shared->addresses = std::move(found);
            shared->done = true;
            shared->finished.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        return -1;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock lock(shared->mutex);
    while (!shared->done) {
        if ((abort != nullptr && abort->load()) || std::chrono::steady_clock::now() >= deadline) {
            return -1;  // the lookup finishes on its own
        }
        shared->finished.wait_for(lock, std::chrono::milliseconds(50));
    }
    *addresses = std::move(shared->addresses);
    return addresses->empty() ? -1 : 0;
}

}  // namespace vantor
