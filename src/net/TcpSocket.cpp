#include "net/TcpSocket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "net/HostLookup.h"

namespace vantor {

TcpSocket::~TcpSocket() {
    Close();
}

void TcpSocket::Close() {
    connected_ = false;
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

namespace {

// Waits for a non-blocking connect to finish; 0 on success.
int FinishConnect(int fd, std::chrono::milliseconds timeout, const std::atomic<bool>* abort) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        if (abort != nullptr && abort->load()) {
            return -1;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return -1;
        }
        pollfd polled{fd, POLLOUT, 0};
        const int ready =
            ::poll(&polled, 1, static_cast<int>(std::min<long long>(left.count(), 50)));
        if (ready < 0 && errno != EINTR) {
            return -1;
        }
        if (ready > 0) {
            int error = 0;
            socklen_t length = sizeof error;
            ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
            return error == 0 ? 0 : -1;
        }
    }
}

}  // namespace

int TcpSocket::Connect(const std::string& host, std::uint16_t port,
                       std::chrono::milliseconds timeout, const std::atomic<bool>* abort) {
    std::vector<sockaddr_in> addresses;
    if (LookUpHost(host, port, timeout, abort, &addresses) != 0) {
        return -1;
    }

    Close();
    int result = -1;
    for (const sockaddr_in& address : addresses) {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
        if (fd_ < 0) {
            return -1;  // no further address is tried
        }
        // The server's own client sets option 0 at the socket level; the
        // platform rejects it, and the result has always been ignored.
        const int one = 1;
        (void)::setsockopt(fd_, SOL_SOCKET, 0, &one, sizeof one);
        // Connected without blocking, then made blocking again for the
        // receiver thread's reads and the senders' writes.
        const int flags = ::fcntl(fd_, F_GETFL);
        ::fcntl(fd_, F_SETFL, flags | O_NONBLOCK);
        result = ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        if (result != 0 && errno == EINPROGRESS) {
            result = FinishConnect(fd_, timeout, abort);
        }
        ::fcntl(fd_, F_SETFL, flags);
        if (result == 0) {
            connected_ = true;
            break;
        }
        Close();
    }
    return result == 0 ? 0 : -1;
}

long TcpSocket::Send(const char* data, std::size_t size) {
    std::lock_guard lock(sendMutex_);
    std::size_t sent = 0;
    while (sent < size) {
        const ssize_t result = ::send(fd_, data + sent, size - sent, MSG_NOSIGNAL);
        if (result < 0) {
            if (errno == EINTR) {
                continue;
            }
            connected_ = false;
            return -1;
        }
        sent += static_cast<std::size_t>(result);
    }
    return static_cast<long>(sent);
}

long TcpSocket::Receive(char* data, std::size_t size) {
    ssize_t result;
    do {
        result = ::recv(fd_, data, size, 0);
    } while (result < 0 && errno == EINTR);
    return static_cast<long>(result);
}

void TcpSocket::Shutdown() {
    connected_ = false;
    if (fd_ >= 0) {
        ::shutdown(fd_, SHUT_RDWR);
    }
}

}  // namespace vantor
