#include <gtest/gtest.h>

#include <chrono>

#include "media/PlayQueue.h"
#include "protocol/Messages.h"

namespace vantor {
namespace {

class FakeQueueView final : public PlayQueueView {
public:
    void ClearRows() override { ++cleared; }
    void SetItemCount(int count, bool keepPlace) override {
        itemCount = count;
        keptPlace = keepPlace;
    }
    void EnsureVisible(int row) override { visible = row; }
    void StartRetryTimer(std::chrono::milliseconds pause) override { retry = pause; }
    int cleared = 0;
    int itemCount = -1;
    bool keptPlace = false;
    int visible = -1;
    std::chrono::milliseconds retry{0};
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
    queue.OnPage(queue.Epoch(), 2000, Page(2000, 1000, 4000));
    EXPECT_EQ(view.itemCount, 4000);
    EXPECT_EQ(view.visible, 2500);
    EXPECT_EQ(queue.RowText(2500), "Song 2500");
    EXPECT_EQ(queue.RowText(3000), "") << "blank until its page arrives";

    fetcher.asked.clear();
    queue.CacheHint(2995, 3005);
    EXPECT_EQ(fetcher.asked, std::vector<std::string>{"3000 1000"});
    queue.OnPage(queue.Epoch(), 3000, Page(3000, 1000, -1));
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

// With the media service away (the player restarting, a 503 for every
// page), a page in view is asked for once at a time and, once failed, only
// when its pause is over: the pause grows with each failure in a row.
TEST(PlayQueueTest, AFailedPageIsAskedAgainAfterAGrowingPause) {
    using std::chrono::milliseconds;
    FakeQueueView view;
    RecordingFetcher fetcher;
    PlayQueue queue(view, fetcher);
    queue.Open(0, 10);
    queue.OnPage(queue.Epoch(), 0, Page(0, 1000, 6000));
    fetcher.asked.clear();
    queue.CacheHint(4321, 4330);
    queue.CacheHint(4321, 4330);
    EXPECT_EQ(fetcher.asked, std::vector<std::string>{"4000 1000"}) << "once while on its way";

    for (const milliseconds pause : {milliseconds(250), milliseconds(500), milliseconds(1000),
                                     milliseconds(2000), milliseconds(4000), milliseconds(4000)}) {
        fetcher.asked.clear();
        queue.OnPage(queue.Epoch(), 4000, nullptr);
        EXPECT_EQ(view.retry, pause);
        queue.CacheHint(4321, 4330);  // the list asks after every delivery
        EXPECT_TRUE(fetcher.asked.empty()) << "not before its pause is over";
        queue.RetryDue();
        EXPECT_EQ(fetcher.asked, std::vector<std::string>{"4000 1000"});
    }
    queue.OnPage(queue.Epoch(), 4000, Page(4000, 1000, -1));
    EXPECT_EQ(queue.RowText(4321), "Song 4321");
    queue.CacheHint(5500, 5510);
    queue.OnPage(queue.Epoch(), 5000, nullptr);
    EXPECT_EQ(view.retry, milliseconds(250)) << "a page that came starts the pause over";

    // A queue whose first page failed is opened again when the pause is over.
    RecordingFetcher opening;
    PlayQueue away(view, opening);
    away.Open(2500, 10);
    away.OnPage(away.Epoch(), 2000, nullptr);
    away.RetryDue();
    EXPECT_EQ(opening.asked, (std::vector<std::string>{"2000 1000 total", "2000 1000 total"}));
}

// A queue that changed length on the server mixes no old rows with new ones,
// and rows beyond the new end are not awaited for ever: the total is read
// again. A server that answers pages where none were asked is not asked in
// a loop.
TEST(PlayQueueTest, AQueueThatShrankIsReadAgain) {
    FakeQueueView view;
    RecordingFetcher fetcher;
    PlayQueue queue(view, fetcher);
    queue.Open(0, 10);
    queue.OnPage(queue.Epoch(), 0, Page(0, 1000, 5000));
    EXPECT_FALSE(view.keptPlace) << "a new queue";
    queue.CacheHint(2100, 2110);
    queue.OnPage(queue.Epoch(), 2000, Page(2000, 1000, -1));
    fetcher.asked.clear();

    // Now 2500 long: the page at 3000 comes back where the queue ends.
    queue.CacheHint(3000, 3010);
    queue.OnPage(queue.Epoch(), 3000, Page(2500, 0, -1));
    EXPECT_EQ(fetcher.asked, (std::vector<std::string>{"3000 1000", "3000 1000 total"}));
    queue.OnPage(queue.Epoch(), 3000, Page(2500, 0, 2500));
    EXPECT_EQ(view.itemCount, 2500);
    EXPECT_TRUE(view.keptPlace) << "the same queue, shorter";
    EXPECT_EQ(queue.RowText(2100), "") << "a row of the queue before";
    fetcher.asked.clear();
    queue.CacheHint(2100, 2110);
    EXPECT_EQ(fetcher.asked, std::vector<std::string>{"2000 1000"});

    // A short page without a total: the total is asked for.
    queue.OnPage(queue.Epoch(), 2000, Page(2000, 300, -1));
    EXPECT_EQ(fetcher.asked.back(), "2000 1000 total");
    queue.OnPage(queue.Epoch(), 2000, Page(2000, 300, 2300));
    EXPECT_EQ(view.itemCount, 2300);
    EXPECT_EQ(queue.RowText(2100), "Song 2100");

    // Changed on the server: the rows in view are read again with the total,
    // and answers asked for before the change are dropped.
    const int before = queue.Epoch();
    fetcher.asked.clear();
    queue.Changed();
    EXPECT_EQ(fetcher.asked, std::vector<std::string>{"2000 1000 total"});
    queue.OnPage(before, 2000, Page(2000, 300, 2300));
    EXPECT_EQ(queue.RowText(2100), "");
    queue.OnPage(queue.Epoch(), 2000, Page(2000, 300, 2300));
    EXPECT_EQ(queue.RowText(2100), "Song 2100");

    // Every page answered at 0, whatever was asked: asked again only after
    // the pause.
    fetcher.asked.clear();
    queue.CacheHint(1500, 1510);
    queue.OnPage(queue.Epoch(), 1000, Page(0, 1000, 2300));
    queue.CacheHint(1500, 1510);
    EXPECT_EQ(fetcher.asked, (std::vector<std::string>{"1000 1000", "1000 1000 total"}));
    queue.OnPage(queue.Epoch(), 1000, Page(0, 1000, 2300));
    queue.CacheHint(1500, 1510);
    EXPECT_EQ(fetcher.asked.size(), 2u);
    EXPECT_EQ(view.retry, std::chrono::milliseconds(250));
}

TEST(PlayQueueTest, MenuCommands) {
    FakeQueueView view;
    RecordingFetcher fetcher;
    PlayQueue queue(view, fetcher);
    EXPECT_EQ(queue.Command(QueueCommand::Play, -1), nullptr) << "no row selected";
    EXPECT_EQ(queue.Command(QueueCommand::Remove, -1), nullptr) << "no row selected";
    const auto play = queue.Command(QueueCommand::Play, 7);
    ASSERT_NE(As<SetPlaylistPositionRequest>(*play), nullptr);
    EXPECT_EQ(As<SetPlaylistPositionRequest>(*play)->position, 7);
    const auto remove = queue.Command(QueueCommand::Remove, 7);
    ASSERT_NE(As<PlaylistRemoveRequest>(*remove), nullptr);
    EXPECT_EQ(As<PlaylistRemoveRequest>(*remove)->position, 7);
    for (const auto& [stars, rating] : {std::pair{0, 0}, {3, 60}, {5, 100}}) {
        const auto rate = queue.Command(QueueCommand::Rate, 7, stars);
        ASSERT_NE(As<SetTrackRatingRequest>(*rate), nullptr);
        EXPECT_EQ(As<SetTrackRatingRequest>(*rate)->rating, rating);
    }
    EXPECT_EQ(queue.Command(QueueCommand::Rate, 7, 6), nullptr);
}

}  // namespace
}  // namespace vantor
