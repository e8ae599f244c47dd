// Feeds arbitrary bytes to the receive path of the protocol: markup removal,
// root name, factory and FromXml, then writes the message again. It also
// reads the bytes as every message class, whatever their root says, and
// checks that the indexed field reader agrees with the literal one.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "protocol/MessageFactory.h"
#include "protocol/XmlReader.h"
#include "support/ReferenceXmlReader.h"

namespace {

void Check(bool condition, const char* what, std::string_view input) {
    if (!condition) {
        std::fprintf(stderr, "mismatch: %s\ninput: %.*s\n", what, static_cast<int>(input.size()),
                     input.data());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vantor;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);

    // What the channel does with one received document.
    const std::string text = RemoveProcessingInstructionsAndComments(bytes);
    const std::string root = RootName(text);
    if (auto message = MessageFactory::Create(MessageTypeFromName(root))) {
        message->FromXml(text);
        (void)message->ToXml();
    }

    // The same bytes as the class chosen by the first byte.
    if (size > 0) {
        if (auto message = MessageFactory::Create(data[0] % kMessageTypeCount)) {
            message->FromXml(bytes.substr(1));
            (void)message->ToXml();
        }
    }

    // The literal reader is quadratic; keep its inputs small.
    if (size <= 4096) {
        const XmlDocument document(bytes);
        for (const char* name : {"item", "result", "title", "a", "speaker"}) {
            Check(document.Root().Text(name) == reference::ReadText(bytes, name), name, bytes);
        }
        std::vector<std::string> entries;
        document.Root().ForEach("item",
                                [&](const XmlView& entry) { entries.emplace_back(entry.Raw()); });
        Check(entries == reference::ReadList(bytes, "item"), "item list", bytes);
    }
    return 0;
}
