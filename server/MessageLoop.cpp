#include "MessageLoop.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>

#include "RefusalLog.h"
#include "core/Logger.h"
#include "core/Text.h"
#include "net/LocalAddressSource.h"
#include "protocol/MessageFactory.h"
#include "protocol/XmlReader.h"

namespace vantor::server {

namespace {

// How many of the latest request names ReceivedRequests() keeps.
constexpr std::size_t kReceivedKept = 1000;

// Library requests waiting for the library thread at most, in all and from
// one client; the rest are answered at once as failed, so a flood of
// searches costs no memory, and one client's flood fails only its own.
constexpr std::size_t kLibraryWaiting = 256;
constexpr std::size_t kLibraryWaitingPerClient = 32;
// Switches of rooms one client may have waiting for the rooms' answer.
constexpr std::size_t kSpeakersWaitingPerClient = 16;

// The listener's first rest after accept ran out of descriptors or memory,
// and its longest.
constexpr std::chrono::milliseconds kFirstAcceptRest{50};
constexpr std::chrono::milliseconds kLongestAcceptRest{2000};

}  // namespace

std::unique_ptr<Message> ReadRequest(std::string_view document, std::string* text,
                                     std::string* root, bool* notRequest) {
    while (!document.empty() && document.front() == '\0') {
        document.remove_prefix(1);
    }
    *text = RemoveProcessingInstructionsAndComments(document);
    *root = RootName(*text);
    auto request = MessageFactory::Create(MessageTypeFromName(*root));
    *notRequest = request != nullptr && request->Kind() != MessageKind::Request;
    if (!request || *notRequest) {
        return nullptr;
    }
    request->FromXml(*text);
    return request;
}

void MessageServer::Loop::Run() {
    library_->reply = [weak = weak_from_this()](std::uint64_t client, std::string answer,
                                                std::string events) {
        if (const auto loop = weak.lock()) {
            Loop* self = loop.get();  // the task runs on the loop, which it cannot outlive
            loop->PostRaw([self, client, answer = std::move(answer), events = std::move(events)] {
                self->Answer(client, answer, events);
            });
        }
    };
    libraryThread_.Start("Server Library", [desk = library_] { desk->Run(); });
    auto nextTick = Now() + options_.tick;
    // epoll, not poll: a wake costs the same with a thousand idle clients as
    // with none.
    epoll_event events[64];
    while (!stop_) {
        auto now = Now();
        // Dropped here, before the wait, so their descriptors go at once.
        const auto nextGreetingDeadline = DropSilent(now);
        RemoveClosed();
        WatchOutput();
        WatchPlayer();
        if (!playerReady_ && player_->Ready()) {
            playerReady_ = true;
            Watch(discovery_.Get(), EPOLL_CTL_ADD, EPOLLIN, kDiscoveryTag);
        }
        const bool listening = playerReady_ && (!acceptResting_ || now >= acceptResumes_);
        // A resting listener is left out: its waiting connection would wake
        // the loop at once, again and again.
        if (listening != listenerWatched_ &&
            Watch(listener_.Get(), listening ? EPOLL_CTL_ADD : EPOLL_CTL_DEL, EPOLLIN,
                  kListenerTag)) {
            listenerWatched_ = listening;
        }
        auto until = std::min(nextTick, nextGreetingDeadline);
        if (!listening) {
            until = std::min(until, acceptResumes_);
        }
        now = Now();
        const auto wait =
            until <= now ? 0 : std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
        const int ready =
            ::epoll_wait(epoll_.Get(), events, static_cast<int>(std::size(events)),
                         static_cast<int>(std::min<long long>(wait, 24LL * 3600 * 1000)));

        bool accept = acceptResting_ && listening;
        for (int i = 0; i < ready; ++i) {
            const std::uint64_t tag = events[i].data.u64;
            if (tag == kWakeTag) {
                char drain[64];
                while (::read(wakeRead_.Get(), drain, sizeof drain) > 0) {
                }
                RunTasks();
            } else if (tag == kListenerTag) {
                accept = true;
            } else if (tag == kDiscoveryTag) {
                AnswerProbe();
            } else if (tag == kPlayerTag) {
                Events playerEvents;
                player_->OnWatched(playerEvents);
                Broadcast(playerEvents);
            } else {
                // Clients leave only in RemoveClosed, so the pointer holds
                // for the whole batch.
                Client& client = *reinterpret_cast<Client*>(static_cast<std::uintptr_t>(tag));
                if ((events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
                    Read(client);
                }
                if ((events[i].events & EPOLLOUT) != 0 && !client.closing) {
                    Flush(client);
                }
            }
        }
        if (accept) {
            Accept();
        }
        if (Now() >= nextTick) {
            Events tickEvents;
            player_->Tick(tickEvents);
            Broadcast(tickEvents);
            // From now: after a stall the ticks missed are not made up, each
            // of them a status read from the player.
            nextTick = Now() + options_.tick;
        }
        RemoveClosed();
        stats_->clients = static_cast<int>(clients_.size());
    }
    clients_.clear();
    playerFd_.Reset();
    unsentTotal_ = 0;
    stats_->clients = 0;
    {
        std::lock_guard lock(library_->mutex);
        library_->stop = true;
        library_->jobs.clear();
    }
    library_->wake.notify_all();
    // A search MPD holds ends with its time-out; the thread is left to it.
    libraryThread_.Stop(static_cast<int>(options_.playerTimeout.count()) + 2000, true);
}

void MessageServer::Loop::LibraryDesk::Run() {
    while (true) {
        Job job;
        {
            std::unique_lock lock(mutex);
            wake.wait(lock, [this] { return stop || !jobs.empty(); });
            if (stop) {
                return;
            }
            job = std::move(jobs.front());
            jobs.pop_front();
        }
        if (!job.request) {
            reply(0, std::string(), std::move(job.events));
            continue;
        }
        Events caused;
        const auto response = handler.Handle(*job.request, caused);
        std::string answer = response->ToXml();
        answer.push_back('\0');
        std::string events;
        for (const auto& event : caused) {
            events += event->ToXml();
            events.push_back('\0');
        }
        reply(job.client, std::move(answer), std::move(events));
    }
}

void MessageServer::Loop::Answer(std::uint64_t id, const std::string& answer,
                                 const std::string& events) {
    --libraryInFlight_;
    for (auto& client : clients_) {
        if (id != 0 && client->id == id) {
            --client->libraryWaiting;
            Queue(*client, answer, events.empty());
            break;
        }
    }
    if (!events.empty()) {
        SendRawToAll(events);
    }
}

void MessageServer::Loop::RemoveClosed() {
    std::erase_if(clients_, [this](const std::unique_ptr<Client>& client) {
        if (!client->closing || client->unsentBytes != 0) {
            return false;
        }
        ::epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, client->fd.Get(), nullptr);
        return true;
    });
}

void MessageServer::Loop::WatchOutput() {
    for (auto& client : clients_) {
        const bool want = client->unsentBytes != 0 && !client->closing;
        if (want != client->watchOut) {
            client->watchOut = want;
            Watch(client->fd.Get(), EPOLL_CTL_MOD, want ? EPOLLIN | EPOLLOUT : EPOLLIN,
                  Tag(*client));
        }
    }
}

void MessageServer::Loop::WatchPlayer() {
    const PlayerBackend::LoopWatch watch = player_->Watched();
    if (watch.fd == playerWatch_.fd && watch.generation == playerWatch_.generation &&
        watch.writable == playerWatch_.writable) {
        return;
    }
    const std::uint32_t events = watch.writable ? EPOLLIN | EPOLLOUT : EPOLLIN;
    if (watch.fd >= 0 && watch.fd == playerWatch_.fd &&
        watch.generation == playerWatch_.generation) {
        Watch(playerFd_.Get(), EPOLL_CTL_MOD, events, kPlayerTag);
    } else {
        // The epoll set holds a copy of the player's descriptor, not its
        // number: the player may close its own mid-pass, and a client
        // accepted in the same pass may get that number. The copy's number
        // is the loop's until it takes it out here.
        if (playerFd_.Get() >= 0) {
            ::epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, playerFd_.Get(), nullptr);
            playerFd_.Reset();
        }
        if (watch.fd >= 0) {
            playerFd_.Reset(::fcntl(watch.fd, F_DUPFD_CLOEXEC, 0));
            Watch(playerFd_.Get(), EPOLL_CTL_ADD, events, kPlayerTag);
        }
    }
    playerWatch_ = watch;
}

void MessageServer::Loop::RunTasks() {
    std::deque<PlayerBackend::Task> tasks;
    std::deque<std::function<void()>> rawTasks;
    {
        std::lock_guard lock(tasksMutex_);
        tasks.swap(tasks_);
        rawTasks.swap(rawTasks_);
    }
    for (auto& task : tasks) {
        Events events;
        task(*player_, events);
        Broadcast(events);
    }
    for (auto& task : rawTasks) {
        task();
    }
}

void MessageServer::Loop::Accept() {
    while (true) {
        sockaddr_storage peer{};
        socklen_t length = sizeof peer;
        const int fd = ::accept4(listener_.Get(), reinterpret_cast<sockaddr*>(&peer), &length,
                                 SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) {
            const int error = errno;
            if (error == EINTR || error == ECONNABORTED) {
                continue;
            }
            if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
                // The waiting connection stays in the backlog and keeps the
                // listener readable: polling it now would spin. Rest, and
                // try again later, longer each time.
                if (!acceptResting_) {
                    Log(kLogError,
                        "vantor-server: cannot accept a connection: %s; trying again as "
                        "clients leave",
                        std::strerror(error));
                }
                acceptResting_ = true;
                acceptRest_ = acceptRest_.count() == 0
                                  ? kFirstAcceptRest
                                  : std::min(acceptRest_ * 2, kLongestAcceptRest);
                acceptResumes_ = Now() + acceptRest_;
            } else if (error != EAGAIN && error != EWOULDBLOCK) {
                refusals_.Write(Format("accept failed: %s", std::strerror(error)));
            } else if (acceptResting_) {
                acceptResting_ = false;  // nothing waits; nothing to rest for
                acceptRest_ = std::chrono::milliseconds(0);
            }
            return;
        }
        Descriptor client(fd);
        if (acceptResting_) {
            acceptResting_ = false;
            acceptRest_ = std::chrono::milliseconds(0);
            Log(kLogError, "vantor-server: accepting connections again");
        }
        const auto* address = reinterpret_cast<const sockaddr*>(&peer);
        const std::string name = DescribePeer(address, length);
        if (!options_.allow.Allows(address, length)) {
            refusals_.Write(name +
                            " is outside the allowed addresses (--allow); connection closed");
            continue;
        }
        const std::string host = PeerHost(address, length);
        if (!MakeRoom(host)) {
            refusals_.Write(Format("%s refused: %zu clients from its address, %zu in all, at most",
                                   name.c_str(), options_.maxClientsPerAddress,
                                   options_.maxClients));
            continue;
        }
        const int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        auto added = std::make_unique<Client>(client.Release(), ++lastClientId_, name, host, Now(),
                                              options_.maxPending);
        if (!Watch(fd, EPOLL_CTL_ADD, EPOLLIN, Tag(*added))) {
            refusals_.Write(Format("%s refused: cannot watch its connection: %s", name.c_str(),
                                   std::strerror(errno)));
            continue;
        }
        clients_.push_back(std::move(added));
    }
}

bool MessageServer::Loop::MakeRoom(const std::string& host) {
    std::size_t total = 0;
    std::size_t fromHost = 0;
    for (const auto& client : clients_) {
        if (!client->closing) {
            ++total;
            fromHost += client->host == host ? 1 : 0;
        }
    }
    const bool hostFull = fromHost >= options_.maxClientsPerAddress;
    if (!hostFull && total < options_.maxClients) {
        return true;
    }
    // Clients are kept in the order they came, so the first is the oldest.
    for (auto& client : clients_) {
        if (!client->closing && !client->greeted && (!hostFull || client->host == host)) {
            refusals_.Write(client->peer +
                            " has not spoken and makes room for a new client; connection closed");
            Close(*client);
            return true;
        }
    }
    return false;
}

std::chrono::steady_clock::time_point MessageServer::Loop::DropSilent(
    std::chrono::steady_clock::time_point now) {
    auto next = std::chrono::steady_clock::time_point::max();
    for (auto& client : clients_) {
        if (client->greeted || client->closing) {
            continue;
        }
        const auto deadline = client->connected + options_.greetingTimeout;
        if (deadline <= now) {
            // What came while the loop was held (a command waiting for the
            // player) came in time: read before judging.
            Read(*client);
            if (client->greeted || client->closing) {
                continue;
            }
            refusals_.Write(client->peer + " sent no message after connecting; connection closed");
            Close(*client);
        } else {
            next = std::min(next, deadline);
        }
    }
    return next;
}

void MessageServer::Loop::Read(Client& client) {
    char buffer[64 * 1024];
    while (!client.closing) {
        const ssize_t received = ::recv(client.fd.Get(), buffer, sizeof buffer, 0);
        if (received == 0 || (received < 0 && errno != EAGAIN && errno != EINTR)) {
            Close(client);
            return;
        }
        if (received < 0) {
            return;
        }
        const bool fits =
            client.framer.Feed(std::string_view(buffer, static_cast<std::size_t>(received)),
                               [&](std::string_view document) {
                                   client.greeted = true;
                                   Handle(client, document);
                               });
        if (!fits) {
            ++stats_->malformed;
            Log(kLogError,
                "vantor-server: %s sent more than %zu bytes without ending a message; "
                "closing its connection",
                client.peer.c_str(), options_.maxPending);
            Close(client);
        }
    }
}

void MessageServer::Loop::Handle(Client& client, std::string_view document) {
    std::string text;
    std::string root;
    bool notRequest = false;
    auto request = ReadRequest(document, &text, &root, &notRequest);
    if (!request) {
        ++stats_->malformed;
        Log(kLogError, "vantor-server: %s from %s: %s",
            notRequest ? "not a request" : "unknown or malformed message", client.peer.c_str(),
            text.c_str());
        return;
    }
    ++stats_->requests;
    {
        std::lock_guard lock(stats_->mutex);
        if (stats_->received.size() == kReceivedKept) {
            stats_->received.erase(stats_->received.begin());
        }
        stats_->received.emplace_back(request->TypeName());
    }
    if (RequestHandler::WaitsForLibrary(request->Type())) {
        bool queued = false;
        if (client.libraryWaiting < kLibraryWaitingPerClient) {
            std::lock_guard lock(library_->mutex);
            if (library_->jobs.size() < kLibraryWaiting) {
                library_->jobs.push_back(LibraryDesk::Job{client.id, std::move(request), {}});
                queued = true;
            }
        }
        if (queued) {
            ++client.libraryWaiting;
            ++libraryInFlight_;
            library_->wake.notify_one();
            return;
        }
        refusals_.Write(
            Format("%s: %zu of its library requests, or %zu in all, wait already; %s "
                   "answered as failed",
                   client.peer.c_str(), kLibraryWaitingPerClient, kLibraryWaiting,
                   std::string(request->TypeName()).c_str()));
        std::string bytes = RequestHandler::Refusal(*request, kPlayerFailed)->ToXml();
        bytes.push_back('\0');
        Queue(client, bytes);
        return;
    }
    if (HandToSpeakers(client, *request)) {
        return;
    }
    Events events;
    const auto response = handler_.Handle(*request, events);
    if (!response) {
        ++stats_->malformed;
        Log(kLogError, "vantor-server: %s sent %s, which asks for nothing", client.peer.c_str(),
            root.c_str());
        return;
    }
    std::string bytes = response->ToXml();
    bytes.push_back('\0');
    // The response and the events it caused leave in one write, so the
    // client that asked wakes once for both.
    Queue(client, bytes, false);
    Broadcast(events);
    Flush(client);
}

bool MessageServer::Loop::HandToSpeakers(Client& client, const Message& request) {
    const auto type = request.Type();
    if (!speakers_ ||
        (type != MessageType::SelectSpeakerRequest && type != MessageType::EnableSpeakerRequest)) {
        return false;
    }
    // The response names the request by its type and id alone.
    std::shared_ptr<Message> asked(MessageFactory::Create(type));
    asked->requestId = request.requestId;
    if (client.speakersWaiting >= kSpeakersWaitingPerClient) {
        refusals_.Write(
            Format("%s: %zu of its speaker switches wait already; %s answered as "
                   "failed",
                   client.peer.c_str(), kSpeakersWaitingPerClient,
                   std::string(request.TypeName()).c_str()));
        std::string bytes = RequestHandler::Refusal(request, kPlayerFailed)->ToXml();
        bytes.push_back('\0');
        Queue(client, bytes);
        return true;
    }
    ++client.speakersWaiting;
    // The answer comes on the rooms' thread, or at once.
    auto done = [weak = weak_from_this(), id = client.id, asked](ResultCode code) {
        std::string answer = RequestHandler::Refusal(*asked, code)->ToXml();
        answer.push_back('\0');
        if (const auto loop = weak.lock()) {
            Loop* self = loop.get();  // the task runs on the loop, which it cannot outlive
            loop->PostRaw(
                [self, id, answer = std::move(answer)] { self->AnswerSpeakers(id, answer); });
        }
    };
    if (type == MessageType::SelectSpeakerRequest) {
        speakers_->Select(As<SelectSpeakerRequest>(request)->id, std::move(done));
    } else {
        const auto& enable = *As<EnableSpeakerRequest>(request);
        speakers_->Enable(enable.id, enable.enabled, std::move(done));
    }
    return true;
}

void MessageServer::Loop::AnswerSpeakers(std::uint64_t id, const std::string& answer) {
    for (auto& client : clients_) {
        if (client->id == id) {
            --client->speakersWaiting;
            Queue(*client, answer);
            return;
        }
    }
}

void MessageServer::Loop::Broadcast(const Events& events) {
    if (events.empty()) {
        return;
    }
    std::string bytes;
    std::string library;
    for (const auto& event : events) {
        if (speakers_ && event->Type() == MessageType::SpeakerListChangedEvent) {
            continue;  // the player's outputs, while the speakers are the rooms
        }
        // A change of the library follows the library answers still being
        // worked out, which were read from it before the change: it goes
        // through the library thread's queue, after them.
        std::string& into =
            event->Type() == MessageType::MediaLibraryChangedEvent && libraryInFlight_ != 0
                ? library
                : bytes;
        into += event->ToXml();
        into.push_back('\0');
    }
    if (!bytes.empty()) {
        SendRawToAll(bytes);
    }
    if (!library.empty()) {
        {
            std::lock_guard lock(library_->mutex);
            library_->jobs.push_back(LibraryDesk::Job{0, nullptr, std::move(library)});
        }
        ++libraryInFlight_;
        library_->wake.notify_one();
    }
}

void MessageServer::Loop::Queue(Client& client, std::string_view bytes, bool flush) {
    if (client.closing || bytes.empty()) {
        return;
    }
    if (client.unsentBytes == 0) {
        client.stalledSince = Now();
    }
    client.unsent.emplace_back(bytes);
    client.unsentBytes += bytes.size();
    unsentTotal_ += bytes.size();
    if (flush) {
        Flush(client);
    }
    KeepToBudget();
}

void MessageServer::Loop::KeepToBudget() {
    while (unsentTotal_ > options_.maxUnsent) {
        // Not the one holding most: peers that never read can each hold
        // little, below one long answer a slow reader takes its time over.
        Client* stalled = nullptr;
        for (auto& client : clients_) {
            if (client->unsentBytes == 0) {
                continue;
            }
            if (stalled == nullptr || client->stalledSince < stalled->stalledSince ||
                (client->stalledSince == stalled->stalledSince &&
                 client->unsentBytes > stalled->unsentBytes)) {
                stalled = client.get();
            }
        }
        if (stalled == nullptr) {
            return;
        }
        Log(kLogError, "vantor-server: %s does not read its messages; closing its connection",
            stalled->peer.c_str());
        Close(*stalled);
    }
}

void MessageServer::Loop::Consume(Client& client, std::size_t bytes) {
    client.unsentBytes -= bytes;
    unsentTotal_ -= bytes;
    while (bytes > 0) {
        const std::size_t left = client.unsent.front().size() - client.sentOfFirst;
        if (bytes < left) {
            client.sentOfFirst += bytes;
            return;
        }
        bytes -= left;
        client.unsent.pop_front();
        client.sentOfFirst = 0;
    }
}

void MessageServer::Loop::Flush(Client& client) {
    while (client.unsentBytes != 0) {
        iovec parts[16];
        std::size_t count = 0;
        for (auto piece = client.unsent.begin();
             piece != client.unsent.end() && count < std::size(parts); ++piece, ++count) {
            const std::size_t skip = count == 0 ? client.sentOfFirst : 0;
            parts[count].iov_base = piece->data() + skip;
            parts[count].iov_len = piece->size() - skip;
        }
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = count;
        const ssize_t sent = ::sendmsg(client.fd.Get(), &message, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno != EAGAIN) {
                Close(client);
            }
            return;
        }
        Consume(client, static_cast<std::size_t>(sent));
        if (sent > 0) {
            client.stalledSince = Now();
        }
    }
}

void MessageServer::Loop::AnswerProbe() {
    unsigned char probe[1000];
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    const ssize_t received = ::recvfrom(discovery_.Get(), probe, sizeof probe, 0,
                                        reinterpret_cast<sockaddr*>(&sender), &length);
    if (received <= 0) {
        return;
    }
    if (!options_.allow.Allows(reinterpret_cast<const sockaddr*>(&sender), length)) {
        refusals_.Write(Describe(sender) +
                        " is outside the allowed addresses (--allow); no discovery reply");
        return;
    }
    if (received < 2 || probe[0] != 0x01 || probe[1] != 0x00) {
        ++stats_->malformed;
        Log(kLogError, "vantor-server: ignoring a discovery datagram of %zd bytes from %s",
            received, Describe(sender).c_str());
        return;
    }
    // 0x01 0x00, a spare byte, then our addresses separated by ",".
    std::string reply("\x01\x00\x00", 3);
    for (std::size_t i = 0; i < advertised_.size(); ++i) {
        reply += (i == 0 ? "" : ",") + advertised_[i];
    }
    ::sendto(discovery_.Get(), reply.data(), reply.size(), 0,
             reinterpret_cast<const sockaddr*>(&sender), length);
}
}  // namespace vantor::server
