#include "LibraryPath.h"

#include <algorithm>

#include "MediaLibrary.h"

namespace vantor::server {

namespace {

using Kind = LibraryPath::Kind;

LibraryPath FromNames(std::vector<std::string> names) {
    LibraryPath path;
    path.names = std::move(names);
    const std::vector<std::string>& at = path.names;
    for (const std::string& name : at) {
        path.text += "/" + MediaLibrary::EscapeName(name);
    }
    if (path.text.empty()) {
        path.text = "/";
    }
    const auto name = [&](std::size_t i) { return i < at.size() ? at[i] : std::string(); };
    const std::size_t depth = at.size() < 2 ? 0 : at.size() - 2;  // names below the category
    if (at.empty()) {
        path.kind = Kind::kRoot;
    } else if (at[0] == "Podcasts") {
        path.kind = at.size() == 1   ? Kind::kPodcasts
                    : at.size() == 2 ? Kind::kShow
                                     : Kind::kUnknown;
        path.show = name(1);
    } else if (at[0] != "Music") {
        path.kind = Kind::kUnknown;
    } else if (at.size() == 1) {
        path.kind = Kind::kMusic;
    } else if (at[1] == "Artists" && depth <= 2) {
        constexpr Kind kinds[] = {Kind::kArtists, Kind::kArtist, Kind::kArtistAlbum};
        path.kind = kinds[depth];
        path.artist = name(2);
        path.album = name(3);
    } else if (at[1] == "Albums" && depth <= 1) {
        path.kind = depth == 0 ? Kind::kAlbums : Kind::kAlbum;
        path.album = name(2);
    } else if (at[1] == "Genres" && depth <= 3) {
        constexpr Kind kinds[] = {Kind::kGenres, Kind::kGenre, Kind::kGenreArtist,
                                  Kind::kGenreArtistAlbum};
        path.kind = kinds[depth];
        path.genre = name(2);
        path.artist = name(3);
        path.album = name(4);
    } else if (at[1] == "Songs" && depth == 0) {
        path.kind = Kind::kSongs;
    } else if (at[1] == "Playlists" && depth <= 1) {
        path.kind = depth == 0 ? Kind::kPlaylists : Kind::kPlaylist;
        path.playlist = name(2);
    } else {
        path.kind = Kind::kUnknown;
    }
    return path;
}

}  // namespace

LibraryPath LibraryPath::Parse(const std::string& path) {
    std::vector<std::string> names;
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t slash = path.find('/', start);
        if (slash == std::string::npos) {
            slash = path.size();
        }
        if (slash > start) {
            names.push_back(MediaLibrary::UnescapeName(path.substr(start, slash - start)));
        }
        start = slash + 1;
    }
    return FromNames(std::move(names));
}

std::int32_t LibraryPath::ItemId() const {
    if (names.size() < 2) {
        return -1;
    }
    const std::string& last = names.back();
    const bool number =
        !last.empty() && last.size() < 10 &&
        std::all_of(last.begin(), last.end(), [](char c) { return c >= '0' && c <= '9'; });
    return number ? std::stoi(last) : -1;
}

LibraryPath LibraryPath::Parent() const {
    std::vector<std::string> parent = names;
    if (!parent.empty()) {
        parent.pop_back();
    }
    return FromNames(std::move(parent));
}

}  // namespace vantor::server
