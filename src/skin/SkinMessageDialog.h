#pragma once

// The skinned message dialog: a popup drawn from the components of the
// "dialog" screen. "dlg.background" is stretched over the whole client area,
// "dlg.ok" and "dlg.cancel" sit at their own rectangles and show their push
// state while the stylus holds them; the message is written above the
// buttons. This is the dialog's model and painting; the user-interface layer
// shows it in a window of PreferredSize() and forwards stylus events.
//
// Threads: one dialog belongs to the thread that shows it (the
// user-interface thread). Paint runs under the caller's drawing lock like
// every skin draw; Press, Move and Release take it themselves (hit tests),
// so they are never called with a SkinDrawGuard held.

#include <QColor>
#include <QFont>
#include <QImage>
#include <QSize>
#include <cstdint>
#include <string>
#include <string_view>

#include "skin/CSkin.h"
#include "skin/SkinDrawLock.h"

namespace vantor {

inline constexpr std::string_view kDialogBackground = "dlg.background";
inline constexpr std::string_view kDialogOk = "dlg.ok";
inline constexpr std::string_view kDialogCancel = "dlg.cancel";

enum class DialogResult { None, Ok, Cancel };

class SkinMessageDialog {
public:
    SkinMessageDialog(const CSkin& skin, std::string text, std::string caption);

    // The dialog's own font: "Arial", 15 pixels at 96 DPI (scaled with the
    // skin), normal weight, sans-serif.
    const QFont& Font() const { return font_; }
    // The size of "dlg.background"'s rectangle, or 200 x 120 (scaled) when
    // the skin has none.
    QSize PreferredSize() const;

    // Stylus input in client coordinates. Release returns Ok or Cancel when
    // the stylus is lifted over the button it pressed.
    void Press(std::int32_t x, std::int32_t y);
    void Move(std::int32_t x, std::int32_t y);
    DialogResult Release(std::int32_t x, std::int32_t y);
    // The button held down (shown pushed), or null.
    const SkinComponent* Held() const { return pushed_ ? held_ : nullptr; }

    // Paints the whole client area (the target's size) on a background of
    // `windowColor`.
    void Paint(const SkinDrawGuard& lock, QImage& target, QColor windowColor) const;

private:
    const SkinComponent* ButtonAt(std::int32_t x, std::int32_t y) const;

    const CSkin& skin_;
    std::string text_;
    std::string caption_;
    QFont font_;
    const SkinComponent* held_ = nullptr;
    bool pushed_ = false;  // the stylus is over the held button
};

}  // namespace vantor
