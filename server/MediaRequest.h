#pragma once

// What a request to the media service asks for, read from its target (the
// path and query of the request line) alone, so the parsing can be tested
// and fuzzed without a socket.

#include <string>
#include <string_view>

namespace vantor::server {

struct MediaRequest {
    enum class Kind { Playlist, Search, Folder, Art, Other };

    Kind kind = Kind::Other;
    // The path with %XX escapes decoded, except "%2F", which inside a library
    // path is a "/" within a name and reaches the library as it stands.
    std::string path;
    // Search: the text (names unescaped as the library does). Folder: the
    // library path ("/" for the root). Art: the track id as written.
    std::string argument;
    int start = 0;
    int count = -1;  // -1: to the end
    bool includeTotalCount = false;
};

// Never fails: a target that names nothing known is Kind::Other, and query
// values that are not numbers keep their defaults.
MediaRequest ParseMediaTarget(std::string_view target);

// Decodes %XX escapes and, when `plusIsSpace`, "+" as a space (query form).
// `keepSlash` leaves "%2F" as it stands.
std::string DecodeUrlText(std::string_view text, bool plusIsSpace, bool keepSlash);

}  // namespace vantor::server
