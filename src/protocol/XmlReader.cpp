#include "protocol/XmlReader.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "core/Text.h"

namespace vantor {

namespace {

// Longest name a search can look for; every field and wrapper name of the
// protocol is far shorter. Longer runs after a "<" are not indexed.
constexpr std::size_t kMaxNameLength = 63;

constexpr std::size_t kNpos = std::string_view::npos;

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

}  // namespace

std::string DecodeEntities(std::string_view text) {
    // One pass is the same as the five replacements in order: every entity
    // begins with "&" and ends at the first ";", so no two can overlap, and
    // none of "<", ">", '"' or "'" can complete an entity, so the earlier
    // replacements never create a match for the later ones; "&amp;" comes
    // last, so the "&" it yields is not looked at again.
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t amp = text.find('&', pos);
        if (amp == kNpos) {
            break;
        }
        out.append(text, pos, amp - pos);
        const std::string_view rest = text.substr(amp);
        if (rest.starts_with("&lt;")) {
            out += '<';
            pos = amp + 4;
        } else if (rest.starts_with("&gt;")) {
            out += '>';
            pos = amp + 4;
        } else if (rest.starts_with("&quot;")) {
            out += '"';
            pos = amp + 6;
        } else if (rest.starts_with("&apos;")) {
            out += '\'';
            pos = amp + 6;
        } else if (rest.starts_with("&amp;")) {
            out += '&';
            pos = amp + 5;
        } else {
            out += '&';
            pos = amp + 1;
        }
    }
    out.append(text, pos);
    return out;
}

std::int32_t ParseLeadingInt(std::string_view text) {
    std::size_t pos = 0;
    while (pos < text.size() && IsBlank(text[pos])) {
        ++pos;
    }
    bool negative = false;
    if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
        negative = text[pos] == '-';
        ++pos;
    }
    constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    std::int64_t value = 0;
    while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
        value = std::min(value * 10 + (text[pos] - '0'), kLimit);
        ++pos;
    }
    if (negative) {
        return static_cast<std::int32_t>(-value);
    }
    return static_cast<std::int32_t>(std::min(value, kLimit - 1));
}

std::string RootName(std::string_view text) {
    const std::size_t open = text.find('<');
    if (open == kNpos) {
        return {};
    }
    const std::size_t start = open + 1;
    const std::size_t blank = text.find(' ', start);
    const std::size_t close = text.find('>', start);
    const std::size_t end = std::min(blank, close);
    if (end == kNpos) {
        return {};
    }
    return DecodeEntities(text.substr(start, end - start));
}

namespace {

// Appends text with every span from `open` to the end of the next `close`
// left out; an `open` without a `close` keeps the rest as it is.
std::string RemoveSpans(std::string_view text, std::string_view open, std::string_view close) {
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (true) {
        const std::size_t begin = text.find(open, pos);
        if (begin == kNpos) {
            break;
        }
        const std::size_t end = text.find(close, begin + open.size());
        if (end == kNpos) {
            break;
        }
        out.append(text, pos, begin - pos);
        pos = end + close.size();
    }
    out.append(text, pos);
    return out;
}

}  // namespace

std::string RemoveProcessingInstructionsAndComments(std::string_view text) {
    return RemoveSpans(RemoveSpans(text, "<?", "?>"), "<!--", "-->");
}

// ---------------------------------------------------------------------------
// Index and searches

namespace xml_detail {

namespace {

std::uint32_t PackKey(std::size_t length, char first, char second, char terminator) {
    const auto byte = [](char c) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(c));
    };
    return static_cast<std::uint32_t>(length) | byte(first) << 8 | byte(second) << 16 |
           byte(terminator) << 24;
}

}  // namespace

std::uint32_t TagKey(std::string_view token, char terminator) {
    return PackKey(token.size(), token.empty() ? '\0' : token[0],
                   token.size() < 2 ? '\0' : token[1], terminator);
}

Seeker::Seeker(const Index& index, std::string_view name, Form form, std::size_t endTag)
    : index_(index), name_(name), form_(form), key_(0), endTag_(endTag) {
    if (name.empty() || name.size() > kMaxNameLength - 1) {
        // No tag has this key: an empty name or one too long is never found.
        key_ = 0xFFFFFFFFu;
    } else if (form == Form::Close) {
        key_ = PackKey(name.size() + 1, '/', name[0], '>');
    } else {
        key_ = TagKey(name, form == Form::OpenBlank ? ' ' : '>');
    }
    if (form == Form::OpenBlank && !index.hasBlankTags) {
        clearTo_ = endTag;  // nothing to find anywhere
    }
}

bool Seeker::Matches(const Tag& tag) const {
    if (tag.key != key_) {
        return false;
    }
    // The key holds the length and the first two bytes of the token; compare
    // the rest (names are short, so a plain loop beats a call to memcmp).
    const char* token = index_.text.data() + tag.pos + 1;
    const std::size_t skip = form_ == Form::Close ? 1 : 2;
    return name_.size() <= skip ||
           std::memcmp(token + 2, name_.data() + skip, name_.size() - skip) == 0;
}

std::size_t Seeker::Next(std::size_t from, std::size_t limit) {
    limit = std::min(limit, endTag_);
    std::size_t i = from;
    if (from >= clearFrom_ && from <= clearTo_) {
        if (foundAtClearTo_) {
            return clearTo_ < limit ? clearTo_ : endTag_;
        }
        i = clearTo_;  // continue where the last search stopped
    } else {
        clearFrom_ = from;
    }
    const Tag* const tags = index_.tags.data();
    while (i < limit && !Matches(tags[i])) {
        ++i;
    }
    clearTo_ = i;
    foundAtClearTo_ = i < limit;
    return foundAtClearTo_ ? i : endTag_;
}

}  // namespace xml_detail

namespace {

using xml_detail::Index;
using xml_detail::Seeker;
using xml_detail::Tag;
using xml_detail::TagKey;

void BuildIndex(Index& index) {
    const std::string_view text = index.text;
    // Positions are kept in 32 bits; a text of 4 GiB or more is not indexed
    // and every field of it reads as missing.
    if (text.size() >= std::numeric_limits<std::uint32_t>::max()) {
        return;
    }
    const char* const data = text.data();
    const std::size_t size = text.size();
    index.tags.reserve(size / 16);  // about one tag per 16 bytes in typical messages
    std::size_t pos = 0;
    while (pos < size) {
        const void* found = std::memchr(data + pos, '<', size - pos);
        if (found == nullptr) {
            break;
        }
        const std::size_t open = static_cast<std::size_t>(static_cast<const char*>(found) - data);
        // The name runs to the first blank or ">"; a "<" before either, or a
        // name too long for any search, rules the tag out.
        const std::size_t limit = std::min(size, open + 1 + kMaxNameLength + 1);
        std::size_t end = open + 1;
        while (end < limit && data[end] != ' ' && data[end] != '>' && data[end] != '<') {
            ++end;
        }
        if (end < limit && end > open + 1 && data[end] != '<') {
            index.tags.push_back(Tag{static_cast<std::uint32_t>(open),
                                     TagKey(text.substr(open + 1, end - open - 1), data[end])});
            index.hasBlankTags = index.hasBlankTags || data[end] == ' ';
        }
        // No "<" lies between the two, so the next search may start at `end`.
        pos = end;
    }
}

}  // namespace

std::string_view XmlView::Raw() const {
    return index_->text.substr(textBegin_, textEnd_ - textBegin_);
}

bool XmlView::FindElement(std::size_t fromTag, Seeker& blank, Seeker& plain, Seeker& closing,
                          Element& element) const {
    const auto& tags = index_->tags;
    const std::string_view text = index_->text;
    // "<name " wins wherever it is; "<name>" counts only when no "<name "
    // follows at all. A search that only has to tell whether an opening tag
    // comes before `limit` may stop looking for "<name>" there.
    const auto findOpen = [&](std::size_t from, std::size_t limit) {
        const std::size_t found = blank.Next(from);
        return found != tagEnd_ ? found : plain.Next(from, limit);
    };

    const std::size_t open = findOpen(fromTag, tagEnd_);
    if (open == tagEnd_) {
        return false;
    }
    const Tag& openTag = tags[open];
    const std::size_t nameLength = openTag.key & 0xFFu;
    std::size_t gt = openTag.pos + 1 + nameLength;
    if (text[gt] != '>') {
        gt = text.find('>', gt);
        if (gt == kNpos || gt >= textEnd_) {
            return false;
        }
    }
    // The content's first tag: for "<name>" the very next one, since a tag's
    // name holds no "<"; for "<name ...>" the first past the ">".
    std::size_t contentTag = open + 1;
    while (contentTag < tagEnd_ && tags[contentTag].pos < gt) {
        ++contentTag;
    }
    element.contentBegin = gt + 1;
    if (text[gt - 1] == '/') {
        // "<name attribute/>": present but empty.
        element.contentEnd = gt + 1;
        element.firstTag = element.endTag = element.nextTag = contentTag;
        return true;
    }

    std::size_t close = closing.Next(contentTag);
    if (close == tagEnd_) {
        return false;
    }
    // Skip over elements of the same name opened inside this one.
    std::size_t nested = findOpen(contentTag, close);
    while (nested < close) {
        close = closing.Next(close + 1);
        if (close == tagEnd_) {
            return false;
        }
        nested = findOpen(nested + 1, close);
    }
    element.contentEnd = tags[close].pos;
    element.firstTag = contentTag;
    element.endTag = close;
    element.nextTag = close + 1;
    return true;
}

XmlView XmlView::Sub(const Element& element) const {
    return XmlView(index_, element.contentBegin, element.contentEnd, element.firstTag,
                   element.endTag);
}

std::string XmlView::Text(std::string_view name) const {
    Seeker blank(*index_, name, Seeker::Form::OpenBlank, tagEnd_);
    Seeker plain(*index_, name, Seeker::Form::OpenPlain, tagEnd_);
    Seeker closing(*index_, name, Seeker::Form::Close, tagEnd_);
    Element element;
    if (!FindElement(tagBegin_, blank, plain, closing, element)) {
        return {};
    }
    std::string text = DecodeEntities(
        index_->text.substr(element.contentBegin, element.contentEnd - element.contentBegin));
    CapPeerText(text);
    return text;
}

std::int32_t XmlView::Int(std::string_view name) const {
    const std::string text = Text(name);
    return text.empty() ? -1 : ParseLeadingInt(text);
}

bool XmlView::Bool(std::string_view name) const {
    return ToLowerAscii(Text(name)) == "true";
}

MediaType XmlView::Media(std::string_view name) const {
    return MediaTypeFromName(Text(name));
}

std::vector<std::string> XmlView::TextList(std::string_view name) const {
    std::vector<std::string> values;
    ForEach(name, [&](const XmlView& entry) {
        values.push_back(DecodeEntities(entry.Raw()));
        CapPeerText(values.back());
    });
    return values;
}

XmlListWalker::XmlListWalker(const XmlView& view, std::string_view wrapper)
    : view_(view),
      blank_(*view.index_, wrapper, xml_detail::Seeker::Form::OpenBlank, view.tagEnd_),
      plain_(*view.index_, wrapper, xml_detail::Seeker::Form::OpenPlain, view.tagEnd_),
      closing_(*view.index_, wrapper, xml_detail::Seeker::Form::Close, view.tagEnd_),
      nextTag_(view.tagBegin_) {}

bool XmlListWalker::Next(XmlView& entry) {
    XmlView::Element element;
    if (!view_.FindElement(nextTag_, blank_, plain_, closing_, element) ||
        element.contentEnd == element.contentBegin) {
        nextTag_ = view_.tagEnd_;
        return false;
    }
    nextTag_ = element.nextTag;
    entry = view_.Sub(element);
    return true;
}

XmlDocument::XmlDocument(std::string_view text) : index_{text, {}}, root_(&index_, 0, 0, 0, 0) {
    BuildIndex(index_);
    root_ = XmlView(&index_, 0, text.size(), 0, index_.tags.size());
}

}  // namespace vantor
