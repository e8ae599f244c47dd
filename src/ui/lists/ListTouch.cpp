#include "ui/lists/ListTouch.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QContextMenuEvent>
#include <QElapsedTimer>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScroller>
#include <QScrollerProperties>
#include <QStyleHints>
#include <QTimer>
#include <QTouchEvent>
#include <algorithm>

namespace vantor::ui {

namespace {

// The ring round a finger held on a row: it fills as the hold goes on, so
// a person sees that holding does something before the menu opens. A tap
// is over before it has drawn anything.
class HoldCue final : public QWidget {
public:
    explicit HoldCue(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("Hold Cue"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        hide();
        tick_.setInterval(30);
        QObject::connect(&tick_, &QTimer::timeout, this, [this] { update(); });
    }

    void Start(QPoint at) {
        const int size = std::max(fontMetrics().height() * 3, 24);
        setGeometry(QRect(at - QPoint(size / 2, size / 2), QSize(size, size)));
        clock_.start();
        tick_.start();
        show();
        raise();
    }
    void Stop() {
        tick_.stop();
        hide();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        // Nothing for the first fifth: a tap should not flash a ring.
        const double done = static_cast<double>(clock_.elapsed()) / kTouchHoldMs;
        if (done < 0.2) {
            return;
        }
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const int pen = std::max(width() / 10, 2);
        const QRectF ring = QRectF(rect()).adjusted(pen, pen, -pen, -pen);
        QColor faint = palette().color(QPalette::Highlight);
        faint.setAlpha(70);
        painter.setPen(QPen(faint, pen));
        painter.drawEllipse(ring);
        painter.setPen(
            QPen(palette().color(QPalette::Highlight), pen, Qt::SolidLine, Qt::RoundCap));
        const int span = static_cast<int>(-360 * 16 * std::min(done, 1.0));
        painter.drawArc(ring, 90 * 16, span);
    }

private:
    QTimer tick_;
    QElapsedTimer clock_;
};

class ListTouch final : public QObject {
public:
    explicit ListTouch(QAbstractItemView& view)
        : QObject(&view),
          view_(view),
          viewport_(view.viewport()),
          scroller_(QScroller::scroller(viewport_)),
          cue_(new HoldCue(viewport_)) {
        viewport_->setAttribute(Qt::WA_AcceptTouchEvents);
        viewport_->installEventFilter(this);
        QScrollerProperties properties = scroller_->scrollerProperties();
        properties.setScrollMetric(QScrollerProperties::HorizontalOvershootPolicy,
                                   QVariant::fromValue(QScrollerProperties::OvershootAlwaysOff));
        properties.setScrollMetric(
            QScrollerProperties::VerticalOvershootPolicy,
            QVariant::fromValue(QScrollerProperties::OvershootWhenScrollable));
        // The list gives way a fifth of its height past an end, and comes back.
        properties.setScrollMetric(QScrollerProperties::OvershootDragDistanceFactor, 0.2);
        properties.setScrollMetric(QScrollerProperties::OvershootScrollDistanceFactor, 0.2);
        scroller_->setScrollerProperties(properties);
        hold_.setSingleShot(true);
        hold_.setInterval(kTouchHoldMs);
        QObject::connect(&hold_, &QTimer::timeout, this, [this] { Held(); });
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != viewport_) {
            return EatLift(*event);
        }
        switch (event->type()) {
            case QEvent::TouchBegin:
                EatLifts(false);
                TouchBegin(static_cast<QTouchEvent&>(*event));
                break;
            case QEvent::TouchUpdate:
                TouchUpdate(static_cast<QTouchEvent&>(*event));
                break;
            case QEvent::TouchEnd:
                EatLifts(false);
                TouchEnd(static_cast<QTouchEvent&>(*event));
                break;
            case QEvent::TouchCancel:
                EatLifts(false);
                Cancel();
                break;
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonDblClick:
            case QEvent::MouseMove:
            case QEvent::MouseButtonRelease:
                return MouseFromTouch(static_cast<QMouseEvent&>(*event));
            default:
                return false;
        }
        // Taken here, so Qt makes no mouse of it: the list would select
        // the row a flick began on.
        event->accept();
        return true;
    }

private:
    enum class Gesture {
        None,
        Undecided,  // one finger down and still: a tap or a hold so far
        Scrolling,
        Spent,  // over for the list (a second finger, the menu opened)
    };

    static bool FromTouchScreen(const QInputEvent& event) {
        return event.device() != nullptr &&
               event.device()->type() == QInputDevice::DeviceType::TouchScreen;
    }

    void TouchBegin(const QTouchEvent& event) {
        if (event.points().isEmpty()) {
            return;
        }
        const QEventPoint& point = event.points().front();
        Begin(point.id(), point.position(), static_cast<qint64>(event.timestamp()),
              event.points().size() == 1);
    }

    void TouchUpdate(const QTouchEvent& event) {
        const QEventPoint* finger = nullptr;
        bool another = false;
        for (const QEventPoint& point : event.points()) {
            if (point.id() == finger_) {
                finger = &point;
            } else {
                another = true;
            }
        }
        if (another) {
            SecondFinger();
        }
        if (finger != nullptr && finger->state() != QEventPoint::Released) {
            Move(finger->position(), static_cast<qint64>(event.timestamp()));
        }
    }

    void TouchEnd(const QTouchEvent& event) {
        for (const QEventPoint& point : event.points()) {
            if (point.id() == finger_) {
                last_ = point.position();
            }
        }
        End(static_cast<qint64>(event.timestamp()));
    }

    // Qt gives a popup's list (the equaliser's presets) no touches but
    // mouse events made of them: the same gestures from those.
    bool MouseFromTouch(const QMouseEvent& mouse) {
        if (!FromTouchScreen(mouse)) {
            return false;  // the mouse, the stylus, or a tap sent from here
        }
        const auto time = static_cast<qint64>(mouse.timestamp());
        switch (mouse.type()) {
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonDblClick:
                Begin(0, mouse.position(), time, true);
                break;
            case QEvent::MouseMove:
                if (mouse.buttons() & Qt::LeftButton) {
                    Move(mouse.position(), time);
                }
                break;
            default:
                last_ = mouse.position();
                End(time);
                break;
        }
        return true;
    }

    void Begin(int id, QPointF at, qint64 time, bool alone) {
        EndScroll();
        Reset();
        if (!alone) {
            gesture_ = Gesture::Spent;
            return;
        }
        finger_ = id;
        start_ = last_ = at;
        gesture_ = Gesture::Undecided;
        // A finger put on a list that is still moving stops it, and that
        // is all its tap does: the row under it came there by chance.
        stopping_ = scroller_->state() == QScroller::Scrolling;
        if (stopping_) {
            lastTap_.invalidate();
        }
        scroller_->handleInput(QScroller::InputPress, last_, time);
        // (Its answer says whether it ate the press, not whether it took it.)
        scrollerHeld_ = scroller_->state() == QScroller::Pressed;
        hold_.start();
        cue_->Start(start_.toPoint());
    }

    // Two fingers before the gesture was known: neither a tap nor a hold.
    // A drag under way goes on with its own finger.
    void SecondFinger() {
        if (gesture_ == Gesture::Undecided) {
            EndScroll();
            Reset();
            gesture_ = Gesture::Spent;
        }
    }

    void Move(QPointF at, qint64 time) {
        if (gesture_ != Gesture::Undecided && gesture_ != Gesture::Scrolling) {
            return;
        }
        last_ = at;
        if (gesture_ == Gesture::Undecided &&
            (last_ - start_).manhattanLength() > QApplication::startDragDistance()) {
            // It moved: a drag, and no longer a tap or a hold.
            gesture_ = Gesture::Scrolling;
            hold_.stop();
            cue_->Stop();
        }
        if (scrollerHeld_) {
            scroller_->handleInput(QScroller::InputMove, last_, time);
        }
    }

    void End(qint64 time) {
        const Gesture gesture = gesture_;
        if (scrollerHeld_) {
            // A flick goes on by itself from here.
            scroller_->handleInput(QScroller::InputRelease, last_, time);
            scrollerHeld_ = false;
        }
        const bool stopped = stopping_;
        Reset();
        if (gesture == Gesture::Undecided && !stopped) {
            Tap(start_.toPoint());
        }
    }

    void Cancel() {
        EndScroll();
        Reset();
        lastTap_.invalidate();
    }

    // The finger stayed put: the row's menu, as the context key opens it.
    void Held() {
        if (gesture_ != Gesture::Undecided) {
            return;
        }
        EndScroll();
        Reset();
        gesture_ = Gesture::Spent;  // its lift is no tap
        lastTap_.invalidate();
        if (!viewport_->isVisible()) {
            return;  // the screen changed under the finger
        }
        const QPoint at = start_.toPoint();
        EatLifts(true);
        QContextMenuEvent menu(QContextMenuEvent::Mouse, at, viewport_->mapToGlobal(at));
        // The menu runs its own loop; the list (and this) may be gone after.
        QApplication::sendEvent(viewport_, &menu);
    }

    // A tap is the stylus's tap; one soon after on the same spot its
    // double tap.
    void Tap(QPoint at) {
        const QStyleHints& hints = *QGuiApplication::styleHints();
        const bool second = lastTap_.isValid() &&
                            lastTap_.elapsed() < hints.mouseDoubleClickInterval() &&
                            (at - lastTapAt_).manhattanLength() <= 2 * hints.startDragDistance();
        if (view_.focusPolicy() & Qt::ClickFocus) {
            view_.setFocus(Qt::MouseFocusReason);
        }
        const QPointer<QObject> alive(this);
        if (second) {
            lastTap_.invalidate();
            Mouse(QEvent::MouseButtonDblClick, at, Qt::LeftButton);
        } else {
            lastTap_.start();
            lastTapAt_ = at;
            Mouse(QEvent::MouseButtonPress, at, Qt::LeftButton);
        }
        if (alive) {
            Mouse(QEvent::MouseButtonRelease, at, Qt::NoButton);
        }
    }

    void Mouse(QEvent::Type type, QPoint at, Qt::MouseButtons buttons) {
        QMouseEvent mouse(type, at, viewport_->mapToGlobal(at), Qt::LeftButton, buttons,
                          Qt::NoModifier);
        QApplication::sendEvent(viewport_, &mouse);
    }

    // While a popup is open Qt makes mouse events of the touches, and the
    // menu would take the lift of the finger that opened it as a choice of
    // the entry under it: until that finger is lifted, what Qt makes of a
    // touch goes nowhere.
    void EatLifts(bool on) {
        if (on != eatingLift_) {
            eatingLift_ = on;
            if (on) {
                qApp->installEventFilter(this);
            } else {
                qApp->removeEventFilter(this);
            }
        }
    }
    bool EatLift(const QEvent& event) {
        switch (event.type()) {
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonDblClick:
            case QEvent::MouseMove:
            case QEvent::MouseButtonRelease: {
                if (!FromTouchScreen(static_cast<const QInputEvent&>(event))) {
                    return false;
                }
                if (event.type() == QEvent::MouseButtonRelease) {
                    EatLifts(false);
                }
                return true;
            }
            default:
                return false;
        }
    }

    void EndScroll() {
        if (scrollerHeld_) {
            scrollerHeld_ = false;
            scroller_->handleInput(QScroller::InputRelease, last_);
        }
    }

    void Reset() {
        hold_.stop();
        cue_->Stop();
        gesture_ = Gesture::None;
        finger_ = -1;
        stopping_ = false;
    }

    QAbstractItemView& view_;
    QWidget* viewport_;
    QScroller* scroller_;
    HoldCue* cue_;
    QTimer hold_;
    Gesture gesture_ = Gesture::None;
    int finger_ = -1;
    QPointF start_;
    QPointF last_;
    bool scrollerHeld_ = false;  // the scroller took a press not yet released
    bool eatingLift_ = false;    // the held finger is still down over a menu
    bool stopping_ = false;      // the finger down stopped a moving list
    QElapsedTimer lastTap_;      // invalid: no tap to pair with
    QPoint lastTapAt_;
};

}  // namespace

void EnableTouch(QAbstractItemView& view) {
    new ListTouch(view);
}

QPoint MenuPointInside(const QMenu& menu, const QWidget& owner, QPoint global) {
    const QWidget& window = *owner.window();
    const QRect inside(window.mapToGlobal(QPoint(0, 0)), window.size());
    const QSize size = menu.sizeHint();
    const int x = std::max(std::min(global.x(), inside.right() + 1 - size.width()), inside.left());
    const int y = std::max(std::min(global.y(), inside.bottom() + 1 - size.height()), inside.top());
    return QPoint(x, y);
}

}  // namespace vantor::ui
