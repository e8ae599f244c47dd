#include "protocol/MediaType.h"

#include <array>

namespace vantor {

namespace {

constexpr std::array<std::string_view, kMediaTypeCount> kNames = {
    "undefined",    "music",     "podcast",         "video",        "tv",     "playlist",
    "photo",        "radio",     "folder",          "genre",        "artist", "album",
    "podcast_show", "tv_series", "playlist_folder", "radio_folder", "info",
};

}  // namespace

std::string_view MediaTypeName(MediaType type) {
    const auto value = static_cast<std::int32_t>(type);
    return value >= 0 && value < kMediaTypeCount ? kNames[static_cast<std::size_t>(value)]
                                                 : std::string_view{};
}

MediaType MediaTypeFromName(std::string_view name) {
    if (name.empty()) {
        return MediaType::Music;
    }
    for (std::int32_t value = 0; value < kMediaTypeCount; ++value) {
        if (kNames[static_cast<std::size_t>(value)] == name) {
            return static_cast<MediaType>(value);
        }
    }
    return MediaType::Undefined;
}

}  // namespace vantor
