#include "protocol/Message.h"

namespace vantor {

std::string Message::ToXml() const {
    const std::string_view name = TypeName();
    std::string xml;
    xml.reserve(128);
    XmlWriter out(xml);
    out.Open(name);
    WriteHeader(out);
    WriteFields(out);
    out.Close(name);
    return xml;
}

void Message::WriteHeader(XmlWriter& out) const {
    if (kind_ != MessageKind::Request && kind_ != MessageKind::Response) {
        return;
    }
    if (requestId != -1) {
        out.Int("requestId", requestId);
    }
    if (kind_ == MessageKind::Response) {
        out.Int("returnCode", returnCode);
    }
}

void Message::FromXml(std::string_view xml) {
    const XmlDocument document(xml);
    const XmlView& in = document.Root();
    if (kind_ == MessageKind::Request || kind_ == MessageKind::Response) {
        requestId = in.Int("requestId");
    }
    if (kind_ == MessageKind::Response) {
        returnCode = in.Int("returnCode");
    }
    ReadFields(in);
}

}  // namespace vantor
