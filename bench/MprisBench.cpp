// vantor-server over desktop media players (MPRIS), on a session bus of the
// run's own (run it as dbus-run-session -- mpris_bench; the suite does):
// - a command's round trip: a client sets mpv's volume through the server
//   and waits for the VolumeChangedEvent that comes back, beside the same
//   D-Bus call made directly from C++ and the PropertiesChanged it causes
//   (mpv's plugin sends its changes about 100 ms after they happen, in
//   both); and the server's answer alone beside the call and its answer;
// - a player's PropertiesChanged to the event reaching a watching client:
//   a player written here signals a new volume and the client waits for the
//   event (target: under one 16 ms frame).
// Skipped where mpv, its MPRIS plugin or flac is missing, or off a bus of
// its own.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QEventLoop>
#include <QThread>
#include <atomic>
#include <filesystem>

#include "BenchServer.h"
#include "RawClient.h"
#include "mpris/MprisBackend.h"
#include "protocol/Messages.h"
#include "support/BenchReport.h"
#include "support/MprisPlayers.h"

namespace vantor {
namespace {

namespace fs = std::filesystem;
using bench::RawClient;

const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

// One mpv for the whole run, paused on one short song.
class BenchMpv {
public:
    static BenchMpv& Instance() {
        static BenchMpv instance;
        return instance;
    }
    bool Ready() const { return ready_; }
    const std::string& Why() const { return why_; }

    ~BenchMpv() {
        mpv_.reset();
        if (!folder_.empty()) {
            fs::remove_all(folder_);
        }
    }

private:
    BenchMpv() {
        if (!testing::OnPrivateBus()) {
            why_ = "not on a session bus of its own: run dbus-run-session -- mpris_bench";
            return;
        }
        if (!testing::Mpv::Available() || testing::FindProgram("flac").empty() ||
            testing::FindProgram("playerctl").empty()) {
            why_ = "mpv, mpv-mpris, flac or playerctl is not installed (scripts/install-deps)";
            return;
        }
        char pattern[] = "/tmp/vantor-mpris-bench-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) {
            why_ = "no temporary folder";
            return;
        }
        folder_ = pattern;
        std::string error;
        if (!testing::WriteMusic(folder_, {{"a/01.flac", "Artist", "Album", "Song"}}, "", &error)) {
            why_ = "flac failed: " + error;
            return;
        }
        mpv_ = std::make_unique<testing::Mpv>(folder_ / "list.m3u", folder_ / "mpv.sock");
        ready_ = mpv_->Start();
        if (!ready_) {
            why_ = "mpv did not come onto the bus";
        }
    }

    fs::path folder_;
    std::unique_ptr<testing::Mpv> mpv_;
    bool ready_ = false;
    std::string why_;
};

// A player of the run's own, on a thread and a connection of its own: it
// answers GetAll with a volume and signals the changes the benchmark asks for.
class SignallingPlayer final : public QDBusVirtualObject {
public:
    static constexpr char kName[] = "org.mpris.MediaPlayer2.benchsignals";

    void Come() {
        bus_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                             QStringLiteral("bench-player"));
        bus_.registerVirtualObject(kPath, this);
        bus_.registerService(QString::fromLatin1(kName));
    }
    void Leave() {
        bus_.unregisterService(QString::fromLatin1(kName));
        bus_.unregisterObject(kPath);
        QDBusConnection::disconnectFromBus(QStringLiteral("bench-player"));
    }
    void SignalVolume(double volume) {
        QDBusMessage signal =
            QDBusMessage::createSignal(kPath, kProperties, QStringLiteral("PropertiesChanged"));
        signal << kPlayer << QVariantMap{{QStringLiteral("Volume"), volume}} << QStringList();
        bus_.send(signal);
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        QDBusMessage reply = message.createReply();
        if (message.member() == QStringLiteral("GetAll") && !message.arguments().isEmpty() &&
            message.arguments()[0].toString() == kPlayer) {
            reply << QVariantMap{
                {QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")},
                {QStringLiteral("Volume"), 0.5},
                {QStringLiteral("CanControl"), true},
                {QStringLiteral("Metadata"),
                 QVariantMap{{QStringLiteral("xesam:title"), QStringLiteral("Signals")}}}};
        } else if (message.member() == QStringLiteral("GetAll")) {
            reply << QVariantMap{{QStringLiteral("Identity"), QStringLiteral("Bench")}};
        }
        connection.send(reply);
        return true;
    }

private:
    QDBusConnection bus_{QString()};
};

testing::SimulatedOptions MprisServerOptions(const std::string& name) {
    testing::SimulatedOptions options = bench::QuietServerOptions(0, false);
    options.makePlayer = [name] {
        server::mpris::MprisOptions player;
        player.name = name;
        return std::make_shared<server::mpris::MprisBackend>(player);
    };
    return options;
}

// Asks until the server drives a player whose title is `title`.
bool WaitForPlayer(RawClient& client, const std::string& title) {
    return testing::WaitUntil(
        [&] {
            GetCurrentStateRequest state;
            state.requestId = 1;
            bool found = false;
            client.Send(state) && client.ReadUntil([&](const std::string& document) {
                if (document.find("<GetCurrentStateResponse") == std::string::npos) {
                    return false;
                }
                found = document.find("<title>" + title + "</title>") != std::string::npos;
                return true;
            });
            return found;
        },
        std::chrono::seconds(10));
}

bool Skip(benchmark::State& state) {
    if (!BenchMpv::Instance().Ready()) {
        state.SkipWithError(BenchMpv::Instance().Why().c_str());
        return true;
    }
    return false;
}

void BM_ServerVolumeRoundTrip(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    testing::SimulatedServer server(MprisServerOptions("mpv"));
    if (!server.Start()) {
        state.SkipWithError("no server");
        return;
    }
    RawClient client(server.Port());
    if (!client.Connected() || !WaitForPlayer(client, "Song")) {
        state.SkipWithError("the server found no mpv");
        return;
    }
    // Away from both volumes the loop sets, which would otherwise change
    // nothing and be told to no one (the run before may have left one).
    client.SetVolume(50);
    int volume = 30;
    for (auto _ : state) {
        volume = volume == 30 ? 31 : 30;
        if (!client.SetVolume(volume)) {
            state.SkipWithError("no event");
            break;
        }
    }
}

// The command alone: the server answers once mpv has answered its call.
void BM_ServerVolumeResponse(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    testing::SimulatedServer server(MprisServerOptions("mpv"));
    RawClient client(server.Start() ? server.Port() : 0);
    if (!client.Connected() || !WaitForPlayer(client, "Song")) {
        state.SkipWithError("the server found no mpv");
        return;
    }
    int volume = 30;
    for (auto _ : state) {
        volume = volume == 30 ? 31 : 30;
        SetVolumeRequest request;
        request.requestId = 1;
        request.volume = volume;
        if (!client.Send(request) || !client.ReadUntil([](const std::string& document) {
                return document.find("<SetVolumeResponse") != std::string::npos &&
                       document.find("<returnCode>0</returnCode>") != std::string::npos;
            })) {
            state.SkipWithError("no answer");
            break;
        }
    }
}

QDBusMessage SetVolumeCall(double volume) {
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.mpris.MediaPlayer2.mpv"),
                                                       kPath, kProperties, QStringLiteral("Set"));
    call << kPlayer << QStringLiteral("Volume") << QVariant::fromValue(QDBusVariant(volume));
    return call;
}

void BM_DBusSetVolume(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("bench-direct"));
    double volume = 0.30;
    for (auto _ : state) {
        volume = volume == 0.30 ? 0.31 : 0.30;
        if (bus.call(SetVolumeCall(volume), QDBus::Block, 2000).type() !=
            QDBusMessage::ReplyMessage) {
            state.SkipWithError("Set Volume failed");
            break;
        }
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("bench-direct"));
}

// Counts the PropertiesChanged signals it is connected to.
class SignalCounter final : public QObject {
    Q_OBJECT

public:
    int seen = 0;

public Q_SLOTS:
    void OnChanged(const QDBusMessage&) { ++seen; }
};

// The call and the PropertiesChanged it causes, as a client of the bus that
// watches the player sees them.
void BM_DBusSetVolumeAndSignal(benchmark::State& state) {
    if (Skip(state)) {
        return;
    }
    const QString name = QStringLiteral("bench-call");
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
    SignalCounter counter;
    bus.connect(QString(), kPath, kProperties, QStringLiteral("PropertiesChanged"), &counter,
                SLOT(OnChanged(QDBusMessage)));
    bus.call(SetVolumeCall(0.5), QDBus::Block, 2000);  // away from both volumes set below
    double volume = 0.30;
    for (auto _ : state) {
        volume = volume == 0.30 ? 0.31 : 0.30;
        const int before = counter.seen;
        if (bus.call(SetVolumeCall(volume), QDBus::Block, 2000).type() !=
            QDBusMessage::ReplyMessage) {
            state.SkipWithError("Set Volume failed");
            break;
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (counter.seen == before && std::chrono::steady_clock::now() < deadline) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        }
        if (counter.seen == before) {
            state.SkipWithError("no PropertiesChanged");
            break;
        }
    }
    QDBusConnection::disconnectFromBus(name);
}

void BM_PropertiesChangedToClientEvent(benchmark::State& state) {
    if (!testing::OnPrivateBus()) {
        state.SkipWithError("not on a session bus of its own: run dbus-run-session -- mpris_bench");
        return;
    }
    QThread thread;
    thread.start();
    auto* player = new SignallingPlayer;
    player->moveToThread(&thread);
    QMetaObject::invokeMethod(
        player, [player] { player->Come(); }, Qt::BlockingQueuedConnection);
    {
        testing::SimulatedServer server(MprisServerOptions("benchsignals"));
        RawClient client(server.Start() ? server.Port() : 0);
        if (!client.Connected() || !WaitForPlayer(client, "Signals")) {
            state.SkipWithError("the server found no player");
        } else {
            int volume = 30;
            for (auto _ : state) {
                volume = volume == 30 ? 31 : 30;
                player->SignalVolume(volume / 100.0);
                if (!client.WaitForVolume(volume)) {
                    state.SkipWithError("no event");
                    break;
                }
            }
        }
    }
    QMetaObject::invokeMethod(
        player, [player] { player->Leave(); }, Qt::BlockingQueuedConnection);
    player->deleteLater();
    thread.quit();
    thread.wait();
}

BENCHMARK(BM_ServerVolumeRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_ServerVolumeResponse)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_DBusSetVolume)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_DBusSetVolumeAndSignal)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_PropertiesChangedToClientEvent)->Unit(benchmark::kMicrosecond)->UseRealTime();

const bool kComparisons = [] {
    bench::CompareTo("BM_ServerVolumeResponse", "BM_DBusSetVolume");
    bench::CompareTo("BM_ServerVolumeRoundTrip", "BM_DBusSetVolumeAndSignal");
    return true;
}();

}  // namespace
}  // namespace vantor

#include "MprisBench.moc"

int main(int argc, char** argv) {
    // QtDBus wants an application object; it is never run.
    QCoreApplication application(argc, argv);
    return vantor::bench::Main(argc, argv);
}
