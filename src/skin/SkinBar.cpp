#include "skin/SkinBar.h"

#include <QRect>
#include <algorithm>
#include <cmath>

#include "core/Text.h"
#include "skin/SkinDrawing.h"

namespace vantor {

namespace {

std::int32_t RoundHalfUp(double value) {
    return SkinClamp(static_cast<std::int64_t>(std::floor(value + 0.5)));
}

}  // namespace

std::string EqTrackName(std::int32_t track) {
    if (track == kEqTracks - 1) {
        return "eq.preamp";
    }
    return Format("eq.bar%02d", track + 1);
}

bool DrawBar(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
             const SkinComponent* back, const SkinComponent* front, std::int32_t value, bool knob,
             std::string_view screen) {
    if (back == nullptr || !IsShownIn(*back, screen) || target.isNull()) {
        return false;
    }
    // Only the part of the track that lies on the target is composed, so
    // the buffer never outgrows the screen whatever the skin says.
    const SkinRect& area = back->norm.destination;
    const std::int64_t left = std::max<std::int64_t>(area.left, 0);
    const std::int64_t top = std::max<std::int64_t>(area.top, 0);
    const std::int64_t right = std::min<std::int64_t>(area.right, target.width());
    const std::int64_t bottom = std::min<std::int64_t>(area.bottom, target.height());
    if (left >= right || top >= bottom) {
        return false;
    }
    QImage buffer =
        target.copy(QRect(static_cast<int>(left), static_cast<int>(top),
                          static_cast<int>(right - left), static_cast<int>(bottom - top)));
    // The track's top-left corner inside the buffer.
    const std::int32_t x0 = SkinClamp(area.left - left);
    const std::int32_t y0 = SkinClamp(area.top - top);
    DrawStateAt(lock, skin, buffer, back->norm, x0, y0);

    if (front != nullptr) {
        const std::int64_t backWidth = area.Width();
        const std::int64_t backHeight = area.Height();
        const SkinImageState& state = front->norm;
        if (backWidth >= backHeight) {
            // The fill shows its first `value` pixels, cut rather than squeezed.
            SkinImageState fill = state;
            const std::int64_t shown =
                std::max<std::int64_t>(0, std::min<std::int64_t>(value, state.source.Width()));
            fill.source.right = SkinAdd(fill.source.left, shown);
            DrawStateInto(
                lock, skin, buffer, fill,
                SkinRect{x0, y0, SkinAdd(x0, shown), SkinAdd(y0, state.destination.Height())});
        } else if (knob) {
            const std::int64_t knobHeight = state.destination.Height();
            std::int64_t y = backHeight - value;
            if (y + knobHeight / 2 <= backHeight) {
                y -= knobHeight / 2;
            }
            y = std::max<std::int64_t>(0, std::min(y, backHeight - knobHeight));
            DrawStateAt(lock, skin, buffer, state, x0, SkinAdd(y0, y));
        }
    }

    const SkinImage composed = SkinImage::Of(std::move(buffer));
    return DrawOpaque(lock, composed, target, static_cast<std::int32_t>(left),
                      static_cast<std::int32_t>(top), -1, -1, 0, 0, -1, -1);
}

bool DrawBar(const SkinDrawGuard& lock, const CSkin& skin, QImage& target, SkinBarNames names,
             std::int32_t value, bool knob, std::string_view screen) {
    return DrawBar(lock, skin, target, skin.FindComponent(names.back),
                   skin.FindComponent(names.front), value, knob, screen);
}

std::int32_t VolumeToPixels(double percent, std::int32_t width) {
    return RoundHalfUp(percent / 100.0 * width);
}

std::int32_t PositionToPixels(std::int64_t positionMs, std::int64_t lengthMs, std::int32_t width) {
    if (lengthMs <= 0) {
        return 0;
    }
    return RoundHalfUp(static_cast<double>(positionMs) / static_cast<double>(lengthMs) * width);
}

std::int32_t EqGainToPixels(std::int32_t gain, std::int32_t height) {
    return RoundHalfUp(height - (100.0 - gain) / 200.0 * height);
}

std::int32_t EqPixelsToGain(std::int32_t value, std::int32_t height) {
    if (height <= 0) {
        return 0;
    }
    const double g =
        std::min(static_cast<double>(height - std::int64_t{value}) / height * 200.0, 200.0);
    return RoundHalfUp(-(g - 100.0));
}

}  // namespace vantor
