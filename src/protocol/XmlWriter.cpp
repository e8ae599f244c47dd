#include "protocol/XmlWriter.h"

#include <charconv>

namespace vantor {

void AppendEscaped(std::string& out, std::string_view value) {
    // One pass gives the same result as replacing "&" first and the others
    // after it: no entity contains a character that another one produces.
    for (const char c : value) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            default:
                out += c;
        }
    }
}

std::string EscapeXml(std::string_view value) {
    std::string out;
    out.reserve(value.size());
    AppendEscaped(out, value);
    return out;
}

void XmlWriter::Open(std::string_view name) {
    out_ += '<';
    out_ += name;
    out_ += '>';
}

void XmlWriter::OpenLine(std::string_view name) {
    out_ += '\n';
    Open(name);
}

void XmlWriter::Close(std::string_view name) {
    out_ += "\n</";
    out_ += name;
    out_ += '>';
}

void XmlWriter::Text(std::string_view name, std::string_view value) {
    out_ += "\n<";
    out_ += name;
    if (value.empty()) {
        out_ += "/>";
        return;
    }
    out_ += '>';
    AppendEscaped(out_, value);
    out_ += "</";
    out_ += name;
    out_ += '>';
}

void XmlWriter::Int(std::string_view name, std::int32_t value) {
    char digits[16];
    const auto result = std::to_chars(digits, digits + sizeof digits, value);
    Text(name, std::string_view(digits, static_cast<std::size_t>(result.ptr - digits)));
}

void XmlWriter::Bool(std::string_view name, bool value) {
    Text(name, value ? "true" : "false");
}

void XmlWriter::Media(std::string_view name, MediaType type) {
    Text(name, MediaTypeName(type));
}

}  // namespace vantor
