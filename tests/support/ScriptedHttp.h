#pragma once

// A one-request-at-a-time HTTP peer on 127.0.0.1 that answers every request
// with bytes a test gives it: a plain response, a broken one, one that stops
// half-way or stalls. It records the request heads it received.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/LoopbackListener.h"

namespace vantor::testing {

struct ScriptedReply {
    std::string bytes;                        // written as they stand
    std::chrono::milliseconds stallAfter{0};  // then wait this long
    bool closeEarly = false;                  // close without waiting
};

class ScriptedHttp {
public:
    explicit ScriptedHttp(std::function<ScriptedReply(const std::string& head)> reply)
        : reply_(std::move(reply)) {
        listener_ = ListenOnLoopback(8, &port_);
        thread_ = std::thread([this] { Run(); });
    }
    ~ScriptedHttp() {
        stop_ = true;
        thread_.join();
        ::close(listener_);
    }

    std::uint16_t Port() const { return port_; }
    std::string Url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    std::vector<std::string> Heads() const {
        std::lock_guard lock(mutex_);
        return heads_;
    }

    // A response with these headers, Content-Length and body.
    static std::string Response(int status, const std::string& body,
                                const std::string& headers = {}) {
        return "HTTP/1.1 " + std::to_string(status) + " X\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
               body;
    }

private:
    void Run() {
        while (!stop_) {
            pollfd polled{listener_, POLLIN, 0};
            if (::poll(&polled, 1, 20) <= 0) {
                continue;
            }
            const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) {
                continue;
            }
            std::string head;
            char buffer[4096];
            while (head.find("\r\n\r\n") == std::string::npos) {
                pollfd readable{client, POLLIN, 0};
                if (::poll(&readable, 1, 2000) <= 0) {
                    break;
                }
                const ssize_t size = ::recv(client, buffer, sizeof buffer, 0);
                if (size <= 0) {
                    break;
                }
                head.append(buffer, static_cast<std::size_t>(size));
            }
            {
                std::lock_guard lock(mutex_);
                heads_.push_back(head);
            }
            const ScriptedReply reply = reply_(head);
            std::size_t sent = 0;
            while (sent < reply.bytes.size()) {
                const ssize_t size = ::send(client, reply.bytes.data() + sent,
                                            reply.bytes.size() - sent, MSG_NOSIGNAL);
                if (size <= 0) {
                    break;
                }
                sent += static_cast<std::size_t>(size);
            }
            const auto until = std::chrono::steady_clock::now() + reply.stallAfter;
            while (!stop_ && std::chrono::steady_clock::now() < until) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            if (!reply.closeEarly) {
                ::shutdown(client, SHUT_WR);
            }
            ::close(client);
        }
    }

    std::function<ScriptedReply(const std::string&)> reply_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    mutable std::mutex mutex_;
    std::vector<std::string> heads_;
    std::thread thread_;
};

}  // namespace vantor::testing
