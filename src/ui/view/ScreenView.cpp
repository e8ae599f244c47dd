#include "ui/view/ScreenView.h"

#include <QFile>
#include <QFontMetrics>
#include <QPaintEvent>
#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "session/NowPlaying.h"
#include "skin/SkinBar.h"
#include "skin/SkinDrawLock.h"
#include "skin/SkinDrawing.h"
#include "skin/SkinScreen.h"
#include "ui/view/QtText.h"

namespace vantor::ui {

namespace {

constexpr std::array<std::string_view, 4> kToggles = {"repeat", "shuffle", "eq.enabled",
                                                      "eq.autoload"};
constexpr std::array<std::string_view, 3> kStateIndicators = {
    "playingstate.playing", "playingstate.paused", "playingstate.stopped"};

// The caption of the connect screen and where the frame draws it, in skin
// units.
constexpr const char* kSelectServerText = "Select a server:";
constexpr int kCaptionX = 18, kCaptionY = 124, kCaptionWidth = 200, kCaptionHeight = 20;
constexpr int kIconTop = 14;
// The height of the screen skins are drawn for, and what the connect
// screen's panel keeps below it when it comes down (skin units).
constexpr int kSkinScreenHeight = 320, kBelowConnectPanel = 8;
constexpr std::string_view kConnectPanel = "connect.panel";
}  // namespace

std::int32_t ConnectLift(const CSkin& skin, std::int32_t screenHeight) {
    const SkinComponent* panel = skin.FindComponent(kConnectPanel);
    if (panel == nullptr || !panel->norm.present) {
        return 0;
    }
    const SkinScale& scale = skin.Scale();
    const std::int64_t shortfall = std::int64_t{scale.Y(kSkinScreenHeight)} - screenHeight;
    const std::int64_t band =
        screenHeight - panel->norm.destination.bottom - scale.Height(kBelowConnectPanel);
    return static_cast<std::int32_t>(std::max<std::int64_t>(std::min(shortfall, band), 0));
}

ScreenView::ScreenView(const CSkin& skin, ScreenInput& input,
                       std::function<std::string_view()> shown, QWidget* parent)
    : QWidget(parent), skin_(skin), input_(input), shown_(std::move(shown)) {
    setObjectName(QStringLiteral("Skinned Screen"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setAttribute(Qt::WA_AcceptTouchEvents);
}

void ScreenView::SetFrameLook(QColor background, QFont normal, QFont large,
                              std::vector<std::string> iconFolders) {
    background_ = background;
    normalFont_ = std::move(normal);
    largeFont_ = std::move(large);
    iconFolders_ = std::move(iconFolders);
}

QRect ScreenView::ComponentRect(std::string_view name) const {
    const SkinComponent* component = skin_.FindComponent(name);
    if (component == nullptr || !component->norm.present || !IsShownIn(*component, shown_())) {
        return {};
    }
    return ToQRect(Placed(*component));
}

SkinRect ScreenView::Placed(const SkinComponent& component) const {
    SkinRect at = component.norm.destination;
    if (shown_() != kScreenConnect) {
        return at;
    }
    const SkinComponent* panel = skin_.FindComponent(kConnectPanel);
    const std::int32_t lift = ConnectLift(skin_, DeviceSize().height());
    if (lift == 0 || panel == nullptr) {
        return at;
    }
    if (&component == panel) {
        at.bottom += lift;
    } else if (at.top > panel->norm.destination.top && !component.name.starts_with("background.")) {
        at.top += lift;
        at.bottom += lift;
    }
    return at;
}

QRect ScreenView::WindowRect(std::string_view name) const {
    const SkinWinComponent* window = skin_.FindWinComponent(name);
    const QSize device = DeviceSize();
    return window
               ? ToQRect(PlaceWindowOn(skin_, *window, device.width(), device.height(), shown_()))
               : QRect();
}

void ScreenView::SetPixelRatio(double ratio) {
    ratio_ = ratio > 0 ? ratio : 1.0;
}

QSize ScreenView::DeviceSize() const {
    return QSize(static_cast<int>(std::lround(width() * ratio_)),
                 static_cast<int>(std::lround(height() * ratio_)));
}

QRect ScreenView::Logical(const QRect& device) const {
    if (ratio_ == 1.0) {
        return device;
    }
    return QRectF(device.x() / ratio_, device.y() / ratio_, device.width() / ratio_,
                  device.height() / ratio_)
        .toAlignedRect();
}

QRect ScreenView::Device(const QRect& logical) const {
    if (ratio_ == 1.0) {
        return logical;
    }
    return QRectF(logical.x() * ratio_, logical.y() * ratio_, logical.width() * ratio_,
                  logical.height() * ratio_)
        .toAlignedRect();
}

QPoint ScreenView::SkinPoint(const QPointF& logical) const {
    return (logical * ratio_).toPoint();
}

QRect ScreenView::Scaled(int x, int y, int w, int h) const {
    const SkinScale& scale = skin_.Scale();
    return QRect(scale.X(x), scale.Y(y), scale.Width(w), scale.Height(h));
}

// --- Building the picture ----------------------------------------------------

void ScreenView::Rebuild() {
    icon_ = QImage();
    const bool large = skin_.Scale().dpiX >= 2 * kSkinUnitsDpi;
    for (const std::string& folder : iconFolders_) {
        for (const char* name : {large ? "icon@2x.png" : "icon.png", "icon.png"}) {
            if (icon_.isNull() && QFile::exists(Q(folder + name))) {
                icon_.load(Q(folder + name));
            }
        }
    }
    // Qt reads "@2x" in a name as a device pixel ratio; the icon is drawn
    // pixel for pixel like every skin image.
    icon_.setDevicePixelRatio(1.0);
    hot_ = nullptr;
    held_ = nullptr;
    // The release will not find the bar dragged: its drag ends now, or the
    // bar would keep ignoring the server.
    const bool dragging = dragBar_ != nullptr;
    dragBar_ = nullptr;
    BuildBase();
    BuildOverlays();
    RedrawAll();
    if (dragging) {
        input_.OnBarDragCancelled(dragName_);
    }
    AccessChanged(AccessChange::Screen);
}

void ScreenView::CancelDrag() {
    if (dragBar_ == nullptr) {
        return;
    }
    const SkinComponent* bar = dragBar_;
    dragBar_ = nullptr;
    input_.OnBarDragCancelled(dragName_);
    RedrawRegion(ToQRect(bar->norm.destination));
}

void ScreenView::RedrawAll() {
    // Into the buffer there is when it fits: a new one is a fresh
    // allocation the system fills page by page as it is written.
    if (!buffer_.isDetached() || buffer_.size() != base_.size() ||
        buffer_.format() != base_.format() || buffer_.bytesPerLine() != base_.bytesPerLine()) {
        buffer_ = QImage();
        buffer_ = ZeroedImage(base_.size());
    }
    if (!buffer_.isNull() && buffer_.sizeInBytes() == base_.sizeInBytes()) {
        std::memcpy(buffer_.bits(), base_.constBits(),
                    static_cast<std::size_t>(base_.sizeInBytes()));
    }
    if (!buffer_.isNull()) {
        for (const Overlay& overlay : overlays_) {
            Draw(overlay);
        }
    }
    drawnSecond_ =
        content_.positionMs < 0 ? -1 : static_cast<std::int32_t>(content_.positionMs / 1000);
    drawnPositionPixels_ = PositionPixels(positionWidth_);
    drawnNowPlayingPixels_ = PositionPixels(nowPlayingWidth_);
    update();
}

void ScreenView::SetLandscapeMessage(const QString& message) {
    landscape_ = message;
    Rebuild();
}

bool ScreenView::DefaultNowPlayingView() const {
    return shown_() == kScreenNowPlaying && skin_.FindBitmap("back.np") == nullptr;
}

void ScreenView::BuildBase() {
    if (base_.size() != DeviceSize() || !base_.isDetached()) {
        base_ = QImage();  // the old one goes before the new one comes
        base_ = ZeroedImage(DeviceSize());
    }
    if (base_.isNull()) {
        return;
    }
    base_.fill(background_);
    if (!landscape_.isEmpty()) {
        QPainter painter(&base_);
        painter.setFont(largeFont_);
        painter.setPen(Qt::white);
        const int margin = base_.width() / 16;
        painter.drawText(base_.rect().adjusted(margin, margin, -margin, -margin),
                         Qt::AlignCenter | Qt::TextWordWrap, landscape_);
        return;
    }
    {
        const SkinDrawGuard lock;
        // The last screen's images go before this one's are read.
        ReleaseImagesNotShownIn(lock, skin_, shown_());
        PaintScreen(lock, skin_, base_, shown_());
        ReleaseImagesPaintedOnce(lock, skin_, shown_());
    }
    if (shown_() == kScreenConnect) {
        LowerConnectPanel(base_);
        DrawConnectLook(base_);
    }
    if (DefaultNowPlayingView()) {
        DrawDefaultNowPlaying(base_);
    }
}

void ScreenView::LowerConnectPanel(QImage& target) {
    const SkinComponent* panel = skin_.FindComponent(kConnectPanel);
    if (panel == nullptr || ConnectLift(skin_, target.height()) == 0) {
        return;
    }
    const SkinDrawGuard lock;
    DrawStateInto(lock, skin_, target, panel->norm, Placed(*panel));
    for (const SkinComponent& component : skin_.Components()) {
        const SkinRect at = Placed(component);
        if (&component != panel && component.norm.present && IsShownIn(component, kScreenConnect) &&
            at != component.norm.destination) {
            DrawStateAt(lock, skin_, target, component.norm, at.left,
                        static_cast<std::int32_t>(at.top));
        }
    }
}

void ScreenView::DrawConnectLook(QImage& target) {
    if (!icon_.isNull()) {
        QPainter painter(&target);
        painter.drawImage((target.width() - icon_.width()) / 2, skin_.Scale().Y(kIconTop), icon_);
    }
    QPainter painter(&target);
    painter.setFont(normalFont_);
    painter.setPen(SkinColorOr("songtitle", Qt::white));
    painter.drawText(Scaled(kCaptionX, kCaptionY, kCaptionWidth, kCaptionHeight),
                     Qt::AlignLeft | Qt::AlignVCenter, QString::fromLatin1(kSelectServerText));
}

// Without a now-playing background in the skin the frame draws its own
// view: a frame for the art with "No Artwork" in it until a picture comes.
void ScreenView::DrawDefaultNowPlaying(QImage& target) {
    const QRect box = OverlayRect(Element::AlbumArt);
    QPainter painter(&target);
    painter.setPen(QColor(255, 255, 255, 120));
    painter.drawRect(box.adjusted(0, 0, -1, -1));
    painter.setFont(normalFont_);
    painter.setPen(Qt::white);
    // The text is "No\r\nArtwork"; Qt breaks lines at "\n" alone.
    painter.drawText(box, Qt::AlignCenter, QStringLiteral("No\nArtwork"));
}

QRect ScreenView::OverlayRect(Element element) const {
    const auto unite = [&](auto names) {
        QRect rect;
        for (std::string_view name : names) {
            rect |= ComponentRect(name);
        }
        return rect;
    };
    const bool nowPlaying = shown_() == kScreenNowPlaying;
    const bool defaultView = DefaultNowPlayingView();
    const auto nowPlayingLine = [&](std::string_view back, int y, int h) {
        const QRect skinned = ComponentRect(back);
        return !skinned.isEmpty() ? skinned : defaultView ? Scaled(0, y, 240, h) : QRect();
    };
    switch (element) {
        case Element::Toggles:
            return unite(kToggles);
        case Element::Hot:
            return hot_ ? ToQRect(hot_->norm.destination) |
                              ToQRect((hotPushed_ ? hot_->push : hot_->hover).destination)
                        : QRect();
        case Element::PlayerState:
            return unite(kStateIndicators);
        case Element::AlbumArt: {
            if (!nowPlaying) {
                return {};
            }
            // The square that fits the skin's box, across its middle and
            // on its bottom: on a screen taller than the square the art
            // keeps to the title under it, and what is left lies above.
            const QRect box = WindowRect("albumart");
            if (box.isEmpty()) {
                return defaultView ? Scaled(60, 12, 120, 120) : box;
            }
            const int side = std::min(box.width(), box.height());
            return QRect(box.left() + (box.width() - side) / 2, box.bottom() + 1 - side, side,
                         side);
        }
        case Element::VolumeBar:
            return ComponentRect(kVolumeBar.back);
        case Element::PositionBar:
            return ComponentRect(kPositionBar.back);
        case Element::NowPlayingPositionBar:
            return ComponentRect(kNowPlayingPositionBar.back);
        case Element::ProgressBar:
            return ComponentRect(kProgressBar.back);
        case Element::EqTracks: {
            QRect rect;
            for (int track = 0; track < kEqTracks; ++track) {
                if (const SkinComponent* back = EqTrack(track)) {
                    rect |= ToQRect(back->norm.destination);
                }
            }
            return rect;
        }
        case Element::SongTitle:
            return ComponentRect("songback");
        case Element::Time:
            return ComponentRect("positionback");
        case Element::NowPlayingTitle:
            return nowPlaying ? nowPlayingLine("titleback", 138, 22) : QRect();
        case Element::NowPlayingArtist:
            return nowPlaying ? nowPlayingLine("artistback", 160, 18) : QRect();
        case Element::NowPlayingAlbum:
            return nowPlaying ? nowPlayingLine("albumback", 178, 18) : QRect();
        case Element::NowPlayingTime: {
            if (!nowPlaying) {
                return {};
            }
            // A component of that name keeps to the deck; a window stays
            // where the file puts it.
            QRect skinned = ComponentRect("nowplaying.position");
            if (skinned.isEmpty()) {
                skinned = WindowRect("nowplaying.position");
            }
            return !skinned.isEmpty() || !defaultView ? skinned : Scaled(16, 207, 208, 14);
        }
    }
    return {};
}

void ScreenView::BuildOverlays() {
    overlays_.clear();
    BuildDefaultEq();
    // Read once a screen, not on every animation step.
    positionWidth_ = FrontWidth(kPositionBar.front);
    nowPlayingWidth_ = FrontWidth(kNowPlayingPositionBar.front);
    if (!landscape_.isEmpty()) {
        return;
    }
    for (const Element element :
         {Element::Toggles, Element::Hot, Element::PlayerState, Element::AlbumArt,
          Element::VolumeBar, Element::PositionBar, Element::NowPlayingPositionBar,
          Element::ProgressBar, Element::EqTracks, Element::SongTitle, Element::Time,
          Element::NowPlayingTitle, Element::NowPlayingArtist, Element::NowPlayingAlbum,
          Element::NowPlayingTime}) {
        const QRect rect = OverlayRect(element);
        // The hot button's place changes as the stylus moves; it is always
        // kept, with whatever rectangle it has at the time.
        if (!rect.isEmpty() || element == Element::Hot) {
            overlays_.push_back(Overlay{element, rect});
        }
    }
}

void ScreenView::Refresh(Element element) {
    for (const Overlay& overlay : overlays_) {
        if (overlay.element == element) {
            RedrawRegion(overlay.rect);
            return;
        }
    }
}

void ScreenView::RedrawRegion(QRect region) {
    region &= buffer_.rect();
    if (region.isEmpty() || base_.size() != buffer_.size()) {
        return;
    }
    // Every overlay touching the region is drawn whole, so the region grows
    // to take them in; otherwise one drawn later could be half covered.
    // (Only what lies on the screen counts: a component may reach past it.)
    const QRect screen = buffer_.rect();
    for (bool grown = true; grown;) {
        grown = false;
        for (const Overlay& overlay : overlays_) {
            const QRect visible = overlay.rect & screen;
            if (visible.intersects(region) && !region.contains(visible)) {
                region |= visible;
                grown = true;
            }
        }
    }
    {
        QPainter painter(&buffer_);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(region.topLeft(), base_, region);
    }
    for (const Overlay& overlay : overlays_) {
        if (overlay.rect.intersects(region)) {
            Draw(overlay);
        }
    }
    update(Logical(region));
}

// --- Overlays -------------------------------------------------------------------

QFont ScreenView::SkinFontOr(std::string_view name, const QFont& fallback) const {
    const SkinFont* font = skin_.FindFont(name);
    return font ? font->font : fallback;
}

QColor ScreenView::SkinColorOr(std::string_view name, QColor fallback) const {
    const SkinFont* font = skin_.FindFont(name);
    return font ? font->color.ToQColor() : fallback;
}

void ScreenView::DrawText(const QRect& box, std::string_view fontName, const QString& text,
                          int flags, QColor color) {
    if (box.isEmpty() || text.isEmpty()) {
        return;
    }
    QPainter painter(&buffer_);
    painter.setFont(SkinFontOr(fontName, normalFont_));
    painter.setPen(color.isValid() ? color : SkinColorOr(fontName, Qt::white));
    const QFontMetrics metrics(painter.font());
    painter.drawText(box, flags, metrics.elidedText(text, Qt::ElideRight, box.width()));
}

void ScreenView::DrawBarOverlay(std::string_view back, std::string_view front, std::int32_t value,
                                bool knob) {
    const SkinDrawGuard lock;
    DrawBar(lock, skin_, buffer_, skin_.FindComponent(back), skin_.FindComponent(front), value,
            knob, shown_());
}

void ScreenView::DrawToggle(std::string_view name, bool on) {
    const SkinComponent* component = skin_.FindComponent(name);
    if (on && component != nullptr && component->push.present && IsShownIn(*component, shown_())) {
        const SkinDrawGuard lock;
        DrawComponentState(lock, skin_, buffer_, *component, true);
    }
}

bool ScreenView::ToggleOn(std::string_view name) const {
    if (name == "repeat") {
        return content_.repeat != RepeatState::Off;
    }
    if (name == "shuffle") {
        return content_.shuffle;
    }
    if (name == "eq.enabled") {
        return content_.eq.enabled;
    }
    return name == "eq.autoload" && content_.eq.autoLoad;
}

void ScreenView::DrawAlbumArt(const QRect& box) {
    if (content_.albumArt.isNull()) {
        DrawArtPlaceholder(box);
        return;
    }
    const SkinWinComponent* window = skin_.FindWinComponent("albumart");
    QPainter painter(&buffer_);
    painter.fillRect(box,
                     window && window->backColor ? window->backColor->ToQColor() : background_);
    // Kept by the box it was made for: a picture a pixel thin scales to a
    // size Qt rounds, which would never match its own fitted size.
    if (scaledArt_.isNull() || scaledFor_ != box.size()) {
        scaledFor_ = box.size();
        scaledArt_ = content_.albumArt.size() == box.size()
                         ? content_.albumArt
                         : content_.albumArt.scaled(box.size(), Qt::KeepAspectRatio,
                                                    Qt::SmoothTransformation);
    }
    const QImage& art = scaledArt_;
    painter.drawImage(box.left() + (box.width() - art.width()) / 2,
                      box.top() + (box.height() - art.height()) / 2, art);
}

// The skin's placeholder for missing art, when it shows on no screen of its
// own, is drawn into the art's square at that square's size.
void ScreenView::DrawArtPlaceholder(const QRect& box) {
    const SkinComponent* placeholder = skin_.FindComponent("albumart.placeholder");
    if (placeholder == nullptr || !placeholder->mode.empty() || !placeholder->norm.present ||
        box.isEmpty()) {
        return;  // the skin's own (or the frame's) shows
    }
    SkinImageState state = placeholder->norm;
    const SkinRect& source = state.source;
    QImage cell(std::max(SkinClamp(source.Width()), 1), std::max(SkinClamp(source.Height()), 1),
                QImage::Format_RGB32);
    state.destination = SkinRect{0, 0, cell.width(), cell.height()};
    if (!DrawState(skin_, cell, state)) {
        return;
    }
    QPainter painter(&buffer_);
    painter.drawImage(box.topLeft(), cell.size() == box.size()
                                         ? cell
                                         : cell.scaled(box.size(), Qt::IgnoreAspectRatio,
                                                       Qt::SmoothTransformation));
}

std::int32_t ScreenView::FrontWidth(std::string_view front) const {
    const SkinComponent* component = skin_.FindComponent(front);
    return component ? SkinClamp(component->norm.destination.Width()) : 0;
}

std::int32_t ScreenView::PositionPixels(std::int32_t width) const {
    if (width <= 0 || content_.positionMs < 0 || content_.length <= 0) {
        return 0;
    }
    return PositionToPixels(content_.positionMs, std::int64_t{content_.length} * 1000, width);
}
const SkinComponent* ScreenView::EqTrack(int track) const {
    if (!defaultEq_.empty()) {
        return &defaultEq_[static_cast<std::size_t>(track)];
    }
    const SkinComponent* back = skin_.FindComponent(EqTrackName(track));
    return back && back->norm.present && IsShownIn(*back, shown_()) ? back : nullptr;
}

// A skin without the equaliser's band graphics gets the frame's own layout:
// the preamplifier and the ten bands as plain tracks across the screen.
void ScreenView::BuildDefaultEq() {
    defaultEq_.clear();
    if (shown_() != kScreenEq || skin_.FindBitmap("eqbar") != nullptr) {
        return;
    }
    constexpr int kTop = 44, kHeight = 200, kWidth = 14;
    for (int track = 0; track < kEqTracks; ++track) {
        const int x = track == kEqTracks - 1 ? 14 : 46 + track * 18;
        const QRect rect = Scaled(x, kTop, kWidth, kHeight);
        SkinComponent component;
        component.name = EqTrackName(track);
        component.mode = std::string(kScreenEq);
        component.norm.present = true;
        component.norm.destination = SkinRect{rect.left(), rect.top(), rect.left() + rect.width(),
                                              rect.top() + rect.height()};
        defaultEq_.push_back(component);
    }
}

void ScreenView::DrawDefaultEq() {
    QPainter painter(&buffer_);
    painter.setRenderHint(QPainter::Antialiasing);
    const int knob = skin_.Scale().Y(10);
    for (int track = 0; track < kEqTracks; ++track) {
        const QRect rect = ToQRect(defaultEq_[static_cast<std::size_t>(track)].norm.destination);
        const int line = std::max(rect.width() / 4, 2);
        painter.fillRect(QRect(rect.center().x() - line / 2, rect.top(), line, rect.height()),
                         QColor(255, 255, 255, 70));
        // The knob centred on the value, kept inside the track.
        const int y = std::clamp(rect.bottom() + 1 - EqTrackValue(track) - knob / 2, rect.top(),
                                 rect.bottom() + 1 - knob);
        painter.setBrush(QColor(240, 244, 250));
        painter.setPen(Qt::NoPen);
        painter.drawRoundedRect(QRectF(rect.left(), y, rect.width(), knob), knob / 3.0, knob / 3.0);
    }
}

std::int32_t ScreenView::EqTrackValue(int track) const {
    const SkinComponent* back = EqTrack(track);
    if (back == nullptr) {
        return 0;
    }
    if (dragBar_ == back) {
        return dragValue_;
    }
    std::int32_t gain = track < EqSettings::kBands
                            ? content_.eq.bands[static_cast<std::size_t>(track)]
                            : content_.eq.preamp;
    if (gain < -100 || gain > 100) {
        gain = 0;  // not known yet
    }
    return EqGainToPixels(gain, SkinClamp(back->norm.destination.Height()));
}

QString ScreenView::TimeText() const {
    const std::int32_t seconds =
        content_.positionMs < 0 ? 0 : static_cast<std::int32_t>(content_.positionMs / 1000);
    return Q(PlayTimeText(seconds, content_.length, content_.showRemaining));
}

void ScreenView::Draw(const Overlay& overlay) {
    const QRect& box = overlay.rect;
    const auto barValue = [&](SkinBarNames names, std::int32_t value) {
        const SkinComponent* back = skin_.FindComponent(names.back);
        return back != nullptr && back == dragBar_ ? dragValue_ : value;
    };
    switch (overlay.element) {
        case Element::Toggles:
            for (std::string_view toggle : kToggles) {
                DrawToggle(toggle, ToggleOn(toggle));
            }
            break;
        case Element::Hot:
            // A toggle that is on shows on, the pointer over it or not: its
            // hover look is the off button's.
            if (hot_ != nullptr && (hotPushed_ || !ToggleOn(hot_->name))) {
                const SkinImageState& state = hotPushed_ ? hot_->push : hot_->hover;
                if (state.present) {
                    DrawState(skin_, buffer_, state);
                }
            }
            break;
        case Element::PlayerState: {
            const SkinDrawGuard lock;
            DrawPlayerState(lock, skin_, buffer_, content_.playingState, shown_());
            break;
        }
        case Element::AlbumArt:
            DrawAlbumArt(box);
            break;
        case Element::VolumeBar:
            DrawBarOverlay(kVolumeBar.back, kVolumeBar.front,
                           barValue(kVolumeBar, content_.volumePixels), false);
            break;
        case Element::PositionBar:
            DrawBarOverlay(kPositionBar.back, kPositionBar.front,
                           barValue(kPositionBar, PositionPixels(positionWidth_)), false);
            break;
        case Element::NowPlayingPositionBar:
            DrawBarOverlay(kNowPlayingPositionBar.back, kNowPlayingPositionBar.front,
                           barValue(kNowPlayingPositionBar, PositionPixels(nowPlayingWidth_)),
                           false);
            break;
        case Element::ProgressBar:
            if (content_.progressShown) {
                DrawBarOverlay(
                    kProgressBar.back, kProgressBar.front,
                    VolumeToPixels(content_.progressPercent, FrontWidth(kProgressBar.front)),
                    false);
            }
            break;
        case Element::EqTracks:
            if (!defaultEq_.empty()) {
                DrawDefaultEq();
                break;
            }
            for (int track = 0; track < kEqTracks; ++track) {
                DrawBarOverlay(EqTrackName(track), kEqKnob, EqTrackValue(track), true);
            }
            break;
        case Element::SongTitle:
            if (content_.songTitleShown) {
                const int inset = skin_.Scale().X(4);
                DrawText(box.adjusted(inset, 0, -inset, 0), "songtitle", Q(content_.songTitle),
                         Qt::AlignLeft | Qt::AlignVCenter);
            }
            break;
        case Element::Time:
            DrawText(box, "time", TimeText(), Qt::AlignCenter);
            break;
        case Element::NowPlayingTitle:
            DrawText(box, "title.nowplaying",
                     Q(content_.statusInTitle ? content_.songTitle : content_.title),
                     Qt::AlignCenter);
            break;
        case Element::NowPlayingArtist:
            DrawText(box, "songtitle", Q(content_.artist), Qt::AlignCenter,
                     SkinColorOr("time", Qt::white));
            break;
        case Element::NowPlayingAlbum:
            DrawText(box, "time.nowplaying", Q(content_.album), Qt::AlignCenter);
            break;
        case Element::NowPlayingTime:
            DrawText(box, "time.nowplaying", TimeText(), Qt::AlignLeft | Qt::AlignVCenter);
            if (content_.length > 0) {
                DrawText(box, "time.nowplaying", Q(FormatPlayTime(content_.length)),
                         Qt::AlignRight | Qt::AlignVCenter);
            }
            break;
    }
}

}  // namespace vantor::ui
