#pragma once

#include <cstdint>
#include <memory>

#include "protocol/Message.h"

namespace vantor {

// Turns a type id into a new, empty message of its class, owned by the
// caller. Only the types the client can send or understands are made; for
// any other id (Ping*, PlayerStateChangedEvent, the buttons, radio and
// slide-show messages, the unhandled library responses, media readers,
// anything from 150 up) Create returns null and the message counts as
// unknown.
class MessageFactory {
public:
    static std::unique_ptr<Message> Create(std::uint32_t id);
    static std::unique_ptr<Message> Create(MessageType type) {
        return Create(static_cast<std::uint32_t>(type));
    }
};

}  // namespace vantor
