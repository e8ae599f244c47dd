// vantor-msg: looks inside protocol messages.
//
//   vantor-msg decode [FILE...]   read zero-terminated messages (stdin when no
//                                 file) the way the client does and print what
//                                 it makes of each
//   vantor-msg types              print the message type table
//   vantor-msg watch HOST PORT [SECONDS]
//                                 connect to a server the way the client does,
//                                 ask for its state and print every message it
//                                 sends, for SECONDS (default 5)
//
// Useful with captured traffic: every undecodable message gets the client's
// own error line.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "core/Logger.h"
#include "net/ServerConnection.h"
#include "protocol/MessageFactory.h"
#include "protocol/Messages.h"
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

// Prints what the server sends; the connection calls it on its receiver
// thread, so printing is serialised.
class Printer final : public ServerConnection::Handler {
public:
    void OnEvent(std::unique_ptr<Message> event) override { Print("event", *event); }
    void OnResponse(std::unique_ptr<Message> response, std::unique_ptr<Message>) override {
        Print("response", *response);
    }
    void OnChannelLost(int code) override {
        std::lock_guard lock(mutex_);
        std::printf("-- the server closed the connection (%d)\n", code);
        std::fflush(stdout);
    }

private:
    void Print(const char* what, const Message& message) {
        std::lock_guard lock(mutex_);
        std::printf("-- %s\n%s\n", what, message.ToXml().c_str());
        std::fflush(stdout);
    }
    std::mutex mutex_;
};

int Watch(const std::string& host, const std::string& portText, int seconds) {
    const int port = std::atoi(portText.c_str());
    if (port <= 0 || port > 65535) {
        std::fprintf(stderr, "vantor-msg: bad port %s\n", portText.c_str());
        return 2;
    }
    Printer printer;
    ServerConnection connection(&printer);
    if (!connection.Connect(host, static_cast<std::uint16_t>(port))) {
        std::fprintf(stderr, "vantor-msg: cannot connect to %s:%d\n", host.c_str(), port);
        return 1;
    }
    // What a client asks for when its session starts.
    auto version = std::make_unique<GetClientVersionRequest>();
    version->type = "ppc";
    std::unique_ptr<Message> requests[] = {std::move(version),
                                           std::make_unique<GetPlayerCapabilitiesRequest>(),
                                           std::make_unique<GetCurrentStateRequest>(),
                                           std::make_unique<GetSpeakerListRequest>(),
                                           std::make_unique<GetEqRequest>(),
                                           std::make_unique<GetEqPresetsRequest>()};
    for (std::unique_ptr<Message>& request : requests) {
        const std::string name(request->TypeName());
        if (const SendResult sent = connection.SendRequest(std::move(request));
            sent != SendResult::Sent) {
            std::fprintf(stderr, "vantor-msg: %s not sent: %s\n", name.c_str(),
                         SendResultText(sent));
            return 1;
        }
    }
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    connection.Disconnect();
    return 0;
}

int Usage() {
    std::fprintf(stderr,
                 "usage: vantor-msg decode [FILE...]\n"
                 "       vantor-msg types\n"
                 "       vantor-msg watch HOST PORT [SECONDS]\n");
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
    if (command == "watch") {
        if (argc < 4) {
            return Usage();
        }
        return Watch(argv[2], argv[3], argc > 4 ? std::max(1, std::atoi(argv[4])) : 5);
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
