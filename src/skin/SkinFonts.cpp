#include "skin/SkinFonts.h"

#include <QString>
#include <algorithm>
#include <array>
#include <utility>

#include "skin/SkinScale.h"

namespace vantor {

namespace {

constexpr std::int64_t kMaxPixelSize = 2048;

constexpr std::array<std::pair<std::string_view, std::int32_t>, 9> kWeights{{
    {"thin", 100},
    {"extralight", 200},
    {"light", 300},
    {"normal", 400},
    {"medium", 500},
    {"semibold", 600},
    {"bold", 700},
    {"extrabold", 800},
    {"heavy", 900},
}};

constexpr std::array<std::pair<std::string_view, std::int32_t>, 6> kQualities{{
    {"default", 0},
    {"draft", 1},
    {"nonantialiased", 3},
    {"antialiased", 4},
    {"cleartype", 5},
    {"cleartype.compat", 6},
}};

template <std::size_t N>
std::int32_t Lookup(const std::array<std::pair<std::string_view, std::int32_t>, N>& table,
                    std::string_view word) {
    for (const auto& [name, value] : table) {
        if (name == word) {
            return value;
        }
    }
    return 0;
}

// Draft and default leave the choice to the font engine; "antialiased" is
// grey-scale smoothing and the ClearType words allow sub-pixel smoothing.
QFont::StyleStrategy StrategyFor(std::int32_t quality) {
    switch (quality) {
        case 3:
            return QFont::NoAntialias;
        case 4:
            return QFont::StyleStrategy(QFont::PreferAntialias | QFont::NoSubpixelAntialias);
        case 5:
        case 6:
            return QFont::PreferAntialias;
        default:
            return QFont::PreferDefault;
    }
}

}  // namespace

std::int32_t SkinFontWeight(std::string_view word) {
    return Lookup(kWeights, word);
}

std::int32_t SkinFontQuality(std::string_view word) {
    return Lookup(kQualities, word);
}

std::int32_t SkinFontHeight(std::int32_t points, std::int32_t verticalDpi) {
    const std::int64_t size = points < 0 ? 0 : points;
    return SkinClamp(-((size * verticalDpi) / 72));
}

QFont CreateSkinFont(const SkinFont& record) {
    QFont font(QString::fromStdString(record.face));
    font.setStyleHint(QFont::SansSerif, StrategyFor(SkinFontQuality(record.quality)));
    if (record.height < 0) {
        // A character height in pixels, bounded so an absurd size cannot make
        // the font engine rasterise glyphs without limit.
        font.setPixelSize(
            static_cast<int>(std::min<std::int64_t>(-std::int64_t{record.height}, kMaxPixelSize)));
    }
    const std::int32_t weight = SkinFontWeight(record.weight);
    if (weight > 0) {
        font.setWeight(static_cast<QFont::Weight>(weight));
    }
    font.setItalic(record.italic);
    font.setUnderline(record.underline);
    return font;
}

}  // namespace vantor
