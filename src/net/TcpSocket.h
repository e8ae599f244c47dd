#pragma once

// One IPv4 stream socket. Connect() runs on the owner's thread before any
// other thread uses the socket; afterwards Send() may be called from any
// thread, Receive() from the one receiving thread, and Shutdown() from any
// thread to end both. The descriptor is closed only by the destructor, so its
// number can never be reused under a thread that still holds it.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

namespace vantor {

class TcpSocket {
public:
    TcpSocket() = default;
    ~TcpSocket();
    TcpSocket(const TcpSocket&) = delete;
    TcpSocket& operator=(const TcpSocket&) = delete;

    // Resolves `host` (name or dotted address) for IPv4 and tries each
    // address in turn. Returns 0 when connected, -1 otherwise. A socket
    // already open is closed first. The lookup and each address get at most
    // `timeout`, and setting `*abort` (checked every 50 ms) gives up at once,
    // so neither a dead name server nor a host that swallows packets holds
    // the caller for minutes.
    int Connect(const std::string& host, std::uint16_t port,
                std::chrono::milliseconds timeout = std::chrono::seconds(10),
                const std::atomic<bool>* abort = nullptr);

    // Sends all bytes; the send result (negative on failure, which also
    // clears the connected flag). Safe to call from several threads: whole
    // calls never interleave on the stream.
    long Send(const char* data, std::size_t size);

    // One recv() of up to `size` bytes: its result (0 at an orderly close,
    // negative on error).
    long Receive(char* data, std::size_t size);

    // Ends the connection in both directions, waking a blocked Receive();
    // clears the connected flag. Any thread; repeated calls are harmless.
    void Shutdown();

    bool IsConnected() const { return connected_.load(); }
    int Descriptor() const { return fd_; }

private:
    void Close();

    int fd_ = -1;  // written only by Connect and the destructor
    std::atomic<bool> connected_{false};
    std::mutex sendMutex_;  // keeps concurrent Send calls whole on the stream
};

}  // namespace vantor
