#pragma once

// The drawing vocabulary of the shipped skins: their palette and the shapes
// (icons, buttons, tracks, panels) that the generator puts into the skin's
// images. Everything is drawn in 96-DPI skin units; the generator scales the
// painter to each resolution.

#include <QColor>
#include <QPainter>
#include <QRectF>
#include <QString>

namespace vantor::skingen {

namespace palette {
inline QColor kBase{0x12, 0x16, 0x1F};    // screen background
inline QColor kStrip{0x1A, 0x20, 0x2C};   // title strips and the deck
inline QColor kStrip2{0x15, 0x1A, 0x24};  // secondary strip (time)
inline QColor kList{0x0F, 0x13, 0x19};    // list backgrounds
inline QColor kLine{0x27, 0x30, 0x41};    // dividers, tracks
inline QColor kRaised{0x22, 0x2A, 0x39};  // button faces
inline QColor kRaisedHover{0x2B, 0x35, 0x48};
inline QColor kAccent{0x2E, 0xC4, 0xB6};  // the one accent colour
inline QColor kAccentDark{0x1F, 0x8F, 0x85};
inline QColor kAccentWash{0x1E, 0x3A, 0x40};  // a toggle's "on" face
inline QColor kGlow{0x17, 0x33, 0x38};        // the light at the top of the screens
inline QColor kText{0xEE, 0xF2, 0xF8};
inline QColor kMuted{0x8A, 0x96, 0xAB};
inline QColor kDim{0x5C, 0x67, 0x7A};
inline QColor kKey{0xFF, 0x00, 0xFF};  // see-through in keyed images
}  // namespace palette

// Sets the palette for a skin the generator draws: "default" (teal) or
// "ember" (amber on the same greys). False for any other name.
bool UseTheme(const QString& name);

enum class Glyph { Play, Pause, Stop, Prev, Next, Repeat, Shuffle, Volume, Note, Search };

// A glyph centred in `box`, `size` units across.
void DrawGlyph(QPainter& painter, Glyph glyph, const QRectF& box, double size, const QColor& color);

enum class Look { Norm, Hover, Push };

// A round transport button filling `box`; `primary` is the accent-filled one.
void DrawRoundButton(QPainter& painter, const QRectF& box, Glyph glyph, Look look, bool primary);
// A flat toggle (repeat, shuffle): push is its "on" look.
void DrawToggle(QPainter& painter, const QRectF& box, Glyph glyph, Look look);
// A pill with a word (the equaliser's switches, the dialog's buttons).
void DrawPill(QPainter& painter, const QRectF& box, const QString& word, Look look, bool primary);
// A bar track or its fill, `box.height()` thick with round ends.
void DrawTrack(QPainter& painter, const QRectF& box, const QColor& background, bool fill);

// Text in the skin's typeface, `pixelSize` skin units high.
void DrawLabel(QPainter& painter, const QRectF& box, const QString& text, double pixelSize,
               const QColor& color, int flags = Qt::AlignCenter, bool bold = false);

// The product mark: a rounded square with a play glyph inside a ring.
void DrawLogo(QPainter& painter, const QRectF& box);

}  // namespace vantor::skingen
