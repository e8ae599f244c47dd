#pragma once

// The bar family: a back component (the track) and a front component (the
// fill, or a knob), drawn with an integer value in pixels that the owner
// holds. A bar is double-buffered: it is composed off-screen over the
// screen's current pixels and copied to the screen in one step, so frequent
// position updates do not flicker.

#include <QImage>
#include <cstdint>
#include <string>
#include <string_view>

#include "skin/CSkin.h"
#include "skin/SkinDrawLock.h"

namespace vantor {

struct SkinBarNames {
    std::string_view back;
    std::string_view front;
};

inline constexpr SkinBarNames kVolumeBar{"volumebar.back", "volumebar"};
inline constexpr SkinBarNames kPositionBar{"positionbar.back", "positionbar"};
inline constexpr SkinBarNames kNowPlayingPositionBar{"positionbar.nowplaying.back",
                                                     "positionbar.nowplaying"};
inline constexpr SkinBarNames kProgressBar{"progressbar.back", "progressbar"};
inline constexpr std::string_view kEqKnob = "eq.position";
inline constexpr std::int32_t kEqTracks = 11;  // ten bands, then the preamplifier

// The fill (or knob) drawn on a bar's track.
constexpr std::string_view BarFront(std::string_view back) {
    for (const SkinBarNames& bar : {kVolumeBar, kPositionBar, kNowPlayingPositionBar}) {
        if (back == bar.back) {
            return bar.front;
        }
    }
    return kEqKnob;
}

// "eq.bar01" ... "eq.bar10" for tracks 0-9, "eq.preamp" for track 10.
std::string EqTrackName(std::int32_t track);

// Draws the bar when `back` exists and is shown on the screen. A back at
// least as wide as it is high is horizontal: the front shows its first
// `value` pixels from the left (never more than its own width). A higher
// one with a knob has the knob centred on `value` counted up from the
// bottom, kept inside the track. Returns false when nothing was drawn.
bool DrawBar(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
             const SkinComponent* back, const SkinComponent* front, std::int32_t value, bool knob,
             std::string_view screen);
bool DrawBar(const SkinDrawGuard& lock, const CSkin& skin, QImage& target, SkinBarNames names,
             std::int32_t value, bool knob, std::string_view screen);

// Values in pixels, rounded half up.
std::int32_t VolumeToPixels(double percent, std::int32_t width);
std::int32_t PositionToPixels(std::int64_t positionMs, std::int64_t lengthMs, std::int32_t width);
// An equaliser gain of -100 ... +100 on a track `height` pixels high.
std::int32_t EqGainToPixels(std::int32_t gain, std::int32_t height);
// The gain for a stylus `value` pixels above the track's bottom.
std::int32_t EqPixelsToGain(std::int32_t value, std::int32_t height);

}  // namespace vantor
