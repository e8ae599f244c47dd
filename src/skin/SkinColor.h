#pragma once

// Colours of a skin: 24-bit RGB with red in the low byte, the layout the
// skin format and its tools have always used.

#include <QColor>
#include <cstdint>
#include <string_view>

namespace vantor {

class SkinColor {
public:
    constexpr SkinColor() = default;
    // Each channel is cut to its low byte, so 256 reads as 0 and -1 as 255.
    static constexpr SkinColor FromRgb(std::int32_t red, std::int32_t green, std::int32_t blue) {
        return SkinColor((static_cast<std::uint32_t>(red) & 0xFFu) |
                         ((static_cast<std::uint32_t>(green) & 0xFFu) << 8) |
                         ((static_cast<std::uint32_t>(blue) & 0xFFu) << 16));
    }

    constexpr std::uint32_t Value() const { return value_; }
    constexpr int Red() const { return static_cast<int>(value_ & 0xFFu); }
    constexpr int Green() const { return static_cast<int>((value_ >> 8) & 0xFFu); }
    constexpr int Blue() const { return static_cast<int>((value_ >> 16) & 0xFFu); }

    // The same colour as an opaque pixel of a 32-bit QImage (0xAARRGGBB).
    constexpr std::uint32_t Pixel() const {
        return 0xFF000000u | (static_cast<std::uint32_t>(Red()) << 16) |
               (static_cast<std::uint32_t>(Green()) << 8) | static_cast<std::uint32_t>(Blue());
    }
    QColor ToQColor() const { return QColor(Red(), Green(), Blue()); }

    friend constexpr bool operator==(SkinColor, SkinColor) = default;

private:
    constexpr explicit SkinColor(std::uint32_t value) : value_(value) {}
    std::uint32_t value_ = 0;
};

// "red,green,blue": the text before the first comma, between the first and
// second, and after the second, each read as a decimal number (missing
// parts read as 0).
SkinColor ParseSkinColor(std::string_view text);

}  // namespace vantor
