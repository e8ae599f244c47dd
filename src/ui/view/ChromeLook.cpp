#include "ui/view/ChromeLook.h"

namespace vantor::ui {

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
