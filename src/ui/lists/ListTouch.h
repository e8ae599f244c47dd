#pragma once

// A finger on a list. A drag or a flick scrolls it (kinetically, bouncing
// back at its ends), a tap is the stylus's tap, a second tap on the same
// row the stylus's double tap, and a finger held still on a row for half a
// second opens the row's menu as the context key does, a ring filling
// round the finger until it opens. Nothing reaches the list before the
// gesture is known, so a flick or a drag never selects, plays or opens a
// row; two fingers at once, a hold that moves off and a touch the system
// cancels reach it not at all. The mouse and the stylus are left as they
// are.
//
// Threads: the window's thread only.

class QAbstractItemView;
class QMenu;
class QPoint;
class QWidget;

namespace vantor::ui {

// How long a finger stays still for the row's menu.
inline constexpr int kTouchHoldMs = 500;

// Lets `view` be touched as above, for its life.
void EnableTouch(QAbstractItemView& view);

// Where `menu` opens for a press at `global` on `owner`: there, moved as
// little as needed for the whole menu to lie inside `owner`'s window (Qt
// keeps it only inside the screen). A menu larger than the window keeps
// to its top left.
QPoint MenuPointInside(const QMenu& menu, const QWidget& owner, QPoint global);

}  // namespace vantor::ui
