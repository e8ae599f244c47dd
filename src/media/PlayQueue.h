#pragma once

// The Playlist screen's logic without its widgets: the server's play queue
// as a virtual list over pages, opened near the entry now playing, and the
// commands of its popup menu.
//
// Threads: every method runs on the window's thread.

#include <chrono>
#include <memory>
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
    // The queue's length; `keepPlace` when the queue shown changed length
    // (the rows left keep their place and the selection).
    virtual void SetItemCount(int count, bool keepPlace) = 0;
    virtual void EnsureVisible(int row) = 0;
    // PlayQueue::RetryDue after `pause` (a later start replaces the first).
    virtual void StartRetryTimer(std::chrono::milliseconds pause) = 0;
};

class PlayQueueFetcher {
public:
    virtual ~PlayQueueFetcher() = default;
    // Fetch off the window's thread; the page (null on failure) comes back
    // through PlayQueue::OnPage on the window's thread, with the queue's
    // Epoch() as it was when asked.
    virtual void FetchPlaylist(int start, int count, bool withTotal) = 0;
};

// The popup menu for a row.
struct PlayQueueMenu {
    bool rating = false;   // the "Rating" submenu is offered
    int checkedStars = 0;  // 0 ("None") to 5
};

// Stars for a rating on the 0-100 scale, 20 a star, halves rounded up.
int RatingStars(int rating);

// A row as its popup menu was opened on it: the menu acts on that entry,
// or on nothing once it has gone.
struct QueueRowMark {
    int row = -1;
    int epoch = -1;    // of the queue's pages then
    int count = -1;    // the queue's length then
    int mediaId = -1;  // the entry's, -1 when its page was away
    int current = -1;  // the entry playing then
};

class PlayQueue final : private PagedListOwner {
public:
    PlayQueue(PlayQueueView& view, PlayQueueFetcher& fetcher);

    // Shows the queue around the entry now playing (`position`, 0 when
    // negative), `visibleRows` at a time.
    void Open(int position, int visibleRows);
    void CacheHint(int first, int last);
    void OnPage(int epoch, int start, std::shared_ptr<const wire::PlaylistPage> page);
    // The pause after a failed fetch has passed.
    void RetryDue();
    // The server's queue changed: its rows are read again where the user
    // is, the place and the length kept until the server gives the new one.
    void Changed();
    // Nothing shown or awaited (the session ended).
    void Forget() { rows_.Forget(); }
    int Epoch() const { return rows_.Epoch(); }

    std::string RowText(int row) const;
    const wire::MediaItem* Item(int row) const { return rows_.Item(row); }

    PlayQueueMenu Menu(int row, int currentPosition, int currentRating) const;
    QueueRowMark Mark(int row, int currentPosition) const;
    // The request for a menu command on `row` (Rate gives the playing entry
    // `stars`, 0 to 5); null when the row is -1 or the stars are out of
    // range.
    std::unique_ptr<Message> Command(QueueCommand command, int row, int stars = 0) const;
    // The same on the row a menu was opened on; null when that entry has
    // gone since (the queue changed under it; for a rating, the song playing
    // changed).
    std::unique_ptr<Message> Command(QueueCommand command, const QueueRowMark& mark,
                                     int currentPosition, int stars = 0) const;

private:
    // PagedListOwner
    void FetchPage(int start, bool withTotal) override;
    void SetRowCount(int count, bool sameList) override;
    void StartRetryTimer(std::chrono::milliseconds pause) override;

    PlayQueueView& view_;
    PlayQueueFetcher& fetcher_;
    PagedList<wire::PlaylistPage> rows_{*this};
    int scrollTo_ = -1;
};

}  // namespace vantor
