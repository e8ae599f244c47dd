#include "ui/window/FrameLook.h"

#include <algorithm>
#include <cmath>

#include "ui/view/ChromeLook.h"

namespace vantor::ui {

namespace {

// "Arial" (served by Liberation Sans) of normal weight in the sans-serif
// family, `points` high at the device's vertical resolution.
QFont FrameFont(int dpi, int points) {
    QFont font(QStringLiteral("Arial"));
    font.setStyleHint(QFont::SansSerif);
    font.setWeight(QFont::Normal);
    font.setPixelSize(std::max(dpi * points / 72, 1));
    return font;
}

std::string Folder(const std::string& file) {
    return file.substr(0, file.rfind('/') + 1);
}

}  // namespace

double FrameLook::ScaleFor(int width, double current) {
    // The handheld's own screens keep their steps; any other width draws
    // the skin's 240-unit screen across the whole window (the images of
    // the step below, scaled smoothly).
    const int step = width >= 480 ? 480 : width >= 320 ? 320 : 0;
    if (step == 0) {
        return current;
    }
    const double stepScale = step == 480 ? 2.0 : 1.3;
    if (width == step) {
        return stepScale;
    }
    return std::max(stepScale, std::floor(width * 96.0 / 240.0) / 96.0);
}

int FrameLook::ApplyScale(QSize screen) {
    scale_ = ScaleFor(screen.width(), scale_);
    const int dpi = dpi_ > 0 ? dpi_ : static_cast<int>(std::lround(96 * scale_));
    skin_.SetScale(SkinScale{dpi, dpi});
    normal_ = FrameFont(dpi, 10);
    large_ = FrameFont(dpi, 16);
    // Below 320 pixels the skin's smallest images are read, which only a
    // scale of 1 draws right; a handheld's screen never shrank, but a
    // desktop window could, so one drawn larger stops at 320.
    return scale_ > 1.0 ? 320 : 1;
}

bool FrameLook::Load(const std::string& path, const std::string& defaultPath, QSize screen,
                     SkinErrorReporter& reporter) {
    path_ = path;
    return LoadSkinWithFallback(skin_, path_, defaultPath,
                                SkinRect{0, 0, screen.width(), screen.height()}, reporter);
}

bool FrameLook::Fit(QSize screen) {
    return skin_.Fit(SkinRect{0, 0, screen.width(), screen.height()});
}

std::vector<std::string> FrameLook::IconFolders(const std::string& defaultPath) const {
    return {Folder(path_), Folder(defaultPath)};
}

QPalette FrameLook::Chrome() const {
    const SkinWinComponent* header = skin_.FindWinComponent("playlist.header");
    const SkinWinComponent* lists = skin_.FindWinComponent("playlist.main");
    const QColor back = SkinColour(header, &SkinWinComponent::backColor, kBackground);
    const QColor text = SkinColour(lists, &SkinWinComponent::foreColor, QColor(Qt::white));
    const QColor accent = SkinColour(header, &SkinWinComponent::selectColor, QColor(Qt::white));
    const QColor base = SkinColour(lists, &SkinWinComponent::backColor, back.darker(130));
    return ChromePalette(back, text, accent, base);
}

}  // namespace vantor::ui
