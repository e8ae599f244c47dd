#include "skin/HeaderBar.h"

#include <QFontMetrics>
#include <QPainter>
#include <QRect>
#include <QString>
#include <algorithm>
#include <cmath>

namespace vantor {

HeaderBar::HeaderBar(std::int32_t clientWidth, QFont font)
    : clientWidth_(std::max(clientWidth, 0)), font_(std::move(font)) {}

std::int32_t HeaderBar::Padding() const {
    return static_cast<std::int32_t>(std::lround(0.083 * (clientWidth_ / 2)));
}

std::int32_t HeaderBar::ButtonWidth(std::int32_t textWidth) const {
    return std::min(textWidth + 2 * Padding(), clientWidth_ / 2);
}

std::size_t HeaderBar::AddButton(const std::string& text) {
    buttons_.emplace_back();
    SetButtonText(buttons_.size() - 1, text);
    return buttons_.size() - 1;
}

void HeaderBar::SetButtonText(std::size_t index, const std::string& text) {
    if (index >= buttons_.size()) {
        return;
    }
    Button& button = buttons_[index];
    button.text = text;
    button.width = ButtonWidth(QFontMetrics(font_).horizontalAdvance(QString::fromStdString(text)));
}

void HeaderBar::SetButtonOn(std::size_t index, bool on) {
    if (index < buttons_.size()) {
        buttons_[index].on = on;
    }
}

bool HeaderBar::IsButtonOn(std::size_t index) const {
    return index < buttons_.size() && buttons_[index].on;
}

std::vector<SkinRect> HeaderBar::Layout(std::int32_t height) const {
    std::vector<SkinRect> rects;
    rects.reserve(buttons_.size());
    std::int32_t x = 0;
    for (const Button& button : buttons_) {
        rects.push_back(SkinRect{x, 0, x + button.width, height});
        x += button.width;
    }
    return rects;
}

std::int64_t HeaderBar::ButtonAt(std::int32_t x, std::int32_t y, std::int32_t height) const {
    const std::vector<SkinRect> rects = Layout(height);
    for (std::size_t i = 0; i < rects.size(); ++i) {
        const SkinRect& r = rects[i];
        if (x >= r.left && x < r.right && y >= r.top && y < r.bottom) {
            return static_cast<std::int64_t>(i);
        }
    }
    return -1;
}

void HeaderBar::Paint(QImage& target, const SkinRect& area, const HeaderBarStyle& style) const {
    const QRect bar(area.left, area.top, static_cast<int>(area.Width()),
                    static_cast<int>(area.Height()));
    if (target.isNull() || bar.isEmpty()) {
        return;
    }
    QPainter painter(&target);
    painter.setClipRect(bar);
    painter.fillRect(bar, style.background);
    painter.fillRect(QRect(bar.left(), bar.bottom(), bar.width(), 1), style.divider);
    painter.setFont(font_);
    const std::int32_t accentHeight = std::max(2, bar.height() / 12);
    const std::vector<SkinRect> rects = Layout(bar.height());
    for (std::size_t i = 0; i < rects.size(); ++i) {
        const QRect button(bar.left() + rects[i].left, bar.top(),
                           static_cast<int>(rects[i].Width()), bar.height());
        if (buttons_[i].on) {
            painter.fillRect(QRect(button.left(), button.bottom() - accentHeight + 1,
                                   button.width(), accentHeight),
                             style.accent);
        }
        painter.setPen(buttons_[i].on ? style.textOn : style.text);
        painter.drawText(button, Qt::AlignCenter | Qt::TextSingleLine,
                         QString::fromStdString(buttons_[i].text));
    }
}

}  // namespace vantor
