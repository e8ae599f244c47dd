#include "ui/desktop/MprisService.h"

#include <unistd.h>

#include <QCryptographicHash>
#include <QDBusAbstractAdaptor>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QUrl>
#include <QWidget>
#include <algorithm>
#include <cmath>
#include <limits>

#include "core/Logger.h"
#include "net/RequestTable.h"
#include "protocol/PlayerMessages.h"
#include "ui/player/PlayerPresenter.h"
#include "ui/screens/Screens.h"
#include "ui/view/QtText.h"

namespace vantor::ui {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kUsPerSecond = 1000000;
constexpr std::int64_t kUsPerMs = 1000;

// The window asks for the art itself while its now-playing screen shows,
// 200 ms after the song changed; waiting a little longer spares asking twice.
constexpr auto kArtDelay = 500ms;

QString ObjectPath() {
    return QStringLiteral("/org/mpris/MediaPlayer2");
}

double Seconds(std::int64_t us) {
    return static_cast<double>(us) / kUsPerSecond;
}

}  // namespace

// org.mpris.MediaPlayer2: the program itself.
class MprisRootAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ CanQuit)
    Q_PROPERTY(bool CanRaise READ CanRaise)
    Q_PROPERTY(bool HasTrackList READ HasTrackList)
    Q_PROPERTY(QString Identity READ Identity)
    Q_PROPERTY(QString DesktopEntry READ DesktopEntry)
    Q_PROPERTY(QStringList SupportedUriSchemes READ SupportedUriSchemes)
    Q_PROPERTY(QStringList SupportedMimeTypes READ SupportedMimeTypes)

public:
    explicit MprisRootAdaptor(MprisService& service)
        : QDBusAbstractAdaptor(&service), service_(service) {}

    bool CanQuit() const { return true; }
    bool CanRaise() const { return true; }
    bool HasTrackList() const { return false; }
    QString Identity() const { return QStringLiteral("Vantor"); }
    QString DesktopEntry() const { return QStringLiteral("vantor"); }
    // The remote plays what the server's library holds; it opens nothing.
    QStringList SupportedUriSchemes() const { return {}; }
    QStringList SupportedMimeTypes() const { return {}; }

public Q_SLOTS:
    void Raise() { service_.Raise(); }
    void Quit() { service_.Quit(); }

private:
    MprisService& service_;
};

// org.mpris.MediaPlayer2.Player: the remote player.
class MprisPlayerAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ PlaybackStatus)
    Q_PROPERTY(QString LoopStatus READ LoopStatus WRITE SetLoopStatus)
    Q_PROPERTY(double Rate READ Rate WRITE SetRate)
    Q_PROPERTY(bool Shuffle READ Shuffle WRITE SetShuffle)
    Q_PROPERTY(QVariantMap Metadata READ Metadata)
    Q_PROPERTY(double Volume READ Volume WRITE SetVolume)
    Q_PROPERTY(qlonglong Position READ Position)
    Q_PROPERTY(double MinimumRate READ MinimumRate)
    Q_PROPERTY(double MaximumRate READ MaximumRate)
    Q_PROPERTY(bool CanGoNext READ CanGoNext)
    Q_PROPERTY(bool CanGoPrevious READ CanGoPrevious)
    Q_PROPERTY(bool CanPlay READ CanPlay)
    Q_PROPERTY(bool CanPause READ CanPause)
    Q_PROPERTY(bool CanSeek READ CanSeek)
    Q_PROPERTY(bool CanControl READ CanControl)

public:
    explicit MprisPlayerAdaptor(MprisService& service)
        : QDBusAbstractAdaptor(&service), service_(service) {}

    QString PlaybackStatus() const { return service_.Property("PlaybackStatus").toString(); }
    QString LoopStatus() const { return service_.Property("LoopStatus").toString(); }
    void SetLoopStatus(const QString& status) { service_.SetLoopStatus(status); }
    double Rate() const { return 1.0; }
    void SetRate(double rate) { service_.SetRate(rate); }
    bool Shuffle() const { return service_.Property("Shuffle").toBool(); }
    void SetShuffle(bool shuffle) { service_.SetShuffle(shuffle); }
    QVariantMap Metadata() const { return service_.Property("Metadata").toMap(); }
    double Volume() const { return service_.Property("Volume").toDouble(); }
    void SetVolume(double volume) { service_.SetVolume(volume); }
    qlonglong Position() const { return service_.PositionUs(); }
    double MinimumRate() const { return 1.0; }
    double MaximumRate() const { return 1.0; }
    bool CanGoNext() const { return service_.Property("CanGoNext").toBool(); }
    bool CanGoPrevious() const { return service_.Property("CanGoPrevious").toBool(); }
    bool CanPlay() const { return service_.Property("CanPlay").toBool(); }
    bool CanPause() const { return service_.Property("CanPause").toBool(); }
    bool CanSeek() const { return service_.Property("CanSeek").toBool(); }
    // Whether the player can be steered at all, which never changes; the
    // other Can* properties say what a session allows now.
    bool CanControl() const { return true; }

public Q_SLOTS:
    void PlayPause() { service_.Act("PlayPause", PlayerAction::PlayPause); }
    void Play() { service_.Act("Play", PlayerAction::Play); }
    void Pause() { service_.Act("Pause", PlayerAction::Pause); }
    void Stop() { service_.Act("Stop", PlayerAction::Stop); }
    void Next() { service_.Act("Next", PlayerAction::Next); }
    void Previous() { service_.Act("Previous", PlayerAction::Previous); }
    void Seek(qlonglong offset) { service_.Seek(offset); }
    void SetPosition(const QDBusObjectPath& trackId, qlonglong position) {
        service_.SetPosition(trackId, position);
    }
    void OpenUri(const QString& uri) {
        Log(kLogError, "MPRIS: OpenUri(%s) ignored: the remote plays only the server's library",
            uri.toUtf8().constData());
    }

Q_SIGNALS:
    void Seeked(qlonglong position);

private:
    MprisService& service_;
};

// --- Start and end --------------------------------------------------------------------

std::unique_ptr<MprisService> MprisService::Offer(MprisHost host, QDBusConnection bus) {
    if (!bus.isConnected()) {
        Log(kLogInfo,
            "MPRIS: no session bus (%s); the desktop's media controls will not see the player",
            bus.lastError().message().toUtf8().constData());
        return nullptr;
    }
    std::unique_ptr<MprisService> service(new MprisService(host, std::move(bus)));
    if (!service->Register()) {
        return nullptr;
    }
    host.player.AddWatcher(
        [self = QPointer<MprisService>(service.get())](const PlayerSnapshot& snapshot) {
            if (self) {
                self->OnSnapshot(snapshot);
            }
        });
    return service;
}

MprisService::MprisService(MprisHost host, QDBusConnection bus)
    : host_(std::move(host)), bus_(std::move(bus)), player_(new MprisPlayerAdaptor(*this)) {
    new MprisRootAdaptor(*this);
    artTimer_.setSingleShot(true);
    artTimer_.setInterval(kArtDelay);
    QObject::connect(&artTimer_, &QTimer::timeout, this, [this] { AskForArt(); });

    snapshot_ = host_.player.Snapshot();
    snapshotTime_ = std::chrono::steady_clock::now();
    FollowArt(false);
    properties_ = PlayerProperties();
    ScheduleArtRequest();
}

MprisService::~MprisService() {
    if (!name_.isEmpty()) {
        bus_.unregisterService(name_);
    }
    if (objectRegistered_) {
        bus_.unregisterObject(ObjectPath());
    }
    DropArtCopy();
}

bool MprisService::Register() {
    if (!bus_.registerObject(ObjectPath(), this, QDBusConnection::ExportAdaptors)) {
        Log(kLogError, "MPRIS: %s is taken on this bus connection; the player is not offered",
            ObjectPath().toUtf8().constData());
        return false;
    }
    objectRegistered_ = true;
    // Another client (with other settings) may hold the plain name; the
    // instance name is the form players use to stand beside each other.
    const QString plain = QStringLiteral("org.mpris.MediaPlayer2.vantor");
    for (const QString& name : {plain, plain + QStringLiteral(".instance%1").arg(::getpid())}) {
        if (bus_.registerService(name)) {
            name_ = name;
            Log(kLogInfo, "MPRIS: the player is on the session bus as %s",
                name.toUtf8().constData());
            return true;
        }
    }
    Log(kLogError, "MPRIS: could not take the name %s on the session bus: %s",
        plain.toUtf8().constData(), bus_.lastError().message().toUtf8().constData());
    return false;
}

// --- The window's side ----------------------------------------------------------------

void MprisService::OnSnapshot(const PlayerSnapshot& snapshot) {
    const bool hadArtFile = !snapshot_.artFile.empty();
    snapshot_ = snapshot;
    snapshotTime_ = std::chrono::steady_clock::now();
    FollowArt(hadArtFile);

    const QVariantMap now = PlayerProperties();
    QVariantMap changed;
    for (auto property = now.cbegin(); property != now.cend(); ++property) {
        if (properties_.value(property.key()) != property.value()) {
            changed.insert(property.key(), property.value());
        }
    }
    properties_ = now;
    if (!changed.isEmpty()) {
        QDBusMessage signal = QDBusMessage::createSignal(
            ObjectPath(), QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("PropertiesChanged"));
        signal << QStringLiteral("org.mpris.MediaPlayer2.Player") << changed << QStringList();
        bus_.send(signal);
    }
    if (snapshot_.seeked && HasTrack()) {
        Q_EMIT player_->Seeked(PositionUs());
    }
    ScheduleArtRequest();
}

// A picture has come when the window's art file is there and was not in
// the snapshot before (the window clears it while it downloads).
void MprisService::FollowArt(bool hadArtFile) {
    if (snapshot_.song != artSong_) {
        DropArtCopy();
        artSong_ = snapshot_.song;
        hadArtFile = false;
    }
    if (snapshot_.artFile.empty() || hadArtFile) {
        return;
    }
    QFile source(Q(snapshot_.artFile));
    if (!source.open(QIODevice::ReadOnly)) {
        Log(kLogError, "MPRIS: cannot read the album art %s: %s", snapshot_.artFile.c_str(),
            source.errorString().toUtf8().constData());
        return;
    }
    const QByteArray picture = source.readAll();
    const QByteArray digest = QCryptographicHash::hash(picture, QCryptographicHash::Sha1);
    if (!artCopy_.isEmpty() && digest == artDigest_) {
        return;  // the same picture again: its URL stays
    }
    const QString copy = QFileInfo(source).absolutePath() +
                         QStringLiteral("/mpris-art-%1-%2.jpg").arg(::getpid()).arg(++artCopies_);
    QFile out(copy);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        out.write(picture) != picture.size() || !out.flush()) {
        Log(kLogError, "MPRIS: cannot write the album art to %s: %s", copy.toUtf8().constData(),
            out.errorString().toUtf8().constData());
        out.remove();
        return;
    }
    out.close();
    DropArtCopy();
    artCopy_ = copy;
    artDigest_ = digest;
}

void MprisService::DropArtCopy() {
    if (!artCopy_.isEmpty()) {
        QFile::remove(artCopy_);
        artCopy_.clear();
    }
}

void MprisService::ScheduleArtRequest() {
    if (HasTrack() && snapshot_.artUrl.empty() && artCopy_.isEmpty() &&
        artAskedSong_ != snapshot_.song && !artTimer_.isActive()) {
        artTimer_.start();
    }
}

void MprisService::AskForArt() {
    if (!HasTrack() || !snapshot_.artUrl.empty() || !artCopy_.isEmpty() ||
        artAskedSong_ == snapshot_.song) {
        return;
    }
    artAskedSong_ = snapshot_.song;
    // The window takes the answer as its own: it downloads the picture and
    // hands the URL and the file on in its next snapshots.
    if (host_.actions.Send(std::make_unique<GetAlbumArtRequest>()) != SendResult::Sent) {
        artAskedSong_ = -1;  // asked again with the next snapshot
    }
}

// --- What the bus reads ---------------------------------------------------------------

QVariantMap MprisService::PlayerProperties() const {
    const bool session = snapshot_.connected;
    QString status = QStringLiteral("Stopped");
    if (session) {
        switch (snapshot_.playingState) {
            case PlayingState::Playing:
            case PlayingState::FastForwarding:
            case PlayingState::Rewinding:
                status = QStringLiteral("Playing");
                break;
            case PlayingState::Paused:
                status = QStringLiteral("Paused");
                break;
            default:
                break;
        }
    }
    QString loop = QStringLiteral("None");
    if (snapshot_.repeat == RepeatState::One) {
        loop = QStringLiteral("Track");
    } else if (snapshot_.repeat == RepeatState::All) {
        loop = QStringLiteral("Playlist");
    }
    const double volume = snapshot_.volume < 0 ? 0.0 : std::min(snapshot_.volume, 100) / 100.0;
    return {
        {QStringLiteral("PlaybackStatus"), status},
        {QStringLiteral("LoopStatus"), loop},
        {QStringLiteral("Shuffle"), snapshot_.shuffle},
        {QStringLiteral("Metadata"), Metadata()},
        {QStringLiteral("Volume"), volume},
        {QStringLiteral("CanGoNext"), session},
        {QStringLiteral("CanGoPrevious"), session},
        {QStringLiteral("CanPlay"), session},
        {QStringLiteral("CanPause"), session},
        {QStringLiteral("CanSeek"), HasTrack() && snapshot_.media.length > 0},
    };
}

bool MprisService::HasTrack() const {
    const CurrentMedia& media = snapshot_.media;
    return snapshot_.connected &&
           !(media.title.empty() && media.artist.empty() && media.album.empty());
}

// Object paths below /org/mpris are reserved, but for the one that means
// "no song".
QString MprisService::TrackId() const {
    if (!HasTrack()) {
        return QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack");
    }
    return QStringLiteral("/org/vantor/track/%1").arg(snapshot_.song);
}

QVariantMap MprisService::Metadata() const {
    QVariantMap metadata{
        {QStringLiteral("mpris:trackid"), QVariant::fromValue(QDBusObjectPath(TrackId()))}};
    if (!HasTrack()) {
        return metadata;
    }
    const CurrentMedia& media = snapshot_.media;
    if (!media.title.empty()) {
        metadata.insert(QStringLiteral("xesam:title"), Q(media.title));
    }
    if (!media.artist.empty()) {
        metadata.insert(QStringLiteral("xesam:artist"), QStringList{Q(media.artist)});
    }
    if (!media.album.empty()) {
        metadata.insert(QStringLiteral("xesam:album"), Q(media.album));
    }
    if (media.length > 0) {
        metadata.insert(QStringLiteral("mpris:length"),
                        static_cast<qlonglong>(media.length) * kUsPerSecond);
    }
    const QString art = ArtUrl();
    if (!art.isEmpty()) {
        metadata.insert(QStringLiteral("mpris:artUrl"), art);
    }
    return metadata;
}

// Only a file this client wrote: the server's own URL is built from a path
// it chose, and the desktop would fetch whatever host that names.
QString MprisService::ArtUrl() const {
    return artCopy_.isEmpty() ? QString() : QUrl::fromLocalFile(artCopy_).toString();
}

// The snapshot's position runs on while the player plays.
std::int64_t MprisService::PositionUs() const {
    if (!HasTrack() || snapshot_.positionMs < 0) {
        return 0;
    }
    std::int64_t ms = snapshot_.positionMs;
    if (snapshot_.playingState == PlayingState::Playing) {
        ms += std::chrono::duration_cast<std::chrono::milliseconds>(
                  std::chrono::steady_clock::now() - snapshotTime_)
                  .count();
    }
    if (snapshot_.media.length > 0) {
        ms = std::min<std::int64_t>(ms, std::int64_t{snapshot_.media.length} * 1000);
    }
    return ms * kUsPerMs;
}

// --- What the bus asks ----------------------------------------------------------------

void MprisService::Raise() {
    host_.window.showNormal();
    host_.window.raise();
    host_.window.activateWindow();
}

// Exit ends the event loop; queued, so the caller gets its answer first.
void MprisService::Quit() {
    QMetaObject::invokeMethod(
        this, [this] { host_.quit(); }, Qt::QueuedConnection);
}

bool MprisService::InSession(const char* what) const {
    if (!snapshot_.connected) {
        Log(kLogInfo, "MPRIS: %s ignored: not connected to a server", what);
    }
    return snapshot_.connected;
}

void MprisService::Send(const char* what, std::unique_ptr<Message> request) {
    if (!InSession(what)) {
        return;
    }
    Sent(what, host_.actions.Send(std::move(request)));
}

void MprisService::Act(const char* what, PlayerAction action) {
    if (!InSession(what)) {
        return;
    }
    Sent(what, host_.actions.Do(action));
}

void MprisService::Sent(const char* what, SendResult result) {
    if (result != SendResult::Sent) {
        Log(kLogError, "MPRIS: %s could not be sent (%s)", what, SendResultText(result));
    }
}

void MprisService::Seek(std::int64_t offsetUs) {
    if (!InSession("Seek")) {
        return;
    }
    std::int64_t target = 0;
    if (__builtin_add_overflow(PositionUs(), offsetUs, &target)) {
        target = offsetUs > 0 ? std::numeric_limits<std::int64_t>::max()
                              : std::numeric_limits<std::int64_t>::min();
    }
    MoveTo("Seek", target);
}

void MprisService::SetPosition(const QDBusObjectPath& track, std::int64_t positionUs) {
    if (!InSession("SetPosition")) {
        return;
    }
    // A position meant for a song that has since ended would land in the
    // next one.
    const QString current = TrackId();
    if (track.path() != current) {
        Log(kLogError, "MPRIS: SetPosition for %s ignored: the song now is %s",
            track.path().toUtf8().constData(), current.toUtf8().constData());
        return;
    }
    MoveTo("SetPosition", positionUs);
}

void MprisService::MoveTo(const char* what, std::int64_t positionUs) {
    if (!HasTrack() || snapshot_.media.length <= 0) {
        Log(kLogError, "MPRIS: %s ignored: the song's length is not known", what);
        return;
    }
    const std::int64_t end = std::int64_t{snapshot_.media.length} * kUsPerSecond;
    const std::int64_t clamped = std::clamp<std::int64_t>(positionUs, 0, end);
    if (clamped != positionUs) {
        Log(kLogError, "MPRIS: %s to %.1f s is outside the song (0 to %d s); going to %.0f s", what,
            Seconds(positionUs), snapshot_.media.length, Seconds(clamped));
    }
    auto request = std::make_unique<SetPlayPositionRequest>();
    request->position = static_cast<std::int32_t>((clamped + kUsPerSecond / 2) / kUsPerSecond);
    Send(what, std::move(request));
}

void MprisService::SetVolume(double volume) {
    if (std::isnan(volume)) {
        Log(kLogError, "MPRIS: Volume NaN ignored");
        return;
    }
    const double clamped = std::clamp(volume, 0.0, 1.0);
    if (clamped != volume) {
        Log(kLogError, "MPRIS: Volume %g is outside 0.0 to 1.0; setting %g", volume, clamped);
    }
    auto request = std::make_unique<SetVolumeRequest>();
    request->volume = static_cast<std::int32_t>(std::lround(clamped * 100));
    Send("Volume", std::move(request));
}

void MprisService::SetLoopStatus(const QString& status) {
    auto request = std::make_unique<SetRepeatStateRequest>();
    if (status == QStringLiteral("None")) {
        request->repeatState = RepeatState::Off;
    } else if (status == QStringLiteral("Track")) {
        request->repeatState = RepeatState::One;
    } else if (status == QStringLiteral("Playlist")) {
        request->repeatState = RepeatState::All;
    } else {
        Log(kLogError, "MPRIS: LoopStatus \"%s\" ignored: it is None, Track or Playlist",
            status.toUtf8().constData());
        return;
    }
    Send("LoopStatus", std::move(request));
}

void MprisService::SetShuffle(bool shuffle) {
    auto request = std::make_unique<SetShuffleStateRequest>();
    request->shuffleState = shuffle;
    Send("Shuffle", std::move(request));
}

// The player plays at its one speed; a rate of 0 is how some desktops
// ask for a pause.
void MprisService::SetRate(double rate) {
    if (rate == 0.0) {
        Act("Rate 0 (Pause)", PlayerAction::Pause);
    } else if (rate != 1.0) {
        Log(kLogError, "MPRIS: Rate %g ignored: the player plays at 1.0 only", rate);
    }
}

}  // namespace vantor::ui

#include "MprisService.moc"
