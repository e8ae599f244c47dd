#pragma once

// Pages of the media service: decoding a body into its struct, and the
// caches that keep decoded pages by page number (start / 1000).

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/GrowingPause.h"
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

// What a PagedList needs of the list it reads for.
class PagedListOwner {
public:
    virtual ~PagedListOwner() = default;
    // Fetch the page at `start` off the view's thread; the answer comes back
    // through PagedList::Answer with the list's Epoch() as it is now.
    virtual void FetchPage(int start, bool withTotal) = 0;
    // The list's length as the server gives it. `sameList` when an open
    // list changed length: the rows that are left keep their place.
    virtual void SetRowCount(int count, bool sameList) = 0;
    // Call PagedList::RetryDue once `pause` has passed (once: a later start
    // replaces an earlier one).
    virtual void StartRetryTimer(std::chrono::milliseconds pause) = 0;
};

// The rows of a list read a page at a time. A page is asked for once at a
// time; one whose fetch failed is asked for again only after a pause that
// grows with each failure in a row (as reconnecting does), so a media
// service that is away is never asked in a loop. The server's total is the
// list's length; an answer that does not fit the list (the page is not
// where it was asked for, or holds other than the rows left) means the list
// changed, and the total is asked for. Counts and starts come from the
// server and are trusted for nothing: a page is kept only at the place it
// was asked for, so what is held never outgrows the rows shown.
//
// Owned and used by one thread (the view's).
template <class Page>
class PagedList {
public:
    static constexpr std::chrono::milliseconds kFirstRetry{250};
    static constexpr std::chrono::milliseconds kRetryCap{4000};

    explicit PagedList(PagedListOwner& owner) : owner_(owner) {}

    // A new list, its length unknown; the page holding `row` is asked for
    // with the total.
    void Open(int row) {
        Forget();
        opened_ = true;
        openStart_ = std::max(row, 0) / kPageSize * kPageSize;
        Ask(openStart_, true);
    }
    // Nothing held or awaited; answers on their way are dropped.
    void Forget() {
        ++epoch_;
        pages_.Clear();
        whole_.reset();
        asked_.clear();
        failed_.clear();
        count_ = -1;
        opened_ = false;
        hinted_ = false;
    }
    // The list is shown whole from one page asked for at 0 (search
    // results), `count` rows of it.
    void Hold(std::shared_ptr<const Page> page, int count) {
        Forget();
        if (page->start == 0) {
            whole_ = page;
            pages_.Store(std::move(page));
        }
        count_ = whole_ ? count : 0;
        owner_.SetRowCount(count_, false);
    }
    // Rows first to last are in view: their pages are asked for unless held,
    // on their way, or failed lately.
    void Hint(int first, int last) {
        if (first < 0 || last < first) {
            return;
        }
        hinted_ = true;
        firstInView_ = first;
        lastInView_ = last;
        for (const int row : {first, last}) {
            const int slot = row / kPageSize;
            if ((count_ < 0 || row < count_) && !pages_.Slot(static_cast<std::size_t>(slot)) &&
                MayAsk(slot)) {
                Ask(slot * kPageSize, false);
            }
        }
    }
    // The list changed on the server: the pages held are dropped, the length
    // kept until the server gives the new one, and the rows in view asked
    // for again with the total.
    void Changed() {
        if (!opened_) {
            return;
        }
        ++epoch_;
        pages_.Clear();
        asked_.clear();
        failed_.clear();
        Ask(hinted_ ? firstInView_ / kPageSize * kPageSize : openStart_, true);
        if (hinted_) {
            Hint(firstInView_, lastInView_);
        }
    }
    // The answer to the page asked for at `start` in `epoch` (null: the
    // fetch failed). True when the page was kept.
    bool Answer(int epoch, int start, std::shared_ptr<const Page> page) {
        const int slot = start / kPageSize;
        const auto asked = asked_.find(slot);
        if (epoch != epoch_ || start < 0 || asked == asked_.end()) {
            return false;  // asked for a list shown before
        }
        const bool withTotal = asked->second;
        asked_.erase(asked);
        if (!page) {
            Fail(slot);
            return false;
        }
        const int total = page->totalCount;
        const bool resized = total >= 0 && total != count_;
        if (resized) {
            const bool sameList = count_ >= 0;
            if (sameList) {
                pages_.Clear();  // of the list before the change
            }
            count_ = total;
            owner_.SetRowCount(total, sameList);
        }
        if (page->start != start) {
            // Not the rows asked for: the list is shorter than it was, or
            // the server is confused.
            if (!resized) {
                if (withTotal) {
                    Fail(slot);
                } else {
                    Ask(start, true);
                }
            }
            return false;
        }
        const long rows = static_cast<long>(page->items.size());
        const bool fits = count_ < 0 || rows == std::clamp(count_ - start, 0, kPageSize);
        pages_.Store(std::move(page));
        failures_ = 0;
        if (!fits && !withTotal && total < 0) {
            Ask(start, true);  // the list changed length: how long is it now
        }
        return true;
    }
    // The pause after a failure has passed: the rows in view are asked for
    // again.
    void RetryDue() {
        failed_.clear();
        if (count_ < 0 && opened_) {
            if (MayAsk(openStart_ / kPageSize)) {
                Ask(openStart_, true);
            }
        } else if (hinted_) {
            Hint(firstInView_, lastInView_);
        }
    }

    int Epoch() const { return epoch_; }
    int Count() const { return count_; }  // -1 while unknown
    const PageCache<Page>& Pages() const { return pages_; }
    const wire::MediaItem* Item(int row) const {
        if (whole_) {
            return row >= 0 && row < static_cast<int>(whole_->items.size())
                       ? &whole_->items[static_cast<std::size_t>(row)]
                       : nullptr;
        }
        return pages_.Item(row);
    }

private:
    bool MayAsk(int slot) const { return !asked_.contains(slot) && !failed_.contains(slot); }
    void Ask(int start, bool withTotal) {
        asked_[start / kPageSize] = withTotal;
        owner_.FetchPage(start, withTotal);
    }
    void Fail(int slot) {
        if (failed_.empty()) {
            ++failures_;
            owner_.StartRetryTimer(GrowingPause(kFirstRetry, kRetryCap, failures_));
        }
        failed_.insert(slot);
    }

    PagedListOwner& owner_;
    PageCache<Page> pages_;
    std::shared_ptr<const Page> whole_;  // a list held whole
    std::map<int, bool> asked_;          // slots on their way, and whether with the total
    std::set<int> failed_;               // slots that failed since the last retry
    int failures_ = 0;                   // failed rounds in a row
    int epoch_ = 0;
    int count_ = -1;
    bool opened_ = false;
    int openStart_ = 0;
    bool hinted_ = false;
    int firstInView_ = 0;
    int lastInView_ = 0;
};

}  // namespace vantor
