#include "ui/SingleInstance.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QLocalSocket>

#include "core/Logger.h"

namespace vantor::ui {

namespace {

constexpr int kAnswerWaitMs = 1000;
constexpr char kRaise[] = "raise\n";

}  // namespace

SingleInstance::SingleInstance(const QString& settingsFile) {
    const QByteArray path = QFileInfo(settingsFile).absoluteFilePath().toUtf8();
    name_ = QStringLiteral("vantor-") +
            QString::fromLatin1(
                QCryptographicHash::hash(path, QCryptographicHash::Sha1).toHex().left(16));
}

bool SingleInstance::RaiseRunning() {
    QLocalSocket socket;
    socket.connectToServer(name_);
    if (!socket.waitForConnected(kAnswerWaitMs)) {
        return false;
    }
    socket.write(kRaise);
    socket.waitForBytesWritten(kAnswerWaitMs);
    socket.disconnectFromServer();
    return true;
}

bool SingleInstance::Listen(std::function<void()> raise) {
    // A socket left by a client that crashed would keep the name taken.
    QLocalServer::removeServer(name_);
    if (!server_.listen(name_)) {
        Log(kLogError, "Cannot listen for later starts on %s: %s", name_.toUtf8().constData(),
            server_.errorString().toUtf8().constData());
        return false;
    }
    QObject::connect(
        &server_, &QLocalServer::newConnection, &server_, [this, raise = std::move(raise)] {
            while (QLocalSocket* socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QLocalSocket::disconnected, socket,
                                 &QObject::deleteLater);
                QObject::connect(socket, &QLocalSocket::readyRead, socket, [socket, raise] {
                    if (socket->readAll().contains("raise")) {
                        raise();
                    }
                });
            }
        });
    return true;
}

}  // namespace vantor::ui
