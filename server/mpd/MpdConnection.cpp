#include "MpdConnection.h"

#include <mpd/client.h>

#include "PlayerBackend.h"
#include "core/Logger.h"

namespace vantor::server {

namespace {

constexpr std::chrono::seconds kRetryInterval{1};

}  // namespace

unsigned MpdTimeoutMs(std::chrono::milliseconds timeout) {
    // libmpdclient before 2.21 takes the milliseconds beyond whole seconds
    // as microseconds; whole seconds mean the same to every version.
    const auto seconds = std::max<std::int64_t>(1, (timeout.count() + 999) / 1000);
    return static_cast<unsigned>(seconds * 1000);
}

ResultCode ResultForMpdError(int serverError) {
    switch (serverError) {
        case MPD_SERVER_ERROR_NO_EXIST:
            return kNotFound;
        case MPD_SERVER_ERROR_ARG:
            return kBadParameter;
        case MPD_SERVER_ERROR_UNKNOWN_CMD:
        case MPD_SERVER_ERROR_PERMISSION:
        case MPD_SERVER_ERROR_PASSWORD:
            return kUnsupported;
        default:
            return kPlayerFailed;
    }
}

MpdConnection::MpdConnection(const MpdOptions& options, std::string role)
    : host_(options.host), port_(options.port), timeout_(options.timeout), role_(std::move(role)) {}

MpdConnection::~MpdConnection() {
    Close();
}

void MpdConnection::Close() {
    if (connection_ != nullptr) {
        mpd_connection_free(connection_);
        connection_ = nullptr;
    }
}

mpd_connection* MpdConnection::Get(bool now) {
    if (connection_ != nullptr) {
        return connection_;
    }
    const auto clock = std::chrono::steady_clock::now();
    if (!now && clock < nextAttempt_) {
        return nullptr;
    }
    nextAttempt_ = clock + kRetryInterval;
    mpd_connection* connection = mpd_connection_new(host_.c_str(), port_, MpdTimeoutMs(timeout_));
    if (connection == nullptr) {
        Log(kLogError, "vantor-server: out of memory for an MPD connection");
        return nullptr;
    }
    if (mpd_connection_get_error(connection) != MPD_ERROR_SUCCESS) {
        if (!outage_) {
            Log(kLogError,
                "vantor-server: cannot reach MPD at %s:%u (%s connection): %s; the player shows "
                "stopped until it is back",
                host_.c_str(), port_, role_.c_str(), mpd_connection_get_error_message(connection));
            outage_ = true;
        }
        mpd_connection_free(connection);
        return nullptr;
    }
    if (outage_) {
        Log(kLogError, "vantor-server: MPD at %s:%u is back (%s connection)", host_.c_str(), port_,
            role_.c_str());
        outage_ = false;
    }
    connection_ = connection;
    return connection_;
}

ResultCode MpdConnection::Check(const char* what, bool quiet) {
    if (connection_ == nullptr) {
        return kPlayerFailed;
    }
    const mpd_error error = mpd_connection_get_error(connection_);
    if (error == MPD_ERROR_SUCCESS) {
        return kSuccess;
    }
    if (error == MPD_ERROR_SERVER) {
        const auto server = mpd_connection_get_server_error(connection_);
        if (!quiet) {
            Log(kLogError, "vantor-server: MPD refused %s (command %u of its list): %s", what,
                mpd_connection_get_server_error_location(connection_),
                mpd_connection_get_error_message(connection_));
        }
        const ResultCode code = ResultForMpdError(server);
        if (!mpd_connection_clear_error(connection_)) {
            Close();
        }
        return code;
    }
    if (!outage_) {
        Log(kLogError, "vantor-server: the MPD connection (%s) failed during %s: %s", role_.c_str(),
            what, mpd_connection_get_error_message(connection_));
        outage_ = true;
    }
    Close();
    return kPlayerFailed;
}

ResultCode MpdConnection::Finish(const char* what, bool quiet) {
    if (connection_ == nullptr) {
        return kPlayerFailed;
    }
    if (mpd_connection_get_error(connection_) == MPD_ERROR_SUCCESS) {
        mpd_response_finish(connection_);
    }
    return Check(what, quiet);
}

}  // namespace vantor::server
