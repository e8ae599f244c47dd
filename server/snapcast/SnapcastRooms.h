#pragma once

// The rooms of a Snapcast server as vantor-server's speakers. One thread
// ("Snapcast Link") keeps a JSON-RPC connection to snapserver's control
// port: it reads the status, follows the notifications, and sends each
// switch of rooms as one batch. The server's loop never waits for it: the
// list is read from the last one published, and a switch is answered when
// snapserver has answered it.
//
// Every call waits at most `callTimeout`; a snapserver that does not answer
// in time, sends a line longer than `maxLine` or closes the connection is
// left, the list becomes empty (one change, one log line), and it is
// connected to again after a pause that grows with each failure in a row.
// Lines that are not JSON-RPC are logged and skipped.
//
// While linked, the status is read again every `statusEvery`: a box that
// hangs keeps its connection, and only its lastSeen standing still tells
// (Rooms). A read that changes nothing changes nothing.
//
// Threads: see SpeakerService. The thread owns a share of what it uses, so
// one that outlives Stop() reaches nothing freed.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "SpeakerService.h"
#include "core/NamedThread.h"

namespace vantor::server::snapcast {

struct SnapcastOptions {
    std::string host = "127.0.0.1";
    std::uint16_t port = 1705;
    // The stream that carries our player (--snapcast-stream); empty: the
    // only one, or the one named `player`.
    std::string stream;
    std::string player;
    std::chrono::milliseconds callTimeout{3000};
    std::chrono::milliseconds firstPause{250};
    std::chrono::milliseconds longestPause{8000};
    // Notifications within this time after a change make one change.
    std::chrono::milliseconds coalesce{30};
    std::chrono::milliseconds statusEvery{5000};
    // A room whose lastSeen stands still longer is not listed.
    std::chrono::milliseconds hungAfter{15000};
    std::size_t maxLine = 4 * 1024 * 1024;
    // Switches waiting for snapserver, at most; more fail at once.
    std::size_t maxWaiting = 64;
};

class SnapcastRooms final : public SpeakerService {
public:
    explicit SnapcastRooms(SnapcastOptions options);
    ~SnapcastRooms() override;
    SnapcastRooms(const SnapcastRooms&) = delete;
    SnapcastRooms& operator=(const SnapcastRooms&) = delete;

    void Start(Changed changed) override;
    void Stop() override;
    std::vector<Speaker> Speakers() const override;
    void Select(const std::string& id, Done done) override;
    void Enable(const std::string& id, bool enabled, Done done) override;

    // The status has been read and the link is up.
    bool Linked() const;

    struct Shared;

private:
    void Order(const std::string& id, bool select, bool enabled, Done done);

    const SnapcastOptions options_;
    const std::shared_ptr<Shared> shared_;
    NamedThread thread_;
};

}  // namespace vantor::server::snapcast
