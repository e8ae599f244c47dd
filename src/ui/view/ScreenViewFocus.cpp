#include <QAccessible>
#include <QApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <utility>

#include "session/NowPlaying.h"
#include "skin/SkinBar.h"
#include "ui/access/ReadableText.h"
#include "ui/view/QtText.h"
#include "ui/view/ScreenView.h"

// The view as a screen reader and the keyboard meet it: the screen's
// controls with their names and values, the keyboard's focus among them,
// and the notices a listening reader gets when what they show changes.
// Everything is worked out from the screen shown when asked, so a reader
// holding on to a control of a screen that has gone finds nothing to act on.

namespace vantor::ui {

namespace {

using Kind = ScreenView::AccessControl::Kind;

struct NamedButton {
    std::string_view key;
    const char* name;
    Kind kind;
};
constexpr NamedButton kButtons[] = {
    {"prev", "Previous", Kind::Button},
    {"play", "Play", Kind::Button},
    {"pause", "Pause", Kind::Button},
    {"stop", "Stop", Kind::Button},
    {"next", "Next", Kind::Button},
    {"repeat", "Repeat", Kind::Toggle},
    {"shuffle", "Shuffle", Kind::Toggle},
    {"eq.enabled", "Equalizer", Kind::Toggle},
    {"eq.autoload", "Auto Load", Kind::Toggle},
};

// Keys of the lines the view draws itself.
constexpr std::string_view kTitleLine = "songback";
constexpr std::string_view kTimeLine = "positionback";
constexpr std::string_view kStateLine = "playingstate";
constexpr std::string_view kNowPlayingTitle = "title.nowplaying";
constexpr std::string_view kNowPlayingArtist = "artist.nowplaying";
constexpr std::string_view kNowPlayingAlbum = "album.nowplaying";
constexpr std::string_view kNowPlayingTime = "time.nowplaying";
constexpr std::string_view kAlbumArt = "albumart";

constexpr std::int32_t kVolumeStep = 5;    // percent
constexpr std::int32_t kPositionStep = 5;  // seconds
constexpr std::int32_t kEqGain = 100;

bool IsSliderKey(int key) {
    switch (key) {
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
        case Qt::Key_Home:
        case Qt::Key_End:
            return true;
        default:
            return false;
    }
}

bool IsPressKey(int key) {
    return key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter ||
           key == Qt::Key_Select;
}

}  // namespace

std::vector<ScreenView::AccessControl> ScreenView::AccessControls() const {
    std::vector<AccessControl> controls;
    if (Landscape()) {
        // The message drawn in the screen's place is all there is to read.
        AccessControl message;
        message.key = "landscape";
        message.name = landscape_;
        message.rect = rect();
        controls.push_back(std::move(message));
        return controls;
    }
    if (buffer_.isNull()) {
        return controls;
    }
    const auto add = [&](std::string_view key, Kind kind, QString name, QRect rect) {
        if (rect.isEmpty()) {
            return static_cast<AccessControl*>(nullptr);
        }
        AccessControl control;
        control.key = std::string(key);
        control.kind = kind;
        control.name = std::move(name);
        control.rect = Logical(rect);  // the skin draws in device pixels
        control.pressable = kind == Kind::Button || kind == Kind::Toggle || key == kTitleLine ||
                            key == kNowPlayingTitle || key == kAlbumArt;
        controls.push_back(std::move(control));
        return &controls.back();
    };
    for (const NamedButton& button : kButtons) {
        if (AccessControl* control = add(button.key, button.kind, QString::fromLatin1(button.name),
                                         ComponentRect(button.key))) {
            control->checked = button.kind == Kind::Toggle && ToggleOn(button.key);
        }
    }
    const auto slider = [&](std::string_view key, const char* name, QRect rect,
                            std::int32_t minimum, std::int32_t maximum, std::int32_t value,
                            std::int32_t step) {
        if (AccessControl* control = add(key, Kind::Slider, QString::fromLatin1(name), rect)) {
            control->minimum = minimum;
            control->maximum = std::max(minimum, maximum);
            control->value = std::clamp(value, control->minimum, control->maximum);
            control->step = step;
        }
    };
    const SkinComponent* volume = skin_.FindComponent(kVolumeBar.back);
    const std::int32_t volumeWidth = VolumeWidth();
    const std::int32_t volumePixels =
        volume != nullptr && volume == dragBar_ ? dragValue_ : content_.volumePixels;
    slider(kVolumeBar.back, "Volume", ComponentRect(kVolumeBar.back), 0, 100,
           volumeWidth > 0
               ? static_cast<std::int32_t>(std::lround(100.0 * volumePixels / volumeWidth))
               : 0,
           kVolumeStep);
    const std::int32_t seconds =
        content_.positionMs < 0 ? 0 : static_cast<std::int32_t>(content_.positionMs / 1000);
    const std::int32_t length = std::max(content_.length, 0);
    slider(kPositionBar.back, "Position", ComponentRect(kPositionBar.back), 0, length, seconds,
           kPositionStep);
    slider(kNowPlayingPositionBar.back, "Position", ComponentRect(kNowPlayingPositionBar.back), 0,
           length, seconds, kPositionStep);
    for (int track = 0; track < kEqTracks; ++track) {
        const SkinComponent* back = EqTrack(track);
        if (back == nullptr) {
            continue;
        }
        std::int32_t gain = track < EqSettings::kBands
                                ? content_.eq.bands[static_cast<std::size_t>(track)]
                                : content_.eq.preamp;
        if (gain < -kEqGain || gain > kEqGain) {
            gain = 0;  // not known yet
        }
        const std::string name = track < EqSettings::kBands ? "Band " + std::to_string(track + 1)
                                                            : std::string("Preamp");
        slider(back->name, name.c_str(), ToQRect(back->norm.destination), -kEqGain, kEqGain, gain,
               1);
    }
    if (content_.songTitleShown) {
        add(kTitleLine, Kind::Label, ReadableText(content_.songTitle),
            OverlayRect(Element::SongTitle));
    }
    add(kTimeLine, Kind::Label, TimeText(), OverlayRect(Element::Time));
    static constexpr const char* kStates[] = {"Stopped", "Playing", "Paused"};
    const int state = content_.playingState;
    add(kStateLine, Kind::Label,
        QString::fromLatin1(state >= 0 && state <= 2 ? kStates[state] : kStates[0]),
        OverlayRect(Element::PlayerState));
    if (AccessControl* art = add(kAlbumArt, Kind::Image, QStringLiteral("Album art"),
                                 OverlayRect(Element::AlbumArt))) {
        art->description = ReadableText(content_.album);
    }
    add(kNowPlayingTitle, Kind::Label,
        ReadableText(content_.statusInTitle ? content_.songTitle : content_.title),
        OverlayRect(Element::NowPlayingTitle));
    add(kNowPlayingArtist, Kind::Label, ReadableText(content_.artist),
        OverlayRect(Element::NowPlayingArtist));
    add(kNowPlayingAlbum, Kind::Label, ReadableText(content_.album),
        OverlayRect(Element::NowPlayingAlbum));
    if (AccessControl* time =
            add(kNowPlayingTime, Kind::Label, TimeText(), OverlayRect(Element::NowPlayingTime));
        time != nullptr && content_.length > 0) {
        time->description = Q(FormatPlayTime(content_.length));
    }
    // Reading order: top to bottom, then left to right.
    std::stable_sort(controls.begin(), controls.end(),
                     [](const AccessControl& a, const AccessControl& b) {
                         return a.rect.top() != b.rect.top() ? a.rect.top() < b.rect.top()
                                                             : a.rect.left() < b.rect.left();
                     });
    return controls;
}

bool ScreenView::PressControl(std::string_view key) {
    for (const AccessControl& control : AccessControls()) {
        if (control.key != key) {
            continue;
        }
        switch (control.kind) {
            case Kind::Button:
            case Kind::Toggle:
                if (!input_.ControlsAct()) {
                    return false;
                }
                EndLostGesture();
                input_.OnSkinButton(key);
                return true;
            case Kind::Label:
            case Kind::Image:
                if (!control.pressable) {
                    return false;
                }
                input_.OnNowPlayingTapped();
                return true;
            case Kind::Slider:
                return false;
        }
    }
    return false;
}

bool ScreenView::SetControlValue(std::string_view key, std::int32_t value) {
    for (const AccessControl& control : AccessControls()) {
        if (control.key != key || control.kind != Kind::Slider) {
            continue;
        }
        if (!input_.ControlsAct()) {
            return false;
        }
        EndLostGesture();
        value = std::clamp(value, control.minimum, control.maximum);
        if (key == kVolumeBar.back) {
            const std::int32_t width = VolumeWidth();
            if (width <= 0) {
                return false;
            }
            input_.OnBarDragged(key, VolumeToPixels(value, width), width, true);
        } else if (key == kPositionBar.back || key == kNowPlayingPositionBar.back) {
            if (control.maximum <= 0) {
                return false;  // nothing to seek in
            }
            input_.OnBarDragged(key, value, control.maximum, true);
        } else {
            // A gain as a place on a track 200 high: the drag's formula
            // gives it back exactly.
            input_.OnBarDragged(key, value + kEqGain, 2 * kEqGain, true);
        }
        return true;
    }
    return false;
}

void ScreenView::PlaceRing(std::string_view key) {
    const std::vector<AccessControl> controls = AccessControls();
    const auto rectOf = [&](std::string_view name) {
        for (const AccessControl& control : controls) {
            if (control.key == name) {
                return control.rect;
            }
        }
        return QRect();
    };
    const QRect before = rectOf(focused_);
    const QRect after = rectOf(key);
    focused_ = after.isEmpty() ? std::string() : std::string(key);
    constexpr int kRing = 3;
    update(before.adjusted(-kRing, -kRing, kRing, kRing));
    update(after.adjusted(-kRing, -kRing, kRing, kRing));
}

void ScreenView::FocusControl(std::string_view key) {
    PlaceRing(key);
    if (focused_.empty() || !hasFocus() || !QAccessible::isActive()) {
        return;
    }
    const std::vector<AccessControl> controls = AccessControls();
    for (std::size_t i = 0; i < controls.size(); ++i) {
        if (controls[i].key == focused_) {
            QAccessibleEvent event(this, QAccessible::Focus);
            event.setChild(static_cast<int>(i));
            QAccessible::updateAccessibility(&event);
        }
    }
}

bool ScreenView::TakesKey(const QKeyEvent& event) const {
    if (!hasFocus()) {
        return false;
    }
    const int key = event.key();
    if (key == Qt::Key_Escape) {
        return static_cast<bool>(back_);
    }
    for (const AccessControl& control : AccessControls()) {
        if (control.key == focused_) {
            return control.kind == Kind::Slider ? IsSliderKey(key)
                                                : control.pressable && IsPressKey(key);
        }
    }
    return false;
}

void ScreenView::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if (key == Qt::Key_Escape && back_) {
        back_();
        return;
    }
    // A key a child control (the queue, a field) left on to its parent is
    // not the focused control's: the view keeps the control it had.
    if (!hasFocus()) {
        QWidget::keyPressEvent(event);
        return;
    }
    for (const AccessControl& control : AccessControls()) {
        if (control.key != focused_) {
            continue;
        }
        if (control.kind == Kind::Slider && IsSliderKey(key)) {
            const bool up = key == Qt::Key_Right || key == Qt::Key_Up || key == Qt::Key_PageUp ||
                            key == Qt::Key_End;
            StepControl(control, up ? 1 : -1, key == Qt::Key_Home || key == Qt::Key_End);
            return;
        }
        if (control.pressable && IsPressKey(key)) {
            // A held key presses once, as a held stylus does.
            if (!event->isAutoRepeat()) {
                PressControl(control.key);
            }
            return;
        }
    }
    QWidget::keyPressEvent(event);
}

void ScreenView::StepControl(const AccessControl& control, int direction, bool toEnd) {
    const std::int32_t target = toEnd ? (direction > 0 ? control.maximum : control.minimum)
                                      : std::clamp(control.value + direction * control.step,
                                                   control.minimum, control.maximum);
    if (target != control.value) {
        SetControlValue(control.key, target);
    }
}

void ScreenView::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    const bool fromScreen = std::exchange(focusFromScreen_, false);
    const std::vector<AccessControl> controls = AccessControls();
    if (controls.empty()) {
        return;
    }
    const bool kept = std::any_of(controls.begin(), controls.end(),
                                  [&](const AccessControl& c) { return c.key == focused_; });
    // Only the keyboard picks a control: a focus the window merely gave
    // back (or a switch of screens handed on) draws no ring until Tab.
    const Qt::FocusReason reason = event->reason();
    if (!movingFocus_ && !fromScreen &&
        (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason)) {
        const std::vector<FocusStop> stops = FocusStops();
        const bool forward = reason == Qt::TabFocusReason;
        const FocusStop& stop = forward ? stops.front() : stops.back();
        if (stop.widget != nullptr) {
            MoveFocusTo(stop, forward);  // the queue comes first (or last) on this screen
            // Qt tells a reader of the view itself once this returns, after
            // the control's own focus: the control is told again after.
            if (QAccessible::isActive()) {
                QTimer::singleShot(0, stop.widget, [widget = stop.widget] {
                    if (widget->hasFocus()) {
                        QAccessibleEvent focus(widget, QAccessible::Focus);
                        QAccessible::updateAccessibility(&focus);
                    }
                });
            }
            return;
        }
        FocusControl(stop.control);
    } else {
        // Handed back (a menu closed, the window active again): whatever
        // the menu chose, another screen perhaps, comes in this same turn,
        // so a reader is told of the control only after it.
        PlaceRing(kept ? focused_ : std::string());
    }
    // Qt tells a reader of the view itself once this returns, which would
    // leave the reader on an unnamed screen: the control is told after.
    if (!focused_.empty() && QAccessible::isActive()) {
        QTimer::singleShot(0, this, [this] {
            if (hasFocus() && !focused_.empty()) {
                FocusControl(focused_);
            }
        });
    }
}

void ScreenView::NoteFocusOut() {
    // Qt has already moved the focus when it tells the one losing it.
    QWidget* now = QApplication::focusWidget();
    focusFromScreen_ = now != nullptr && (now == this || isAncestorOf(now));
}

void ScreenView::focusOutEvent(QFocusEvent* event) {
    NoteFocusOut();
    QWidget::focusOutEvent(event);
    // The ring goes with the focus. Not worked out from the skin: the window
    // being closed takes the focus from the view after its skin has gone.
    if (!focused_.empty()) {
        update();
    }
}

std::vector<ScreenView::FocusStop> ScreenView::FocusStops() const {
    std::vector<FocusStop> stops;
    for (AccessControl& control : AccessControls()) {
        stops.push_back(
            {.control = std::move(control.key), .widget = nullptr, .rect = control.rect});
    }
    std::vector<FocusStop> children;
    for (QObject* object : this->children()) {
        auto* child = qobject_cast<QWidget*>(object);
        if (child != nullptr && !child->isWindow() && !child->isHidden() && child->isEnabled() &&
            (child->focusPolicy() & Qt::TabFocus) != 0) {
            children.push_back({.control = {}, .widget = child, .rect = child->geometry()});
        }
    }
    // Reading order: a child control comes after the drawn controls that
    // start above it or level with it further left.
    for (FocusStop& child : children) {
        const auto at = std::find_if(stops.begin(), stops.end(), [&](const FocusStop& stop) {
            return stop.rect.top() != child.rect.top() ? stop.rect.top() > child.rect.top()
                                                       : stop.rect.left() > child.rect.left();
        });
        stops.insert(at, std::move(child));
    }
    return stops;
}

void ScreenView::MoveFocusTo(const FocusStop& stop, bool next) {
    movingFocus_ = true;
    if (stop.widget != nullptr) {
        FocusControl({});
        stop.widget->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    } else if (hasFocus()) {
        FocusControl(stop.control);
    } else {
        // focusInEvent keeps a control it finds focused, and tells a reader.
        focused_ = stop.control;
        setFocus(Qt::OtherFocusReason);
    }
    movingFocus_ = false;
}

QWidget* ScreenView::OutsideStop(bool next) const {
    QWidget* widget = const_cast<ScreenView*>(this);
    // The chain is a ring through every widget of the window.
    for (int guard = 0; guard < 10'000; ++guard) {
        widget = next ? widget->nextInFocusChain() : widget->previousInFocusChain();
        if (widget == nullptr || widget == this) {
            return nullptr;
        }
        if (!isAncestorOf(widget) && widget->window() == window() && widget->isVisible() &&
            widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) != 0) {
            return widget;
        }
    }
    return nullptr;
}

bool ScreenView::ChildFocusEvent(QObject* child, const QFocusEvent& event) {
    if (child->parent() != this) {
        return false;
    }
    if (event.type() == QEvent::FocusOut) {
        NoteFocusOut();
        return false;
    }
    const bool fromScreen = std::exchange(focusFromScreen_, false);
    const Qt::FocusReason reason = event.reason();
    if (movingFocus_ || fromScreen ||
        (reason != Qt::TabFocusReason && reason != Qt::BacktabFocusReason)) {
        return false;
    }
    // Tab within the screen goes through focusNextPrevChild, which moves the
    // focus itself: this one came from the command bar, in Qt's own order.
    const std::vector<FocusStop> stops = FocusStops();
    if (stops.empty()) {
        return false;
    }
    const bool forward = reason == Qt::TabFocusReason;
    const FocusStop& stop = forward ? stops.front() : stops.back();
    if (stop.widget == child) {
        return false;
    }
    MoveFocusTo(stop, forward);
    return true;
}

bool ScreenView::focusNextPrevChild(bool next) {
    const std::vector<FocusStop> stops = FocusStops();
    QWidget* focus = QApplication::focusWidget();
    std::ptrdiff_t at = -1;
    for (std::size_t i = 0; i < stops.size(); ++i) {
        const FocusStop& stop = stops[i];
        const bool here =
            stop.widget == nullptr
                ? hasFocus() && stop.control == focused_
                : focus != nullptr && (stop.widget == focus || stop.widget->isAncestorOf(focus));
        if (here) {
            at = static_cast<std::ptrdiff_t>(i);
        }
    }
    if (at < 0 && !hasFocus()) {
        return QWidget::focusNextPrevChild(next);  // somewhere the screen does not order
    }
    const auto size = static_cast<std::ptrdiff_t>(stops.size());
    const std::ptrdiff_t target = at < 0 ? (next ? 0 : size - 1) : at + (next ? 1 : -1);
    if (target >= 0 && target < size) {
        MoveFocusTo(stops[static_cast<std::size_t>(target)], next);
        return true;
    }
    // Off the screen's end: on to the rest of the window (the command bar).
    if (QWidget* outside = OutsideStop(next)) {
        FocusControl({});
        movingFocus_ = true;
        outside->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
        movingFocus_ = false;
        return true;
    }
    if (!stops.empty()) {
        MoveFocusTo(stops[next ? 0 : stops.size() - 1], next);
        return true;
    }
    return QWidget::focusNextPrevChild(next);
}

void ScreenView::PaintFocus(QPainter& painter) const {
    if (focused_.empty() || !hasFocus()) {
        return;
    }
    for (const AccessControl& control : AccessControls()) {
        if (control.key == focused_) {
            // Two rings, light over dark, so it shows on any skin.
            const QRect ring = control.rect.adjusted(-2, -2, 1, 1);
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(QColor(0, 0, 0), 3));
            painter.drawRect(ring);
            painter.setPen(QPen(QColor(255, 255, 255), 1));
            painter.drawRect(ring);
        }
    }
}

void ScreenView::AccessChanged(AccessChange change) {
    if (change == AccessChange::Screen) {
        const std::vector<AccessControl> controls = AccessControls();
        setFocusPolicy(controls.empty() ? Qt::NoFocus : Qt::TabFocus);
        const bool kept = std::any_of(controls.begin(), controls.end(),
                                      [&](const AccessControl& c) { return c.key == focused_; });
        // A keyboard user's focus goes on to the new screen's first control.
        if (!kept && !focused_.empty()) {
            focused_.clear();
            if (hasFocus() && !controls.empty()) {
                FocusControl(controls.front().key);
            }
        }
    }
    // Nothing is worked out while no reader listens.
    if (!QAccessible::isActive()) {
        return;
    }
    if (change == AccessChange::Screen) {
        // The view's name is the screen's title: its change is what a reader
        // hears of a switch (the children's reordering does not reach it).
        QAccessibleEvent reorder(this, QAccessible::ObjectReorder);
        QAccessible::updateAccessibility(&reorder);
        QAccessibleEvent renamed(this, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&renamed);
        return;
    }
    // A band's (or the preamp's) gain in `eq`, by its track's key.
    const auto EqGain = [this](const EqSettings& eq, std::string_view key) {
        for (int track = 0; track < kEqTracks; ++track) {
            const SkinComponent* back = EqTrack(track);
            if (back != nullptr && back->name == key) {
                return track < EqSettings::kBands ? eq.bands[static_cast<std::size_t>(track)]
                                                  : eq.preamp;
            }
        }
        return std::int32_t{0};
    };
    const std::vector<AccessControl> controls = AccessControls();
    for (std::size_t i = 0; i < controls.size(); ++i) {
        const AccessControl& control = controls[i];
        const std::string_view key = control.key;
        const int child = static_cast<int>(i);
        const auto send = [&](QAccessibleEvent&& event) {
            event.setChild(child);
            QAccessible::updateAccessibility(&event);
        };
        switch (change) {
            case AccessChange::Title:
                if (key == kTitleLine || key == kNowPlayingTitle) {
                    send(QAccessibleEvent(this, QAccessible::NameChanged));
                }
                break;
            case AccessChange::MediaLines:
                if (key == kNowPlayingTitle || key == kNowPlayingArtist ||
                    key == kNowPlayingAlbum) {
                    send(QAccessibleEvent(this, QAccessible::NameChanged));
                } else if (key == kAlbumArt) {
                    send(QAccessibleEvent(this, QAccessible::DescriptionChanged));
                }
                break;
            case AccessChange::State:
                if (key == kStateLine) {
                    send(QAccessibleEvent(this, QAccessible::NameChanged));
                }
                break;
            case AccessChange::Eq:
                // Only what moved: a step of one band is that band's news.
                if (control.kind == Kind::Slider && key.rfind("eq.", 0) == 0 &&
                    EqGain(eqBefore_, key) != EqGain(content_.eq, key)) {
                    send(QAccessibleValueChangeEvent(this, control.value));
                } else if ((key == "eq.enabled" && eqBefore_.enabled != content_.eq.enabled) ||
                           (key == "eq.autoload" && eqBefore_.autoLoad != content_.eq.autoLoad)) {
                    QAccessible::State state;
                    state.checked = true;
                    send(QAccessibleStateChangeEvent(this, state));
                }
                break;
            case AccessChange::Toggles:
                if (control.kind == Kind::Toggle) {
                    QAccessible::State state;
                    state.checked = true;
                    send(QAccessibleStateChangeEvent(this, state));
                }
                break;
            case AccessChange::Volume:
                if (key == kVolumeBar.back) {
                    send(QAccessibleValueChangeEvent(this, control.value));
                }
                break;
            case AccessChange::Art:
                if (key == kAlbumArt) {
                    send(QAccessibleEvent(this, QAccessible::DescriptionChanged));
                }
                break;
            case AccessChange::Screen:
                break;
        }
    }
}

}  // namespace vantor::ui
