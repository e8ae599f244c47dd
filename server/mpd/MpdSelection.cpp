#include "MpdSelection.h"

#include "LibraryPath.h"
#include "MpdFilter.h"

namespace vantor::server {

namespace {

MpdSelection Song(const std::string& uri) {
    MpdSelection selection;
    if (!uri.empty()) {
        selection.kind = MpdSelection::Kind::kSong;
        selection.value = uri;
    }
    return selection;
}

}  // namespace

MpdSelection MpdSelection::OfPath(const std::string& path, const MpdSongs& songs) {
    using Folder = LibraryPath::Kind;
    const LibraryPath at = LibraryPath::Parse(path);
    if (const std::int32_t id = at.ItemId(); id >= 0) {
        return Song(songs.UriOf(id));
    }
    // Songs without the category's tag are in no folder of it.
    const auto tagged = [](const char* tag) { return std::string("(") + tag + " != '')"; };
    MpdSelection selection;
    switch (at.kind) {
        case Folder::kRoot:
        case Folder::kMusic:
            selection.kind = Kind::kFilter;
            selection.value = mpd::kEverything;
            break;
        case Folder::kArtists:
            selection.kind = Kind::kFilter;
            selection.value = tagged("artist");
            break;
        case Folder::kAlbums:
            selection.kind = Kind::kFilter;
            selection.value = tagged("album");
            break;
        case Folder::kGenres:
            selection.kind = Kind::kFilter;
            selection.value = tagged("genre");
            break;
        case Folder::kArtist:
        case Folder::kArtistAlbum:
        case Folder::kAlbum:
        case Folder::kGenre:
        case Folder::kGenreArtist:
        case Folder::kGenreArtistAlbum:
        case Folder::kSongs:
            selection.kind = Kind::kFilter;
            selection.value = mpd::FolderFilter(at);
            break;
        case Folder::kPlaylist:
            selection.kind = Kind::kPlaylist;
            selection.value = at.playlist;
            break;
        default:
            break;
    }
    return selection;
}

MpdSelection MpdSelection::Of(const MediaSelector& selector, const MpdSongs& songs) {
    if (selector.id != -1) {
        return Song(songs.UriOf(selector.id));
    }
    if (!selector.path.empty()) {
        return OfPath(selector.path, songs);
    }
    if (!selector.libPath.empty()) {
        return OfPath(selector.libPath, songs);
    }
    std::vector<std::string> terms;
    if (!selector.any.empty()) {
        terms.push_back(mpd::AnyContains(selector.any));
    }
    const std::pair<const char*, const std::string*> tags[] = {{"genre", &selector.genre},
                                                               {"artist", &selector.artist},
                                                               {"album", &selector.album},
                                                               {"title", &selector.title}};
    for (const auto& [tag, value] : tags) {
        if (!value->empty()) {
            terms.push_back(mpd::Equals(tag, *value));
        }
    }
    MpdSelection selection;
    selection.kind = Kind::kFilter;
    selection.value = mpd::AllOf(terms);
    return selection;
}

}  // namespace vantor::server
