#include <gtest/gtest.h>

#include "media/PlayQueue.h"
#include "protocol/Messages.h"

namespace vantor {
namespace {

class FakeQueueView final : public PlayQueueView {
public:
    void ClearRows() override { ++cleared; }
    void SetItemCount(int count) override { itemCount = count; }
    void EnsureVisible(int row) override { visible = row; }
    int SelectedRow() const override { return selected; }
    int cleared = 0;
    int itemCount = -1;
    int visible = -1;
    int selected = -1;
};

class RecordingFetcher final : public PlayQueueFetcher {
public:
    void FetchPlaylist(int start, int count, bool withTotal) override {
        asked.push_back(std::to_string(start) + " " + std::to_string(count) +
                        (withTotal ? " total" : ""));
    }
    std::vector<std::string> asked;
};

std::shared_ptr<const wire::PlaylistPage> Page(int start, int items, int total) {
    auto page = std::make_shared<wire::PlaylistPage>();
    page->__set_start(start);
    if (total >= 0) {
        page->__set_totalCount(total);
    }
    for (int i = 0; i < items; ++i) {
        wire::MediaItem item;
        item.__set_title("Song " + std::to_string(start + i));
        page->items.push_back(item);
    }
    return page;
}

TEST(PlayQueueTest, OpensNearTheSongPlaying) {
    FakeQueueView view;
    RecordingFetcher fetcher;
    PlayQueue queue(view, fetcher);
    queue.Open(2500, 10);
    EXPECT_EQ(view.cleared, 1);
    EXPECT_EQ(fetcher.asked, std::vector<std::string>{"2000 1000 total"});
    queue.OnPage(Page(2000, 1000, 4000));
    EXPECT_EQ(view.itemCount, 4000);
    EXPECT_EQ(view.visible, 2500);
    EXPECT_EQ(queue.RowText(2500), "Song 2500");
    EXPECT_EQ(queue.RowText(3000), "") << "blank until its page arrives";

    fetcher.asked.clear();
    queue.CacheHint(2995, 3005);
    EXPECT_EQ(fetcher.asked, std::vector<std::string>{"3000 1000"});
    queue.OnPage(Page(3000, 1000, -1));
    EXPECT_EQ(view.itemCount, 4000) << "a total of -1 leaves the count";

    RecordingFetcher near;
    PlayQueue top(view, near);
    top.Open(-3, 10);
    top.Open(5, 10);
    EXPECT_EQ(near.asked, (std::vector<std::string>{"0 1000 total", "0 1000 total"}));
}

TEST(PlayQueueTest, TheRatingSubmenu) {
    FakeQueueView view;
    RecordingFetcher fetcher;
    PlayQueue queue(view, fetcher);
    struct Case {
        int row;
        int current;
        int rating;
        bool shown;
        int stars;
    };
    const Case cases[] = {{4, 4, 50, true, 3}, {4, 4, 0, true, 0},  {4, 4, 100, true, 5},
                          {4, 4, 30, true, 2}, {4, 4, 29, true, 1}, {4, 4, -1, false, 0},
                          {3, 4, 60, false, 3}};
    for (const Case& c : cases) {
        const PlayQueueMenu menu = queue.Menu(c.row, c.current, c.rating);
        EXPECT_EQ(menu.rating, c.shown) << c.rating;
        EXPECT_EQ(menu.checkedStars, c.stars) << c.rating;
    }
}

TEST(PlayQueueTest, MenuCommands) {
    FakeQueueView view;
    RecordingFetcher fetcher;
    PlayQueue queue(view, fetcher);
    EXPECT_EQ(queue.Command(QueueCommand::Play), nullptr) << "no row selected";
    EXPECT_EQ(queue.Command(QueueCommand::Remove), nullptr) << "no row selected";
    view.selected = 7;
    const auto play = queue.Command(QueueCommand::Play);
    ASSERT_NE(As<SetPlaylistPositionRequest>(*play), nullptr);
    EXPECT_EQ(As<SetPlaylistPositionRequest>(*play)->position, 7);
    const auto remove = queue.Command(QueueCommand::Remove);
    ASSERT_NE(As<PlaylistRemoveRequest>(*remove), nullptr);
    EXPECT_EQ(As<PlaylistRemoveRequest>(*remove)->position, 7);
    for (const auto& [stars, rating] : {std::pair{0, 0}, {3, 60}, {5, 100}}) {
        const auto rate = queue.Command(QueueCommand::Rate, stars);
        ASSERT_NE(As<SetTrackRatingRequest>(*rate), nullptr);
        EXPECT_EQ(As<SetTrackRatingRequest>(*rate)->rating, rating);
    }
    EXPECT_EQ(queue.Command(QueueCommand::Rate, 6), nullptr);
}

}  // namespace
}  // namespace vantor
