#include "net/SocketReceiver.h"

#include <cstring>

namespace vantor {

SocketReceiver::Listener* SocketReceiver::Link::Enter() {
    std::lock_guard lock(mutex);
    if (listener != nullptr) {
        ++calls;
    }
    return listener;
}

void SocketReceiver::Link::Leave() {
    std::lock_guard lock(mutex);
    if (--calls == 0) {
        idle.notify_all();
    }
}

void SocketReceiver::Link::Detach() {
    std::lock_guard lock(mutex);
    listener = nullptr;
}

void SocketReceiver::Link::WaitIdle() {
    std::unique_lock lock(mutex);
    if (std::this_thread::get_id() == receiverThread) {
        return;  // a listener call tearing down its own receiver
    }
    idle.wait(lock, [this] { return calls == 0; });
}

SocketReceiver::SocketReceiver(std::string threadName) : threadName_(std::move(threadName)) {}

SocketReceiver::~SocketReceiver() {
    Disconnect();
    std::shared_ptr<Link> link;
    {
        std::lock_guard lock(linkMutex_);
        link = link_;
    }
    if (link) {
        link->WaitIdle();
    }
}

bool SocketReceiver::Connect(const std::string& host, std::uint16_t port, Listener* listener,
                             const std::atomic<bool>* abort) {
    Disconnect();
    auto link = std::make_shared<Link>();
    if (link->socket.Connect(host, port, std::chrono::seconds(10), abort) != 0) {
        return false;
    }
    link->listener = listener;
    link->stop = false;
    {
        std::lock_guard lock(linkMutex_);
        link_ = link;
    }
    if (thread_.Start(threadName_, [link] { ReceiveLoop(link); }) != 0) {
        link->Detach();
        link->stop = true;
        link->socket.Shutdown();
        return false;
    }
    return true;
}

void SocketReceiver::ReceiveLoop(const std::shared_ptr<Link>& link) {
    {
        std::lock_guard lock(link->mutex);
        link->receiverThread = std::this_thread::get_id();
    }
    long last = 0;
    char buffer[kReceiveBufferSize];
    while (!link->stop) {
        std::memset(buffer, 0, sizeof buffer);
        last = link->socket.Receive(buffer, sizeof buffer);
        if (last <= 0) {
            break;
        }
        if (Listener* listener = link->Enter()) {
            listener->OnReceive(std::string_view(buffer, static_cast<std::size_t>(last)));
            link->Leave();
        }
    }
    link->socket.Shutdown();
    if (!link->stop) {
        if (Listener* listener = link->Enter()) {
            listener->OnDisconnected(static_cast<int>(last));
            link->Leave();
        }
    }
    link->stop = true;
}

void SocketReceiver::Disconnect() {
    std::shared_ptr<Link> link;
    {
        std::lock_guard lock(linkMutex_);
        link = link_;
    }
    if (!link) {
        return;
    }
    link->Detach();
    link->stop = true;
    link->socket.Shutdown();
    thread_.Stop(kStopTimeoutMs, true);
}

void SocketReceiver::Drop() {
    std::lock_guard lock(linkMutex_);
    if (link_) {
        link_->socket.Shutdown();
    }
}

bool SocketReceiver::IsConnected() const {
    std::lock_guard lock(linkMutex_);
    return link_ && link_->socket.IsConnected();
}

bool SocketReceiver::Send(std::string_view bytes) {
    std::shared_ptr<Link> link;
    {
        std::lock_guard lock(linkMutex_);
        link = link_;
    }
    if (!link || !link->socket.IsConnected()) {
        return false;
    }
    return link->socket.Send(bytes.data(), bytes.size()) >= 0;
}

}  // namespace vantor
