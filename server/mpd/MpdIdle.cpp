#include "MpdIdle.h"

#include <fcntl.h>
#include <mpd/async.h>
#include <mpd/client.h>

#include <condition_variable>
#include <cstring>
#include <mutex>

namespace vantor::server {

const unsigned kMpdStatusSubsystems =
    MPD_IDLE_PLAYER | MPD_IDLE_MIXER | MPD_IDLE_OPTIONS | MPD_IDLE_QUEUE;

namespace {

constexpr std::chrono::milliseconds kReconnectInterval{500};

}  // namespace

// What the connecting thread touches; it holds a share, so a thread
// abandoned after its stop time-out never reaches freed memory.
struct MpdIdleWatch::Shared {
    MpdOptions options;
    Notify notify;
    std::mutex mutex;  // guards the fields below
    std::condition_variable wake;
    bool stop = false;
    bool wanted = true;  // the loop has no connection: make one
    bool pause = false;  // rest first: the last one just broke
    bool lost = false;   // the loop has been told MPD is away

    void Tell(MpdIdleNotice notice) const { notify(std::move(notice)); }
    void Run();
};

void MpdIdleWatch::Shared::Run() {
    std::unique_lock lock(mutex);
    while (true) {
        wake.wait(lock, [this] { return stop || wanted; });
        if (pause && !stop) {
            pause = false;
            wake.wait_for(lock, kReconnectInterval, [this] { return stop; });
        }
        if (stop) {
            return;
        }
        lock.unlock();
        mpd_connection* made =
            mpd_connection_new(options.host.c_str(), options.port, MpdTimeoutMs(options.timeout));
        const bool ok = made != nullptr && mpd_connection_get_error(made) == MPD_ERROR_SUCCESS;
        lock.lock();
        if (!ok) {
            if (made != nullptr) {
                mpd_connection_free(made);
            }
            if (!lost) {
                lost = true;
                MpdIdleNotice notice;
                notice.kind = MpdIdleNotice::Kind::kLost;
                Tell(std::move(notice));
            }
            pause = true;
            continue;
        }
        lost = false;
        wanted = false;
        MpdIdleNotice notice;
        notice.kind = MpdIdleNotice::Kind::kConnected;
        notice.connection.reset(made, mpd_connection_free);
        Tell(std::move(notice));
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
    shared_ = shared;
    timeout_ = options.timeout;
    thread_.Start("MPD Idle", [shared] { shared->Run(); });
}

void MpdIdleWatch::Stop() {
    if (shared_) {
        {
            std::lock_guard lock(shared_->mutex);
            shared_->stop = true;
        }
        shared_->wake.notify_all();
        thread_.Stop(static_cast<int>(timeout_.count()) + 2000, true);
        shared_.reset();
    }
    Drop();
}

bool MpdIdleWatch::Adopt(std::shared_ptr<mpd_connection> connection) {
    Drop();
    if (!connection) {
        return true;
    }
    connection_ = std::move(connection);
    ++generation_;
    const int fd = mpd_connection_get_fd(connection_.get());
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    if (!Ask(false)) {
        // MPD went between the thread's connect and now: as with a
        // connection that breaks later, the thread connects again.
        Drop();
        Lost();
        return false;
    }
    return true;
}

void MpdIdleWatch::Lost() {
    if (!shared_) {
        return;
    }
    {
        std::lock_guard lock(shared_->mutex);
        shared_->wanted = true;
        shared_->pause = true;
        shared_->lost = true;
    }
    shared_->wake.notify_all();
}

void MpdIdleWatch::Drop() {
    connection_.reset();
    statusAsked_ = false;
    changed_ = 0;
    status_.reset();
}

PlayerBackend::LoopWatch MpdIdleWatch::Watched() const {
    PlayerBackend::LoopWatch watch;
    if (connection_) {
        mpd_async* async = mpd_connection_get_async(connection_.get());
        watch.fd = mpd_async_get_fd(async);
        watch.writable = (mpd_async_events(async) & MPD_ASYNC_EVENT_WRITE) != 0;
        watch.generation = generation_;
    }
    return watch;
}

bool MpdIdleWatch::Ask(bool status) {
    mpd_async* async = mpd_connection_get_async(connection_.get());
    if (status && !mpd_async_send_command(async, "status", nullptr)) {
        return false;
    }
    statusAsked_ = status;
    // MPD's names for the subsystems waited for.
    if (!mpd_async_send_command(async, "idle", "database", "stored_playlist", "playlist", "player",
                                "mixer", "output", "options", "sticker", nullptr)) {
        return false;
    }
    // Sent now: the loop waits for room to write only when the socket had none.
    return mpd_async_io(async, MPD_ASYNC_EVENT_WRITE);
}

std::vector<MpdIdleNotice> MpdIdleWatch::OnReady(unsigned reads) {
    std::vector<MpdIdleNotice> notices;
    if (!connection_) {
        return notices;
    }
    mpd_async* async = mpd_connection_get_async(connection_.get());
    // (What mpd_async_events() names includes hang-up and error, which
    // mpd_async_io() takes for a broken connection: read, and write what
    // waits.)
    const bool writing = (mpd_async_events(async) & MPD_ASYNC_EVENT_WRITE) != 0;
    bool broken = !mpd_async_io(
        async, writing ? static_cast<mpd_async_event>(MPD_ASYNC_EVENT_READ | MPD_ASYNC_EVENT_WRITE)
                       : MPD_ASYNC_EVENT_READ);
    while (!broken) {
        char* line = mpd_async_recv_line(async);
        if (line == nullptr) {
            break;
        }
        if (std::strncmp(line, "ACK ", 4) == 0) {
            broken = true;
        } else if (std::strcmp(line, "OK") != 0) {
            char* colon = std::strstr(line, ": ");
            if (colon == nullptr) {
                continue;
            }
            *colon = '\0';
            const mpd_pair pair{line, colon + 2};
            if (statusAsked_) {
                if (!status_) {
                    status_.reset(mpd_status_begin(), mpd_status_free);
                }
                mpd_status_feed(status_.get(), &pair);
            } else if (std::strcmp(pair.name, "changed") == 0) {
                changed_ |= mpd_idle_name_parse(pair.value);
            }
        } else if (statusAsked_) {
            // The status of the changes the last idle told: MPD now holds
            // the next idle.
            MpdIdleNotice notice;
            notice.subsystems = changed_;
            notice.status = std::move(status_);
            notice.reads = readsWhenAsked_;
            notices.push_back(std::move(notice));
            changed_ = 0;
            statusAsked_ = false;
        } else if ((changed_ & kMpdStatusSubsystems) != 0) {
            readsWhenAsked_ = reads;
            broken = !Ask(true);
        } else {
            if (changed_ != 0) {
                MpdIdleNotice notice;
                notice.subsystems = changed_;
                notices.push_back(std::move(notice));
            }
            changed_ = 0;
            broken = !Ask(false);
        }
    }
    if (broken || mpd_async_get_error(async) != MPD_ERROR_SUCCESS) {
        Drop();
        MpdIdleNotice lost;
        lost.kind = MpdIdleNotice::Kind::kLost;
        notices.push_back(std::move(lost));
        Lost();
    }
    return notices;
}

}  // namespace vantor::server
