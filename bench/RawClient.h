#pragma once

// A client of the message protocol on a plain socket, for the benchmarks
// that time the server without the client library: writes requests and
// reads documents until one satisfies a test. A read waits at most 5 s, so
// a lost answer fails the run instead of hanging it.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "protocol/Messages.h"

namespace vantor::bench {

class RawClient {
public:
    explicit RawClient(std::uint16_t port) {
        fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        const int one = 1;
        ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        timeval wait{5, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    }
    ~RawClient() { ::close(fd_); }
    bool Connected() const { return connected_; }

    bool Send(const Message& message) {
        std::string bytes = message.ToXml();
        bytes.push_back('\0');
        return ::write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }
    template <class Done>
    bool ReadUntil(Done&& done) {
        char buffer[8192];
        while (true) {
            std::size_t end;
            while ((end = input_.find('\0')) != std::string::npos) {
                const std::string document = input_.substr(0, end);
                input_.erase(0, end + 1);
                if (done(document)) {
                    return true;
                }
            }
            const ssize_t size = ::read(fd_, buffer, sizeof buffer);
            if (size <= 0) {
                return false;
            }
            input_.append(buffer, static_cast<std::size_t>(size));
        }
    }
    // Sets the volume and waits for the event that tells every client.
    bool SetVolume(int volume) {
        SetVolumeRequest request;
        request.requestId = 1;
        request.volume = volume;
        return Send(request) && WaitForVolume(volume);
    }
    bool WaitForVolume(int volume) {
        const std::string wanted = "<volume>" + std::to_string(volume) + "</volume>";
        return ReadUntil([&](const std::string& document) {
            return document.find("<VolumeChangedEvent") != std::string::npos &&
                   document.find(wanted) != std::string::npos;
        });
    }

private:
    int fd_ = -1;
    bool connected_ = false;
    std::string input_;
};

}  // namespace vantor::bench
