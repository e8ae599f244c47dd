#pragma once

// The session bus as the MPRIS backend sees it: the players on it (found
// with ListNames, then followed through NameOwnerChanged), each player's
// properties as they change (PropertiesChanged, Seeked, and Position read
// once a second while the driven player plays, since MPRIS never signals
// it), its track list and playlists where it has them, and which player is
// driven.
//
// Every call made here is asynchronous with a bounded wait, so a player
// that hangs, answers with errors or leaves mid-call costs a log line, never
// a stalled thread. Introspection is never asked for: an interface is
// there when its properties can be read.
//
// Threads: an MprisBus lives on the backend's "MPRIS Bus" thread, which
// runs its event loop; every method is called there (the backend hands its
// work over with a queued call). What it learns leaves through `publish`,
// called on that thread with a copy of the driven player's view.

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QTimer>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ResultCode.h"
#include "mpris/MprisView.h"

namespace vantor::server::mpris {

inline constexpr int kCallTimeoutMs = 2000;
inline constexpr std::size_t kMaxTracks = 5000;
inline constexpr std::size_t kMaxPlaylists = 1000;
// Players such as VLC list files before reading their tags and say nothing
// once they have: a list with untitled entries is read again after these
// pauses, each one twice the last.
inline constexpr int kFirstTagWaitMs = 500;
inline constexpr int kTagWaits = 5;

extern const QString kPlayerInterface;
extern const QString kTrackListInterface;
extern const QString kPlaylistsInterface;

class MprisBus final : public QObject {
    Q_OBJECT

public:
    using Publish = std::function<void(PlayerView)>;
    // A call's result code (PlayerBackend's kSuccess, kNotFound, kPlayerFailed).
    using Done = std::function<void(ResultCode)>;

    // `wanted`: the player a user named (see NameMatches), empty for the
    // one in use.
    MprisBus(QDBusConnection bus, std::string wanted, Publish publish);
    ~MprisBus() override;

    // Starts following the players on the bus. `looked` runs once, after
    // the view of every player then on the bus has been read and published
    // (or reading it failed): from then on a command finds the player.
    void Begin(std::function<void()> looked = {});

    // Drives the player with this bus name from now on (kNotFound: no such
    // player).
    void Select(const std::string& busName, Done done);
    // Reads the driven player's track list and playlists again.
    void Reread();

private Q_SLOTS:
    void OnNameOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);
    void OnPropertiesChanged(const QDBusMessage& message);
    void OnSeeked(const QDBusMessage& message);
    void OnTrackListChanged(const QDBusMessage& message);
    void OnPlaylistChanged(const QDBusMessage& message);

private:
    struct Player {
        std::string busName;
        QString owner;             // its unique name, the sender of its signals
        std::uint64_t serial = 0;  // tells answers for an earlier instance apart
        PlayerView view;
        std::uint64_t activity = 0;
        std::uint64_t order = 0;
        bool ready = false;    // its Player properties were read
        bool settled = false;  // its first reading ended, read or not
        bool readingTracks = false;
        bool tracksDirty = false;
        // Its TrackList listed tracks though HasTrackList said there is
        // none (VLC 3 always says so): it has one all the same.
        bool tracksListed = false;
        int tagWaits = 0;  // re-reads of the list for tags, since its tracks last changed
        // Its Player properties as signals told them: by the count of
        // signals when each was last told. An answer to a read sent before
        // then may be older (QtDBus can hand over a signal before an answer
        // that came first), so it does not overwrite them.
        std::uint64_t told = 0;
        QHash<QString, std::uint64_t> toldAt;
    };
    using Answer = std::function<void(Player&, const QDBusMessage&)>;
    using Failure = std::function<void(const QString& error)>;

    Player* Find(const std::string& busName);
    Player* FindOwner(const QString& owner);
    Player* Driven();
    void Add(const QString& name, const QString& owner);
    void Remove(const QString& name);
    // What `read`, asked for when `asked` signals were told, says of the
    // properties no later signal told.
    static QVariantMap Unsaid(const Player& player, QVariantMap read, std::uint64_t asked);
    void ReadPlayer(Player& player);
    void ReadPosition(Player& player);
    void ReadTrackList(Player& player);
    void ReadPlaylists(Player& player);
    // Reads the list again later while `tracks`, just read, has entries
    // without their tags, a bounded number of times.
    void WaitForTags(Player& player, const std::vector<Track>& tracks);
    void MarkActive(Player& player);
    // Chooses the driven player again and publishes its view.
    void Update();
    // Marks the player's first reading as ended and tells `looked_` once
    // the bus was listed and no player is left to read.
    void Settle(const std::string& busName, std::uint64_t serial);
    void CheckLooked();
    // Sends with the bounded wait; `answer` runs with the reply while the
    // same instance of the player is still there, `failed` on an error.
    void Send(Player& player, QDBusMessage message, Answer answer, Failure failed = {});
    QDBusMessage MethodCall(const Player& player, const QString& interface,
                            const QString& method) const;

    QDBusConnection bus_;
    const std::string wanted_;
    Publish publish_;
    std::vector<std::unique_ptr<Player>> players_;
    std::string driven_;
    std::function<void()> looked_;
    bool listed_ = false;        // ListNames was answered, or failed
    std::uint64_t counter_ = 0;  // activity, order and serial numbers
    QTimer positionTimer_;
};

}  // namespace vantor::server::mpris
