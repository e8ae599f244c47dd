#pragma once

// The client's copy of the desktop player's state, as events and responses
// from the server leave it. Its only writer is the channel's receiver
// thread; the user interface reads copies handed to it by the listener.

#include <cstdint>
#include <string>

#include "protocol/PlayerMessages.h"

namespace vantor {

struct CurrentMedia {
    MediaType type = MediaType::Undefined;
    std::string title;
    std::string artist;
    std::string album;
    std::int32_t length = -1;  // seconds; -1 unknown
    std::int32_t rating = -1;  // -1 unknown

    bool operator==(const CurrentMedia&) const = default;
};

struct PlayerState {
    std::int32_t playingState = PlayingState::Stopped;
    std::int32_t volume = -1;
    std::int32_t playlistPosition = -1;
    std::int32_t playbackPosition = -1;
    bool shuffle = false;
    std::int32_t repeat = RepeatState::Off;
    EqSettings eq;
    CurrentMedia media;
    bool supportsEq = false;
    bool supportsMultipleSpeakers = false;
};

}  // namespace vantor
