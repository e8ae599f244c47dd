#pragma once

// Answers the client's requests from the simulated player and its library:
// one response per request (carrying its requestId), plus the events the
// request caused, which the server pushes to every client.
//
// Not thread-safe: the server's loop thread owns it.

#include <memory>
#include <string>

#include "MediaLibrary.h"
#include "PlayerModel.h"

namespace vantor::server {

// Result codes the server puts in returnCode.
inline constexpr std::int32_t kSuccess = 0;
inline constexpr std::int32_t kUnsupported = 1;
inline constexpr std::int32_t kBadParameter = 2;
inline constexpr std::int32_t kNotFound = 3;

// What the server says about itself and the client release it offers.
struct ServerInfo {
    std::string name = "Vantor Server";
    std::string version = "1.0.0.0";
    std::string playerType = "Simulated Player";
    // The client release offered to clients; no version means none.
    std::string clientVersion;
    std::string clientUrl;
    std::string clientParameters;
    std::string clientChecksum;
};

class RequestHandler {
public:
    RequestHandler(const MediaLibrary& library, PlayerModel& player, ServerInfo info);

    // The response to a request (its kind must be Request), with the events
    // it caused appended to `events`; null for UnrecognizedRequest, which
    // has none.
    std::unique_ptr<Message> Handle(const Message& request, Events& events);

    static const char* Describe(std::int32_t code);

private:
    std::vector<std::int32_t> Select(const MediaSelector& selector) const;

    const MediaLibrary& library_;
    PlayerModel& player_;
    ServerInfo info_;
};

}  // namespace vantor::server
