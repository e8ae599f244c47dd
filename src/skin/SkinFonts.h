#pragma once

// Fonts of a skin: the weight and quality words of the file, the height in
// pixels from a point size, and the QFont made from a font record.

#include <QFont>
#include <cstdint>
#include <string_view>

#include "skin/CSkin.h"

namespace vantor {

// "thin" 100 ... "heavy" 900, compared exactly; any other word gives 0 (no
// preference), so "Bold" is not bold.
std::int32_t SkinFontWeight(std::string_view word);

// "default" 0, "draft" 1, "nonantialiased" 3, "antialiased" 4,
// "cleartype" 5, "cleartype.compat" 6; any other word gives 0.
std::int32_t SkinFontQuality(std::string_view word);

// -((points x dpi) / 72), the division truncating; negative points count as 0.
std::int32_t SkinFontHeight(std::int32_t points, std::int32_t verticalDpi);

// The font for a record: pixel size from the negative height (0 keeps the
// default size), the weight value as it is (0 keeps the default), italic,
// underline, a sans-serif hint, and the quality as a style strategy.
QFont CreateSkinFont(const SkinFont& record);

}  // namespace vantor
