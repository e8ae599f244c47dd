#include "ui/desktop/SingleInstance.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QFileInfo>
#include <QSocketNotifier>
#include <cerrno>
#include <cstring>

#include "core/Logger.h"

namespace vantor::ui {

namespace {

constexpr char kRaise = 'R';

// An abstract socket address: a zero byte, then the name.
socklen_t AbstractAddress(const std::string& name, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    const std::size_t size = std::min(name.size(), sizeof address.sun_path - 1);
    std::memcpy(address.sun_path + 1, name.data(), size);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + size);
}

}  // namespace

SingleInstance::SingleInstance(const QString& settingsFile) {
    const QByteArray path = QFileInfo(settingsFile).absoluteFilePath().toUtf8();
    name_ = "vantor-" +
            QCryptographicHash::hash(path, QCryptographicHash::Sha1).toHex().left(16).toStdString();
}

SingleInstance::~SingleInstance() {
    notifier_.reset();
    if (listener_ >= 0) {
        ::close(listener_);
    }
}

bool SingleInstance::RaiseRunning() {
    const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (client < 0) {
        return false;
    }
    sockaddr_un address;
    const socklen_t length = AbstractAddress(name_, address);
    const bool running = ::connect(client, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                         ::send(client, &kRaise, 1, MSG_NOSIGNAL) == 1;
    ::close(client);
    return running;
}

bool SingleInstance::Listen(std::function<void()> raise) {
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address;
    const socklen_t length = AbstractAddress(name_, address);
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener_, 4) != 0) {
        Log(kLogError, "Cannot listen for later starts on @%s: %s", name_.c_str(),
            std::strerror(errno));
        if (listener_ >= 0) {
            ::close(listener_);
            listener_ = -1;
        }
        return false;
    }
    notifier_ = std::make_unique<QSocketNotifier>(listener_, QSocketNotifier::Read);
    QObject::connect(
        notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
        [this, raise = std::move(raise)] {
            int client;
            while ((client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
                // The later start writes its one byte before it ends.
                pollfd ready{client, POLLIN, 0};
                char byte = 0;
                if (::poll(&ready, 1, 1000) == 1 && ::recv(client, &byte, 1, 0) == 1 &&
                    byte == kRaise) {
                    raise();
                }
                ::close(client);
            }
        });
    return true;
}

}  // namespace vantor::ui
