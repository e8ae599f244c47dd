#pragma once

// Text helpers. The client keeps all text as UTF-8 in std::string; where a
// limit is given in UTF-16 units (the settings store's 100-unit cut, for
// instance) these helpers count and cut in those units.

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace vantor {

// printf-style formatting into a std::string.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string FormatV(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

// Number of UTF-16 code units the text takes: one per code point below
// U+10000, two above. A byte that does not start a valid UTF-8 sequence
// counts as one unit (it would become U+FFFD).
std::size_t Utf16Length(std::string_view utf8);

// The longest prefix of the text that fits in maxUnits UTF-16 units, never
// cutting a code point in two.
std::string_view TruncateUtf16(std::string_view utf8, std::size_t maxUnits);

// The most bytes kept of any one text a peer sends (a title, a name, a
// path): as long as the longest path Linux allows, and short enough that
// laying a row of it out stays cheap. Text from the server can be up to a
// whole 16 MiB message long otherwise.
inline constexpr std::size_t kMaxPeerText = 4096;

// The text cut to kMaxPeerText bytes, never in the middle of a UTF-8
// sequence. Every text read from a message or a media page goes through it.
void CapPeerText(std::string& utf8);

// ASCII letters lowered; every other byte, UTF-8 included, left alone. The
// protocol compares words such as "true" and "paused" after lowering them.
std::string ToLowerAscii(std::string_view text);

// The value of a hexadecimal digit (either case), or -1 for any other byte:
// for the "%XX" escapes of URLs and paths.
int HexDigitValue(char c);

}  // namespace vantor
