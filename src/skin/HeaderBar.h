#pragma once

// The header bar at the top of the list screens: a row of text buttons, each
// of which is on or off, serving as the screens' tab row. This is its model,
// its layout rule and its painting; the user-interface layer wraps it in a
// widget (object name "Header Bar Control") and forwards taps.
//
// A button's width is fixed when its text is set: the text's width plus
// twice the padding, at most half the bar's client width, where the padding
// is 0.083 x half the client width, rounded.
//
// Used on the user-interface thread only.

#include <QColor>
#include <QFont>
#include <QImage>
#include <cstdint>
#include <string>
#include <vector>

#include "skin/SkinRect.h"

namespace vantor {

inline constexpr const char* kHeaderBarWindowText = "Header Bar Control";

struct HeaderBarStyle {
    QColor background{0x1B, 0x21, 0x2C};
    QColor text{0x9A, 0xA5, 0xB8};
    QColor textOn{0xF2, 0xF5, 0xFA};
    QColor accent{0x2E, 0xC4, 0xB6};
    QColor divider{0x2A, 0x32, 0x40};
};

class HeaderBar {
public:
    HeaderBar(std::int32_t clientWidth, QFont font);

    std::int32_t ClientWidth() const { return clientWidth_; }
    std::int32_t Padding() const;
    // The width of a button whose text is `textWidth` pixels wide.
    std::int32_t ButtonWidth(std::int32_t textWidth) const;

    // Returns the new button's index.
    std::size_t AddButton(const std::string& text);
    // Sets the text and, from it, the button's width. Unknown indices are ignored.
    void SetButtonText(std::size_t index, const std::string& text);
    void SetButtonOn(std::size_t index, bool on);
    bool IsButtonOn(std::size_t index) const;
    std::size_t ButtonCount() const { return buttons_.size(); }

    // The buttons' rectangles, left to right from x = 0, `height` high.
    std::vector<SkinRect> Layout(std::int32_t height) const;
    // The index of the button at (x, y) in a bar `height` high, or -1.
    std::int64_t ButtonAt(std::int32_t x, std::int32_t y, std::int32_t height) const;

    // Paints the bar into `area` of the target.
    void Paint(QImage& target, const SkinRect& area, const HeaderBarStyle& style = {}) const;

private:
    struct Button {
        std::string text;
        std::int32_t width = 0;
        bool on = false;
    };

    std::int32_t clientWidth_;
    QFont font_;
    std::vector<Button> buttons_;
};

}  // namespace vantor
