// What the player and the session tell the view: each change is kept and
// only the part of the picture it shows is drawn again.
#include <QImage>
#include <algorithm>

#include "skin/SkinBar.h"
#include "ui/view/ScreenView.h"

namespace vantor::ui {

void ScreenView::SetSongTitle(const std::string& text, bool shown, bool isStatus) {
    if (content_.songTitle == text && content_.songTitleShown == shown &&
        content_.statusInTitle == isStatus) {
        return;
    }
    content_.songTitle = text;
    content_.songTitleShown = shown;
    content_.statusInTitle = isStatus;
    Refresh(Element::SongTitle);
    Refresh(Element::NowPlayingTitle);
    AccessChanged(AccessChange::Title);
}

void ScreenView::SetMediaLines(const std::string& title, const std::string& artist,
                               const std::string& album) {
    const bool changed =
        content_.title != title || content_.artist != artist || content_.album != album;
    content_.title = title;
    content_.artist = artist;
    content_.album = album;
    Refresh(Element::NowPlayingTitle);
    Refresh(Element::NowPlayingArtist);
    Refresh(Element::NowPlayingAlbum);
    if (changed) {
        AccessChanged(AccessChange::MediaLines);
    }
}

void ScreenView::SetPlayingState(std::int32_t state) {
    if (content_.playingState != state) {
        content_.playingState = state;
        Refresh(Element::PlayerState);
        AccessChanged(AccessChange::State);
    }
}

void ScreenView::SetRepeat(std::int32_t repeat) {
    if (content_.repeat != repeat) {
        content_.repeat = repeat;
        Refresh(Element::Toggles);
        AccessChanged(AccessChange::Toggles);
    }
}

void ScreenView::SetShuffle(bool shuffle) {
    if (content_.shuffle != shuffle) {
        content_.shuffle = shuffle;
        Refresh(Element::Toggles);
        AccessChanged(AccessChange::Toggles);
    }
}

std::int32_t ScreenView::VolumeWidth() const {
    return FrontWidth(kVolumeBar.front);
}

void ScreenView::SetVolumePercent(std::int32_t percent) {
    SetVolumePixels(VolumeToPixels(std::clamp(percent, 0, 100), VolumeWidth()));
}

void ScreenView::SetVolumePixels(std::int32_t pixels) {
    if (content_.volumePixels != pixels) {
        content_.volumePixels = pixels;
        Refresh(Element::VolumeBar);
        AccessChanged(AccessChange::Volume);
    }
}

void ScreenView::SetPosition(std::int64_t positionMs, std::int32_t length) {
    const bool lengthChanged = content_.length != length;
    content_.positionMs = positionMs;
    content_.length = length;
    const std::int32_t second = positionMs < 0 ? -1 : static_cast<std::int32_t>(positionMs / 1000);
    if (second != drawnSecond_ || lengthChanged) {
        drawnSecond_ = second;
        Refresh(Element::Time);
        Refresh(Element::NowPlayingTime);
    }
    const std::int32_t pixels = PositionPixels(positionWidth_);
    if (pixels != drawnPositionPixels_) {
        drawnPositionPixels_ = pixels;
        Refresh(Element::PositionBar);
    }
    const std::int32_t nowPlayingPixels = PositionPixels(nowPlayingWidth_);
    if (nowPlayingPixels != drawnNowPlayingPixels_) {
        drawnNowPlayingPixels_ = nowPlayingPixels;
        Refresh(Element::NowPlayingPositionBar);
    }
}

std::int64_t ScreenView::MsUntilNextPixel(std::int64_t positionMs, std::int32_t length) const {
    if (positionMs < 0 || length <= 0) {
        return -1;
    }
    const std::int64_t lengthMs = std::int64_t{length} * 1000;
    std::int64_t soonest = -1;
    for (const auto& [element, width] :
         {std::pair{Element::PositionBar, positionWidth_},
          std::pair{Element::NowPlayingPositionBar, nowPlayingWidth_}}) {
        const bool shown = std::any_of(overlays_.begin(), overlays_.end(),
                                       [&](const Overlay& o) { return o.element == element; });
        const std::int32_t pixels = PositionToPixels(positionMs, lengthMs, width);
        if (!shown || width <= 0 || pixels >= width) {
            continue;
        }
        // The fill is rounded half up: the next pixel comes half a pixel on.
        auto next =
            static_cast<std::int64_t>((pixels + 0.5) * static_cast<double>(lengthMs) / width);
        while (PositionToPixels(next, lengthMs, width) <= pixels) {
            ++next;
        }
        const std::int64_t wait = std::max<std::int64_t>(next - positionMs, 1);
        soonest = soonest < 0 ? wait : std::min(soonest, wait);
    }
    return soonest;
}

void ScreenView::SetShowRemaining(bool remaining) {
    if (content_.showRemaining != remaining) {
        content_.showRemaining = remaining;
        Refresh(Element::Time);
        Refresh(Element::NowPlayingTime);
    }
}

void ScreenView::SetEq(const EqSettings& eq) {
    const bool changed = !(content_.eq == eq);
    eqBefore_ = content_.eq;
    content_.eq = eq;
    Refresh(Element::Toggles);
    Refresh(Element::EqTracks);
    if (changed) {
        AccessChanged(AccessChange::Eq);
    }
}

void ScreenView::SetProgress(bool shown, std::int32_t percent) {
    if (content_.progressShown != shown || content_.progressPercent != percent) {
        content_.progressShown = shown;
        content_.progressPercent = percent;
        Refresh(Element::ProgressBar);
    }
}

void ScreenView::SetAlbumArt(const QImage& art) {
    content_.albumArt = art;
    scaledArt_ = QImage();
    Refresh(Element::AlbumArt);
    AccessChanged(AccessChange::Art);
}

}  // namespace vantor::ui
