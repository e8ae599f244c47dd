#pragma once

// The pictures of the shipped skin's screens and the pieces cells share
// with them, in skin units for a 240 x 320 portrait screen.

#include <QColor>
#include <QPainter>
#include <QRectF>
#include <functional>

#include "SkinSpec.h"

namespace vantor::skingen {

// The deck (transport, toggles, volume) with its top at `top`.
void PaintDeck(QPainter& p, double top);
void PaintMain(QPainter& p);
void PaintNowPlaying(QPainter& p);
void PaintList(QPainter& p);
void PaintConnect(QPainter& p);
void PaintEq(QPainter& p);

// A rounded panel with a one-unit outline.
void DrawPanel(QPainter& p, const QRectF& box, const QColor& fill, double radius);

// The equaliser's tracks.
inline constexpr int kEqTop = 44;  // the bands' tops; they end kEqBottom above the screen's
inline constexpr int kEqBottom = 76;
inline constexpr int kEqTrackHeight = 200;
inline constexpr int kEqTrackWidth = 14;
int EqTrackX(int track);  // 0 is the preamplifier
// The bands' names in a strip as wide as the bands' panel (from x = 6).
void PaintEqLabels(QPainter& p, const QRectF& box);

// A cell that shows a piece of a screen background under its own content,
// so that an opaque cell matches whatever lies around it.
Paint Over(std::function<void(QPainter&)> background, double x, double y, Paint content = {});
// A cell of one colour.
Paint Flat(QColor color);

}  // namespace vantor::skingen
