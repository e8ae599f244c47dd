#include "ui/screens/ConnectScreen.h"

#include <QPainter>
#include <QPalette>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <algorithm>

#include "ui/lists/ListTouch.h"
#include "ui/view/QtText.h"
#include "ui/view/ScreenView.h"

namespace vantor::ui {

namespace {

// Where the controls sit, in skin units, inside the panel that the skin's
// connect screen draws below the caption. The status line keeps its
// distance above the skin's progress bar, which keeps to the bottom; the
// list of servers takes the height between the box and the status line.
constexpr int kLeft = 16, kWidth = 208;
constexpr int kEditTop = 148, kEditHeight = 24;
constexpr int kListTop = 176, kListHeight = 62;
constexpr int kStatusTop = 244, kStatusHeight = 18;
constexpr int kStatusAboveBar = 4, kListAboveStatus = 6;

// A server row: its text set in from the edge like the edit field's.
// A list given the focus makes its first row current when none is. That is
// no choice of the user's: the row would show chosen while the box holds
// another server, and Enter would connect to the box's. So the list takes
// the focus with no row current, and the first arrow chooses.
class ServerList final : public QListWidget {
public:
    using QListWidget::QListWidget;

protected:
    void focusInEvent(QFocusEvent* event) override {
        const bool chosen = currentItem() != nullptr;
        const QSignalBlocker quiet(this);
        QListWidget::focusInEvent(event);
        if (!chosen) {
            setCurrentItem(nullptr);
        }
        viewport()->update();
    }
    // With the focus and no row chosen nothing in the list would show it:
    // a keyboard user sees the skinned screen's ring around it instead.
    void paintEvent(QPaintEvent* event) override {
        QListWidget::paintEvent(event);
        if (!hasFocus() || currentItem() != nullptr) {
            return;
        }
        QPainter painter(viewport());
        const QRect ring = viewport()->rect().adjusted(1, 1, -2, -2);
        painter.setPen(QPen(QColor(0, 0, 0), 3));
        painter.drawRect(ring);
        painter.setPen(QPen(QColor(255, 255, 255), 1));
        painter.drawRect(ring);
    }
    void focusOutEvent(QFocusEvent* event) override {
        QListWidget::focusOutEvent(event);
        viewport()->update();
    }
};

class ServerRowDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const bool selected = (option.state & QStyle::State_Selected) != 0;
        const QPalette& palette = option.palette;
        painter->fillRect(option.rect, selected ? palette.highlight() : palette.base());
        painter->setPen(palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
        painter->setFont(option.font);
        const int pad = option.fontMetrics.height() / 4;
        painter->drawText(option.rect.adjusted(pad, 0, -pad, 0), Qt::AlignLeft | Qt::AlignVCenter,
                          index.data().toString());
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return QSize(option.rect.width(), option.fontMetrics.height() * 5 / 4);
    }
};

}  // namespace

ConnectScreen::ConnectScreen(QWidget* screen, std::function<void()> connect,
                             std::function<bool()> ready)
    : ready_(std::move(ready)),
      edit_(new QLineEdit(screen)),
      list_(new ServerList(screen)),
      status_(new QLabel(screen)) {
    edit_->setObjectName(QStringLiteral("Server Box"));
    list_->setObjectName(QStringLiteral("Server List"));
    status_->setObjectName(QStringLiteral("Status Line"));
    // A reader names the box and the list by the caption drawn above them.
    edit_->setAccessibleName(QStringLiteral("Select a server:"));
    list_->setAccessibleName(QStringLiteral("Select a server:"));
    list_->setFrameShape(QFrame::NoFrame);
    list_->setItemDelegate(new ServerRowDelegate(list_));
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    EnableTouch(*list_);
    edit_->setFrame(false);
    status_->setTextFormat(Qt::PlainText);
    // Only the user's choice of a row goes into the box (see ServerList):
    // Tab reaches the list, and the arrows then choose.
    list_->setFocusPolicy(Qt::StrongFocus);
    QObject::connect(list_, &QListWidget::currentItemChanged, edit_,
                     [this](QListWidgetItem* current) {
                         if (current != nullptr && list_->hasFocus()) {
                             edit_->setText(current->text());
                         }
                     });
    QObject::connect(list_, &QListWidget::itemActivated, edit_, [connect] { connect(); });
    QObject::connect(edit_, &QLineEdit::textEdited, edit_, [this] { MarkRow(); });
    QObject::connect(edit_, &QLineEdit::returnPressed, edit_, [connect] { connect(); });
    SetShown(false, true);
}

void ConnectScreen::Place(const CSkin& skin, QSize screen, const QFont& font) {
    const SkinScale& scale = skin.Scale();
    const auto box = [&](int top, int height) {
        return QRect(scale.X(kLeft), scale.Y(top), scale.Width(kWidth), scale.Height(height));
    };
    edit_->setGeometry(box(kEditTop, kEditHeight));
    QRect status = box(kStatusTop, kStatusHeight);
    const SkinComponent* bar = skin.FindComponent("progressbar.back");
    if (bar != nullptr && bar->norm.present) {
        // The bar comes down with the panel on a short screen.
        const std::int32_t barTop =
            SkinClamp(bar->norm.destination.top) + ConnectLift(skin, screen.height());
        status.moveBottom(barTop - scale.Height(kStatusAboveBar) - 1);
    }
    status_->setGeometry(status);
    QRect list = box(kListTop, kListHeight);
    list.setBottom(std::max(list.top(), status.top() - scale.Height(kListAboveStatus)) - 1);
    list_->setGeometry(list);

    // The lists of the skin give the colours; the connect screen has none
    // of its own.
    const SkinWinComponent* lists = skin.FindWinComponent("playlist.main");
    const QColor back =
        lists && lists->backColor ? lists->backColor->ToQColor() : QColor(0x15, 0x1A, 0x24);
    const QColor fore =
        lists && lists->foreColor ? lists->foreColor->ToQColor() : QColor(Qt::white);
    const QColor select =
        lists && lists->selectColor ? lists->selectColor->ToQColor() : QColor(0x2E, 0xC4, 0xB6);
    QPalette colours;
    colours.setColor(QPalette::Base, back);
    colours.setColor(QPalette::Window, back);
    colours.setColor(QPalette::Text, fore);
    colours.setColor(QPalette::WindowText, fore);
    colours.setColor(QPalette::Highlight, select);
    colours.setColor(QPalette::HighlightedText, back);
    for (QWidget* control : {static_cast<QWidget*>(edit_), static_cast<QWidget*>(list_)}) {
        control->setPalette(colours);
        control->setFont(font);
    }
    QPalette statusColours = colours;
    const SkinFont* muted = skin.FindFont("time.nowplaying");
    statusColours.setColor(QPalette::WindowText, muted ? muted->color.ToQColor() : fore);
    status_->setPalette(statusColours);
    status_->setFont(font);
    const int pad = QFontMetrics(font).height() / 4;
    edit_->setTextMargins(pad, 0, pad, 0);
}

void ConnectScreen::SetServers(const std::array<std::string, kServerHistory>& servers) {
    const QString shown = edit_->text();
    list_->clear();
    list_->addItem(QString::fromLatin1(kFindAutomatically));
    for (const std::string& server : servers) {
        if (!server.empty()) {
            list_->addItem(Q(server));
        }
    }
    // The text that stands in the box is kept; without one, the first
    // server (or finding one) is what Connect takes.
    SetText(shown.isEmpty() ? list_->item(list_->count() > 1 ? 1 : 0)->text().toStdString()
                            : shown.toStdString());
}

std::string ConnectScreen::Text() const {
    return edit_->text().trimmed().toStdString();
}

void ConnectScreen::SetText(const std::string& text) {
    edit_->setText(Q(text));
    MarkRow();
}

// The list shows which of its servers the box holds, if any.
void ConnectScreen::MarkRow() {
    const QList<QListWidgetItem*> same = list_->findItems(edit_->text(), Qt::MatchExactly);
    const QSignalBlocker quiet(list_);
    if (same.isEmpty()) {
        list_->clearSelection();
        list_->setCurrentItem(nullptr);
    } else {
        list_->setCurrentItem(same.front());
    }
}

std::vector<std::string> ConnectScreen::Items() const {
    std::vector<std::string> items;
    for (int i = 0; i < list_->count(); ++i) {
        items.push_back(list_->item(i)->text().toStdString());
    }
    return items;
}

void ConnectScreen::SetStatus(const std::string& text) {
    status_->setText(Q(text));
}

std::string ConnectScreen::Status() const {
    return status_->text().toStdString();
}

void ConnectScreen::SetShown(bool shown, bool ready) {
    shown_ = shown;
    edit_->setVisible(shown);
    list_->setVisible(shown);
    status_->setVisible(shown && statusLineShown_);
    SetReady(ready);
}

void ConnectScreen::SetReady(bool ready) {
    edit_->setEnabled(shown_ && ready);
    list_->setEnabled(shown_ && ready);
}

void ConnectScreen::SetStatusLineShown(bool shown) {
    statusLineShown_ = shown;
    status_->setVisible(shown_ && shown);
}

}  // namespace vantor::ui
