#include "mpris/MprisBus.h"

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QStringList>
#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "PlayerBackend.h"
#include "core/Logger.h"
#include "mpris/MprisConvert.h"

namespace vantor::server::mpris {

const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kTrackListInterface = QStringLiteral("org.mpris.MediaPlayer2.TrackList");
const QString kPlaylistsInterface = QStringLiteral("org.mpris.MediaPlayer2.Playlists");

namespace {

const QString kRootInterface = QStringLiteral("org.mpris.MediaPlayer2");
const QString kObjectPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kDBus = QStringLiteral("org.freedesktop.DBus");

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// The first argument of a reply, or an invalid value.
QVariant First(const QDBusMessage& reply) {
    const QVariantList arguments = reply.arguments();
    return arguments.isEmpty() ? QVariant() : arguments.first();
}

QVariantMap MapOf(const QVariant& value) {
    const QVariant plain = Plain(value);
    return plain.metaType() == QMetaType::fromType<QVariantMap>() ? plain.toMap() : QVariantMap();
}

}  // namespace

MprisBus::MprisBus(QDBusConnection bus, std::string wanted, Publish publish)
    : bus_(std::move(bus)), wanted_(std::move(wanted)), publish_(std::move(publish)) {
    positionTimer_.setInterval(1000);
    connect(&positionTimer_, &QTimer::timeout, this, [this] {
        if (Player* player = Driven();
            player && player->view.playingState == PlayingState::Playing) {
            ReadPosition(*player);
        }
    });
}

MprisBus::~MprisBus() = default;

void MprisBus::Begin(std::function<void()> looked) {
    looked_ = std::move(looked);
    bus_.connect(kDBus, QStringLiteral("/org/freedesktop/DBus"), kDBus,
                 QStringLiteral("NameOwnerChanged"), this,
                 SLOT(OnNameOwnerChanged(QString, QString, QString)));
    // From every sender: the players are told apart by their unique names.
    bus_.connect(QString(), kObjectPath, kProperties, QStringLiteral("PropertiesChanged"), this,
                 SLOT(OnPropertiesChanged(QDBusMessage)));
    bus_.connect(QString(), kObjectPath, kPlayerInterface, QStringLiteral("Seeked"), this,
                 SLOT(OnSeeked(QDBusMessage)));
    for (const char* signal :
         {"TrackListReplaced", "TrackAdded", "TrackRemoved", "TrackMetadataChanged"}) {
        bus_.connect(QString(), kObjectPath, kTrackListInterface, QString::fromLatin1(signal), this,
                     SLOT(OnTrackListChanged(QDBusMessage)));
    }
    bus_.connect(QString(), kObjectPath, kPlaylistsInterface, QStringLiteral("PlaylistChanged"),
                 this, SLOT(OnPlaylistChanged(QDBusMessage)));
    positionTimer_.start();

    const QDBusMessage list = QDBusMessage::createMethodCall(
        kDBus, QStringLiteral("/org/freedesktop/DBus"), kDBus, QStringLiteral("ListNames"));
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(list, kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusMessage reply = watcher->reply();
        if (reply.type() != QDBusMessage::ReplyMessage) {
            Log(kLogError, "vantor-server: the session bus did not list its names: %s",
                qPrintable(reply.errorMessage()));
        } else {
            for (const QString& name : First(reply).toStringList()) {
                if (IsDrivable(name.toStdString()) && NameMatches(wanted_, name.toStdString())) {
                    Add(name, QString());
                }
            }
        }
        listed_ = true;
        CheckLooked();
    });
    Update();
}

MprisBus::Player* MprisBus::Find(const std::string& busName) {
    for (auto& player : players_) {
        if (player->busName == busName) {
            return player.get();
        }
    }
    return nullptr;
}

MprisBus::Player* MprisBus::FindOwner(const QString& owner) {
    for (auto& player : players_) {
        if (player->owner == owner) {
            return player.get();
        }
    }
    return nullptr;
}

MprisBus::Player* MprisBus::Driven() {
    return driven_.empty() ? nullptr : Find(driven_);
}

void MprisBus::OnNameOwnerChanged(const QString& name, const QString& oldOwner,
                                  const QString& newOwner) {
    const std::string busName = name.toStdString();
    if (!IsDrivable(busName) || !NameMatches(wanted_, busName)) {
        return;
    }
    if (!oldOwner.isEmpty()) {
        Remove(name);
    }
    if (!newOwner.isEmpty()) {
        Add(name, newOwner);
    }
    // Once both halves are done: a name passed from one owner to another
    // leaves a player to read.
    CheckLooked();
}

void MprisBus::Add(const QString& name, const QString& owner) {
    if (Find(name.toStdString()) != nullptr) {
        return;
    }
    auto player = std::make_unique<Player>();
    player->busName = name.toStdString();
    player->owner = owner;
    player->order = ++counter_;
    player->serial = counter_;
    player->view.busName = player->busName;
    player->view.identity = player->busName.substr(sizeof kBusPrefix - 1);
    Player& added = *player;
    players_.push_back(std::move(player));
    Log(kLogInfo, "vantor-server: MPRIS player %s appeared", name.toUtf8().constData());
    if (owner.isEmpty()) {
        QDBusMessage ask = QDBusMessage::createMethodCall(
            kDBus, QStringLiteral("/org/freedesktop/DBus"), kDBus, QStringLiteral("GetNameOwner"));
        ask << name;
        Send(
            added, ask,
            [this](Player& found, const QDBusMessage& reply) {
                found.owner = First(reply).toString();
                ReadPlayer(found);
            },
            [this, busName = added.busName, serial = added.serial](const QString&) {
                Settle(busName, serial);
            });
    } else {
        ReadPlayer(added);
    }
}

void MprisBus::Remove(const QString& name) {
    const auto found = std::find_if(players_.begin(), players_.end(), [&](const auto& player) {
        return player->busName == name.toStdString();
    });
    if (found == players_.end()) {
        return;
    }
    Log(kLogInfo, "vantor-server: MPRIS player %s left", name.toUtf8().constData());
    players_.erase(found);
    Update();
}

QDBusMessage MprisBus::MethodCall(const Player& player, const QString& interface,
                                  const QString& method) const {
    return QDBusMessage::createMethodCall(Q(player.busName), kObjectPath, interface, method);
}

void MprisBus::Send(Player& player, QDBusMessage message, Answer answer, Failure failed) {
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, kCallTimeoutMs), this);
    const std::string busName = player.busName;
    const std::uint64_t serial = player.serial;
    connect(
        watcher, &QDBusPendingCallWatcher::finished, this,
        [this, watcher, busName, serial, answer = std::move(answer), failed = std::move(failed)] {
            watcher->deleteLater();
            const QDBusMessage reply = watcher->reply();
            Player* still = Find(busName);
            if (still == nullptr || still->serial != serial) {
                if (failed) {
                    failed(QStringLiteral("the player left"));
                }
                return;
            }
            if (reply.type() != QDBusMessage::ReplyMessage) {
                if (failed) {
                    failed(reply.errorName() + QStringLiteral(": ") + reply.errorMessage());
                }
                return;
            }
            answer(*still, reply);
        });
}

QVariantMap MprisBus::Unsaid(const Player& player, QVariantMap read, std::uint64_t asked) {
    for (auto it = read.begin(); it != read.end();) {
        it = player.toldAt.value(it.key(), 0) > asked ? read.erase(it) : std::next(it);
    }
    return read;
}

void MprisBus::ReadPlayer(Player& player) {
    QDBusMessage root = MethodCall(player, kProperties, QStringLiteral("GetAll"));
    root << kRootInterface;
    Send(player, root, [this](Player& found, const QDBusMessage& reply) {
        const bool hadTrackList = found.view.hasTrackList;
        ApplyRootProperties(MapOf(First(reply)), &found.view);
        found.view.hasTrackList = found.view.hasTrackList || found.tracksListed;
        if (found.view.hasTrackList && !hadTrackList && found.ready) {
            ReadTrackList(found);
        }
        Update();
    });
    QDBusMessage all = MethodCall(player, kProperties, QStringLiteral("GetAll"));
    all << kPlayerInterface;
    Send(
        player, all,
        [this, asked = player.told](Player& found, const QDBusMessage& reply) {
            ApplyPlayerProperties(Unsaid(found, MapOf(First(reply)), asked), Clock::now(),
                                  &found.view);
            const bool first = !found.ready;
            found.ready = true;
            if (first) {
                if (found.view.playingState == PlayingState::Playing) {
                    MarkActive(found);
                }
                // Whatever HasTrackList says: a list that answers is there.
                ReadTrackList(found);
                ReadPlaylists(found);
            }
            Update();
            Settle(found.busName, found.serial);
        },
        [this, busName = player.busName, serial = player.serial](const QString& error) {
            Log(kLogError, "vantor-server: MPRIS player %s did not tell its state: %s",
                busName.c_str(), error.toUtf8().constData());
            Settle(busName, serial);
        });
}

void MprisBus::ReadPosition(Player& player) {
    QDBusMessage get = MethodCall(player, kProperties, QStringLiteral("Get"));
    get << kPlayerInterface << QStringLiteral("Position");
    Send(player, get, [this, asked = player.told](Player& found, const QDBusMessage& reply) {
        QVariantMap position;
        position.insert(QStringLiteral("Position"), Plain(First(reply)));
        ApplyPlayerProperties(Unsaid(found, position, asked), Clock::now(), &found.view);
        if (found.busName == driven_) {
            Update();
        }
    });
}

void MprisBus::ReadTrackList(Player& player) {
    if (player.readingTracks) {
        player.tracksDirty = true;
        return;
    }
    player.readingTracks = true;
    player.tracksDirty = false;
    const auto finish = [this](const std::string& busName) {
        Player* found = Find(busName);
        if (found == nullptr) {
            return;
        }
        found->readingTracks = false;
        if (found->tracksDirty) {
            ReadTrackList(*found);
        }
    };
    QDBusMessage get = MethodCall(player, kProperties, QStringLiteral("Get"));
    get << kTrackListInterface << QStringLiteral("Tracks");
    Send(
        player, get,
        [this, finish](Player& found, const QDBusMessage& reply) {
            const std::vector<std::string> ids = ObjectPathsOf(First(reply), kMaxTracks);
            if (ids.empty()) {
                found.view.tracks = std::make_shared<const std::vector<Track>>();
                Update();
                finish(found.busName);
                return;
            }
            found.tracksListed = true;
            found.view.hasTrackList = true;
            QList<QDBusObjectPath> paths;
            for (const std::string& id : ids) {
                paths.push_back(QDBusObjectPath(Q(id)));
            }
            QDBusMessage metadata =
                MethodCall(found, kTrackListInterface, QStringLiteral("GetTracksMetadata"));
            metadata << QVariant::fromValue(paths);
            Send(
                found, metadata,
                [this, ids, finish](Player& again, const QDBusMessage& answer) {
                    std::vector<Track> listed = TracksOf(First(answer), kMaxTracks);
                    // In the order of Tracks, whatever order the answer had
                    // (by an index: a list of thousands is ordered in one pass).
                    std::unordered_map<std::string_view, std::size_t> where;
                    where.reserve(listed.size());
                    for (std::size_t i = 0; i < listed.size(); ++i) {
                        where.emplace(listed[i].id, i);
                    }
                    std::vector<Track> tracks;
                    tracks.reserve(listed.size());
                    for (const std::string& id : ids) {
                        if (const auto it = where.find(id); it != where.end()) {
                            tracks.push_back(std::move(listed[it->second]));
                            where.erase(it);  // a repeated id is listed once
                        }
                    }
                    WaitForTags(again, tracks);
                    again.view.tracks =
                        std::make_shared<const std::vector<Track>>(std::move(tracks));
                    Update();
                    finish(again.busName);
                },
                [finish, busName = found.busName](const QString& error) {
                    Log(kLogError, "vantor-server: MPRIS player %s did not list its tracks: %s",
                        busName.c_str(), error.toUtf8().constData());
                    finish(busName);
                });
        },
        [this, finish, busName = player.busName](const QString& error) {
            // Only a player that said it has a track list is wrong not to.
            if (const Player* found = Find(busName); found && found->view.hasTrackList) {
                Log(kLogError, "vantor-server: MPRIS player %s has no track list to read: %s",
                    busName.c_str(), error.toUtf8().constData());
            }
            finish(busName);
        });
}

void MprisBus::WaitForTags(Player& player, const std::vector<Track>& tracks) {
    const auto ids = [](const std::vector<Track>& list) {
        std::vector<std::string> out;
        out.reserve(list.size());
        for (const Track& track : list) {
            out.push_back(track.id);
        }
        return out;
    };
    if (!player.view.tracks || ids(*player.view.tracks) != ids(tracks)) {
        player.tagWaits = 0;  // other tracks: their tags may be read yet
    }
    const bool untitled =
        std::any_of(tracks.begin(), tracks.end(), [](const Track& t) { return t.untitled; });
    if (!untitled || player.tagWaits == kTagWaits) {
        return;
    }
    const int pause = kFirstTagWaitMs << player.tagWaits;
    ++player.tagWaits;
    QTimer::singleShot(pause, this, [this, busName = player.busName, serial = player.serial] {
        if (Player* found = Find(busName); found && found->serial == serial) {
            ReadTrackList(*found);
        }
    });
}

void MprisBus::ReadPlaylists(Player& player) {
    QDBusMessage all = MethodCall(player, kProperties, QStringLiteral("GetAll"));
    all << kPlaylistsInterface;
    Send(player, all, [this](Player& found, const QDBusMessage& reply) {
        const QVariantMap properties = MapOf(First(reply));
        if (properties.isEmpty()) {
            return;  // no Playlists interface: the library is the current track
        }
        QString ordering = QStringLiteral("Alphabetical");
        const QVariant orderings = Plain(properties.value(QStringLiteral("Orderings")));
        if (orderings.metaType() == QMetaType::fromType<QStringList>() &&
            !orderings.toStringList().isEmpty() && !orderings.toStringList().contains(ordering)) {
            ordering = orderings.toStringList().first();
        }
        QDBusMessage get = MethodCall(found, kPlaylistsInterface, QStringLiteral("GetPlaylists"));
        get << 0u << static_cast<unsigned>(kMaxPlaylists) << ordering << false;
        Send(
            found, get,
            [this](Player& again, const QDBusMessage& answer) {
                again.view.hasPlaylists = true;
                again.view.playlists = std::make_shared<const std::vector<Playlist>>(
                    PlaylistsOf(First(answer), kMaxPlaylists));
                Update();
            },
            [busName = found.busName](const QString& error) {
                Log(kLogError, "vantor-server: MPRIS player %s did not list its playlists: %s",
                    busName.c_str(), error.toUtf8().constData());
            });
    });
}

void MprisBus::MarkActive(Player& player) {
    player.activity = ++counter_;
}

void MprisBus::OnPropertiesChanged(const QDBusMessage& message) {
    Player* player = FindOwner(message.service());
    const QVariantList arguments = message.arguments();
    if (player == nullptr || arguments.size() < 2) {
        return;
    }
    const QString interface = arguments[0].toString();
    const QVariantMap changed = MapOf(arguments[1]);
    const bool invalidated = arguments.size() > 2 && !Plain(arguments[2]).toStringList().isEmpty();
    if (interface == kPlayerInterface) {
        const std::int32_t state = player->view.playingState;
        const std::optional<Track> track = player->view.track;
        ++player->told;
        for (auto it = changed.keyBegin(); it != changed.keyEnd(); ++it) {
            // The MPRIS Player has about a dozen; a player inventing more
            // is not followed for ever.
            if (player->toldAt.size() < 64 || player->toldAt.contains(*it)) {
                player->toldAt.insert(*it, player->told);
            }
        }
        ApplyPlayerProperties(changed, Clock::now(), &player->view);
        if (player->view.playingState == PlayingState::Playing && state != PlayingState::Playing) {
            MarkActive(*player);
        }
        if (invalidated) {
            ReadPlayer(*player);
        } else if (player->view.track != track && player->view.track) {
            ReadPosition(*player);  // a new track need not start at 0
            // VLC 3 lists the tracks added to it only once it moves to
            // another track, and says nothing then.
            if (player->view.hasTrackList) {
                ReadTrackList(*player);
            }
        }
    } else if (interface == kRootInterface) {
        const bool hadTrackList = player->view.hasTrackList;
        ApplyRootProperties(changed, &player->view);
        player->view.hasTrackList = player->view.hasTrackList || player->tracksListed;
        if (player->view.hasTrackList && !hadTrackList) {
            ReadTrackList(*player);
        }
    } else if (interface == kPlaylistsInterface) {
        ReadPlaylists(*player);
    } else if (interface == kTrackListInterface) {
        ReadTrackList(*player);
    }
    Update();
}

void MprisBus::OnSeeked(const QDBusMessage& message) {
    Player* player = FindOwner(message.service());
    if (player == nullptr || message.arguments().isEmpty()) {
        return;
    }
    QVariantMap position;
    position.insert(QStringLiteral("Position"), Plain(message.arguments().first()));
    player->toldAt.insert(QStringLiteral("Position"), ++player->told);
    ApplyPlayerProperties(position, Clock::now(), &player->view);
    // Some players signal the position from before the jump: ask again.
    ReadPosition(*player);
    Update();
}

void MprisBus::OnTrackListChanged(const QDBusMessage& message) {
    if (Player* player = FindOwner(message.service())) {
        player->view.hasTrackList = true;
        ReadTrackList(*player);
    }
}

void MprisBus::OnPlaylistChanged(const QDBusMessage& message) {
    if (Player* player = FindOwner(message.service())) {
        ReadPlaylists(*player);
    }
}

void MprisBus::Update() {
    std::vector<Candidate> candidates;
    for (const auto& player : players_) {
        if (player->ready) {
            candidates.push_back(Candidate{player->busName, player->activity, player->order});
        }
    }
    const std::string driven = ChooseDriven(candidates);
    if (driven != driven_) {
        Log(kLogInfo, "vantor-server: driving MPRIS player %s",
            driven.empty() ? "(none)" : driven.c_str());
        driven_ = driven;
    }
    PlayerView view;
    if (Player* player = Driven()) {
        view = player->view;
        view.signalled = player->told;
    }
    view.players.clear();
    for (const auto& player : players_) {
        if (!player->ready) {
            continue;
        }
        std::string name = player->view.identity;
        const auto same = std::count_if(players_.begin(), players_.end(), [&](const auto& other) {
            return other->ready && other->view.identity == name;
        });
        if (same > 1) {
            name += " (" + player->busName.substr(sizeof kBusPrefix - 1) + ")";
        }
        view.players.push_back(Speaker{player->busName, name, player->busName == driven_});
    }
    publish_(std::move(view));
}

void MprisBus::Settle(const std::string& busName, std::uint64_t serial) {
    if (Player* player = Find(busName); player != nullptr && player->serial == serial) {
        player->settled = true;
    }
    CheckLooked();
}

void MprisBus::CheckLooked() {
    if (!looked_ || !listed_ ||
        std::any_of(players_.begin(), players_.end(),
                    [](const auto& player) { return !player->settled; })) {
        return;
    }
    std::function<void()> looked = std::move(looked_);
    looked_ = nullptr;
    looked();
}

void MprisBus::Select(const std::string& busName, Done done) {
    Player* player = Find(busName);
    if (player == nullptr || !player->ready) {
        done(kNotFound);
        return;
    }
    MarkActive(*player);
    Update();
    done(kSuccess);
}

void MprisBus::Reread() {
    if (Player* player = Driven()) {
        ReadPlayer(*player);
        if (player->view.hasTrackList) {
            ReadTrackList(*player);
        }
        ReadPlaylists(*player);
    }
}

}  // namespace vantor::server::mpris
