// The remote player as the desktop's media controls meet it on the session
// bus: a client on a bus connection of its own reads and calls the MPRIS
// interfaces of the real window's service, which runs against
// vantor-server on loopback. Each case runs on a session bus made for it
// by dbus-run-session, never on the machine's.

#include <unistd.h>

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QFile>
#include <QImage>
#include <QLineEdit>
#include <QUrl>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>

#include "support/LogCapture.h"
#include "support/MprisPlayers.h"
#include "ui/GuiFixture.h"
#include "ui/desktop/MprisService.h"

// Qt's texts in GoogleTest's messages.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace vantor::testing {
namespace {

const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kRoot = QStringLiteral("org.mpris.MediaPlayer2");
const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kName = QStringLiteral("org.mpris.MediaPlayer2.vantor");
const QString kClient = QStringLiteral("mpris test client");

// D-Bus variants and dictionaries as plain Qt values, all the way down.
QVariant Plain(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusVariant>()) {
        return Plain(value.value<QDBusVariant>().variant());
    }
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        if (argument.currentType() == QDBusArgument::MapType) {
            QVariantMap map = qdbus_cast<QVariantMap>(argument);
            for (QVariant& entry : map) {
                entry = Plain(entry);
            }
            return map;
        }
    }
    return value;
}

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// What the desktop hears from the player.
class BusRecorder final : public QObject {
    Q_OBJECT

public:
    std::vector<QVariantMap> changes;  // the Player's PropertiesChanged, in order
    std::vector<qlonglong> seeks;

public Q_SLOTS:
    void OnPropertiesChanged(const QString& interface, const QVariantMap& changed,
                             const QStringList&) {
        if (interface == kPlayer) {
            QVariantMap plain = changed;
            for (QVariant& value : plain) {
                value = Plain(value);
            }
            changes.push_back(plain);
        }
    }
    void OnSeeked(qlonglong position) { seeks.push_back(position); }
};

class MprisTest : public GuiTest {
protected:
    void SetUp() override {
        if (!OnPrivateBus()) {
            GTEST_SKIP() << "needs a session bus of its own: run it as "
                            "dbus-run-session -- mpris_tests, as ctest does where "
                            "dbus-run-session (Debian package dbus) is installed";
        }
        client_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus, kClient);
        ASSERT_TRUE(client_.isConnected());
        ASSERT_TRUE(client_.connect(QString(), kPath, kProperties,
                                    QStringLiteral("PropertiesChanged"), &recorder_,
                                    SLOT(OnPropertiesChanged(QString, QVariantMap, QStringList))));
        ASSERT_TRUE(client_.connect(QString(), kPath, kPlayer, QStringLiteral("Seeked"), &recorder_,
                                    SLOT(OnSeeked(qlonglong))));
    }
    void TearDown() override {
        service_.reset();
        if (client_.isConnected()) {
            QDBusConnection::disconnectFromBus(kClient);
        }
    }

    void Offer() {
        service_ = ui::MprisService::Offer(frame_->Desktop());
        ASSERT_NE(service_, nullptr);
        name_ = service_->ServiceName();
    }

    // A call from the client, answered while the window's events run.
    QDBusMessage Call(const QString& interface, const char* method,
                      const QVariantList& arguments = {}) {
        QDBusMessage call =
            QDBusMessage::createMethodCall(name_, kPath, interface, QString::fromLatin1(method));
        call.setArguments(arguments);
        QDBusPendingCall pending = client_.asyncCall(call, 5000);
        EXPECT_TRUE(Pump([&] { return pending.isFinished(); }, 6s)) << method;
        return pending.reply();
    }
    QVariant Get(const QString& interface, const char* property) {
        const QDBusMessage reply =
            Call(kProperties, "Get", {interface, QString::fromLatin1(property)});
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << property;
        return Plain(reply.arguments().value(0));
    }
    QDBusMessage Set(const char* property, const QVariant& value) {
        return Call(
            kProperties, "Set",
            {kPlayer, QString::fromLatin1(property), QVariant::fromValue(QDBusVariant(value))});
    }
    QVariantMap Metadata() { return Get(kPlayer, "Metadata").toMap(); }
    QString TrackId() {
        return Metadata().value(QStringLiteral("mpris:trackid")).value<QDBusObjectPath>().path();
    }
    QString ArtUrl() { return Metadata().value(QStringLiteral("mpris:artUrl")).toString(); }

    // Runs the window's events until a PropertiesChanged after the first
    // `from` satisfies `wanted`; that change.
    std::optional<QVariantMap> WaitForChange(
        std::size_t from, const std::function<bool(const QVariantMap&)>& wanted) {
        std::optional<QVariantMap> found;
        Pump([&] {
            for (std::size_t i = from; i < recorder_.changes.size() && !found; ++i) {
                if (wanted(recorder_.changes[i])) {
                    found = recorder_.changes[i];
                }
            }
            return found.has_value();
        });
        return found;
    }

    QDBusConnection client_{QString()};
    BusRecorder recorder_;
    std::unique_ptr<ui::MprisService> service_;
    QString name_;
};

bool Logged(const LogCapture& log, const std::string& text) {
    for (const std::string& line : log.Lines()) {
        if (line.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

TEST_F(MprisTest, TheDesktopSteersTheServersPlayerAndFollowsItsSongs) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    Offer();
    EXPECT_EQ(name_, kName);

    // What a panel applet reads first: the program and the song, with art
    // although the now-playing screen never showed.
    EXPECT_EQ(Get(kRoot, "Identity").toString(), QStringLiteral("Vantor"));
    EXPECT_EQ(Get(kRoot, "DesktopEntry").toString(), QStringLiteral("vantor"));
    EXPECT_TRUE(Get(kRoot, "CanRaise").toBool());
    EXPECT_EQ(Get(kPlayer, "PlaybackStatus").toString(), QStringLiteral("Playing"));
    EXPECT_TRUE(Get(kPlayer, "CanSeek").toBool());
    const QVariantMap all =
        Plain(Call(kProperties, "GetAll", {kPlayer}).arguments().value(0)).toMap();
    EXPECT_EQ(all.keys(), QStringList({QStringLiteral("CanControl"), QStringLiteral("CanGoNext"),
                                       QStringLiteral("CanGoPrevious"), QStringLiteral("CanPause"),
                                       QStringLiteral("CanPlay"), QStringLiteral("CanSeek"),
                                       QStringLiteral("LoopStatus"), QStringLiteral("MaximumRate"),
                                       QStringLiteral("Metadata"), QStringLiteral("MinimumRate"),
                                       QStringLiteral("PlaybackStatus"), QStringLiteral("Position"),
                                       QStringLiteral("Rate"), QStringLiteral("Shuffle"),
                                       QStringLiteral("Volume")}));
    const server::Track first = ServerTrack();
    QVariantMap metadata = Metadata();
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:title")).toString(), Q(first.title));
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:artist")).toStringList(),
              QStringList{Q(first.artist)});
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:album")).toString(), Q(first.album));
    EXPECT_EQ(metadata.value(QStringLiteral("mpris:length")).toLongLong(),
              first.length * 1000000LL);
    const QString firstTrack = TrackId();
    ASSERT_TRUE(Pump([&] { return ArtUrl().startsWith(QStringLiteral("file://")); }));
    const QString firstArt = QUrl(ArtUrl()).toLocalFile();
    const QImage firstPicture(firstArt);
    EXPECT_FALSE(firstPicture.isNull()) << firstArt.toStdString();

    // PlayPause while playing is a pause (the window's one rule); it comes
    // back as the one property that changed.
    std::size_t mark = recorder_.changes.size();
    Call(kPlayer, "PlayPause");
    EXPECT_TRUE(Pump([&] { return Received("PauseRequest") == 1; }));
    std::optional<QVariantMap> change = WaitForChange(mark, [](const QVariantMap& changed) {
        return changed.contains(QStringLiteral("PlaybackStatus"));
    });
    ASSERT_TRUE(change);
    EXPECT_EQ(change->keys(), QStringList{QStringLiteral("PlaybackStatus")});
    EXPECT_EQ(change->value(QStringLiteral("PlaybackStatus")).toString(), QStringLiteral("Paused"));

    // Half a minute on: the server jumps there and the desktop hears of
    // the jump.
    const std::int32_t paused = ServerPosition();
    Call(kPlayer, "Seek", {QVariant::fromValue(qlonglong{30'000'000})});
    EXPECT_TRUE(Pump([&] {
        const std::int32_t at = ServerPosition();
        return at >= paused + 29 && at <= paused + 31;
    })) << paused;
    ASSERT_TRUE(Pump([&] { return !recorder_.seeks.empty(); }));
    EXPECT_NEAR(static_cast<double>(recorder_.seeks.back()) / 1e6, paused + 30, 1.01);
    EXPECT_NEAR(static_cast<double>(Get(kPlayer, "Position").toLongLong()) / 1e6, paused + 30,
                1.01);

    // The volume, in the desktop's 0..1.
    mark = recorder_.changes.size();
    Set("Volume", 0.25);
    EXPECT_TRUE(Pump([&] { return ServerVolume() == 25; }));
    change = WaitForChange(mark, [](const QVariantMap& changed) {
        return changed.contains(QStringLiteral("Volume"));
    });
    ASSERT_TRUE(change);
    EXPECT_DOUBLE_EQ(change->value(QStringLiteral("Volume")).toDouble(), 0.25);

    // A song of another album, chosen on the server, reaches the desktop
    // with its own track id and its own picture in a file of its own.
    const server::Track next = PlayAnotherAlbum();
    ASSERT_FALSE(next.title.empty());
    mark = recorder_.changes.size();
    change = WaitForChange(mark, [&](const QVariantMap& changed) {
        return changed.value(QStringLiteral("Metadata"))
                   .toMap()
                   .value(QStringLiteral("xesam:title")) == Q(next.title);
    });
    ASSERT_TRUE(change);
    metadata = Metadata();
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:title")).toString(), Q(next.title));
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:album")).toString(), Q(next.album));
    EXPECT_NE(TrackId(), firstTrack);
    ASSERT_TRUE(Pump([&] {
        const QString art = ArtUrl();
        return art.startsWith(QStringLiteral("file://")) && QUrl(art).toLocalFile() != firstArt;
    }));
    EXPECT_NE(QImage(QUrl(ArtUrl()).toLocalFile()), firstPicture);
    EXPECT_FALSE(QFile::exists(firstArt));  // one song's picture at a time
    // The desktop fetches whatever the art's URL names: it is only ever
    // told of a picture the client wrote, never of the server's URL.
    for (const QVariantMap& changed : recorder_.changes) {
        const QString art = changed.value(QStringLiteral("Metadata"))
                                .toMap()
                                .value(QStringLiteral("mpris:artUrl"))
                                .toString();
        EXPECT_TRUE(art.isEmpty() || art.startsWith(QStringLiteral("file:///")))
            << art.toStdString();
    }

    // Raise and Quit are the window's.
    EXPECT_EQ(Call(kRoot, "Raise").type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(Call(kRoot, "Quit").type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(Pump([&] { return frame_->Closing(); }));
}

TEST_F(MprisTest, ValuesOutOfRangeAreClampedOrRefusedWithALineInTheLog) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    Offer();
    LogCapture log;
    Call(kPlayer, "Pause");
    ASSERT_TRUE(Pump([&] { return Get(kPlayer, "PlaybackStatus") == QStringLiteral("Paused"); }));

    Set("Volume", 7.5);
    EXPECT_TRUE(Pump([&] { return ServerVolume() == 100; }));
    EXPECT_TRUE(Logged(log, "MPRIS: Volume 7.5 is outside 0.0 to 1.0; setting 1"));
    Set("Volume", -1.0);
    EXPECT_TRUE(Pump([&] { return ServerVolume() == 0; }));
    EXPECT_TRUE(Logged(log, "MPRIS: Volume -1 is outside 0.0 to 1.0; setting 0"));
    const int volumes = Received("SetVolumeRequest");
    Set("Volume", std::nan(""));
    EXPECT_TRUE(Logged(log, "MPRIS: Volume NaN ignored"));

    // Seeks far past either end land on the song's end or its start
    // (without overflowing on the way).
    const std::int32_t length = ServerTrack().length;
    Call(kPlayer, "Seek", {QVariant::fromValue(std::numeric_limits<qlonglong>::max())});
    EXPECT_TRUE(Pump([&] { return ServerPosition() == length; })) << length;
    EXPECT_TRUE(Logged(log, "is outside the song (0 to " + std::to_string(length) +
                                " s); going to " + std::to_string(length) + " s"));
    Call(kPlayer, "Seek", {QVariant::fromValue(std::numeric_limits<qlonglong>::min())});
    EXPECT_TRUE(Pump([&] { return ServerPosition() == 0; }));

    // A position meant for the song before is dropped; one past the end of
    // this song lands on its end.
    const QString before = TrackId();
    Call(kPlayer, "Next");
    ASSERT_TRUE(Pump([&] { return TrackId() != before; }));
    Call(kPlayer, "Pause");
    const int moves = Received("SetPlayPositionRequest");
    Call(
        kPlayer, "SetPosition",
        {QVariant::fromValue(QDBusObjectPath(before)), QVariant::fromValue(qlonglong{10'000'000})});
    EXPECT_TRUE(Logged(log, "MPRIS: SetPosition for " + before.toStdString() + " ignored"));
    const std::int32_t nextLength = ServerTrack().length;
    Call(kPlayer, "SetPosition",
         {QVariant::fromValue(QDBusObjectPath(TrackId())),
          QVariant::fromValue(qlonglong{nextLength + 100} * 1'000'000)});
    EXPECT_TRUE(Pump([&] { return ServerPosition() == nextLength; })) << nextLength;
    EXPECT_EQ(Received("SetPlayPositionRequest"), moves + 1);
    EXPECT_EQ(Received("SetVolumeRequest"), volumes);

    // Calls that do not fit the interfaces are answered with errors.
    EXPECT_EQ(Set("LoopStatus", QStringLiteral("Sideways")).type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(Logged(log, "MPRIS: LoopStatus \"Sideways\" ignored"));
    EXPECT_EQ(Call(kPlayer, "Seek", {QStringLiteral("ten seconds")}).type(),
              QDBusMessage::ErrorMessage);
    EXPECT_EQ(Set("Volume", QStringLiteral("loud")).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(Set("PlaybackStatus", QStringLiteral("Playing")).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(Call(kPlayer, "Explode").type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(Received("SetRepeatStateRequest"), 0);

    // And the player is steered as before.
    Call(kPlayer, "PlayPause");
    EXPECT_TRUE(Pump([&] { return Get(kPlayer, "PlaybackStatus") == QStringLiteral("Playing"); }));
}

TEST_F(MprisTest, WithoutASessionCallsAreIgnoredAndEveryClientFindsItsName) {
    WriteSettings([](RegistryStore& store) { store.SetDword(kSettingsKey, "AutoConnect", 0); });
    StartWindow([](ui::FrameOptions& options) { options.server.clear(); });
    Offer();
    EXPECT_EQ(Get(kPlayer, "PlaybackStatus").toString(), QStringLiteral("Stopped"));
    EXPECT_FALSE(Get(kPlayer, "CanPlay").toBool());
    EXPECT_EQ(TrackId(), QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"));
    {
        LogCapture log;
        Call(kPlayer, "PlayPause");
        Call(kPlayer, "Next");
        Call(kPlayer, "Seek", {QVariant::fromValue(qlonglong{5'000'000})});
        Set("Volume", 0.5);
        PumpFor(200ms);
        EXPECT_TRUE((*server_)->ReceivedRequests().empty());
        EXPECT_TRUE(Logged(log, "MPRIS: PlayPause ignored: not connected to a server"));
    }

    // A second client (with settings of its own) stands beside the first.
    const QString other = QStringLiteral("second client");
    std::unique_ptr<ui::MprisService> second = ui::MprisService::Offer(
        frame_->Desktop(), QDBusConnection::connectToBus(QDBusConnection::SessionBus, other));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->ServiceName(), kName + QStringLiteral(".instance%1").arg(::getpid()));
    second.reset();
    QDBusConnection::disconnectFromBus(other);

    // Where no session bus exists there is no service, and a line that
    // says so.
    {
        LogCapture log;
        const QString none = QStringLiteral("no bus");
        EXPECT_EQ(ui::MprisService::Offer(
                      frame_->Desktop(),
                      QDBusConnection::connectToBus(
                          QStringLiteral("unix:path=%1").arg(Q((dir_ / "no-bus").string())), none)),
                  nullptr);
        QDBusConnection::disconnectFromBus(none);
        std::vector<std::pair<std::string, int>> lines;
        for (std::size_t i = 0; i < log.Lines().size(); ++i) {
            if (log.Lines()[i].rfind("MPRIS", 0) == 0) {
                lines.emplace_back(log.Lines()[i], log.Levels()[i]);
            }
        }
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].first.rfind("MPRIS: no session bus", 0), 0u) << lines[0].first;
        EXPECT_EQ(lines[0].second, kLogInfo);
    }

    // Once a session runs, the desktop hears of it.
    frame_->findChild<QLineEdit*>(QStringLiteral("Server Box"))
        ->setText(QStringLiteral("127.0.0.1"));
    frame_->Command(ui::WindowCommand::Connect);
    EXPECT_TRUE(Pump(
        [&] {
            return Get(kPlayer, "PlaybackStatus") == QStringLiteral("Playing") &&
                   Get(kPlayer, "CanPlay").toBool() &&
                   !TrackId().startsWith(QStringLiteral("/org/mpris"));
        },
        10s));
    EXPECT_FALSE(recorder_.changes.empty());

    // Gone, the service gives its name back.
    service_.reset();
    EXPECT_FALSE(client_.interface()->isServiceRegistered(kName).value());
}

}  // namespace
}  // namespace vantor::testing

#include "MprisServiceTest.moc"
