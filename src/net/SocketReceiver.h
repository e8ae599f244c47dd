#pragma once

// A stream socket with a receiver thread that hands the raw bytes it reads,
// 1000 at most per call, to a listener, and tells the listener when the
// connection ends without having been asked to.
//
// Threads: Connect(), Disconnect() and the destructor are called by the
// owner; Send() and IsConnected() by any thread. The listener is called on
// the receiver thread only. Disconnect() detaches the listener first, so no
// call reaches it once Disconnect() has returned, except one already under
// way; the destructor also waits for that one, since it may use the owner.

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "core/NamedThread.h"
#include "net/TcpSocket.h"

namespace vantor {

class SocketReceiver {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void OnReceive(std::string_view bytes) = 0;
        // `code` is the last receive result: 0 for an orderly close by the
        // peer, negative for an error.
        virtual void OnDisconnected(int code) = 0;
    };

    static constexpr int kReceiveBufferSize = 1000;
    static constexpr int kStopTimeoutMs = 2000;

    explicit SocketReceiver(std::string threadName = "Socket Receiver Thread");
    ~SocketReceiver();
    SocketReceiver(const SocketReceiver&) = delete;
    SocketReceiver& operator=(const SocketReceiver&) = delete;

    void SetThreadName(std::string name) { threadName_ = std::move(name); }

    // Connects (ending any earlier connection first) and starts the receiver
    // thread. True when both succeeded. `abort` as for TcpSocket::Connect.
    bool Connect(const std::string& host, std::uint16_t port, Listener* listener,
                 const std::atomic<bool>* abort = nullptr);

    // Detaches the listener, ends the connection and waits up to 2000 ms for
    // the receiver thread.
    void Disconnect();

    bool IsConnected() const;

    // Sends all bytes; false when the send failed or nothing is connected.
    bool Send(std::string_view bytes);

    // Ends the connection as if the peer had: the listener hears
    // OnDisconnected. For a receiver that finds the stream unusable.
    void Drop();

private:
    // What the receiver thread shares with its owner; it keeps its share, so a
    // thread left running after a time-out never reaches freed state.
    struct Link {
        TcpSocket socket;
        std::atomic<bool> stop{true};
        std::mutex mutex;  // guards listener and calls, wakes idle
        std::condition_variable idle;
        Listener* listener = nullptr;
        int calls = 0;  // listener calls under way
        std::thread::id receiverThread;

        Listener* Enter();
        void Leave();
        void Detach();
        void WaitIdle();
    };

    static void ReceiveLoop(const std::shared_ptr<Link>& link);

    std::string threadName_;
    mutable std::mutex linkMutex_;  // guards link_ (replaced by Connect)
    std::shared_ptr<Link> link_;
    NamedThread thread_;
};

}  // namespace vantor
