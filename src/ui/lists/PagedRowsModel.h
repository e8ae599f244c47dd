#pragma once

// A list model whose rows live elsewhere (a page cache) and only their
// number is kept here: the lists tell it the count and which rows a page
// brought, and read each row from the cache when Qt asks.
//
// Threads: the window's thread only.

#include <QAbstractListModel>
#include <algorithm>

namespace vantor::ui {

class PagedRowsModel : public QAbstractListModel {
public:
    int rowCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : count_; }

    void SetCount(int count) {
        beginResetModel();
        count_ = std::max(count, 0);
        endResetModel();
    }

    // Rows first to first + count - 1 came with a page: drawn again.
    void RowsArrived(int first, int count) {
        const int last = std::min(first + count, count_) - 1;
        if (first >= 0 && first <= last) {
            Q_EMIT dataChanged(index(first), index(last));
        }
    }

private:
    int count_ = 0;
};

}  // namespace vantor::ui
