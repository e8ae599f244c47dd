#include "MusicFolder.h"

#include <taglib/fileref.h>
#include <taglib/tag.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <tuple>

#include "core/Logger.h"

namespace vantor::server {

namespace {

// What TagLib reads; anything else is not even tried.
const std::set<std::string> kAudioExtensions = {".aac", ".aif", ".aiff", ".ape", ".flac", ".m4a",
                                                ".mp3", ".mp4", ".mpc",  ".oga", ".ogg",  ".opus",
                                                ".spx", ".tta", ".wav",  ".wma", ".wv"};

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::string Text(const TagLib::String& text) {
    return text.to8Bit(true);
}

struct Found {
    Track track;
    unsigned number = 0;
    std::string file;
};

}  // namespace

MediaLibrary ReadMusicFolder(const std::string& folder) {
    namespace fs = std::filesystem;
    std::vector<Found> found;
    int unreadable = 0;
    int untagged = 0;
    std::error_code error;
    fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied,
                                        error);
    if (error) {
        Log(kLogError, "vantor-server: cannot read the music folder %s: %s", folder.c_str(),
            error.message().c_str());
        return MediaLibrary::FromSongs({});
    }
    for (; it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (error) {
            Log(kLogError, "vantor-server: %s: %s", folder.c_str(), error.message().c_str());
            break;
        }
        const fs::path& path = it->path();
        std::error_code typeError;
        if (!it->is_regular_file(typeError) ||
            kAudioExtensions.count(Lower(path.extension().string())) == 0) {
            continue;
        }
        const TagLib::FileRef file(path.c_str(), true, TagLib::AudioProperties::Fast);
        // A file that is not audio may still open: it has no sample rate.
        if (file.isNull() || file.audioProperties() == nullptr ||
            file.audioProperties()->sampleRate() <= 0) {
            ++unreadable;
            Log(kLogError, "vantor-server: %s is not an audio file TagLib can read; left out",
                path.c_str());
            continue;
        }
        Found song;
        song.file = path.string();
        song.track.length = file.audioProperties()->lengthInSeconds();
        const TagLib::Tag* tag = file.tag();
        if (tag != nullptr) {
            song.track.title = Text(tag->title());
            song.track.artist = Text(tag->artist());
            song.track.album = Text(tag->album());
            song.track.genre = Text(tag->genre());
            song.number = tag->track();
        }
        if (tag == nullptr || song.track.title.empty()) {
            ++untagged;
            Log(kLogInfo, "vantor-server: %s has no title tag; named after the file", path.c_str());
            song.track.title = path.stem().string();
        }
        if (song.track.artist.empty()) {
            song.track.artist = "Unknown Artist";
        }
        if (song.track.album.empty()) {
            song.track.album = "Unknown Album";
        }
        if (song.track.genre.empty()) {
            song.track.genre = "Unknown Genre";
        }
        found.push_back(std::move(song));
    }
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
        return std::tie(a.track.artist, a.track.album, a.number, a.file) <
               std::tie(b.track.artist, b.track.album, b.number, b.file);
    });
    std::vector<Track> songs;
    songs.reserve(found.size());
    for (Found& song : found) {
        songs.push_back(std::move(song.track));
    }
    Log(unreadable > 0 ? kLogError : kLogInfo,
        "vantor-server: %zu songs from %s (%d without tags, %d unreadable files left out)",
        songs.size(), folder.c_str(), untagged, unreadable);
    return MediaLibrary::FromSongs(std::move(songs));
}

}  // namespace vantor::server
