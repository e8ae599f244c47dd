#include "ServerSocket.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "AddressFilter.h"
#include "core/Logger.h"

namespace vantor::server {

bool ToAddress(const std::string& dotted, std::uint16_t port, sockaddr_in* address) {
    std::memset(address, 0, sizeof *address);
    address->sin_family = AF_INET;
    address->sin_port = htons(port);
    return ::inet_pton(AF_INET, dotted.c_str(), &address->sin_addr) == 1;
}

std::string Describe(const sockaddr_in& address) {
    return DescribePeer(reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::uint16_t BoundPort(int fd) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

Descriptor Bind(int type, const std::string& host, std::uint16_t port, const char* what) {
    sockaddr_in address;
    if (!ToAddress(host, port, &address)) {
        Log(kLogError, "vantor-server: %s is not an IPv4 address", host.c_str());
        return {};
    }
    Descriptor fd(::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd.Get() < 0) {
        Log(kLogError, "vantor-server: cannot create the %s socket: %s", what,
            std::strerror(errno));
        return {};
    }
    const int one = 1;
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(fd.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        Log(kLogError, "vantor-server: cannot bind the %s socket to %s:%u: %s", what, host.c_str(),
            static_cast<unsigned>(port), std::strerror(errno));
        return {};
    }
    return fd;
}

// The MD5 of a file as 32 lower-case hexadecimal digits; empty when it

}  // namespace vantor::server
