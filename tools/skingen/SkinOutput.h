#pragma once

// Writing a skin folder: every sheet at 1x, @1.3x and @2x, the product icon
// at two sizes, and THEME.xml.

#include <QString>

namespace vantor::skingen {

// Draws the skin in the palette in use into `out` (made when missing); the
// program's exit status, errors written to stderr.
int Run(const QString& out, const QString& theme);

}  // namespace vantor::skingen
