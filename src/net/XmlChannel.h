#pragma once

// The connection to the server: XML messages, each followed by one zero
// byte, in both directions. Received bytes are framed, cleaned of processing
// instructions and comments, turned into a message by the factory and handed
// to the owner; a message of a type the client does not know is logged and
// dropped, and the connection stays up.
//
// Threads: the owner calls Connect/Disconnect/destruction; Send and
// IsConnected may be called from any thread. The owner's OnMessage and
// OnDisconnected are called on the receiver thread ("XML Channel
// Receiver"), which must not be blocked for long by them without reason.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "net/MessageFramer.h"
#include "net/SocketReceiver.h"
#include "protocol/Message.h"

namespace vantor {

// Where a request can be sent; the request table only needs this much.
class MessageSender {
public:
    virtual ~MessageSender() = default;
    virtual bool IsConnected() const = 0;
    // Sends one message given as its XML text (the zero byte is added).
    virtual bool SendXml(std::string_view xml) = 0;
};

class XmlChannel : public MessageSender, private SocketReceiver::Listener {
public:
    class Owner {
    public:
        virtual ~Owner() = default;
        // The owner takes the message.
        virtual void OnMessage(std::unique_ptr<Message> message) = 0;
        // The connection ended without Disconnect(): 0 when the server closed
        // it, negative on a network error.
        virtual void OnDisconnected(int code) = 0;
    };

    static constexpr const char* kThreadName = "XML Channel Receiver";

    explicit XmlChannel(Owner* owner, std::size_t maxPending = MessageFramer::kDefaultMaxPending);
    ~XmlChannel() override;

    // Port 0 means the server's message port, 3567. True when connected and
    // receiving. Setting `*abort` gives up a connect under way.
    virtual bool Connect(const std::string& host, std::uint16_t port,
                         const std::atomic<bool>* abort = nullptr);
    // Returns once the receiver has ended, or after 2000 ms.
    virtual void Disconnect();
    bool IsConnected() const override;
    // Writes the message and its zero byte; false when the send failed.
    bool Send(const Message& message);
    bool SendXml(std::string_view xml) override;

    // Turns one received document into a message, as the receiver thread does.
    // Null (after logging it) when the type is unknown.
    static std::unique_ptr<Message> Decode(std::string_view bytes);

private:
    void OnReceive(std::string_view bytes) override;
    void OnDisconnected(int code) override;

    Owner* owner_;
    std::size_t maxPending_;
    MessageFramer framer_;  // used on the receiver thread only
    bool dropped_ = false;  // likewise: the stream overflowed and is being dropped
    // Last, so it is destroyed first: its thread uses the members above.
    SocketReceiver receiver_;
};

}  // namespace vantor
