#include "session/NowPlaying.h"

#include <algorithm>

#include "core/Text.h"

namespace vantor {

namespace {

// The plain letter for a Latin-1 code point, or 0 to keep it.
char Folded(unsigned code) {
    if (code >= 192 && code <= 198)
        return 'A';
    if (code == 199)
        return 'C';
    if (code >= 200 && code <= 203)
        return 'E';
    if (code >= 204 && code <= 207)
        return 'I';
    if (code == 209)
        return 'N';
    if (code >= 210 && code <= 214)
        return 'O';
    if (code >= 217 && code <= 220)
        return 'U';
    if (code >= 224 && code <= 230)
        return 'a';
    if (code == 231)
        return 'c';
    if (code >= 232 && code <= 235)
        return 'e';
    if (code >= 236 && code <= 239)
        return 'i';
    if (code == 241)
        return 'n';
    if (code >= 242 && code <= 246)
        return 'o';
    if (code >= 249 && code <= 252)
        return 'u';
    return 0;
}

}  // namespace

std::string FoldLatin1(std::string_view text) {
    std::string folded;
    folded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        // Latin-1 letters 192-255 are two bytes in UTF-8: 0xC3 then 0x80-0xBF.
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead == 0xC3 && i + 1 < text.size()) {
            const auto next = static_cast<unsigned char>(text[i + 1]);
            if (next >= 0x80 && next <= 0xBF) {
                if (const char plain = Folded(0xC0u + (next - 0x80u))) {
                    folded += plain;
                    ++i;
                    continue;
                }
            }
        }
        folded += text[i];
    }
    return folded;
}

std::string TitleLine(std::string_view artist, std::string_view title, std::int32_t length,
                      bool skinHasTitleFont) {
    std::string text =
        artist.empty() ? std::string(title) : std::string(artist) + " - " + std::string(title);
    if (text.empty()) {
        return text;
    }
    const std::int32_t seconds = length > 0 ? length : 0;
    const int hours = seconds / 3600;
    const int minutes = (seconds % 3600) / 60;
    const int rest = seconds % 60;
    if (hours >= 1) {
        text = Format("%s (%d:%02d:%02d)", text.c_str(), hours, minutes, rest);
    } else if (minutes != 0 || rest != 0) {
        text = Format("%s (%d:%02d)", text.c_str(), minutes, rest);
    }
    return skinHasTitleFont ? text : FoldLatin1(text);
}

std::string FormatPlayTime(std::int32_t seconds) {
    seconds = std::max(seconds, 0);
    if (seconds < 3600) {
        return Format("%02d:%02d", seconds / 60, seconds % 60);
    }
    return Format("%d:%02d:%02d", seconds / 3600, (seconds % 3600) / 60, seconds % 60);
}

std::string PlayTimeText(std::int32_t position, std::int32_t length, bool remaining) {
    if (!remaining) {
        return FormatPlayTime(position);
    }
    if (length <= 0) {
        return position >= 3600 ? "-0:00:00" : "-00:00";
    }
    return "-" + FormatPlayTime(length - std::max(position, 0));
}

}  // namespace vantor
