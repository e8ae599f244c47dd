#include "ui/lists/PlayQueueList.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QScroller>
#include <QStyledItemDelegate>
#include <QTimer>
#include <algorithm>
#include <map>

#include "skin/SkinScreen.h"
#include "ui/lists/BusyIndicator.h"
#include "ui/lists/LibraryList.h"
#include "ui/lists/ListTouch.h"
#include "ui/lists/PagedRowsModel.h"

namespace vantor::ui {

namespace {

constexpr int kLengthRole = PagedRowsModel::kFirstOwnRole;

const char* const kStars[] = {"None", "*", "**", "***", "****", "*****"};

// A song's length as lists show it: "3:27", "1:02:05".
QString LengthText(int seconds) {
    return seconds >= 3600 ? QStringLiteral("%1:%2:%3")
                                 .arg(seconds / 3600)
                                 .arg(seconds % 3600 / 60, 2, 10, QLatin1Char('0'))
                                 .arg(seconds % 60, 2, 10, QLatin1Char('0'))
                           : QStringLiteral("%1:%2")
                                 .arg(seconds / 60)
                                 .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

}  // namespace

// Rows straight from the queue's page cache: nothing is copied.
class PlayQueueList::Model final : public PagedRowsModel {
public:
    explicit Model(const PlayQueue& queue) : queue_(queue) {}

protected:
    const wire::MediaItem* Item(int row) const override { return queue_.Item(row); }
    QVariant OwnData(const wire::MediaItem& item, int role) const override {
        return role == kLengthRole && item.__isset.length ? item.length : 0;
    }

private:
    const PlayQueue& queue_;
};

// A row: the title on the left, the length on the right, a faint line
// while the row's page is on its way.
class PlayQueueList::Delegate final : public PagedRowDelegate {
public:
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const std::optional<Row> row = Begin(painter, option, index);
        if (!row) {
            return;
        }
        const QRect& text = row->text;
        const QColor& fore = row->fore;
        const int pad = row->pad;
        const bool selected = row->selected;
        QString length;
        if (const int seconds = index.data(kLengthRole).toInt(); seconds > 0) {
            length = LengthText(seconds);
        }
        const int lengthWidth = length.isEmpty() ? 0 : option.fontMetrics.horizontalAdvance(length);
        QColor secondary = fore;
        secondary.setAlpha(selected ? 255 : 150);
        painter->setPen(secondary);
        painter->drawText(text, Qt::AlignRight | Qt::AlignVCenter, length);
        painter->setPen(fore);
        const QRect title = text.adjusted(0, 0, -(lengthWidth + (lengthWidth ? pad : 0)), 0);
        painter->drawText(
            title, Qt::AlignLeft | Qt::AlignVCenter,
            option.fontMetrics.elidedText(index.data().toString(), Qt::ElideRight, title.width()));
        End(painter, option, *row);
    }
};

PlayQueueList::PlayQueueList(QWidget* parent, PageFetcher& fetcher, RequestSink& requests)
    : QListView(parent),
      fetcher_(fetcher),
      requests_(requests),
      queue_(*this, *this),
      model_(std::make_unique<Model>(queue_)),
      delegate_(std::make_unique<Delegate>()),
      busy_(new BusyIndicator(this)),
      retry_(new QTimer(this)) {
    setObjectName(QStringLiteral("Play Queue"));
    setAccessibleName(QStringLiteral("Queue"));
    retry_->setSingleShot(true);
    connect(retry_, &QTimer::timeout, this, [this] { queue_.RetryDue(); });
    setModel(model_.get());
    setItemDelegate(delegate_.get());
    SetUpList(*this);
    connect(this, &QListView::doubleClicked, this, [this](const QModelIndex& index) {
        setCurrentIndex(index);
        RunCommand(queue_.Command(QueueCommand::Play, index.row()));
    });
}

PlayQueueList::~PlayQueueList() {
    setModel(nullptr);
}

void PlayQueueList::Place(const CSkin& skin, QSize screen, const QFont& fallback) {
    const SkinWinComponent* window = skin.FindWinComponent("playlist.main");
    if (window == nullptr) {
        setGeometry(QRect());
        return;
    }
    const SkinRect rect =
        PlaceWindowOn(skin, *window, screen.width(), screen.height(), kScreenMain);
    setGeometry(rect.left, rect.top, SkinClamp(rect.Width()), SkinClamp(rect.Height()));
    setPalette(ListPalette(palette(), window));
    const SkinFont* font = skin.FindFont("playlist");
    setFont(font ? font->font : fallback);
}

int PlayQueueList::VisibleRows() const {
    const int row = std::max(fontMetrics().height() * 2, 1);
    return std::max(viewport()->height() / row, 1);
}

int PlayQueueList::RowCount() const {
    return model_->rowCount(QModelIndex());
}

void PlayQueueList::Open(int position) {
    // Pages asked for before are dropped as they come: they no longer count
    // as awaited.
    fetching_ = 0;
    retry_->stop();
    opened_ = true;
    current_ = position;
    queue_.Open(position, VisibleRows());
}

bool PlayQueueList::ShowsBusy() const {
    return busy_->Busy();
}

void PlayQueueList::Changed() {
    fetching_ = 0;
    queue_.Changed();
    model_->AllChanged();
}

void PlayQueueList::Clear() {
    queue_.Forget();
    retry_->stop();
    fetching_ = 0;
    busy_->SetBusy(false);
    opened_ = false;
    current_ = -1;
    claimed_ = 0;
    model_->SetCount(0);
}

void PlayQueueList::SetCurrent(int position) {
    current_ = position;
    if (position >= 0 && position < RowCount()) {
        EnsureVisible(position);
    }
}

void PlayQueueList::FocusEntry(int position) {
    position = std::max(position, 0);
    if (position < RowCount()) {
        const QModelIndex index = model_->index(position);
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        scrollTo(index, QAbstractItemView::PositionAtCenter);
    }
    setFocus();
}

void PlayQueueList::PlaySelected() {
    RunCommand(queue_.Command(QueueCommand::Play, SelectedRow()));
}

void PlayQueueList::ClearRows() {
    claimed_ = 0;
    model_->SetCount(0);
}

void PlayQueueList::SetItemCount(int count, bool keepPlace) {
    if (count == claimed_) {
        return;
    }
    claimed_ = count;
    count = ShownRowCount(count, "play queue");
    if (keepPlace) {
        model_->Resize(count);
    } else if (count != RowCount()) {
        model_->SetCount(count);
        if (current_ >= 0 && current_ < count) {
            selectionModel()->setCurrentIndex(model_->index(current_),
                                              QItemSelectionModel::ClearAndSelect);
        }
    }
}

void PlayQueueList::StartRetryTimer(std::chrono::milliseconds pause) {
    retry_->start(pause);
}

void PlayQueueList::EnsureVisible(int row) {
    // The queue scrolls to the entry it was opened at; should the player
    // have moved on before the rows came, the entry now playing it is.
    if (current_ >= 0 && current_ < RowCount()) {
        row = current_;
    }
    const QModelIndex index = model_->index(row);
    // A finger holding the list, or a flick carrying it, keeps it where it
    // is: the list would jump from under the finger and back.
    const bool moving = QScroller::hasScroller(viewport()) &&
                        QScroller::scroller(viewport())->state() != QScroller::Inactive;
    const bool autoScrolls = hasAutoScroll();
    setAutoScroll(autoScrolls && !moving);
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    setAutoScroll(autoScrolls);
    if (!moving) {
        scrollTo(index, QAbstractItemView::PositionAtCenter);
    }
}

int PlayQueueList::SelectedRow() const {
    const QModelIndexList rows = selectionModel()->selectedIndexes();
    return rows.isEmpty() ? -1 : rows.front().row();
}

void PlayQueueList::FetchPlaylist(int start, int count, bool withTotal) {
    ++pagesFetched_;
    ++fetching_;
    busy_->SetBusy(true);
    fetcher_.FetchPlaylist(
        start, count, withTotal,
        [this, start, epoch = queue_.Epoch()](std::shared_ptr<const wire::PlaylistPage> page) {
            if (epoch != queue_.Epoch()) {
                return;  // asked for a queue shown before
            }
            --fetching_;
            const int items = page ? static_cast<int>(page->items.size()) : 0;
            queue_.OnPage(epoch, start, std::move(page));
            model_->RowsArrived(start, items);
            busy_->SetBusy(fetching_ > 0);
            HintVisibleRows();
        });
}

void PlayQueueList::HintVisibleRows() {
    // After a change of rows the view lays itself out on its next turn; the
    // rows in view are known only then.
    QTimer::singleShot(0, this, [this] {
        const int count = RowCount();
        if (count == 0) {
            return;
        }
        const int first = std::max(indexAt(QPoint(1, 1)).row(), 0);
        int last = indexAt(QPoint(1, viewport()->height() - 2)).row();
        if (last < 0) {
            last = std::min(count - 1, first + VisibleRows());
        }
        queue_.CacheHint(first, last);
    });
}

void PlayQueueList::resizeEvent(QResizeEvent* event) {
    QListView::resizeEvent(event);
    HintVisibleRows();
}

void PlayQueueList::scrollContentsBy(int dx, int dy) {
    QListView::scrollContentsBy(dx, dy);
    HintVisibleRows();
}

void PlayQueueList::RunCommand(std::unique_ptr<Message> request) {
    if (request) {
        requests_.Send(std::move(request));
    }
}

void PlayQueueList::contextMenuEvent(QContextMenuEvent* event) {
    const QModelIndex index = indexAt(event->pos());
    if (!index.isValid()) {
        return;
    }
    setCurrentIndex(index);
    QMenu menu(this);
    // Each action carries what it does: the command, and for a rating its
    // stars.
    std::map<const QAction*, std::pair<QueueCommand, int>> commands;
    commands[menu.addAction(QStringLiteral("Play"))] = {QueueCommand::Play, 0};
    commands[menu.addAction(QStringLiteral("Remove"))] = {QueueCommand::Remove, 0};
    const PlayQueueMenu entry = queue_.Menu(index.row(), current_, currentRating_);
    const QueueRowMark mark = queue_.Mark(index.row(), current_);
    if (entry.rating) {
        QMenu* rating = menu.addMenu(QStringLiteral("Rating"));
        for (int stars = 0; stars <= 5; ++stars) {
            QAction* action = rating->addAction(QString::fromLatin1(kStars[stars]));
            commands[action] = {QueueCommand::Rate, stars};
            action->setCheckable(true);
            action->setChecked(stars == entry.checkedStars);
        }
    }
    if (menuOpen_) {
        menuOpen_(true);
    }
    QAction* chosen = menu.exec(MenuPointInside(menu, *this, event->globalPos()));
    if (menuOpen_) {
        menuOpen_(false);
    }
    // The menu ran its own event loop: the song may have changed (and the
    // selection with it) or the queue with it. The command is for the entry
    // the menu was opened on.
    if (const auto found = commands.find(chosen); found != commands.end()) {
        RunCommand(queue_.Command(found->second.first, mark, current_, found->second.second));
    }
}

}  // namespace vantor::ui
