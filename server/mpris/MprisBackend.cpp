#include "mpris/MprisBackend.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QEventLoop>
#include <QMetaObject>
#include <algorithm>
#include <atomic>
#include <cctype>
#include <future>
#include <thread>

#include "core/Logger.h"
#include "core/Text.h"
#include "mpris/MprisBus.h"
#include "mpris/MprisConvert.h"

namespace vantor::server::mpris {

namespace {

// Each backend's bus connection has a name of its own.
std::atomic<int> connections{0};
constexpr std::int64_t kSkipUs = 10'000'000;

// The extension a client sees on the art's path: from a data URL's type or
// the URL's own ending; the picture's real type goes with its bytes.
std::string ArtExtension(const std::string& url) {
    if (url.rfind("data:", 0) == 0) {
        const std::size_t end = url.find_first_of(";,");
        return PictureExtension(url.substr(5, end == std::string::npos ? 0 : end - 5));
    }
    const std::string path = ToLowerAscii(url.substr(0, url.find_first_of("?#")));
    for (const char* ending : {".png", ".gif", ".webp", ".bmp"}) {
        const std::string e = ending;
        if (path.size() > e.size() && path.compare(path.size() - e.size(), e.size(), e) == 0) {
            return e;
        }
    }
    return ".jpg";
}

// The bus gave up waiting for the answer, or the player left without one.
bool NoAnswer(const QDBusMessage& reply) {
    return reply.errorName() == QStringLiteral("org.freedesktop.DBus.Error.NoReply") ||
           reply.errorName() == QStringLiteral("org.freedesktop.DBus.Error.Timeout");
}

QDBusMessage PlaybackStatusCall(const std::string& busName) {
    QDBusMessage get = QDBusMessage::createMethodCall(
        QString::fromStdString(busName), QStringLiteral("/org/mpris/MediaPlayer2"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << kPlayerInterface << QStringLiteral("PlaybackStatus");
    return get;
}

}  // namespace

// One command's wait for the player, taken from what the loop's recent
// waits left of options_.answerWait; a command made of others (PlayNow
// playing the current track) shares the outer one's.
class MprisBackend::Budget {
public:
    explicit Budget(MprisBackend& backend) : backend_(backend) {
        if (backend_.commandDepth_++ > 0) {
            return;
        }
        began_ = Clock::now();
        backend_.waited_ =
            std::max(Clock::duration::zero(), backend_.waited_ - (began_ - backend_.lastWait_) / 2);
        backend_.commandEnds_ = began_ + backend_.options_.answerWait - backend_.waited_;
        backend_.commandSent_ = false;
    }
    ~Budget() {
        if (--backend_.commandDepth_ > 0) {
            return;
        }
        backend_.lastWait_ = Clock::now();
        backend_.waited_ += backend_.lastWait_ - began_;
    }
    Budget(const Budget&) = delete;
    Budget& operator=(const Budget&) = delete;

private:
    MprisBackend& backend_;
    Clock::time_point began_{};
};

// What the bus thread shares with the backend; it holds a share, so a
// thread abandoned after its stop time-out never reaches freed memory.
struct MprisBackend::Shared {
    const QString connectionName = QStringLiteral("vantor-server-mpris-%1").arg(++connections);
    std::string wanted;
    LoopPost post;
    std::mutex mutex;  // guards bus, loop and stop
    MprisBus* bus = nullptr;
    QEventLoop* loop = nullptr;
    bool stop = false;
    // Set once the bus thread knows whether it reached the bus: empty, or
    // why not.
    std::promise<std::string> reached;
    // Set by the loop once it has the view of the players first found.
    std::shared_ptr<std::promise<void>> looked = std::make_shared<std::promise<void>>();

    void Run();
    // Runs `work` on the bus thread; false when the bus is not running.
    bool ToBus(std::function<void(MprisBus&)> work) {
        std::lock_guard lock(mutex);
        if (bus == nullptr) {
            return false;
        }
        MprisBus* target = bus;
        return QMetaObject::invokeMethod(
            target, [target, work = std::move(work)] { work(*target); }, Qt::QueuedConnection);
    }
};

void MprisBackend::Shared::Run() {
    if (QCoreApplication::instance() == nullptr) {
        reached.set_value("the MPRIS backend needs a QCoreApplication");
        return;
    }
    {
        QEventLoop events;
        QDBusConnection connection =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
        const QString error = connection.lastError().message();
        reached.set_value(connection.isConnected() ? std::string()
                          : error.isEmpty()        ? std::string("no session bus")
                                                   : error.toStdString());
        MprisBus mpris(connection, wanted, [this](PlayerView view) {
            post([view = std::move(view)](PlayerBackend& player, Events& out) mutable {
                static_cast<MprisBackend&>(player).Apply(std::move(view), out);
            });
        });
        bool stopped = false;
        {
            std::lock_guard lock(mutex);
            stopped = stop;
            if (!stopped) {
                bus = &mpris;
                loop = &events;
            }
        }
        if (!stopped) {
            if (connection.isConnected()) {
                // Told through the loop, behind the views posted before it.
                mpris.Begin([this, looked = looked] {
                    post([looked](PlayerBackend&, Events&) { looked->set_value(); });
                });
            }
            events.exec();
            std::lock_guard lock(mutex);
            bus = nullptr;
            loop = nullptr;
        }
    }
    QDBusConnection::disconnectFromBus(connectionName);
}

MprisBackend::MprisBackend(MprisOptions options) : options_(std::move(options)) {}

MprisBackend::~MprisBackend() {
    Stop();
}

bool MprisBackend::WaitForBus(std::chrono::milliseconds wait, std::string* reason) {
    if (!reached_.valid() || reached_.wait_for(wait) != std::future_status::ready) {
        *reason = "the session bus did not answer";
        return false;
    }
    *reason = reached_.get();
    return reason->empty();
}

bool MprisBackend::WaitForPlayers(std::chrono::milliseconds wait) const {
    return looked_.valid() && looked_.wait_for(wait) == std::future_status::ready;
}

void MprisBackend::Start(LoopPost post) {
    Stop();
    shared_ = std::make_shared<Shared>();
    shared_->wanted = options_.name;
    shared_->post = std::move(post);
    reached_ = shared_->reached.get_future().share();
    looked_ = shared_->looked->get_future().share();
    startGivenUp_ = Clock::now() + kLongestStart;
    std::shared_ptr<Shared> shared = shared_;
    thread_.Start("MPRIS Bus", [shared] { shared->Run(); });
}

void MprisBackend::Stop() {
    if (!shared_) {
        return;
    }
    {
        std::lock_guard lock(shared_->mutex);
        shared_->stop = true;
        if (shared_->loop != nullptr) {
            QMetaObject::invokeMethod(shared_->loop, "quit", Qt::QueuedConnection);
        }
    }
    thread_.Stop(kCallTimeoutMs + 2000, true);
    shared_.reset();
}

// --- the player (loop thread) ------------------------------------------------

bool MprisBackend::Ready() {
    return WaitForPlayers(std::chrono::milliseconds(0)) || Clock::now() >= startGivenUp_;
}

void MprisBackend::Apply(PlayerView view, Events& events) {
    AppendChanges(view_, view, Clock::now(), &toldPosition_, events);
    if (view.busName != view_.busName || view.signalled != view_.signalled) {
        // A player that signals is alive again; a call left unanswered was
        // the old player's, and one that has left and come back, or another
        // one, answers commands from the start.
        unanswered_.reset();
    }
    // The stop is over once the stopped player shows a track again (or
    // another one), or another player is driven.
    if (view.busName != stoppedBus_ ||
        (view.track && (!view_.track || view.track->url != stoppedUrl_))) {
        stoppedBus_.clear();
        stoppedUrl_.clear();
    }
    view_ = std::move(view);
    std::lock_guard lock(sharedMutex_);
    listed_ = view_;
}

void MprisBackend::Tick(Events& events) {
    if (view_.playingState != PlayingState::Playing) {
        return;
    }
    const std::int32_t position = PositionSeconds(view_, Clock::now());
    if (position != toldPosition_) {
        auto event = std::make_unique<PlayPositionChangedEvent>();
        event->playbackPosition = position;
        events.push_back(std::move(event));
        toldPosition_ = position;
    }
}

PlayerStatus MprisBackend::Status() {
    PlayerStatus status;
    status.playingState = view_.playingState;
    status.volume = view_.volume;
    status.queuePosition = QueuePosition(view_);
    status.queueLength = QueueLength(view_);
    status.playbackPosition = PositionSeconds(view_, Clock::now());
    status.shuffle = view_.shuffle.value_or(false);
    status.repeat = view_.repeat.value_or(RepeatState::Off);
    if (view_.track) {
        std::lock_guard lock(sharedMutex_);
        status.current = TrackEntryLocked(*view_.track);
    }
    return status;
}

ResultCode MprisBackend::Command(const QString& interface, const char* method,
                                 QVariantList arguments) {
    if (view_.busName.empty() || !shared_) {
        return kPlayerFailed;  // no player on the bus
    }
    const bool first = !commandSent_;
    if (first && Silent()) {
        Log(kLogError,
            "vantor-server: %s not sent: MPRIS player %s has not answered the last command yet",
            method, view_.busName.c_str());
        return kPlayerFailed;
    }
    if (first && Clock::now() >= commandEnds_) {
        Log(kLogError,
            "vantor-server: %s not sent: MPRIS player %s has kept the server waiting too long "
            "lately",
            method, view_.busName.c_str());
        return kPlayerFailed;
    }
    commandSent_ = true;
    // Sent from this thread, on the bus thread's connection (QtDBus
    // connections may be used from any thread), so the answer comes back
    // without a hop through the bus thread's event loop. The bus waits
    // longer than the loop does: an answer that comes after the loop gave
    // up still shows the player alive.
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromStdString(view_.busName),
                                                       QStringLiteral("/org/mpris/MediaPlayer2"),
                                                       interface, QString::fromLatin1(method));
    call.setArguments(arguments);
    const QDBusPendingCall pending =
        QDBusConnection(shared_->connectionName)
            .asyncCall(call, static_cast<int>(options_.answerWait.count()) + kCallTimeoutMs);
    if (!Await(pending, commandEnds_)) {
        unanswered_ = pending;
        if (!first) {
            // The player took the command's first call: the rest is under way.
            Log(kLogInfo, "vantor-server: MPRIS player %s has not answered %s yet",
                view_.busName.c_str(), method);
            return kSuccess;
        }
        Log(kLogError, "vantor-server: MPRIS player %s did not answer %s in time",
            view_.busName.c_str(), method);
        return kPlayerFailed;
    }
    const QDBusMessage reply = pending.reply();
    if (reply.type() == QDBusMessage::ReplyMessage) {
        return kSuccess;
    }
    if (NoAnswer(reply)) {
        unanswered_ = pending;
        Log(kLogError, "vantor-server: MPRIS player %s did not answer %s in time",
            view_.busName.c_str(), method);
    } else {
        Log(kLogError, "vantor-server: MPRIS player %s refused %s: %s", view_.busName.c_str(),
            method, reply.errorMessage().toUtf8().constData());
    }
    return kPlayerFailed;
}

bool MprisBackend::Await(const QDBusPendingCall& call, Clock::time_point until) {
    // The loop has no Qt event loop to be told in: it looks.
    while (!call.isFinished()) {
        if (Clock::now() >= until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool MprisBackend::Silent() {
    if (!unanswered_) {
        return false;
    }
    if (!unanswered_->isFinished()) {
        return true;
    }
    if (!NoAnswer(unanswered_->reply())) {
        unanswered_.reset();  // it answered, if late
        return false;
    }
    // The bus gave up on it: a question the player answers at once when it
    // is alive, asked without waiting; the next command looks for the answer.
    unanswered_ = QDBusConnection(shared_->connectionName)
                      .asyncCall(PlaybackStatusCall(view_.busName), kCallTimeoutMs);
    return true;
}

ResultCode MprisBackend::PlayerCall(const char* method, QVariantList arguments) {
    return Command(kPlayerInterface, method, std::move(arguments));
}

ResultCode MprisBackend::SetProperty(const char* property, QVariant value) {
    return Command(QStringLiteral("org.freedesktop.DBus.Properties"), "Set",
                   {kPlayerInterface, QString::fromLatin1(property),
                    QVariant::fromValue(QDBusVariant(std::move(value)))});
}

ResultCode MprisBackend::Transport(TransportCommand command, Events&) {
    const Budget budget(*this);
    if (view_.busName.empty()) {
        return kPlayerFailed;  // no player on the bus
    }
    const Abilities& can = view_.can;
    const bool playing = view_.playingState == PlayingState::Playing;
    switch (command) {
        case TransportCommand::Play:
            return Play();
        case TransportCommand::Pause:
            return can.control && can.pause ? PlayerCall("Pause") : kUnsupported;
        case TransportCommand::PlayPause:
            if (!playing && !view_.track) {
                return Play();
            }
            return can.control && (playing ? can.pause : can.play) ? PlayerCall("PlayPause")
                                                                   : kUnsupported;
        case TransportCommand::Stop:
            if (!can.control) {
                return kUnsupported;
            }
            stoppedBus_ = view_.busName;
            stoppedUrl_ = view_.track ? view_.track->url : std::string();
            return PlayerCall("Stop");
        case TransportCommand::Next:
            return can.control && can.next ? PlayerCall("Next") : kUnsupported;
        case TransportCommand::Previous:
            return can.control && can.previous ? PlayerCall("Previous") : kUnsupported;
        case TransportCommand::FastForward:
        case TransportCommand::Rewind: {
            if (!can.control || !can.seek) {
                return kUnsupported;
            }
            const qlonglong offset = command == TransportCommand::FastForward ? kSkipUs : -kSkipUs;
            return PlayerCall("Seek", {QVariant::fromValue(offset)});
        }
    }
    return kUnsupported;
}

ResultCode MprisBackend::Play() {
    if (!view_.can.control) {
        return kUnsupported;
    }
    if (ReopenStopped()) {
        // Stopped empty: nothing would play, though the player says yes.
        // Paused first, so that Play changes its pause switch: mpv says it
        // plays only when it has seen that change. It looks at the switch
        // only between calls, so Play is sent once it tells it is paused:
        // a Pause and a Play taken in one go it never sees, and it goes on
        // saying "Stopped" while it plays.
        if (view_.can.pause) {
            if (PlayerCall("Pause") == kSuccess) {
                AwaitPlaybackStatus(QStringLiteral("Paused"));
            } else if (unanswered_) {
                // The first call went unanswered: the player has taken
                // nothing, and the calls after it would only queue behind.
                return kPlayerFailed;
            }
        }
        // A player that will not open it may still have something to play.
        PlayerCall("OpenUri", {QString::fromStdString(stoppedUrl_)});
        return PlayerCall("Play");
    }
    return view_.can.play ? PlayerCall("Play") : kUnsupported;
}

bool MprisBackend::AwaitPlaybackStatus(const QString& status) {
    // Half of what is left of the command's wait: the calls after it need
    // theirs, a player that never says so must not take it all.
    const auto now = Clock::now();
    const Clock::time_point until = now + std::max(Clock::duration::zero(), commandEnds_ - now) / 2;
    const QDBusMessage get = PlaybackStatusCall(view_.busName);
    QDBusConnection connection(shared_->connectionName);
    for (;;) {
        const QDBusPendingCall pending = connection.asyncCall(get, kCallTimeoutMs);
        if (!Await(pending, until)) {
            return false;
        }
        const QDBusMessage reply = pending.reply();
        if (reply.type() != QDBusMessage::ReplyMessage) {
            return false;
        }
        if (Plain(reply.arguments().value(0)).toString() == status) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool MprisBackend::ReopenStopped() const {
    if (view_.track || view_.busName != stoppedBus_ || stoppedUrl_.empty()) {
        return false;
    }
    // A player that still lists tracks has not emptied its playlist.
    if (view_.hasTrackList && view_.tracks && !view_.tracks->empty()) {
        return false;
    }
    // A player that opens no URIs lists no schemes. mpv lists only its
    // network ones, yet opens files: a local file is taken as openable by
    // any player that opens something.
    if (view_.uriSchemes.empty()) {
        return false;
    }
    std::string scheme = stoppedUrl_.substr(0, stoppedUrl_.find(':'));
    std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return scheme == "file" || std::find(view_.uriSchemes.begin(), view_.uriSchemes.end(),
                                         scheme) != view_.uriSchemes.end();
}

ResultCode MprisBackend::SetVolume(std::int32_t volume, Events&) {
    const Budget budget(*this);
    if (view_.busName.empty()) {
        return kPlayerFailed;  // no player on the bus
    }
    if (!view_.can.control || view_.volume < 0) {
        return kUnsupported;
    }
    return SetProperty("Volume", QVariant::fromValue(MprisVolume(volume)));
}

ResultCode MprisBackend::SetPlaybackPosition(std::int32_t seconds, Events&) {
    const Budget budget(*this);
    if (view_.busName.empty()) {
        return kPlayerFailed;  // no player on the bus
    }
    if (!view_.can.control || !view_.can.seek) {
        return kUnsupported;
    }
    if (!view_.track) {
        return kNotFound;
    }
    if (seconds < 0 || (view_.track->length > 0 && seconds > view_.track->length)) {
        return kBadParameter;
    }
    const qlonglong target = qlonglong{seconds} * 1'000'000;
    if (!view_.track->id.empty()) {
        return PlayerCall(
            "SetPosition",
            {QVariant::fromValue(QDBusObjectPath(QString::fromStdString(view_.track->id))),
             QVariant::fromValue(target)});
    }
    // Without a track id only a relative jump can be asked for.
    const qlonglong offset = target - EstimatePositionUs(view_, Clock::now());
    return PlayerCall("Seek", {QVariant::fromValue(offset)});
}

ResultCode MprisBackend::SetQueuePosition(std::int32_t position, Events&) {
    const Budget budget(*this);
    if (view_.busName.empty()) {
        return kPlayerFailed;  // no player on the bus
    }
    if (!view_.can.control) {
        return kUnsupported;
    }
    if (view_.hasTrackList && view_.tracks && !view_.tracks->empty()) {
        if (position < 0 || static_cast<std::size_t>(position) >= view_.tracks->size()) {
            return kBadParameter;
        }
        const QString id =
            QString::fromStdString((*view_.tracks)[static_cast<std::size_t>(position)].id);
        const ResultCode code =
            Command(kTrackListInterface, "GoTo", {QVariant::fromValue(QDBusObjectPath(id))});
        // GoTo only makes the track current where the player is not playing.
        // Plain Play: the stopped file must not be opened over the entry.
        if (code != kSuccess || view_.playingState == PlayingState::Playing) {
            return code;
        }
        return view_.can.play ? PlayerCall("Play") : kUnsupported;
    }
    if (position != 0 || !view_.track) {
        return kBadParameter;
    }
    return Play();
}

ResultCode MprisBackend::SetShuffle(bool shuffle, Events&) {
    const Budget budget(*this);
    if (view_.busName.empty()) {
        return kPlayerFailed;  // no player on the bus
    }
    if (!view_.can.control || !view_.shuffle) {
        return kUnsupported;
    }
    return SetProperty("Shuffle", QVariant::fromValue(shuffle));
}

ResultCode MprisBackend::SetRepeat(std::int32_t repeat, Events&) {
    const Budget budget(*this);
    if (view_.busName.empty()) {
        return kPlayerFailed;  // no player on the bus
    }
    if (!view_.can.control || !view_.repeat) {
        return kUnsupported;
    }
    if (repeat < RepeatState::Off || repeat > RepeatState::All) {
        return kBadParameter;
    }
    return SetProperty("LoopStatus", LoopStatusOf(repeat));
}

ResultCode MprisBackend::Speakers(std::vector<Speaker>* speakers) {
    *speakers = view_.players;
    return kSuccess;
}

ResultCode MprisBackend::SelectSpeaker(const std::string& id, Events&) {
    if (!shared_) {
        return kPlayerFailed;
    }
    // Answered from the players the loop was last told of; the bus thread
    // makes the choice, asking no player, and tells it as a view. The loop
    // never waits for the bus thread, which may be reading a long track list.
    if (std::none_of(view_.players.begin(), view_.players.end(),
                     [&](const Speaker& player) { return player.id == id; })) {
        return kNotFound;
    }
    const bool sent = shared_->ToBus([id](MprisBus& bus) { bus.Select(id, [](ResultCode) {}); });
    return sent ? kSuccess : kPlayerFailed;
}

ResultCode MprisBackend::EnableSpeaker(const std::string& id, bool enabled, Events& events) {
    // One player is driven at a time: enabling one chooses it; none can be
    // switched off.
    return enabled ? SelectSpeaker(id, events) : kUnsupported;
}

ResultCode MprisBackend::PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                                 Events& events) {
    const Budget budget(*this);
    Known known;
    {
        std::lock_guard lock(sharedMutex_);
        const Known* found = ResolveLocked(selector, startingItem);
        if (found == nullptr || found->busName != view_.busName) {
            return kNotFound;
        }
        known = *found;
    }
    if (!view_.can.control) {
        return kUnsupported;
    }
    const QDBusObjectPath target(QString::fromStdString(known.target));
    if (known.playlist) {
        return Command(kPlaylistsInterface, "ActivatePlaylist", {QVariant::fromValue(target)});
    }
    if (view_.hasTrackList && view_.tracks && !known.target.empty() &&
        std::any_of(view_.tracks->begin(), view_.tracks->end(),
                    [&](const Track& track) { return track.id == known.target; })) {
        return Command(kTrackListInterface, "GoTo", {QVariant::fromValue(target)});
    }
    if (view_.track && known.target == view_.track->id) {
        return Transport(TransportCommand::Play, events);
    }
    return kNotFound;
}

ResultCode MprisBackend::QueuePage(std::int32_t start, std::int32_t count, ListPage* page) {
    std::lock_guard lock(sharedMutex_);
    *page = PageOf(QueueLocked(), start, count);
    return kSuccess;
}

ResultCode MprisBackend::AlbumArtPath(std::string* path) {
    if (!view_.track || view_.track->artUrl.empty()) {
        return kNotFound;
    }
    std::lock_guard lock(sharedMutex_);
    const LibraryEntry entry = TrackEntryLocked(*view_.track);
    *path = "/art/" + std::to_string(entry.id) + ArtExtension(view_.track->artUrl);
    return kSuccess;
}

ResultCode MprisBackend::UpdateLibrary(Events&) {
    if (!shared_ || !shared_->ToBus([](MprisBus& bus) { bus.Reread(); })) {
        return kPlayerFailed;
    }
    return kSuccess;
}

}  // namespace vantor::server::mpris
