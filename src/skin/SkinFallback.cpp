#include "skin/SkinFallback.h"

namespace vantor {

std::string DefaultSkinPath(std::string_view installFolder) {
    return std::string(installFolder) + "skins/default/default.xml";
}

bool LoadSkinWithFallback(CSkin& skin, std::string& path, const std::string& defaultPath,
                          const SkinRect& screen, SkinErrorReporter& reporter) {
    if (skin.LoadSkin(path, screen)) {
        return true;
    }
    if (path != defaultPath) {
        path = defaultPath;
        if (skin.LoadSkin(path, screen)) {
            return true;
        }
    }
    reporter.ShowSkinError(kSkinErrorText, kSkinErrorCaption);
    return false;
}

}  // namespace vantor
