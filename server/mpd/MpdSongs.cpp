#include "MpdSongs.h"

#include <mpd/client.h>

namespace vantor::server {

namespace {

std::string Tag(const mpd_song* song, mpd_tag_type tag) {
    const char* value = mpd_song_get_tag(song, tag, 0);
    return value ? value : "";
}

}  // namespace

std::int32_t MpdSongs::IdOf(const std::string& uri) {
    std::lock_guard lock(mutex_);
    const auto [found, added] = ids_.emplace(uri, static_cast<std::int32_t>(uris_.size() + 1));
    if (added) {
        uris_.push_back(uri);
    }
    return found->second;
}

std::string MpdSongs::UriOf(std::int32_t id) const {
    std::lock_guard lock(mutex_);
    if (id < 1 || static_cast<std::size_t>(id) > uris_.size()) {
        return {};
    }
    return uris_[static_cast<std::size_t>(id - 1)];
}

LibraryEntry MpdSongs::Entry(const mpd_song* song) {
    LibraryEntry entry;
    const std::string uri = mpd_song_get_uri(song);
    entry.id = IdOf(uri);
    entry.type = MediaType::Music;
    entry.title = Tag(song, MPD_TAG_TITLE);
    if (entry.title.empty()) {
        entry.title = Tag(song, MPD_TAG_NAME);
    }
    if (entry.title.empty()) {
        entry.title = uri.substr(uri.rfind('/') + 1);
    }
    entry.artist = Tag(song, MPD_TAG_ARTIST);
    entry.album = Tag(song, MPD_TAG_ALBUM);
    entry.genre = Tag(song, MPD_TAG_GENRE);
    const unsigned length = mpd_song_get_duration(song);
    entry.length = length > 0 ? static_cast<std::int32_t>(length) : -1;
    entry.path = "/Music/Songs/" + std::to_string(entry.id);
    return entry;
}

}  // namespace vantor::server
