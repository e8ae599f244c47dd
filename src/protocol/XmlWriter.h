#pragma once

// Writes the flat XML form of a message by plain string formatting: no
// declaration, no attributes, one element per line after the root's opening
// tag.

#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/MediaType.h"

namespace vantor {

// Appends `value` with "&", "<", ">", '"' and "'" replaced by their entities.
void AppendEscaped(std::string& out, std::string_view value);
std::string EscapeXml(std::string_view value);

class XmlWriter {
public:
    explicit XmlWriter(std::string& out) : out_(out) {}

    // "<name>" and "\n</name>": the root element, or a list entry's wrapper.
    void Open(std::string_view name);
    void Close(std::string_view name);
    // "\n<name>", the opening line of a list entry's wrapper.
    void OpenLine(std::string_view name);

    // "\n<name>escaped</name>", or "\n<name/>" when the value is empty.
    void Text(std::string_view name, std::string_view value);
    void Int(std::string_view name, std::int32_t value);
    void Bool(std::string_view name, bool value);
    void Media(std::string_view name, MediaType type);

private:
    std::string& out_;
};

}  // namespace vantor
