#include "SimulatedBackend.h"

#include <algorithm>

#include "AlbumArtImage.h"

namespace vantor::server {

namespace {

constexpr std::size_t kCachedFolders = 16;

template <class T, class M>
void Append(T& to, M&& from) {
    std::move(from.begin(), from.end(), std::back_inserter(to));
}

ResultCode Outcome(bool ok, ResultCode failure) {
    return ok ? kSuccess : failure;
}

LibraryEntry EntryOf(const Track& track, std::int32_t rating) {
    return TrackEntry("/Music/Songs", track, rating);
}

}  // namespace

SimulatedBackend::SimulatedBackend(std::shared_ptr<const MediaLibrary> library, int queueLength)
    : library_(std::move(library)), player_(*library_, queueLength) {}

PlayerStatus SimulatedBackend::Status() {
    PlayerStatus status;
    status.playingState = player_.PlayingState();
    status.volume = player_.Volume();
    status.queuePosition = player_.QueuePosition();
    status.queueLength = static_cast<std::int32_t>(player_.Queue().size());
    status.playbackPosition = player_.PlaybackPosition();
    status.shuffle = player_.Shuffle();
    status.repeat = player_.Repeat();
    if (const Track* track = player_.Current()) {
        status.current = EntryOf(*track, player_.CurrentRating());
    }
    return status;
}

ResultCode SimulatedBackend::Transport(TransportCommand command, Events& events) {
    switch (command) {
        case TransportCommand::Play:
            Append(events, player_.Play());
            break;
        case TransportCommand::Pause:
            Append(events, player_.Pause());
            break;
        case TransportCommand::PlayPause:
            Append(events, player_.PlayPause());
            break;
        case TransportCommand::Stop:
            Append(events, player_.Stop());
            break;
        case TransportCommand::FastForward:
            Append(events, player_.FastForward());
            break;
        case TransportCommand::Rewind:
            Append(events, player_.Rewind());
            break;
        case TransportCommand::Next:
            Append(events, player_.Next());
            break;
        case TransportCommand::Previous:
            Append(events, player_.Previous());
            break;
    }
    return kSuccess;
}

ResultCode SimulatedBackend::SetVolume(std::int32_t volume, Events& events) {
    Append(events, player_.SetVolume(volume));
    return kSuccess;
}

ResultCode SimulatedBackend::SetPlaybackPosition(std::int32_t seconds, Events& events) {
    return Outcome(player_.SetPlaybackPosition(seconds, events), kBadParameter);
}

ResultCode SimulatedBackend::SetQueuePosition(std::int32_t position, Events& events) {
    if (!player_.SetQueuePosition(position, events)) {
        return kBadParameter;
    }
    Append(events, player_.Play());
    return kSuccess;
}

ResultCode SimulatedBackend::SetShuffle(bool shuffle, Events& events) {
    Append(events, player_.SetShuffle(shuffle));
    return kSuccess;
}

ResultCode SimulatedBackend::SetRepeat(std::int32_t repeat, Events& events) {
    Append(events, player_.SetRepeat(repeat));
    return kSuccess;
}

ResultCode SimulatedBackend::SetRating(std::int32_t rating, Events& events) {
    return Outcome(player_.SetRating(rating, events), kBadParameter);
}

ResultCode SimulatedBackend::GetEq(EqSettings* eq) {
    *eq = player_.Eq();
    return kSuccess;
}

ResultCode SimulatedBackend::SetEq(const EqSettings& eq, Events& events) {
    Append(events, player_.SetEq(eq));
    return kSuccess;
}

ResultCode SimulatedBackend::EqPresets(std::vector<std::string>* names) {
    for (const EqPreset& preset : player_.Presets()) {
        names->push_back(preset.name);
    }
    return kSuccess;
}

ResultCode SimulatedBackend::SetEqPreset(const std::string& name, Events& events) {
    return Outcome(player_.SetEqPreset(name, events), kNotFound);
}

ResultCode SimulatedBackend::GetFullScreen(bool* enabled) {
    *enabled = player_.FullScreen();
    return kSuccess;
}

ResultCode SimulatedBackend::SetFullScreen(bool enabled, Events& events) {
    Append(events, player_.SetFullScreen(enabled));
    return kSuccess;
}

ResultCode SimulatedBackend::Speakers(std::vector<Speaker>* speakers) {
    *speakers = player_.Speakers();
    return kSuccess;
}

ResultCode SimulatedBackend::SelectSpeaker(const std::string& id, Events& events) {
    return Outcome(player_.SelectSpeaker(id, events), kNotFound);
}

ResultCode SimulatedBackend::EnableSpeaker(const std::string& id, bool enabled, Events& events) {
    return Outcome(player_.EnableSpeaker(id, enabled, events), kNotFound);
}

std::vector<std::int32_t> SimulatedBackend::Select(const MediaSelector& selector) const {
    const MediaLibrary& library = *library_;
    if (selector.id != -1) {
        return library.Find(selector.id) ? std::vector<std::int32_t>{selector.id}
                                         : std::vector<std::int32_t>{};
    }
    if (!selector.path.empty()) {
        return library.SongsAt(selector.path);
    }
    if (!selector.libPath.empty()) {
        return library.SongsAt(selector.libPath);
    }
    std::vector<std::int32_t> songs;
    for (const Track& track : library.Tracks()) {
        const auto matches = [](const std::string& wanted, const std::string& value) {
            return wanted.empty() || wanted == value;
        };
        const bool any = selector.any.empty() ||
                         track.title.find(selector.any) != std::string::npos ||
                         track.artist.find(selector.any) != std::string::npos ||
                         track.album.find(selector.any) != std::string::npos;
        if (any && matches(selector.genre, track.genre) && matches(selector.artist, track.artist) &&
            matches(selector.album, track.album) && matches(selector.title, track.title)) {
            songs.push_back(track.id);
        }
    }
    return songs;
}

ResultCode SimulatedBackend::PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                                     Events& events) {
    return Outcome(player_.PlayNow(Select(selector), startingItem, events), kNotFound);
}

ResultCode SimulatedBackend::Add(const MediaSelector& selector, std::int32_t position,
                                 Events& events) {
    const auto songs = Select(selector);
    if (songs.empty()) {
        return kNotFound;
    }
    return Outcome(player_.Add(songs, position, events), kBadParameter);
}

ResultCode SimulatedBackend::Remove(std::int32_t position, Events& events) {
    return Outcome(player_.Remove(position, events), kBadParameter);
}

ResultCode SimulatedBackend::Move(std::int32_t from, std::int32_t to, Events& events) {
    return Outcome(player_.Move(from, to, events), kBadParameter);
}

ResultCode SimulatedBackend::Clear(Events& events) {
    Append(events, player_.Clear());
    return kSuccess;
}

ResultCode SimulatedBackend::QueuePage(std::int32_t start, std::int32_t count, ListPage* page) {
    const auto& queue = player_.Queue();
    page->total = queue.size();
    const std::size_t first = std::min<std::size_t>(std::max(start, 0), queue.size());
    std::size_t last = queue.size();
    if (count >= 0) {
        last = std::min(queue.size(), first + static_cast<std::size_t>(count));
    }
    for (std::size_t i = first; i < last; ++i) {
        if (const Track* track = library_->Find(queue[i])) {
            page->entries.push_back(EntryOf(*track, track->rating));
        }
    }
    return kSuccess;
}

ResultCode SimulatedBackend::AlbumArtPath(std::string* path) {
    const Track* track = player_.Current();
    if (track == nullptr) {
        return kNotFound;
    }
    *path = "/art/" + std::to_string(track->id) + ".png";
    return kSuccess;
}

ResultCode SimulatedBackend::UpdateLibrary(Events& events) {
    events.push_back(std::make_unique<MediaLibraryChangedEvent>());
    return kSuccess;
}

void SimulatedBackend::Tick(Events& events) {
    Append(events, player_.Tick());
}

std::shared_ptr<const std::vector<LibraryEntry>> SimulatedBackend::Folder(const std::string& path) {
    {
        std::lock_guard lock(cacheMutex_);
        for (auto it = cache_.begin(); it != cache_.end(); ++it) {
            if (it->first == path) {
                cache_.splice(cache_.begin(), cache_, it);
                return it->second;
            }
        }
    }
    auto entries = library_->Browse(path);
    if (!entries) {
        return nullptr;
    }
    auto shared = std::make_shared<const std::vector<LibraryEntry>>(std::move(*entries));
    std::lock_guard lock(cacheMutex_);
    cache_.emplace_front(path, shared);
    if (cache_.size() > kCachedFolders) {
        cache_.pop_back();
    }
    return shared;
}

ResultCode SimulatedBackend::Browse(const std::string& path, std::int32_t start, std::int32_t count,
                                    ListPage* page) {
    const auto entries = Folder(path.empty() ? "/" : path);
    if (!entries) {
        return kNotFound;
    }
    *page = PageOf(*entries, start, count);
    return kSuccess;
}

ResultCode SimulatedBackend::Search(const std::string& text, std::int32_t start, std::int32_t count,
                                    ListPage* page) {
    *page = PageOf(library_->Search(text), start, count);
    page->index.clear();
    return kSuccess;
}

ResultCode SimulatedBackend::Item(std::int32_t id, const std::string& path, LibraryEntry* entry) {
    std::vector<std::int32_t> songs;
    if (id != -1) {
        songs.push_back(id);
    } else {
        songs = library_->SongsAt(path);
    }
    const Track* track = songs.size() == 1 ? library_->Find(songs[0]) : nullptr;
    if (track == nullptr) {
        return kNotFound;
    }
    *entry = EntryOf(*track, track->rating);
    return kSuccess;
}

ResultCode SimulatedBackend::AlbumArt(std::int32_t id, std::string* bytes, std::string* type) {
    const Track* track = library_->Find(id);
    if (track == nullptr) {
        return kNotFound;
    }
    *bytes = AlbumArtPng(track->album);
    *type = "image/png";
    return kSuccess;
}

}  // namespace vantor::server
