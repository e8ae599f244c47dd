#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <functional>

#include "media/LibraryBrowser.h"
#include "media/MediaService.h"
#include "protocol/Messages.h"
#include "support/TestServer.h"

namespace vantor {
namespace {

using testing::TestServer;

wire::MediaItem Item(wire::MediaItemType::type type, const std::string& title, bool container,
                     std::int32_t id = 0) {
    wire::MediaItem item;
    item.__set_type(type);
    item.__set_title(title);
    item.__set_container(container);
    item.__set_mediaId(id);
    return item;
}

TEST(LibraryRulesTest, IconsByTypeAndFolderTitle) {
    using T = wire::MediaItemType;
    struct Case {
        T::type type;
        const char* title;
        int icon;
    };
    const Case cases[] = {
        {T::PLAYLIST, "x", 9},
        {T::GENRE, "x", 4},
        {T::ARTIST, "x", 5},
        {T::TV_SERIES, "x", 5},
        {T::ALBUM, "x", 6},
        {T::PODCAST_SHOW, "x", 8},
        {T::PLAYLIST_FOLDER, "x", 10},
        {T::RADIO_FOLDER, "x", 10},
        {T::INFO, "x", 11},
        {T::MUSIC, "x", 7},
        {T::PODCAST, "x", 7},
        {T::MEDIA_UNKNOWN, "x", 7},
        {T::FOLDER, "Music", 0},
        {T::FOLDER, "Radio", 8},
        {T::FOLDER, "Music Videos", 1},
        {T::FOLDER, "TV", 2},
        {T::FOLDER, "Pictures", 3},
        {T::FOLDER, "Genres", 4},
        {T::FOLDER, "Artists", 5},
        {T::FOLDER, "Albums", 6},
        {T::FOLDER, "Songs", 7},
        {T::FOLDER, "Podcasts", 8},
        {T::FOLDER, "Playlists", 9},
        {T::FOLDER, "Other", -1},
        {T::FOLDER, "music", -1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(LibraryIcon(Item(c.type, c.title, true)), c.icon) << c.type << " " << c.title;
    }
}

TEST(LibraryRulesTest, ItemPaths) {
    using T = wire::MediaItemType;
    struct Case {
        wire::MediaItem item;
        const char* current;
        bool search;
        const char* path;
    };
    const Case cases[] = {
        {Item(T::ARTIST, "AC/DC", true), "/Music/Search/ac", true, "/Music/Artists/AC%2FDC"},
        {Item(T::GENRE, "Jazz", true), "/x", true, "/Music/Genres/Jazz"},
        {Item(T::ALBUM, "Blue", true), "/x", true, "/Music/Albums/Blue"},
        {Item(T::PLAYLIST_FOLDER, "Mine", true), "/x", true, "/Music/Playlists/Mine"},
        {Item(T::RADIO_FOLDER, "Live", true), "/x", true, "/Music/Radio/Live"},
        {Item(T::PODCAST_SHOW, "Talk", true), "/x", true, "/Podcasts/Talk"},
        {Item(T::MUSIC, "Song", false, 9), "/x", true, "/Music/Song"},
        {Item(T::MUSIC, "Song", false, 42), "/Music/Albums/X", false, "/Music/Albums/X/42"},
        {Item(T::ALBUM, "A/B", true), "/Music/Artists/Z", false, "/Music/Artists/Z/A%2FB"},
        {Item(T::FOLDER, "Music", true), "/", false, "/Music"},
        {Item(T::FOLDER, "Songs", true), "/Music/", false, "/Music/Songs"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(LibraryItemPath(c.item, c.current, c.search), c.path) << c.item.title;
    }
}

class FakeView final : public LibraryView {
public:
    void SetItemCount(int count, bool) override { itemCount = count; }
    void ClearRows() override {
        itemCount = 0;
        ++cleared;
    }
    void EnsureVisible(int) override {}
    void SelectRow(int row) override { selected = row; }
    int SelectedRow() const override { return selected; }
    int TopRow() const override { return 0; }
    void SetHeaderTitle(const std::string& title) override { header = title; }
    void SetSearchText(const std::string& text) override {
        searchText = text;
        if (onSearchText) {
            onSearchText(text);
        }
    }
    void StartSearchTimer() override { timer = true; }
    void StopSearchTimer() override { timer = false; }
    void StartRetryTimer(std::chrono::milliseconds) override {}

    int itemCount = 0;
    int cleared = 0;
    int selected = -1;
    std::string header;
    std::string searchText;
    bool timer = false;
    std::function<void(const std::string&)> onSearchText;
};

// Holds fetches until Deliver(), as a worker thread would, then answers them
// from the real media service.
class QueuedFetcher final : public LibraryFetcher {
public:
    explicit QueuedFetcher(MediaService& media) : media_(media) {}
    void FetchFolder(const std::string& path, int start, int count, bool withTotal) override {
        asked.push_back("folder " + path + " " + std::to_string(start) + " " +
                        std::to_string(count) + (withTotal ? " total" : ""));
        queue_.push_back([=, this, epoch = browser->FolderEpoch()] {
            browser->OnFolderPage(path, epoch, start,
                                  media_.FetchFolderPage(path, start, count, withTotal));
        });
    }
    void Search(const std::string& text, int start, int count) override {
        asked.push_back("search " + text + " " + std::to_string(start) + " " +
                        std::to_string(count));
        queue_.push_back(
            [=, this] { browser->OnSearchPage(text, media_.Search(text, start, count)); });
    }
    // Answers the oldest fetch still waiting.
    void DeliverOne() {
        auto next = std::move(queue_.front());
        queue_.pop_front();
        next();
    }
    void Deliver() {
        while (!queue_.empty()) {
            auto next = std::move(queue_.front());
            queue_.pop_front();
            next();
        }
    }

    LibraryBrowser* browser = nullptr;
    std::vector<std::string> asked;

private:
    MediaService& media_;
    std::deque<std::function<void()>> queue_;
};

class RecordingSink final : public RequestSink {
public:
    SendResult SendRequest(std::unique_ptr<Message>&& request) override {
        sent.push_back(std::move(request));
        return SendResult::Sent;
    }
    void CancelRequests(MessageType) override {}
    std::vector<std::unique_ptr<Message>> sent;
};

class LibraryBrowserTest : public ::testing::Test {
protected:
    LibraryBrowserTest() : media_(server_->MediaPort()), fetcher_(media_) {
        media_.SetHost("127.0.0.1");
        fetcher_.browser = &browser_;
        view_.onSearchText = [this](const std::string& text) { browser_.SearchTextChanged(text); };
    }

    // A row whose title is `title`, or -1.
    int RowOf(const std::string& title) const {
        for (int row = 0; row < view_.itemCount; ++row) {
            if (browser_.RowText(row) == title) {
                return row;
            }
        }
        return -1;
    }

    static testing::TestServer MakeServer() {
        auto options = testing::LoopbackServerOptions();
        options.songs = 3000;
        return testing::TestServer(options);
    }

    TestServer server_ = MakeServer();
    MediaService media_;
    FakeView view_;
    QueuedFetcher fetcher_;
    RecordingSink sink_;
    LibraryBrowser browser_{view_, fetcher_, sink_};
};

// Opening folders, their headers and going back to the row selected there
// are the list screen's story; here the rows of a long folder.
TEST_F(LibraryBrowserTest, RowsBeyondTheFirstPageAreAskedForOnce) {
    browser_.Show();
    EXPECT_EQ(fetcher_.asked, std::vector<std::string>{"folder / 0 1000 total"});
    EXPECT_EQ(browser_.RowText(0), "") << "blank until its page arrives";
    EXPECT_EQ(browser_.RowIcon(0), -1);
    fetcher_.Deliver();
    EXPECT_EQ(browser_.RowIcon(RowOf("Music")), 0);
    ASSERT_TRUE(browser_.Open(RowOf("Music")));
    fetcher_.Deliver();
    ASSERT_TRUE(browser_.Open(RowOf("Songs")));
    fetcher_.Deliver();
    EXPECT_EQ(view_.itemCount, 3000);
    EXPECT_FALSE(browser_.Open(0)) << "a song is no folder";

    // Rows beyond the first page are fetched as they come into view.
    EXPECT_EQ(browser_.RowText(2500), "");
    fetcher_.asked.clear();
    browser_.CacheHint(2490, 2510);
    browser_.CacheHint(2490, 2510);
    EXPECT_EQ(fetcher_.asked, std::vector<std::string>{"folder /Music/Songs 2000 1000"})
        << "asked once while on its way";
    fetcher_.Deliver();
    EXPECT_NE(browser_.RowText(2500), "");
}

// Short searches (twenty rows, then everything after a pause) are the list
// screen's story; here what it does not see.
TEST_F(LibraryBrowserTest, LongerSearchesAreWholeAndOneAtATime) {
    browser_.Show();
    fetcher_.Deliver();
    browser_.SearchTextChanged("elec");  // three or more: everything at once
    EXPECT_FALSE(view_.timer);
    EXPECT_EQ(fetcher_.asked.back(), "search elec 0 -1");
    browser_.SearchTextChanged("electr");  // still busy with the last one
    EXPECT_EQ(fetcher_.asked.back(), "search elec 0 -1");
    fetcher_.Deliver();
    EXPECT_EQ(fetcher_.asked.back(), "search electr 0 -1") << "what the box says now";
    EXPECT_TRUE(browser_.SearchMode());

    // Back from the results: the placeholder returns without searching.
    const auto asked = fetcher_.asked.size();
    EXPECT_TRUE(browser_.Back());
    EXPECT_EQ(view_.searchText, "Search");
    fetcher_.Deliver();
    EXPECT_FALSE(browser_.SearchMode());
    EXPECT_EQ(browser_.CurrentPath(), "/");
    EXPECT_EQ(fetcher_.asked.size(), asked + 1);
    EXPECT_EQ(fetcher_.asked.back(), "folder / 0 1000 total");
}

// What the screen shows answers what the user asked last: a search typed
// while a folder loads goes out, and results that come after the user
// opened a folder (or went back) do not replace it.
TEST_F(LibraryBrowserTest, SearchesAndFoldersDoNotOvertakeEachOther) {
    browser_.Show();
    fetcher_.Deliver();
    ASSERT_TRUE(browser_.Open(RowOf("Music")));  // its page on its way
    browser_.SearchTextChanged("elec");
    EXPECT_EQ(fetcher_.asked.back(), "search elec 0 -1");
    fetcher_.Deliver();
    EXPECT_TRUE(browser_.SearchMode());
    ASSERT_GT(view_.itemCount, 0);

    // From the results into a folder while a refined search is on its way.
    browser_.SearchTextChanged("elect");
    int folder = 0;
    while (folder < view_.itemCount && !browser_.Item(folder)->container) {
        ++folder;
    }
    ASSERT_TRUE(browser_.Open(folder));
    const std::string opened = browser_.CurrentPath();
    fetcher_.Deliver();
    EXPECT_FALSE(browser_.SearchMode());
    EXPECT_EQ(browser_.CurrentPath(), opened);

    // Back to the results, and back again before they come: the library.
    ASSERT_TRUE(browser_.Back());
    ASSERT_TRUE(browser_.Back());
    fetcher_.Deliver();
    EXPECT_FALSE(browser_.SearchMode());
    EXPECT_EQ(browser_.CurrentPath(), "/Music");
    EXPECT_EQ(view_.searchText, "Search");
    EXPECT_EQ(browser_.HistoryDepth(), 1u);
}

// A search typed and left for a folder before its results came was never
// shown: it leaves no step of its own in the way back.
TEST_F(LibraryBrowserTest, ASearchLeftBeforeItsResultsLeavesNoStepBack) {
    browser_.Show();
    fetcher_.Deliver();
    ASSERT_TRUE(browser_.Open(RowOf("Music")));
    fetcher_.Deliver();
    browser_.SearchTextChanged("elec");  // on its way
    ASSERT_TRUE(browser_.Open(RowOf("Songs")));
    fetcher_.Deliver();
    EXPECT_FALSE(browser_.SearchMode());
    ASSERT_TRUE(browser_.Back());
    fetcher_.Deliver();
    EXPECT_EQ(browser_.CurrentPath(), "/Music");
    ASSERT_TRUE(browser_.Back());
    fetcher_.Deliver();
    EXPECT_EQ(browser_.CurrentPath(), "/") << "a second Back stayed in /Music";
}

TEST_F(LibraryBrowserTest, EmptyAndPlaceholderTextsDoNotSearch) {
    browser_.Show();
    fetcher_.Deliver();
    const auto asked = fetcher_.asked.size();
    browser_.SearchTextChanged("Search");
    browser_.SearchTextChanged("");
    EXPECT_EQ(fetcher_.asked.size(), asked);
    EXPECT_EQ(view_.cleared, 0) << "not in search mode: nothing to empty";
    browser_.SearchTextChanged("mira");
    fetcher_.Deliver();
    browser_.SearchTextChanged("");
    EXPECT_EQ(view_.cleared, 1) << "the results are emptied";
}

TEST_F(LibraryBrowserTest, PlayNowAndAddToQueue) {
    browser_.Show();
    fetcher_.Deliver();
    browser_.Open(RowOf("Music"));
    fetcher_.Deliver();
    browser_.Open(RowOf("Artists"));
    fetcher_.Deliver();
    view_.selected = 0;
    ASSERT_TRUE(browser_.Command(LibraryCommand::PlayNow));
    const auto* play = As<PlayMediaRequest>(*sink_.sent.back());
    ASSERT_NE(play, nullptr);
    EXPECT_EQ(play->selector.libPath, LibraryItemPath(*browser_.Item(0), "/Music/Artists", false));
    EXPECT_EQ(play->selector.libPath.rfind("/Music/Artists/", 0), 0u);
    EXPECT_EQ(play->selector.id, -1);

    browser_.Open(0);
    fetcher_.Deliver();
    browser_.Open(0);
    fetcher_.Deliver();  // an album's songs
    view_.selected = 1;
    ASSERT_TRUE(browser_.Command(LibraryCommand::AddToQueue));
    const auto* add = As<PlaylistAddRequest>(*sink_.sent.back());
    ASSERT_NE(add, nullptr);
    EXPECT_EQ(add->selector.id, browser_.Item(1)->mediaId);
    EXPECT_TRUE(add->selector.libPath.empty());

    view_.selected = -1;
    EXPECT_FALSE(browser_.Command(LibraryCommand::PlayNow));
}

}  // namespace
}  // namespace vantor
