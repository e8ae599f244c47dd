#include "core/Text.h"

#include <cstdio>

namespace vantor {

std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    return text;
}

std::string FormatV(const char* format, va_list args) {
    char small[256];
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (needed < 0) {
        return {};
    }
    if (static_cast<std::size_t>(needed) < sizeof small) {
        return std::string(small, static_cast<std::size_t>(needed));
    }
    std::string text(static_cast<std::size_t>(needed), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}

namespace {

// Length in bytes of the valid UTF-8 sequence starting at text[pos], or 0 when
// the bytes there are not one (stray continuation byte, overlong form,
// surrogate, value above U+10FFFF, or a sequence cut short).
std::size_t SequenceLength(std::string_view text, std::size_t pos) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[pos + i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    std::size_t length;
    unsigned char minSecond = 0x80;
    unsigned char maxSecond = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) {
            minSecond = 0xA0;  // overlong
        } else if (lead == 0xED) {
            maxSecond = 0x9F;  // surrogates
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) {
            minSecond = 0x90;  // overlong
        } else if (lead == 0xF4) {
            maxSecond = 0x8F;  // above U+10FFFF
        }
    } else {
        return 0;
    }
    if (pos + length > text.size()) {
        return 0;
    }
    if (byte(1) < minSecond || byte(1) > maxSecond) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

}  // namespace

std::size_t Utf16Length(std::string_view utf8) {
    std::size_t units = 0;
    for (std::size_t pos = 0; pos < utf8.size();) {
        const std::size_t length = SequenceLength(utf8, pos);
        units += length == 4 ? 2 : 1;
        pos += length == 0 ? 1 : length;
    }
    return units;
}

std::string_view TruncateUtf16(std::string_view utf8, std::size_t maxUnits) {
    std::size_t units = 0;
    std::size_t pos = 0;
    while (pos < utf8.size()) {
        const std::size_t length = SequenceLength(utf8, pos);
        const std::size_t cost = length == 4 ? 2 : 1;
        if (units + cost > maxUnits) {
            break;
        }
        units += cost;
        pos += length == 0 ? 1 : length;
    }
    return utf8.substr(0, pos);
}

std::string ToLowerAscii(std::string_view text) {
    std::string lowered(text);
    for (char& c : lowered) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lowered;
}

int HexDigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

void CapPeerText(std::string& utf8) {
    if (utf8.size() <= kMaxPeerText) {
        return;
    }
    std::size_t end = kMaxPeerText;
    // Back to the start of the sequence the cut falls in (continuation
    // bytes are 10xxxxxx), unless that sequence ends exactly at the cut.
    std::size_t start = end;
    while (start > 0 && (static_cast<unsigned char>(utf8[start]) & 0xC0) == 0x80 &&
           end - start < 3) {
        --start;
    }
    if ((static_cast<unsigned char>(utf8[start]) & 0xC0) != 0x80) {
        end = start;
    }
    utf8.resize(end);
    utf8.shrink_to_fit();
}

}  // namespace vantor
