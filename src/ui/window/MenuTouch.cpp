#include "ui/window/MenuTouch.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMenu>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QStyleHints>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

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
        connect(&menu_, &QMenu::aboutToHide, this, [this] { flick_.stop(); });
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != &menu_) {
            return false;
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
    int RowHeight() const {
        for (QAction* action : menu_.actions()) {
            const int height = menu_.actionGeometry(action).height();
            if (height > 0) {
                return height;
            }
        }
        return std::max(1, menu_.fontMetrics().height());
    }

    // Rows toward the menu's end (positive) or its start, as its own
    // scroll arrows and the wheel move it.
    void Scroll(int rows) {
        const QPoint inside = menu_.rect().center();
        QWheelEvent wheel(inside, menu_.mapToGlobal(inside), QPoint(),
                          QPoint(0, rows > 0 ? -120 : 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(&menu_, &wheel);
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
