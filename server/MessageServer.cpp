#include "MessageServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <future>

#include "MusicFolder.h"
#include "RefusalLog.h"
#include "SimulatedBackend.h"
#include "core/Logger.h"
#include "core/Text.h"
#include "mpd/MpdBackend.h"
#include "net/LocalAddressSource.h"
#include "protocol/MessageFactory.h"
#include "protocol/XmlReader.h"

namespace vantor::server {

namespace {

// A client whose unsent output grows past this is not reading; it is dropped.
constexpr std::size_t kMaxUnsent = 64 * 1024 * 1024;

// How many of the latest request names ReceivedRequests() keeps.
constexpr std::size_t kReceivedKept = 1000;

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { Reset(); }
    Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    int Get() const { return fd_; }
    int Release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void Reset(int fd = -1) {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

bool ToAddress(const std::string& dotted, std::uint16_t port, sockaddr_in* address) {
    std::memset(address, 0, sizeof *address);
    address->sin_family = AF_INET;
    address->sin_port = htons(port);
    return ::inet_pton(AF_INET, dotted.c_str(), &address->sin_addr) == 1;
}

std::string Describe(const sockaddr_in& address) {
    return DescribePeer(reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

// The listener's first rest after accept ran out of descriptors or memory,
// and its longest.
constexpr std::chrono::milliseconds kFirstAcceptRest{50};
constexpr std::chrono::milliseconds kLongestAcceptRest{2000};

std::uint16_t BoundPort(int fd) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

// Binds a socket of the given type; an invalid descriptor (logged) on failure.
Descriptor Bind(int type, const std::string& host, std::uint16_t port, const char* what) {
    sockaddr_in address;
    if (!ToAddress(host, port, &address)) {
        Log(kLogError, "vantor-server: %s is not an IPv4 address", host.c_str());
        return {};
    }
    Descriptor fd(::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd.Get() < 0) {
        Log(kLogError, "vantor-server: cannot create the %s socket: %s", what,
            std::strerror(errno));
        return {};
    }
    const int one = 1;
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(fd.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        Log(kLogError, "vantor-server: cannot bind the %s socket to %s:%u: %s", what, host.c_str(),
            static_cast<unsigned>(port), std::strerror(errno));
        return {};
    }
    return fd;
}

// The MD5 of a file as 32 lower-case hexadecimal digits; empty when it
// cannot be read.
std::string FileMd5(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        Log(kLogError, "vantor-server: cannot read the update file %s", path.c_str());
        return {};
    }
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr);
    char block[4096];
    while (in.read(block, sizeof block) || in.gcount() > 0) {
        EVP_DigestUpdate(context.get(), block, static_cast<std::size_t>(in.gcount()));
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(context.get(), digest, &size);
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) {
        hex += Format("%02x", digest[i]);
    }
    return hex;
}

}  // namespace

struct MessageServer::Client {
    Descriptor fd;
    std::string peer;
    std::string host;  // the peer's address without its port
    std::chrono::steady_clock::time_point connected;
    MessageFramer framer;
    std::string unsent;
    bool greeted = false;   // it has sent a whole message
    bool watchOut = false;  // the loop waits for room to write to it
    bool closing = false;

    Client(int descriptor, std::string name, std::string address, std::size_t maxPending)
        : fd(descriptor),
          peer(std::move(name)),
          host(std::move(address)),
          connected(std::chrono::steady_clock::now()),
          framer(maxPending) {}
};

class MessageServer::Loop {
public:
    Loop(const ServerOptions& options, std::shared_ptr<PlayerBackend> player,
         std::shared_ptr<Stats> stats, Descriptor listener, Descriptor discovery,
         std::vector<std::string> advertised)
        : options_(options),
          player_(std::move(player)),
          stats_(std::move(stats)),
          listener_(std::move(listener)),
          discovery_(std::move(discovery)),
          advertised_(std::move(advertised)),
          handler_(*player_, options.info) {
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
            wakeRead_.Reset(pipe[0]);
            wakeWrite_.Reset(pipe[1]);
        }
        epoll_.Reset(::epoll_create1(EPOLL_CLOEXEC));
        Watch(wakeRead_.Get(), EPOLL_CTL_ADD, EPOLLIN, kWakeTag);
        Watch(discovery_.Get(), EPOLL_CTL_ADD, EPOLLIN, kDiscoveryTag);
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
    void SendRawToAll(const std::string& bytes) {
        for (auto& client : clients_) {
            Queue(*client, bytes);
        }
    }
    void DropAll() {
        for (auto& client : clients_) {
            client->closing = true;
            client->unsent.clear();
        }
    }

private:
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
        client.unsent.clear();
    }
    void Read(Client& client);
    void Flush(Client& client);
    // Appends to the client's output and, unless told not to, sends.
    void Queue(Client& client, std::string_view bytes, bool flush = true);
    void Handle(Client& client, std::string_view document);
    void Broadcast(const Events& events);
    void AnswerProbe();

    const ServerOptions options_;
    const std::shared_ptr<PlayerBackend> player_;
    const std::shared_ptr<Stats> stats_;
    Descriptor listener_;
    Descriptor discovery_;
    Descriptor epoll_;
    bool listenerWatched_ = false;
    Descriptor wakeRead_;
    Descriptor wakeWrite_;
    std::vector<std::string> advertised_;
    RequestHandler handler_;
    std::vector<std::unique_ptr<Client>> clients_;
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

void MessageServer::Loop::Run() {
    using Clock = std::chrono::steady_clock;
    auto nextTick = Clock::now() + options_.tick;
    // epoll, not poll: a wake costs the same with a thousand idle clients as
    // with none.
    epoll_event events[64];
    while (!stop_) {
        auto now = Clock::now();
        // Dropped here, before the wait, so their descriptors go at once.
        const auto nextGreetingDeadline = DropSilent(now);
        RemoveClosed();
        WatchOutput();
        const bool listening = !acceptResting_ || now >= acceptResumes_;
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
        now = Clock::now();
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
        if (Clock::now() >= nextTick) {
            nextTick += options_.tick;
            Events tickEvents;
            player_->Tick(tickEvents);
            Broadcast(tickEvents);
        }
        RemoveClosed();
        stats_->clients = static_cast<int>(clients_.size());
    }
    clients_.clear();
    stats_->clients = 0;
}

void MessageServer::Loop::RemoveClosed() {
    std::erase_if(clients_, [this](const std::unique_ptr<Client>& client) {
        if (!client->closing || !client->unsent.empty()) {
            return false;
        }
        ::epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, client->fd.Get(), nullptr);
        return true;
    });
}

void MessageServer::Loop::WatchOutput() {
    for (auto& client : clients_) {
        const bool want = !client->unsent.empty() && !client->closing;
        if (want != client->watchOut) {
            client->watchOut = want;
            Watch(client->fd.Get(), EPOLL_CTL_MOD, want ? EPOLLIN | EPOLLOUT : EPOLLIN,
                  Tag(*client));
        }
    }
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
                acceptResumes_ = std::chrono::steady_clock::now() + acceptRest_;
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
        auto added = std::make_unique<Client>(client.Release(), name, host, options_.maxPending);
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
            client.closing = true;
            client.unsent.clear();
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
            client.closing = true;
            client.unsent.clear();
        }
    }
}

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

void MessageServer::Loop::Handle(Client& client, std::string_view document) {
    std::string text;
    std::string root;
    bool notRequest = false;
    const auto request = ReadRequest(document, &text, &root, &notRequest);
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

void MessageServer::Loop::Broadcast(const Events& events) {
    if (events.empty()) {
        return;
    }
    std::string bytes;
    for (const auto& event : events) {
        bytes += event->ToXml();
        bytes.push_back('\0');
    }
    for (auto& client : clients_) {
        Queue(*client, bytes);
    }
}

void MessageServer::Loop::Queue(Client& client, std::string_view bytes, bool flush) {
    if (client.closing) {
        return;
    }
    client.unsent.append(bytes);
    if (client.unsent.size() > kMaxUnsent) {
        Log(kLogError, "vantor-server: %s does not read its messages; closing its connection",
            client.peer.c_str());
        client.closing = true;
        client.unsent.clear();
        return;
    }
    if (flush) {
        Flush(client);
    }
}

void MessageServer::Loop::Flush(Client& client) {
    while (!client.unsent.empty()) {
        const ssize_t sent =
            ::send(client.fd.Get(), client.unsent.data(), client.unsent.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EAGAIN || errno == EINTR) {
                return;
            }
            client.closing = true;
            client.unsent.clear();
            return;
        }
        client.unsent.erase(0, static_cast<std::size_t>(sent));
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

namespace {

MediaLibrary SimulatedLibrary(const ServerOptions& options) {
    if (!options.mpdHost.empty()) {
        return MediaLibrary();
    }
    if (!options.musicFolder.empty()) {
        return ReadMusicFolder(options.musicFolder);
    }
    return MediaLibrary::Generate(options.songs);
}

}  // namespace

MessageServer::MessageServer(ServerOptions options)
    : options_(std::move(options)),
      library_(std::make_shared<const MediaLibrary>(SimulatedLibrary(options_))),
      stats_(std::make_shared<Stats>()) {}

MessageServer::~MessageServer() {
    Stop();
}

bool MessageServer::Start() {
    Stop();
    Descriptor listener = Bind(SOCK_STREAM, options_.bindAddress, options_.port, "message");
    if (listener.Get() < 0) {
        return false;
    }
    if (::listen(listener.Get(), SOMAXCONN) != 0) {
        Log(kLogError, "vantor-server: cannot listen: %s", std::strerror(errno));
        return false;
    }
    Descriptor discovery;
    if (options_.discovery) {
        discovery = Bind(SOCK_DGRAM, options_.bindAddress, options_.discoveryPort, "discovery");
        if (discovery.Get() < 0) {
            return false;
        }
        discoveryPort_ = BoundPort(discovery.Get());
    }
    port_ = BoundPort(listener.Get());

    std::vector<std::string> advertised = options_.advertisedAddresses;
    if (advertised.empty()) {
        if (options_.bindAddress == "0.0.0.0") {
            advertised = InterfaceAddressSource().LocalAddresses();
        } else {
            advertised.push_back(options_.bindAddress);
        }
    }
    ServerOptions options = options_;
    if (!options.updateFile.empty()) {
        if (options.info.clientUrl.empty()) {
            options.info.clientUrl =
                "/update/" + std::filesystem::path(options.updateFile).filename().string();
        }
        if (options.info.clientChecksum.empty()) {
            options.info.clientChecksum = FileMd5(options.updateFile);
        }
    }
    if (options.makePlayer) {
        player_ = options.makePlayer();
    } else if (options.mpdHost.empty()) {
        player_ = std::make_shared<SimulatedBackend>(library_, options.queueLength);
    } else {
        MpdOptions mpd;
        mpd.host = options.mpdHost;
        mpd.port = options.mpdPort;
        mpd.timeout = options.mpdTimeout;
        player_ = std::make_shared<MpdBackend>(mpd);
    }
    loop_ = std::make_shared<Loop>(options, player_, stats_, std::move(listener),
                                   std::move(discovery), std::move(advertised));
    player_->Start([weak = std::weak_ptr<Loop>(loop_)](PlayerBackend::Task task) {
        if (const auto loop = weak.lock()) {
            loop->Post(std::move(task));
        }
    });
    if (options.startPlaying) {
        Events none;  // nobody is connected yet
        player_->Transport(TransportCommand::Play, none);
    }
    std::shared_ptr<Loop> loop = loop_;
    if (thread_.Start("Server Loop", [loop] { loop->Run(); }) != 0) {
        player_->Stop();
        return false;
    }
    // Last: its workers ask the loop for the play queue.
    if (options.mediaService) {
        MediaHttpOptions media;
        media.bindAddress = options.bindAddress;
        media.port = options.mediaPort;
        media.gzip = options.gzip;
        media.updateFile = options.updateFile;
        media.allow = options.allow;
        media.maxConnections = options.mediaMaxConnections;
        media.maxConnectionsPerAddress = options.mediaMaxConnectionsPerAddress;
        media.connectionTimeout = options.mediaTimeout;
        media_ = std::make_unique<MediaHttpServer>(
            media, player_,
            [this](std::int32_t start, std::int32_t count) { return QueuePage(start, count); });
        if (!media_->Start()) {
            media_.reset();
            Stop();
            return false;
        }
    }
    return true;
}

void MessageServer::Stop() {
    if (media_) {
        media_->Stop();
        media_.reset();
    }
    if (!loop_) {
        return;
    }
    loop_->RequestStop();
    thread_.Stop();
    // After the loop: the backend's own threads post to it until they end.
    player_->Stop();
    loop_.reset();
}

std::uint16_t MessageServer::MediaPort() const {
    return media_ ? media_->Port() : 0;
}

std::vector<std::string> MessageServer::MediaRequests() const {
    return media_ ? media_->ServedPaths() : std::vector<std::string>();
}

std::optional<ListPage> MessageServer::QueuePage(std::int32_t start, std::int32_t count) {
    auto answer = std::make_shared<std::promise<std::optional<ListPage>>>();
    auto future = answer->get_future();
    Post([answer, start, count](PlayerBackend& player, Events&) {
        ListPage page;
        if (player.QueuePage(start, count, &page) == kSuccess) {
            answer->set_value(std::move(page));
        } else {
            answer->set_value(std::nullopt);
        }
    });
    if (future.wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
        return std::nullopt;
    }
    try {
        return future.get();
    } catch (const std::future_error&) {
        return std::nullopt;  // the loop stopped before it got to the question
    }
}

std::vector<std::string> MessageServer::ReceivedRequests() const {
    std::lock_guard lock(stats_->mutex);
    return stats_->received;
}

void MessageServer::Post(PlayerBackend::Task task) {
    if (loop_) {
        loop_->Post(std::move(task));
    }
}

void MessageServer::Post(std::function<void(PlayerModel&, Events&)> task) {
    Post([task = std::move(task)](PlayerBackend& player, Events& events) {
        if (auto* simulated = dynamic_cast<SimulatedBackend*>(&player)) {
            task(simulated->Model(), events);
        } else {
            Log(kLogError,
                "vantor-server: a task for the simulated player dropped: the player is "
                "an MPD");
        }
    });
}

void MessageServer::SendRaw(std::string bytes) {
    if (loop_) {
        Loop* loop = loop_.get();  // the task runs on the loop, which it cannot outlive
        loop_->PostRaw([loop, bytes = std::move(bytes)] { loop->SendRawToAll(bytes); });
    }
}

void MessageServer::DropClients() {
    if (loop_) {
        Loop* loop = loop_.get();
        loop_->PostRaw([loop] { loop->DropAll(); });
    }
}

}  // namespace vantor::server
