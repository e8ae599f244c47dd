#pragma once

// The texts of the now-playing display: the title line and the playback
// time.

#include <cstdint>
#include <string>
#include <string_view>

namespace vantor {

// "artist - title" (or the title alone when there is no artist), followed by
// the length as " (m:ss)" or " (h:mm:ss)" unless it is unknown or zero.
// Without a "songtitle" font in the skin, accented Latin-1 letters are
// folded to plain ones (see FoldLatin1). Empty when there is nothing to show.
std::string TitleLine(std::string_view artist, std::string_view title, std::int32_t length,
                      bool skinHasTitleFont);

// Replaces the accented Latin-1 letters À-Å Ç È-Ë Ì-Ï Ñ Ò-Ö Ù-Ü à-å ç è-ë ì-ï
// ñ ò-ö ù-ü (and Æ, æ) one for one by plain letters, for fonts that lack
// them. Ð × Ø Ý Þ ß ð ÷ ø ý þ ÿ are left as they are, as the display always
// has.
std::string FoldLatin1(std::string_view text);

// "mm:ss" below an hour, "h:mm:ss" from one hour on.
std::string FormatPlayTime(std::int32_t seconds);

// The time display: the position, or with `remaining` the time left shown
// with a leading minus ("-00:00" while the length is unknown).
std::string PlayTimeText(std::int32_t position, std::int32_t length, bool remaining);

}  // namespace vantor
