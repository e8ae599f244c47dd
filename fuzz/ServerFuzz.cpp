// Feeds a byte stream to the message server's side of a connection: the
// framer, the reading of each document, the request handler and the
// simulated player, whose responses and events are written out again. The
// first byte chooses how: the stream as it is (arbitrary bytes), or a run of
// well-formed requests of any type whose fields take values made from the
// rest of the input; and in what chunks the stream arrives.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "MediaLibrary.h"
#include "MessageServer.h"
#include "RequestHandler.h"
#include "SimulatedBackend.h"
#include "core/Logger.h"
#include "net/MessageFramer.h"
#include "protocol/MessageFactory.h"

namespace {

using namespace vantor;

class Input {
public:
    explicit Input(std::string_view bytes) : bytes_(bytes) {}
    bool Empty() const { return bytes_.empty(); }
    std::uint8_t Byte() {
        if (bytes_.empty()) {
            return 0;
        }
        const auto byte = static_cast<std::uint8_t>(bytes_.front());
        bytes_.remove_prefix(1);
        return byte;
    }
    std::string_view Take(std::size_t count) {
        const std::string_view taken = bytes_.substr(0, count);
        bytes_.remove_prefix(taken.size());
        return taken;
    }

private:
    std::string_view bytes_;
};

const std::vector<std::uint32_t>& RequestTypes() {
    static const std::vector<std::uint32_t> types = [] {
        std::vector<std::uint32_t> found;
        for (std::uint32_t id = 0; id < kMessageTypeCount; ++id) {
            const auto message = MessageFactory::Create(id);
            if (message && message->Kind() == MessageKind::Request) {
                found.push_back(id);
            }
        }
        return found;
    }();
    return types;
}

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '&':
                escaped += "&amp;";
                break;
            case '\0':
                escaped += ' ';
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

// A value for one field: a number near the edges, a number, or text.
std::string Value(Input& input) {
    const std::uint8_t kind = input.Byte();
    switch (kind % 4) {
        case 0: {
            static const char* const kEdges[] = {
                "0",           "-1", "1",    "2147483647", "-2147483648", "2147483648",
                "99999999999", "",   "true", "false",      " 7 "};
            return kEdges[(kind / 4) % std::size(kEdges)];
        }
        case 1: {
            std::int32_t number = 0;
            for (int i = 0; i < 4; ++i) {
                number = static_cast<std::int32_t>(static_cast<std::uint32_t>(number) << 8 |
                                                   input.Byte());
            }
            return std::to_string(number);
        }
        default:
            return Escaped(input.Take(kind / 4));
    }
}

// A request of the type the input picks, written by the message class itself,
// each of its fields' text replaced by a value from the input.
std::string WellFormedRequest(Input& input) {
    const auto& types = RequestTypes();
    const auto message = MessageFactory::Create(types[input.Byte() % types.size()]);
    const std::string xml = message->ToXml();
    std::string filled;
    std::size_t at = 0;
    while (at < xml.size()) {
        const std::size_t close = xml.find('>', at);
        if (close == std::string::npos) {
            filled.append(xml, at, std::string::npos);
            break;
        }
        filled.append(xml, at, close + 1 - at);
        const std::size_t next = xml.find('<', close);
        if (next == std::string::npos) {
            filled.append(xml, close + 1, std::string::npos);
            break;
        }
        // Text between an opening tag and a closing one is a field's value.
        const std::size_t opened = xml.rfind('<', close);
        const bool afterOpening =
            opened != std::string::npos && xml[opened + 1] != '/' && xml[close - 1] != '/';
        if (afterOpening && xml.compare(next, 2, "</") == 0) {
            filled += Value(input);
        } else {
            filled.append(xml, close + 1, next - close - 1);
        }
        at = next;
    }
    return filled;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        Logger::Instance().SetThreshold(-1);
        return true;
    }();
    (void)quiet;
    static const auto library =
        std::make_shared<const server::MediaLibrary>(server::MediaLibrary::Generate(60));
    if (size == 0) {
        return 0;
    }
    Input input(std::string_view(reinterpret_cast<const char*>(data), size));
    const std::uint8_t mode = input.Byte();
    std::string stream;
    if ((mode & 1) != 0) {
        stream.assign(input.Take(size));
    } else {
        for (int count = 0; !input.Empty() && count < 64; ++count) {
            stream += WellFormedRequest(input);
            stream.push_back('\0');
        }
    }

    server::SimulatedBackend player(library, 10);
    server::RequestHandler handler(player, server::ServerInfo{});
    MessageFramer framer(8192);
    std::size_t written = 0;
    int handled = 0;
    const auto handle = [&](std::string_view document) {
        std::string text;
        std::string root;
        bool notRequest = false;
        const auto request = server::ReadRequest(document, &text, &root, &notRequest);
        server::Events events;
        if (request) {
            if (const auto response = handler.Handle(*request, events)) {
                written += response->ToXml().size();
            }
        }
        if (++handled % 4 == 0) {
            player.Tick(events);
        }
        for (const auto& event : events) {
            written += event->ToXml().size();
        }
    };
    const std::size_t chunk = 1 + (mode >> 1) % 97;
    for (std::size_t at = 0; at < stream.size(); at += chunk) {
        if (!framer.Feed(std::string_view(stream).substr(at, chunk), handle)) {
            break;  // the server closes such a connection
        }
    }
    (void)written;
    return 0;
}
