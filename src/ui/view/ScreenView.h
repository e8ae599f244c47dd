#pragma once

// The skinned screen: the one widget that shows the current screen as the
// skin draws it, with the player's state drawn over it (titles, times,
// bars, toggles, the state indicator, album art), and that turns the
// stylus into button presses, bar drags and taps.
//
// Drawing. The skin's own picture of a screen never changes while the
// screen shows, so it is painted once into a base image. Everything that
// changes is an overlay with a rectangle: a change redraws the base under
// that rectangle and every overlay touching it, and asks Qt to repaint just
// that part. A song's second ticking over costs a few hundred pixels, not a
// screen; a timer tick in which nothing changes costs no drawing at all.
//
// The child controls of a screen (lists, fields) are children of this
// widget, placed in the same coordinates as the skin.
//
// Threads: the window's thread only. The skin is not loaded while this
// draws: the window reloads it only from its own thread and then calls
// Rebuild.

#include <QFont>
#include <QImage>
#include <QRect>
#include <QString>
#include <QWidget>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/PlayerMessages.h"
#include "skin/CSkin.h"

class QTouchEvent;
class QKeyEvent;
class QPainter;

namespace vantor::ui {

// What the user does on the skinned screen.
class ScreenInput {
public:
    virtual ~ScreenInput() = default;
    // A skinned button was pressed and released over itself.
    virtual void OnSkinButton(std::string_view component) = 0;
    // A bar is dragged. `back` names its track, `value` is the stylus's
    // place along it in pixels (from the left, or from the bottom of an
    // upright track), `extent` the length the value is measured against;
    // `finished` when the stylus is lifted.
    virtual void OnBarDragged(std::string_view back, std::int32_t value, std::int32_t extent,
                              bool finished) = 0;
    // The bar dragged went from under the stylus (the screen, the skin or
    // the size changed): the drag is over, and its value is not sent.
    virtual void OnBarDragCancelled(std::string_view back) = 0;
    // The title or the album art was tapped.
    virtual void OnNowPlayingTapped() = 0;
    // Whether the player's buttons and bars act: while there is no player
    // to tell, they neither light nor move, rather than seem to act.
    virtual bool ControlsAct() const = 0;
};

// The player's state as the screens show it.
struct ScreenContent {
    std::string songTitle;  // the now-playing title line (a status text at times)
    bool songTitleShown = true;
    bool statusInTitle = false;  // the title line is a status text, not the song
    std::string title, artist, album;
    std::int32_t playingState = PlayingState::Stopped;
    std::int32_t repeat = RepeatState::Off;
    bool shuffle = false;
    std::int32_t volumePixels = 0;  // the "volumebar" fill
    std::int64_t positionMs = -1;   // -1: unknown
    std::int32_t length = 0;        // seconds; 0 or less: unknown
    bool showRemaining = false;
    EqSettings eq;
    bool progressShown = false;
    std::int32_t progressPercent = 0;
    QImage albumArt;  // null: none
};

// The connect screen on a screen shorter than the skin's (320 units): the
// band the skin leaves below its panel ("connect.panel") is given up first,
// the panel reaching further down and what lies below its top ("progress-
// bar.back") coming down with it, to 8 units above the bottom, so the list
// of servers keeps its rows. Device pixels for the skin's scale; 0 on a
// screen as tall as the skin's or taller, or without that panel.
std::int32_t ConnectLift(const CSkin& skin, std::int32_t screenHeight);

class ScreenView final : public QWidget {
public:
    // `shown` names the screen shown by its skin key; it is asked whenever
    // the view draws or is touched, so the view keeps no copy of it.
    ScreenView(const CSkin& skin, ScreenInput& input, std::function<std::string_view()> shown,
               QWidget* parent);

    // Called with the new size whenever the screen is resized; the window
    // checks the orientation and reloads the skin, then calls Rebuild.
    void SetResizeHandler(std::function<void(QSize)> resized) { resized_ = std::move(resized); }

    // The frame's own look: the background colour and the 10 pt and 16 pt
    // fonts, and the folders the product icon may be in.
    void SetFrameLook(QColor background, QFont normal, QFont large,
                      std::vector<std::string> iconFolders);

    // Draws everything again: after the skin, the size or the screen
    // changed.
    void Rebuild();
    // Ends a drag under way without sending it (the session went, say): the
    // window puts the bar back to what the player last said.
    void CancelDrag();
    // A message instead of any screen (landscape); empty for none.
    void SetLandscapeMessage(const QString& message);
    bool Landscape() const { return !landscape_.isEmpty(); }

    const ScreenContent& Content() const { return content_; }
    void SetSongTitle(const std::string& text, bool shown, bool isStatus);
    void SetMediaLines(const std::string& title, const std::string& artist,
                       const std::string& album);
    void SetPlayingState(std::int32_t state);
    void SetRepeat(std::int32_t repeat);
    void SetShuffle(bool shuffle);
    void SetVolumePercent(std::int32_t percent);
    void SetVolumePixels(std::int32_t pixels);
    // The width of the "volumebar" fill at 100 %; 0 without one.
    std::int32_t VolumeWidth() const;
    // The product icon the connect screen shows (null when none was found).
    const QImage& Icon() const { return icon_; }
    // Cheap when nothing visible changes: called every animation step.
    void SetPosition(std::int64_t positionMs, std::int32_t length);
    // How long, at playing speed from `positionMs`, until a position bar on
    // this screen grows by a pixel; -1 when none would.
    std::int64_t MsUntilNextPixel(std::int64_t positionMs, std::int32_t length) const;
    void SetShowRemaining(bool remaining);
    void SetEq(const EqSettings& eq);
    void SetProgress(bool shown, std::int32_t percent);
    void SetAlbumArt(const QImage& art);

    // The size the window is laid out for: the device's screen.
    void SetPreferredSize(QSize size) {
        preferred_ = size;
        updateGeometry();
    }
    QSize sizeHint() const override { return preferred_; }

    // Device pixels to one of the view's: the picture is drawn in the
    // device's pixels, the skin read for that size, so that it is as sharp
    // as the screen. Set before Rebuild.
    void SetPixelRatio(double ratio);
    double PixelRatio() const { return ratio_; }
    QSize DeviceSize() const;
    // Rectangles and points between the picture's pixels and the view's.
    QRect Logical(const QRect& device) const;
    QRect Device(const QRect& logical) const;
    QPoint SkinPoint(const QPointF& logical) const;

    // The screen as drawn, in device pixels (for tests and the tour's pictures).
    const QImage& Frame() const { return buffer_; }
    // Redraws every overlay: how long that takes is what the animation
    // costs at most (for the benchmark).
    void RedrawAll();

    // The rectangle of a skin component or window component on this
    // screen (in the picture's pixels), or an empty one.
    QRect ComponentRect(std::string_view name) const;
    QRect WindowRect(std::string_view name) const;
    // Skin units (96 DPI) to pixels.
    QRect Scaled(int x, int y, int width, int height) const;

    // --- Reading and the keyboard (ScreenViewFocus.cpp) ---
    // A control of the screen shown, as a screen reader and the keyboard
    // reach it.
    struct AccessControl {
        enum class Kind { Button, Toggle, Slider, Label, Image };
        std::string key;  // the skin component (or drawn line) it is
        Kind kind = Kind::Label;
        QString name;
        QString description;
        QRect rect;
        bool checked = false;
        bool pressable = false;  // buttons, and the title and art (a tap switches screens)
        // Sliders: seconds, percent or gain.
        std::int32_t minimum = 0, maximum = 0, value = 0, step = 1;
    };
    // The current screen's controls in reading order (in landscape, the
    // message shown instead).
    std::vector<AccessControl> AccessControls() const;
    // Does what a tap on the control does; false when it is not on the
    // screen shown or the player's controls do not act now.
    bool PressControl(std::string_view key);
    // Sends the value as a finished drag of the bar would.
    bool SetControlValue(std::string_view key, std::int32_t value);
    // The skin's key of the screen shown ("main", "playlist", ...).
    std::string_view ShownScreen() const { return shown_(); }
    // The control with the keyboard's focus, empty when none.
    const std::string& FocusedControl() const { return focused_; }
    void FocusControl(std::string_view key);
    // Escape: where the handheld's Back goes.
    void SetBackHandler(std::function<void()> back) { back_ = std::move(back); }
    // Whether the key is the focused control's (the window then leaves it
    // to the view unless a function is bound to it).
    bool TakesKey(const QKeyEvent& event) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void EndLostGesture();
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    // A finger on the picture (a finger on a child control is the child's).
    bool event(QEvent* event) override;
    void leaveEvent(QEvent* event) override;
    // The pointer going on to a child control (a list, a field) leaves the
    // picture, though Qt tells the view nothing: its children are watched.
    void childEvent(QChildEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    // The ring on `key` (none if it is not on the screen); no reader told.
    void PlaceRing(std::string_view key);
    enum class AccessChange { Screen, Title, MediaLines, State, Toggles, Volume, Eq, Art };
    // Tells a listening reader what changed (nothing when none listens).
    void AccessChanged(AccessChange change);
    void PaintFocus(QPainter& painter) const;
    // Where Tab stops on the screen, in reading order: the drawn controls
    // and the child controls that take Tab (the queue, a field), by place.
    struct FocusStop {
        std::string control;        // a drawn control's key, or
        QWidget* widget = nullptr;  // a child control
        QRect rect;
    };
    std::vector<FocusStop> FocusStops() const;
    void MoveFocusTo(const FocusStop& stop, bool next);
    // The next (or previous) control of the window outside the screen.
    QWidget* OutsideStop(bool next) const;
    // A child control given the focus by Tab from outside the screen: the
    // focus goes on to the screen's first stop (last, going back). True when
    // it was moved on.
    bool ChildFocusEvent(QObject* child, const QFocusEvent& event);
    void NoteFocusOut();
    void StepControl(const AccessControl& control, int direction, bool toEnd);

    static QRect ToQRect(const SkinRect& rect) {
        return QRect(rect.left, rect.top, SkinClamp(rect.Width()), SkinClamp(rect.Height()));
    }
    enum class Element {
        Toggles,      // repeat, shuffle, eq.enabled, eq.autoload pushed when on
        Hot,          // the button under the stylus: hovered, or pushed while held
        PlayerState,  // the playing-state indicator
        AlbumArt,
        VolumeBar,
        PositionBar,
        NowPlayingPositionBar,
        ProgressBar,
        EqTracks,
        SongTitle,
        Time,
        NowPlayingTitle,
        NowPlayingArtist,
        NowPlayingAlbum,
        NowPlayingTime,
    };
    struct Overlay {
        Element element;
        QRect rect;
    };

    void BuildBase();
    void BuildOverlays();
    void Refresh(Element element);
    void RedrawRegion(QRect region);
    void Draw(const Overlay& overlay);
    QRect OverlayRect(Element element) const;

    void DrawText(const QRect& box, std::string_view fontName, const QString& text, int flags,
                  QColor color = QColor());
    void DrawBarOverlay(std::string_view back, std::string_view front, std::int32_t value,
                        bool knob);
    void DrawToggle(std::string_view name, bool on);
    // Whether a two-state button is on ("repeat", "shuffle", "eq.enabled",
    // "eq.autoload"); false for any other component.
    bool ToggleOn(std::string_view name) const;
    void DrawAlbumArt(const QRect& box);
    void DrawArtPlaceholder(const QRect& box);
    void DrawDefaultNowPlaying(QImage& target);
    // Where a component of the screen shown lies: where the skin puts it,
    // but on the connect screen of a short screen, the panel further down
    // and the bar on it lower (ConnectLift).
    SkinRect Placed(const SkinComponent& component) const;
    // Draws them there over the screen's picture.
    void LowerConnectPanel(QImage& target);
    void DrawConnectLook(QImage& target);
    bool DefaultNowPlayingView() const;
    QFont SkinFontOr(std::string_view name, const QFont& fallback) const;
    QColor SkinColorOr(std::string_view name, QColor fallback) const;

    std::int32_t FrontWidth(std::string_view front) const;
    std::int32_t PositionPixels(std::int32_t width) const;
    std::int32_t EqTrackValue(int track) const;
    // A band's track (9 the last band, 10 the preamplifier): the skin's, or
    // the frame's own when the skin has no equaliser.
    const SkinComponent* EqTrack(int track) const;
    void BuildDefaultEq();
    void DrawDefaultEq();
    QString TimeText() const;

    // Stylus.
    const SkinComponent* BarAt(int x, int y) const;
    std::int32_t BarValue(const SkinComponent& back, int x, int y, std::int32_t* extent) const;
    void SetHot(const SkinComponent* component, bool pushed);
    bool InNowPlayingArea(const QPoint& point) const;
    // The stylus and a finger alike; a lifted finger leaves nothing hovered.
    void Press(QPoint point);
    void Move(QPoint point, bool down);
    void Release(QPoint point, bool hover);
    bool Touch(QTouchEvent& event);

    const CSkin& skin_;
    ScreenInput& input_;
    std::function<void(QSize)> resized_;
    QSize preferred_{480, 640};
    double ratio_ = 1.0;
    QColor background_{24, 69, 154};
    QFont normalFont_;
    QFont largeFont_;
    std::vector<std::string> iconFolders_;
    QImage icon_;

    std::function<std::string_view()> shown_;
    QString landscape_;
    ScreenContent content_;
    EqSettings eqBefore_;  // the equaliser before its last change, for a reader
    QImage base_;
    QImage buffer_;
    std::vector<Overlay> overlays_;
    std::vector<SkinComponent> defaultEq_;  // the frame's own tracks, for a skin without any
    // The album art as drawn: scaled once per picture and box size, not on
    // every redraw of the box.
    QImage scaledArt_;
    QSize scaledFor_;  // the box scaledArt_ was made for

    std::int32_t positionWidth_ = 0;    // of the "positionbar" fill
    std::int32_t nowPlayingWidth_ = 0;  // of the "positionbar.nowplaying" fill
    // What the animation step last drew, so an unchanged step draws nothing.
    std::int32_t drawnSecond_ = -2;
    std::int32_t drawnPositionPixels_ = -1;
    std::int32_t drawnNowPlayingPixels_ = -1;

    const SkinComponent* hot_ = nullptr;  // hovered or held button
    bool hotPushed_ = false;
    const SkinComponent* held_ = nullptr;  // pressed, waiting for its release
    const SkinComponent* dragBar_ = nullptr;
    std::string dragName_;  // the bar's, kept for when the skin is reloaded
    std::int32_t dragValue_ = 0;
    bool tapPending_ = false;
    int finger_ = -1;          // the touch point the gesture follows
    bool fingerLost_ = false;  // a second finger came: the gesture is void

    std::string focused_;           // AccessControl::key
    bool movingFocus_ = false;      // the view is moving the focus itself
    bool focusFromScreen_ = false;  // the focus last moved within the screen
    std::function<void()> back_;
};

}  // namespace vantor::ui
