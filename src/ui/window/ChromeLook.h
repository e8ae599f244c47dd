#pragma once

// The colours Qt's own controls take in the window (menus, the command bar,
// boxes, the settings sheet), made from four of the skin's, so they read as
// part of the skinned screen.
//
// Threads: any (a pure function).

#include <QColor>
#include <QPalette>

namespace vantor::ui {

// `back`: the header's background; `text`: the lists' text; `accent`: the
// header's selection; `base`: the lists' background.
QPalette ChromePalette(QColor back, QColor text, QColor accent, QColor base);

}  // namespace vantor::ui
