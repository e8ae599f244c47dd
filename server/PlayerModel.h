#pragma once

// The simulated player behind vantor-server: transport, play queue, volume,
// positions, shuffle, repeat, ratings, equaliser, speakers and video mode.
// Every operation changes the state and returns the events that tell the
// clients what changed; the server pushes them to every client.
//
// Not thread-safe: the server's one loop thread owns it.

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "MediaLibrary.h"
#include "PlayerBackend.h"
#include "protocol/Messages.h"

namespace vantor::server {

struct EqPreset {
    std::string name;
    std::array<std::int32_t, EqSettings::kBands> bands;
};

class PlayerModel {
public:
    // Starts stopped at the first of the queue, which holds the library's
    // first `queueLength` songs.
    explicit PlayerModel(const MediaLibrary& library, int queueLength = 25);

    // State as the protocol reports it.
    std::int32_t PlayingState() const { return playingState_; }
    std::int32_t Volume() const { return volume_; }
    std::int32_t QueuePosition() const { return queuePosition_; }
    std::int32_t PlaybackPosition() const { return playbackPosition_; }
    bool Shuffle() const { return shuffle_; }
    std::int32_t Repeat() const { return repeat_; }
    const EqSettings& Eq() const { return eq_; }
    const std::vector<Speaker>& Speakers() const { return speakers_; }
    bool FullScreen() const { return fullScreen_; }
    const std::vector<std::int32_t>& Queue() const { return queue_; }
    const std::vector<EqPreset>& Presets() const { return presets_; }
    // The song playing (or to play); null when the queue is empty.
    const Track* Current() const;
    std::int32_t CurrentRating() const;

    Events Play();
    Events Pause();
    Events PlayPause();
    Events Stop();
    Events FastForward();
    Events Rewind();
    // Through the queue in its order, or in the shuffled one; past either
    // end only when repeating (the last song's Next stops at the first, the
    // first song's Previous starts it again).
    Events Next();
    Events Previous();
    Events SetVolume(std::int32_t volume);  // clamped to 0..100
    // False (and nothing changes) when the position is out of range.
    bool SetPlaybackPosition(std::int32_t seconds, Events& events);
    // Makes the entry current; playing or not stays as it is.
    bool SetQueuePosition(std::int32_t position, Events& events);
    Events SetShuffle(bool shuffle);
    Events SetRepeat(std::int32_t repeat);
    bool SetRating(std::int32_t rating, Events& events);  // 0..100
    Events SetEq(const EqSettings& eq);
    bool SetEqPreset(const std::string& name, Events& events);
    Events SetFullScreen(bool enabled);
    bool SelectSpeaker(const std::string& id, Events& events);  // the only one enabled
    bool EnableSpeaker(const std::string& id, bool enabled, Events& events);

    // Replaces the queue and plays from `startingItem`.
    bool PlayNow(const std::vector<std::int32_t>& songs, std::int32_t startingItem, Events& events);
    // Inserts at `position` (-1: at the end).
    bool Add(const std::vector<std::int32_t>& songs, std::int32_t position, Events& events);
    bool Remove(std::int32_t position, Events& events);
    bool Move(std::int32_t from, std::int32_t to, Events& events);
    Events Clear();

    // One second of playback: the position moves on and, at the end of a
    // song, the next one starts.
    Events Tick();

    // Events for the current song: what plays, its art, its position.
    void AddMediaEvents(Events& events) const;

private:
    Events SetPlayingState(std::int32_t state);
    void AddPositionEvent(Events& events) const;
    void AddQueueEvents(Events& events) const;
    bool Advance(int step, bool byUser, Events& events);
    // Draws a new shuffled order that starts at the current entry (when
    // shuffling).
    void Reshuffle();

    const MediaLibrary& library_;
    std::vector<std::int32_t> queue_;    // song ids
    std::vector<std::int32_t> ratings_;  // by song id - 1, starting from the library's
    std::int32_t playingState_;
    std::int32_t volume_ = 50;
    std::int32_t queuePosition_ = 0;
    std::int32_t playbackPosition_ = 0;
    bool shuffle_ = false;
    // While shuffling: every queue position once, in the order they play.
    std::vector<std::int32_t> order_;
    std::mt19937 random_;
    std::int32_t repeat_;
    EqSettings eq_;
    std::vector<EqPreset> presets_;
    std::vector<Speaker> speakers_;
    bool fullScreen_ = false;
};

}  // namespace vantor::server
