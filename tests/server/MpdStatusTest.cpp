// MPD's status read as the player's state, and the events two states
// differ by: the rules the MPD player tells its clients with, without MPD.

#include <gtest/gtest.h>
#include <mpd/client.h>

#include <memory>

#include "mpd/MpdStatus.h"

namespace vantor::server::mpd {
namespace {

// A status as MPD's "status" answer gives it.
State Read(std::initializer_list<std::pair<const char*, const char*>> lines) {
    std::unique_ptr<mpd_status, decltype(&mpd_status_free)> status(mpd_status_begin(),
                                                                   mpd_status_free);
    for (const auto& [name, value] : lines) {
        const mpd_pair pair{name, value};
        mpd_status_feed(status.get(), &pair);
    }
    return StateOf(status.get());
}

TEST(MpdStatusTest, StatusLinesBecomeThePlayersState) {
    const State playing = Read({{"state", "play"},
                                {"volume", "40"},
                                {"song", "2"},
                                {"songid", "7"},
                                {"playlistlength", "5"},
                                {"playlist", "9"},
                                {"elapsed", "61.8"},
                                {"random", "1"},
                                {"repeat", "1"},
                                {"single", "1"}});
    EXPECT_EQ(playing.player.playingState, PlayingState::Playing);
    EXPECT_EQ(playing.player.volume, 40);
    EXPECT_EQ(playing.player.queuePosition, 2);
    EXPECT_EQ(playing.player.queueLength, 5);
    EXPECT_EQ(playing.player.playbackPosition, 61);
    EXPECT_TRUE(playing.player.shuffle);
    EXPECT_EQ(playing.player.repeat, RepeatState::One);
    EXPECT_EQ(playing.songId, 7);
    EXPECT_EQ(playing.queueVersion, 9u);

    // Stopped: no position, whatever MPD remembers; no song: position 0; no
    // mixer: volume -1; repeat without single: all.
    const State stopped = Read({{"state", "stop"}, {"elapsed", "12"}, {"repeat", "1"}});
    EXPECT_EQ(stopped.player.playingState, PlayingState::Stopped);
    EXPECT_EQ(stopped.player.playbackPosition, 0);
    EXPECT_EQ(stopped.player.queuePosition, 0);
    EXPECT_EQ(stopped.player.volume, -1);
    EXPECT_EQ(stopped.player.repeat, RepeatState::All);
    EXPECT_EQ(stopped.songId, -1);
}

std::vector<std::string> Names(const std::optional<State>& before, const State& next) {
    Events events;
    AppendStatusEvents(before, next, events);
    std::vector<std::string> names;
    for (const auto& event : events) {
        names.emplace_back(event->TypeName());
    }
    return names;
}

TEST(MpdStatusTest, EachChangeIsToldOnceAndAStartTellsEverything) {
    State base;
    base.player.playingState = PlayingState::Playing;
    base.player.volume = 40;
    base.player.queueLength = 3;
    base.player.playbackPosition = 10;
    base.songId = 4;
    base.queueVersion = 2;
    const auto changed = [&](auto change) {
        State next = base;
        change(next);
        return next;
    };
    struct Case {
        const char* what;
        std::optional<State> before;
        State next;
        std::vector<std::string> events;
    };
    const Case cases[] = {
        {"nothing", base, base, {}},
        {"a start or an outage's end",
         std::nullopt,
         base,
         {"PlaylistChangedEvent", "PlayingStateChangedEvent", "PlaylistPositionChangedEvent",
          "CurrentMediaChangedEvent", "AlbumArtChangedEvent", "PlayPositionChangedEvent",
          "VolumeChangedEvent", "ShuffleStateChangedEvent", "RepeatStateChangedEvent"}},
        {"a start without a mixer",
         std::nullopt,
         changed([](State& s) { s.player.volume = -1; }),
         {"PlaylistChangedEvent", "PlayingStateChangedEvent", "PlaylistPositionChangedEvent",
          "CurrentMediaChangedEvent", "AlbumArtChangedEvent", "PlayPositionChangedEvent",
          "ShuffleStateChangedEvent", "RepeatStateChangedEvent"}},
        {"the song plays on",
         base,
         changed([](State& s) { s.player.playbackPosition = 11; }),
         {"PlayPositionChangedEvent"}},
        {"another song at the same place and time",
         base,
         changed([](State& s) { s.songId = 5; }),
         {"PlaylistPositionChangedEvent", "CurrentMediaChangedEvent", "AlbumArtChangedEvent",
          "PlayPositionChangedEvent"}},
        {"the queue edited",
         base,
         changed([](State& s) { s.queueVersion = 3; }),
         {"PlaylistChangedEvent"}},
        {"paused",
         base,
         changed([](State& s) { s.player.playingState = PlayingState::Paused; }),
         {"PlayingStateChangedEvent"}},
        {"the volume",
         base,
         changed([](State& s) { s.player.volume = 41; }),
         {"VolumeChangedEvent"}},
        {"the mixer gone", base, changed([](State& s) { s.player.volume = -1; }), {}},
        {"shuffle and repeat one",
         base,
         changed([](State& s) {
             s.player.shuffle = true;
             s.player.repeat = RepeatState::One;
         }),
         {"ShuffleStateChangedEvent", "RepeatStateChangedEvent"}},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(Names(test.before, test.next), test.events) << test.what;
    }
}

// The values the MPD story cannot see in vantorctl's watch: the queue
// position, the song's rating and kind, the position a new song starts at.
TEST(MpdStatusTest, TheEventsCarryTheNewValues) {
    State next;
    next.player.queuePosition = 2;
    next.player.playbackPosition = 30;
    LibraryEntry song;
    song.rating = 80;
    next.player.current = song;
    Events events;
    AppendStatusEvents(std::nullopt, next, events);
    ASSERT_EQ(events.size(), 8u) << "no mixer: no volume event";
    EXPECT_EQ(As<PlaylistPositionChangedEvent>(*events[2])->playlistPosition, 2);
    const auto* media = As<CurrentMediaChangedEvent>(*events[3]);
    EXPECT_EQ(media->rating, 80);
    EXPECT_EQ(media->type, MediaType::Music);
    EXPECT_EQ(As<PlayPositionChangedEvent>(*events[5])->playbackPosition, 30);
    EXPECT_TRUE(SongEvent(std::nullopt)->title.empty()) << "no song: an empty song event";
}

}  // namespace
}  // namespace vantor::server::mpd
