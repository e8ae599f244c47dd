#pragma once

// The skin as the window wears it: the display scale and the frame's fonts,
// which follow the screen's width; the skin file read for the screen's size
// (the default skin when it does not load); and the colours the window's
// own controls take from it.
//
// Threads: the window's thread only.

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QSize>
#include <string>
#include <vector>

#include "skin/CSkin.h"
#include "skin/SkinFallback.h"

namespace vantor::ui {

class FrameLook {
public:
    // The window's own blue, where the skin gives no colour.
    static constexpr QColor kBackground{24, 69, 154};

    explicit FrameLook(int dpi) : dpi_(dpi) {}  // 0: 96 x the display scale

    // The scale for a screen this wide (in the window's pixels), and the
    // fonts at that scale; `ratio` device pixels to one of the window's.
    void ApplyScale(QSize screen, double ratio);
    // The display scale for a screen this wide: 1 at 240, 1.3 at 320 and 2
    // at 480, as the handheld's screens had; at any other width the skin's
    // 240-unit screen fills the width (never below the step's scale).
    static double ScaleFor(int width);
    // Reads the skin at `path` for a screen of this size, or the default;
    // false when neither loads (the reporter has told the user).
    bool Load(const std::string& path, const std::string& defaultPath, QSize screen,
              SkinErrorReporter& reporter);
    // The skin as loaded, placed for a screen of another size; false when
    // that size takes other images or another scale, which only Load gives.
    bool Fit(QSize screen);

    // The skin in the window's pixels: where the child controls go, and
    // their fonts.
    CSkin& Skin() { return skin_; }
    const CSkin& Skin() const { return skin_; }
    // The same skin in the device's pixels, which the skinned screen is
    // drawn in, so that images and text are as sharp as the screen is.
    const CSkin& ViewSkin() const { return viewSkin_; }
    double Ratio() const { return ratio_; }
    QSize DeviceSize(QSize screen) const;
    const QFont& ViewNormal() const { return viewNormal_; }
    const QFont& ViewLarge() const { return viewLarge_; }
    // The skin file in use (the default's when the chosen one failed).
    const std::string& Path() const { return path_; }
    double Scale() const { return scale_; }
    const QFont& Normal() const { return normal_; }  // 10 pt
    const QFont& Large() const { return large_; }    // 16 pt
    // The folders the skin's icons are looked for in: the skin's own, then
    // the default skin's.
    std::vector<std::string> IconFolders(const std::string& defaultPath) const;
    // The menu bar, the command bar and the boxes take the colours of the
    // skin's header and lists, so the window reads as one piece.
    QPalette Chrome() const;

private:
    int dpi_;
    CSkin skin_;
    CSkin viewSkin_;
    std::string path_;
    double scale_ = 1.0;
    double ratio_ = 1.0;
    QFont normal_;
    QFont large_;
    QFont viewNormal_;
    QFont viewLarge_;
};

}  // namespace vantor::ui
