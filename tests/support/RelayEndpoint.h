#pragma once

// A TCP relay on 127.0.0.1 in front of a server, as an SSH tunnel, a
// container's port proxy or socat would be: it accepts every connection,
// and forwards it while the server takes connections; while the server is
// away it closes each one right after accepting it.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace vantor::testing {

class RelayEndpoint {
public:
    explicit RelayEndpoint(std::uint16_t serverPort) : serverPort_(serverPort) {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = Loopback(0);
        socklen_t length = sizeof address;
        if (::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener_, 64) != 0 ||
            ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            return;
        }
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Run(); });
    }
    ~RelayEndpoint() {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        for (const Pair& pair : pairs_) {
            ::close(pair.client);
            ::close(pair.server);
        }
        ::close(listener_);
    }
    RelayEndpoint(const RelayEndpoint&) = delete;
    RelayEndpoint& operator=(const RelayEndpoint&) = delete;

    std::uint16_t Port() const { return port_; }
    // Connections closed at once for want of a server.
    int Closed() const { return closed_; }

private:
    struct Pair {
        int client;
        int server;
    };

    static sockaddr_in Loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    void Run() {
        std::vector<pollfd> polled;
        while (!stop_) {
            polled.assign(1, pollfd{listener_, POLLIN, 0});
            for (const Pair& pair : pairs_) {
                polled.push_back({pair.client, POLLIN, 0});
                polled.push_back({pair.server, POLLIN, 0});
            }
            if (::poll(polled.data(), polled.size(), 20) <= 0) {
                continue;
            }
            std::vector<bool> ended(pairs_.size(), false);
            for (std::size_t i = 0; i < pairs_.size(); ++i) {
                for (int side = 0; side < 2; ++side) {
                    if (polled[1 + 2 * i + static_cast<std::size_t>(side)].revents == 0) {
                        continue;
                    }
                    const int from = side == 0 ? pairs_[i].client : pairs_[i].server;
                    const int to = side == 0 ? pairs_[i].server : pairs_[i].client;
                    char buffer[16384];
                    const ssize_t size = ::recv(from, buffer, sizeof buffer, 0);
                    if (size <= 0 ||
                        ::send(to, buffer, static_cast<std::size_t>(size), MSG_NOSIGNAL) != size) {
                        ended[i] = true;
                    }
                }
            }
            for (std::size_t i = pairs_.size(); i-- > 0;) {
                if (ended[i]) {
                    ::close(pairs_[i].client);
                    ::close(pairs_[i].server);
                    pairs_.erase(pairs_.begin() + static_cast<std::ptrdiff_t>(i));
                }
            }
            if ((polled[0].revents & POLLIN) != 0) {
                Accept();
            }
        }
    }

    void Accept() {
        const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            return;
        }
        const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = Loopback(serverPort_);
        if (server < 0 ||
            ::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            ++closed_;
            ::close(client);
            if (server >= 0) {
                ::close(server);
            }
            return;
        }
        pairs_.push_back({client, server});
    }

    const std::uint16_t serverPort_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::atomic<int> closed_{0};
    std::vector<Pair> pairs_;  // the relay thread's
    std::thread thread_;
};

}  // namespace vantor::testing
