#pragma once

// The play queue as a list control: a virtual list over the queue's pages
// (the media layer's PlayQueue decides which to fetch), so a queue of any
// length shows without being loaded whole. Rows whose page is on its way
// show as pending. The entry now playing is the selected row; a double tap
// plays an entry, and a held tap (or the context key) opens the entry's
// menu: "Play", "Remove" and, for the entry now playing, its rating.
//
// Threads: the window's thread only.

#include <QAbstractListModel>
#include <QListView>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>

#include "media/LibraryBrowser.h"
#include "media/PlayQueue.h"
#include "skin/CSkin.h"
#include "ui/remote/PageFetcher.h"

namespace vantor::ui {

class BusyIndicator;

class PlayQueueList final : public QListView, private PlayQueueView, private PlayQueueFetcher {
public:
    // `menuOpen` is told when the entry menu opens and closes (the window
    // holds its idle switch meanwhile); `rating` gives the current song's
    // rating and the entry now playing.
    PlayQueueList(QWidget* parent, PageFetcher& fetcher, RequestSink& requests);
    ~PlayQueueList() override;

    // Places the list at the skin's "playlist.main" in its colours and the
    // skin's "playlist" font (or `fallback`).
    void Place(const CSkin& skin, QSize screen, const QFont& fallback);

    // Shows the queue around the entry now playing.
    void Open(int position);
    // Forgets the queue (disconnected).
    void Clear();
    // The server's queue changed: read again where the user is.
    void Changed();
    // The entry now playing, selected and scrolled to.
    void SetCurrent(int position);
    // The entry at `position` (0 when negative) selected, in view and
    // focused, as Up or Down on the main screen bring the list into play.
    void FocusEntry(int position);
    // Plays the selected entry, as a double tap on it does.
    void PlaySelected();
    void SetCurrentRating(int rating) { currentRating_ = rating; }
    void SetMenuHandler(std::function<void(bool open)> menuOpen) {
        menuOpen_ = std::move(menuOpen);
    }

    int RowCount() const;
    // The row selected: the entry now playing unless the user picked another.
    int SelectedEntry() const { return SelectedRow(); }
    // What a row shows: its title, or empty while its page is away.
    std::string RowText(int row) const { return queue_.RowText(row); }
    bool IsOpen() const { return opened_; }
    // Pages asked of the server since the list was made.
    int PagesFetched() const { return pagesFetched_; }
    // Whether the empty list shows that its rows are on their way.
    bool ShowsBusy() const;

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    class Model;
    class Delegate;

    // PlayQueueView
    void ClearRows() override;
    void SetItemCount(int count, bool keepPlace) override;
    void EnsureVisible(int row) override;
    void StartRetryTimer(std::chrono::milliseconds pause) override;
    // PlayQueueFetcher
    void FetchPlaylist(int start, int count, bool withTotal) override;

    int SelectedRow() const;
    void HintVisibleRows();
    void RunCommand(std::unique_ptr<Message> request);
    int VisibleRows() const;

    PageFetcher& fetcher_;
    RequestSink& requests_;
    PlayQueue queue_;
    std::unique_ptr<Model> model_;
    std::unique_ptr<Delegate> delegate_;
    std::function<void(bool)> menuOpen_;
    int currentRating_ = -1;
    int current_ = -1;
    int claimed_ = 0;  // the count the queue last gave, before any cap
    bool opened_ = false;
    int pagesFetched_ = 0;
    int fetching_ = 0;  // this queue's fetches on their way
    BusyIndicator* busy_;
    QTimer* retry_;  // a failed page's pause
};

}  // namespace vantor::ui
