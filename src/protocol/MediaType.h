#pragma once

// The kind of a media item or library node, with its wire names.

#include <cstdint>
#include <string_view>

namespace vantor {

enum class MediaType : std::int32_t {
    Undefined = 0,
    Music = 1,
    Podcast = 2,
    Video = 3,
    Tv = 4,
    Playlist = 5,
    Photo = 6,
    Radio = 7,
    Folder = 8,
    Genre = 9,
    Artist = 10,
    Album = 11,
    PodcastShow = 12,
    TvSeries = 13,
    PlaylistFolder = 14,
    RadioFolder = 15,
    Info = 16,
};

inline constexpr std::int32_t kMediaTypeCount = 17;

// "undefined" ... "info"; empty for a value outside the table.
std::string_view MediaTypeName(MediaType type);

// The value of a wire name. An empty name is "music"; a name not in the table
// is Undefined.
MediaType MediaTypeFromName(std::string_view name);

}  // namespace vantor
