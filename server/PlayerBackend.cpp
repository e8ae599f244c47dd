#include "PlayerBackend.h"

#include <algorithm>
#include <cctype>

namespace vantor::server {

ListPage PageOf(const std::vector<LibraryEntry>& all, std::int32_t start, std::int32_t count) {
    ListPage page;
    page.total = all.size();
    const std::size_t first = std::min<std::size_t>(std::max(start, 0), all.size());
    std::size_t last = all.size();
    if (count >= 0) {
        last = std::min(all.size(), first + static_cast<std::size_t>(count));
    }
    page.entries.assign(all.begin() + static_cast<std::ptrdiff_t>(first),
                        all.begin() + static_cast<std::ptrdiff_t>(last));
    if (first == 0) {
        page.index = JumpLabels(all);
    }
    return page;
}

std::vector<IndexLabel> JumpLabels(const std::vector<LibraryEntry>& entries) {
    std::vector<IndexLabel> index;
    if (entries.size() < 30 || !std::all_of(entries.begin(), entries.end(),
                                            [](const LibraryEntry& e) { return e.container; })) {
        return index;
    }
    std::string last;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const char first = entries[i].title.empty() ? '#' : entries[i].title[0];
        const std::string label =
            std::isalpha(static_cast<unsigned char>(first))
                ? std::string(1, static_cast<char>(std::toupper(static_cast<unsigned char>(first))))
                : "#";
        if (label != last) {
            index.push_back(IndexLabel{label, static_cast<std::int32_t>(i)});
            last = label;
        }
    }
    return index;
}

LibraryEntry SongEntry(const std::string& parent, LibraryEntry song) {
    song.container = false;
    song.path = (parent == "/" ? "" : parent) + "/" + std::to_string(song.id);
    return song;
}

}  // namespace vantor::server
