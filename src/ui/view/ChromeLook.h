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

namespace vantor::ui {

// `back`: the header's background; `text`: the lists' text; `accent`: the
// header's selection; `base`: the lists' background.
QPalette ChromePalette(QColor back, QColor text, QColor accent, QColor base);

// One of a skin record's colours, or `fallback` where the record (or the
// colour) is missing.
QColor SkinColour(const SkinWinComponent* record,
                  const std::optional<SkinColor> SkinWinComponent::*colour, QColor fallback);

}  // namespace vantor::ui
