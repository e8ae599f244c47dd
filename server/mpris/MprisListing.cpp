// What the player lists (its queue, its playlists, the tracks it has
// shown) as the library's folders and entries. Read from any thread, under
// the backend's lock.
#include <algorithm>

#include "core/Text.h"
#include "mpris/MprisBackend.h"
#include "mpris/MprisConvert.h"

namespace vantor::server::mpris {

namespace {

constexpr std::size_t kMaxKnown = 100000;

}  // namespace

std::int32_t MprisBackend::NumberOf(const std::string& busName, bool playlist,
                                    const std::string& target, LibraryEntry entry) {
    std::string key = busName + '\n' + (playlist ? "p" : "t") + '\n' + target + '\n' + entry.title +
                      '\n' + entry.artist + '\n' + entry.album;
    if (const auto found = numbers_.find(key); found != numbers_.end()) {
        return found->second;
    }
    if (known_.size() == kMaxKnown) {
        // Numbers are given out anew rather than without bound.
        known_.clear();
        numbers_.clear();
    }
    const auto number = static_cast<std::int32_t>(known_.size() + 1);
    entry.id = number;
    known_.push_back(Known{busName, playlist, target, std::move(entry)});
    numbers_.emplace(std::move(key), number);
    return number;
}

LibraryEntry MprisBackend::TrackEntryLocked(const Track& track) {
    LibraryEntry entry;
    entry.type = MediaType::Music;
    entry.title = track.title;
    entry.artist = track.artist;
    entry.album = track.album;
    entry.length = track.length;
    const std::string target = track.id.empty() ? track.url : track.id;
    entry.id = NumberOf(listed_.busName, false, target, entry);
    entry.path = "/" + std::to_string(entry.id);
    known_[static_cast<std::size_t>(entry.id - 1)].entry.path = entry.path;
    return entry;
}

std::vector<LibraryEntry> MprisBackend::QueueLocked() {
    std::vector<LibraryEntry> entries;
    if (listed_.hasTrackList && listed_.tracks && !listed_.tracks->empty()) {
        entries.reserve(listed_.tracks->size());
        for (const Track& track : *listed_.tracks) {
            entries.push_back(TrackEntryLocked(track));
        }
    } else if (listed_.track) {
        entries.push_back(TrackEntryLocked(*listed_.track));
    }
    return entries;
}

std::vector<LibraryEntry> MprisBackend::FolderLocked(const std::string& path, bool* found) {
    std::vector<LibraryEntry> entries;
    *found = true;
    if (path == "/" || path.empty()) {
        if (listed_.hasPlaylists) {
            entries.push_back(FolderEntry("/", "Playlists", MediaType::PlaylistFolder));
        } else if (listed_.track) {
            entries.push_back(TrackEntryLocked(*listed_.track));
        }
    } else if (path == "/Playlists" && listed_.hasPlaylists && listed_.playlists) {
        for (const Playlist& playlist : *listed_.playlists) {
            LibraryEntry entry;
            entry.type = MediaType::Playlist;
            entry.title = playlist.name;
            entry.path = "/Playlists/" + MediaLibrary::EscapeName(playlist.name);
            entry.id = NumberOf(listed_.busName, true, playlist.id, entry);
            entries.push_back(std::move(entry));
        }
    } else {
        *found = false;
    }
    return entries;
}

const MprisBackend::Known* MprisBackend::KnownLocked(std::int32_t id) const {
    if (id < 1 || static_cast<std::size_t>(id) > known_.size()) {
        return nullptr;
    }
    return &known_[static_cast<std::size_t>(id - 1)];
}

const MprisBackend::Known* MprisBackend::ResolveLocked(const MediaSelector& selector,
                                                       std::int32_t startingItem) {
    if (selector.id > 0) {
        return KnownLocked(selector.id);
    }
    const std::string& path = !selector.libPath.empty() ? selector.libPath : selector.path;
    if (path.empty()) {
        return nullptr;
    }
    bool folder = false;
    const std::vector<LibraryEntry> entries = FolderLocked(path, &folder);
    if (folder) {
        // A folder plays from the entry asked for.
        const std::size_t row = static_cast<std::size_t>(std::max(startingItem, 0));
        return row < entries.size() ? KnownLocked(entries[row].id) : nullptr;
    }
    // A row's own path: the folder's entries, or a number at the end.
    const std::size_t slash = path.rfind('/');
    bool parentFound = false;
    for (const LibraryEntry& entry :
         FolderLocked(path.substr(0, std::max<std::size_t>(slash, 1)), &parentFound)) {
        if (entry.path == path) {
            return KnownLocked(entry.id);
        }
    }
    const std::string last = path.substr(slash + 1);
    if (!last.empty() && last.size() < 10 &&
        std::all_of(last.begin(), last.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return KnownLocked(std::stoi(last));
    }
    return nullptr;
}

ResultCode MprisBackend::Browse(const std::string& path, std::int32_t start, std::int32_t count,
                                ListPage* page) {
    std::lock_guard lock(sharedMutex_);
    bool found = false;
    const std::vector<LibraryEntry> entries = FolderLocked(path, &found);
    if (!found) {
        return kNotFound;
    }
    *page = PageOf(entries, start, count);
    return kSuccess;
}

ResultCode MprisBackend::Search(const std::string& text, std::int32_t start, std::int32_t count,
                                ListPage* page) {
    const std::string wanted = ToLowerAscii(text);
    const auto matches = [&](const LibraryEntry& entry) {
        for (const std::string* field : {&entry.title, &entry.artist, &entry.album}) {
            if (ToLowerAscii(*field).find(wanted) != std::string::npos) {
                return true;
            }
        }
        return false;
    };
    std::lock_guard lock(sharedMutex_);
    std::vector<LibraryEntry> all = QueueLocked();
    bool found = false;
    for (LibraryEntry& entry : FolderLocked("/Playlists", &found)) {
        all.push_back(std::move(entry));
    }
    std::vector<LibraryEntry> results;
    for (LibraryEntry& entry : all) {
        const bool seen = std::any_of(results.begin(), results.end(),
                                      [&](const LibraryEntry& e) { return e.id == entry.id; });
        if (!seen && matches(entry)) {
            results.push_back(std::move(entry));
        }
    }
    *page = PageOf(results, start, count);
    return kSuccess;
}

ResultCode MprisBackend::Item(std::int32_t id, const std::string& path, LibraryEntry* entry) {
    std::lock_guard lock(sharedMutex_);
    MediaSelector selector;
    selector.id = id;
    selector.libPath = path;
    const Known* known = ResolveLocked(selector, -1);
    if (known == nullptr) {
        return kNotFound;
    }
    *entry = known->entry;
    return kSuccess;
}

ResultCode MprisBackend::AlbumArt(std::int32_t id, std::string* bytes, std::string* type) {
    std::string url;
    {
        std::lock_guard lock(sharedMutex_);
        if (!listed_.track || listed_.track->artUrl.empty() ||
            TrackEntryLocked(*listed_.track).id != id) {
            return kNotFound;  // only the driven player's current picture is served
        }
        url = listed_.track->artUrl;
    }
    Picture picture;
    if (art_.Get(url, &picture) != 0) {
        return kNotFound;
    }
    *bytes = std::move(picture.bytes);
    *type = std::move(picture.type);
    return kSuccess;
}

}  // namespace vantor::server::mpris
