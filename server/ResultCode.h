#pragma once

#include <cstdint>

namespace vantor::server {

// The result codes the server puts in returnCode. A type of their own: a
// code reads as its number where a message needs it, but no other number (an
// HTTP status, a count, the client's request codes) passes for one.
enum ResultCode : std::int32_t {
    kSuccess = 0,
    kUnsupported = 1,
    kBadParameter = 2,
    kNotFound = 3,
    // The player could not be reached, or failed to carry out the request.
    kPlayerFailed = 4,
};

}  // namespace vantor::server
