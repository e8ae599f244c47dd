#pragma once

// Filter expressions in MPD's own syntax ("(artist == 'Mira Solen')"), the
// one place that quotes text for them.

#include <string>
#include <vector>

namespace vantor::server {

struct LibraryPath;

namespace mpd {

// Matches every song in the database.
inline constexpr const char* kEverything = "(file != '')";

// A quoted value: 'text' with ' and \ escaped.
std::string Quote(const std::string& text);
// (tag == 'value')
std::string Equals(const char* tag, const std::string& value);
// The terms joined by AND; kEverything for none.
std::string AllOf(const std::vector<std::string>& terms);
// Songs whose tag holds `text`, any case (MPD's "contains" minds case).
std::string ContainsAnyCase(const char* tag, const std::string& text);
// Songs with `text` in any tag, as MPD matches it.
std::string AnyContains(const std::string& text);
// The songs in a library folder (an artist's, an album's, a genre's...).
std::string FolderFilter(const LibraryPath& at);

}  // namespace mpd
}  // namespace vantor::server
