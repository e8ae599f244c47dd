#pragma once

// The colours Qt's own controls take in the window (menus, the command bar,
// boxes, the settings sheet), made from four of the skin's, so they read as
// part of the skinned screen.
//
// Threads: any (a pure function).

#include <QColor>
#include <QPalette>
#include <optional>

#include "skin/CSkin.h"

class QStyle;

namespace vantor::ui {

// `back`: the header's background; `text`: the lists' text; `accent`: the
// header's selection; `base`: the lists' background.
QPalette ChromePalette(QColor back, QColor text, QColor accent, QColor base);

// One of a skin record's colours, or `fallback` where the record (or the
// colour) is missing.
QColor SkinColour(const SkinWinComponent* record,
                  const std::optional<SkinColor> SkinWinComponent::*colour, QColor fallback);

// The window's style (Qt's Fusion), its menus wide enough for their
// entries in a large font: Fusion draws the column of check marks wider as
// the rows grow than it sizes the menu for, and cut the longest entry
// short with an ellipsis. For QApplication::setStyle, which takes it;
// the window's thread only.
QStyle* MakeWindowStyle();

}  // namespace vantor::ui
