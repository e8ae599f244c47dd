#include "ui/window/MenuTouch.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QStyleHints>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "ui/lists/ListTouch.h"

namespace vantor::ui {

namespace {

// How often the menu runs on after a flick, and how much of its speed it
// keeps each time.
constexpr int kFlickStepMs = 40;
constexpr double kFlickKeeps = 0.8;
// A finger that lifts this soon after its last row flicks the menu.
constexpr qint64 kFlickWithinMs = 100;

class MenuFinger final : public QObject {
public:
    explicit MenuFinger(QMenu& menu) : QObject(&menu), menu_(menu) {
        flick_.setInterval(kFlickStepMs);
        connect(&flick_, &QTimer::timeout, this, [this] { RunOn(); });
        connect(&menu_, &QMenu::aboutToHide, this, [this] {
            flick_.stop();
            ShowEveryRow();  // every row again for its next opening
        });
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != &menu_) {
            // The window takes a new size: the menu closes, every row back,
            // before the window lays itself out again (and rebuilds the
            // menus, which Qt closes and reopens meanwhile: rows hidden or
            // shown under it then leave a submenu Qt never shows again). It
            // fits the new size when it next opens.
            if (event->type() == QEvent::Resize && menu_.isVisible()) {
                flick_.stop();
                menu_.hide();
                ShowEveryRow();
            }
            return false;
        }
        if (event->type() == QEvent::Show) {
            KeepInsideWindow(true);
            return false;
        }
        if (event->type() == QEvent::Resize && !placing_ && !pending_) {
            // Once its rows are all filled again.
            pending_ = true;
            QTimer::singleShot(0, this, [this] {
                pending_ = false;
                KeepInsideWindow(false);
            });
            return false;
        }
        if (event->type() == QEvent::Wheel || event->type() == QEvent::KeyPress) {
            return ScrollByKeyOrWheel(event);
        }
        switch (event->type()) {
            case QEvent::MouseButtonPress:
            case QEvent::MouseMove:
            case QEvent::MouseButtonRelease:
                break;
            default:
                return false;
        }
        const auto* mouse = static_cast<const QMouseEvent*>(event);
        const QPointingDevice* device = mouse->pointingDevice();
        if (mouse->source() == Qt::MouseEventNotSynthesized || device == nullptr ||
            device->type() != QInputDevice::DeviceType::TouchScreen) {
            return false;  // the mouse, or the stylus (whose mouse Qt makes too)
        }
        const int y = static_cast<int>(mouse->position().y());
        if (event->type() == QEvent::MouseButtonPress) {
            flick_.stop();
            down_ = true;
            dragging_ = false;
            startY_ = lastY_ = y;
            speed_ = 0;
            return false;  // the menu marks the row under the finger
        }
        if (!down_) {
            return false;
        }
        if (event->type() == QEvent::MouseMove) {
            if (!dragging_ &&
                std::abs(y - startY_) < QApplication::styleHints()->startDragDistance()) {
                return false;
            }
            dragging_ = true;
            const int step = RowHeight();
            // Rows the finger has carried the menu; the rest waits for more.
            while (std::abs(y - lastY_) >= step) {
                const int rows = y < lastY_ ? 1 : -1;
                Scroll(rows);
                lastY_ -= rows * step;
                speed_ = rows;
                lastRow_.restart();
            }
            return true;
        }
        down_ = false;
        if (!dragging_) {
            return false;  // a tap: the menu's own click
        }
        dragging_ = false;
        // A drag ends in no choice; one that still moved runs on.
        if (speed_ != 0 && lastRow_.isValid() && lastRow_.elapsed() < kFlickWithinMs) {
            flickLeft_ = 1.0;
            flick_.start();
        }
        return true;
    }

private:
    // The widget the menu belongs to, past the menus it opened from.
    QWidget* Owner() const {
        QWidget* owner = menu_.parentWidget();
        while (qobject_cast<QMenu*>(owner) != nullptr) {
            owner = owner->parentWidget();
        }
        return owner;
    }

    // Qt keeps a popup inside the screen, which on a desktop or a panel is
    // larger than the window: the menu is moved inside the window, as a
    // row's menu is. One with more rows than the window holds shows as
    // many as it holds, from `first_` on, and those scroll (Qt's own
    // scrolling would grow the menu toward the screen's top instead).
    // Its rows change while it shows (the rooms), so a new size is checked
    // too; the rows it was scrolled to stay.
    void KeepInsideWindow(bool opening) {
        QWidget* owner = Owner();
        if (owner == nullptr || placing_ || !menu_.isVisible()) {
            return;
        }
        if (opening) {
            first_ = 0;
            windowed_ = false;
        }
        owner->window()->installEventFilter(this);
        const QWidget& window = *owner->window();
        const QRect inside(window.mapToGlobal(QPoint(0, 0)), window.size());
        if (!windowed_ && inside.contains(menu_.geometry())) {
            return;
        }
        placing_ = true;
        windowed_ = true;
        ShowRows(inside.height());
        menu_.setGeometry(QRect(MenuPointInside(menu_, *owner, menu_.pos()), menu_.sizeHint()));
        placing_ = false;
    }

    // Shows the rows from `first_` on that a menu `height` high holds,
    // from an earlier one when the last rows leave room (the rows are
    // filled again one by one: `first_` is kept for when they are back).
    void ShowRows(int height) {
        const QList<QAction*> rows = menu_.actions();
        const int count = static_cast<int>(rows.size());
        from_ = std::clamp(first_, 0, std::max(count - 1, 0));
        for (int i = 0; i < count; ++i) {
            rows[i]->setVisible(i >= from_);
        }
        // The rows are of a height (bar a separator or two): as many as
        // the menu's height holds less its frame, then fewer while too many.
        const int row = RowHeight();
        const int frame = menu_.sizeHint().height() - (count - from_) * row;
        int last = std::min(count - 1, from_ + std::max((height - frame) / row, 1) - 1);
        for (int i = last + 1; i < count; ++i) {
            rows[i]->setVisible(false);
        }
        while (last > from_ && menu_.sizeHint().height() > height) {
            rows[last--]->setVisible(false);
        }
        while (from_ > 0 && last == count - 1) {
            rows[from_ - 1]->setVisible(true);
            if (menu_.sizeHint().height() > height) {
                rows[from_ - 1]->setVisible(false);
                break;
            }
            --from_;
        }
        shown_ = last - from_ + 1;
    }

    void ShowEveryRow() {
        if (!windowed_) {
            return;
        }
        placing_ = true;
        for (QAction* row : menu_.actions()) {
            row->setVisible(true);
        }
        placing_ = false;
        windowed_ = false;
    }

    // Rows toward the menu's end (positive) or its start.
    void Scroll(int rows) {
        if (!windowed_) {
            // Qt's own scrolling, as its scroll arrows and the wheel move it.
            const QPoint inside = menu_.rect().center();
            QWheelEvent wheel(inside, menu_.mapToGlobal(inside), QPoint(),
                              QPoint(0, rows > 0 ? -120 : 120), Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QApplication::sendEvent(&menu_, &wheel);
            return;
        }
        const int count = static_cast<int>(menu_.actions().size());
        const int from = std::clamp(from_ + rows, 0, std::max(count - shown_, 0));
        if (from == from_) {
            return;
        }
        first_ = from_ = from;
        placing_ = true;
        const QList<QAction*> all = menu_.actions();
        for (int i = 0; i < count; ++i) {
            all[i]->setVisible(i >= from_ && i < from_ + shown_);
        }
        // A longer row scrolled in widens the menu toward the right.
        if (QWidget* owner = Owner(); owner != nullptr) {
            menu_.move(MenuPointInside(menu_, *owner, menu_.pos()));
        }
        placing_ = false;
    }

    // In a menu showing part of its rows: the wheel scrolls it, and the
    // arrow keys run on past the rows shown.
    bool ScrollByKeyOrWheel(QEvent* event) {
        if (!windowed_) {
            return false;
        }
        if (event->type() == QEvent::Wheel) {
            const int delta = static_cast<const QWheelEvent*>(event)->angleDelta().y();
            Scroll(delta < 0 ? 1 : delta > 0 ? -1 : 0);
            return true;
        }
        const int key = static_cast<const QKeyEvent*>(event)->key();
        const QList<QAction*> rows = menu_.actions();
        const int at = static_cast<int>(rows.indexOf(menu_.activeAction()));
        // Home, End and the wrap past either end go to the list's ends,
        // not to the ends of the rows that happen to show.
        // (A hidden row reads as disabled: only separators are passed over.)
        const auto choosable = [](const QAction* row) { return !row->isSeparator(); };
        const auto head = std::find_if(rows.begin(), rows.end(), choosable);
        const auto tail = std::find_if(rows.rbegin(), rows.rend(), choosable);
        if (head == rows.end()) {
            return false;
        }
        const int firstRow = static_cast<int>(head - rows.begin());
        const int lastRow = static_cast<int>(rows.rend() - tail) - 1;
        const bool toEnd = key == Qt::Key_End || (key == Qt::Key_Up && at == firstRow);
        if (toEnd || key == Qt::Key_Home || (key == Qt::Key_Down && at == lastRow)) {
            const int count = static_cast<int>(rows.size());
            Scroll(toEnd ? count : -count);  // as far as it goes
            menu_.setActiveAction(rows[toEnd ? lastRow : firstRow]);
            return true;
        }
        if (key == Qt::Key_Down && at >= 0 && at == from_ + shown_ - 1) {
            Scroll(1);
        } else if (key == Qt::Key_Up && at >= 0 && at == from_) {
            Scroll(-1);
        }
        return false;
    }

    int RowHeight() const {
        for (QAction* action : menu_.actions()) {
            const int height = menu_.actionGeometry(action).height();
            if (height > 0) {
                return height;
            }
        }
        return std::max(1, menu_.fontMetrics().height());
    }

    void RunOn() {
        flickLeft_ *= kFlickKeeps;
        if (flickLeft_ < 0.2 || !menu_.isVisible()) {
            flick_.stop();
            return;
        }
        Scroll(speed_);
    }

    QMenu& menu_;
    QTimer flick_;
    bool placing_ = false;
    bool pending_ = false;   // a new size to check once Qt is done
    bool windowed_ = false;  // shows `shown_` of its rows from `from_`
    int first_ = 0;          // the first row the user scrolled to
    int from_ = 0;
    int shown_ = 0;
    bool down_ = false;
    bool dragging_ = false;
    int startY_ = 0;
    int lastY_ = 0;
    int speed_ = 0;  // the last row's direction
    QElapsedTimer lastRow_;
    double flickLeft_ = 0;
};

}  // namespace

void EnableMenuTouch(QMenu& menu) {
    menu.installEventFilter(new MenuFinger(menu));
}

}  // namespace vantor::ui
