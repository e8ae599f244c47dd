#include "skin/SkinScreen.h"

#include <set>

#include "skin/SkinDrawing.h"

namespace vantor {

namespace {

// Whether the state's image is see-through under the point, taking the pixel
// at the point's offset inside the destination from the source corner.
bool SeeThrough(const SkinDrawGuard& lock, const CSkin& skin, const SkinImageState& state,
                std::int32_t x, std::int32_t y) {
    const std::int32_t px = SkinAdd(state.source.left, std::int64_t{x} - state.destination.left);
    const std::int32_t py = SkinAdd(state.source.top, std::int64_t{y} - state.destination.top);
    return IsTransparentPixel(lock, skin, state.sourceBitmap, px, py);
}

}  // namespace

void PaintScreen(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                 std::string_view screen) {
    for (const SkinComponent& component : skin.Components()) {
        if (component.norm.present && IsShownIn(component, screen)) {
            DrawState(lock, skin, target, component.norm);
        }
    }
}

const SkinComponent* ComponentAtPress(const CSkin& skin, std::int32_t x, std::int32_t y,
                                      std::string_view screen) {
    const SkinDrawGuard lock;
    for (const SkinComponent& component : skin.Components()) {
        if (component.norm.destination.ContainsInclusive(x, y) && IsShownIn(component, screen) &&
            component.push.present && !SeeThrough(lock, skin, component.push, x, y)) {
            return &component;
        }
    }
    return nullptr;
}

const SkinComponent* ComponentAtInput(const CSkin& skin, std::int32_t x, std::int32_t y,
                                      std::string_view screen, bool testPixels) {
    const SkinDrawGuard lock;
    for (const SkinComponent& component : skin.Components()) {
        if (component.norm.destination.ContainsInclusive(x, y) && IsShownIn(component, screen) &&
            !component.ignoreInput &&
            !(testPixels && SeeThrough(lock, skin, component.norm, x, y))) {
            return &component;
        }
    }
    return nullptr;
}

SkinRect PlaceWindowOn(const CSkin& skin, const SkinWinComponent& window, std::int32_t width,
                       std::int32_t height, std::string_view screen) {
    SkinRect placed = window.Place(width, height);
    if (!window.bottomAnchored) {
        return placed;
    }
    for (const SkinComponent& component : skin.Components()) {
        const SkinRect& drawn = component.norm.destination;
        // The screen's picture (and the strip that carries it down) lies
        // under the list, not below it.
        if (component.name.starts_with("background.")) {
            continue;
        }
        if (component.norm.present && IsShownIn(component, screen) && drawn.top > placed.top &&
            drawn.top < placed.bottom && drawn.left < placed.right && drawn.right > placed.left) {
            placed.bottom = drawn.top;
        }
    }
    return placed;
}

std::string_view PlayerStateComponentName(std::int32_t playingState) {
    switch (playingState) {
        case kPlayerStatePaused:
            return "playingstate.paused";
        case kPlayerStateStopped:
            return "playingstate.stopped";
        default:
            return "playingstate.playing";
    }
}

bool DrawPlayerState(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                     std::int32_t playingState, std::string_view screen) {
    const SkinComponent* component = skin.FindComponent(PlayerStateComponentName(playingState));
    if (component == nullptr || !IsShownIn(*component, screen)) {
        return false;
    }
    return DrawState(lock, skin, target, component->norm);
}

namespace {

// Frees the image of every bitmap no kept component draws.
template <typename Keep>
void ReleaseImagesUnless(const CSkin& skin, Keep keep) {
    std::set<std::string_view> kept;
    for (const SkinComponent& component : skin.Components()) {
        if (keep(component)) {
            for (const SkinImageState* state :
                 {&component.norm, &component.hover, &component.push}) {
                kept.insert(state->sourceBitmap);
            }
        }
    }
    for (const SkinBitmap& bitmap : skin.Bitmaps()) {
        if (!kept.contains(bitmap.name) && !bitmap.image.pixels.isNull()) {
            const bool logged = bitmap.image.failureLogged;
            bitmap.image = SkinImage();
            bitmap.image.failureLogged = logged;
        }
    }
}

}  // namespace

void ReleaseImagesNotShownIn(const SkinDrawGuard&, const CSkin& skin, std::string_view screen) {
    ReleaseImagesUnless(skin, [&](const SkinComponent& component) {
        return component.mode.empty() || IsShownIn(component, screen);
    });
}

void ReleaseImagesPaintedOnce(const SkinDrawGuard&, const CSkin& skin, std::string_view screen) {
    // Pressed, lit or keyed parts are drawn or hit-tested again.
    const auto keyed = [&](const SkinImageState& state) {
        const SkinBitmap* bitmap = skin.FindBitmap(state.sourceBitmap);
        return bitmap != nullptr && bitmap->transparent;
    };
    ReleaseImagesUnless(skin, [&](const SkinComponent& component) {
        return component.mode.empty() || (IsShownIn(component, screen) &&
                                          (!component.ignoreInput || component.hover.present ||
                                           component.push.present || keyed(component.norm)));
    });
}

}  // namespace vantor
