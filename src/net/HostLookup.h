#pragma once

// Name resolution a caller can give up on. getaddrinfo() cannot be
// interrupted: a name server that never answers holds it for as long as the
// resolver's own time-outs and retries allow, and the thread that asked sees
// no abort flag meanwhile. A dotted address is read at once; a name is looked
// up on a thread of its own, which owns everything it touches, while the
// caller waits and checks its abort flag every 50 ms. A caller that gives up
// leaves the lookup to finish on its own; one that asks again for a name
// still being looked up waits for that lookup rather than starting another,
// and a few names at most are looked up at once, so a dead name server
// never piles up threads.

#include <netinet/in.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vantor {

// A blocking IPv4 lookup: the host's addresses with the port filled in, in
// the resolver's order; none when the name does not resolve.
using HostLookupFunction =
    std::function<std::vector<sockaddr_in>(const std::string& host, std::uint16_t port)>;

// getaddrinfo() for IPv4 stream sockets.
std::vector<sockaddr_in> SystemHostLookup(const std::string& host, std::uint16_t port);

// 0 with `addresses` filled; -1 when the host does not resolve, the lookup
// takes longer than `timeout`, `*abort` is set, or too many names are being
// looked up already. `lookup` is called only
// for names, never for dotted addresses. Any thread.
int LookUpHost(const std::string& host, std::uint16_t port, std::chrono::milliseconds timeout,
               const std::atomic<bool>* abort, std::vector<sockaddr_in>* addresses,
               const HostLookupFunction& lookup = SystemHostLookup);

}  // namespace vantor
