#pragma once

// The message server's loop thread: one epoll loop accepting clients (with
// the per-address and total limits and the rest after running out of
// descriptors), reading and framing their messages, answering them through
// the player, fanning the player's events out, writing with one budget of
// unsent output for all clients, and answering discovery probes. Library
// requests are answered on a thread of its own ("Server Library"): they may
// wait for the library's connection, which an HTTP worker's long search
// holds, and no command waits behind them. Private to MessageServer.

#include <fcntl.h>
#include <sys/epoll.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "MessageServer.h"
#include "ServerSocket.h"

namespace vantor::server {

struct MessageServer::Client {
    Descriptor fd;
    std::uint64_t id;  // names it to answers that come back from the library thread
    std::string peer;
    std::string host;  // the peer's address without its port
    std::chrono::steady_clock::time_point connected;
    MessageFramer framer;
    // Output not yet sent, in the pieces it was queued in; the first is
    // sent from `sentOfFirst` on, so a partial send moves nothing.
    std::deque<std::string> unsent;
    std::size_t sentOfFirst = 0;
    std::size_t unsentBytes = 0;
    // Since when its output has waited with none of it sent: what a client
    // that does not read grows, and one that reads keeps recent.
    std::chrono::steady_clock::time_point stalledSince;
    std::size_t libraryWaiting = 0;   // its requests on the library thread
    std::size_t speakersWaiting = 0;  // its switches of rooms not yet answered
    bool greeted = false;             // it has sent a whole message
    bool watchOut = false;            // the loop waits for room to write to it
    bool closing = false;

    Client(int descriptor, std::uint64_t number, std::string name, std::string address,
           std::chrono::steady_clock::time_point now, std::size_t maxPending)
        : fd(descriptor),
          id(number),
          peer(std::move(name)),
          host(std::move(address)),
          connected(now),
          framer(maxPending) {}
};

class MessageServer::Loop : public std::enable_shared_from_this<Loop> {
public:
    Loop(const ServerOptions& options, std::shared_ptr<PlayerBackend> player,
         std::shared_ptr<SpeakerService> speakers, std::shared_ptr<Stats> stats,
         Descriptor listener, Descriptor discovery, std::vector<std::string> advertised)
        : options_(options),
          player_(std::move(player)),
          speakers_(std::move(speakers)),
          stats_(std::move(stats)),
          listener_(std::move(listener)),
          discovery_(std::move(discovery)),
          advertised_(std::move(advertised)),
          handler_(*player_, speakers_.get(), options.info),
          library_(std::make_shared<LibraryDesk>(player_, options.info)) {
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
            wakeRead_.Reset(pipe[0]);
            wakeWrite_.Reset(pipe[1]);
        }
        epoll_.Reset(::epoll_create1(EPOLL_CLOEXEC));
        Watch(wakeRead_.Get(), EPOLL_CTL_ADD, EPOLLIN, kWakeTag);
    }

    void Run();
    void RequestStop() {
        stop_ = true;
        Wake();
    }
    void Post(PlayerBackend::Task task) {
        {
            std::lock_guard lock(tasksMutex_);
            tasks_.push_back(std::move(task));
        }
        Wake();
    }
    void PostRaw(std::function<void()> task) {
        {
            std::lock_guard lock(tasksMutex_);
            rawTasks_.push_back(std::move(task));
        }
        Wake();
    }
    // The rooms' new list, to every client.
    void BroadcastSpeakers(std::vector<Speaker> speakers) {
        SpeakerListChangedEvent changed;
        changed.speakers = std::move(speakers);
        std::string bytes = changed.ToXml();
        bytes.push_back('\0');
        SendRawToAll(bytes);
    }
    void SendRawToAll(const std::string& bytes) {
        for (auto& client : clients_) {
            Queue(*client, bytes);
        }
    }
    void DropAll() {
        for (auto& client : clients_) {
            Close(*client);
        }
    }

private:
    using Clock = std::chrono::steady_clock;
    // The library requests waiting for the library thread, and what it
    // needs; the thread holds a share, so one abandoned at the loop's end
    // reaches nothing freed.
    struct LibraryDesk {
        LibraryDesk(std::shared_ptr<PlayerBackend> backend, const ServerInfo& info)
            : player(std::move(backend)), handler(*player, info) {}
        // A request, or (none) events handed back as they are, in order
        // with the answers before them.
        struct Job {
            std::uint64_t client;
            std::unique_ptr<Message> request;
            std::string events;
        };
        // Hands an answer and the events it caused back to the loop.
        std::function<void(std::uint64_t client, std::string answer, std::string events)> reply;
        std::mutex mutex;  // guards jobs and stop
        std::condition_variable wake;
        std::deque<Job> jobs;
        bool stop = false;
        const std::shared_ptr<PlayerBackend> player;
        RequestHandler handler;  // the library thread's own

        void Run();
    };

    Clock::time_point Now() const { return options_.clock ? options_.clock() : Clock::now(); }
    void Wake() {
        const char byte = 1;
        if (wakeWrite_.Get() >= 0) {
            (void)!::write(wakeWrite_.Get(), &byte, 1);
        }
    }
    // What an epoll event names: one of these, or a Client.
    static constexpr std::uint64_t kWakeTag = 1;
    static constexpr std::uint64_t kListenerTag = 2;
    static constexpr std::uint64_t kDiscoveryTag = 3;
    static constexpr std::uint64_t kPlayerTag = 4;
    bool Watch(int fd, int operation, std::uint32_t events, std::uint64_t tag) {
        if (fd < 0 || epoll_.Get() < 0) {
            return false;
        }
        epoll_event event{};
        event.events = events;
        event.data.u64 = tag;
        return ::epoll_ctl(epoll_.Get(), operation, fd, &event) == 0;
    }
    static std::uint64_t Tag(Client& client) { return reinterpret_cast<std::uintptr_t>(&client); }
    // Takes closed clients out of the epoll set before their descriptors
    // close (a copy held by a child being spawned would keep them in it).
    void RemoveClosed();
    // Waits for room to write only to clients with output waiting.
    void WatchOutput();
    // Waits on the player's descriptor, the one it names now.
    void WatchPlayer();
    void RunTasks();
    void Accept();
    // Makes room for a new client from `host` when a limit is reached, by
    // closing the oldest client that has not spoken yet; false when there
    // is none to close.
    bool MakeRoom(const std::string& host);
    // Drops the clients that stayed silent past the greeting time; the
    // earliest time another one will have.
    std::chrono::steady_clock::time_point DropSilent(std::chrono::steady_clock::time_point now);
    void Close(Client& client) {
        client.closing = true;
        Consume(client, client.unsentBytes);
    }
    void Read(Client& client);
    void Flush(Client& client);
    // Takes `bytes` sent (or dropped) off the front of the client's output.
    void Consume(Client& client, std::size_t bytes);
    // Appends to the client's output and, unless told not to, sends.
    void Queue(Client& client, std::string_view bytes, bool flush = true);
    // While the clients hold more unsent output than the budget, drops the
    // one whose output has waited longest with none of it sent.
    void KeepToBudget();
    // An answer from the library thread, for a client that may have gone.
    void Answer(std::uint64_t client, const std::string& answer, const std::string& events);
    void Handle(Client& client, std::string_view document);
    // Hands a speaker switch to the rooms, which answer it later; false
    // when the speakers are the player's.
    bool HandToSpeakers(Client& client, const Message& request);
    // The rooms' answer, for a client that may have gone.
    void AnswerSpeakers(std::uint64_t client, const std::string& answer);
    void Broadcast(const Events& events);
    void AnswerProbe();

    const ServerOptions options_;
    const std::shared_ptr<PlayerBackend> player_;
    const std::shared_ptr<SpeakerService> speakers_;  // null: the player's
    const std::shared_ptr<Stats> stats_;
    Descriptor listener_;
    Descriptor discovery_;
    Descriptor epoll_;
    bool listenerWatched_ = false;
    bool playerReady_ = false;              // from then on clients and discovery are served
    PlayerBackend::LoopWatch playerWatch_;  // what the epoll set holds of the player
    Descriptor playerFd_;                   // the loop's copy of its descriptor
    Descriptor wakeRead_;
    Descriptor wakeWrite_;
    std::vector<std::string> advertised_;
    RequestHandler handler_;
    const std::shared_ptr<LibraryDesk> library_;
    NamedThread libraryThread_;
    std::vector<std::unique_ptr<Client>> clients_;
    std::uint64_t lastClientId_ = 0;
    std::size_t unsentTotal_ = 0;      // output the clients hold, in all
    std::size_t libraryInFlight_ = 0;  // jobs given to the library thread, not answered
    std::atomic<bool> stop_{false};
    std::mutex tasksMutex_;  // guards tasks_ and rawTasks_
    std::deque<PlayerBackend::Task> tasks_;
    std::deque<std::function<void()>> rawTasks_;
    RefusalLog refusals_;
    // While accept fails for want of resources the listener rests until
    // `acceptResumes_`; each failure in a row doubles the rest.
    bool acceptResting_ = false;
    std::chrono::milliseconds acceptRest_{0};
    std::chrono::steady_clock::time_point acceptResumes_;
};

}  // namespace vantor::server
