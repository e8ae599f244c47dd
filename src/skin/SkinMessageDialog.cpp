#include "skin/SkinMessageDialog.h"

#include <QFontMetrics>
#include <QPainter>
#include <QRect>
#include <QString>
#include <algorithm>

#include "skin/SkinDrawing.h"
#include "skin/SkinScreen.h"

namespace vantor {

namespace {

constexpr std::int32_t kFontHeight = 15;
constexpr std::int32_t kDefaultWidth = 200;
constexpr std::int32_t kDefaultHeight = 120;
constexpr std::int32_t kMargin = 10;

}  // namespace

SkinMessageDialog::SkinMessageDialog(const CSkin& skin, std::string text, std::string caption)
    : skin_(skin),
      text_(std::move(text)),
      caption_(std::move(caption)),
      font_(QStringLiteral("Arial")) {
    font_.setStyleHint(QFont::SansSerif);
    font_.setWeight(QFont::Normal);
    font_.setPixelSize(std::clamp(skin.Scale().Y(kFontHeight), 1, 512));
}

QSize SkinMessageDialog::PreferredSize() const {
    if (const SkinComponent* background = skin_.FindComponent(kDialogBackground)) {
        const SkinRect& rect = background->norm.destination;
        if (rect.Width() > 0 && rect.Height() > 0) {
            return QSize(SkinClamp(rect.Width()), SkinClamp(rect.Height()));
        }
    }
    return QSize(skin_.Scale().X(kDefaultWidth), skin_.Scale().Y(kDefaultHeight));
}

const SkinComponent* SkinMessageDialog::ButtonAt(std::int32_t x, std::int32_t y) const {
    const SkinComponent* component = ComponentAtInput(skin_, x, y, kScreenDialog, true);
    if (component != nullptr &&
        (component->name == kDialogOk || component->name == kDialogCancel)) {
        return component;
    }
    return nullptr;
}

void SkinMessageDialog::Press(std::int32_t x, std::int32_t y) {
    held_ = ButtonAt(x, y);
    pushed_ = held_ != nullptr;
}

void SkinMessageDialog::Move(std::int32_t x, std::int32_t y) {
    if (held_ != nullptr) {
        pushed_ = ButtonAt(x, y) == held_;
    }
}

DialogResult SkinMessageDialog::Release(std::int32_t x, std::int32_t y) {
    const SkinComponent* held = held_;
    held_ = nullptr;
    pushed_ = false;
    if (held == nullptr || ButtonAt(x, y) != held) {
        return DialogResult::None;
    }
    return held->name == kDialogOk ? DialogResult::Ok : DialogResult::Cancel;
}

void SkinMessageDialog::Paint(const SkinDrawGuard& lock, QImage& target, QColor windowColor) const {
    if (target.isNull()) {
        return;
    }
    target.fill(windowColor);
    const SkinRect client{0, 0, target.width(), target.height()};
    if (const SkinComponent* background = skin_.FindComponent(kDialogBackground)) {
        DrawStateInto(lock, skin_, target, background->norm, client);
    }
    // The message goes above the buttons.
    std::int32_t textBottom = client.bottom - skin_.Scale().Y(kMargin);
    for (const std::string_view name : {kDialogOk, kDialogCancel}) {
        const SkinComponent* button = skin_.FindComponent(name);
        if (button == nullptr || !IsShownIn(*button, kScreenDialog)) {
            continue;
        }
        DrawComponentState(lock, skin_, target, *button, Held() == button);
        if (button->norm.destination.top > 0) {
            textBottom = std::min(textBottom, button->norm.destination.top);
        }
    }

    const SkinFont* skinFont = skin_.FindFont("dialog");
    QPainter painter(&target);
    painter.setPen(skinFont != nullptr ? skinFont->color.ToQColor() : QColor(Qt::black));
    const std::int32_t margin = skin_.Scale().X(kMargin);
    QRect textArea(margin, margin, client.right - 2 * margin, textBottom - 2 * margin);
    if (!caption_.empty()) {
        QFont bold = font_;
        bold.setWeight(QFont::Bold);
        painter.setFont(bold);
        painter.drawText(textArea, Qt::AlignHCenter | Qt::AlignTop | Qt::TextSingleLine,
                         QString::fromStdString(caption_));
        textArea.setTop(textArea.top() + QFontMetrics(bold).lineSpacing());
    }
    painter.setFont(font_);
    painter.drawText(textArea, Qt::AlignCenter | Qt::TextWordWrap, QString::fromStdString(text_));
}

}  // namespace vantor
