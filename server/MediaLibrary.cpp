#include "MediaLibrary.h"

#include <algorithm>
#include <cctype>
#include <random>
#include <set>

namespace vantor::server {

namespace {

const char* const kGenres[] = {"Jazz",      "Rock",    "Electronic", "Folk",
                               "Classical", "Hip-Hop", "Ambient",    "Blues"};
const char* const kFirst[] = {"Mira", "Tomas", "Ines", "Kofi", "Lena", "Ravi",
                              "Noor", "Edda",  "Luca", "Sade", "Orin", "Yara"};
const char* const kLast[] = {"Solen",   "Vantberg", "Okafor", "Lindqvist", "Marau",
                             "Castell", "Hollis",   "Dray",   "Fenwick",   "Arden"};
const char* const kBands[] = {"The Velvet Harbour", "Northbound Echo", "Glass Orchard",
                              "Paper Satellites",   "Low Tide Choir",  "Quiet Engines"};
const char* const kAdjectives[] = {"Blue",   "Silent", "Golden", "Electric", "Hollow",
                                   "Bright", "Late",   "Wild",   "Paper",    "Distant"};
const char* const kNouns[] = {"Rivers", "Signals",  "Gardens", "Streets", "Mornings",
                              "Lights", "Harbours", "Letters", "Fields",  "Machines"};
const char* const kWords[] = {"Night",  "Drive", "Slow",  "Dance", "Home",  "Rain",
                              "Summer", "Ghost", "Heart", "Line",  "Echo",  "Fire",
                              "River",  "Song",  "Light", "Away",  "Stone", "Wave"};

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

MediaResult Folder(const std::string& name, MediaType type, const std::string& path) {
    return MediaResult{-1, type, true, name, path};
}

MediaResult Song(const Track& track, const std::string& path) {
    return MediaResult{track.id, MediaType::Music, false, track.title, path};
}

// Splits "/a/b/c/" into {"a", "b", "c"}, names unescaped.
std::vector<std::string> Segments(const std::string& path) {
    std::vector<std::string> segments;
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t slash = path.find('/', start);
        if (slash == std::string::npos) {
            slash = path.size();
        }
        if (slash > start) {
            segments.push_back(MediaLibrary::UnescapeName(path.substr(start, slash - start)));
        }
        start = slash + 1;
    }
    return segments;
}

}  // namespace

std::string MediaLibrary::EscapeName(const std::string& name) {
    std::string escaped;
    for (const char c : name) {
        if (c == '/') {
            escaped += "%2F";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string MediaLibrary::UnescapeName(const std::string& name) {
    std::string plain;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name.compare(i, 3, "%2F") == 0) {
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
    return library;
}

const Track* MediaLibrary::Find(std::int32_t id) const {
    // Ids are given in order from 1.
    if (id < 1 || static_cast<std::size_t>(id) > tracks_.size()) {
        return nullptr;
    }
    return &tracks_[static_cast<std::size_t>(id - 1)];
}

std::vector<std::string> MediaLibrary::Genres() const {
    std::set<std::string> genres;
    for (const Track& track : tracks_) {
        genres.insert(track.genre);
    }
    return {genres.begin(), genres.end()};
}

std::vector<std::string> MediaLibrary::Artists(const std::string& genre) const {
    std::set<std::string> artists;
    for (const Track& track : tracks_) {
        if (genre.empty() || track.genre == genre) {
            artists.insert(track.artist);
        }
    }
    return {artists.begin(), artists.end()};
}

std::optional<std::vector<MediaResult>> MediaLibrary::Browse(const std::string& path) const {
    const std::vector<std::string> at = Segments(path);
    std::vector<MediaResult> entries;
    if (at.empty()) {
        entries.push_back(Folder("Music", MediaType::Folder, "/Music/"));
        entries.push_back(Folder("Playlists", MediaType::PlaylistFolder, "/Playlists/"));
        entries.push_back(Folder("Podcasts", MediaType::Folder, "/Podcasts/"));
        return entries;
    }
    if (at[0] == "Playlists" || at[0] == "Podcasts") {
        return at.size() == 1 ? std::optional(entries) : std::nullopt;
    }
    if (at[0] != "Music") {
        return std::nullopt;
    }
    if (at.size() == 1) {
        for (const char* name : {"Artists", "Albums", "Genres", "Songs"}) {
            entries.push_back(Folder(name, MediaType::Folder, "/Music/" + std::string(name) + "/"));
        }
        return entries;
    }
    const std::string& kind = at[1];
    std::set<std::string> seen;
    const auto addOnce = [&](const std::string& name, MediaType type,
                             const std::string& childPath) {
        if (seen.insert(name).second) {
            entries.push_back(Folder(name, type, childPath));
        }
    };
    if (kind == "Artists") {
        for (const Track& track : tracks_) {
            const std::string artistPath = "/Music/Artists/" + EscapeName(track.artist) + "/";
            if (at.size() == 2) {
                addOnce(track.artist, MediaType::Artist, artistPath);
            } else if (track.artist == at[2] && at.size() == 3) {
                addOnce(track.album, MediaType::Album, artistPath + EscapeName(track.album) + "/");
            } else if (track.artist == at[2] && at.size() == 4 && track.album == at[3]) {
                entries.push_back(Song(
                    track, artistPath + EscapeName(track.album) + "/" + std::to_string(track.id)));
            }
        }
    } else if (kind == "Albums") {
        for (const Track& track : tracks_) {
            const std::string albumPath = "/Music/Albums/" + EscapeName(track.album) + "/";
            if (at.size() == 2) {
                addOnce(track.album, MediaType::Album, albumPath);
            } else if (at.size() == 3 && track.album == at[2]) {
                entries.push_back(Song(track, albumPath + std::to_string(track.id)));
            }
        }
    } else if (kind == "Genres") {
        for (const Track& track : tracks_) {
            const std::string genrePath = "/Music/Genres/" + EscapeName(track.genre) + "/";
            if (at.size() == 2) {
                addOnce(track.genre, MediaType::Genre, genrePath);
            } else if (at.size() == 3 && track.genre == at[2]) {
                addOnce(track.artist, MediaType::Artist,
                        "/Music/Artists/" + EscapeName(track.artist) + "/");
            }
        }
    } else if (kind == "Songs" && at.size() == 2) {
        for (const Track& track : tracks_) {
            entries.push_back(Song(track, "/Music/Songs/" + std::to_string(track.id)));
        }
    } else {
        return std::nullopt;
    }
    if (entries.empty() && at.size() > 2) {
        return std::nullopt;
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const MediaResult& a, const MediaResult& b) {
                         return a.container && b.container ? Lower(a.name) < Lower(b.name) : false;
                     });
    return entries;
}

std::vector<std::int32_t> MediaLibrary::SongsAt(const std::string& path) const {
    std::vector<std::int32_t> songs;
    const auto entries = Browse(path);
    if (!entries) {
        // A song's own path ends in its id.
        const std::size_t slash = path.find_last_of('/');
        const std::string last = slash == std::string::npos ? path : path.substr(slash + 1);
        if (!last.empty() && std::all_of(last.begin(), last.end(), ::isdigit)) {
            if (const Track* track = Find(std::stoi(last))) {
                songs.push_back(track->id);
            }
        }
        return songs;
    }
    for (const MediaResult& entry : *entries) {
        if (entry.container) {
            const auto inner = SongsAt(entry.path);
            songs.insert(songs.end(), inner.begin(), inner.end());
        } else {
            songs.push_back(entry.id);
        }
    }
    return songs;
}

std::vector<MediaResult> MediaLibrary::Search(const std::string& text) const {
    std::vector<MediaResult> results;
    const std::string needle = Lower(text);
    if (needle.empty()) {
        return results;
    }
    std::set<std::string> artists;
    std::set<std::string> albums;
    for (const Track& track : tracks_) {
        if (Lower(track.artist).find(needle) != std::string::npos &&
            artists.insert(track.artist).second) {
            results.push_back(Folder(track.artist, MediaType::Artist,
                                     "/Music/Artists/" + EscapeName(track.artist) + "/"));
        }
        if (Lower(track.album).find(needle) != std::string::npos &&
            albums.insert(track.album).second) {
            results.push_back(Folder(track.album, MediaType::Album,
                                     "/Music/Albums/" + EscapeName(track.album) + "/"));
        }
    }
    for (const Track& track : tracks_) {
        if (Lower(track.title).find(needle) != std::string::npos) {
            results.push_back(Song(track, "/Music/Songs/" + std::to_string(track.id)));
        }
    }
    return results;
}

}  // namespace vantor::server
