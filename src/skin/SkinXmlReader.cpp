#include "skin/SkinXmlReader.h"

#include <algorithm>
#include <limits>

#include "core/Text.h"

namespace vantor {

namespace {

constexpr std::size_t kNumberChars = 15;

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
    std::size_t pos = text.find(from);
    if (pos == std::string::npos) {
        return;
    }
    std::string out;
    out.reserve(text.size());
    std::size_t start = 0;
    for (; pos != std::string::npos; pos = text.find(from, start)) {
        out.append(text, start, pos - start);
        out.append(to);
        start = pos + from.size();
    }
    out.append(text, start, std::string::npos);
    text = std::move(out);
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && ToLowerAscii(a) == b;
}

}  // namespace

std::string DecodeSkinEntities(std::string_view value) {
    std::string text(value);
    if (text.find('&') == std::string::npos) {
        return text;
    }
    ReplaceAll(text, "&amp;", "&");
    ReplaceAll(text, "&lt;", "<");
    ReplaceAll(text, "&gt;", ">");
    ReplaceAll(text, "&quot;", "\"");
    return text;
}

std::int32_t ParseSkinDecimal(std::string_view value) {
    value = value.substr(0, kNumberChars);
    std::size_t i = 0;
    while (i < value.size() && IsBlank(value[i])) {
        ++i;
    }
    bool negative = false;
    if (i < value.size() && (value[i] == '-' || value[i] == '+')) {
        negative = value[i] == '-';
        ++i;
    }
    // At most 15 digits, so the sum cannot overflow 64 bits.
    std::int64_t result = 0;
    for (; i < value.size() && value[i] >= '0' && value[i] <= '9'; ++i) {
        result = result * 10 + (value[i] - '0');
    }
    if (negative) {
        result = -result;
    }
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(result, std::numeric_limits<std::int32_t>::min(),
                                 std::numeric_limits<std::int32_t>::max()));
}

std::int32_t ParseSkinNumber(std::string_view value) {
    if (EqualsIgnoringCase(value, "true")) {
        return 1;
    }
    if (EqualsIgnoringCase(value, "false")) {
        return 0;
    }
    return ParseSkinDecimal(value);
}

const std::string* SkinXmlElement::Attribute(std::string_view attributeName) const {
    for (const SkinXmlAttribute& attribute : attributes) {
        if (attribute.name == attributeName) {
            return &attribute.value;
        }
    }
    return nullptr;
}

std::string SkinXmlElement::Text(std::string_view attributeName) const {
    const std::string* value = Attribute(attributeName);
    return value ? *value : std::string();
}

std::int32_t SkinXmlElement::Number(std::string_view attributeName) const {
    const std::string* value = Attribute(attributeName);
    return value ? ParseSkinNumber(*value) : -1;
}

bool SkinXmlElement::Flag(std::string_view attributeName) const {
    const std::string* value = Attribute(attributeName);
    return value && *value == "true";
}

const SkinXmlElement* SkinXmlDocument::FirstChild(const SkinXmlElement& parent,
                                                  std::string_view name) const {
    for (const std::size_t child : parent.children) {
        if (elements_[child].name == name) {
            return &elements_[child];
        }
    }
    return nullptr;
}

void SkinXmlDocument::Problem(std::string_view what, std::size_t offset) {
    if (problems_.count++ == 0) {
        problems_.first = what;
        problems_.firstOffset = offset;
    }
}

SkinXmlDocument SkinXmlDocument::Parse(std::string_view text) {
    SkinXmlDocument document;
    std::vector<std::size_t> open;  // the elements not yet closed, innermost last
    std::size_t pos = 0;
    while (true) {
        const std::size_t lt = text.find('<', pos);
        if (lt == std::string_view::npos) {
            break;
        }
        if (text.substr(lt + 1, 3) == "!--") {
            const std::size_t end = text.find("-->", lt + 4);
            if (end == std::string_view::npos) {
                document.Problem("comment without \"-->\"", lt);
                break;
            }
            pos = end + 3;
            continue;
        }
        const std::size_t gt = text.find('>', lt + 1);
        if (gt == std::string_view::npos) {
            document.Problem("tag without \">\"", lt);
            break;
        }
        pos = gt + 1;
        std::string_view tag = text.substr(lt + 1, gt - lt - 1);

        if (!tag.empty() && tag.front() == '/') {
            if (open.empty()) {
                document.Problem("closing tag with no element open", lt);
            } else {
                open.pop_back();
            }
            continue;
        }
        if (!tag.empty() && (tag.front() == '?' || tag.front() == '!')) {
            continue;
        }
        const bool selfClosing = !tag.empty() && tag.back() == '/';
        if (selfClosing) {
            tag.remove_suffix(1);
        }
        const std::size_t nameEnd = std::find_if(tag.begin(), tag.end(), IsBlank) - tag.begin();
        if (nameEnd == 0) {
            document.Problem("tag without a name", lt);
            continue;
        }

        if (document.elements_.size() == kMaxSkinXmlElements) {
            document.Problem("too many elements; the rest is ignored", lt);
            break;
        }
        SkinXmlElement element;
        element.name = tag.substr(0, nameEnd);
        std::size_t i = nameEnd;
        while (true) {
            while (i < tag.size() && IsBlank(tag[i])) {
                ++i;
            }
            if (i >= tag.size()) {
                break;
            }
            if (element.attributes.size() == kMaxSkinXmlAttributes) {
                document.Problem("too many attributes; the rest of the tag is ignored", lt);
                break;
            }
            const std::size_t nameStart = i;
            while (i < tag.size() && tag[i] != '=' && !IsBlank(tag[i])) {
                ++i;
            }
            const std::string_view attributeName = tag.substr(nameStart, i - nameStart);
            while (i < tag.size() && IsBlank(tag[i])) {
                ++i;
            }
            if (i >= tag.size() || tag[i] != '=') {
                document.Problem("attribute without \"=\"", lt + 1 + nameStart);
                continue;  // the word is skipped; the next one may be an attribute
            }
            ++i;
            while (i < tag.size() && IsBlank(tag[i])) {
                ++i;
            }
            if (i >= tag.size() || tag[i] != '"') {
                document.Problem("attribute value without double quotes", lt + 1 + i);
                break;
            }
            const std::size_t valueEnd = tag.find('"', i + 1);
            if (valueEnd == std::string_view::npos) {
                document.Problem("attribute value without its closing quote", lt + 1 + i);
                break;
            }
            element.attributes.push_back({std::string(attributeName),
                                          DecodeSkinEntities(tag.substr(i + 1, valueEnd - i - 1))});
            i = valueEnd + 1;
        }

        const std::size_t index = document.elements_.size();
        if (!open.empty()) {
            document.elements_[open.back()].children.push_back(index);
        }
        document.elements_.push_back(std::move(element));
        if (!selfClosing) {
            open.push_back(index);
        }
    }
    if (!open.empty()) {
        document.Problem("element not closed at the end of the file", text.size());
    }
    return document;
}

}  // namespace vantor
