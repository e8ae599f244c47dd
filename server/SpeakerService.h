#pragma once

// Speakers that live apart from the player: the rooms of a multi-room audio
// system that plays the player's sound. When the server is given one, the
// speaker list and the speaker requests go to it instead of the player, and
// it says the player supports several speakers at once.
//
// A change reaches the speakers over a network, so it is not answered at
// once: Select and Enable hand their outcome to `done` later, exactly once,
// on a thread of the service (or on the caller's, when they fail at once).
// The list it keeps is read without waiting.
//
// Threads: Start() and Stop() belong to the owner; the rest may be called
// from any thread.

#include <functional>
#include <string>
#include <vector>

#include "ResultCode.h"
#include "protocol/Messages.h"

namespace vantor::server {

class SpeakerService {
public:
    using Done = std::function<void(ResultCode)>;
    // The whole new list, each time it changes.
    using Changed = std::function<void(std::vector<Speaker>)>;

    virtual ~SpeakerService() = default;

    virtual void Start(Changed changed) = 0;
    // Every call still waiting gets kPlayerFailed.
    virtual void Stop() = 0;

    virtual std::vector<Speaker> Speakers() const = 0;
    // That speaker plays, and the others stop.
    virtual void Select(const std::string& id, Done done) = 0;
    // That speaker on or off; the others stay as they are.
    virtual void Enable(const std::string& id, bool enabled, Done done) = 0;
};

}  // namespace vantor::server
