#include "ui/settings/ButtonsPage.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QStyle>
#include <QStyleHints>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <cmath>

#include "ui/keys/KeyNames.h"
#include "ui/keys/VirtualKeys.h"
#include "ui/lists/ListTouch.h"
#include "ui/view/QtText.h"

namespace vantor::ui {

namespace {

constexpr int kKeyColumn = 1;

// A row as a reader says it: the function and the key bound to it.
void SayBinding(QTreeWidgetItem* item) {
    const QString key = item->text(kKeyColumn);
    item->setData(0, Qt::AccessibleTextRole,
                  key.isEmpty() ? item->text(0) : item->text(0) + QStringLiteral(": ") + key);
}

}  // namespace

ButtonsPage::ButtonsPage(FunctionTable& functions, Prompter& prompter,
                         const RegistryStore* shellKeys, QWidget* parent)
    : QWidget(parent),
      functions_(functions),
      prompter_(prompter),
      shellKeys_(shellKeys),
      help_(new QLabel(QString::fromLatin1(kButtonsHelpText), this)),
      list_(new QTreeWidget(this)),
      releaseMenu_(new QMenu(this)) {
    help_->setWordWrap(true);
    list_->setObjectName(QStringLiteral("Function List"));
    list_->setAccessibleName(QStringLiteral("Buttons"));
    help_->setBuddy(list_);
    list_->setColumnCount(2);
    list_->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Button")});
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setTextElideMode(Qt::ElideRight);
    list_->header()->setStretchLastSection(false);
    list_->header()->setSectionsMovable(false);
    list_->header()->setSectionResizeMode(QHeaderView::Fixed);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    // A finger held on a row opens the same menu as the stylus held on it.
    EnableTouch(*list_);
    for (int id = 0; id < FunctionTable::Count(); ++id) {
        new QTreeWidgetItem(list_,
                            {QString::fromLatin1(functions_.Row(FunctionAt(id)).displayName)});
    }

    // The list ends a little above the page's bottom, as far at every
    // resolution.
    auto* layout = new QVBoxLayout(this);
    QMargins margins = layout->contentsMargins();
    margins.setBottom(static_cast<int>(std::lround(4.0 * logicalDpiY() / 96.0)));
    layout->setContentsMargins(margins);
    layout->addWidget(help_);
    layout->addWidget(list_, 1);

    QObject::connect(list_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        StartWaiting(list_->indexOfTopLevelItem(item));
    });
    QObject::connect(list_, &QWidget::customContextMenuRequested, this,
                     [this](QPoint at) { ShowReleaseMenu(at); });
    holdTimer_.setSingleShot(true);
    holdTimer_.setInterval(QGuiApplication::styleHints()->mousePressAndHoldInterval());
    QObject::connect(&holdTimer_, &QTimer::timeout, this, [this] { ShowReleaseMenu(holdAt_); });
    QObject::connect(releaseMenu_->addAction(QString::fromLatin1(kReleaseButtonText)),
                     &QAction::triggered, this, [this] { ReleaseSelected(); });
    list_->installEventFilter(this);
    list_->viewport()->installEventFilter(this);
    Refresh();
}

ButtonsPage::~ButtonsPage() {
    SetCapture(false);
}

void ButtonsPage::Refresh() {
    waiting_ = -1;
    heldKey_ = 0;
    SetCapture(false);
    for (int id = 0; id < FunctionTable::Count(); ++id) {
        ShowKey(id);
    }
}

QString ButtonsPage::KeyText(int row) const {
    return list_->topLevelItem(row)->text(kKeyColumn);
}

void ButtonsPage::ShowKey(int row) {
    const std::int32_t key = functions_.Row(FunctionAt(row)).key;
    list_->topLevelItem(row)->setText(
        kKeyColumn, key == kUnboundKey ? QString() : Q(GetKeyName(key, shellKeys_)));
    SayBinding(list_->topLevelItem(row));
}

void ButtonsPage::StartWaiting(int row) {
    if (row < 0 || row >= FunctionTable::Count() || row == waiting_) {
        return;
    }
    CancelWaiting();
    // On the handheld the application buttons are taken from the shell
    // here, so that pressing one does not start its program; a desktop
    // has none to take.
    waiting_ = row;
    heldKey_ = 0;
    list_->topLevelItem(row)->setText(kKeyColumn, QString::fromLatin1(kWaitingText));
    SayBinding(list_->topLevelItem(row));
    SetCapture(true);
}

void ButtonsPage::CancelWaiting() {
    if (waiting_ < 0) {
        return;
    }
    const int row = waiting_;
    waiting_ = -1;
    ShowKey(row);
    SetCapture(heldKey_ != 0);
}

void ButtonsPage::TakeKey(const QKeyEvent& event) {
    const std::int32_t vk = VirtualKeyOf(event);
    const std::string name = GetKeyName(vk, shellKeys_);
    if (name.empty()) {
        asking_ = true;
        prompter_.Inform(kInvalidKeyCaption, kInvalidKeyText);
        asking_ = false;
        return;  // the row goes on waiting
    }
    const int row = waiting_;
    int other = -1;
    for (int id = 0; id < FunctionTable::Count() && other < 0; ++id) {
        if (id != row && functions_.Row(FunctionAt(id)).key == vk) {
            other = id;
        }
    }
    if (other >= 0) {
        // The Center key would answer the box itself, so it never asks.
        bool replace = vk == kVkCenter;
        if (!replace) {
            asking_ = true;
            replace = prompter_.AskYesNo(kKeyInUseCaption,
                                         name + " is already bound to " +
                                             functions_.Row(FunctionAt(other)).displayName +
                                             ". Would you like to replace this association?");
            asking_ = false;
        }
        if (!replace) {
            CancelWaiting();
            return;
        }
        for (int id = 0; id < FunctionTable::Count(); ++id) {
            if (id != row && functions_.Row(FunctionAt(id)).key == vk) {
                functions_.Unbind(FunctionAt(id));
                ShowKey(id);
            }
        }
    }
    functions_.Bind(FunctionAt(row), vk);
    // The key's own repeats and release are the page's too: a held Enter
    // must not go on to close the sheet.
    heldKey_ = event.key();
    CancelWaiting();
}

void ButtonsPage::ReleaseSelected() {
    const QList<QTreeWidgetItem*> selected = list_->selectedItems();
    if (selected.isEmpty()) {
        return;
    }
    const int row = list_->indexOfTopLevelItem(selected.front());
    if (row == waiting_) {
        CancelWaiting();
    }
    functions_.Unbind(FunctionAt(row));
    ShowKey(row);
}

void ButtonsPage::ShowReleaseMenu(QPoint at) {
    if (QTreeWidgetItem* item = list_->itemAt(at)) {
        list_->setCurrentItem(item);
    }
    if (!list_->selectedItems().isEmpty()) {
        releaseMenu_->popup(
            MenuPointInside(*releaseMenu_, *list_, list_->viewport()->mapToGlobal(at)));
    }
}

void ButtonsPage::SetCapture(bool on) {
    if (on == capturing_) {
        return;
    }
    capturing_ = on;
    if (on) {
        qApp->installEventFilter(this);
    } else {
        qApp->removeEventFilter(this);
    }
}

// "Button" takes 0.3 of the list; "Name" the rest, less room for a
// vertical scroll bar, so the two never need a horizontal one.
void ButtonsPage::SizeColumns() {
    const int client = list_->contentsRect().width();
    const int key = static_cast<int>(std::lround(client * 0.3));
    const int bar = list_->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, list_);
    list_->setColumnWidth(0, std::max(client - key - bar, 0));
    list_->setColumnWidth(kKeyColumn, key);
}

bool ButtonsPage::eventFilter(QObject* watched, QEvent* event) {
    if (capturing_ && !asking_) {
        switch (event->type()) {
            case QEvent::ShortcutOverride:
            case QEvent::KeyPress:
            case QEvent::KeyRelease:
                return Capture(watched, static_cast<QKeyEvent&>(*event));
            default:
                break;
        }
    }
    if (watched == list_) {
        if (event->type() == QEvent::Resize) {
            SizeColumns();
        }
    } else if (watched == list_->viewport()) {
        WatchHold(*event);
    }
    return false;
}

// While capturing, every key event of the application comes here first:
// only those of this sheet are taken.
bool ButtonsPage::Capture(QObject* watched, QKeyEvent& key) {
    const auto* widget = qobject_cast<const QWidget*>(watched);
    if (widget == nullptr || widget->window() != window()) {
        return false;
    }
    switch (key.type()) {
        case QEvent::ShortcutOverride:
            key.accept();  // no shortcut or default button takes the key
            return true;
        case QEvent::KeyPress:
            if (waiting_ >= 0) {
                TakeKey(key);
                return true;
            }
            if (key.key() == heldKey_) {
                return true;
            }
            heldKey_ = 0;  // another key: the sheet's again
            SetCapture(false);
            return false;
        default:  // a release
            if (waiting_ < 0 && key.key() == heldKey_ && !key.isAutoRepeat()) {
                heldKey_ = 0;
                SetCapture(false);
            }
            return true;
    }
}

// Tap and hold: a press that stays put for the platform's hold time.
void ButtonsPage::WatchHold(const QEvent& event) {
    switch (event.type()) {
        case QEvent::MouseButtonPress: {
            const auto& mouse = static_cast<const QMouseEvent&>(event);
            if (mouse.button() == Qt::LeftButton) {
                holdAt_ = mouse.position().toPoint();
                holdTimer_.start();
            }
            break;
        }
        case QEvent::MouseMove: {
            const auto& mouse = static_cast<const QMouseEvent&>(event);
            if (mouse.buttons().testFlag(Qt::LeftButton) &&
                (mouse.position().toPoint() - holdAt_).manhattanLength() >
                    QApplication::startDragDistance()) {
                holdTimer_.stop();
            }
            break;
        }
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
            holdTimer_.stop();
            break;
        default:
            break;
    }
}

void ButtonsPage::hideEvent(QHideEvent* event) {
    CancelWaiting();
    heldKey_ = 0;
    SetCapture(false);
    QWidget::hideEvent(event);
}

}  // namespace vantor::ui
