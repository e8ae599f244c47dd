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

double FrameLook::ScaleFor(int width) {
    // The handheld's own screens keep their steps; any other width draws
    // the skin's 240-unit screen across the whole of it, from the images
    // of the step below scaled smoothly.
    if (width == 320) {
        return 1.3;
    }
    const double across = std::floor(width * 96.0 / 240.0) / 96.0;
    const double step = width >= 480 ? 2.0 : width >= 320 ? 1.3 : 0.25;
    return std::max(step, across);
}

void FrameLook::ApplyScale(QSize screen, double ratio) {
    scale_ = ScaleFor(screen.width());
    ratio_ = ratio > 0 ? ratio : 1.0;
    const int dpi = dpi_ > 0 ? dpi_ : static_cast<int>(std::lround(96 * scale_));
    const int viewDpi = std::max(static_cast<int>(std::lround(dpi * ratio_)), 1);
    skin_.SetScale(SkinScale{dpi, dpi});
    viewSkin_.SetScale(SkinScale{viewDpi, viewDpi});
    normal_ = FrameFont(dpi, 10);
    large_ = FrameFont(dpi, 16);
    viewNormal_ = FrameFont(viewDpi, 10);
    viewLarge_ = FrameFont(viewDpi, 16);
}

QSize FrameLook::DeviceSize(QSize screen) const {
    return QSize(static_cast<int>(std::lround(screen.width() * ratio_)),
                 static_cast<int>(std::lround(screen.height() * ratio_)));
}

bool FrameLook::Load(const std::string& path, const std::string& defaultPath, QSize screen,
                     SkinErrorReporter& reporter) {
    path_ = path;
    if (!LoadSkinWithFallback(skin_, path_, defaultPath,
                              SkinRect{0, 0, screen.width(), screen.height()}, reporter)) {
        return false;
    }
    const QSize device = DeviceSize(screen);
    return viewSkin_.LoadSkin(path_, SkinRect{0, 0, device.width(), device.height()});
}

bool FrameLook::Fit(QSize screen) {
    const QSize device = DeviceSize(screen);
    // Both or neither: a failed Fit is followed by a Load of both.
    return skin_.Fit(SkinRect{0, 0, screen.width(), screen.height()}) &&
           viewSkin_.Fit(SkinRect{0, 0, device.width(), device.height()});
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
