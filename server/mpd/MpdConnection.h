#pragma once

// One connection to a Music Player Daemon through libmpdclient that comes
// back by itself: Get() connects when there is no connection, and a command
// whose connection broke closes it, so the next Get() connects again. An
// outage is logged once, when it begins, and once more when MPD is back.
//
// Not thread-safe: one thread at a time uses a connection (its owner says
// which thread, or which lock).

#include <chrono>
#include <cstdint>
#include <string>

#include "ResultCode.h"

struct mpd_connection;

namespace vantor::server {

// Where MPD is, for every connection to it.
struct MpdOptions {
    std::string host = "127.0.0.1";
    unsigned port = 6600;
    // How long one answer from MPD may take before the connection counts
    // as broken.
    std::chrono::milliseconds timeout{2000};
};

class MpdConnection {
public:
    // `role` names the connection in the log ("commands", "library", "pictures").
    MpdConnection(const MpdOptions& options, std::string role);
    ~MpdConnection();
    MpdConnection(const MpdConnection&) = delete;
    MpdConnection& operator=(const MpdConnection&) = delete;

    // The connection, connected first when there is none; null when MPD
    // cannot be reached. After a failed attempt the next one is made no
    // sooner than a second later, unless `now`.
    mpd_connection* Get(bool now = false);
    bool IsOpen() const { return connection_ != nullptr; }
    void Close();

    // After a command: kSuccess, or the result code for the error on the
    // connection. The error is logged with `what` (unless `quiet` and MPD
    // merely refused) and cleared; a broken connection is closed.
    ResultCode Check(const char* what, bool quiet = false);
    // Reads the rest of the response, then Check().
    ResultCode Finish(const char* what, bool quiet = false);

private:
    const std::string host_;
    const unsigned port_;
    const std::chrono::milliseconds timeout_;
    const std::string role_;
    mpd_connection* connection_ = nullptr;
    std::chrono::steady_clock::time_point nextAttempt_{};
    bool outage_ = false;  // an outage was logged and has not ended
};

// The time-out to give libmpdclient: `timeout` rounded up to whole seconds.
unsigned MpdTimeoutMs(std::chrono::milliseconds timeout);

// The server's result code for an error MPD answered with (ACK).
ResultCode ResultForMpdError(int serverError);

}  // namespace vantor::server
