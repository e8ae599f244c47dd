#pragma once

// MPD's "idle" connection, which hears of the changes others make (another
// client, a song that ends). It is part of the server loop's own poll: the
// loop waits on its descriptor with the clients', reads the changes, and
// asks for the status and the next "idle" in one write, so a change costs
// no thread hop. Connecting blocks (a host that does not answer holds it
// for the time-out), so that is done by the "MPD Idle" thread, which hands
// the connection to the loop, and connects again every half second while
// MPD is away.

#include <functional>
#include <memory>
#include <vector>

#include "MpdConnection.h"
#include "PlayerBackend.h"
#include "core/NamedThread.h"

struct mpd_connection;
struct mpd_status;

namespace vantor::server {

// The subsystems whose changes show in MPD's status.
extern const unsigned kMpdStatusSubsystems;

struct MpdIdleNotice {
    enum class Kind { kConnected, kLost, kChanged } kind = Kind::kChanged;
    // kConnected: the new connection, for Adopt().
    std::shared_ptr<mpd_connection> connection;
    unsigned subsystems = 0;  // kChanged: MPD's idle bits
    // kChanged, when the changes show there: MPD's status read just after,
    // asked for when the loop had read it `reads` times.
    std::shared_ptr<const mpd_status> status;
    unsigned reads = 0;
};

class MpdIdleWatch {
public:
    // Called on the "MPD Idle" thread; hands the notice to the loop.
    using Notify = std::function<void(MpdIdleNotice)>;

    MpdIdleWatch() = default;
    ~MpdIdleWatch();
    MpdIdleWatch(const MpdIdleWatch&) = delete;
    MpdIdleWatch& operator=(const MpdIdleWatch&) = delete;

    // Owner: starts connecting; the connection comes as a kConnected notice.
    void Start(const MpdOptions& options, Notify notify);
    void Stop();

    // --- loop thread
    // Holds a connection the thread made in "idle"; false when it broke
    // before it waited there, and the thread connects again.
    bool Adopt(std::shared_ptr<mpd_connection> connection);
    PlayerBackend::LoopWatch Watched() const;
    // Reads what MPD sent: the notices it makes, in order (a kLost last
    // when the connection broke, and the thread connects again). `reads`
    // is the loop's count of its own status reads so far.
    std::vector<MpdIdleNotice> OnReady(unsigned reads);

private:
    struct Shared;
    // Sends "idle" (after "status" when `status`) in one write.
    bool Ask(bool status);
    void Drop();
    // Asks the thread for a new connection, after its pause.
    void Lost();

    std::shared_ptr<Shared> shared_;
    std::chrono::milliseconds timeout_{0};
    NamedThread thread_;

    // Loop thread.
    std::shared_ptr<mpd_connection> connection_;
    unsigned generation_ = 0;
    // MPD answers the status asked for next, then the idle; otherwise the
    // idle alone.
    bool statusAsked_ = false;
    unsigned changed_ = 0;  // the subsystems of the idle answer being read
    std::shared_ptr<mpd_status> status_;
    unsigned readsWhenAsked_ = 0;
};

}  // namespace vantor::server
