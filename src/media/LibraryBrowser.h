#pragma once

// The Library screen's logic without its widgets: a virtual list over pages
// of library folders (or search results), the path of each item, the
// history of lists visited, the search box's rules and the item commands.
// The window supplies a LibraryView (the list and its companions), a
// LibraryFetcher that fetches pages off its thread and hands each back
// through OnFolderPage/OnSearchPage, and a RequestSink to the server.
//
// Threads: every method runs on the window's thread.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/MediaPages.h"
#include "protocol/Message.h"
#include "protocol/SendResult.h"

namespace vantor {

inline constexpr const char* kSearchPlaceholder = "Search";
inline constexpr const char* kLibraryRootTitle = "Media Library";
inline constexpr const char* kSearchResultsTitle = "Search Results";
inline constexpr int kShortSearchCount = 20;
// What a row's popup menu does with the selected item.
enum class LibraryCommand { PlayNow, AddToQueue };

// The row icon (an index into the screen's image list) for an item; -1 for
// none.
int LibraryIcon(const wire::MediaItem& item);

// The library path of an item listed under `currentPath`.
std::string LibraryItemPath(const wire::MediaItem& item, const std::string& currentPath,
                            bool searchMode);

class LibraryView {
public:
    virtual ~LibraryView() = default;
    // The list's row count, set with redrawing held off. `keepPlace` when
    // the list shown changed length: the rows left keep their place and the
    // selection.
    virtual void SetItemCount(int count, bool keepPlace) = 0;
    // Deletes every row.
    virtual void ClearRows() = 0;
    virtual void EnsureVisible(int row) = 0;
    // Selects and focuses the row.
    virtual void SelectRow(int row) = 0;
    virtual int SelectedRow() const = 0;  // -1 for none
    virtual int TopRow() const = 0;
    virtual void SetHeaderTitle(const std::string& title) = 0;
    // Sets the search box's text (the box will report it as a change).
    virtual void SetSearchText(const std::string& text) = 0;
    virtual void StartSearchTimer() = 0;  // 1500 ms, once
    virtual void StopSearchTimer() = 0;
    // LibraryBrowser::RetryDue after `pause` (a later start replaces the
    // first).
    virtual void StartRetryTimer(std::chrono::milliseconds pause) = 0;
};

class LibraryFetcher {
public:
    virtual ~LibraryFetcher() = default;
    // Fetch off the window's thread; the page (null on failure) comes back
    // through OnFolderPage (with the browser's FolderEpoch() as it was when
    // asked) or OnSearchPage on the window's thread.
    virtual void FetchFolder(const std::string& path, int start, int count, bool withTotal) = 0;
    virtual void Search(const std::string& text, int start, int count) = 0;
};

class RequestSink {
public:
    virtual ~RequestSink() = default;
    virtual SendResult SendRequest(std::unique_ptr<Message>&& request) = 0;
    // Sends a request whose failure asks nothing more of the sender: a lost
    // connection shows as such (the connect screen, the reconnection) and a
    // full table is logged where requests leave.
    void Send(std::unique_ptr<Message>&& request) {
        static_cast<void>(SendRequest(std::move(request)));
    }
    virtual void CancelRequests(MessageType type) = 0;
};

class LibraryBrowser final : private PagedListOwner {
public:
    LibraryBrowser(LibraryView& view, LibraryFetcher& fetcher, RequestSink& requests);

    // The screen is shown: the root the first time.
    void Show();
    // What row `row` shows: empty text and icon -1 while its page is away.
    std::string RowText(int row) const;
    int RowIcon(int row) const;
    const wire::MediaItem* Item(int row) const { return rows_.Item(row); }
    // The list is about to show rows first to last.
    void CacheHint(int first, int last);

    // Opens a container row; false for anything else.
    bool Open(int row);
    // Back to the list before; false when there is none.
    bool Back();

    // The search box's text changed, and its timer (105) fired.
    void SearchTextChanged(const std::string& text);
    void SearchTimerFired();

    // The item commands on the selected row.
    bool Command(LibraryCommand command);

    // As new: no path, pages or history. Pages still on their way find no
    // list of theirs and are dropped.
    void Reset();
    // The library changed on the server: the folder shown is read again
    // where the user is.
    void Changed();
    // The pause after a failed fetch has passed.
    void RetryDue();

    // Pages arriving from the fetcher.
    void OnFolderPage(const std::string& path, int epoch, int start,
                      std::shared_ptr<const wire::MediaList> page);
    void OnSearchPage(const std::string& text, std::shared_ptr<const wire::MediaList> page);
    int FolderEpoch() const { return rows_.Epoch(); }

    // The jump labels of the list shown, as its pages carry them: each
    // label with the first row it stands for. Empty when there are none.
    std::vector<std::pair<std::string, int>> JumpLabels() const;

    const std::string& CurrentPath() const { return path_; }
    bool SearchMode() const { return searchMode_; }
    std::size_t HistoryDepth() const { return history_.size(); }

private:
    struct HistoryEntry {
        std::string path;
        int selectedRow;
        int topRow;
        bool searchMode;
        std::string searchText;
    };

    // PagedListOwner
    void FetchPage(int start, bool withTotal) override;
    void SetRowCount(int count, bool sameList) override;
    void StartRetryTimer(std::chrono::milliseconds pause) override;

    // Asks for the results of the box's text; one search is on its way at
    // a time, and its answer asks for what the box says by then.
    void Search(int count);
    void SendSearch();
    bool Searching() const { return searchMode_ || searchWanted_; }
    void PushHistory();
    void Shown();

    LibraryView& view_;
    LibraryFetcher& fetcher_;
    RequestSink& requests_;
    PagedList<wire::MediaList> rows_{*this};
    std::vector<HistoryEntry> history_;
    std::string path_;
    std::string searchText_;  // of the results shown or asked for
    int searchCount_ = -1;
    // Results asked for and not shown yet: the user has not moved on.
    bool searchWanted_ = false;
    std::optional<std::pair<std::string, int>> searchSent_;  // on its way
    bool searchMode_ = false;
    bool suppressNextChange_ = false;
    int pendingSelected_ = -1;
    int pendingTop_ = -1;
};

}  // namespace vantor
