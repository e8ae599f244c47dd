#pragma once

// The Playlist screen's logic without its widgets: the server's play queue
// as a virtual list over pages, opened near the entry now playing, and the
// commands of its popup menu.
//
// Threads: every method runs on the window's thread.

#include <memory>
#include <set>
#include <string>

#include "media/MediaPages.h"
#include "protocol/Message.h"

namespace vantor {

// What a row's popup menu does to the selected entry.
enum class QueueCommand { Play, Remove, Rate };

class PlayQueueView {
public:
    virtual ~PlayQueueView() = default;
    virtual void ClearRows() = 0;
    virtual void SetItemCount(int count) = 0;
    virtual void EnsureVisible(int row) = 0;
    virtual int SelectedRow() const = 0;  // -1 for none
};

class PlayQueueFetcher {
public:
    virtual ~PlayQueueFetcher() = default;
    // Fetch off the window's thread; the page (null on failure) comes back
    // through PlayQueue::OnPage on the window's thread.
    virtual void FetchPlaylist(int start, int count, bool withTotal) = 0;
};

// The popup menu for a row.
struct PlayQueueMenu {
    bool rating = false;   // the "Rating" submenu is offered
    int checkedStars = 0;  // 0 ("None") to 5
};

// Stars for a rating on the 0-100 scale, 20 a star, halves rounded up.
int RatingStars(int rating);

class PlayQueue {
public:
    PlayQueue(PlayQueueView& view, PlayQueueFetcher& fetcher);

    // Shows the queue around the entry now playing (`position`, 0 when
    // negative), `visibleRows` at a time.
    void Open(int position, int visibleRows);
    void CacheHint(int first, int last);
    void OnPage(std::shared_ptr<const wire::PlaylistPage> page);

    std::string RowText(int row) const;
    const wire::MediaItem* Item(int row) const { return pages_.Item(row); }

    PlayQueueMenu Menu(int row, int currentPosition, int currentRating) const;
    // The request for a menu command on the selected row (Rate gives the
    // playing entry `stars`, 0 to 5); null when the command needs a row and
    // none is selected, or the stars are out of range.
    std::unique_ptr<Message> Command(QueueCommand command, int stars = 0) const;

private:
    void Fetch(int start, bool withTotal);

    PlayQueueView& view_;
    PlayQueueFetcher& fetcher_;
    PageCache<wire::PlaylistPage> pages_;
    std::set<int> pagesAsked_;
    int scrollTo_ = -1;
};

}  // namespace vantor
