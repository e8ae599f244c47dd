// Feeds arbitrary bytes to the decoding of media pages, as a hostile or
// broken server's body would arrive: truncated structs, lists claiming
// billions of items, fields of the wrong type. Decoding must fail cleanly,
// and a decoded page must be safe to show.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "media/MediaPages.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vantor;
    auto list = std::make_shared<wire::MediaList>();
    if (DecodeMediaList(data, size, list.get())) {
        PageCache<wire::MediaList> cache;
        cache.Store(list);
        const long start = list->start;
        for (long row = start - 1; row <= start + static_cast<long>(list->items.size()); ++row) {
            if (row >= 0 && row <= 0x7FFFFFFF) {
                (void)cache.Item(static_cast<int>(row));
            }
        }
    }
    wire::PlaylistPage page;
    (void)DecodePlaylistPage(data, size, &page);
    return 0;
}
