#pragma once

// A rectangle as the skin stores it: left and top inside, right and bottom
// one past the last pixel, so width = right - left. Skin records keep their
// rectangles exactly as the file's rules produce them, which may be empty or
// inverted; code that draws clips and skips such rectangles.

#include <cstdint>

namespace vantor {

struct SkinRect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;

    // Widened so that absurd coordinates cannot overflow.
    std::int64_t Width() const { return std::int64_t{right} - left; }
    std::int64_t Height() const { return std::int64_t{bottom} - top; }

    // Inclusive on every edge, as the stylus hit tests want.
    bool ContainsInclusive(std::int32_t x, std::int32_t y) const {
        return x >= left && x <= right && y >= top && y <= bottom;
    }

    friend bool operator==(const SkinRect&, const SkinRect&) = default;
};

}  // namespace vantor
