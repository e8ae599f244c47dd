#include "MpdFilter.h"

#include <string_view>

#include "LibraryPath.h"

namespace vantor::server::mpd {

std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + "'";
}

std::string Equals(const char* tag, const std::string& value) {
    return std::string("(") + tag + " == " + Quote(value) + ")";
}

std::string AllOf(const std::vector<std::string>& terms) {
    if (terms.empty()) {
        return kEverything;
    }
    if (terms.size() == 1) {
        return terms[0];
    }
    std::string all = "(";
    for (std::size_t i = 0; i < terms.size(); ++i) {
        all += (i == 0 ? "" : " AND ") + terms[i];
    }
    return all + ")";
}

std::string ContainsAnyCase(const char* tag, const std::string& text) {
    // A regular expression that ignores case, with its own special
    // characters escaped, inside the filter's quoting.
    std::string pattern = "(?i)";
    for (const char c : text) {
        if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos) {
            pattern += '\\';
        }
        pattern += c;
    }
    return std::string("(") + tag + " =~ " + Quote(pattern) + ")";
}

std::string AnyContains(const std::string& text) {
    return "(any contains " + Quote(text) + ")";
}

std::string FolderFilter(const LibraryPath& at) {
    std::vector<std::string> terms;
    if (!at.genre.empty()) {
        terms.push_back(Equals("genre", at.genre));
    }
    if (!at.artist.empty()) {
        terms.push_back(Equals("artist", at.artist));
    }
    if (!at.album.empty()) {
        terms.push_back(Equals("album", at.album));
    }
    return AllOf(terms);
}

}  // namespace vantor::server::mpd
