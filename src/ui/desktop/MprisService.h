#pragma once

// The remote player on the desktop's session bus as an MPRIS media player,
// so the desktop's media keys, lock screen and panel applets show the
// server's song and steer its player. It takes the name
// org.mpris.MediaPlayer2.vantor (with ".instance<pid>" after it when another
// client holds that name) and serves /org/mpris/MediaPlayer2 with the
// interfaces org.mpris.MediaPlayer2 and org.mpris.MediaPlayer2.Player.
//
// It is one of the window's player watchers: every snapshot the window
// hands over becomes one PropertiesChanged naming exactly the properties
// it changed (and Seeked when the position jumped). Every call from the
// bus becomes a request through the window's PlayerActions, the way its own
// buttons and keys make them. Calls that cannot mean what they say (a volume outside 0..1, a
// seek past the song, a position for a song no longer playing) are clamped
// or ignored with a line in the log; calls while no session runs are
// ignored.
//
// The window asks for the album art only while its now-playing screen
// shows; the desktop wants it for every song, so the service asks the
// server itself when a song has none a moment after it began. The window
// downloads every picture into the same file; the service copies each new
// picture to a file of its own, since desktops cache pictures by their URL.
// The desktop is given only that copy as the art's URL, never a URL made
// from what the server sent.
//
// Threads: the window's thread only. QtDBus delivers the bus's calls to the
// thread of the object they address, which is this one, and the window
// tells its watchers on it too; nothing here needs a lock.
//
// Lifetime: made after the window's Create, destroyed before the window.
// Destruction gives the name up and deletes the copied picture. The window
// keeps the watcher it was given; that watcher does nothing once the
// service is gone.

#include <QByteArray>
#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "protocol/Message.h"
#include "ui/player/PlayerActions.h"
#include "ui/player/PlayerSnapshot.h"

class QDBusObjectPath;
class QWidget;

namespace vantor::ui {

class MprisPlayerAdaptor;
class MprisRootAdaptor;
class PlayerPresenter;

// What the service uses of the window.
struct MprisHost {
    PlayerPresenter& player;  // the snapshot, and its watchers
    PlayerActions& actions;   // where the bus's calls go
    QWidget& window;          // raised on Raise
    std::function<void()> quit;
};

class MprisService final : public QObject {
public:
    // Offers the window's player on `bus`. Null when the bus cannot be
    // reached (one line at info level: many machines have no session bus)
    // or when the player could not be registered on it (an error line).
    static std::unique_ptr<MprisService> Offer(MprisHost host,
                                               QDBusConnection bus = QDBusConnection::sessionBus());
    ~MprisService() override;

    MprisService(const MprisService&) = delete;
    MprisService& operator=(const MprisService&) = delete;

    // The bus name the player holds.
    const QString& ServiceName() const { return name_; }

private:
    friend class MprisRootAdaptor;
    friend class MprisPlayerAdaptor;

    MprisService(MprisHost host, QDBusConnection bus);
    bool Register();

    // The window's side.
    void OnSnapshot(const PlayerSnapshot& snapshot);
    void FollowArt(bool hadArtFile);
    void DropArtCopy();
    void ScheduleArtRequest();
    void AskForArt();

    // What the bus reads. Every Player property but Position is kept in
    // properties_, as last announced; Position is worked out when asked.
    QVariantMap PlayerProperties() const;
    QVariant Property(const char* name) const {
        return properties_.value(QString::fromLatin1(name));
    }
    bool HasTrack() const;
    QString TrackId() const;
    QVariantMap Metadata() const;
    QString ArtUrl() const;
    std::int64_t PositionUs() const;

    // What the bus asks.
    void Raise();
    void Quit();
    void Act(const char* what, PlayerAction action);
    void Send(const char* what, std::unique_ptr<Message> request);
    void Sent(const char* what, SendResult result);
    bool InSession(const char* what) const;
    void Seek(std::int64_t offsetUs);
    void SetPosition(const QDBusObjectPath& track, std::int64_t positionUs);
    void MoveTo(const char* what, std::int64_t positionUs);
    void SetVolume(double volume);
    void SetLoopStatus(const QString& status);
    void SetShuffle(bool shuffle);
    void SetRate(double rate);

    MprisHost host_;
    QDBusConnection bus_;
    QString name_;  // empty until registered
    bool objectRegistered_ = false;
    MprisPlayerAdaptor* player_;  // owned by this object, as QtDBus wants

    PlayerSnapshot snapshot_;
    std::chrono::steady_clock::time_point snapshotTime_;
    QVariantMap properties_;

    QTimer artTimer_;
    std::int64_t artAskedSong_ = -1;  // the song the service last asked art for
    std::int64_t artSong_ = -1;       // the song artCopy_ belongs to
    QString artCopy_;                 // this song's picture in a file of its own; empty: none
    QByteArray artDigest_;            // of the picture in artCopy_
    int artCopies_ = 0;
};

}  // namespace vantor::ui
