#include "media/PlayQueue.h"

#include <algorithm>

#include "protocol/Messages.h"

namespace vantor {

int RatingStars(int rating) {
    return rating < 0 ? 0 : (rating + 10) / 20;
}

PlayQueue::PlayQueue(PlayQueueView& view, PlayQueueFetcher& fetcher)
    : view_(view), fetcher_(fetcher) {}

void PlayQueue::FetchPage(int start, bool withTotal) {
    fetcher_.FetchPlaylist(start, kPageSize, withTotal);
}

void PlayQueue::SetRowCount(int count, bool sameList) {
    view_.SetItemCount(count, sameList);
}

void PlayQueue::StartRetryTimer(std::chrono::milliseconds pause) {
    view_.StartRetryTimer(pause);
}

void PlayQueue::Open(int position, int visibleRows) {
    view_.ClearRows();
    const int current = std::max(position, 0);
    scrollTo_ = current;
    rows_.Open(std::max(current - visibleRows, 0));
}

void PlayQueue::CacheHint(int first, int last) {
    rows_.Hint(first, last);
}

void PlayQueue::RetryDue() {
    rows_.RetryDue();
}

void PlayQueue::Changed() {
    rows_.Changed();
}

void PlayQueue::OnPage(int epoch, int start, std::shared_ptr<const wire::PlaylistPage> page) {
    if (rows_.Answer(epoch, start, std::move(page)) && scrollTo_ >= 0 && rows_.Count() >= 0) {
        view_.EnsureVisible(scrollTo_);
        scrollTo_ = -1;
    }
}

std::string PlayQueue::RowText(int row) const {
    const wire::MediaItem* item = rows_.Item(row);
    return item ? item->title : std::string();
}

PlayQueueMenu PlayQueue::Menu(int row, int currentPosition, int currentRating) const {
    PlayQueueMenu menu;
    menu.rating = row == currentPosition && currentRating >= 0;
    menu.checkedStars = RatingStars(currentRating);
    return menu;
}

QueueRowMark PlayQueue::Mark(int row, int currentPosition) const {
    const wire::MediaItem* item = rows_.Item(row);
    return QueueRowMark{row, rows_.Epoch(), rows_.Count(), item ? item->mediaId : -1,
                        currentPosition};
}

std::unique_ptr<Message> PlayQueue::Command(QueueCommand command, const QueueRowMark& mark,
                                            int currentPosition, int stars) const {
    // The same queue as when the menu opened, or one whose entry at that
    // row is the same (a song of the same id at the same place).
    const wire::MediaItem* item = rows_.Item(mark.row);
    const bool same = mark.epoch == rows_.Epoch() && mark.count == rows_.Count();
    const bool there =
        same || (item != nullptr && mark.mediaId >= 0 && item->mediaId == mark.mediaId);
    if (!there || mark.row < 0 || mark.row >= std::max(rows_.Count(), 0)) {
        return nullptr;
    }
    if (command == QueueCommand::Rate && currentPosition != mark.current) {
        return nullptr;  // the rating was offered for the song then playing
    }
    return Command(command, mark.row, stars);
}

std::unique_ptr<Message> PlayQueue::Command(QueueCommand command, int row, int stars) const {
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
