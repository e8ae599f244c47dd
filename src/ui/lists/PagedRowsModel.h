#pragma once

// What the two lists (the play queue and the library) share: a model whose
// rows live elsewhere (a page cache) and only their number is kept here,
// the drawing every row has in common, and the list's own settings.
//
// Threads: the window's thread only.

#include <QAbstractListModel>
#include <QListView>
#include <QStyledItemDelegate>
#include <QWidget>
#include <algorithm>
#include <optional>

#include "media/MediaPages.h"

namespace vantor {
struct SkinWinComponent;
}

namespace vantor::ui {

// The lists tell it the count and which rows a page brought, and it reads
// each row from the cache when Qt asks.
class PagedRowsModel : public QAbstractListModel {
public:
    // True while the row's page is on its way.
    static constexpr int kPendingRole = Qt::UserRole;
    // The first role a list may give a meaning of its own.
    static constexpr int kFirstOwnRole = Qt::UserRole + 1;

    int rowCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : count_; }
    QVariant data(const QModelIndex& index, int role) const final;

    // A new list of `count` rows: the view starts over at its top.
    void SetCount(int count) {
        beginResetModel();
        count_ = std::max(count, 0);
        endResetModel();
    }
    // The list shown grew or shrank at its end: the rows left keep their
    // place, their selection and the view's scroll.
    void Resize(int count) {
        count = std::max(count, 0);
        if (count > count_) {
            beginInsertRows(QModelIndex(), count_, count - 1);
            count_ = count;
            endInsertRows();
        } else if (count < count_) {
            beginRemoveRows(QModelIndex(), count, count_ - 1);
            count_ = count;
            endRemoveRows();
        }
    }
    // Every row may show something else: drawn again.
    void AllChanged() {
        if (count_ > 0) {
            Q_EMIT dataChanged(index(0), index(count_ - 1));
        }
    }

    // Rows first to first + count - 1 came with a page: drawn again.
    void RowsArrived(int first, int count) {
        const int last = std::min(first + count, count_) - 1;
        if (first >= 0 && first <= last) {
            Q_EMIT dataChanged(index(first), index(last));
        }
    }

protected:
    // The row, null while its page is away.
    virtual const wire::MediaItem* Item(int row) const = 0;
    // A role of the list's own, for a row that has come.
    virtual QVariant OwnData(const wire::MediaItem& item, int role) const = 0;

private:
    int count_ = 0;
};

// The list's property that holds the least row height, in its pixels.
inline constexpr const char* kMinimumRowHeight = "minimumRowHeight";

// A row two lines high over the list's base (the highlight when selected),
// a faint bar while its page is away, and a rule below it.
class PagedRowDelegate : public QStyledItemDelegate {
public:
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        // A finger's row: the window sets the least height the screen's
        // physical size asks for.
        const int least =
            option.widget != nullptr ? option.widget->property(kMinimumRowHeight).toInt() : 0;
        return QSize(option.rect.width(), std::max(option.fontMetrics.height() * 2, least));
    }

protected:
    struct Row {
        QRect text;  // inside the padding
        QColor fore;
        int pad = 0;
        bool selected = false;
    };
    // The background; nothing more to draw (the row is pending) when empty.
    std::optional<Row> Begin(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const;
    // The rule below an unselected row.
    void End(QPainter* painter, const QStyleOptionViewItem& option, const Row& row) const;
};

// Single selection, no editing, no frame, scrolling by pixels (and by
// finger), no horizontal bar.
void SetUpList(QListView& list);

// A list's colours from the skin's record of it (back, text, selection;
// white, black and dark blue where it gives none) over `from`.
QPalette ListPalette(QPalette from, const SkinWinComponent* record);

}  // namespace vantor::ui
