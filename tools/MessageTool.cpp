// vantor-msg: looks inside protocol messages.
//
//   vantor-msg decode [FILE...]   read zero-terminated messages (stdin when no
//                                 file) the way the client does and print what
//                                 it makes of each
//   vantor-msg types              print the message type table
//
// Useful with captured traffic: every undecodable message gets the client's
// own error line.

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>

#include "core/Logger.h"
#include "protocol/MessageFactory.h"
#include "protocol/XmlReader.h"

namespace {

using namespace vantor;

const char* KindName(MessageKind kind) {
    switch (kind) {
        case MessageKind::Request:
            return "request";
        case MessageKind::Response:
            return "response";
        case MessageKind::Event:
            return "event";
        default:
            return "-";
    }
}

void Decode(std::string_view bytes) {
    const std::string text = RemoveProcessingInstructionsAndComments(bytes);
    const std::string root = RootName(text);
    const auto message = MessageFactory::Create(MessageTypeFromName(root));
    if (!message) {
        std::fflush(stdout);  // keep the error line in order with the output
        Log(kLogError, "ERROR: Could not deserialize message: %s", text.c_str());
        return;
    }
    message->FromXml(text);
    std::printf("== %s (id %u, %s", std::string(message->TypeName()).c_str(),
                static_cast<unsigned>(message->Type()), KindName(message->Kind()));
    if (message->Kind() == MessageKind::Request || message->Kind() == MessageKind::Response) {
        std::printf(", requestId %d", message->requestId);
    }
    if (message->Kind() == MessageKind::Response) {
        std::printf(", returnCode %d", message->returnCode);
    }
    std::printf(")\n%s\n", message->ToXml().c_str());
}

// Splits at zero bytes; text after the last zero byte counts as one more
// message, so a single document without its terminator can be given too.
void DecodeStream(const std::string& bytes) {
    std::size_t start = 0;
    while (start < bytes.size()) {
        std::size_t end = bytes.find('\0', start);
        if (end == std::string::npos) {
            end = bytes.size();
        }
        if (end > start) {
            Decode(std::string_view(bytes).substr(start, end - start));
        }
        start = end + 1;
    }
}

int Types() {
    for (std::uint32_t id = 0; id < kMessageTypeCount; ++id) {
        const auto type = static_cast<MessageType>(id);
        std::printf("%3u  %-32s %-8s %s\n", id, std::string(MessageTypeName(id)).c_str(),
                    KindName(KindOf(type)),
                    MessageFactory::Create(id) ? "" : "(unknown to the client)");
    }
    return 0;
}

int Usage() {
    std::fprintf(stderr,
                 "usage: vantor-msg decode [FILE...]\n"
                 "       vantor-msg types\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return Usage();
    }
    const std::string command = argv[1];
    if (command == "types") {
        return Types();
    }
    if (command != "decode") {
        return Usage();
    }
    if (argc == 2) {
        DecodeStream(std::string(std::istreambuf_iterator<char>(std::cin), {}));
        return 0;
    }
    int status = 0;
    for (int i = 2; i < argc; ++i) {
        std::ifstream in(argv[i], std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "vantor-msg: cannot read %s\n", argv[i]);
            status = 1;
            continue;
        }
        DecodeStream(std::string(std::istreambuf_iterator<char>(in), {}));
    }
    return status;
}
