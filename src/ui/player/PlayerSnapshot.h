#pragma once

// What the window knows of the remote player, for whatever follows it from
// outside the window (the desktop's media controls). The window hands a
// new snapshot to its watchers after every change it shows.
//
// Threads: the window's thread only.

#include <cstdint>
#include <functional>
#include <string>

#include "protocol/PlayerMessages.h"
#include "session/PlayerState.h"

namespace vantor::ui {

struct PlayerSnapshot {
    bool connected = false;  // a session runs
    std::int32_t playingState = PlayingState::Stopped;
    std::int32_t volume = -1;      // percent; -1 unknown
    std::int64_t positionMs = -1;  // -1 unknown
    bool shuffle = false;
    std::int32_t repeat = RepeatState::Off;
    CurrentMedia media;     // title, artist, album, length (s), rating
    std::string artUrl;     // where the server serves the song's art; empty: none known
    std::string artFile;    // the art downloaded for the window; empty until it is
    std::int64_t song = 0;  // counts the songs shown, so a change of song can be told
    bool seeked = false;    // this change is a jump of the position (not its running)
};

using PlayerWatcher = std::function<void(const PlayerSnapshot&)>;

}  // namespace vantor::ui
