#include "PlayerModel.h"

#include <algorithm>

namespace vantor::server {

namespace {

template <class M>
std::unique_ptr<M> Make() {
    return std::make_unique<M>();
}

}  // namespace

PlayerModel::PlayerModel(const MediaLibrary& library, int queueLength)
    : library_(library), playingState_(PlayingState::Stopped), repeat_(RepeatState::Off) {
    for (const Track& track : library.Tracks()) {
        ratings_.push_back(track.rating);
        if (static_cast<int>(queue_.size()) < queueLength) {
            queue_.push_back(track.id);
        }
    }
    // Gains on the client's -100..100 scale.
    presets_ = {
        {"Flat", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"Rock", {50, 40, 30, 10, -10, -10, 10, 30, 40, 50}},
        {"Jazz", {30, 20, 10, 20, -10, -10, 0, 10, 20, 30}},
        {"Classical", {40, 30, 20, 10, -10, -10, 0, 20, 30, 40}},
        {"Pop", {-10, 10, 30, 40, 40, 30, 10, 0, -10, -10}},
        {"Bass Boost", {80, 60, 40, 20, 0, 0, 0, 0, 0, 0}},
    };
    eq_.enabled = false;
    eq_.autoLoad = true;
    eq_.preamp = 0;
    eq_.bands = presets_[0].bands;
    speakers_ = {{"living-room", "Living Room", true},
                 {"kitchen", "Kitchen", false},
                 {"patio", "Patio", false}};
}

const Track* PlayerModel::Current() const {
    if (queuePosition_ < 0 || static_cast<std::size_t>(queuePosition_) >= queue_.size()) {
        return nullptr;
    }
    return library_.Find(queue_[static_cast<std::size_t>(queuePosition_)]);
}

std::int32_t PlayerModel::CurrentRating() const {
    const Track* track = Current();
    return track ? ratings_[static_cast<std::size_t>(track->id - 1)] : -1;
}

Events PlayerModel::SetPlayingState(std::int32_t state) {
    Events events;
    if (state == PlayingState::Playing && Current() == nullptr) {
        state = PlayingState::Stopped;  // nothing to play
    }
    if (state != playingState_) {
        playingState_ = state;
        auto event = Make<PlayingStateChangedEvent>();
        event->playingState = state;
        events.push_back(std::move(event));
    }
    return events;
}

Events PlayerModel::Play() {
    return SetPlayingState(PlayingState::Playing);
}

Events PlayerModel::Pause() {
    return playingState_ == PlayingState::Stopped ? Events{}
                                                  : SetPlayingState(PlayingState::Paused);
}

Events PlayerModel::PlayPause() {
    return playingState_ == PlayingState::Playing ? Pause() : Play();
}

Events PlayerModel::Stop() {
    Events events = SetPlayingState(PlayingState::Stopped);
    if (playbackPosition_ != 0) {
        playbackPosition_ = 0;
        AddPositionEvent(events);
    }
    return events;
}

Events PlayerModel::FastForward() {
    return Current() ? SetPlayingState(PlayingState::FastForwarding) : Events{};
}

Events PlayerModel::Rewind() {
    return Current() ? SetPlayingState(PlayingState::Rewinding) : Events{};
}

Events PlayerModel::Next() {
    Events events;
    Advance(1, true, events);
    return events;
}

Events PlayerModel::Previous() {
    Events events;
    // Like most players: back to the start of the song unless it has barely begun.
    if (playbackPosition_ > 3) {
        playbackPosition_ = 0;
        AddPositionEvent(events);
        return events;
    }
    Advance(-1, true, events);
    return events;
}

bool PlayerModel::Advance(int step, bool byUser, Events& events) {
    if (queue_.empty()) {
        return false;
    }
    const auto size = static_cast<std::int32_t>(queue_.size());
    if (repeat_ == RepeatState::One && !byUser) {
        playbackPosition_ = 0;
        AddQueueEvents(events);
        return true;
    }
    if (shuffle_ && order_.size() != queue_.size()) {
        Reshuffle();
    }
    // Steps go through the playing order: the queue's, or the shuffled one.
    std::int32_t at = queuePosition_;
    if (shuffle_) {
        at = static_cast<std::int32_t>(std::find(order_.begin(), order_.end(), queuePosition_) -
                                       order_.begin());
    }
    std::int32_t next = at + step;
    if (next >= size || next < 0) {
        if (repeat_ == RepeatState::Off) {
            if (next < 0) {
                // Before the first song: that song again, from its start.
                playbackPosition_ = 0;
                AddPositionEvent(events);
                return true;
            }
            // The end of the queue: stop at its first song.
            queuePosition_ = 0;
            playbackPosition_ = 0;
            Reshuffle();
            auto stopped = SetPlayingState(PlayingState::Stopped);
            std::move(stopped.begin(), stopped.end(), std::back_inserter(events));
            AddQueueEvents(events);
            return false;
        }
        next = (next + size) % size;
    }
    queuePosition_ = shuffle_ ? order_[static_cast<std::size_t>(next)] : next;
    playbackPosition_ = 0;
    AddQueueEvents(events);
    return true;
}

void PlayerModel::Reshuffle() {
    order_.clear();
    if (!shuffle_) {
        return;
    }
    const auto size = static_cast<std::int32_t>(queue_.size());
    for (std::int32_t i = 0; i < size; ++i) {
        if (i != queuePosition_) {
            order_.push_back(i);
        }
    }
    std::shuffle(order_.begin(), order_.end(), random_);
    if (queuePosition_ < size) {
        order_.insert(order_.begin(), queuePosition_);
    }
}

void PlayerModel::AddPositionEvent(Events& events) const {
    auto event = Make<PlayPositionChangedEvent>();
    event->playbackPosition = playbackPosition_;
    events.push_back(std::move(event));
}

void PlayerModel::AddQueueEvents(Events& events) const {
    auto position = Make<PlaylistPositionChangedEvent>();
    position->playlistPosition = queuePosition_;
    events.push_back(std::move(position));
    AddMediaEvents(events);
}

void PlayerModel::AddMediaEvents(Events& events) const {
    auto media = Make<CurrentMediaChangedEvent>();
    if (const Track* track = Current()) {
        media->type = MediaType::Music;
        media->artist = track->artist;
        media->album = track->album;
        media->title = track->title;
        media->length = track->length;
        media->rating = CurrentRating();
    }
    events.push_back(std::move(media));
    events.push_back(Make<AlbumArtChangedEvent>());
    AddPositionEvent(events);
}

Events PlayerModel::SetVolume(std::int32_t volume) {
    Events events;
    volume = std::clamp(volume, 0, 100);
    if (volume != volume_) {
        volume_ = volume;
        auto event = Make<VolumeChangedEvent>();
        event->volume = volume;
        events.push_back(std::move(event));
    }
    return events;
}

bool PlayerModel::SetPlaybackPosition(std::int32_t seconds, Events& events) {
    const Track* track = Current();
    if (track == nullptr || seconds < 0 || seconds > track->length) {
        return false;
    }
    playbackPosition_ = seconds;
    AddPositionEvent(events);
    return true;
}

bool PlayerModel::SetQueuePosition(std::int32_t position, Events& events) {
    if (position < 0 || static_cast<std::size_t>(position) >= queue_.size()) {
        return false;
    }
    queuePosition_ = position;
    playbackPosition_ = 0;
    Reshuffle();
    AddQueueEvents(events);
    return true;
}

Events PlayerModel::SetShuffle(bool shuffle) {
    Events events;
    if (shuffle != shuffle_) {
        shuffle_ = shuffle;
        Reshuffle();
        auto event = Make<ShuffleStateChangedEvent>();
        event->shuffleState = shuffle;
        events.push_back(std::move(event));
    }
    return events;
}

Events PlayerModel::SetRepeat(std::int32_t repeat) {
    Events events;
    repeat = std::clamp(repeat, RepeatState::Off, RepeatState::All);
    if (repeat != repeat_) {
        repeat_ = repeat;
        auto event = Make<RepeatStateChangedEvent>();
        event->repeatState = repeat;
        events.push_back(std::move(event));
    }
    return events;
}

bool PlayerModel::SetRating(std::int32_t rating, Events& events) {
    const Track* track = Current();
    if (track == nullptr || rating < 0 || rating > 100) {
        return false;
    }
    ratings_[static_cast<std::size_t>(track->id - 1)] = rating;
    AddMediaEvents(events);
    return true;
}

Events PlayerModel::SetEq(const EqSettings& eq) {
    Events events;
    if (!(eq == eq_)) {
        eq_ = eq;
        auto event = Make<EqChangedEvent>();
        event->eq = eq_;
        events.push_back(std::move(event));
    }
    return events;
}

bool PlayerModel::SetEqPreset(const std::string& name, Events& events) {
    for (const EqPreset& preset : presets_) {
        if (preset.name == name) {
            EqSettings eq = eq_;
            eq.enabled = true;
            eq.bands = preset.bands;
            auto changed = SetEq(eq);
            std::move(changed.begin(), changed.end(), std::back_inserter(events));
            return true;
        }
    }
    return false;
}

Events PlayerModel::SetFullScreen(bool enabled) {
    fullScreen_ = enabled;
    return {};
}

bool PlayerModel::SelectSpeaker(const std::string& id, Events& events) {
    const auto found = std::find_if(speakers_.begin(), speakers_.end(),
                                    [&](const Speaker& speaker) { return speaker.id == id; });
    if (found == speakers_.end()) {
        return false;
    }
    for (Speaker& speaker : speakers_) {
        speaker.enabled = speaker.id == id;
    }
    auto event = Make<SpeakerListChangedEvent>();
    event->speakers = speakers_;
    events.push_back(std::move(event));
    return true;
}

bool PlayerModel::EnableSpeaker(const std::string& id, bool enabled, Events& events) {
    for (Speaker& speaker : speakers_) {
        if (speaker.id == id) {
            speaker.enabled = enabled;
            auto event = Make<SpeakerListChangedEvent>();
            event->speakers = speakers_;
            events.push_back(std::move(event));
            return true;
        }
    }
    return false;
}

bool PlayerModel::PlayNow(const std::vector<std::int32_t>& songs, std::int32_t startingItem,
                          Events& events) {
    if (songs.empty()) {
        return false;
    }
    queue_ = songs;
    queuePosition_ = std::clamp<std::int32_t>(startingItem < 0 ? 0 : startingItem, 0,
                                              static_cast<std::int32_t>(songs.size()) - 1);
    playbackPosition_ = 0;
    Reshuffle();
    events.push_back(Make<PlaylistChangedEvent>());
    AddQueueEvents(events);
    auto playing = SetPlayingState(PlayingState::Playing);
    std::move(playing.begin(), playing.end(), std::back_inserter(events));
    return true;
}

bool PlayerModel::Add(const std::vector<std::int32_t>& songs, std::int32_t position,
                      Events& events) {
    if (songs.empty() || position < -1 || position > static_cast<std::int32_t>(queue_.size())) {
        return false;
    }
    const auto at = position == -1 ? queue_.end() : queue_.begin() + position;
    const bool before = position != -1 && position <= queuePosition_ && !queue_.empty();
    queue_.insert(at, songs.begin(), songs.end());
    events.push_back(Make<PlaylistChangedEvent>());
    if (before) {
        queuePosition_ += static_cast<std::int32_t>(songs.size());
        auto moved = Make<PlaylistPositionChangedEvent>();
        moved->playlistPosition = queuePosition_;
        events.push_back(std::move(moved));
    }
    Reshuffle();
    return true;
}

bool PlayerModel::Remove(std::int32_t position, Events& events) {
    if (position < 0 || static_cast<std::size_t>(position) >= queue_.size()) {
        return false;
    }
    const bool current = position == queuePosition_;
    queue_.erase(queue_.begin() + position);
    events.push_back(Make<PlaylistChangedEvent>());
    if (position < queuePosition_) {
        --queuePosition_;
        auto moved = Make<PlaylistPositionChangedEvent>();
        moved->playlistPosition = queuePosition_;
        events.push_back(std::move(moved));
    } else if (current) {
        if (queuePosition_ >= static_cast<std::int32_t>(queue_.size())) {
            queuePosition_ = 0;
        }
        playbackPosition_ = 0;
        if (queue_.empty()) {
            auto stopped = SetPlayingState(PlayingState::Stopped);
            std::move(stopped.begin(), stopped.end(), std::back_inserter(events));
        }
        AddQueueEvents(events);
    }
    Reshuffle();
    return true;
}

bool PlayerModel::Move(std::int32_t from, std::int32_t to, Events& events) {
    const auto size = static_cast<std::int32_t>(queue_.size());
    if (from < 0 || from >= size || to < 0 || to >= size) {
        return false;
    }
    const std::int32_t song = queue_[static_cast<std::size_t>(from)];
    queue_.erase(queue_.begin() + from);
    queue_.insert(queue_.begin() + to, song);
    events.push_back(Make<PlaylistChangedEvent>());
    std::int32_t position = queuePosition_;
    if (from == queuePosition_) {
        position = to;
    } else if (from < queuePosition_ && to >= queuePosition_) {
        --position;
    } else if (from > queuePosition_ && to <= queuePosition_) {
        ++position;
    }
    if (position != queuePosition_) {
        queuePosition_ = position;
        auto moved = Make<PlaylistPositionChangedEvent>();
        moved->playlistPosition = queuePosition_;
        events.push_back(std::move(moved));
    }
    Reshuffle();
    return true;
}

Events PlayerModel::Clear() {
    queue_.clear();
    queuePosition_ = 0;
    playbackPosition_ = 0;
    Reshuffle();
    Events events = SetPlayingState(PlayingState::Stopped);
    events.push_back(Make<PlaylistChangedEvent>());
    AddQueueEvents(events);
    return events;
}

Events PlayerModel::Tick() {
    Events events;
    const Track* track = Current();
    if (track == nullptr) {
        return events;
    }
    int step = 0;
    switch (playingState_) {
        case PlayingState::Playing:
            step = 1;
            break;
        case PlayingState::FastForwarding:
            step = 5;
            break;
        case PlayingState::Rewinding:
            step = -5;
            break;
        default:
            return events;
    }
    playbackPosition_ = std::max(0, playbackPosition_ + step);
    if (playbackPosition_ >= track->length) {
        Advance(1, false, events);
        return events;
    }
    AddPositionEvent(events);
    return events;
}

}  // namespace vantor::server
