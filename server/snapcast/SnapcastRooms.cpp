#include "SnapcastRooms.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>

#include "Rooms.h"
#include "ServerSocket.h"
#include "core/GrowingPause.h"
#include "core/Logger.h"
#include "core/Text.h"

namespace vantor::server::snapcast {

namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

// Orders not yet taken by the link's thread, at most.
constexpr std::size_t kMaxOrders = 256;
// Output snapserver has not read, at most.
constexpr std::size_t kMaxUnsent = 4 * 1024 * 1024;
// Arrays and objects inside one another, at most: deeper lines are not
// snapserver's, and would cost memory out of proportion to their bytes.
constexpr int kMaxDepth = 32;

bool TooDeep(std::string_view line) {
    int depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxDepth) {
                return true;
            }
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

std::string Shorten(std::string_view text) {
    std::string shown(text.substr(0, 120));
    for (char& c : shown) {
        if (static_cast<unsigned char>(c) < 0x20) {
            c = ' ';
        }
    }
    return text.size() > 120 ? shown + "..." : shown;
}

}  // namespace

struct SnapcastRooms::Shared {
    struct Order {
        std::string id;
        bool select = false;
        bool enabled = false;
        Done done;
    };

    explicit Shared(SnapcastOptions settings) : options(std::move(settings)) {
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
            wakeRead.Reset(pipe[0]);
            wakeWrite.Reset(pipe[1]);
        }
    }
    void Wake() {
        const char byte = 1;
        (void)!::write(wakeWrite.Get(), &byte, 1);
    }

    const SnapcastOptions options;
    Changed changed;  // set before the thread starts
    Descriptor wakeRead;
    Descriptor wakeWrite;
    mutable std::mutex mutex;  // guards the fields below
    std::vector<Speaker> speakers;
    bool linked = false;
    bool stop = false;
    std::deque<Order> orders;
};

namespace {

// The link's thread: one connection at a time, and the pauses between.
class Link {
public:
    explicit Link(std::shared_ptr<SnapcastRooms::Shared> shared)
        : shared_(std::move(shared)),
          options_(shared_->options),
          rooms_(options_.stream, options_.player, options_.hungAfter),
          where_(Format(options_.host.find(':') != std::string::npos ? "[%s]:%u" : "%s:%u",
                        options_.host.c_str(), static_cast<unsigned>(options_.port))) {}

    void Run();

private:
    struct Waiting {
        int first = 0;
        std::vector<Call> calls;  // none: Server.GetStatus
        SpeakerService::Done done;
        // The switch asked for, to ask for its calls again once the room
        // has left its group.
        std::string id;
        bool select = false;
        bool enabled = false;
        Clock::time_point deadline;
        std::map<int, json> replies;
    };

    bool Stopping() const {
        std::lock_guard lock(shared_->mutex);
        return shared_->stop;
    }
    void Drain() {
        char bytes[64];
        while (::read(shared_->wakeRead.Get(), bytes, sizeof bytes) > 0) {
        }
    }
    // Waits up to `wait` for the socket (`events`) or a wake; false when
    // the thread is to stop.
    bool Wait(int fd, short events, std::chrono::milliseconds wait, short* ready);
    bool Connect(std::string* reason);
    // Until the connection is to be left; why it is.
    std::string Session();
    // Leaves the connection: every call waiting fails, the rooms go; logged
    // once until the rooms are back.
    void Drop(const std::string& reason);
    void Fail(SpeakerService::Done& done) {
        if (done) {
            done(kPlayerFailed);
            done = nullptr;
        }
    }
    void TakeOrders();
    Waiting& Send(std::vector<Call> calls, SpeakerService::Done done);
    // The calls of a switch (`again`: asked for again), sent; false when
    // there are none to send, with `done` not yet called.
    bool SendSwitch(const std::string& id, bool select, bool enabled, bool again,
                    SpeakerService::Done& done, ResultCode* code);
    void ReadStatus();
    // False when the connection is to be left, and why.
    bool Receive(std::string* reason);
    // snapserver writes an answer behind a notification only once the
    // notification is acknowledged; a delayed acknowledgement would hold
    // each switch up some 40 ms. Linux forgets this after a while, so it
    // is said again after each read.
    void QuickAck() {
        const int one = 1;
        ::setsockopt(socket_.Get(), IPPROTO_TCP, TCP_QUICKACK, &one, sizeof one);
    }
    // Sends what it can of the output; false when the connection is to be
    // left.
    bool Flush(std::string* reason);
    bool Line(std::string_view line, std::string* reason);
    bool Reply(const json& reply, std::string* reason);
    bool Finish(Waiting waiting, std::string* reason);
    void Publish();

    const std::shared_ptr<SnapcastRooms::Shared> shared_;
    const SnapcastOptions& options_;
    Rooms rooms_;
    const std::string where_;
    Descriptor socket_;
    std::string in_;
    std::string out_;
    std::map<int, Waiting> waiting_;  // by the first id of the call or batch
    int nextId_ = 1;
    bool statusAsked_ = false;
    bool garbageLogged_ = false;
    bool downLogged_ = false;
    bool noStreamLogged_ = false;
    // The list last given out; empty at first, as the server shows it
    // before the link.
    std::vector<Speaker> lastPublished_;
    std::optional<Clock::time_point> publishAt_;
    // When the status is to be read again.
    std::optional<Clock::time_point> statusAt_;
};

bool Link::Wait(int fd, short events, std::chrono::milliseconds wait, short* ready) {
    pollfd fds[2] = {{shared_->wakeRead.Get(), POLLIN, 0}, {fd, events, 0}};
    const int count = fd >= 0 ? 2 : 1;
    const int result =
        ::poll(fds, count, static_cast<int>(std::max<std::int64_t>(0, wait.count())));
    if (result > 0 && (fds[0].revents & POLLIN) != 0) {
        Drain();
    }
    *ready = count == 2 && result > 0 ? fds[1].revents : 0;
    return !Stopping();
}

bool Link::Connect(std::string* reason) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(options_.port);
    if (const int error = ::getaddrinfo(options_.host.c_str(), port.c_str(), &hints, &found);
        error != 0) {
        *reason = ::gai_strerror(error);
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, ::freeaddrinfo);
    for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
        Descriptor fd(
            ::socket(address->ai_family, address->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        if (fd.Get() < 0) {
            *reason = std::strerror(errno);
            continue;
        }
        if (::connect(fd.Get(), address->ai_addr, address->ai_addrlen) != 0) {
            if (errno != EINPROGRESS) {
                *reason = std::strerror(errno);
                continue;
            }
            // A switch asked for meanwhile fails at once (there are no rooms
            // yet), and is no reason to give the connection up before its
            // time.
            short ready = 0;
            const auto deadline = Clock::now() + options_.callTimeout;
            for (auto now = Clock::now(); ready == 0 && now < deadline; now = Clock::now()) {
                TakeOrders();
                if (!Wait(fd.Get(), POLLOUT,
                          std::chrono::ceil<std::chrono::milliseconds>(deadline - now), &ready)) {
                    *reason = "stopping";
                    return false;
                }
            }
            int error = 0;
            socklen_t length = sizeof error;
            if (ready == 0) {
                *reason = "no answer";
                continue;
            }
            ::getsockopt(fd.Get(), SOL_SOCKET, SO_ERROR, &error, &length);
            if (error != 0) {
                *reason = std::strerror(error);
                continue;
            }
        }
        // A switch is one small write that waits for its answer: never
        // held back for an acknowledgement.
        const int one = 1;
        ::setsockopt(fd.Get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        socket_ = std::move(fd);
        QuickAck();
        return true;
    }
    return false;
}

void Link::Run() {
    int failures = 0;
    while (!Stopping()) {
        std::string reason;
        if (Connect(&reason)) {
            const auto began = Clock::now();
            reason = Session();
            // Only a link that held a while ends the pauses' growth: one
            // dropped at once, again and again, would otherwise be made
            // anew each first pause, with two changes of the list each time.
            if (rooms_.Loaded() && Clock::now() - began >= options_.longestPause) {
                failures = 0;
            }
        }
        Drop(reason);
        if (Stopping()) {
            break;
        }
        ++failures;
        const auto resume =
            Clock::now() + GrowingPause(options_.firstPause, options_.longestPause, failures);
        // Switches asked for meanwhile fail at once.
        for (auto now = Clock::now(); now < resume; now = Clock::now()) {
            TakeOrders();
            short ready = 0;
            if (!Wait(-1, 0, std::chrono::ceil<std::chrono::milliseconds>(resume - now), &ready)) {
                break;
            }
        }
        TakeOrders();
    }
    Drop("stopping");
    std::deque<SnapcastRooms::Shared::Order> orders;
    {
        std::lock_guard lock(shared_->mutex);
        orders.swap(shared_->orders);
    }
    for (auto& order : orders) {
        Fail(order.done);
    }
}

std::string Link::Session() {
    std::string reason;
    in_.clear();
    out_.clear();
    garbageLogged_ = false;
    ReadStatus();
    while (true) {
        auto wake = Clock::time_point::max();
        for (const auto& [id, waiting] : waiting_) {
            wake = std::min(wake, waiting.deadline);
        }
        // While the status is read again the changes wait for it: the
        // list it makes is the one to tell.
        if (publishAt_ && !statusAsked_) {
            wake = std::min(wake, *publishAt_);
        }
        if (statusAt_ && !statusAsked_) {
            wake = std::min(wake, *statusAt_);
        }
        const auto now = Clock::now();
        const auto wait = wake == Clock::time_point::max()
                              ? std::chrono::milliseconds(60'000)
                              : std::chrono::ceil<std::chrono::milliseconds>(
                                    std::max(wake - now, Clock::duration::zero()));
        short ready = 0;
        if (!Wait(socket_.Get(), static_cast<short>(POLLIN | (out_.empty() ? 0 : POLLOUT)), wait,
                  &ready)) {
            return "stopping";
        }
        if ((ready & (POLLIN | POLLHUP | POLLERR)) != 0 && !Receive(&reason)) {
            return reason;
        }
        if ((ready & POLLOUT) != 0 && !Flush(&reason)) {
            return reason;
        }
        for (const auto& [id, waiting] : waiting_) {
            if (Clock::now() >= waiting.deadline) {
                return Format("no answer within %lld ms",
                              static_cast<long long>(options_.callTimeout.count()));
            }
        }
        if (publishAt_ && !statusAsked_ && Clock::now() >= *publishAt_) {
            Publish();
        }
        if (statusAt_ && !statusAsked_ && Clock::now() >= *statusAt_) {
            ReadStatus();
        }
        TakeOrders();
        // At once: the socket has room for a switch nearly always.
        if (!Flush(&reason)) {
            return reason;
        }
    }
}

bool Link::Flush(std::string* reason) {
    while (!out_.empty()) {
        const ssize_t sent = ::send(socket_.Get(), out_.data(), out_.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0 && errno != EAGAIN) {
            *reason = std::strerror(errno);
            return false;
        }
        if (sent <= 0) {
            break;
        }
        out_.erase(0, static_cast<std::size_t>(sent));
    }
    if (out_.size() > kMaxUnsent) {
        *reason = "it reads nothing";
        return false;
    }
    return true;
}

void Link::Drop(const std::string& reason) {
    socket_.Reset();
    auto waiting = std::move(waiting_);
    waiting_.clear();
    statusAsked_ = false;
    noStreamLogged_ = false;
    publishAt_.reset();
    statusAt_.reset();
    const bool had = rooms_.Loaded();
    rooms_.Clear();
    {
        std::lock_guard lock(shared_->mutex);
        shared_->linked = false;
    }
    if (!Stopping()) {
        if (had) {
            Log(kLogError,
                "vantor-server: lost snapserver at %s (%s); no rooms until it is back, trying "
                "again",
                where_.c_str(), reason.c_str());
            downLogged_ = true;
        } else if (!downLogged_) {
            Log(kLogError,
                "vantor-server: cannot use snapserver at %s (%s); no rooms until it answers, "
                "trying again",
                where_.c_str(), reason.c_str());
            downLogged_ = true;
        }
        // The list is empty before the switches under way hear they failed.
        Publish();
    }
    for (auto& [id, call] : waiting) {
        Fail(call.done);
    }
}

void Link::TakeOrders() {
    std::deque<SnapcastRooms::Shared::Order> orders;
    {
        std::lock_guard lock(shared_->mutex);
        orders.swap(shared_->orders);
    }
    for (auto& order : orders) {
        if (socket_.Get() < 0 || !rooms_.Loaded() || waiting_.size() >= options_.maxWaiting) {
            Fail(order.done);
            continue;
        }
        ResultCode code = kSuccess;
        if (SendSwitch(order.id, order.select, order.enabled, false, order.done, &code)) {
            continue;
        }
        if (code == kPlayerFailed && !noStreamLogged_) {
            // Once a connection: each client's request would write a line.
            noStreamLogged_ = true;
            Log(kLogError,
                "vantor-server: snapserver at %s has no stream for this player (streams are "
                "chosen with --snapcast-stream)",
                where_.c_str());
        }
        order.done(code);
    }
}

bool Link::SendSwitch(const std::string& id, bool select, bool enabled, bool again,
                      SpeakerService::Done& done, ResultCode* code) {
    std::vector<Call> calls;
    *code = select ? rooms_.SelectCalls(id, &calls) : rooms_.EnableCalls(id, enabled, &calls);
    if (*code != kSuccess || calls.empty()) {
        return false;
    }
    if (again && calls.back().method == "Group.SetClients") {
        *code = kPlayerFailed;  // it did not leave its group
        return false;
    }
    Waiting& waiting = Send(std::move(calls), std::move(done));
    done = nullptr;
    waiting.id = id;
    waiting.select = select;
    waiting.enabled = enabled;
    return true;
}

Link::Waiting& Link::Send(std::vector<Call> calls, SpeakerService::Done done) {
    Waiting waiting;
    waiting.first = nextId_;
    waiting.done = std::move(done);
    waiting.deadline = Clock::now() + options_.callTimeout;
    std::string text;
    if (calls.empty()) {
        text = Format(R"({"id":%d,"jsonrpc":"2.0","method":"Server.GetStatus"})", nextId_++);
    } else {
        text = "[";
        for (const Call& call : calls) {
            text += Format(R"(%s{"id":%d,"jsonrpc":"2.0","method":"%s","params":)",
                           text.size() > 1 ? "," : "", nextId_++, call.method.c_str()) +
                    call.params + "}";
        }
        text += "]";
    }
    waiting.calls = std::move(calls);
    out_ += text + "\n";
    return waiting_.emplace(waiting.first, std::move(waiting)).first->second;
}

void Link::ReadStatus() {
    if (!statusAsked_) {
        statusAsked_ = true;
        Send({}, nullptr);
    }
}

bool Link::Receive(std::string* reason) {
    char buffer[64 * 1024];
    while (true) {
        const ssize_t received = ::recv(socket_.Get(), buffer, sizeof buffer, 0);
        QuickAck();
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received < 0 && errno == EAGAIN) {
            return true;
        }
        if (received <= 0) {
            *reason = received == 0 ? "it closed the connection" : std::strerror(errno);
            return false;
        }
        const std::size_t scanned = in_.size();
        in_.append(buffer, static_cast<std::size_t>(received));
        std::size_t start = 0;
        for (auto end = in_.find('\n', scanned); end != std::string::npos;
             end = in_.find('\n', start)) {
            if (end - start > options_.maxLine) {
                break;
            }
            if (!Line(std::string_view(in_).substr(start, end - start), reason)) {
                return false;
            }
            start = end + 1;
        }
        in_.erase(0, start);
        if (in_.size() > options_.maxLine) {
            *reason = Format("a line longer than %zu bytes", options_.maxLine);
            return false;
        }
        if (static_cast<std::size_t>(received) < sizeof buffer) {
            return true;
        }
    }
}

bool Link::Line(std::string_view line, std::string* reason) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) {
        line.remove_suffix(1);
    }
    if (line.empty()) {
        return true;
    }
    json message =
        TooDeep(line) ? json(json::value_t::discarded) : json::parse(line, nullptr, false);
    const bool notification = message.is_object() && message.contains("method") &&
                              message["method"].is_string() && !message.contains("id");
    if (notification) {
        const std::string method = message["method"].get<std::string>();
        const json& params = message.contains("params") ? message["params"] : json();
        if (!rooms_.Loaded()) {
            return true;  // the status asked for will hold it
        }
        if (!rooms_.Apply(method, params)) {
            ReadStatus();
        }
        if (!publishAt_) {
            publishAt_ = Clock::now() + options_.coalesce;
        }
        return true;
    }
    if (message.is_object() && message.contains("id")) {
        return Reply(message, reason);
    }
    if (message.is_array() && !message.empty()) {
        for (const json& reply : message) {
            if (reply.is_object() && reply.contains("id") && !Reply(reply, reason)) {
                return false;
            }
        }
        return true;
    }
    if (!garbageLogged_) {
        Log(kLogError, "vantor-server: snapserver at %s sent what is not JSON-RPC: %s",
            where_.c_str(), Shorten(line).c_str());
        garbageLogged_ = true;
    }
    return true;
}

bool Link::Reply(const json& reply, std::string* reason) {
    const json& id = reply["id"];
    if (!id.is_number_integer()) {
        return true;
    }
    const int number = id.get<int>();
    auto found = waiting_.upper_bound(number);
    if (found == waiting_.begin()) {
        return true;  // a call long given up
    }
    --found;
    Waiting& waiting = found->second;
    const std::size_t calls = std::max<std::size_t>(1, waiting.calls.size());
    if (number >= waiting.first + static_cast<int>(calls)) {
        return true;
    }
    waiting.replies[number] = reply;
    if (waiting.replies.size() < calls) {
        return true;
    }
    Waiting done = std::move(found->second);
    waiting_.erase(found);
    return Finish(std::move(done), reason);
}

bool Link::Finish(Waiting waiting, std::string* reason) {
    if (waiting.calls.empty()) {
        statusAsked_ = false;
        // Also after a status that is none: it is asked for again in time,
        // not at once and again and again.
        const auto now = Clock::now();
        statusAt_ = now + options_.statusEvery;
        const json& reply = waiting.replies.begin()->second;
        const bool first = !rooms_.Loaded();
        if (!reply.contains("result") || !rooms_.Load(reply["result"])) {
            *reason = "Server.GetStatus answered with " +
                      Shorten(reply.dump(-1, ' ', false, json::error_handler_t::replace));
            if (!first) {
                Log(kLogError, "vantor-server: snapserver at %s: %s", where_.c_str(),
                    reason->c_str());
            }
            return !first;
        }
        if (first) {
            if (rooms_.Stream().empty()) {
                Log(kLogError,
                    "vantor-server: rooms from snapserver at %s, but none of its streams is this "
                    "player's; every room shows off until --snapcast-stream names one",
                    where_.c_str());
            } else {
                Log(kLogError, "vantor-server: rooms from snapserver at %s, stream \"%s\"",
                    where_.c_str(), rooms_.Stream().c_str());
            }
            downLogged_ = false;
            std::lock_guard lock(shared_->mutex);
            shared_->linked = true;
        }
        rooms_.Watch(now);
        Publish();
        return true;
    }
    bool failed = false;
    bool left = false;  // the room has left its group
    for (std::size_t i = 0; i < waiting.calls.size(); ++i) {
        const Call& call = waiting.calls[i];
        const json& reply = waiting.replies[waiting.first + static_cast<int>(i)];
        if (reply.contains("error")) {
            const json& error = reply["error"];
            const std::string message =
                error.is_object() && error.contains("message") && error["message"].is_string()
                    ? error["message"].get<std::string>()
                    : error.dump(-1, ' ', false, json::error_handler_t::replace);
            const long long code =
                error.is_object() && error.contains("code") && error["code"].is_number_integer()
                    ? error["code"].get<long long>()
                    : 0;
            Log(kLogError, "vantor-server: snapserver at %s refused %s %s: %s (%lld)",
                where_.c_str(), call.method.c_str(), Shorten(call.params).c_str(),
                Shorten(message).c_str(), code);
            failed = true;
        } else if (call.method == "Group.SetClients") {
            // The whole status, with the room's group of its own.
            left = reply.contains("result") && rooms_.Load(reply["result"]);
            failed = failed || !left;
        } else {
            rooms_.Apply(call.method, json::parse(call.params, nullptr, false));
        }
    }
    if (failed) {
        ReadStatus();  // what did happen
    }
    Publish();
    ResultCode code = failed ? kPlayerFailed : kSuccess;
    if (left && !failed &&
        SendSwitch(waiting.id, waiting.select, waiting.enabled, true, waiting.done, &code)) {
        return true;
    }
    if (waiting.done) {
        waiting.done(code);
    }
    return true;
}

void Link::Publish() {
    publishAt_.reset();
    std::vector<Speaker> speakers = rooms_.Speakers();
    if (speakers == lastPublished_) {
        return;
    }
    {
        std::lock_guard lock(shared_->mutex);
        shared_->speakers = speakers;
    }
    lastPublished_ = speakers;
    if (shared_->changed) {
        shared_->changed(std::move(speakers));
    }
}

}  // namespace

SnapcastRooms::SnapcastRooms(SnapcastOptions options)
    : options_(std::move(options)), shared_(std::make_shared<Shared>(options_)) {}

SnapcastRooms::~SnapcastRooms() {
    Stop();
}

void SnapcastRooms::Start(Changed changed) {
    Stop();
    {
        std::lock_guard lock(shared_->mutex);
        shared_->stop = false;
    }
    shared_->changed = std::move(changed);
    thread_.Start("Snapcast Link", [shared = shared_] { Link(shared).Run(); });
}

void SnapcastRooms::Stop() {
    {
        std::lock_guard lock(shared_->mutex);
        shared_->stop = true;
    }
    shared_->Wake();
    thread_.Stop(static_cast<int>(options_.callTimeout.count()) + 2000, true);
    std::deque<Shared::Order> orders;
    {
        std::lock_guard lock(shared_->mutex);
        orders.swap(shared_->orders);
        shared_->speakers.clear();
        shared_->linked = false;
    }
    for (auto& order : orders) {
        order.done(kPlayerFailed);
    }
}

std::vector<Speaker> SnapcastRooms::Speakers() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->speakers;
}

bool SnapcastRooms::Linked() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->linked;
}

void SnapcastRooms::Select(const std::string& id, Done done) {
    Order(id, true, true, std::move(done));
}

void SnapcastRooms::Enable(const std::string& id, bool enabled, Done done) {
    Order(id, false, enabled, std::move(done));
}

void SnapcastRooms::Order(const std::string& id, bool select, bool enabled, Done done) {
    {
        std::lock_guard lock(shared_->mutex);
        if (!shared_->stop && shared_->orders.size() < kMaxOrders) {
            shared_->orders.push_back(Shared::Order{id, select, enabled, std::move(done)});
            done = nullptr;
        }
    }
    if (done) {
        done(kPlayerFailed);
        return;
    }
    shared_->Wake();
}

}  // namespace vantor::server::snapcast
