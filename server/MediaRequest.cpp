#include "MediaRequest.h"

#include <cctype>
#include <stdexcept>

#include "MediaLibrary.h"
#include "core/Text.h"

namespace vantor::server {

namespace {

bool EndsWith(const std::string& text, std::string_view suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// As std::stoi reads it (leading blanks, a sign, digits, anything after),
// or `fallback` when there is no number or it does not fit.
int NumberOr(const std::string& text, int fallback) {
    try {
        return std::stoi(text);
    } catch (const std::exception&) {
        return fallback;
    }
}

}  // namespace

std::string DecodeUrlText(std::string_view text, bool plusIsSpace, bool keepSlash) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = HexDigitValue(text[i + 1]);
            const int low = HexDigitValue(text[i + 2]);
            if (high >= 0 && low >= 0) {
                const int value = high * 16 + low;
                if (!(keepSlash && value == '/')) {
                    decoded += static_cast<char>(value);
                    i += 2;
                    continue;
                }
            }
        }
        decoded += plusIsSpace && text[i] == '+' ? ' ' : text[i];
    }
    return decoded;
}

MediaRequest ParseMediaTarget(std::string_view target) {
    MediaRequest request;
    const std::size_t question = target.find('?');
    // "%2F" stays: the library reads it as a "/" inside a name.
    request.path = DecodeUrlText(target.substr(0, question), false, true);

    bool haveStart = false;
    bool haveCount = false;
    bool haveTotal = false;
    if (question != std::string_view::npos) {
        std::string_view query = target.substr(question + 1);
        while (!query.empty()) {
            const std::size_t amp = query.find('&');
            const std::string_view pair = query.substr(0, amp);
            query = amp == std::string_view::npos ? std::string_view() : query.substr(amp + 1);
            const std::size_t equals = pair.find('=');
            const std::string key = DecodeUrlText(pair.substr(0, equals), true, false);
            const std::string value = equals == std::string_view::npos
                                          ? std::string()
                                          : DecodeUrlText(pair.substr(equals + 1), true, false);
            // The first of a repeated parameter counts.
            if (key == "start" && !haveStart) {
                haveStart = true;
                request.start = NumberOr(value, 0);
            } else if (key == "count" && !haveCount) {
                haveCount = true;
                request.count = NumberOr(value, -1);
            } else if (key == "includeTotalCount" && !haveTotal) {
                haveTotal = true;
                request.includeTotalCount = value == "true";
            }
        }
    }

    const std::string& path = request.path;
    if (path == "/playlist.thrift") {
        request.kind = MediaRequest::Kind::Playlist;
    } else if (path.rfind("/media/search/", 0) == 0 && EndsWith(path, ".thrift") &&
               path.size() >= 14 + 7) {
        request.kind = MediaRequest::Kind::Search;
        request.argument = MediaLibrary::UnescapeName(path.substr(14, path.size() - 14 - 7));
    } else if (path.rfind("/media", 0) == 0 && EndsWith(path, ".thrift") && path.size() >= 6 + 7) {
        request.kind = MediaRequest::Kind::Folder;
        request.argument = path.substr(6, path.size() - 6 - 7);
        if (request.argument.empty()) {
            request.argument = "/";
        }
    } else if (path.rfind("/art/", 0) == 0 && path.find('.', 5) != std::string::npos) {
        request.kind = MediaRequest::Kind::Art;
        request.argument = path.substr(5, path.find('.', 5) - 5);
    }
    return request;
}

}  // namespace vantor::server
