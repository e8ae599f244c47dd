#include "MpdBackend.h"

#include <mpd/client.h>

#include <algorithm>

#include "PictureType.h"
#include "core/Logger.h"

namespace vantor::server {

namespace {

// MPD closes a connection that says nothing for a minute (its
// connection_timeout); a ping keeps ours.
constexpr std::chrono::seconds kPingInterval{20};
constexpr const char* kRating = "rating";

bool Numeric(const std::string& text) {
    return !text.empty() && text.size() < 10 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

MpdBackend::MpdBackend(MpdOptions options)
    : options_(std::move(options)),
      library_(options_, songs_),
      pictures_(options_),
      command_(options_, "commands") {}

MpdBackend::~MpdBackend() {
    Stop();
}

void MpdBackend::Start(LoopPost post) {
    Stop();
    Events none;  // nobody is connected yet
    Refresh(none);
    if (connected_) {
        ReadSpeakers(&speakers_);
    }
    idle_.Start(options_, [post = std::move(post)](MpdIdleNotice notice) {
        post([notice = std::move(notice)](PlayerBackend& player, Events& events) {
            static_cast<MpdBackend&>(player).OnIdle(notice, events);
        });
    });
}

void MpdBackend::Stop() {
    idle_.Stop();
    command_.Close();
    library_.Close();
    pictures_.Close();
}

// --- the command connection and the status it leaves -----------------------

mpd_connection* MpdBackend::Commands(Events& events) {
    mpd_connection* connection = command_.Get(!connected_);
    if (connection == nullptr) {
        MarkLost(events);
    }
    return connection;
}

ResultCode MpdBackend::Run(const char* what, const std::vector<Send>& commands, Events& events) {
    mpd_connection* connection = Commands(events);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    ++statusReads_;
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
    const ResultCode code = command_.Finish(what);
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
    mpd_connection* connection = Commands(events);
    if (connection == nullptr) {
        return;
    }
    ++statusReads_;
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
    mpd::State next = mpd::StateOf(status);
    const bool wasConnected = connected_ && haveStatus_;
    const std::optional<mpd::State> before =
        wasConnected ? std::optional<mpd::State>(state_) : std::nullopt;
    if (mpd::SongChanged(before, next)) {
        currentUri_.clear();
        if (next.songId >= 0) {
            if (mpd_song* song = mpd_run_current_song(command_.Get())) {
                currentUri_ = mpd_song_get_uri(song);
                next.player.current = songs_.Entry(song);
                mpd_song_free(song);
            }
            command_.Finish("currentsong");
            if (next.player.current) {
                next.player.current->rating = ReadRating(currentUri_);
            }
        }
    } else {
        next.player.current = state_.player.current;
    }
    const bool firstStatus = !haveStatus_;
    state_ = std::move(next);
    connected_ = true;
    haveStatus_ = true;
    // After an outage MPD may have come back with another database and
    // other outputs.
    if (!wasConnected && !firstStatus) {
        library_.Forget();
        events.push_back(std::make_unique<MediaLibraryChangedEvent>());
        RefreshSpeakers(events);
    }
    mpd::AppendStatusEvents(before, state_, events);
}

void MpdBackend::MarkLost(Events& events) {
    connected_ = false;
    command_.Close();
    if (state_.player.playingState != PlayingState::Stopped) {
        state_.player.playingState = PlayingState::Stopped;
        auto event = std::make_unique<PlayingStateChangedEvent>();
        event->playingState = PlayingState::Stopped;
        events.push_back(std::move(event));
    }
}

void MpdBackend::OnIdle(const MpdIdleNotice& notice, Events& events) {
    switch (notice.kind) {
        case MpdIdleNotice::Kind::kLost:
            if (connected_) {
                Log(kLogError,
                    "vantor-server: lost MPD at %s:%u; the player shows stopped until it is back",
                    options_.host.c_str(), options_.port);
            }
            MarkLost(events);
            break;
        case MpdIdleNotice::Kind::kConnected:
            if (!idle_.Adopt(notice.connection)) {
                // Gone before it waited in idle: lost, as when it breaks later.
                MpdIdleNotice lost;
                lost.kind = MpdIdleNotice::Kind::kLost;
                OnIdle(lost, events);
                break;
            }
            // Nothing new unless this ends an outage the loop knew of.
            Refresh(events);
            break;
        case MpdIdleNotice::Kind::kChanged:
            OnChanged(notice.subsystems, notice.status.get(), notice.reads, events);
            break;
    }
}

void MpdBackend::OnChanged(unsigned subsystems, const mpd_status* status, unsigned reads,
                           Events& events) {
    if (status != nullptr && connected_) {
        // When the loop has asked for the status since, it asked after MPD
        // sent this notice, so what the notice announces has been applied;
        // whatever changed after it comes with the next notice.
        if (reads == statusReads_) {
            Apply(status, events);
        }
    } else if ((subsystems & kMpdStatusSubsystems) != 0) {
        Refresh(events);  // and connect the command connection again
    }
    if ((subsystems & MPD_IDLE_OUTPUT) != 0) {
        RefreshSpeakers(events);
    }
    if ((subsystems & (MPD_IDLE_DATABASE | MPD_IDLE_STORED_PLAYLIST)) != 0) {
        library_.Forget();
        events.push_back(std::make_unique<MediaLibraryChangedEvent>());
    }
    std::optional<LibraryEntry>& current = state_.player.current;
    if ((subsystems & MPD_IDLE_STICKER) != 0 && current && connected_) {
        const std::int32_t rating = ReadRating(currentUri_);
        if (rating != current->rating) {
            current->rating = rating;
            events.push_back(mpd::SongEvent(current));
        }
    }
}

PlayerBackend::LoopWatch MpdBackend::Watched() {
    return idle_.Watched();
}

void MpdBackend::OnWatched(Events& events) {
    for (const MpdIdleNotice& notice : idle_.OnReady(statusReads_)) {
        OnIdle(notice, events);
    }
}

void MpdBackend::Tick(Events& events) {
    const auto now = std::chrono::steady_clock::now();
    if (connected_ && state_.player.playingState == PlayingState::Playing) {
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
        library_.Ping();
        pictures_.Ping();
    }
}

// --- the player (loop thread) ------------------------------------------------

std::int32_t MpdBackend::ReadRating(const std::string& uri) {
    mpd_connection* connection = command_.Get();
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

ResultCode MpdBackend::Transport(TransportCommand command, Events& events) {
    const PlayerStatus& now = state_.player;
    const std::int32_t state = now.playingState;
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
            if (now.queueLength == 0) {
                return kSuccess;
            }
            const std::int32_t length = now.queueLength;
            return Cue((now.queuePosition + (next ? 1 : length - 1)) % length, events);
        }
    }
    return kUnsupported;
}

ResultCode MpdBackend::SetVolume(std::int32_t volume, Events& events) {
    if (connected_ && state_.player.volume < 0) {
        return kUnsupported;  // no mixer
    }
    return Run("setvol", {[volume](mpd_connection* c) {
                   return mpd_send_set_volume(c, static_cast<unsigned>(volume));
               }},
               events);
}

ResultCode MpdBackend::SetPlaybackPosition(std::int32_t seconds, Events& events) {
    const PlayerStatus& now = state_.player;
    if (!now.current || seconds < 0 ||
        (now.current->length >= 0 && seconds > now.current->length)) {
        return kBadParameter;
    }
    if (now.playingState == PlayingState::Stopped) {
        return kUnsupported;  // MPD seeks only in a song that plays
    }
    return Run("seekcur", {[seconds](mpd_connection* c) {
                   return mpd_send_seek_current(c, static_cast<float>(seconds), false);
               }},
               events);
}

ResultCode MpdBackend::SetShuffle(bool shuffle, Events& events) {
    return Run("random", {[shuffle](mpd_connection* c) { return mpd_send_random(c, shuffle); }},
               events);
}

ResultCode MpdBackend::SetRepeat(std::int32_t repeat, Events& events) {
    repeat = std::clamp(repeat, RepeatState::Off, RepeatState::All);
    return Run(
        "repeat",
        {[repeat](mpd_connection* c) { return mpd_send_repeat(c, repeat != RepeatState::Off); },
         [repeat](mpd_connection* c) { return mpd_send_single(c, repeat == RepeatState::One); }},
        events);
}

ResultCode MpdBackend::SetRating(std::int32_t rating, Events& events) {
    std::optional<LibraryEntry>& current = state_.player.current;
    if (!current || rating < 0 || rating > 100) {
        return kBadParameter;
    }
    mpd_connection* connection = Commands(events);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    const std::string value = std::to_string(rating);
    mpd_run_sticker_set(connection, "song", currentUri_.c_str(), kRating, value.c_str());
    const ResultCode code = command_.Check("sticker set");
    if (code != kSuccess) {
        return code;
    }
    current->rating = rating;
    events.push_back(mpd::SongEvent(current));
    return kSuccess;
}

ResultCode MpdBackend::ReadSpeakers(std::vector<Speaker>* speakers) {
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
        auto event = std::make_unique<SpeakerListChangedEvent>();
        event->speakers = speakers;
        events.push_back(std::move(event));
    }
}

ResultCode MpdBackend::Speakers(std::vector<Speaker>* speakers) {
    const ResultCode code = ReadSpeakers(speakers);
    if (code == kSuccess) {
        speakers_ = *speakers;
    }
    return code;
}

ResultCode MpdBackend::SelectSpeaker(const std::string& id, Events& events) {
    std::vector<Speaker> speakers;
    ResultCode code = ReadSpeakers(&speakers);
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

ResultCode MpdBackend::EnableSpeaker(const std::string& id, bool enabled, Events& events) {
    if (!Numeric(id)) {
        return kNotFound;
    }
    const unsigned output = static_cast<unsigned>(std::stoul(id));
    const ResultCode code = Run(
        enabled ? "enableoutput" : "disableoutput", {[output, enabled](mpd_connection* c) {
            return enabled ? mpd_send_enable_output(c, output) : mpd_send_disable_output(c, output);
        }},
        events);
    RefreshSpeakers(events);
    return code;
}

ResultCode MpdBackend::AlbumArtPath(std::string* path) {
    if (!state_.player.current) {
        return kNotFound;
    }
    // The first chunk tells whether there is a picture and of which kind;
    // read on the loop's own connection, so no picture a worker streams
    // holds it up.
    std::string picture;
    const ResultCode code = ReadMpdPicture(command_, currentUri_, 1, &picture);
    if (code != kSuccess) {
        return code;
    }
    *path = "/art/" + std::to_string(state_.player.current->id) +
            PictureExtension(PictureTypeOf(picture));
    return kSuccess;
}

ResultCode MpdBackend::UpdateLibrary(Events& events) {
    mpd_connection* connection = Commands(events);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    mpd_run_update(connection, nullptr);
    // The database's idle event tells the clients once the update is done.
    return command_.Check("update");
}

// --- the library and pictures (any thread) ---------------------------------

ResultCode MpdBackend::Browse(const std::string& path, std::int32_t start, std::int32_t count,
                              ListPage* page) {
    return library_.Browse(path, start, count, page);
}

ResultCode MpdBackend::Search(const std::string& text, std::int32_t start, std::int32_t count,
                              ListPage* page) {
    return library_.Search(text, start, count, page);
}

ResultCode MpdBackend::Item(std::int32_t id, const std::string& path, LibraryEntry* entry) {
    std::string uri;
    if (id != -1) {
        uri = songs_.UriOf(id);
    } else if (const MpdSelection selection = MpdSelection::OfPath(path, songs_);
               selection.kind == MpdSelection::Kind::kSong) {
        uri = selection.value;
    }
    return uri.empty() ? kNotFound : library_.Item(uri, entry);
}

ResultCode MpdBackend::AlbumArt(std::int32_t id, std::string* bytes, std::string* type) {
    const std::string uri = songs_.UriOf(id);
    return uri.empty() ? kNotFound : pictures_.Picture(uri, bytes, type);
}

}  // namespace vantor::server
