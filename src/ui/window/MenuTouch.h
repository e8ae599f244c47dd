#pragma once

// A finger on a popup menu too long for the window (the speakers, with
// rooms as many as fifty). Qt hands a popup the mouse it makes from a
// touch, not the touch: a finger dragged up or down the menu scrolls it a
// row for each row's height it moves, and when it lifts, the menu runs on
// as far again, slowing (a flick), and nothing is chosen; a tap chooses
// the row, as the stylus does. The mouse and the stylus are left as they
// are.
//
// Threads: the window's thread only.

class QMenu;

namespace vantor::ui {

// Lets `menu` be dragged as above, for its life.
void EnableMenuTouch(QMenu& menu);

}  // namespace vantor::ui
