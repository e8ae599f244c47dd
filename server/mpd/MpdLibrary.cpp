#include "MpdLibrary.h"

#include <mpd/client.h>

#include <algorithm>
#include <cctype>

#include "LibraryPath.h"
#include "MpdFilter.h"

namespace vantor::server {

namespace {

constexpr std::size_t kCachedNameLists = 16;

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::vector<LibraryEntry> Folders(const std::string& parent, const std::vector<std::string>& names,
                                  MediaType type) {
    std::vector<LibraryEntry> entries;
    entries.reserve(names.size());
    for (const std::string& name : names) {
        entries.push_back(FolderEntry(parent, name, type));
    }
    return entries;
}

}  // namespace

MpdLibrary::MpdLibrary(const MpdOptions& options, MpdSongs& songs)
    : songs_(songs), connection_(options, "library") {}

void MpdLibrary::Forget() {
    std::lock_guard lock(namesMutex_);
    names_.clear();
}

void MpdLibrary::Ping() {
    std::unique_lock lock(mutex_, std::try_to_lock);
    if (lock && connection_.IsOpen()) {
        mpd_send_command(connection_.Get(), "ping", nullptr);
        connection_.Finish("ping");
    }
}

void MpdLibrary::Close() {
    std::lock_guard lock(mutex_);
    connection_.Close();
}

ResultCode MpdLibrary::TagList(int tag, const std::string& filter,
                               std::vector<std::string>* names) {
    const std::string key = std::to_string(tag) + " " + filter;
    {
        std::lock_guard lock(namesMutex_);
        for (auto it = names_.begin(); it != names_.end(); ++it) {
            if (it->first == key) {
                names_.splice(names_.begin(), names_, it);
                *names = it->second;
                return kSuccess;
            }
        }
    }
    mpd_connection* connection = connection_.Get(true);
    const auto type = static_cast<mpd_tag_type>(tag);
    if (connection == nullptr || !mpd_search_db_tags(connection, type) ||
        (!filter.empty() && !mpd_search_add_expression(connection, filter.c_str())) ||
        !mpd_search_commit(connection)) {
        return connection_.Check("list");
    }
    names->clear();
    while (mpd_pair* pair = mpd_recv_pair_tag(connection, type)) {
        if (pair->value[0] != '\0') {
            names->emplace_back(pair->value);
        }
        mpd_return_pair(connection, pair);
    }
    const ResultCode code = connection_.Finish("list");
    if (code != kSuccess) {
        return code;
    }
    std::sort(names->begin(), names->end());
    names->erase(std::unique(names->begin(), names->end()), names->end());
    std::lock_guard lock(namesMutex_);
    names_.emplace_front(key, *names);
    if (names_.size() > kCachedNameLists) {
        names_.pop_back();
    }
    return kSuccess;
}

ResultCode MpdLibrary::Songs(const std::string& filter, std::int32_t start, std::int32_t count,
                             const std::string& folder, ListPage* page) {
    mpd_connection* connection = connection_.Get(true);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    std::size_t total = 0;
    if (!mpd_count_db_songs(connection) || !mpd_search_add_expression(connection, filter.c_str()) ||
        !mpd_search_commit(connection)) {
        return connection_.Check("count");
    }
    if (mpd_pair* pair = mpd_recv_pair_named(connection, "songs")) {
        total = std::strtoul(pair->value, nullptr, 10);
        mpd_return_pair(connection, pair);
    }
    if (const ResultCode code = connection_.Finish("count"); code != kSuccess) {
        return code;
    }
    page->total = total;
    const auto first = std::min<std::size_t>(static_cast<std::size_t>(std::max(start, 0)), total);
    const std::size_t last =
        count < 0 ? total : std::min(total, first + static_cast<std::size_t>(count));
    if (first >= last) {
        return kSuccess;
    }
    if (!mpd_search_db_songs(connection, true) ||
        !mpd_search_add_expression(connection, filter.c_str()) ||
        !mpd_search_add_window(connection, static_cast<unsigned>(first),
                               static_cast<unsigned>(last)) ||
        !mpd_search_commit(connection)) {
        return connection_.Check("find");
    }
    while (mpd_song* song = mpd_recv_song(connection)) {
        page->entries.push_back(SongEntry(folder, songs_.Entry(song)));
        mpd_song_free(song);
    }
    return connection_.Finish("find");
}

ResultCode MpdLibrary::PlaylistNames(std::vector<std::string>* names) {
    mpd_connection* connection = connection_.Get(true);
    if (connection == nullptr || !mpd_send_list_playlists(connection)) {
        return connection_.Check("listplaylists");
    }
    while (mpd_playlist* playlist = mpd_recv_playlist(connection)) {
        names->emplace_back(mpd_playlist_get_path(playlist));
        mpd_playlist_free(playlist);
    }
    std::sort(names->begin(), names->end());
    return connection_.Finish("listplaylists");
}

ResultCode MpdLibrary::PlaylistSongs(const std::string& name, const std::string& folder,
                                     std::vector<LibraryEntry>* entries) {
    mpd_connection* connection = connection_.Get(true);
    if (connection == nullptr || !mpd_send_list_playlist_meta(connection, name.c_str())) {
        return connection_.Check("listplaylistinfo");
    }
    while (mpd_song* song = mpd_recv_song(connection)) {
        entries->push_back(SongEntry(folder, songs_.Entry(song)));
        mpd_song_free(song);
    }
    return connection_.Finish("listplaylistinfo", true);
}

ResultCode MpdLibrary::Browse(const std::string& path, std::int32_t start, std::int32_t count,
                              ListPage* page) {
    using Kind = LibraryPath::Kind;
    using mpd::AllOf;
    using mpd::Equals;
    const LibraryPath at = LibraryPath::Parse(path);
    const std::string& folder = at.text;
    // Names of one tag over the songs that match, as folders; a named folder
    // that holds nothing does not exist.
    const auto names = [&](mpd_tag_type tag, const std::string& filter, MediaType type) {
        std::vector<std::string> found;
        const ResultCode code = TagList(tag, filter, &found);
        if (code != kSuccess) {
            return code;
        }
        if (found.empty() && at.names.size() > 2) {
            return kNotFound;
        }
        *page = PageOf(Folders(folder, found, type), start, count);
        return kSuccess;
    };
    switch (at.kind) {
        case Kind::kRoot:
            *page = PageOf({FolderEntry("/", "Music", MediaType::Folder)}, start, count);
            return kSuccess;
        case Kind::kMusic: {
            std::vector<LibraryEntry> entries;
            for (const char* name : {"Artists", "Albums", "Genres", "Songs", "Playlists"}) {
                entries.push_back(FolderEntry(folder, name, MediaType::Folder));
            }
            *page = PageOf(entries, start, count);
            return kSuccess;
        }
        case Kind::kPodcasts:
        case Kind::kShow:
        case Kind::kUnknown:
            return kNotFound;  // MPD has music only
        default:
            break;
    }
    std::lock_guard lock(mutex_);
    switch (at.kind) {
        case Kind::kArtists:
            return names(MPD_TAG_ARTIST, "", MediaType::Artist);
        case Kind::kArtist:
            return names(MPD_TAG_ALBUM, Equals("artist", at.artist), MediaType::Album);
        case Kind::kAlbums:
            return names(MPD_TAG_ALBUM, "", MediaType::Album);
        case Kind::kGenres:
            return names(MPD_TAG_GENRE, "", MediaType::Genre);
        case Kind::kGenre:
            return names(MPD_TAG_ARTIST, Equals("genre", at.genre), MediaType::Artist);
        case Kind::kGenreArtist:
            return names(MPD_TAG_ALBUM,
                         AllOf({Equals("genre", at.genre), Equals("artist", at.artist)}),
                         MediaType::Album);
        case Kind::kArtistAlbum:
        case Kind::kAlbum:
        case Kind::kGenreArtistAlbum: {
            const ResultCode code = Songs(mpd::FolderFilter(at), start, count, folder, page);
            return code == kSuccess && page->total == 0 ? kNotFound : code;
        }
        case Kind::kSongs:
            return Songs(mpd::kEverything, start, count, folder, page);
        case Kind::kPlaylists: {
            std::vector<std::string> playlists;
            const ResultCode code = PlaylistNames(&playlists);
            if (code == kSuccess) {
                *page = PageOf(Folders(folder, playlists, MediaType::Playlist), start, count);
            }
            return code;
        }
        case Kind::kPlaylist: {
            std::vector<LibraryEntry> entries;
            const ResultCode code = PlaylistSongs(at.playlist, folder, &entries);
            if (code == kSuccess) {
                *page = PageOf(entries, start, count);
            }
            return code;
        }
        default:
            return kNotFound;
    }
}

ResultCode MpdLibrary::Search(const std::string& text, std::int32_t start, std::int32_t count,
                              ListPage* page) {
    page->entries.clear();
    page->total = 0;
    const std::string needle = Lower(text);
    if (needle.empty()) {
        return kSuccess;
    }
    std::lock_guard lock(mutex_);
    // The folders are matched here; MPD pages the songs.
    std::vector<LibraryEntry> folders;
    std::vector<std::string> names;
    const std::pair<mpd_tag_type, std::pair<const char*, MediaType>> kinds[] = {
        {MPD_TAG_ARTIST, {"/Music/Artists", MediaType::Artist}},
        {MPD_TAG_ALBUM, {"/Music/Albums", MediaType::Album}}};
    for (const auto& [tag, where] : kinds) {
        names.clear();
        const ResultCode code = TagList(tag, "", &names);
        if (code != kSuccess) {
            return code;
        }
        for (const std::string& name : names) {
            if (Lower(name).find(needle) != std::string::npos) {
                folders.push_back(FolderEntry(where.first, name, where.second));
            }
        }
    }
    names.clear();
    if (PlaylistNames(&names) == kSuccess) {
        for (const std::string& name : names) {
            if (Lower(name).find(needle) != std::string::npos) {
                folders.push_back(FolderEntry("/Music/Playlists", name, MediaType::PlaylistFolder));
            }
        }
    }
    const std::size_t first = static_cast<std::size_t>(std::max(start, 0));
    for (std::size_t i = first;
         i < folders.size() &&
         (count < 0 || page->entries.size() < static_cast<std::size_t>(count));
         ++i) {
        page->entries.push_back(folders[i]);
    }
    // The songs: counted, and the part of them that falls in the page.
    const std::size_t songFirst = first > folders.size() ? first - folders.size() : 0;
    const std::int32_t songCount =
        count < 0 ? -1 : count - static_cast<std::int32_t>(page->entries.size());
    ListPage songs;
    const ResultCode code =
        Songs(mpd::ContainsAnyCase("title", text), static_cast<std::int32_t>(songFirst), songCount,
              "/Music/Songs", &songs);
    if (code != kSuccess) {
        return code;
    }
    for (LibraryEntry& song : songs.entries) {
        page->entries.push_back(std::move(song));
    }
    page->total = folders.size() + songs.total;
    return kSuccess;
}

ResultCode MpdLibrary::Item(const std::string& uri, LibraryEntry* entry) {
    std::lock_guard lock(mutex_);
    mpd_connection* connection = connection_.Get(true);
    if (connection == nullptr || !mpd_send_list_meta(connection, uri.c_str())) {
        return connection_.Check("lsinfo");
    }
    bool found = false;
    while (mpd_entity* entity = mpd_recv_entity(connection)) {
        if (mpd_entity_get_type(entity) == MPD_ENTITY_TYPE_SONG && !found) {
            *entry = songs_.Entry(mpd_entity_get_song(entity));
            found = true;
        }
        mpd_entity_free(entity);
    }
    const ResultCode code = connection_.Finish("lsinfo", true);
    return code == kSuccess && !found ? kNotFound : code;
}

}  // namespace vantor::server
