#pragma once

// Plain TCP peers on loopback for tests of what a server does to
// connections that are idle, half-sent, silent or unwelcome.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantor::testing {

// A connected socket to 127.0.0.1:port, closed on destruction.
class RawPeer {
public:
    explicit RawPeer(std::uint16_t port, int receiveBuffer = 0) {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd_ < 0) {
            return;
        }
        if (receiveBuffer > 0) {
            ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            ::close(fd_);
            fd_ = -1;
        }
    }
    ~RawPeer() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    bool Connected() const { return fd_ >= 0; }
    bool Send(std::string_view bytes) const {
        return fd_ >= 0 && ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                               static_cast<ssize_t>(bytes.size());
    }
    // What arrives within `timeout`, until the peer closes or it passes.
    // `closed` tells whether the peer closed (or reset) the connection.
    std::string Receive(std::chrono::milliseconds timeout, bool* closed = nullptr) const {
        std::string received;
        bool ended = false;
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (fd_ >= 0 && !ended) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                break;
            }
            pollfd polled{fd_, POLLIN, 0};
            if (::poll(&polled, 1, static_cast<int>(left.count())) <= 0) {
                break;
            }
            char buffer[4096];
            const ssize_t size = ::recv(fd_, buffer, sizeof buffer, 0);
            if (size > 0) {
                received.append(buffer, static_cast<std::size_t>(size));
            } else if (size == 0 || errno != EINTR) {
                ended = true;
            }
        }
        if (closed != nullptr) {
            *closed = ended;
        }
        return received;
    }
    // True when the server closed the connection within `timeout`, having
    // sent nothing.
    bool ClosedWithNothing(std::chrono::milliseconds timeout) const {
        bool closed = false;
        return Receive(timeout, &closed).empty() && closed;
    }

private:
    int fd_ = -1;
};

// Lifts this process's descriptor limit towards `want` (at most its hard
// limit), for tests that hold many connections; the limit it now has.
inline rlim_t RaiseDescriptorLimit(rlim_t want) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 0;
    }
    if (limit.rlim_cur < want) {
        limit.rlim_cur = std::min(want, limit.rlim_max);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        ::getrlimit(RLIMIT_NOFILE, &limit);
    }
    return limit.rlim_cur;
}

}  // namespace vantor::testing
