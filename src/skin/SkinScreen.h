#pragma once

// A screen made of skin components: painting it, finding the component
// under the stylus, and the player-state indicator.

#include <QImage>
#include <cstdint>
#include <string_view>

#include "skin/CSkin.h"
#include "skin/SkinDrawLock.h"

namespace vantor {

// Draws the norm state of every component shown on the screen, in document
// order, so later components cover earlier ones.
void PaintScreen(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                 std::string_view screen);

// The hit tests take the drawing lock themselves (they read image pixels):
// never call them while holding a SkinDrawGuard.
//
// The component a press at (x, y) pushes: the first, in document order,
// whose norm destination holds the point (edges included), that is shown on
// the screen, whose push image is not see-through at the point, and that has
// a push state. Null when none.
const SkinComponent* ComponentAtPress(const CSkin& skin, std::int32_t x, std::int32_t y,
                                      std::string_view screen);

// The component that takes stylus input at (x, y): the first that holds the
// point, is shown on the screen and does not ignore input; with
// `testPixels`, one whose norm image is see-through there is passed over.
const SkinComponent* ComponentAtInput(const CSkin& skin, std::int32_t x, std::int32_t y,
                                      std::string_view screen, bool testPixels);

// Frees the loaded image of every bitmap that only components of other
// screens draw; it loads again when one of them is next drawn. A screen's
// background alone is over a megabyte at twice the scale, and only the
// screen on show needs its own. Bitmaps that a component without a mode
// draws (bar fills, knobs: the program draws those wherever they are
// needed) are kept, as are those of the screen itself.
void ReleaseImagesNotShownIn(const SkinDrawGuard& lock, const CSkin& skin, std::string_view screen);

// Once the screen is painted, frees as well the images that only its fixed
// parts draw (components that take no input: backgrounds, the deck): what
// is painted stays in the picture, and nothing draws them again until the
// screen is painted anew, which reads them again. Kept: the images of the
// screen's controls (pressed, lit, filled as the player changes), of parts
// with a hover or push state or a colour key (their pixels are hit-tested)
// and of components without a mode.
void ReleaseImagesPaintedOnce(const SkinDrawGuard& lock, const CSkin& skin,
                              std::string_view screen);

// Where a window component goes on a screen of width x height. One
// anchored to the screen's bottom stops above the first component the
// screen draws below the window's top edge and across its width (the
// controls under a list, not the screen's pictures): the list then takes
// the height those leave at any scale, which an anchored distance, counted
// in unscaled pixels, cannot say. Other windows are placed as the file says.
SkinRect PlaceWindowOn(const CSkin& skin, const SkinWinComponent& window, std::int32_t width,
                       std::int32_t height, std::string_view screen);

// Player states as the server reports them.
inline constexpr std::int32_t kPlayerStatePaused = 2;
inline constexpr std::int32_t kPlayerStateStopped = 3;

// "playingstate.paused" for 2, "playingstate.stopped" for 3 and
// "playingstate.playing" for anything else.
std::string_view PlayerStateComponentName(std::int32_t playingState);

// Draws the indicator for the state when that component is shown on the
// screen. False when nothing was drawn.
bool DrawPlayerState(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                     std::int32_t playingState, std::string_view screen);

}  // namespace vantor
