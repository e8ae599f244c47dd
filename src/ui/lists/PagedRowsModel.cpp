#include "ui/lists/PagedRowsModel.h"

#include <QPainter>

#include "skin/CSkin.h"
#include "ui/access/ReadableText.h"
#include "ui/lists/ListTouch.h"
#include "ui/view/ChromeLook.h"

namespace vantor::ui {

QVariant PagedRowsModel::data(const QModelIndex& index, int role) const {
    const wire::MediaItem* item = Item(index.row());
    if (role == kPendingRole) {
        return item == nullptr;
    }
    if (role == Qt::DisplayRole) {
        return item ? QString::fromStdString(item->title) : QString();
    }
    if (role == Qt::AccessibleTextRole) {
        return item ? ReadableRow(*item) : QString();
    }
    return item != nullptr && role >= kFirstOwnRole ? OwnData(*item, role) : QVariant();
}

std::optional<PagedRowDelegate::Row> PagedRowDelegate::Begin(QPainter* painter,
                                                             const QStyleOptionViewItem& option,
                                                             const QModelIndex& index) const {
    const QPalette& palette = option.palette;
    Row row;
    row.selected = (option.state & QStyle::State_Selected) != 0;
    painter->fillRect(option.rect, row.selected ? palette.highlight() : palette.base());
    row.pad = option.fontMetrics.height() / 2;
    row.text = option.rect.adjusted(row.pad, 0, -row.pad, 0);
    row.fore = palette.color(row.selected ? QPalette::HighlightedText : QPalette::Text);
    if (index.data(PagedRowsModel::kPendingRole).toBool()) {
        QColor faint = row.fore;
        faint.setAlpha(50);
        painter->fillRect(
            QRect(row.text.left(), row.text.center().y() - 1, row.text.width() / 2, 3), faint);
        return std::nullopt;
    }
    painter->setFont(option.font);
    return row;
}

void PagedRowDelegate::End(QPainter* painter, const QStyleOptionViewItem& option,
                           const Row& row) const {
    if (!row.selected) {
        painter->fillRect(QRect(option.rect.left() + row.pad, option.rect.bottom(),
                                option.rect.width() - 2 * row.pad, 1),
                          option.palette.color(QPalette::Base).lighter(150));
    }
}

void SetUpList(QListView& list) {
    list.setUniformItemSizes(true);
    list.setSelectionMode(QAbstractItemView::SingleSelection);
    list.setEditTriggers(QAbstractItemView::NoEditTriggers);
    list.setFrameShape(QFrame::NoFrame);
    list.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    EnableTouch(list);
}

QPalette ListPalette(QPalette from, const SkinWinComponent* record) {
    const QColor back = SkinColour(record, &SkinWinComponent::backColor, QColor(Qt::white));
    const QColor fore = SkinColour(record, &SkinWinComponent::foreColor, QColor(Qt::black));
    const QColor select = SkinColour(record, &SkinWinComponent::selectColor, QColor(Qt::darkBlue));
    from.setColor(QPalette::Base, back);
    from.setColor(QPalette::Window, back);
    from.setColor(QPalette::Text, fore);
    from.setColor(QPalette::Highlight, select);
    from.setColor(QPalette::HighlightedText, back);
    from.setColor(QPalette::Button, back.lighter(140));
    from.setColor(QPalette::Light, back.lighter(170));
    from.setColor(QPalette::Dark, back);
    from.setColor(QPalette::Mid, back.lighter(120));
    return from;
}

}  // namespace vantor::ui
