#include "MpdBackend.h"

#include <fcntl.h>
#include <mpd/client.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <climits>

#include "LibraryPath.h"
#include "core/Logger.h"

namespace vantor::server {

namespace {

// What the idle connection waits for.
constexpr unsigned kIdleMask = MPD_IDLE_DATABASE | MPD_IDLE_STORED_PLAYLIST | MPD_IDLE_QUEUE |
                               MPD_IDLE_PLAYER | MPD_IDLE_MIXER | MPD_IDLE_OUTPUT |
                               MPD_IDLE_OPTIONS | MPD_IDLE_STICKER;

// The changes that show in MPD's status.
constexpr unsigned kStatusMask =
    MPD_IDLE_PLAYER | MPD_IDLE_MIXER | MPD_IDLE_OPTIONS | MPD_IDLE_QUEUE;

constexpr std::chrono::milliseconds kReconnectInterval{500};
// MPD closes a connection that says nothing for a minute (its
// connection_timeout); a ping keeps ours.
constexpr std::chrono::seconds kPingInterval{20};
constexpr std::size_t kCachedNameLists = 16;
constexpr std::size_t kMaxPicture = 16 * 1024 * 1024;
constexpr const char* kRating = "rating";
constexpr const char* kEverything = "(file != '')";

template <class M>
std::unique_ptr<M> Make() {
    return std::make_unique<M>();
}

// The song now playing as the event that tells of it (an empty one when
// nothing plays).
std::unique_ptr<CurrentMediaChangedEvent> MediaEvent(const std::optional<LibraryEntry>& current) {
    auto media = Make<CurrentMediaChangedEvent>();
    if (current) {
        media->type = MediaType::Music;
        media->artist = current->artist;
        media->album = current->album;
        media->title = current->title;
        media->length = current->length;
        media->rating = current->rating;
    }
    return media;
}

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

bool Numeric(const std::string& text) {
    return !text.empty() && text.size() < 10 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string And(const std::vector<std::string>& terms) {
    if (terms.empty()) {
        return kEverything;
    }
    if (terms.size() == 1) {
        return terms[0];
    }
    std::string all = "(";
    for (std::size_t i = 0; i < terms.size(); ++i) {
        all += (i == 0 ? "" : " AND ") + terms[i];
    }
    return all + ")";
}

std::string Is(const char* tag, const std::string& value) {
    return std::string("(") + tag + " == " + MpdBackend::Quote(value) + ")";
}

// The songs in a folder of the library, as a filter.
std::string FilterOf(const LibraryPath& at) {
    std::vector<std::string> terms;
    if (!at.genre.empty()) {
        terms.push_back(Is("genre", at.genre));
    }
    if (!at.artist.empty()) {
        terms.push_back(Is("artist", at.artist));
    }
    if (!at.album.empty()) {
        terms.push_back(Is("album", at.album));
    }
    return And(terms);
}

std::string Tag(const mpd_song* song, mpd_tag_type tag) {
    const char* value = mpd_song_get_tag(song, tag, 0);
    return value ? value : "";
}

std::int32_t PlayingStateOf(mpd_state state) {
    switch (state) {
        case MPD_STATE_PLAY:
            return PlayingState::Playing;
        case MPD_STATE_PAUSE:
            return PlayingState::Paused;
        default:
            return PlayingState::Stopped;
    }
}

std::string PictureType(const std::string& bytes) {
    if (bytes.rfind("\x89PNG", 0) == 0) {
        return "image/png";
    }
    if (bytes.rfind("\xff\xd8", 0) == 0) {
        return "image/jpeg";
    }
    if (bytes.rfind("GIF8", 0) == 0) {
        return "image/gif";
    }
    if (bytes.rfind("BM", 0) == 0) {
        return "image/bmp";
    }
    return "application/octet-stream";
}

std::string PictureExtension(const std::string& type) {
    if (type == "image/png") {
        return ".png";
    }
    if (type == "image/jpeg") {
        return ".jpg";
    }
    if (type == "image/gif") {
        return ".gif";
    }
    if (type == "image/bmp") {
        return ".bmp";
    }
    return ".img";
}

std::vector<LibraryEntry> Folders(const std::string& parent, const std::vector<std::string>& names,
                                  MediaType type) {
    std::vector<LibraryEntry> entries;
    entries.reserve(names.size());
    for (const std::string& name : names) {
        entries.push_back(FolderEntry(parent, name, type));
    }
    return entries;
}

}  // namespace

// What the idle thread touches; it holds a share, so a thread abandoned
// after its stop time-out never reaches freed memory.
struct MpdBackend::IdleState {
    MpdOptions options;
    LoopPost post;
    std::atomic<bool> stop{false};
    // Counts the loop's own reads of the status, so that a status read here
    // is known to be the newest when none came between.
    std::atomic<unsigned> statusReads{0};
    int wakeRead = -1;
    int wakeWrite = -1;

    ~IdleState() {
        if (wakeRead >= 0) {
            ::close(wakeRead);
            ::close(wakeWrite);
        }
    }

    // Sleeps for `time` unless woken; false when told to stop.
    bool Wait(std::chrono::milliseconds time) const {
        pollfd wake{wakeRead, POLLIN, 0};
        ::poll(&wake, 1, static_cast<int>(time.count()));
        return !stop;
    }

    void Run() const;
};

void MpdBackend::IdleState::Run() const {
    bool lost = false;
    while (!stop) {
        mpd_connection* connection =
            mpd_connection_new(options.host.c_str(), options.port, MpdTimeoutMs(options.timeout));
        if (connection == nullptr || mpd_connection_get_error(connection) != MPD_ERROR_SUCCESS) {
            if (connection != nullptr) {
                mpd_connection_free(connection);
            }
            if (!lost) {
                post([](PlayerBackend& player, Events& events) {
                    static_cast<MpdBackend&>(player).OnLost(events);
                });
                lost = true;
            }
            Wait(kReconnectInterval);
            continue;
        }
        lost = false;
        post([](PlayerBackend& player, Events& events) {
            static_cast<MpdBackend&>(player).OnConnected(events);
        });
        while (!stop) {
            if (!mpd_send_idle_mask(connection, static_cast<mpd_idle>(kIdleMask))) {
                break;
            }
            pollfd polled[2] = {{mpd_connection_get_fd(connection), POLLIN, 0},
                                {wakeRead, POLLIN, 0}};
            if (::poll(polled, 2, -1) < 0 && errno != EINTR) {
                break;
            }
            if (stop) {
                mpd_send_noidle(connection);
                mpd_recv_idle(connection, true);
                break;
            }
            if ((polled[0].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
                // Interrupted: still in idle, so leave it before asking again.
                mpd_send_noidle(connection);
            }
            const unsigned changed = mpd_recv_idle(connection, true);
            if (changed == 0 && mpd_connection_get_error(connection) != MPD_ERROR_SUCCESS) {
                break;
            }
            if (changed == 0) {
                continue;
            }
            // The status is read here, on this connection, so that the loop
            // does not wait for MPD's answer.
            std::shared_ptr<mpd_status> status;
            const unsigned reads = statusReads.load();
            if ((changed & kStatusMask) != 0) {
                mpd_status* read = mpd_run_status(connection);
                if (read == nullptr) {
                    break;
                }
                status.reset(read, mpd_status_free);
            }
            post([changed, status, reads](PlayerBackend& player, Events& events) {
                static_cast<MpdBackend&>(player).OnIdle(changed, status.get(), reads, events);
            });
        }
        const bool broken = mpd_connection_get_error(connection) != MPD_ERROR_SUCCESS;
        mpd_connection_free(connection);
        if (broken && !stop) {
            post([](PlayerBackend& player, Events& events) {
                static_cast<MpdBackend&>(player).OnLost(events);
            });
            lost = true;
            Wait(kReconnectInterval);
        }
    }
}

MpdBackend::MpdBackend(MpdOptions options)
    : options_(std::move(options)),
      command_(options_.host, options_.port, options_.timeout, "commands"),
      library_(options_.host, options_.port, options_.timeout, "library") {}

MpdBackend::~MpdBackend() {
    Stop();
}

std::string MpdBackend::Quote(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + "'";
}

void MpdBackend::Start(LoopPost post) {
    Stop();
    Events none;  // nobody is connected yet
    Refresh(none);
    if (connected_) {
        ReadSpeakers(&speakers_);
    }
    idle_ = std::make_shared<IdleState>();
    idle_->options = options_;
    idle_->post = std::move(post);
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        idle_->wakeRead = pipe[0];
        idle_->wakeWrite = pipe[1];
    }
    std::shared_ptr<IdleState> idle = idle_;
    idleThread_.Start("MPD Idle", [idle] { idle->Run(); });
}

void MpdBackend::Stop() {
    if (idle_) {
        idle_->stop = true;
        const char byte = 1;
        (void)!::write(idle_->wakeWrite, &byte, 1);
        idleThread_.Stop(static_cast<int>(options_.timeout.count()) + 2000, true);
        idle_.reset();
    }
    command_.Close();
    std::lock_guard lock(libraryMutex_);
    library_.Close();
}

// --- the player (loop thread) ------------------------------------------------

void MpdBackend::CountStatusRead() {
    if (idle_) {
        ++idle_->statusReads;
    }
}

unsigned MpdBackend::StatusReads() const {
    return idle_ ? idle_->statusReads.load() : 0;
}

std::int32_t MpdBackend::Run(const char* what, const std::vector<Send>& commands, Events& events) {
    mpd_connection* connection = command_.Get(!connected_);
    if (connection == nullptr) {
        MarkLost(events);
        return kPlayerFailed;
    }
    CountStatusRead();
    bool sent = mpd_command_list_begin(connection, true);
    for (const Send& send : commands) {
        sent = sent && send(connection);
    }
    sent = sent && mpd_send_status(connection) && mpd_command_list_end(connection);
    bool answered = sent;
    for (std::size_t i = 0; answered && i < commands.size(); ++i) {
        answered = mpd_response_next(connection);
    }
    mpd_status* status = answered ? mpd_recv_status(connection) : nullptr;
    const std::int32_t code = command_.Finish(what);
    if (status != nullptr) {
        if (code == kSuccess) {
            Apply(status, events);
        }
        mpd_status_free(status);
    }
    if (code != kSuccess) {
        // Part of the list may have been carried out.
        Refresh(events);
    }
    return code;
}

void MpdBackend::Refresh(Events& events) {
    mpd_connection* connection = command_.Get(!connected_);
    if (connection == nullptr) {
        MarkLost(events);
        return;
    }
    CountStatusRead();
    mpd_status* status = mpd_run_status(connection);
    if (status == nullptr) {
        command_.Check("status");
        MarkLost(events);
        return;
    }
    Apply(status, events);
    mpd_status_free(status);
}

void MpdBackend::Apply(const mpd_status* status, Events& events) {
    PlayerStatus next = status_;
    next.playingState = PlayingStateOf(mpd_status_get_state(status));
    next.volume = mpd_status_get_volume(status);
    next.queueLength = static_cast<std::int32_t>(mpd_status_get_queue_length(status));
    next.queuePosition = std::max(mpd_status_get_song_pos(status), 0);
    next.playbackPosition = next.playingState == PlayingState::Stopped
                                ? 0
                                : static_cast<std::int32_t>(mpd_status_get_elapsed_time(status));
    next.shuffle = mpd_status_get_random(status);
    next.repeat = !mpd_status_get_repeat(status)  ? RepeatState::Off
                  : mpd_status_get_single(status) ? RepeatState::One
                                                  : RepeatState::All;
    const int songId = mpd_status_get_song_id(status);
    const unsigned queueVersion = mpd_status_get_queue_version(status);

    const bool wasConnected = connected_ && haveStatus_;
    const bool songChanged = !wasConnected || songId != songId_;
    if (songChanged) {
        next.current.reset();
        currentUri_.clear();
        if (songId >= 0) {
            if (mpd_song* song = mpd_run_current_song(command_.Get())) {
                currentUri_ = mpd_song_get_uri(song);
                next.current = Entry(song);
                mpd_song_free(song);
            }
            command_.Finish("currentsong");
            if (next.current) {
                next.current->rating = ReadRating(command_.Get(), currentUri_);
            }
        }
    }
    const PlayerStatus before = status_;
    const bool firstStatus = !haveStatus_;
    status_ = next;
    songId_ = songId;
    connected_ = true;
    haveStatus_ = true;
    const unsigned previousVersion = queueVersion_;
    queueVersion_ = queueVersion;
    // After a start or an outage every value counts as news: the clients
    // may have been told "stopped" meanwhile, and MPD may have come back
    // with another queue and database.
    const bool all = !wasConnected;
    if (all && !firstStatus) {
        ForgetLibrary();
        events.push_back(Make<MediaLibraryChangedEvent>());
        RefreshSpeakers(events);
    }
    if (all || queueVersion != previousVersion) {
        events.push_back(Make<PlaylistChangedEvent>());
    }
    if (all || before.playingState != next.playingState) {
        auto event = Make<PlayingStateChangedEvent>();
        event->playingState = next.playingState;
        events.push_back(std::move(event));
    }
    if (songChanged || before.queuePosition != next.queuePosition) {
        auto event = Make<PlaylistPositionChangedEvent>();
        event->playlistPosition = next.queuePosition;
        events.push_back(std::move(event));
    }
    if (songChanged) {
        events.push_back(MediaEvent(next.current));
        events.push_back(Make<AlbumArtChangedEvent>());
    }
    if (songChanged || before.playbackPosition != next.playbackPosition) {
        auto event = Make<PlayPositionChangedEvent>();
        event->playbackPosition = next.playbackPosition;
        events.push_back(std::move(event));
    }
    if ((all || before.volume != next.volume) && next.volume >= 0) {
        auto event = Make<VolumeChangedEvent>();
        event->volume = next.volume;
        events.push_back(std::move(event));
    }
    if (all || before.shuffle != next.shuffle) {
        auto event = Make<ShuffleStateChangedEvent>();
        event->shuffleState = next.shuffle;
        events.push_back(std::move(event));
    }
    if (all || before.repeat != next.repeat) {
        auto event = Make<RepeatStateChangedEvent>();
        event->repeatState = next.repeat;
        events.push_back(std::move(event));
    }
}

void MpdBackend::MarkLost(Events& events) {
    connected_ = false;
    command_.Close();
    if (status_.playingState != PlayingState::Stopped) {
        status_.playingState = PlayingState::Stopped;
        auto event = Make<PlayingStateChangedEvent>();
        event->playingState = PlayingState::Stopped;
        events.push_back(std::move(event));
    }
}

void MpdBackend::OnLost(Events& events) {
    if (connected_) {
        Log(kLogError,
            "vantor-server: lost MPD at %s:%u; the player shows stopped until it is back",
            options_.host.c_str(), options_.port);
    }
    MarkLost(events);
}

void MpdBackend::OnConnected(Events& events) {
    // Nothing new unless this ends an outage the loop knew of.
    Refresh(events);
}

void MpdBackend::OnIdle(unsigned subsystems, const mpd_status* status, unsigned reads,
                        Events& events) {
    if (status != nullptr && connected_) {
        // When the loop has asked for the status since, it asked after MPD
        // sent this notice, so what the notice announces has been applied;
        // whatever changed after it comes with the next notice.
        if (reads == StatusReads()) {
            Apply(status, events);
        }
    } else if ((subsystems & kStatusMask) != 0) {
        Refresh(events);  // and connect the command connection again
    }
    if ((subsystems & MPD_IDLE_OUTPUT) != 0) {
        RefreshSpeakers(events);
    }
    if ((subsystems & (MPD_IDLE_DATABASE | MPD_IDLE_STORED_PLAYLIST)) != 0) {
        ForgetLibrary();
        events.push_back(Make<MediaLibraryChangedEvent>());
    }
    if ((subsystems & MPD_IDLE_STICKER) != 0 && status_.current && connected_) {
        const std::int32_t rating = ReadRating(command_.Get(), currentUri_);
        if (rating != status_.current->rating) {
            status_.current->rating = rating;
            events.push_back(MediaEvent(status_.current));
        }
    }
}

void MpdBackend::Tick(Events& events) {
    const auto now = std::chrono::steady_clock::now();
    if (connected_ && status_.playingState == PlayingState::Playing) {
        Refresh(events);
        lastPing_ = now;
    } else if (connected_ && now - lastPing_ > kPingInterval) {
        lastPing_ = now;
        if (mpd_connection* connection = command_.Get()) {
            mpd_send_command(connection, "ping", nullptr);
            if (command_.Finish("ping") != kSuccess) {
                MarkLost(events);
            }
        }
        std::lock_guard lock(libraryMutex_);
        if (library_.IsOpen()) {
            mpd_send_command(library_.Get(), "ping", nullptr);
            library_.Finish("ping");
        }
    }
}

std::int32_t MpdBackend::ReadRating(mpd_connection* connection, const std::string& uri) {
    if (connection == nullptr || uri.empty() ||
        !mpd_send_sticker_get(connection, "song", uri.c_str(), kRating)) {
        return -1;
    }
    std::int32_t rating = -1;
    if (mpd_pair* pair = mpd_recv_sticker(connection)) {
        rating = std::clamp(std::atoi(pair->value), 0, 100);
        mpd_return_sticker(connection, pair);
    }
    // No sticker, or no sticker database: unrated.
    command_.Finish("sticker get", true);
    return rating;
}

std::int32_t MpdBackend::Transport(TransportCommand command, Events& events) {
    const std::int32_t state = status_.playingState;
    switch (command) {
        case TransportCommand::Play:
            return Run("play", {[](mpd_connection* c) { return mpd_send_play(c); }}, events);
        case TransportCommand::Pause:
            if (state == PlayingState::Stopped) {
                return kSuccess;
            }
            return Run("pause", {[](mpd_connection* c) { return mpd_send_pause(c, true); }},
                       events);
        case TransportCommand::PlayPause:
            if (state == PlayingState::Stopped) {
                return Run("play", {[](mpd_connection* c) { return mpd_send_play(c); }}, events);
            }
            return Run("pause", {[state](mpd_connection* c) {
                           return mpd_send_pause(c, state == PlayingState::Playing);
                       }},
                       events);
        case TransportCommand::Stop:
            return Run("stop", {[](mpd_connection* c) { return mpd_send_stop(c); }}, events);
        case TransportCommand::FastForward:
        case TransportCommand::Rewind:
            return kUnsupported;
        case TransportCommand::Next:
        case TransportCommand::Previous: {
            const bool next = command == TransportCommand::Next;
            if (state != PlayingState::Stopped) {
                return Run(next ? "next" : "previous", {[next](mpd_connection* c) {
                               return next ? mpd_send_next(c) : mpd_send_previous(c);
                           }},
                           events);
            }
            // MPD moves only while it plays; stopped, the next song becomes
            // the current one, as the simulated player does it.
            if (status_.queueLength == 0) {
                return kSuccess;
            }
            const std::int32_t length = status_.queueLength;
            return SetQueuePosition((status_.queuePosition + (next ? 1 : length - 1)) % length,
                                    events);
        }
    }
    return kUnsupported;
}

std::int32_t MpdBackend::SetVolume(std::int32_t volume, Events& events) {
    if (connected_ && status_.volume < 0) {
        return kUnsupported;  // no mixer
    }
    return Run("setvol", {[volume](mpd_connection* c) {
                   return mpd_send_set_volume(c, static_cast<unsigned>(volume));
               }},
               events);
}

std::int32_t MpdBackend::SetPlaybackPosition(std::int32_t seconds, Events& events) {
    if (!status_.current || seconds < 0 ||
        (status_.current->length >= 0 && seconds > status_.current->length)) {
        return kBadParameter;
    }
    if (status_.playingState == PlayingState::Stopped) {
        return kUnsupported;  // MPD seeks only in a song that plays
    }
    return Run("seekcur", {[seconds](mpd_connection* c) {
                   return mpd_send_seek_current(c, static_cast<float>(seconds), false);
               }},
               events);
}

std::int32_t MpdBackend::SetQueuePosition(std::int32_t position, Events& events) {
    if (position < 0 || position >= status_.queueLength) {
        return kBadParameter;
    }
    const std::int32_t state = status_.playingState;
    std::vector<Send> commands = {
        [position](mpd_connection* c) { return mpd_send_play_pos(c, position); }};
    if (state == PlayingState::Paused) {
        commands.push_back([](mpd_connection* c) { return mpd_send_pause(c, true); });
    } else if (state == PlayingState::Stopped) {
        commands.push_back([](mpd_connection* c) { return mpd_send_stop(c); });
    }
    return Run("play", commands, events);
}

std::int32_t MpdBackend::SetShuffle(bool shuffle, Events& events) {
    return Run("random", {[shuffle](mpd_connection* c) { return mpd_send_random(c, shuffle); }},
               events);
}

std::int32_t MpdBackend::SetRepeat(std::int32_t repeat, Events& events) {
    repeat = std::clamp(repeat, RepeatState::Off, RepeatState::All);
    return Run(
        "repeat",
        {[repeat](mpd_connection* c) { return mpd_send_repeat(c, repeat != RepeatState::Off); },
         [repeat](mpd_connection* c) { return mpd_send_single(c, repeat == RepeatState::One); }},
        events);
}

std::int32_t MpdBackend::SetRating(std::int32_t rating, Events& events) {
    if (!status_.current || rating < 0 || rating > 100) {
        return kBadParameter;
    }
    mpd_connection* connection = command_.Get(!connected_);
    if (connection == nullptr) {
        MarkLost(events);
        return kPlayerFailed;
    }
    const std::string value = std::to_string(rating);
    mpd_run_sticker_set(connection, "song", currentUri_.c_str(), kRating, value.c_str());
    const std::int32_t code = command_.Check("sticker set");
    if (code != kSuccess) {
        return code;
    }
    status_.current->rating = rating;
    events.push_back(MediaEvent(status_.current));
    return kSuccess;
}

std::int32_t MpdBackend::ReadSpeakers(std::vector<Speaker>* speakers) {
    mpd_connection* connection = command_.Get(!connected_);
    if (connection == nullptr || !mpd_send_outputs(connection)) {
        return command_.Check("outputs");
    }
    speakers->clear();
    while (mpd_output* output = mpd_recv_output(connection)) {
        speakers->push_back(Speaker{std::to_string(mpd_output_get_id(output)),
                                    mpd_output_get_name(output), mpd_output_get_enabled(output)});
        mpd_output_free(output);
    }
    return command_.Finish("outputs");
}

void MpdBackend::RefreshSpeakers(Events& events) {
    std::vector<Speaker> speakers;
    if (ReadSpeakers(&speakers) == kSuccess && speakers != speakers_) {
        speakers_ = speakers;
        auto event = Make<SpeakerListChangedEvent>();
        event->speakers = speakers;
        events.push_back(std::move(event));
    }
}

std::int32_t MpdBackend::Speakers(std::vector<Speaker>* speakers) {
    const std::int32_t code = ReadSpeakers(speakers);
    if (code == kSuccess) {
        speakers_ = *speakers;
    }
    return code;
}

std::int32_t MpdBackend::SelectSpeaker(const std::string& id, Events& events) {
    std::vector<Speaker> speakers;
    std::int32_t code = ReadSpeakers(&speakers);
    if (code != kSuccess) {
        return code;
    }
    if (std::none_of(speakers.begin(), speakers.end(),
                     [&](const Speaker& speaker) { return speaker.id == id; })) {
        return kNotFound;
    }
    std::vector<Send> commands;
    for (const Speaker& speaker : speakers) {
        const unsigned output = static_cast<unsigned>(std::stoul(speaker.id));
        const bool enable = speaker.id == id;
        commands.push_back([output, enable](mpd_connection* c) {
            return enable ? mpd_send_enable_output(c, output) : mpd_send_disable_output(c, output);
        });
    }
    code = Run("enableoutput", commands, events);
    RefreshSpeakers(events);
    return code;
}

std::int32_t MpdBackend::EnableSpeaker(const std::string& id, bool enabled, Events& events) {
    if (!Numeric(id)) {
        return kNotFound;
    }
    const unsigned output = static_cast<unsigned>(std::stoul(id));
    const std::int32_t code = Run(
        enabled ? "enableoutput" : "disableoutput", {[output, enabled](mpd_connection* c) {
            return enabled ? mpd_send_enable_output(c, output) : mpd_send_disable_output(c, output);
        }},
        events);
    RefreshSpeakers(events);
    return code;
}

MpdBackend::Selection MpdBackend::ResolvePath(const std::string& path) {
    using Kind = LibraryPath::Kind;
    const LibraryPath at = LibraryPath::Parse(path);
    Selection selection;
    if (const std::int32_t id = at.ItemId(); id >= 0) {
        selection.value = UriOf(id);
        if (!selection.value.empty()) {
            selection.kind = Selection::Kind::kSong;
        }
        return selection;
    }
    switch (at.kind) {
        case Kind::kArtist:
        case Kind::kArtistAlbum:
        case Kind::kAlbum:
        case Kind::kGenre:
        case Kind::kGenreArtist:
        case Kind::kGenreArtistAlbum:
        case Kind::kSongs:
            selection.kind = Selection::Kind::kFilter;
            selection.value = FilterOf(at);
            break;
        case Kind::kPlaylist:
            selection.kind = Selection::Kind::kPlaylist;
            selection.value = at.playlist;
            break;
        default:
            break;
    }
    return selection;
}

MpdBackend::Selection MpdBackend::Resolve(const MediaSelector& selector) {
    if (selector.id != -1) {
        Selection selection;
        selection.value = UriOf(selector.id);
        if (!selection.value.empty()) {
            selection.kind = Selection::Kind::kSong;
        }
        return selection;
    }
    if (!selector.path.empty()) {
        return ResolvePath(selector.path);
    }
    if (!selector.libPath.empty()) {
        return ResolvePath(selector.libPath);
    }
    std::vector<std::string> terms;
    if (!selector.any.empty()) {
        terms.push_back("(any contains " + Quote(selector.any) + ")");
    }
    const std::pair<const char*, const std::string*> tags[] = {{"genre", &selector.genre},
                                                               {"artist", &selector.artist},
                                                               {"album", &selector.album},
                                                               {"title", &selector.title}};
    for (const auto& [tag, value] : tags) {
        if (!value->empty()) {
            terms.push_back(Is(tag, *value));
        }
    }
    Selection selection;
    selection.kind = Selection::Kind::kFilter;
    selection.value = And(terms);
    return selection;
}

std::int32_t MpdBackend::CountMatches(mpd_connection* connection, const Selection& selection,
                                      std::size_t* count) {
    *count = 0;
    switch (selection.kind) {
        case Selection::Kind::kNothing:
            return kSuccess;
        case Selection::Kind::kSong:
            *count = 1;
            return kSuccess;
        case Selection::Kind::kPlaylist: {
            if (!mpd_send_list_playlist(connection, selection.value.c_str())) {
                return command_.Check("listplaylist");
            }
            while (mpd_pair* pair = mpd_recv_pair_named(connection, "file")) {
                ++*count;
                mpd_return_pair(connection, pair);
            }
            const std::int32_t code = command_.Finish("listplaylist", true);
            return code == kNotFound ? kSuccess : code;
        }
        case Selection::Kind::kFilter: {
            if (!mpd_count_db_songs(connection) ||
                !mpd_search_add_expression(connection, selection.value.c_str()) ||
                !mpd_search_commit(connection)) {
                return command_.Check("count");
            }
            if (mpd_pair* pair = mpd_recv_pair_named(connection, "songs")) {
                *count = std::strtoul(pair->value, nullptr, 10);
                mpd_return_pair(connection, pair);
            }
            return command_.Finish("count");
        }
    }
    return kSuccess;
}

std::vector<MpdBackend::Send> MpdBackend::AddCommands(const Selection& selection,
                                                      std::int32_t position) {
    const std::string value = selection.value;
    switch (selection.kind) {
        case Selection::Kind::kSong:
            return {[value, position](mpd_connection* c) {
                return position < 0
                           ? mpd_send_add(c, value.c_str())
                           : mpd_send_add_whence(c, value.c_str(), static_cast<unsigned>(position),
                                                 MPD_POSITION_ABSOLUTE);
            }};
        case Selection::Kind::kPlaylist:
            return {[value, position](mpd_connection* c) {
                return position < 0 ? mpd_send_load(c, value.c_str())
                                    : mpd_send_load_range_to(c, value.c_str(), 0, UINT_MAX,
                                                             static_cast<unsigned>(position),
                                                             MPD_POSITION_ABSOLUTE);
            }};
        case Selection::Kind::kFilter:
            return {[value, position](mpd_connection* c) {
                return mpd_search_add_db_songs(c, true) &&
                       mpd_search_add_expression(c, value.c_str()) &&
                       (position < 0 || mpd_search_add_position(c, static_cast<unsigned>(position),
                                                                MPD_POSITION_ABSOLUTE)) &&
                       mpd_search_commit(c);
            }};
        case Selection::Kind::kNothing:
            break;
    }
    return {};
}

std::int32_t MpdBackend::CountSongs(const Selection& selection, std::size_t* count,
                                    Events& events) {
    mpd_connection* connection = command_.Get(!connected_);
    if (connection == nullptr) {
        MarkLost(events);
        return kPlayerFailed;
    }
    if (const std::int32_t code = CountMatches(connection, selection, count); code != kSuccess) {
        return code;
    }
    return *count == 0 ? kNotFound : kSuccess;
}

std::int32_t MpdBackend::PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                                 Events& events) {
    const Selection selection = Resolve(selector);
    std::size_t count = 0;
    if (const std::int32_t code = CountSongs(selection, &count, events); code != kSuccess) {
        return code;  // nothing found leaves the queue as it is
    }
    const auto first = static_cast<unsigned>(
        std::clamp<std::int64_t>(startingItem, 0, static_cast<std::int64_t>(count) - 1));
    std::vector<Send> commands = {[](mpd_connection* c) { return mpd_send_clear(c); }};
    for (Send& add : AddCommands(selection, -1)) {
        commands.push_back(std::move(add));
    }
    commands.push_back([first](mpd_connection* c) { return mpd_send_play_pos(c, first); });
    return Run("play now", commands, events);
}

std::int32_t MpdBackend::Add(const MediaSelector& selector, std::int32_t position, Events& events) {
    const Selection selection = Resolve(selector);
    if (selection.kind == Selection::Kind::kNothing) {
        return kNotFound;
    }
    if (position < -1 || position > status_.queueLength) {
        return kBadParameter;
    }
    std::size_t count = 0;
    if (const std::int32_t code = CountSongs(selection, &count, events); code != kSuccess) {
        return code;
    }
    return Run("add", AddCommands(selection, position), events);
}

std::int32_t MpdBackend::Remove(std::int32_t position, Events& events) {
    if (position < 0 || position >= status_.queueLength) {
        return kBadParameter;
    }
    return Run("delete", {[position](mpd_connection* c) {
                   return mpd_send_delete(c, static_cast<unsigned>(position));
               }},
               events);
}

std::int32_t MpdBackend::Move(std::int32_t from, std::int32_t to, Events& events) {
    if (from < 0 || from >= status_.queueLength || to < 0 || to >= status_.queueLength) {
        return kBadParameter;
    }
    return Run("move", {[from, to](mpd_connection* c) {
                   return mpd_send_move(c, static_cast<unsigned>(from), static_cast<unsigned>(to));
               }},
               events);
}

std::int32_t MpdBackend::Clear(Events& events) {
    return Run("clear", {[](mpd_connection* c) { return mpd_send_clear(c); }}, events);
}

std::int32_t MpdBackend::QueuePage(std::int32_t start, std::int32_t count, ListPage* page) {
    Events ignored;  // the idle thread reports the same changes
    Refresh(ignored);
    if (!connected_) {
        return kPlayerFailed;
    }
    page->total = static_cast<std::size_t>(status_.queueLength);
    const auto first = static_cast<unsigned>(std::clamp(start, 0, status_.queueLength));
    const auto last = static_cast<unsigned>(
        count < 0 ? status_.queueLength
                  : std::min<std::int64_t>(status_.queueLength,
                                           static_cast<std::int64_t>(first) + count));
    if (first >= last) {
        return kSuccess;
    }
    mpd_connection* connection = command_.Get();
    if (connection == nullptr || !mpd_send_list_queue_range_meta(connection, first, last)) {
        return command_.Check("playlistinfo");
    }
    while (mpd_song* song = mpd_recv_song(connection)) {
        page->entries.push_back(Entry(song));
        mpd_song_free(song);
    }
    return command_.Finish("playlistinfo");
}

std::int32_t MpdBackend::AlbumArtPath(std::string* path) {
    if (!status_.current) {
        return kNotFound;
    }
    const std::int32_t id = status_.current->id;
    std::string picture;
    std::lock_guard lock(libraryMutex_);
    mpd_connection* connection = library_.Get(true);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    // The first chunk tells whether there is a picture and of which kind.
    const std::int32_t code = ReadPicture(connection, currentUri_, 1, &picture);
    if (code != kSuccess) {
        return code;
    }
    *path = "/art/" + std::to_string(id) + PictureExtension(PictureType(picture));
    return kSuccess;
}

std::int32_t MpdBackend::UpdateLibrary(Events& events) {
    mpd_connection* connection = command_.Get(!connected_);
    if (connection == nullptr) {
        MarkLost(events);
        return kPlayerFailed;
    }
    mpd_run_update(connection, nullptr);
    // The database's idle event tells the clients once the update is done.
    return command_.Check("update");
}

// --- the library (any thread) ---------------------------------------------

std::int32_t MpdBackend::IdOf(const std::string& uri) {
    std::lock_guard lock(idsMutex_);
    const auto [found, added] = ids_.emplace(uri, static_cast<std::int32_t>(uris_.size() + 1));
    if (added) {
        uris_.push_back(uri);
    }
    return found->second;
}

std::string MpdBackend::UriOf(std::int32_t id) {
    std::lock_guard lock(idsMutex_);
    if (id < 1 || static_cast<std::size_t>(id) > uris_.size()) {
        return {};
    }
    return uris_[static_cast<std::size_t>(id - 1)];
}

LibraryEntry MpdBackend::Entry(const mpd_song* song) {
    LibraryEntry entry;
    const std::string uri = mpd_song_get_uri(song);
    entry.id = IdOf(uri);
    entry.type = MediaType::Music;
    entry.title = Tag(song, MPD_TAG_TITLE);
    if (entry.title.empty()) {
        entry.title = Tag(song, MPD_TAG_NAME);
    }
    if (entry.title.empty()) {
        entry.title = uri.substr(uri.rfind('/') + 1);
    }
    entry.artist = Tag(song, MPD_TAG_ARTIST);
    entry.album = Tag(song, MPD_TAG_ALBUM);
    entry.genre = Tag(song, MPD_TAG_GENRE);
    const unsigned length = mpd_song_get_duration(song);
    entry.length = length > 0 ? static_cast<std::int32_t>(length) : -1;
    entry.path = "/Music/Songs/" + std::to_string(entry.id);
    return entry;
}

void MpdBackend::ForgetLibrary() {
    std::lock_guard lock(libraryMutex_);
    names_.clear();
}

std::int32_t MpdBackend::TagList(int tag, const std::string& filter,
                                 std::vector<std::string>* names) {
    const std::string key = std::to_string(tag) + " " + filter;
    for (auto it = names_.begin(); it != names_.end(); ++it) {
        if (it->first == key) {
            names_.splice(names_.begin(), names_, it);
            *names = it->second;
            return kSuccess;
        }
    }
    mpd_connection* connection = library_.Get(true);
    const auto type = static_cast<mpd_tag_type>(tag);
    if (connection == nullptr || !mpd_search_db_tags(connection, type) ||
        (!filter.empty() && !mpd_search_add_expression(connection, filter.c_str())) ||
        !mpd_search_commit(connection)) {
        return library_.Check("list");
    }
    names->clear();
    while (mpd_pair* pair = mpd_recv_pair_tag(connection, type)) {
        if (pair->value[0] != '\0') {
            names->emplace_back(pair->value);
        }
        mpd_return_pair(connection, pair);
    }
    const std::int32_t code = library_.Finish("list");
    if (code != kSuccess) {
        return code;
    }
    std::sort(names->begin(), names->end());
    names->erase(std::unique(names->begin(), names->end()), names->end());
    names_.emplace_front(key, *names);
    if (names_.size() > kCachedNameLists) {
        names_.pop_back();
    }
    return kSuccess;
}

std::int32_t MpdBackend::Songs(const std::string& filter, std::int32_t start, std::int32_t count,
                               const std::string& folder, ListPage* page) {
    mpd_connection* connection = library_.Get(true);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    std::size_t total = 0;
    if (!mpd_count_db_songs(connection) || !mpd_search_add_expression(connection, filter.c_str()) ||
        !mpd_search_commit(connection)) {
        return library_.Check("count");
    }
    if (mpd_pair* pair = mpd_recv_pair_named(connection, "songs")) {
        total = std::strtoul(pair->value, nullptr, 10);
        mpd_return_pair(connection, pair);
    }
    std::int32_t code = library_.Finish("count");
    if (code != kSuccess) {
        return code;
    }
    page->total = total;
    const auto first = std::min<std::size_t>(static_cast<std::size_t>(std::max(start, 0)), total);
    const std::size_t last =
        count < 0 ? total : std::min(total, first + static_cast<std::size_t>(count));
    if (first >= last) {
        return kSuccess;
    }
    if (!mpd_search_db_songs(connection, true) ||
        !mpd_search_add_expression(connection, filter.c_str()) ||
        !mpd_search_add_window(connection, static_cast<unsigned>(first),
                               static_cast<unsigned>(last)) ||
        !mpd_search_commit(connection)) {
        return library_.Check("find");
    }
    while (mpd_song* song = mpd_recv_song(connection)) {
        page->entries.push_back(SongEntry(folder, Entry(song)));
        mpd_song_free(song);
    }
    code = library_.Finish("find");
    return code;
}

std::int32_t MpdBackend::PlaylistNames(std::vector<std::string>* names) {
    mpd_connection* connection = library_.Get(true);
    if (connection == nullptr || !mpd_send_list_playlists(connection)) {
        return library_.Check("listplaylists");
    }
    while (mpd_playlist* playlist = mpd_recv_playlist(connection)) {
        names->emplace_back(mpd_playlist_get_path(playlist));
        mpd_playlist_free(playlist);
    }
    std::sort(names->begin(), names->end());
    return library_.Finish("listplaylists");
}

std::int32_t MpdBackend::Browse(const std::string& path, std::int32_t start, std::int32_t count,
                                ListPage* page) {
    using Kind = LibraryPath::Kind;
    const LibraryPath at = LibraryPath::Parse(path);
    const std::string& folder = at.text;
    // Names of one tag over the songs that match, as folders; a named folder
    // that holds nothing does not exist.
    const auto names = [&](mpd_tag_type tag, const std::string& filter, MediaType type) {
        std::vector<std::string> found;
        const std::int32_t code = TagList(tag, filter, &found);
        if (code != kSuccess) {
            return code;
        }
        if (found.empty() && at.names.size() > 2) {
            return kNotFound;
        }
        *page = PageOf(Folders(folder, found, type), start, count);
        return kSuccess;
    };
    const auto songs = [&](const std::string& filter) {
        const std::int32_t code = Songs(filter, start, count, folder, page);
        return code == kSuccess && page->total == 0 ? kNotFound : code;
    };
    switch (at.kind) {
        case Kind::kRoot:
            *page = PageOf({FolderEntry("/", "Music", MediaType::Folder)}, start, count);
            return kSuccess;
        case Kind::kMusic: {
            std::vector<LibraryEntry> entries;
            for (const char* name : {"Artists", "Albums", "Genres", "Songs", "Playlists"}) {
                entries.push_back(FolderEntry(folder, name, MediaType::Folder));
            }
            *page = PageOf(entries, start, count);
            return kSuccess;
        }
        case Kind::kPodcasts:
        case Kind::kShow:
        case Kind::kUnknown:
            return kNotFound;
        default:
            break;
    }
    std::lock_guard lock(libraryMutex_);
    switch (at.kind) {
        case Kind::kArtists:
            return names(MPD_TAG_ARTIST, "", MediaType::Artist);
        case Kind::kArtist:
            return names(MPD_TAG_ALBUM, Is("artist", at.artist), MediaType::Album);
        case Kind::kAlbums:
            return names(MPD_TAG_ALBUM, "", MediaType::Album);
        case Kind::kGenres:
            return names(MPD_TAG_GENRE, "", MediaType::Genre);
        case Kind::kGenre:
            return names(MPD_TAG_ARTIST, Is("genre", at.genre), MediaType::Artist);
        case Kind::kGenreArtist:
            return names(MPD_TAG_ALBUM, And({Is("genre", at.genre), Is("artist", at.artist)}),
                         MediaType::Album);
        case Kind::kArtistAlbum:
        case Kind::kAlbum:
        case Kind::kGenreArtistAlbum:
            return songs(FilterOf(at));
        case Kind::kSongs:
            return Songs(kEverything, start, count, folder, page);
        case Kind::kPlaylists: {
            std::vector<std::string> playlists;
            const std::int32_t code = PlaylistNames(&playlists);
            if (code == kSuccess) {
                *page = PageOf(Folders(folder, playlists, MediaType::Playlist), start, count);
            }
            return code;
        }
        case Kind::kPlaylist: {
            mpd_connection* connection = library_.Get(true);
            if (connection == nullptr ||
                !mpd_send_list_playlist_meta(connection, at.playlist.c_str())) {
                return library_.Check("listplaylistinfo");
            }
            std::vector<LibraryEntry> entries;
            while (mpd_song* song = mpd_recv_song(connection)) {
                entries.push_back(SongEntry(folder, Entry(song)));
                mpd_song_free(song);
            }
            const std::int32_t code = library_.Finish("listplaylistinfo", true);
            if (code == kSuccess) {
                *page = PageOf(entries, start, count);
            }
            return code;
        }
        default:
            return kNotFound;
    }
}

std::int32_t MpdBackend::Search(const std::string& text, std::int32_t start, std::int32_t count,
                                ListPage* page) {
    page->entries.clear();
    page->total = 0;
    const std::string needle = Lower(text);
    if (needle.empty()) {
        return kSuccess;
    }
    std::lock_guard lock(libraryMutex_);
    // Artists, albums and playlists whose names match come first, then the
    // songs whose titles do; MPD pages the songs.
    std::vector<LibraryEntry> folders;
    std::vector<std::string> names;
    const std::pair<mpd_tag_type, std::pair<const char*, MediaType>> kinds[] = {
        {MPD_TAG_ARTIST, {"/Music/Artists", MediaType::Artist}},
        {MPD_TAG_ALBUM, {"/Music/Albums", MediaType::Album}}};
    for (const auto& [tag, where] : kinds) {
        names.clear();
        const std::int32_t code = TagList(tag, "", &names);
        if (code != kSuccess) {
            return code;
        }
        for (const std::string& name : names) {
            if (Lower(name).find(needle) != std::string::npos) {
                folders.push_back(FolderEntry(where.first, name, where.second));
            }
        }
    }
    names.clear();
    if (PlaylistNames(&names) == kSuccess) {
        for (const std::string& name : names) {
            if (Lower(name).find(needle) != std::string::npos) {
                folders.push_back(FolderEntry("/Music/Playlists", name, MediaType::PlaylistFolder));
            }
        }
    }
    const std::size_t first = static_cast<std::size_t>(std::max(start, 0));
    for (std::size_t i = first;
         i < folders.size() &&
         (count < 0 || page->entries.size() < static_cast<std::size_t>(count));
         ++i) {
        page->entries.push_back(folders[i]);
    }
    // The songs: counted, and the part of them that falls in the page. A
    // regular expression that ignores case, since "count" and "find" match
    // with case.
    std::string pattern = "(?i)";
    for (const char c : text) {
        if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos) {
            pattern += '\\';
        }
        pattern += c;
    }
    const std::string filter = "(title =~ " + Quote(pattern) + ")";
    const std::size_t songFirst = first > folders.size() ? first - folders.size() : 0;
    const std::int32_t songCount =
        count < 0 ? -1 : count - static_cast<std::int32_t>(page->entries.size());
    ListPage songs;
    const std::int32_t code =
        Songs(filter, static_cast<std::int32_t>(songFirst), songCount, "/Music/Songs", &songs);
    if (code != kSuccess) {
        return code;
    }
    for (LibraryEntry& song : songs.entries) {
        page->entries.push_back(std::move(song));
    }
    page->total = folders.size() + songs.total;
    return kSuccess;
}

std::int32_t MpdBackend::Item(std::int32_t id, const std::string& path, LibraryEntry* entry) {
    std::string uri;
    if (id != -1) {
        uri = UriOf(id);
    } else {
        const Selection selection = ResolvePath(path);
        if (selection.kind == Selection::Kind::kSong) {
            uri = selection.value;
        }
    }
    if (uri.empty()) {
        return kNotFound;
    }
    std::lock_guard lock(libraryMutex_);
    mpd_connection* connection = library_.Get(true);
    if (connection == nullptr || !mpd_send_list_meta(connection, uri.c_str())) {
        return library_.Check("lsinfo");
    }
    bool found = false;
    while (mpd_entity* entity = mpd_recv_entity(connection)) {
        if (mpd_entity_get_type(entity) == MPD_ENTITY_TYPE_SONG && !found) {
            *entry = Entry(mpd_entity_get_song(entity));
            found = true;
        }
        mpd_entity_free(entity);
    }
    const std::int32_t code = library_.Finish("lsinfo", true);
    return code == kSuccess && !found ? kNotFound : code;
}

std::int32_t MpdBackend::ReadPicture(mpd_connection* connection, const std::string& uri,
                                     std::size_t limit, std::string* bytes) {
    std::vector<char> chunk(64 * 1024);
    // A cover file beside the song first, then a picture inside it.
    for (const bool embedded : {false, true}) {
        bytes->clear();
        while (bytes->size() < limit) {
            const auto offset = static_cast<unsigned>(bytes->size());
            const int read = embedded ? mpd_run_readpicture(connection, uri.c_str(), offset,
                                                            chunk.data(), chunk.size())
                                      : mpd_run_albumart(connection, uri.c_str(), offset,
                                                         chunk.data(), chunk.size());
            if (read <= 0) {
                break;
            }
            bytes->append(chunk.data(), static_cast<std::size_t>(read));
        }
        const std::int32_t code =
            library_.Check(embedded ? "readpicture" : "albumart", /*quiet=*/true);
        if (code == kPlayerFailed || code == kUnsupported) {
            return code;
        }
        if (!bytes->empty()) {
            return kSuccess;
        }
        if (!library_.IsOpen()) {
            return kPlayerFailed;
        }
    }
    return kNotFound;
}

std::int32_t MpdBackend::AlbumArt(std::int32_t id, std::string* bytes, std::string* type) {
    const std::string uri = UriOf(id);
    if (uri.empty()) {
        return kNotFound;
    }
    std::lock_guard lock(libraryMutex_);
    mpd_connection* connection = library_.Get(true);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    const std::int32_t code = ReadPicture(connection, uri, kMaxPicture, bytes);
    if (code == kSuccess) {
        *type = PictureType(*bytes);
    }
    return code;
}

}  // namespace vantor::server
