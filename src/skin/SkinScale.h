#pragma once

// Skin coordinates are written in 96-DPI units and scaled to the device:
// value x dpi / 96, rounding half away from zero. The pixels-per-inch
// figures are the device's (96 x the display scale unless told otherwise).

#include <cstdint>

namespace vantor {

inline constexpr std::int32_t kSkinUnitsDpi = 96;

struct SkinScale {
    std::int32_t dpiX = kSkinUnitsDpi;
    std::int32_t dpiY = kSkinUnitsDpi;

    std::int32_t X(std::int32_t value) const { return Scale(value, dpiX); }
    std::int32_t Y(std::int32_t value) const { return Scale(value, dpiY); }
    // Sizes are scaled only when positive: 0 stays empty and -1 "not given".
    std::int32_t Width(std::int32_t value) const { return value > 0 ? X(value) : value; }
    std::int32_t Height(std::int32_t value) const { return value > 0 ? Y(value) : value; }

    // (|value| x dpi + 48) / 96 with the sign put back, clamped to 32 bits.
    static std::int32_t Scale(std::int32_t value, std::int32_t dpi);
};

// Skin coordinates, their sums and differences clamped to 32 bits, so that
// absurd values in a file saturate instead of wrapping.
std::int32_t SkinClamp(std::int64_t value);
inline std::int32_t SkinAdd(std::int64_t a, std::int64_t b) {
    return SkinClamp(a + b);
}

}  // namespace vantor
