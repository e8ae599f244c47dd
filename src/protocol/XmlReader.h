#pragma once

// Reads message fields out of a received XML text. There is no document
// tree: a field is the content of the first element of its name, found by
// searching for its tag, as the server's own writer expects:
//
//  - an opening tag is searched as "<name " first; only when that form does
//    not occur at all from the search position is "<name>" searched, so a
//    self-closed "<name/>" is never found and reads as missing;
//  - the content ends at the matching "</name>", skipping over further
//    elements of the same name opened before it;
//  - entities are decoded once, "&amp;" last.
//
// A reader never fails: a missing or malformed field reads as its empty
// value (empty text, -1, false), whatever the input.
//
// The text is indexed once (every "<" that could start a tag we look for),
// so each field read costs the number of tags, and walking a list of n
// entries costs O(n) overall instead of one scan of the text per entry.
// Views and documents refer to the text they were made from; it must
// outlive them.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "protocol/MediaType.h"

namespace vantor {

// Decodes "&lt;", "&gt;", "&quot;", "&apos;" and then "&amp;" (so that
// "&amp;lt;" gives "&lt;"). Numeric references are left as they are.
std::string DecodeEntities(std::string_view text);

// The leading decimal number of the text: blanks and a sign may come first,
// reading stops at the first non-digit, no digits give 0, values beyond the
// 32-bit range are clamped.
std::int32_t ParseLeadingInt(std::string_view text);

// The root element's name: the characters after the first "<" up to the
// first blank, or up to the first ">" when no blank comes before it,
// decoded. Empty when the text has no "<" or the name never ends.
std::string RootName(std::string_view text);

// Removes every "<?...?>" span, then every "<!--...-->" span. An opening
// mark without its closing mark stops that removal and keeps the rest.
std::string RemoveProcessingInstructionsAndComments(std::string_view text);

class XmlView;

namespace xml_detail {

// A "<" followed by a short name that ends in a blank or ">"; the only tags a
// search can match. The key packs the token's length (the "/" of a closing
// tag included), its first two bytes and its terminator, so that a search
// rejects almost every other tag with one comparison.
struct Tag {
    std::uint32_t pos;
    std::uint32_t key;
};

std::uint32_t TagKey(std::string_view token, char terminator);

struct Index {
    std::string_view text;
    std::vector<Tag> tags;
    bool hasBlankTags = false;  // any tag ending in a blank (one with attributes)
};

// Finds the next tag of one name and form, remembering how far it has looked:
// a later search that starts inside the stretch already known to hold no
// match continues where the last one stopped, so a run of forward searches
// costs one pass over the tags.
class Seeker {
public:
    enum class Form { OpenBlank, OpenPlain, Close };
    Seeker(const Index& index, std::string_view name, Form form, std::size_t endTag);

    // The first matching tag index in [from, limit), or endTag when there is
    // none; `limit` defaults to endTag.
    std::size_t Next(std::size_t from) { return Next(from, endTag_); }
    std::size_t Next(std::size_t from, std::size_t limit);

private:
    bool Matches(const Tag& tag) const;

    const Index& index_;
    std::string_view name_;
    Form form_;
    std::uint32_t key_;
    std::size_t endTag_;
    // No tag in [clearFrom_, clearTo_) matches; when foundAtClearTo_, the
    // tag at clearTo_ does.
    std::size_t clearFrom_ = 0;
    std::size_t clearTo_ = 0;
    bool foundAtClearTo_ = false;
};

}  // namespace xml_detail

// A range of an indexed text: the whole message, or one list entry's content.
// Cheap to copy; valid while its XmlDocument lives.
class XmlView {
public:
    // Texts, alone or in lists, are cut to kMaxPeerText bytes.
    std::string Text(std::string_view name) const;
    std::int32_t Int(std::string_view name) const;
    bool Bool(std::string_view name) const;
    // The media type named by the element; empty (or missing) reads as music.
    MediaType Media(std::string_view name) const;

    // The decoded contents of the elements of this name, in order, up to the
    // first empty one.
    std::vector<std::string> TextList(std::string_view name) const;

    // Calls visit(const XmlView& entry) with the content of each `wrapper`
    // element in order, up to the first empty one.
    template <class Visit>
    void ForEach(std::string_view wrapper, Visit&& visit) const;

    // The raw (undecoded) text of this view.
    std::string_view Raw() const;

private:
    friend class XmlDocument;
    friend class XmlListWalker;

    struct Element {
        std::size_t contentBegin;  // text positions
        std::size_t contentEnd;
        std::size_t firstTag;  // tag range of the content
        std::size_t endTag;
        std::size_t nextTag;  // first tag after the closing tag
    };
    using Seeker = xml_detail::Seeker;

    XmlView(const xml_detail::Index* index, std::size_t textBegin, std::size_t textEnd,
            std::size_t tagBegin, std::size_t tagEnd)
        : index_(index),
          textBegin_(textBegin),
          textEnd_(textEnd),
          tagBegin_(tagBegin),
          tagEnd_(tagEnd) {}

    // The first element of `name` whose opening tag is at or after tag index
    // `fromTag`, using (and advancing) the given seekers.
    bool FindElement(std::size_t fromTag, Seeker& blank, Seeker& plain, Seeker& closing,
                     Element& element) const;
    XmlView Sub(const Element& element) const;

    const xml_detail::Index* index_;
    std::size_t textBegin_;
    std::size_t textEnd_;
    std::size_t tagBegin_;
    std::size_t tagEnd_;
};

// Walks the `wrapper` elements of a view in order. Each step continues after
// the previous element's closing tag. `wrapper` must outlive the walker.
class XmlListWalker {
public:
    XmlListWalker(const XmlView& view, std::string_view wrapper);
    XmlListWalker(const XmlListWalker&) = delete;
    XmlListWalker& operator=(const XmlListWalker&) = delete;

    // The next entry's raw content as a view; false at the end of the list
    // (no further element, or an empty one).
    bool Next(XmlView& entry);

private:
    XmlView view_;
    xml_detail::Seeker blank_;
    xml_detail::Seeker plain_;
    xml_detail::Seeker closing_;
    std::size_t nextTag_;
};

// Owns the index of one text; Root() views the whole of it.
class XmlDocument {
public:
    explicit XmlDocument(std::string_view text);
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    const XmlView& Root() const { return root_; }

private:
    xml_detail::Index index_;
    XmlView root_;
};

template <class Visit>
void XmlView::ForEach(std::string_view wrapper, Visit&& visit) const {
    XmlListWalker walker(*this, wrapper);
    XmlView entry = *this;
    while (walker.Next(entry)) {
        visit(std::as_const(entry));
    }
}

}  // namespace vantor
