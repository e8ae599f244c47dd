#pragma once

// The server's sockets: a descriptor that closes itself, and binding a
// loopback-or-any IPv4 socket with the log line a failure deserves.

#include <netinet/in.h>
#include <unistd.h>

#include <cstdint>
#include <string>

namespace vantor::server {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { Reset(); }
    Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    int Get() const { return fd_; }
    int Release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void Reset(int fd = -1) {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

bool ToAddress(const std::string& dotted, std::uint16_t port, sockaddr_in* address);
// "a.b.c.d:port", as the log names peers.
std::string Describe(const sockaddr_in& address);
std::uint16_t BoundPort(int fd);
// Binds a socket of the given type; an invalid descriptor (logged) on failure.
Descriptor Bind(int type, const std::string& host, std::uint16_t port, const char* what);

}  // namespace vantor::server
