#include "ui/lists/LibraryList.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QScroller>
#include <QStyledItemDelegate>
#include <QTimer>
#include <algorithm>

#include "core/Logger.h"
#include "ui/access/ScreenAccess.h"
#include "ui/lists/BusyIndicator.h"
#include "ui/lists/ListTouch.h"
#include "ui/lists/PagedRowsModel.h"

namespace vantor::ui {

namespace {

constexpr int kIconRole = PagedRowsModel::kFirstOwnRole;
constexpr int kContainerRole = PagedRowsModel::kFirstOwnRole + 1;

}  // namespace

int ShownRowCount(int count, const char* list) {
    if (count > kMaxListRows) {
        Log(kLogError, "The %s claims %d rows; showing the first %d", list, count, kMaxListRows);
        return kMaxListRows;
    }
    return std::max(count, 0);
}

// The letters beside the list; a tap (or a drag along them) jumps.
class JumpStrip final : public QWidget, public DrawnButtons {
public:
    JumpStrip(QWidget* parent, std::function<void(int row)> jump)
        : QWidget(parent), jump_(std::move(jump)) {
        setObjectName(QStringLiteral("Jump Labels"));
    }

    void SetLabels(std::vector<std::pair<QString, int>> labels) {
        labels_ = std::move(labels);
        update();
    }
    const std::vector<std::pair<QString, int>>& Labels() const { return labels_; }
    // The label at a height in the strip, or -1.
    int LabelAt(int y) const {
        if (labels_.empty() || height() <= 0) {
            return -1;
        }
        const int index = y * static_cast<int>(labels_.size()) / height();
        return std::clamp(index, 0, static_cast<int>(labels_.size()) - 1);
    }
    int DrawnButtonCount() const override { return static_cast<int>(labels_.size()); }
    QString DrawnButtonText(int button) const override {
        return labels_[static_cast<std::size_t>(button)].first;
    }
    QRect DrawnButtonRect(int button) const override { return LabelRect(button); }
    void PressDrawnButton(int button) override {
        jump_(labels_[static_cast<std::size_t>(button)].second);
    }
    QRect LabelRect(int index) const {
        const int count = static_cast<int>(labels_.size());
        return QRect(0, index * height() / count, width(),
                     (index + 1) * height() / count - index * height() / count);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), palette().color(QPalette::Base));
        QFont small = font();
        const int count = std::max(static_cast<int>(labels_.size()), 1);
        small.setPixelSize(std::clamp(height() / count - 2, 6, std::max(width() * 3 / 5, 6)));
        painter.setFont(small);
        painter.setPen(palette().color(QPalette::Highlight));
        for (int i = 0; i < static_cast<int>(labels_.size()); ++i) {
            painter.drawText(LabelRect(i), Qt::AlignCenter,
                             labels_[static_cast<std::size_t>(i)].first);
        }
    }
    void mousePressEvent(QMouseEvent* event) override { Jump(event); }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (event->buttons() & Qt::LeftButton) {
            Jump(event);
        }
    }

private:
    void Jump(QMouseEvent* event) {
        const int index = LabelAt(event->position().toPoint().y());
        if (index >= 0) {
            jump_(labels_[static_cast<std::size_t>(index)].second);
        }
    }

    std::function<void(int)> jump_;
    std::vector<std::pair<QString, int>> labels_;
};

class LibraryList::Model final : public PagedRowsModel {
public:
    explicit Model(const LibraryBrowser& browser) : browser_(browser) {}

protected:
    const wire::MediaItem* Item(int row) const override { return browser_.Item(row); }
    QVariant OwnData(const wire::MediaItem& item, int role) const override {
        switch (role) {
            case kIconRole:
                return LibraryIcon(item);
            case kContainerRole:
                return item.container;
            default:
                return {};
        }
    }

private:
    const LibraryBrowser& browser_;
};

// A row: the kind's icon, the title, and "›" when it opens.
class LibraryList::Delegate final : public PagedRowDelegate {
public:
    explicit Delegate(const ListIcons& icons) : icons_(icons) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        std::optional<Row> row = Begin(painter, option, index);
        if (!row) {
            return;
        }
        QRect& text = row->text;
        const QColor& fore = row->fore;
        const int pad = row->pad;
        const bool selected = row->selected;
        const QPixmap& icon = icons_.Icon(index.data(kIconRole).toInt());
        if (!icon.isNull()) {
            painter->drawPixmap(text.left(), text.center().y() - icon.height() / 2, icon);
        }
        text.setLeft(text.left() + icons_.Size() + pad / 2);
        if (index.data(kContainerRole).toBool()) {
            QColor mark = fore;
            mark.setAlpha(selected ? 255 : 150);
            painter->setPen(mark);
            painter->drawText(text, Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("\u203A"));
            text.setRight(text.right() - option.fontMetrics.horizontalAdvance(QChar(0x203A)) - pad);
        }
        painter->setPen(fore);
        painter->drawText(
            text, Qt::AlignLeft | Qt::AlignVCenter,
            option.fontMetrics.elidedText(index.data().toString(), Qt::ElideRight, text.width()));
        End(painter, option, *row);
    }

private:
    const ListIcons& icons_;
};

LibraryList::LibraryList(QWidget* parent, const LibraryBrowser& browser, Handlers handlers)
    : QListView(parent),
      browser_(browser),
      handlers_(std::move(handlers)),
      model_(std::make_unique<Model>(browser)),
      delegate_(std::make_unique<Delegate>(icons_)),
      strip_(new JumpStrip(parent, [this](int row) { JumpTo(row); })),
      busy_(new BusyIndicator(this)) {
    setObjectName(QStringLiteral("Library List"));
    setAccessibleName(QStringLiteral("Media Library"));
    setModel(model_.get());
    setItemDelegate(delegate_.get());
    SetUpList(*this);
    connect(this, &QListView::clicked, this, [this](const QModelIndex& index) {
        if (handlers_.tapped) {
            handlers_.tapped(index.row());
        }
    });
    connect(this, &QListView::activated, this, [this](const QModelIndex& index) {
        if (handlers_.activated) {
            handlers_.activated(index.row());
        }
    });
    strip_->hide();
}

LibraryList::~LibraryList() {
    setModel(nullptr);
}

void LibraryList::Place(const CSkin& skin, std::string_view window, std::string_view fontName,
                        QRect rect, const QFont& fallback) {
    area_ = rect;
    const SkinWinComponent* record = skin.FindWinComponent(window);
    const QPalette colours = ListPalette(palette(), record);
    setPalette(colours);
    strip_->setPalette(colours);
    const SkinFont* skinFont = skin.FindFont(fontName);
    setFont(skinFont ? skinFont->font : fallback);
    strip_->setFont(font());
    icons_.Prepare(fontMetrics().height() * 5 / 4, colours.color(QPalette::Text));
    PlaceStrip();
}

void LibraryList::PlaceStrip() {
    const bool labels = !strip_->Labels().empty();
    const int stripWidth = labels ? fontMetrics().height() * 5 / 4 : 0;
    setGeometry(area_.adjusted(0, 0, -stripWidth, 0));
    strip_->setGeometry(
        QRect(area_.right() - stripWidth + 1, area_.top(), stripWidth, area_.height()));
    strip_->setVisible(labels && isVisible());
}

void LibraryList::SetShown(bool shown) {
    setVisible(shown);
    setEnabled(shown);
    strip_->setVisible(shown && !strip_->Labels().empty());
}

void LibraryList::SetCount(int count, bool keepPlace) {
    // Every page repeats the folder's total; resetting the model for the
    // same count would drop the selection and ask for the rows again.
    if (count == claimed_) {
        return;
    }
    claimed_ = count;
    if (keepPlace) {
        model_->Resize(ShownRowCount(count, "library"));
    } else {
        model_->SetCount(ShownRowCount(count, "library"));
    }
    busy_->SetBusy(loading_);
    if (handlers_.rowsWanted) {
        QTimer::singleShot(0, this, [this] { handlers_.rowsWanted(); });
    }
}

void LibraryList::SetLoading(bool loading) {
    loading_ = loading;
    busy_->SetBusy(loading_);
}

bool LibraryList::ShowsBusy() const {
    return busy_->Busy();
}

int LibraryList::Count() const {
    return model_->rowCount(QModelIndex());
}

void LibraryList::RowsArrived(int first, int count) {
    model_->RowsArrived(first, count);
}

void LibraryList::RowsChanged() {
    model_->AllChanged();
}

void LibraryList::SetJumpLabels(std::vector<std::pair<QString, int>> labels) {
    if (labels == strip_->Labels()) {
        return;
    }
    strip_->SetLabels(std::move(labels));
    PlaceStrip();
}

const std::vector<std::pair<QString, int>>& LibraryList::JumpLabels() const {
    return strip_->Labels();
}

void LibraryList::JumpTo(int row) {
    if (row < 0 || row >= Count()) {
        return;
    }
    // A flick still under way would carry the list on past the letter.
    QScroller::scroller(viewport())->stop();
    const QModelIndex index = model_->index(row);
    scrollTo(index, QAbstractItemView::PositionAtTop);
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
}

int LibraryList::SelectedRow() const {
    const QModelIndexList rows = selectionModel()->selectedIndexes();
    return rows.isEmpty() ? -1 : rows.front().row();
}

void LibraryList::SelectRow(int row) {
    if (row >= 0 && row < Count()) {
        const QModelIndex index = model_->index(row);
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        setFocus();
    }
}

int LibraryList::TopRow() const {
    return indexAt(QPoint(1, 1)).row();
}

void LibraryList::EnsureVisible(int row) {
    if (row >= 0 && row < Count()) {
        QScroller::scroller(viewport())->stop();
        scrollTo(model_->index(row), QAbstractItemView::PositionAtTop);
    }
}

std::pair<int, int> LibraryList::RowsInView() const {
    const int count = Count();
    if (count == 0) {
        return {-1, -1};
    }
    const int first = std::max(indexAt(QPoint(1, 1)).row(), 0);
    int last = indexAt(QPoint(1, viewport()->height() - 2)).row();
    if (last < 0) {
        const int row = std::max(fontMetrics().height() * 2, 1);
        last = std::min(count - 1, first + viewport()->height() / row);
    }
    return {first, last};
}

void LibraryList::resizeEvent(QResizeEvent* event) {
    QListView::resizeEvent(event);
    if (handlers_.rowsWanted) {
        QTimer::singleShot(0, this, [this] { handlers_.rowsWanted(); });
    }
}

void LibraryList::scrollContentsBy(int dx, int dy) {
    QListView::scrollContentsBy(dx, dy);
    if (handlers_.rowsWanted) {
        QTimer::singleShot(0, this, [this] { handlers_.rowsWanted(); });
    }
}

void LibraryList::contextMenuEvent(QContextMenuEvent* event) {
    const QModelIndex index = indexAt(event->pos());
    if (!index.isValid() || browser_.Item(index.row()) == nullptr) {
        return;
    }
    setCurrentIndex(index);
    QMenu menu(this);
    const QAction* playNow = menu.addAction(QStringLiteral("Play now"));
    const QAction* addToQueue = menu.addAction(QStringLiteral("Add to queue"));
    if (handlers_.menuOpen) {
        handlers_.menuOpen(true);
    }
    QAction* chosen = menu.exec(MenuPointInside(menu, *this, event->globalPos()));
    if (handlers_.menuOpen) {
        handlers_.menuOpen(false);
    }
    if (handlers_.command && (chosen == playNow || chosen == addToQueue)) {
        handlers_.command(chosen == playNow ? LibraryCommand::PlayNow : LibraryCommand::AddToQueue);
    }
}

}  // namespace vantor::ui
