#include "MpdIdle.h"

#include <fcntl.h>
#include <mpd/client.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace vantor::server {

const unsigned kMpdStatusSubsystems =
    MPD_IDLE_PLAYER | MPD_IDLE_MIXER | MPD_IDLE_OPTIONS | MPD_IDLE_QUEUE;

namespace {

// What the idle connection waits for.
constexpr unsigned kIdleMask = MPD_IDLE_DATABASE | MPD_IDLE_STORED_PLAYLIST | MPD_IDLE_QUEUE |
                               MPD_IDLE_PLAYER | MPD_IDLE_MIXER | MPD_IDLE_OUTPUT |
                               MPD_IDLE_OPTIONS | MPD_IDLE_STICKER;

constexpr std::chrono::milliseconds kReconnectInterval{500};

}  // namespace

// What the idle thread touches; it holds a share, so a thread abandoned
// after its stop time-out never reaches freed memory.
struct MpdIdleWatch::Shared {
    MpdOptions options;
    Notify notify;
    std::atomic<bool> stop{false};
    std::atomic<unsigned> statusReads{0};
    int wakeRead = -1;
    int wakeWrite = -1;

    ~Shared() {
        if (wakeRead >= 0) {
            ::close(wakeRead);
            ::close(wakeWrite);
        }
    }

    // Sleeps for `time` unless woken.
    void Wait(std::chrono::milliseconds time) const {
        pollfd wake{wakeRead, POLLIN, 0};
        ::poll(&wake, 1, static_cast<int>(time.count()));
    }

    void Tell(MpdIdleNotice::Kind kind) const {
        MpdIdleNotice notice;
        notice.kind = kind;
        notify(std::move(notice));
    }

    // Waits in idle on `connection` until told to stop or the connection
    // breaks.
    void Listen(mpd_connection* connection) const;
    void Run() const;
};

void MpdIdleWatch::Shared::Listen(mpd_connection* connection) const {
    while (!stop) {
        if (!mpd_send_idle_mask(connection, static_cast<mpd_idle>(kIdleMask))) {
            return;
        }
        pollfd polled[2] = {{mpd_connection_get_fd(connection), POLLIN, 0}, {wakeRead, POLLIN, 0}};
        if (::poll(polled, 2, -1) < 0 && errno != EINTR) {
            return;
        }
        if (stop) {
            mpd_send_noidle(connection);
            mpd_recv_idle(connection, true);
            return;
        }
        if ((polled[0].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
            // Interrupted: still in idle, so leave it before asking again.
            mpd_send_noidle(connection);
        }
        MpdIdleNotice notice;
        notice.subsystems = mpd_recv_idle(connection, true);
        if (notice.subsystems == 0 && mpd_connection_get_error(connection) != MPD_ERROR_SUCCESS) {
            return;
        }
        if (notice.subsystems == 0) {
            continue;
        }
        // The status is read here, on this connection, so that the loop
        // does not wait for MPD's answer.
        notice.reads = statusReads.load();
        if ((notice.subsystems & kMpdStatusSubsystems) != 0) {
            mpd_status* read = mpd_run_status(connection);
            if (read == nullptr) {
                return;
            }
            notice.status.reset(read, mpd_status_free);
        }
        notify(std::move(notice));
    }
}

void MpdIdleWatch::Shared::Run() const {
    bool lost = false;
    while (!stop) {
        mpd_connection* connection =
            mpd_connection_new(options.host.c_str(), options.port, MpdTimeoutMs(options.timeout));
        if (connection == nullptr || mpd_connection_get_error(connection) != MPD_ERROR_SUCCESS) {
            if (connection != nullptr) {
                mpd_connection_free(connection);
            }
            if (!lost) {
                Tell(MpdIdleNotice::Kind::kLost);
                lost = true;
            }
            Wait(kReconnectInterval);
            continue;
        }
        lost = false;
        Tell(MpdIdleNotice::Kind::kConnected);
        Listen(connection);
        const bool broken = mpd_connection_get_error(connection) != MPD_ERROR_SUCCESS;
        mpd_connection_free(connection);
        if (broken && !stop) {
            Tell(MpdIdleNotice::Kind::kLost);
            lost = true;
            Wait(kReconnectInterval);
        }
    }
}

MpdIdleWatch::~MpdIdleWatch() {
    Stop();
}

void MpdIdleWatch::Start(const MpdOptions& options, Notify notify) {
    Stop();
    auto shared = std::make_shared<Shared>();
    shared->options = options;
    shared->notify = std::move(notify);
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        shared->wakeRead = pipe[0];
        shared->wakeWrite = pipe[1];
    }
    shared_ = shared;
    timeout_ = options.timeout;
    thread_.Start("MPD Idle", [shared] { shared->Run(); });
}

void MpdIdleWatch::Stop() {
    if (!shared_) {
        return;
    }
    shared_->stop = true;
    const char byte = 1;
    (void)!::write(shared_->wakeWrite, &byte, 1);
    thread_.Stop(static_cast<int>(timeout_.count()) + 2000, true);
    shared_.reset();
}

void MpdIdleWatch::CountStatusRead() {
    if (shared_) {
        ++shared_->statusReads;
    }
}

unsigned MpdIdleWatch::StatusReads() const {
    return shared_ ? shared_->statusReads.load() : 0;
}

}  // namespace vantor::server
