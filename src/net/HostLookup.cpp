#include "net/HostLookup.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

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

// What a lookup thread shares with the callers waiting for it; whichever
// lets go last frees it.
struct Lookup {
    std::mutex mutex;  // guards done and addresses
    std::condition_variable finished;
    bool done = false;
    std::vector<sockaddr_in> addresses;
};

// Names looked up at most this many at a time: while a name server is away
// each lookup holds a thread for as long as the resolver keeps retrying.
constexpr std::size_t kMaxPendingLookups = 4;

// The lookups under way, one per name and port, so that a caller trying
// again while the last lookup is still stuck waits for that one instead of
// starting another. Never freed: lookup threads may outlive main().
struct Pending {
    std::mutex mutex;  // guards lookups; taken before a Lookup's mutex
    std::map<std::pair<std::string, std::uint16_t>, std::shared_ptr<Lookup>> lookups;
};

Pending& PendingLookups() {
    static auto* pending = new Pending;
    return *pending;
}

// The lookup under way for `host` and `port`, started on a thread of its own
// when there is none; null when too many are under way or no thread starts.
std::shared_ptr<Lookup> JoinOrStart(const std::string& host, std::uint16_t port,
                                    const HostLookupFunction& lookup) {
    Pending& pending = PendingLookups();
    const auto key = std::make_pair(host, port);
    std::lock_guard lock(pending.mutex);
    if (auto found = pending.lookups.find(key); found != pending.lookups.end()) {
        return found->second;
    }
    if (pending.lookups.size() >= kMaxPendingLookups) {
        return nullptr;
    }
    auto shared = std::make_shared<Lookup>();
    try {
        std::thread([shared, key, lookup] {
            std::vector<sockaddr_in> found = lookup(key.first, key.second);
            Pending& all = PendingLookups();
            std::lock_guard allLock(all.mutex);
            all.lookups.erase(key);
            std::lock_guard resultLock(shared->mutex);
            shared->addresses = std::move(found);
            shared->done = true;
            shared->finished.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        return nullptr;
    }
    pending.lookups.emplace(key, shared);
    return shared;
}

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
    const std::shared_ptr<Lookup> shared = JoinOrStart(host, port, lookup);
    if (shared == nullptr) {
        return -1;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock lock(shared->mutex);
    while (!shared->done) {
        if ((abort != nullptr && abort->load()) || std::chrono::steady_clock::now() >= deadline) {
            return -1;  // the lookup finishes on its own
        }
        shared->finished.wait_until(lock, std::min(deadline, std::chrono::steady_clock::now() +
                                                                 std::chrono::milliseconds(50)));
    }
    *addresses = shared->addresses;  // others may be waiting for the same lookup
    return addresses->empty() ? -1 : 0;
}

}  // namespace vantor
