#include "net/XmlChannel.h"

#include "core/Logger.h"
#include "net/Ports.h"
#include "protocol/MessageFactory.h"
#include "protocol/XmlReader.h"

namespace vantor {

XmlChannel::XmlChannel(Owner* owner, std::size_t maxPending)
    : owner_(owner), maxPending_(maxPending), framer_(maxPending), receiver_(kThreadName) {}

XmlChannel::~XmlChannel() = default;  // the receiver stops and waits first

bool XmlChannel::Connect(const std::string& host, std::uint16_t port,
                         const std::atomic<bool>* abort) {
    receiver_.Disconnect();
    // A new connection is a new stream: nothing held from the last one may
    // end up in front of its first message.
    framer_.Reset();
    dropped_ = false;
    return receiver_.Connect(host, port == 0 ? kMessagePort : port, this, abort);
}

void XmlChannel::Disconnect() {
    receiver_.Disconnect();
}

bool XmlChannel::IsConnected() const {
    return receiver_.IsConnected();
}

bool XmlChannel::Send(const Message& message) {
    return SendXml(message.ToXml());
}

bool XmlChannel::SendXml(std::string_view xml) {
    std::string bytes(xml);
    bytes.push_back('\0');
    return receiver_.Send(bytes);
}

std::unique_ptr<Message> XmlChannel::Decode(std::string_view bytes) {
    // A zero byte the scan passed over may lead the text; it is no part of it.
    while (!bytes.empty() && bytes.front() == '\0') {
        bytes.remove_prefix(1);
    }
    const std::string text = RemoveProcessingInstructionsAndComments(bytes);
    auto message = MessageFactory::Create(MessageTypeFromName(RootName(text)));
    if (!message) {
        Log(kLogError, "ERROR: Could not deserialize message: %s", text.c_str());
        return nullptr;
    }
    message->FromXml(text);
    return message;
}

void XmlChannel::OnReceive(std::string_view bytes) {
    if (dropped_) {
        return;  // what is still buffered after a drop belongs to no message
    }
    const bool fits = framer_.Feed(bytes, [this](std::string_view document) {
        if (auto message = Decode(document)) {
            owner_->OnMessage(std::move(message));
        }
    });
    if (!fits) {
        Log(kLogError, "ERROR: Message from server exceeds %zu bytes; dropping the connection",
            maxPending_);
        dropped_ = true;
        receiver_.Drop();
    }
}

void XmlChannel::OnDisconnected(int code) {
    owner_->OnDisconnected(code);
}

}  // namespace vantor
