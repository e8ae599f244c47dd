#pragma once

// Pages of the media service: decoding a body into its struct, and the
// caches that keep decoded pages by page number (start / 1000).

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/wire/media_types.h"

namespace vantor {

inline constexpr int kPageSize = 1000;

// Limits that keep a hostile page from making the decoder allocate without
// bound: no string above 1 MiB, no list above 100 000 entries.
inline constexpr std::int32_t kMaxPageString = 1024 * 1024;
inline constexpr std::int32_t kMaxPageList = 100000;

// Reads a bare struct (no message envelope) in the binary protocol from the
// bytes in place. False, with a log line, when the bytes are not one; false
// without one for an empty body, which holds nothing to show.
bool DecodeMediaList(const std::uint8_t* data, std::size_t size, wire::MediaList* list);
bool DecodePlaylistPage(const std::uint8_t* data, std::size_t size, wire::PlaylistPage* page);

// The writer's side, for the server and tests.
std::string EncodeMediaList(const wire::MediaList& list);
std::string EncodePlaylistPage(const wire::PlaylistPage& page);

// Decoded pages by page number, shared with whoever is showing them. A new
// page replaces the one in its slot. Owned and used by one thread (the
// view's).
template <class Page>
class PageCache {
public:
    void Store(std::shared_ptr<const Page> page) {
        const std::size_t slot = static_cast<std::size_t>(std::max(page->start, 0) / kPageSize);
        if (pages_.size() < slot + 1) {
            pages_.resize(slot + 1);
        }
        pages_[slot] = std::move(page);
    }
    void Clear() { pages_.clear(); }
    std::size_t Slots() const { return pages_.size(); }
    std::shared_ptr<const Page> Slot(std::size_t slot) const {
        return slot < pages_.size() ? pages_[slot] : nullptr;
    }
    // The item shown at a row, or null while its page is not here.
    const wire::MediaItem* Item(int row) const {
        if (row < 0) {
            return nullptr;
        }
        const auto& page = Slot(static_cast<std::size_t>(row / kPageSize));
        if (!page) {
            return nullptr;
        }
        const long offset = static_cast<long>(row) - page->start;
        if (offset < 0 || offset >= static_cast<long>(page->items.size())) {
            return nullptr;
        }
        return &page->items[static_cast<std::size_t>(offset)];
    }

private:
    std::vector<std::shared_ptr<const Page>> pages_;
};

}  // namespace vantor
