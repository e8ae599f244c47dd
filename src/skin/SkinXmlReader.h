#pragma once

// The skin file's own XML reader. It is deliberately small and forgiving:
// it walks the text from "<" to the next ">", skips "<!-- ... -->" comments,
// "<?...>" declarations and "<!...>" doctypes, closes the current element at
// any "</...>" whatever its name, and reads each attribute as a name, "=" and
// a value in double quotes (blanks around "=" allowed). A tag ending in "/>"
// opens and closes its element at once. Text between tags is ignored.
//
// Attribute values are decoded with "&amp;" first, then "&lt;", "&gt;" and
// "&quot;", so "&amp;lt;" reads as "<" (the skin format's own order, the
// reverse of the message codec's).
//
// Nothing here fails: whatever cannot be read is skipped and counted, and the
// elements read up to that point stand. Elements are kept in one flat array
// in document order (children by index), so neither parsing nor freeing a
// deeply nested file recurses. A skin has a few hundred elements of a dozen
// attributes; the limits below keep a hostile file's tree small.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantor {

inline constexpr std::size_t kMaxSkinXmlElements = 65536;
inline constexpr std::size_t kMaxSkinXmlAttributes = 64;

// Decodes "&amp;", "&lt;", "&gt;" and "&quot;", in that order.
std::string DecodeSkinEntities(std::string_view value);

// The decimal value of at most the first 15 characters: leading blanks and
// one sign allowed, reading stops at the first non-digit, no digits give 0;
// values beyond the 32-bit range are clamped.
std::int32_t ParseSkinDecimal(std::string_view value);

// A number attribute's value: "true" gives 1 and "false" 0 (any case),
// anything else its decimal value.
std::int32_t ParseSkinNumber(std::string_view value);

struct SkinXmlAttribute {
    std::string name;
    std::string value;  // decoded
};

struct SkinXmlElement {
    std::string name;
    std::vector<SkinXmlAttribute> attributes;
    std::vector<std::size_t> children;  // indices into SkinXmlDocument::Elements()

    // The first attribute of that name, or null.
    const std::string* Attribute(std::string_view attributeName) const;
    // Text attribute: the value, or "" when missing.
    std::string Text(std::string_view attributeName) const;
    // Number attribute: ParseSkinNumber of the value, or -1 when missing.
    std::int32_t Number(std::string_view attributeName) const;
    // Flag attribute: true only for exactly "true".
    bool Flag(std::string_view attributeName) const;
};

// What the reader had to skip. The first problem is kept with its byte
// offset so a log line can point at it.
struct SkinXmlProblems {
    std::size_t count = 0;
    std::string first;
    std::size_t firstOffset = 0;
};

class SkinXmlDocument {
public:
    static SkinXmlDocument Parse(std::string_view text);

    // Every element, in the order of its opening tag.
    const std::vector<SkinXmlElement>& Elements() const { return elements_; }
    const SkinXmlElement& At(std::size_t index) const { return elements_[index]; }

    // The first direct child of `parent` with that tag name, or null.
    const SkinXmlElement* FirstChild(const SkinXmlElement& parent, std::string_view name) const;

    const SkinXmlProblems& Problems() const { return problems_; }

private:
    void Problem(std::string_view what, std::size_t offset);

    std::vector<SkinXmlElement> elements_;
    SkinXmlProblems problems_;
};

}  // namespace vantor
