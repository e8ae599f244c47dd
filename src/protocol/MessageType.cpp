#include "protocol/MessageType.h"

#include <array>

namespace vantor {

namespace {

constexpr std::array<std::string_view, kMessageTypeCount> kNames = {
#define VANTOR_MESSAGE_TYPE_NAME(name) #name,
    VANTOR_MESSAGE_TYPES(VANTOR_MESSAGE_TYPE_NAME)
#undef VANTOR_MESSAGE_TYPE_NAME
};

constexpr MessageKind KindOfName(std::string_view name) {
    if (name.ends_with("Request")) {
        return MessageKind::Request;
    }
    if (name.ends_with("Response")) {
        return MessageKind::Response;
    }
    if (name.ends_with("Event")) {
        return MessageKind::Event;
    }
    return MessageKind::None;
}

constexpr std::array<MessageKind, kMessageTypeCount> kKinds = [] {
    std::array<MessageKind, kMessageTypeCount> kinds{};
    for (std::size_t id = 0; id < kMessageTypeCount; ++id) {
        kinds[id] = KindOfName(kNames[id]);
    }
    return kinds;
}();

static_assert(kNames[static_cast<std::size_t>(MessageType::MediaLibraryChangedEvent)] ==
              "MediaLibraryChangedEvent");
static_assert(kKinds[static_cast<std::size_t>(MessageType::UnrecognizedRequest)] ==
              MessageKind::Request);

}  // namespace

std::string_view MessageTypeName(std::uint32_t id) {
    return id < kMessageTypeCount ? kNames[id] : std::string_view{};
}

MessageType MessageTypeFromName(std::string_view name) {
    for (std::uint32_t id = 0; id < kMessageTypeCount; ++id) {
        if (kNames[id] == name) {
            return static_cast<MessageType>(id);
        }
    }
    return MessageType::Undefined;
}

MessageKind KindOf(MessageType type) {
    const auto id = static_cast<std::uint32_t>(type);
    return id < kMessageTypeCount ? kKinds[id] : MessageKind::None;
}

}  // namespace vantor
