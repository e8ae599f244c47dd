#pragma once

// Loading the configured skin with the fall-back to the default skin, and
// the one failure the user must see when neither loads.

#include <string>
#include <string_view>

#include "skin/CSkin.h"

namespace vantor {

inline constexpr std::string_view kSkinErrorText = "Error Loading Skin!";
inline constexpr std::string_view kSkinErrorCaption = "Skin System Error";

// Shows the skin failure to the user: a message box with an exclamation
// icon in the application, an answer recorded by tests.
class SkinErrorReporter {
public:
    virtual ~SkinErrorReporter() = default;
    virtual void ShowSkinError(std::string_view text, std::string_view caption) = 0;
};

// The default skin's file below an install folder ending in "/" (an empty
// folder gives the bare relative path).
std::string DefaultSkinPath(std::string_view installFolder);

// Loads `path`; when that fails and it is not the default path, loads the
// default skin instead and makes it the current path. When nothing loads,
// reports "Error Loading Skin!" / "Skin System Error" and returns false: the
// caller quits.
bool LoadSkinWithFallback(CSkin& skin, std::string& path, const std::string& defaultPath,
                          const SkinRect& screen, SkinErrorReporter& reporter);

}  // namespace vantor
