#pragma once

// Texts as a screen reader is given them.

#include <QString>
#include <string_view>

namespace vantor::wire {
class MediaItem;
}

namespace vantor::ui {

// Cut to a length a reader can say, with control characters as blanks: a
// title may be anything a server sends, megabytes of it included.
QString ReadableText(std::string_view text);

// A list row read as "Title, Artist, 3:27" (what the row has of the three).
QString ReadableRow(const wire::MediaItem& item);

}  // namespace vantor::ui
