// The MPD player's play queue: moving in it, filling it from the library,
// editing it, and its pages (loop thread, on the command connection).

#include <mpd/client.h>

#include <algorithm>
#include <climits>

#include "MpdBackend.h"

namespace vantor::server {

ResultCode MpdBackend::SetQueuePosition(std::int32_t position, Events& events) {
    if (position < 0 || position >= state_.player.queueLength) {
        return kBadParameter;
    }
    return Run("play", {[position](mpd_connection* c) { return mpd_send_play_pos(c, position); }},
               events);
}

ResultCode MpdBackend::Cue(std::int32_t position, Events& events) {
    if (position < 0 || position >= state_.player.queueLength) {
        return kBadParameter;
    }
    // MPD moves in its queue only by playing.
    const std::int32_t state = state_.player.playingState;
    std::vector<Send> commands = {
        [position](mpd_connection* c) { return mpd_send_play_pos(c, position); }};
    if (state == PlayingState::Paused) {
        commands.push_back([](mpd_connection* c) { return mpd_send_pause(c, true); });
    } else if (state == PlayingState::Stopped) {
        commands.push_back([](mpd_connection* c) { return mpd_send_stop(c); });
    }
    return Run("play", commands, events);
}

ResultCode MpdBackend::CountSongs(const MpdSelection& selection, std::size_t* count,
                                  Events& events) {
    *count = 0;
    mpd_connection* connection = Commands(events);
    if (connection == nullptr) {
        return kPlayerFailed;
    }
    ResultCode code = kSuccess;
    switch (selection.kind) {
        case MpdSelection::Kind::kNothing:
            break;
        case MpdSelection::Kind::kSong:
            *count = 1;
            break;
        case MpdSelection::Kind::kPlaylist:
            if (!mpd_send_list_playlist(connection, selection.value.c_str())) {
                return command_.Check("listplaylist");
            }
            while (mpd_pair* pair = mpd_recv_pair_named(connection, "file")) {
                ++*count;
                mpd_return_pair(connection, pair);
            }
            code = command_.Finish("listplaylist", true);
            if (code == kNotFound) {
                code = kSuccess;  // no such playlist: nothing in it
            }
            break;
        case MpdSelection::Kind::kFilter:
            if (!mpd_count_db_songs(connection) ||
                !mpd_search_add_expression(connection, selection.value.c_str()) ||
                !mpd_search_commit(connection)) {
                return command_.Check("count");
            }
            if (mpd_pair* pair = mpd_recv_pair_named(connection, "songs")) {
                *count = std::strtoul(pair->value, nullptr, 10);
                mpd_return_pair(connection, pair);
            }
            code = command_.Finish("count");
            break;
    }
    if (code != kSuccess) {
        return code;
    }
    return *count == 0 ? kNotFound : kSuccess;
}

std::vector<MpdBackend::Send> MpdBackend::AddCommands(const MpdSelection& selection,
                                                      std::int32_t position) {
    const std::string value = selection.value;
    switch (selection.kind) {
        case MpdSelection::Kind::kSong:
            return {[value, position](mpd_connection* c) {
                return position < 0
                           ? mpd_send_add(c, value.c_str())
                           : mpd_send_add_whence(c, value.c_str(), static_cast<unsigned>(position),
                                                 MPD_POSITION_ABSOLUTE);
            }};
        case MpdSelection::Kind::kPlaylist:
            return {[value, position](mpd_connection* c) {
                return position < 0 ? mpd_send_load(c, value.c_str())
                                    : mpd_send_load_range_to(c, value.c_str(), 0, UINT_MAX,
                                                             static_cast<unsigned>(position),
                                                             MPD_POSITION_ABSOLUTE);
            }};
        case MpdSelection::Kind::kFilter:
            return {[value, position](mpd_connection* c) {
                return mpd_search_add_db_songs(c, true) &&
                       mpd_search_add_expression(c, value.c_str()) &&
                       (position < 0 || mpd_search_add_position(c, static_cast<unsigned>(position),
                                                                MPD_POSITION_ABSOLUTE)) &&
                       mpd_search_commit(c);
            }};
        case MpdSelection::Kind::kNothing:
            break;
    }
    return {};
}

ResultCode MpdBackend::PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                               Events& events) {
    const MpdSelection selection = MpdSelection::Of(selector, songs_);
    std::size_t count = 0;
    if (const ResultCode code = CountSongs(selection, &count, events); code != kSuccess) {
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

ResultCode MpdBackend::Add(const MediaSelector& selector, std::int32_t position, Events& events) {
    const MpdSelection selection = MpdSelection::Of(selector, songs_);
    if (selection.kind == MpdSelection::Kind::kNothing) {
        return kNotFound;
    }
    if (position < -1 || position > state_.player.queueLength) {
        return kBadParameter;
    }
    std::size_t count = 0;
    if (const ResultCode code = CountSongs(selection, &count, events); code != kSuccess) {
        return code;
    }
    return Run("add", AddCommands(selection, position), events);
}

ResultCode MpdBackend::Remove(std::int32_t position, Events& events) {
    if (position < 0 || position >= state_.player.queueLength) {
        return kBadParameter;
    }
    return Run("delete", {[position](mpd_connection* c) {
                   return mpd_send_delete(c, static_cast<unsigned>(position));
               }},
               events);
}

ResultCode MpdBackend::Move(std::int32_t from, std::int32_t to, Events& events) {
    const std::int32_t length = state_.player.queueLength;
    if (from < 0 || from >= length || to < 0 || to >= length) {
        return kBadParameter;
    }
    return Run("move", {[from, to](mpd_connection* c) {
                   return mpd_send_move(c, static_cast<unsigned>(from), static_cast<unsigned>(to));
               }},
               events);
}

ResultCode MpdBackend::Clear(Events& events) {
    return Run("clear", {[](mpd_connection* c) { return mpd_send_clear(c); }}, events);
}

ResultCode MpdBackend::QueuePage(std::int32_t start, std::int32_t count, ListPage* page) {
    // The queue's length as MPD has it now, read aside: were it applied
    // here, the changes it shows would be told to no one, and the notice
    // that announces them would find nothing new. (An outage, too, is told
    // by the idle connection.)
    mpd_connection* connection = connected_ ? command_.Get() : nullptr;
    mpd_status* status = connection != nullptr ? mpd_run_status(connection) : nullptr;
    if (status == nullptr) {
        command_.Check("status");
        return kPlayerFailed;
    }
    const auto length = static_cast<std::int32_t>(mpd_status_get_queue_length(status));
    mpd_status_free(status);
    page->total = static_cast<std::size_t>(length);
    const auto first = static_cast<unsigned>(std::clamp(start, 0, length));
    const auto last = static_cast<unsigned>(
        count < 0 ? length
                  : std::min<std::int64_t>(length, static_cast<std::int64_t>(first) + count));
    if (first >= last) {
        return kSuccess;
    }
    if (!mpd_send_list_queue_range_meta(connection, first, last)) {
        return command_.Check("playlistinfo");
    }
    while (mpd_song* song = mpd_recv_song(connection)) {
        page->entries.push_back(songs_.Entry(song));
        mpd_song_free(song);
    }
    return command_.Finish("playlistinfo");
}

}  // namespace vantor::server
