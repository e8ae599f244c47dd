#pragma once

// Every message class of the protocol.

#include "protocol/LibraryMessages.h"
#include "protocol/Message.h"
#include "protocol/MessageFactory.h"
#include "protocol/PlayerMessages.h"
