#include "skin/CSkin.h"

namespace vantor {

namespace {

template <typename Record>
const Record* FindByName(const std::vector<Record>& records, std::string_view name) {
    for (const Record& record : records) {
        if (record.name == name) {
            return &record;
        }
    }
    return nullptr;
}

}  // namespace

bool IsShownIn(const SkinComponent& component, std::string_view screen) {
    if (component.mode.empty()) {
        return false;
    }
    return component.mode == "all" || component.mode.find(screen) != std::string::npos;
}

std::string_view ResolutionSuffixFor(std::int32_t screenWidth) {
    if (screenWidth < 320) {
        return "";
    }
    return screenWidth < 480 ? "@1.3x" : "@2x";
}

SkinRect SkinWinComponent::Place(std::int32_t parentWidth, std::int32_t parentHeight) const {
    return SkinRect{left, top, rightAnchored ? SkinAdd(parentWidth, -std::int64_t{right}) : right,
                    bottomAnchored ? SkinAdd(parentHeight, -std::int64_t{bottom}) : bottom};
}

const SkinBitmap* CSkin::FindBitmap(std::string_view name) const {
    return FindByName(bitmaps_, name);
}

const SkinComponent* CSkin::FindComponent(std::string_view name) const {
    return FindByName(components_, name);
}

const SkinWinComponent* CSkin::FindWinComponent(std::string_view name) const {
    return FindByName(winComponents_, name);
}

const SkinFont* CSkin::FindFont(std::string_view name) const {
    return FindByName(fonts_, name);
}

}  // namespace vantor
