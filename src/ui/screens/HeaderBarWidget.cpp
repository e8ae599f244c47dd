#include "ui/screens/HeaderBarWidget.h"

#include <QImage>
#include <QMouseEvent>
#include <QPainter>

namespace vantor::ui {

HeaderBarWidget::HeaderBarWidget(QWidget* parent, std::function<void(int button)> tapped)
    : QWidget(parent), tapped_(std::move(tapped)) {
    setObjectName(QString::fromLatin1(kHeaderBarWindowText));
    setWindowTitle(QString::fromLatin1(kHeaderBarWindowText));
    setAttribute(Qt::WA_OpaquePaintEvent);
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
    texts_ = texts;
    on_ = on;
    update();
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
    QPainter(this).drawImage(0, 0, image);
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
