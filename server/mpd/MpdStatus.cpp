#include "MpdStatus.h"

#include <mpd/client.h>

#include <algorithm>

namespace vantor::server::mpd {

namespace {

std::int32_t PlayingStateOf(mpd_state state) {
    switch (state) {
        case MPD_STATE_PLAY:
            return PlayingState::Playing;
        case MPD_STATE_PAUSE:
            return PlayingState::Paused;
        default:
            return PlayingState::Stopped;
    }
}

// Adds an event of this type, with `set` filling it in.
template <class Event, class Set>
void Push(Events& events, Set set) {
    auto event = std::make_unique<Event>();
    set(*event);
    events.push_back(std::move(event));
}

}  // namespace

State StateOf(const mpd_status* status) {
    State state;
    PlayerStatus& player = state.player;
    player.playingState = PlayingStateOf(mpd_status_get_state(status));
    player.volume = mpd_status_get_volume(status);
    player.queueLength = static_cast<std::int32_t>(mpd_status_get_queue_length(status));
    player.queuePosition = std::max(mpd_status_get_song_pos(status), 0);
    player.playbackPosition = player.playingState == PlayingState::Stopped
                                  ? 0
                                  : static_cast<std::int32_t>(mpd_status_get_elapsed_time(status));
    player.shuffle = mpd_status_get_random(status);
    player.repeat = !mpd_status_get_repeat(status)  ? RepeatState::Off
                    : mpd_status_get_single(status) ? RepeatState::One
                                                    : RepeatState::All;
    state.songId = mpd_status_get_song_id(status);
    state.queueVersion = mpd_status_get_queue_version(status);
    return state;
}

bool SongChanged(const std::optional<State>& before, const State& next) {
    return !before || before->songId != next.songId;
}

void AppendStatusEvents(const std::optional<State>& before, const State& next, Events& events) {
    const bool all = !before;
    const bool song = SongChanged(before, next);
    const PlayerStatus was = before ? before->player : PlayerStatus{};
    const PlayerStatus& is = next.player;
    if (all || before->queueVersion != next.queueVersion) {
        events.push_back(std::make_unique<PlaylistChangedEvent>());
    }
    if (all || was.playingState != is.playingState) {
        Push<PlayingStateChangedEvent>(events, [&](auto& e) { e.playingState = is.playingState; });
    }
    if (song || was.queuePosition != is.queuePosition) {
        Push<PlaylistPositionChangedEvent>(events,
                                           [&](auto& e) { e.playlistPosition = is.queuePosition; });
    }
    if (song) {
        events.push_back(SongEvent(is.current));
        events.push_back(std::make_unique<AlbumArtChangedEvent>());
    }
    if (song || was.playbackPosition != is.playbackPosition) {
        Push<PlayPositionChangedEvent>(events,
                                       [&](auto& e) { e.playbackPosition = is.playbackPosition; });
    }
    if ((all || was.volume != is.volume) && is.volume >= 0) {
        Push<VolumeChangedEvent>(events, [&](auto& e) { e.volume = is.volume; });
    }
    if (all || was.shuffle != is.shuffle) {
        Push<ShuffleStateChangedEvent>(events, [&](auto& e) { e.shuffleState = is.shuffle; });
    }
    if (all || was.repeat != is.repeat) {
        Push<RepeatStateChangedEvent>(events, [&](auto& e) { e.repeatState = is.repeat; });
    }
}

std::unique_ptr<CurrentMediaChangedEvent> SongEvent(const std::optional<LibraryEntry>& current) {
    auto media = std::make_unique<CurrentMediaChangedEvent>();
    if (current) {
        media->type = MediaType::Music;
        media->artist = current->artist;
        media->album = current->album;
        media->title = current->title;
        media->length = current->length;
        media->rating = current->rating;
    }
    return media;
}

}  // namespace vantor::server::mpd
