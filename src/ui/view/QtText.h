#pragma once

// Our strings (UTF-8) as Qt's.
//
// Threads: any.

#include <QString>
#include <string_view>

namespace vantor::ui {

inline QString Q(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace vantor::ui
