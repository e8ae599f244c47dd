#pragma once

// The library's list control: a virtual list over the library browser's
// pages (nothing is copied), each row with its kind's icon, its title and,
// for a folder, a mark that it opens. Rows whose page is on its way show as
// pending. Beside the list, when the folder's pages carry jump labels, a
// strip of them (A, B, C, ...) scrolls to the first row of a letter with
// one tap.
//
// Threads: the window's thread only.

#include <QAbstractListModel>
#include <QListView>
#include <functional>
#include <memory>
#include <vector>

#include "media/LibraryBrowser.h"
#include "skin/CSkin.h"
#include "ui/lists/ListIcons.h"

namespace vantor::ui {

class JumpStrip;

// The most rows a list shows. A page may claim any total; a list view lays
// out every row it is told of, so a hostile or broken count would hold the
// window for minutes. No library or queue comes near this.
inline constexpr int kMaxListRows = 1'000'000;

// A row count as a list may show it, with a log line when it is cut.
int ShownRowCount(int count, const char* list);

class BusyIndicator;

class LibraryList final : public QListView {
public:
    struct Handlers {
        std::function<void(int row)> tapped;                  // a tap on a row
        std::function<void(int row)> activated;               // a double tap, or Enter
        std::function<void(LibraryCommand command)> command;  // from the row's menu
        std::function<void(bool open)> menuOpen;              // the row's menu opens and closes
        std::function<void()> rowsWanted;                     // the rows in view changed
    };

    LibraryList(QWidget* parent, const LibraryBrowser& browser, Handlers handlers);
    ~LibraryList() override;

    // Places the list (and its jump strip) in `rect` in the skin's colours
    // for `window` and its `font`.
    void Place(const CSkin& skin, std::string_view window, std::string_view fontName, QRect rect,
               const QFont& fallback);
    void SetShown(bool shown);

    // The rows of a new list, or (`keepPlace`) of the list shown grown or
    // shrunk: its rows keep their place.
    void SetCount(int count, bool keepPlace = false);
    int Count() const;
    // Whether a page of the list is on its way (an empty list shows it).
    void SetLoading(bool loading);
    bool ShowsBusy() const;
    // Rows first to last of a page arrived; the labels of the folder, if any.
    void RowsArrived(int first, int count);
    // Every row may show something else (the library changed).
    void RowsChanged();
    void SetJumpLabels(std::vector<std::pair<QString, int>> labels);
    const std::vector<std::pair<QString, int>>& JumpLabels() const;
    void JumpTo(int row);

    int SelectedRow() const;
    void SelectRow(int row);
    int TopRow() const;
    void EnsureVisible(int row);
    // The first and last rows in view (-1 when none).
    std::pair<int, int> RowsInView() const;

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    class Model;
    class Delegate;

    void PlaceStrip();

    const LibraryBrowser& browser_;
    Handlers handlers_;
    std::unique_ptr<Model> model_;
    std::unique_ptr<Delegate> delegate_;
    ListIcons icons_;
    JumpStrip* strip_;
    BusyIndicator* busy_;
    bool loading_ = false;
    QRect area_;       // the list and the strip together
    int claimed_ = 0;  // the count the browser last gave, before any cap
};

}  // namespace vantor::ui
