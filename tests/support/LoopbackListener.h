#pragma once

// A listening TCP socket on 127.0.0.1 at a port the system picks, for the
// scripted peers the tests stand in for a server with.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

namespace vantor::testing {

// The listening descriptor (the caller closes it), its port in *port.
inline int ListenOnLoopback(int backlog, std::uint16_t* port) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int one = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener, backlog);
    socklen_t length = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    *port = ntohs(address.sin_port);
    return listener;
}

}  // namespace vantor::testing
