#pragma once

// Answers the client's requests from the player backend: one response per
// request (carrying its requestId), plus the events the request caused,
// which the server pushes to every client.
//
// Not thread-safe: the server's loop thread owns it.

#include <memory>
#include <string>

#include "PlayerBackend.h"
#include "SpeakerService.h"

namespace vantor::server {

// What the server says about itself and the client release it offers.
struct ServerInfo {
    std::string name = "Vantor Server";
    std::string version = "1.0.0.0";
    // Empty: the backend's own name for its player.
    std::string playerType;
    // The client release offered to clients; no version means none.
    std::string clientVersion;
    std::string clientUrl;
    std::string clientParameters;
    std::string clientChecksum;
};

class RequestHandler {
public:
    // `speakers`: where the speaker list comes from instead of the player
    // (null: the player). Switching them is the caller's (they answer
    // later); here it is the player's.
    RequestHandler(PlayerBackend& player, SpeakerService* speakers, ServerInfo info);
    RequestHandler(PlayerBackend& player, ServerInfo info)
        : RequestHandler(player, nullptr, std::move(info)) {}

    // The response to a request (its kind must be Request), with the events
    // it caused appended to `events`; null for UnrecognizedRequest, which
    // has none.
    std::unique_ptr<Message> Handle(const Message& request, Events& events);

    static const char* Describe(std::int32_t code);

    // Whether answering the request reads the library (folders, search,
    // an item), and may so wait for a lock an HTTP worker holds: such
    // requests are answered off the loop, each on a handler of its own.
    static bool WaitsForLibrary(MessageType type);
    // The response to `request` with nothing in it but `code`, for one that
    // is not carried out.
    static std::unique_ptr<Message> Refusal(const Message& request, ResultCode code);

private:
    PlayerBackend& player_;
    SpeakerService* const speakers_;
    ServerInfo info_;
};

}  // namespace vantor::server
