#include "skin/SkinColor.h"

#include "skin/SkinXmlReader.h"

namespace vantor {

SkinColor ParseSkinColor(std::string_view text) {
    const std::size_t first = text.find(',');
    const std::string_view red = text.substr(0, first);
    std::string_view green;
    std::string_view blue;
    if (first != std::string_view::npos) {
        const std::size_t second = text.find(',', first + 1);
        green = text.substr(first + 1, second == std::string_view::npos ? std::string_view::npos
                                                                        : second - first - 1);
        if (second != std::string_view::npos) {
            blue = text.substr(second + 1);
        }
    }
    return SkinColor::FromRgb(ParseSkinDecimal(red), ParseSkinDecimal(green),
                              ParseSkinDecimal(blue));
}

}  // namespace vantor
