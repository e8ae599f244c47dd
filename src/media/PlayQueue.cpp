#include "media/PlayQueue.h"

#include <algorithm>

#include "protocol/Messages.h"

namespace vantor {

int RatingStars(int rating) {
    return rating < 0 ? 0 : (rating + 10) / 20;
}

PlayQueue::PlayQueue(PlayQueueView& view, PlayQueueFetcher& fetcher)
    : view_(view), fetcher_(fetcher) {}

void PlayQueue::Fetch(int start, bool withTotal) {
    pagesAsked_.insert(start / kPageSize);
    fetcher_.FetchPlaylist(start, kPageSize, withTotal);
}

void PlayQueue::Open(int position, int visibleRows) {
    view_.ClearRows();
    pages_.Clear();
    pagesAsked_.clear();
    const int current = std::max(position, 0);
    const int first = std::max(current - visibleRows, 0);
    scrollTo_ = current;
    Fetch(first / kPageSize * kPageSize, true);
}

void PlayQueue::CacheHint(int first, int last) {
    for (const int row : {first, last}) {
        const int page = row / kPageSize;
        if (row >= 0 && pages_.Item(row) == nullptr && !pagesAsked_.contains(page)) {
            Fetch(page * kPageSize, false);
        }
    }
}

void PlayQueue::OnPage(std::shared_ptr<const wire::PlaylistPage> page) {
    if (!page) {
        pagesAsked_.clear();  // a failed fetch may be asked for again
        return;
    }
    pagesAsked_.erase(std::max(page->start, 0) / kPageSize);
    const int total = page->totalCount;
    pages_.Store(std::move(page));
    if (total != -1) {
        view_.SetItemCount(total);
    }
    if (scrollTo_ >= 0) {
        view_.EnsureVisible(scrollTo_);
        scrollTo_ = -1;
    }
}

std::string PlayQueue::RowText(int row) const {
    const wire::MediaItem* item = pages_.Item(row);
    return item ? item->title : std::string();
}

PlayQueueMenu PlayQueue::Menu(int row, int currentPosition, int currentRating) const {
    PlayQueueMenu menu;
    menu.rating = row == currentPosition && currentRating >= 0;
    menu.checkedStars = RatingStars(currentRating);
    return menu;
}

std::unique_ptr<Message> PlayQueue::Command(QueueCommand command, int stars) const {
    const int row = view_.SelectedRow();
    const auto atRow = [row]<class Request>(std::unique_ptr<Request> request) {
        request->position = row;
        return std::unique_ptr<Message>(row < 0 ? nullptr : std::move(request));
    };
    switch (command) {
        case QueueCommand::Play:
            return atRow(std::make_unique<SetPlaylistPositionRequest>());
        case QueueCommand::Remove:
            return atRow(std::make_unique<PlaylistRemoveRequest>());
        case QueueCommand::Rate: {
            if (stars < 0 || stars > 5) {
                return nullptr;
            }
            auto request = std::make_unique<SetTrackRatingRequest>();
            request->rating = stars * 20;
            return request;
        }
    }
    return nullptr;
}

}  // namespace vantor
