#pragma once

// A literal, slow transcription of how message fields are read, kept beside
// the real (indexed) reader so tests and the fuzz target can check that both
// give the same answer for any input. Every search scans the text again, and
// entities are decoded by five replace-all passes in their order.

#include <string>
#include <string_view>
#include <vector>

namespace vantor::reference {

inline constexpr std::size_t kNpos = std::string_view::npos;

inline std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
    std::string out;
    std::size_t pos = 0;
    while (true) {
        const std::size_t found = text.find(from, pos);
        if (found == std::string::npos) {
            break;
        }
        out.append(text, pos, found - pos);
        out += to;
        pos = found + from.size();
    }
    out.append(text, pos);
    return out;
}

inline std::string Decode(std::string_view text) {
    std::string out(text);
    out = ReplaceAll(out, "&lt;", "<");
    out = ReplaceAll(out, "&gt;", ">");
    out = ReplaceAll(out, "&quot;", "\"");
    out = ReplaceAll(out, "&apos;", "'");
    return ReplaceAll(out, "&amp;", "&");
}

inline std::size_t FindOpen(std::string_view text, std::string_view name, std::size_t from) {
    const std::string blank = "<" + std::string(name) + " ";
    const std::size_t found = text.find(blank, from);
    if (found != kNpos) {
        return found;
    }
    return text.find("<" + std::string(name) + ">", from);
}

struct Element {
    bool found = false;
    std::size_t begin = 0;  // content
    std::size_t end = 0;
    std::size_t after = 0;  // just past the closing tag
};

inline Element ReadElement(std::string_view text, std::string_view name, std::size_t from) {
    Element element;
    const std::size_t open = FindOpen(text, name, from);
    if (open == kNpos) {
        return element;
    }
    const std::size_t gt = text.find('>', open);
    if (gt == kNpos) {
        return element;
    }
    if (text[gt - 1] == '/') {
        element.found = true;
        element.begin = element.end = element.after = gt + 1;
        return element;
    }
    const std::string closing = "</" + std::string(name) + ">";
    std::size_t close = text.find(closing, gt + 1);
    if (close == kNpos) {
        return element;
    }
    std::size_t nested = FindOpen(text, name, gt + 1);
    while (nested != kNpos && nested < close) {
        close = text.find(closing, close + 1);
        if (close == kNpos) {
            return element;
        }
        nested = FindOpen(text, name, nested + 1);
    }
    element.found = true;
    element.begin = gt + 1;
    element.end = close;
    element.after = close + closing.size();
    return element;
}

inline std::string ReadText(std::string_view text, std::string_view name) {
    const Element element = ReadElement(text, name, 0);
    return element.found ? Decode(text.substr(element.begin, element.end - element.begin))
                         : std::string();
}

// The raw contents of the `name` elements, up to the first empty one.
inline std::vector<std::string> ReadList(std::string_view text, std::string_view name) {
    std::vector<std::string> entries;
    std::size_t pos = 0;
    while (true) {
        const Element element = ReadElement(text, name, pos);
        if (!element.found || element.end == element.begin) {
            return entries;
        }
        entries.emplace_back(text.substr(element.begin, element.end - element.begin));
        pos = element.after;
    }
}

}  // namespace vantor::reference
