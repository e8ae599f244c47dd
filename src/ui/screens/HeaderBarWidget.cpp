#include "ui/screens/HeaderBarWidget.h"

#include <QAccessible>
#include <QFocusEvent>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <algorithm>

#include "ui/access/ScreenAccess.h"

namespace vantor::ui {

HeaderBarWidget::HeaderBarWidget(QWidget* parent, std::function<void(int button)> tapped)
    : QWidget(parent), tapped_(std::move(tapped)) {
    setObjectName(QString::fromLatin1(kHeaderBarWindowText));
    setWindowTitle(QString::fromLatin1(kHeaderBarWindowText));
    setAttribute(Qt::WA_OpaquePaintEvent);
    // Tab only: a click on a button does its work without taking the focus
    // from the list or the box.
    setFocusPolicy(Qt::TabFocus);
}

void HeaderBarWidget::Place(const CSkin& skin, QSize screen, const QFont& fallback) {
    const SkinWinComponent* window = skin.FindWinComponent("playlist.header");
    if (window == nullptr) {
        setGeometry(QRect());
        return;
    }
    const SkinRect rect = window->Place(screen.width(), screen.height());
    setGeometry(rect.left, rect.top, SkinClamp(rect.Width()), SkinClamp(rect.Height()));
    style_ = HeaderBarStyle{};
    if (window->backColor) {
        style_.background = window->backColor->ToQColor();
        style_.divider = style_.background.lighter(130);
    }
    if (window->foreColor) {
        style_.text = window->foreColor->ToQColor();
    }
    if (window->selectColor) {
        style_.accent = window->selectColor->ToQColor();
    }
    const SkinFont* font = skin.FindFont("medialib");
    setFont(font ? font->font : fallback);
    update();
}

HeaderBar HeaderBarWidget::Model() const {
    HeaderBar bar(width(), font());
    for (std::size_t i = 0; i < texts_.size(); ++i) {
        bar.AddButton(texts_[i]);
        bar.SetButtonOn(i, static_cast<int>(i) == on_);
    }
    return bar;
}

void HeaderBarWidget::SetButtons(const std::vector<std::string>& texts, int on) {
    if (texts == texts_ && on == on_) {
        return;
    }
    const auto onText = [&] {
        return on_ >= 0 && on_ < static_cast<int>(texts_.size())
                   ? texts_[static_cast<std::size_t>(on_)]
                   : std::string();
    };
    const std::string before = onText();
    texts_ = texts;
    on_ = on;
    focused_ = std::clamp(focused_, 0, std::max(0, static_cast<int>(texts_.size()) - 1));
    update();
    // The screen the row lies on is named by the tab that is on: a reader
    // hears a folder opened or left as it hears a switch of screens.
    if (onText() != before && isVisible() && parentWidget() != nullptr && QAccessible::isActive()) {
        QAccessibleEvent renamed(parentWidget(), QAccessible::NameChanged);
        QAccessible::updateAccessibility(&renamed);
    }
}

QRect HeaderBarWidget::ButtonRect(int button) const {
    const std::vector<SkinRect> rects = Model().Layout(height());
    if (button < 0 || button >= static_cast<int>(rects.size())) {
        return {};
    }
    const SkinRect& r = rects[static_cast<std::size_t>(button)];
    return QRect(r.left, r.top, SkinClamp(r.Width()), SkinClamp(r.Height()));
}

void HeaderBarWidget::paintEvent(QPaintEvent*) {
    QImage image(size(), QImage::Format_RGB32);
    Model().Paint(image, SkinRect{0, 0, width(), height()}, style_);
    QPainter painter(this);
    painter.drawImage(0, 0, image);
    if (hasFocus() && !texts_.empty()) {
        // The skinned screen's ring: dark under light, seen on any colour.
        const QRect ring = ButtonRect(focused_).adjusted(1, 1, -2, -2);
        painter.setPen(QPen(QColor(0, 0, 0), 3));
        painter.drawRect(ring);
        painter.setPen(QPen(QColor(255, 255, 255), 1));
        painter.drawRect(ring);
    }
}

bool HeaderBarWidget::TakesKey(int key) {
    return key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Space ||
           key == Qt::Key_Return || key == Qt::Key_Enter;
}

void HeaderBarWidget::keyPressEvent(QKeyEvent* event) {
    const int count = static_cast<int>(texts_.size());
    switch (event->key()) {
        case Qt::Key_Left:
        case Qt::Key_Right:
            if (count > 0) {
                const int was = focused_;
                focused_ =
                    std::clamp(focused_ + (event->key() == Qt::Key_Left ? -1 : 1), 0, count - 1);
                update();
                if (focused_ != was) {
                    TellFocus();
                }
            }
            break;
        case Qt::Key_Space:
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (focused_ < count && !event->isAutoRepeat()) {
                Tap(focused_);
            }
            break;
        default:
            QWidget::keyPressEvent(event);
            return;
    }
    event->accept();
}

void HeaderBarWidget::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    update();
    // Qt tells a reader of the row itself once this returns: the button the
    // ring is on is told after.
    if (QAccessible::isActive()) {
        QTimer::singleShot(0, this, [this] { TellFocus(); });
    }
}

void HeaderBarWidget::TellFocus() {
    const int part = TabRowPartOfButton(texts_, focused_);
    if (!hasFocus() || part < 0 || !QAccessible::isActive()) {
        return;
    }
    QAccessibleEvent focus(this, QAccessible::Focus);
    focus.setChild(part);
    QAccessible::updateAccessibility(&focus);
}

void HeaderBarWidget::focusOutEvent(QFocusEvent* event) {
    QWidget::focusOutEvent(event);
    update();
}

void HeaderBarWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    const QPoint at = event->position().toPoint();
    const std::int64_t button = Model().ButtonAt(at.x(), at.y(), height());
    if (button >= 0 && tapped_) {
        tapped_(static_cast<int>(button));
    }
}

void HeaderBarWidget::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    update();
}

}  // namespace vantor::ui
