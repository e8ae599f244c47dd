#include "MediaLibrary.h"

#include <algorithm>
#include <cctype>
#include <random>
#include <set>

#include "LibraryPath.h"

namespace vantor::server {

namespace {

const char* const kGenres[] = {"Jazz",      "Rock",    "Electronic", "Folk",
                               "Classical", "Hip-Hop", "Ambient",    "Blues"};
const char* const kFirst[] = {"Mira", "Tomas", "Ines", "Kofi", "Lena", "Ravi",
                              "Noor", "Edda",  "Luca", "Sade", "Orin", "Yara"};
const char* const kLast[] = {"Solen",   "Vantberg", "Okafor", "Lindqvist", "Marau",
                             "Castell", "Hollis",   "Dray",   "Fenwick",   "Arden"};
const char* const kBands[] = {
    "The Velvet Harbour", "Northbound Echo", "Glass Orchard", "Paper Satellites",
    "Low Tide Choir",     "Quiet Engines",   "AC/DB",         "Salt & Cedar"};
const char* const kAdjectives[] = {"Blue",   "Silent", "Golden", "Electric", "Hollow",
                                   "Bright", "Late",   "Wild",   "Paper",    "Distant"};
const char* const kNouns[] = {"Rivers", "Signals",  "Gardens", "Streets", "Mornings",
                              "Lights", "Harbours", "Letters", "Fields",  "Machines"};
const char* const kWords[] = {"Night",  "Drive", "Slow",  "Dance", "Home",  "Rain",
                              "Summer", "Ghost", "Heart", "Line",  "Echo",  "Fire",
                              "River",  "Song",  "Light", "Away",  "Stone", "Wave"};
const char* const kShows[] = {"Signal & Noise", "The Long Table", "Small Hours Radio",
                              "Field Notes"};

template <std::size_t N>
const char* Pick(const char* const (&words)[N], std::mt19937& random) {
    return words[std::uniform_int_distribution<std::size_t>(0, N - 1)(random)];
}

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

}  // namespace

LibraryEntry FolderEntry(const std::string& parent, const std::string& title, MediaType type) {
    LibraryEntry entry;
    entry.type = type;
    entry.container = true;
    entry.title = title;
    entry.path = (parent == "/" ? "" : parent) + "/" + MediaLibrary::EscapeName(title);
    return entry;
}

LibraryEntry TrackEntry(const std::string& parent, const Track& track, std::int32_t rating) {
    LibraryEntry entry;
    entry.id = track.id;
    entry.type = track.type;
    entry.title = track.title;
    entry.artist = track.artist;
    entry.album = track.album;
    entry.genre = track.genre;
    entry.length = track.length;
    entry.rating = rating;
    entry.path = (parent == "/" ? "" : parent) + "/" + std::to_string(track.id);
    return entry;
}

std::string MediaLibrary::EscapeName(const std::string& name) {
    std::string escaped;
    for (const char c : name) {
        escaped += c == '/' ? std::string("%2F") : std::string(1, c);
    }
    return escaped;
}

std::string MediaLibrary::UnescapeName(const std::string& name) {
    std::string plain;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name.compare(i, 3, "%2F") == 0 || name.compare(i, 3, "%2f") == 0) {
            plain += '/';
            i += 2;
        } else {
            plain += name[i];
        }
    }
    return plain;
}

MediaLibrary MediaLibrary::Generate(int songs, unsigned seed) {
    MediaLibrary library;
    std::mt19937 random(seed);
    std::int32_t id = 1;
    while (static_cast<int>(library.tracks_.size()) < songs) {
        const std::string artist =
            std::uniform_int_distribution<int>(0, 3)(random) == 0
                ? std::string(Pick(kBands, random))
                : std::string(Pick(kFirst, random)) + " " + Pick(kLast, random);
        const std::string genre = Pick(kGenres, random);
        const int albums = std::uniform_int_distribution<int>(1, 3)(random);
        for (int a = 0; a < albums && static_cast<int>(library.tracks_.size()) < songs; ++a) {
            const std::string album =
                std::string(Pick(kAdjectives, random)) + " " + Pick(kNouns, random);
            const int length = std::uniform_int_distribution<int>(6, 14)(random);
            for (int t = 0; t < length && static_cast<int>(library.tracks_.size()) < songs; ++t) {
                Track track;
                track.id = id++;
                track.title = std::string(Pick(kWords, random)) + " " + Pick(kWords, random);
                track.artist = artist;
                track.album = album;
                track.genre = genre;
                track.length = std::uniform_int_distribution<int>(95, 420)(random);
                track.rating = 20 * std::uniform_int_distribution<int>(0, 5)(random);
                library.tracks_.push_back(std::move(track));
            }
        }
    }
    library.songs_ = static_cast<int>(library.tracks_.size());

    for (const char* show : kShows) {
        const std::string host = std::string(Pick(kFirst, random)) + " " + Pick(kLast, random);
        for (int episode = 1; episode <= 6; ++episode) {
            Track track;
            track.id = id++;
            track.type = MediaType::Podcast;
            track.title = "Episode " + std::to_string(episode) + ": " + Pick(kWords, random) + " " +
                          Pick(kNouns, random);
            track.artist = host;
            track.album = show;
            track.genre = "Podcast";
            track.length = std::uniform_int_distribution<int>(1200, 4800)(random);
            library.tracks_.push_back(std::move(track));
        }
    }

    // Playlists made from the songs.
    auto& favourites = library.playlists_["Favourites"];
    auto& quiet = library.playlists_["Quiet Evening"];
    auto& recent = library.playlists_["Recently Added"];
    auto& trip = library.playlists_["Road Trip"];
    for (int i = 0; i < library.songs_; ++i) {
        const Track& track = library.tracks_[static_cast<std::size_t>(i)];
        if (track.rating == 100 && favourites.size() < 100) {
            favourites.push_back(track.id);
        }
        if ((track.genre == "Ambient" || track.genre == "Classical") && quiet.size() < 60) {
            quiet.push_back(track.id);
        }
        if (i >= library.songs_ - 50) {
            recent.push_back(track.id);
        }
        if (std::uniform_int_distribution<int>(0, 9)(random) == 0 && trip.size() < 40) {
            trip.push_back(track.id);
        }
    }
    return library;
}

MediaLibrary MediaLibrary::FromSongs(std::vector<Track> songs) {
    MediaLibrary library;
    std::int32_t id = 1;
    for (Track& track : songs) {
        track.id = id++;
        track.type = MediaType::Music;
    }
    library.tracks_ = std::move(songs);
    library.songs_ = static_cast<int>(library.tracks_.size());
    return library;
}

const Track* MediaLibrary::Find(std::int32_t id) const {
    if (id < 1 || static_cast<std::size_t>(id) > tracks_.size()) {
        return nullptr;
    }
    return &tracks_[static_cast<std::size_t>(id - 1)];
}

std::vector<std::string> MediaLibrary::Genres() const {
    std::set<std::string> genres;
    for (int i = 0; i < songs_; ++i) {
        genres.insert(tracks_[static_cast<std::size_t>(i)].genre);
    }
    return {genres.begin(), genres.end()};
}

std::vector<std::string> MediaLibrary::Artists(const std::string& genre) const {
    std::set<std::string> artists;
    for (int i = 0; i < songs_; ++i) {
        const Track& track = tracks_[static_cast<std::size_t>(i)];
        if (genre.empty() || track.genre == genre) {
            artists.insert(track.artist);
        }
    }
    return {artists.begin(), artists.end()};
}

std::optional<std::vector<LibraryEntry>> MediaLibrary::Browse(const std::string& path) const {
    return BrowseFolder(LibraryPath::Parse(path));
}

std::optional<std::vector<LibraryEntry>> MediaLibrary::BrowseFolder(const LibraryPath& at) const {
    using Kind = LibraryPath::Kind;
    const std::string& path = at.text;
    std::vector<LibraryEntry> entries;
    const auto songs = [&](auto&& wanted) {
        for (int i = 0; i < songs_; ++i) {
            const Track& track = tracks_[static_cast<std::size_t>(i)];
            if (wanted(track)) {
                entries.push_back(TrackEntry(path, track, track.rating));
            }
        }
    };
    // The distinct values of one field over the songs that match, as folders
    // in name order.
    const auto folders = [&](auto&& field, auto&& wanted, MediaType type) {
        std::set<std::string> names;
        for (int i = 0; i < songs_; ++i) {
            const Track& track = tracks_[static_cast<std::size_t>(i)];
            if (wanted(track)) {
                names.insert(field(track));
            }
        }
        for (const std::string& name : names) {
            entries.push_back(FolderEntry(path, name, type));
        }
    };
    const auto artist = [](const Track& t) -> const std::string& { return t.artist; };
    const auto album = [](const Track& t) -> const std::string& { return t.album; };
    const auto genre = [](const Track& t) -> const std::string& { return t.genre; };
    const auto any = [](const Track&) { return true; };

    switch (at.kind) {
        case Kind::kRoot:
            entries.push_back(FolderEntry(path, "Music", MediaType::Folder));
            entries.push_back(FolderEntry(path, "Podcasts", MediaType::Folder));
            return entries;
        case Kind::kMusic:
            for (const char* name : {"Artists", "Albums", "Genres", "Songs", "Playlists"}) {
                entries.push_back(FolderEntry(path, name, MediaType::Folder));
            }
            return entries;
        case Kind::kPodcasts:
        case Kind::kShow: {
            std::set<std::string> shows;
            for (std::size_t i = static_cast<std::size_t>(songs_); i < tracks_.size(); ++i) {
                if (at.kind == Kind::kPodcasts && shows.insert(tracks_[i].album).second) {
                    entries.push_back(FolderEntry(path, tracks_[i].album, MediaType::PodcastShow));
                } else if (at.kind == Kind::kShow && tracks_[i].album == at.show) {
                    entries.push_back(TrackEntry(path, tracks_[i], -1));
                }
            }
            if (entries.empty() && at.kind == Kind::kShow) {
                return std::nullopt;
            }
            return entries;
        }
        case Kind::kArtists:
            folders(artist, any, MediaType::Artist);
            break;
        case Kind::kArtist:
            folders(
                album, [&](const Track& t) { return t.artist == at.artist; }, MediaType::Album);
            break;
        case Kind::kArtistAlbum:
            songs([&](const Track& t) { return t.artist == at.artist && t.album == at.album; });
            break;
        case Kind::kAlbums:
            folders(album, any, MediaType::Album);
            break;
        case Kind::kAlbum:
            songs([&](const Track& t) { return t.album == at.album; });
            break;
        case Kind::kGenres:
            folders(genre, any, MediaType::Genre);
            break;
        case Kind::kGenre:
            folders(
                artist, [&](const Track& t) { return t.genre == at.genre; }, MediaType::Artist);
            break;
        case Kind::kGenreArtist:
            folders(
                album, [&](const Track& t) { return t.genre == at.genre && t.artist == at.artist; },
                MediaType::Album);
            break;
        case Kind::kGenreArtistAlbum:
            songs([&](const Track& t) {
                return t.genre == at.genre && t.artist == at.artist && t.album == at.album;
            });
            break;
        case Kind::kSongs:
            songs(any);
            break;
        case Kind::kPlaylists:
            for (const auto& [name, ids] : playlists_) {
                entries.push_back(FolderEntry(path, name, MediaType::Playlist));
            }
            break;
        case Kind::kPlaylist: {
            const auto found = playlists_.find(at.playlist);
            if (found == playlists_.end()) {
                return std::nullopt;
            }
            for (const std::int32_t id : found->second) {
                entries.push_back(TrackEntry(path, *Find(id), Find(id)->rating));
            }
            return entries;
        }
        case Kind::kUnknown:
            return std::nullopt;
    }
    // A named folder that holds nothing does not exist.
    if (entries.empty() && at.names.size() > 2) {
        return std::nullopt;
    }
    return entries;
}

std::vector<std::int32_t> MediaLibrary::SongsAt(const std::string& path) const {
    const LibraryPath at = LibraryPath::Parse(path);
    std::vector<std::int32_t> found;
    if (const auto entries = BrowseFolder(at)) {
        // Subfolders overlap (a song is under its artist, its album and its
        // genre): what they hold plays once, where it first comes.
        std::vector<bool> seen;
        for (const LibraryEntry& entry : *entries) {
            if (!entry.container) {
                found.push_back(entry.id);
                continue;
            }
            seen.resize(tracks_.size() + 1);
            for (const std::int32_t id : SongsAt(entry.path)) {
                if (!seen[static_cast<std::size_t>(id)]) {
                    seen[static_cast<std::size_t>(id)] = true;
                    found.push_back(id);
                }
            }
        }
        return found;
    }
    // An item's own path: its folder's path and its id.
    if (const std::int32_t id = at.ItemId(); id >= 0) {
        if (const auto entries = BrowseFolder(at.Parent())) {
            for (const LibraryEntry& entry : *entries) {
                if (!entry.container && entry.id == id) {
                    found.push_back(id);
                }
            }
        }
    }
    return found;
}

std::vector<LibraryEntry> MediaLibrary::Search(const std::string& text) const {
    std::vector<LibraryEntry> results;
    const std::string needle = Lower(text);
    if (needle.empty()) {
        return results;
    }
    const auto matches = [&](const std::string& name) {
        return Lower(name).find(needle) != std::string::npos;
    };
    // Folders in search results name their category's folder, so that the
    // client's path rule for search results finds them.
    std::set<std::string> artists;
    std::set<std::string> albums;
    std::set<std::string> shows;
    for (const Track& track : tracks_) {
        if (track.type == MediaType::Podcast) {
            if (matches(track.album) && shows.insert(track.album).second) {
                results.push_back(FolderEntry("/Podcasts", track.album, MediaType::PodcastShow));
            }
            continue;
        }
        if (matches(track.artist) && artists.insert(track.artist).second) {
            results.push_back(FolderEntry("/Music/Artists", track.artist, MediaType::Artist));
        }
        if (matches(track.album) && albums.insert(track.album).second) {
            results.push_back(FolderEntry("/Music/Albums", track.album, MediaType::Album));
        }
    }
    for (const auto& [name, ids] : playlists_) {
        if (matches(name)) {
            results.push_back(FolderEntry("/Music/Playlists", name, MediaType::PlaylistFolder));
        }
    }
    for (int i = 0; i < songs_; ++i) {
        const Track& track = tracks_[static_cast<std::size_t>(i)];
        if (matches(track.title)) {
            results.push_back(TrackEntry("/Music/Songs", track, track.rating));
        }
    }
    return results;
}

}  // namespace vantor::server
