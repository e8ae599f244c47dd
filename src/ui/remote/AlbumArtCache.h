#pragma once

// Album art fetched before, kept by its URL in the client's own folder, so
// going back to a song shows its art without fetching it again. The oldest
// pictures go once there are more than the capacity, and a new run starts
// with none (a server may change a picture behind the same URL between
// runs).
//
// Threads: the window's thread only.

#include <cstddef>
#include <string>

namespace vantor::ui {

class AlbumArtCache {
public:
    explicit AlbumArtCache(std::string folder, std::size_t capacity = 64);

    // The kept copy of the picture at `url`, or empty.
    std::string Find(const std::string& url) const;
    // Keeps a copy of `file` as the picture at `url`; its path, or empty
    // when it could not be kept.
    std::string Keep(const std::string& url, const std::string& file);

private:
    std::string PathFor(const std::string& url) const;
    void Prune() const;

    std::string folder_;
    std::size_t capacity_;
};

}  // namespace vantor::ui
