#pragma once

// MPD's status as the player's state, and the events that tell clients how
// one status differs from the one before: a pure function, so the rules are
// tested without a daemon.

#include <memory>
#include <optional>

#include "PlayerBackend.h"

struct mpd_status;

namespace vantor::server::mpd {

struct State {
    PlayerStatus player;
    int songId = -1;  // MPD's queue id of the current song
    unsigned queueVersion = 0;
};

// What a status says. The current song is not in it (MPD tells it apart);
// the caller fills player.current.
State StateOf(const mpd_status* status);

// Whether the song is another one; always after a start or an outage (no
// `before`).
bool SongChanged(const std::optional<State>& before, const State& next);

// Appends the events for what changed from `before` to `next`. With no
// `before` (after a start or an outage) every value is news: the clients may
// have been told "stopped" meanwhile, and MPD may have come back with
// another queue.
void AppendStatusEvents(const std::optional<State>& before, const State& next, Events& events);

// The song now playing as the event that tells of it (an empty one when
// nothing plays).
std::unique_ptr<CurrentMediaChangedEvent> SongEvent(const std::optional<LibraryEntry>& current);

}  // namespace vantor::server::mpd
