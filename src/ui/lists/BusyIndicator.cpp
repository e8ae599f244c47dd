#include "ui/lists/BusyIndicator.h"

#include <QAbstractItemModel>
#include <QAbstractItemView>
#include <QPainter>
#include <cmath>
#include <numbers>

namespace vantor::ui {

namespace {

constexpr int kDots = 8;
constexpr std::chrono::milliseconds kTurn{100};

}  // namespace

BusyIndicator::BusyIndicator(QAbstractScrollArea* list) : QWidget(list->viewport()), list_(list) {
    setObjectName(QStringLiteral("Busy"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    hide();
    turn_.setInterval(kTurn);
    connect(&turn_, &QTimer::timeout, this, [this] {
        step_ = (step_ + 1) % kDots;
        update();
    });
}

void BusyIndicator::SetBusy(bool busy) {
    const auto* view = qobject_cast<const QAbstractItemView*>(list_);
    const bool empty =
        view == nullptr || view->model() == nullptr || view->model()->rowCount() == 0;
    const bool shown = busy && empty;
    // Whether it is shown with its list, not whether it is on the screen:
    // while the list's screen is hidden, a wait that ended must still hide
    // it, or it turns up with the list over rows that came long ago.
    if (shown == !isHidden()) {
        return;
    }
    if (shown) {
        Centre();
        turn_.start();
        show();
        raise();
    } else {
        turn_.stop();
        hide();
    }
}

void BusyIndicator::Centre() {
    const int side = fontMetrics().height() * 2;
    const QRect area = list_->viewport()->rect();
    setGeometry(area.center().x() - side / 2, area.top() + side, side, side);
}

void BusyIndicator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QPointF centre = QRectF(rect()).center();
    const double radius = width() * 0.36;
    const double dot = width() * 0.08;
    QColor colour = palette().color(QPalette::Text);
    for (int i = 0; i < kDots; ++i) {
        const double angle = 2 * std::numbers::pi * i / kDots;
        // The dot at the step is the brightest; those behind it fade.
        const int behind = (step_ - i + kDots) % kDots;
        colour.setAlphaF(1.0 - 0.11 * behind);
        painter.setBrush(colour);
        painter.drawEllipse(centre + QPointF(radius * std::sin(angle), -radius * std::cos(angle)),
                            dot, dot);
    }
}

}  // namespace vantor::ui
