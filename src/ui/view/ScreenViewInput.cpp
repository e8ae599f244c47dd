#include <QChildEvent>
#include <QFocusEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QTouchEvent>

#include "skin/SkinBar.h"
#include "skin/SkinScreen.h"
#include "ui/view/ScreenView.h"

// The view as the stylus, a finger and the window's events meet it:
// painting the built picture, resizing, hot and pushed buttons, bars
// dragged, taps.

namespace vantor::ui {

namespace {

// Bars are thin; the stylus may land this far (skin units) off their track.
constexpr int kBarReach = 12;

}  // namespace

// --- Qt events -------------------------------------------------------------------

void ScreenView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    if (buffer_.size() != DeviceSize()) {
        painter.fillRect(event->rect(), background_);
    }
    painter.drawImage(event->rect(), buffer_, Device(event->rect()));
    PaintFocus(painter);
}

void ScreenView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (resized_) {
        resized_(size());
    }
}

void ScreenView::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    if (held_ == nullptr) {
        SetHot(nullptr, false);
    }
}

void ScreenView::childEvent(QChildEvent* event) {
    QWidget::childEvent(event);
    if (event->added() && event->child()->isWidgetType()) {
        event->child()->installEventFilter(this);
    }
}

bool ScreenView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Enter && held_ == nullptr) {
        SetHot(nullptr, false);
    }
    if ((event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) &&
        ChildFocusEvent(watched, static_cast<const QFocusEvent&>(*event))) {
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

const SkinComponent* ScreenView::BarAt(int x, int y) const {
    const auto within = [&](const SkinComponent* back) -> const SkinComponent* {
        if (back == nullptr || !back->norm.present || !IsShownIn(*back, shown_())) {
            return nullptr;
        }
        // A thin track is easier to hit when it reaches a little further
        // across than it is drawn.
        QRect reach = ToQRect(back->norm.destination);
        const bool across = reach.width() >= reach.height();
        const int grow = skin_.Scale().Y(kBarReach);
        const int growAcross = skin_.Scale().X(kBarReach) / 3;
        reach = across ? reach.adjusted(0, -grow / 2, 0, grow / 2)
                       : reach.adjusted(-growAcross, 0, growAcross, 0);
        return reach.contains(x, y) ? back : nullptr;
    };
    for (const std::string_view name :
         {kVolumeBar.back, kPositionBar.back, kNowPlayingPositionBar.back}) {
        if (const SkinComponent* back = within(skin_.FindComponent(name))) {
            return back;
        }
    }
    for (int track = 0; track < kEqTracks; ++track) {
        if (const SkinComponent* back = within(EqTrack(track))) {
            return back;
        }
    }
    return nullptr;
}

std::int32_t ScreenView::BarValue(const SkinComponent& back, int x, int y,
                                  std::int32_t* extent) const {
    const SkinRect& rect = back.norm.destination;
    if (rect.Width() >= rect.Height()) {
        const SkinComponent* front = skin_.FindComponent(BarFront(back.name));
        const std::int32_t length =
            SkinClamp(front ? front->norm.destination.Width() : rect.Width());
        *extent = length;
        return std::clamp(x - rect.left, 0, std::max(length, 0));
    }
    const std::int32_t height = SkinClamp(rect.Height());
    *extent = height;
    return std::clamp(rect.bottom - y, 0, std::max(height, 0));
}

void ScreenView::SetHot(const SkinComponent* component, bool pushed) {
    if (component == hot_ && pushed == hotPushed_) {
        return;
    }
    const QRect before = OverlayRect(Element::Hot);
    hot_ = component;
    hotPushed_ = pushed;
    const QRect after = OverlayRect(Element::Hot);
    for (Overlay& overlay : overlays_) {
        if (overlay.element == Element::Hot) {
            overlay.rect = after;
        }
    }
    RedrawRegion(before);
    RedrawRegion(after);
}

bool ScreenView::InNowPlayingArea(const QPoint& point) const {
    if (shown_() == kScreenMain) {
        return ComponentRect("songback").contains(point);
    }
    if (shown_() == kScreenNowPlaying) {
        return OverlayRect(Element::AlbumArt).contains(point) ||
               OverlayRect(Element::NowPlayingTitle).contains(point);
    }
    return false;
}

// A box that opens while the stylus is down takes its release, so the view
// may see the pointer move, or press again, with a drag or a push still
// open: that gesture has ended, unsent.
void ScreenView::EndLostGesture() {
    CancelDrag();
    if (held_ != nullptr) {
        held_ = nullptr;
        SetHot(nullptr, false);
    }
}

void ScreenView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        tapPending_ = false;
        EndLostGesture();
        return;
    }
    Press(SkinPoint(event->position()));
}

void ScreenView::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton) && event->buttons() != Qt::NoButton) {
        EndLostGesture();  // another button: no drag, and no hover either
        return;
    }
    Move(SkinPoint(event->position()), (event->buttons() & Qt::LeftButton) != 0);
}

void ScreenView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        Release(SkinPoint(event->position()), true);
    }
}

bool ScreenView::event(QEvent* event) {
    switch (event->type()) {
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::TouchCancel:
            return Touch(static_cast<QTouchEvent&>(*event));
        default:
            return QWidget::event(event);
    }
}

// One finger is the stylus. A second finger voids the gesture: a held
// button lets go unsent and a bar's drag ends unsent, as does a touch the
// system takes back. A touch that lands on a child control (a field, a
// scroll bar) is left to Qt, which makes it a mouse press for the child.
bool ScreenView::Touch(QTouchEvent& event) {
    const QList<QEventPoint>& points = event.points();
    switch (event.type()) {
        case QEvent::TouchBegin: {
            const QPoint point = points.isEmpty() ? QPoint() : points.front().position().toPoint();
            if (points.isEmpty() || childAt(point) != nullptr) {
                event.ignore();
                return false;
            }
            finger_ = points.front().id();
            fingerLost_ = points.size() > 1;
            if (!fingerLost_) {
                Press(SkinPoint(points.front().position()));
            }
            break;
        }
        case QEvent::TouchUpdate:
            if (fingerLost_ || finger_ < 0) {
                break;
            }
            for (const QEventPoint& point : points) {
                if (point.id() != finger_) {
                    fingerLost_ = true;
                    tapPending_ = false;
                    EndLostGesture();
                    break;
                }
                Move(SkinPoint(point.position()), true);
            }
            break;
        case QEvent::TouchEnd:
            if (!fingerLost_ && finger_ >= 0) {
                for (const QEventPoint& point : points) {
                    if (point.id() == finger_) {
                        Release(SkinPoint(point.position()), false);
                    }
                }
            }
            finger_ = -1;
            fingerLost_ = false;
            break;
        default:  // cancelled
            tapPending_ = false;
            EndLostGesture();
            finger_ = -1;
            fingerLost_ = false;
            break;
    }
    event.accept();
    return true;
}

void ScreenView::Press(QPoint point) {
    tapPending_ = false;
    EndLostGesture();
    if (Landscape()) {
        return;
    }
    const bool act = input_.ControlsAct();
    const SkinComponent* button =
        act ? ComponentAtPress(skin_, point.x(), point.y(), shown_()) : nullptr;
    if (button != nullptr) {
        held_ = button;
        SetHot(button, true);
        return;
    }
    if (const SkinComponent* bar = act ? BarAt(point.x(), point.y()) : nullptr) {
        std::int32_t extent = 0;
        dragBar_ = bar;
        dragName_ = bar->name;
        dragValue_ = BarValue(*bar, point.x(), point.y(), &extent);
        RedrawRegion(ToQRect(bar->norm.destination));
        input_.OnBarDragged(bar->name, dragValue_, extent, false);
        return;
    }
    tapPending_ = InNowPlayingArea(point);
}

void ScreenView::Move(QPoint point, bool down) {
    if (!down) {
        EndLostGesture();
    }
    if (dragBar_ != nullptr) {
        std::int32_t extent = 0;
        const std::int32_t value = BarValue(*dragBar_, point.x(), point.y(), &extent);
        if (value != dragValue_) {
            dragValue_ = value;
            RedrawRegion(ToQRect(dragBar_->norm.destination));
            input_.OnBarDragged(dragBar_->name, value, extent, false);
        }
        return;
    }
    if (held_ != nullptr) {
        // A held button shows pushed only while the stylus stays on it.
        SetHot(held_, ComponentAtPress(skin_, point.x(), point.y(), shown_()) == held_);
        return;
    }
    if (!down && !Landscape()) {
        const SkinComponent* under =
            input_.ControlsAct() ? ComponentAtInput(skin_, point.x(), point.y(), shown_(), true)
                                 : nullptr;
        SetHot(under != nullptr && under->hover.present ? under : nullptr, false);
    }
}

// `hover`: a pointer stays where it was let go, so the button under it
// shows hovered; a lifted finger is nowhere.
void ScreenView::Release(QPoint point, bool hover) {
    if (dragBar_ != nullptr) {
        const SkinComponent* bar = dragBar_;
        std::int32_t extent = 0;
        const std::int32_t value = BarValue(*bar, point.x(), point.y(), &extent);
        dragBar_ = nullptr;
        // The window takes the value over before the bar is drawn again.
        input_.OnBarDragged(bar->name, value, extent, true);
        RedrawRegion(ToQRect(bar->norm.destination));
        return;
    }
    if (held_ != nullptr) {
        const SkinComponent* button = held_;
        held_ = nullptr;
        const bool over = ComponentAtPress(skin_, point.x(), point.y(), shown_()) == button;
        SetHot(hover && over && button->hover.present ? button : nullptr, false);
        if (over) {
            input_.OnSkinButton(button->name);
        }
        return;
    }
    if (tapPending_ && InNowPlayingArea(point)) {
        tapPending_ = false;
        input_.OnNowPlayingTapped();
    }
    tapPending_ = false;
}

}  // namespace vantor::ui
