#include "ui/view/ChromeLook.h"

#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOptionMenuItem>

namespace vantor::ui {

namespace {

class WindowStyle final : public QProxyStyle {
public:
    WindowStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                           const QWidget* widget) const override {
        QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
        const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        if (type == CT_MenuItem && item != nullptr &&
            item->menuItemType != QStyleOptionMenuItem::Separator) {
            // The check column Fusion draws grows with the row (about
            // four fifths of its height); the one it sizes for does not.
            size.rwidth() += item->fontMetrics.height();
        }
        return size;
    }

    // A menu longer than the screen scrolls (a finger drags it) rather
    // than spreading into columns past the window's edge.
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override {
        return hint == SH_Menu_Scrollable ? 1
                                          : QProxyStyle::styleHint(hint, option, widget, returned);
    }
};

}  // namespace

QStyle* MakeWindowStyle() {
    return new WindowStyle();
}

QPalette ChromePalette(QColor back, QColor text, QColor accent, QColor base) {
    QPalette chrome;
    chrome.setColor(QPalette::Window, back);
    chrome.setColor(QPalette::WindowText, text);
    chrome.setColor(QPalette::Button, back.lighter(135));
    chrome.setColor(QPalette::ButtonText, text);
    chrome.setColor(QPalette::Base, base);
    chrome.setColor(QPalette::AlternateBase, base.lighter(115));
    chrome.setColor(QPalette::Text, text);
    chrome.setColor(QPalette::Highlight, accent);
    chrome.setColor(QPalette::HighlightedText, base);
    chrome.setColor(QPalette::Light, back.lighter(160));
    chrome.setColor(QPalette::Midlight, back.lighter(145));
    chrome.setColor(QPalette::Mid, back.lighter(120));
    chrome.setColor(QPalette::Dark, back.darker(120));
    chrome.setColor(QPalette::Shadow, Qt::black);
    chrome.setColor(QPalette::ToolTipBase, base);
    chrome.setColor(QPalette::ToolTipText, text);
    return chrome;
}

QColor SkinColour(const SkinWinComponent* record,
                  const std::optional<SkinColor> SkinWinComponent::*colour, QColor fallback) {
    return record != nullptr && record->*colour ? (record->*colour)->ToQColor() : fallback;
}

}  // namespace vantor::ui
