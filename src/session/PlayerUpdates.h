#pragma once

// How each event and response from the server changes the player state and
// which listener operation it calls. Called on the channel's receiver
// thread. With no listener the state is still updated, except the current
// media (taken over only while someone listens) and the volume (stored only
// when it changes by more than 1).

#include "protocol/Message.h"
#include "session/PlayerListener.h"
#include "session/PlayerState.h"

namespace vantor {

void ApplyEvent(const Message& event, PlayerState& state, PlayerListener* listener);

// `request` is the request the response answers.
void ApplyResponse(const Message& response, const Message& request, PlayerState& state,
                   PlayerListener* listener);

}  // namespace vantor
