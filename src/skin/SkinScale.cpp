#include "skin/SkinScale.h"

#include <algorithm>
#include <limits>

namespace vantor {

std::int32_t SkinClamp(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(
        value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

std::int32_t SkinScale::Scale(std::int32_t value, std::int32_t dpi) {
    const std::int64_t magnitude = value < 0 ? -std::int64_t{value} : std::int64_t{value};
    const std::int64_t scaled = (magnitude * dpi + kSkinUnitsDpi / 2) / kSkinUnitsDpi;
    return SkinClamp(value < 0 ? -scaled : scaled);
}

}  // namespace vantor
