#pragma once

// The "MPD Idle" thread: a connection of its own held in MPD's "idle",
// which hears of the changes others make (another client, a song that
// ends) and tells the server loop; when MPD goes away it says so and
// connects again every half second until MPD is back.

#include <functional>
#include <memory>

#include "MpdConnection.h"
#include "core/NamedThread.h"

struct mpd_status;

namespace vantor::server {

// The subsystems whose changes show in MPD's status.
extern const unsigned kMpdStatusSubsystems;

struct MpdIdleNotice {
    enum class Kind { kConnected, kLost, kChanged } kind = Kind::kChanged;
    unsigned subsystems = 0;  // kChanged: MPD's idle bits
    // kChanged, when the changes show there: MPD's status read just after,
    // when the loop had read it `reads` times.
    std::shared_ptr<const mpd_status> status;
    unsigned reads = 0;
};

class MpdIdleWatch {
public:
    // Called on the idle thread; hands the notice to the loop.
    using Notify = std::function<void(MpdIdleNotice)>;

    MpdIdleWatch() = default;
    ~MpdIdleWatch();
    MpdIdleWatch(const MpdIdleWatch&) = delete;
    MpdIdleWatch& operator=(const MpdIdleWatch&) = delete;

    void Start(const MpdOptions& options, Notify notify);
    void Stop();

    // The loop counts its own reads of the status, so that a status read
    // on the idle thread is known to be the newest when none came between.
    void CountStatusRead();
    unsigned StatusReads() const;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
    std::chrono::milliseconds timeout_{0};
    NamedThread thread_;
};

}  // namespace vantor::server
