#pragma once

// What the server knows of a desktop media player on the session bus
// (MPRIS), in the protocol's terms: its state, the track it has loaded, its
// track list and playlists where it has them, and what it lets a remote do.
// The bus thread keeps one view per player and hands a copy of the driven
// player's view to the server loop whenever it changes; the lists inside are
// shared and never changed once made, so a copy is cheap.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "protocol/Messages.h"

namespace vantor::server::mpris {

// A track as the player's Metadata describes it.
struct Track {
    std::string id;  // mpris:trackid; empty when the player gave none
    std::string title;
    std::string artist;
    std::string album;
    std::string url;           // xesam:url
    std::string artUrl;        // mpris:artUrl
    std::int32_t length = -1;  // seconds; -1 when unknown
    // The player gave no title, so the file's name stands in: it may not
    // have read the file's tags yet.
    bool untitled = false;

    bool operator==(const Track&) const = default;
};

struct Playlist {
    std::string id;  // its object path
    std::string name;

    bool operator==(const Playlist&) const = default;
};

// The Can* properties: what the player lets a remote do.
struct Abilities {
    bool control = false;
    bool play = false;
    bool pause = false;
    bool next = false;
    bool previous = false;
    bool seek = false;

    bool operator==(const Abilities&) const = default;
};

using Clock = std::chrono::steady_clock;

struct PlayerView {
    std::string busName;  // empty: no player to drive
    std::string identity;
    std::int32_t playingState = PlayingState::Stopped;
    std::optional<Track> track;  // none when nothing is loaded
    // The last reading of Position and when it was taken; between readings
    // the position moves at `rate` while playing.
    std::int64_t positionUs = 0;
    Clock::time_point positionAt{};
    double rate = 1.0;
    std::int32_t volume = -1;  // 0..100; -1 when the player has none
    std::optional<bool> shuffle;
    std::optional<std::int32_t> repeat;  // RepeatState; none when the player has no LoopStatus
    Abilities can;
    // SupportedUriSchemes: what OpenUri may be given.
    std::vector<std::string> uriSchemes;
    bool hasTrackList = false;
    std::shared_ptr<const std::vector<Track>> tracks;  // the TrackList's, in order
    bool hasPlaylists = false;
    std::shared_ptr<const std::vector<Playlist>> playlists;
    // Every player that may be driven, as speakers: the driven one enabled.
    std::vector<Speaker> players;
    // How many signals about its state the player has sent: a new one shows
    // it is alive again after leaving a command unanswered.
    std::uint64_t signalled = 0;
};

}  // namespace vantor::server::mpris
