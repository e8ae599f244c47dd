#pragma once

// Drawing resources: skin images loaded on first use and drawn into 32-bit
// QImage targets (Format_RGB32 or ARGB32, premultiplied or not), opaquely or
// with an exact colour key.
//
// Every pixel is copied, never blended: a part drawn at its own size is a
// row copy; a part drawn at another size is stretched by nearest-neighbour
// sampling; a colour-keyed part leaves the target untouched exactly where
// the source pixel equals the key. Rectangles are clipped to the target and
// to the image, so absurd coordinates draw what lies on the target and cost
// no more than the target's size.
//
// All of these run under the drawing lock (SkinDrawLock.h).

#include <QImage>
#include <cstdint>
#include <string_view>

#include "skin/CSkin.h"
#include "skin/SkinDrawLock.h"

namespace vantor {

// Loads the bitmap's file (PNG, GIF, JPEG, ...) into its image, replacing
// what it held. A failure leaves the image empty, logs once per bitmap and
// returns false; the next draw tries again.
bool LoadSkinImage(const SkinDrawGuard& lock, const SkinBitmap& bitmap);

// Draws the source part (sx, sy, sw, sh) of the image at (x, y, w, h).
// sw or sh of -1 mean the image's own width or height; w and h both -1 draw
// the whole image at its own size from its top-left corner. Equal sizes copy,
// others stretch. False when the image is empty or the target unsupported.
bool DrawOpaque(const SkinDrawGuard& lock, const SkinImage& image, QImage& target, std::int32_t x,
                std::int32_t y, std::int32_t w, std::int32_t h, std::int32_t sx, std::int32_t sy,
                std::int32_t sw, std::int32_t sh);

// Draws the w x h part at (sx, sy) at (x, y), leaving the target as it was
// wherever the source pixel equals `key` exactly. Never stretches.
bool DrawTransparent(const SkinDrawGuard& lock, const SkinImage& image, QImage& target,
                     std::int32_t x, std::int32_t y, SkinColor key, std::int32_t w, std::int32_t h,
                     std::int32_t sx, std::int32_t sy);

// Draws a state's source rectangle into its destination rectangle (keyed
// when its bitmap has a transparency colour), loading the bitmap first when
// needed. False when the state is missing, its bitmap unknown, or no image
// could be loaded.
bool DrawState(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
               const SkinImageState& state);
// The same state at another top-left corner, its size kept.
bool DrawStateAt(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                 const SkinImageState& state, std::int32_t x, std::int32_t y);
// The same state into a rectangle of another size (stretched when opaque;
// a keyed state is never stretched and fills what the rectangle covers).
bool DrawStateInto(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                   const SkinImageState& state, const SkinRect& rect);

// The push state when pushed, else the norm state.
bool DrawComponentState(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                        const SkinComponent& component, bool pushed);

// True when the named bitmap has a transparency colour and its loaded image's
// pixel at (x, y) equals it exactly. An image not drawn yet is not loaded
// here, so it reads false, as do unknown bitmaps and points off the image.
bool IsTransparentPixel(const SkinDrawGuard& lock, const CSkin& skin, std::string_view bitmapName,
                        std::int32_t x, std::int32_t y);

// A Format_RGB32 image of zeros (black) for pixels made in bulk: a screen's
// picture, an image scaled for the screen. Its memory comes straight from
// the system, in large pages where the system gives them for the asking,
// so writing megabytes of new pixels takes a few page faults rather than
// one every 4 KB; pages never written cost no memory. Null for an empty
// size or when there is no memory.
QImage ZeroedImage(QSize size);

// Entry points that take the drawing lock themselves.
bool DrawState(const CSkin& skin, QImage& target, const SkinImageState& state);
bool DrawComponentState(const CSkin& skin, QImage& target, const SkinComponent& component,
                        bool pushed);
bool IsTransparentPixel(const CSkin& skin, std::string_view bitmapName, std::int32_t x,
                        std::int32_t y);

}  // namespace vantor
