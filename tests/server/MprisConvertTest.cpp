// The rules that turn what MPRIS players say into the protocol's terms:
// which bus names are players to drive and which one is driven, what the
// Player properties and a Metadata map become (including what players that
// bend the rules send), the position between readings, and the events a
// change of the driven player makes.

#include <gtest/gtest.h>

#include <QDBusObjectPath>
#include <QStringList>
#include <set>

#include "mpris/MprisConvert.h"

namespace vantor::server::mpris {
namespace {

using namespace std::chrono_literals;

QString Q(const char* text) {
    return QString::fromUtf8(text);
}

TEST(MprisNamesTest, OnlyOtherPlayersAreDrivenAndNamesMatchWholeParts) {
    struct Case {
        const char* busName;
        bool drivable;
    };
    const Case names[] = {
        {"org.mpris.MediaPlayer2.mpv", true},
        {"org.mpris.MediaPlayer2.vlc.instance4711", true},
        {"org.mpris.MediaPlayer2.vantor", false},  // the client's own service
        {"org.mpris.MediaPlayer2.vantor.instance77", false},
        {"org.mpris.MediaPlayer2.playerctld", false},  // a proxy of the others
        {"org.mpris.MediaPlayer2.", false},
        {"org.mpris.MediaPlayer2", false},
        {"org.freedesktop.DBus", false},
        {":1.42", false},
    };
    for (const Case& test : names) {
        EXPECT_EQ(IsDrivable(test.busName), test.drivable) << test.busName;
    }

    struct Match {
        const char* wanted;
        const char* busName;
        bool matches;
    };
    const Match matches[] = {
        {"", "org.mpris.MediaPlayer2.spotify", true},
        {"vlc", "org.mpris.MediaPlayer2.vlc", true},
        {"vlc", "org.mpris.MediaPlayer2.vlc.instance4711", true},
        {"vlc", "org.mpris.MediaPlayer2.vlcx", false},
        {"org.mpris.MediaPlayer2.vlc.instance4711", "org.mpris.MediaPlayer2.vlc.instance4711",
         true},
        {"org.mpris.MediaPlayer2.vlc.instance4711", "org.mpris.MediaPlayer2.vlc.instance4712",
         false},
        {"mpv", "org.mpris.MediaPlayer2.vlc", false},
    };
    for (const Match& test : matches) {
        EXPECT_EQ(NameMatches(test.wanted, test.busName), test.matches)
            << test.wanted << " / " << test.busName;
    }
}

TEST(MprisNamesTest, TheDrivenPlayerIsTheLastActiveElseTheFirstToAppear) {
    EXPECT_EQ(ChooseDriven({}), "");
    EXPECT_EQ(ChooseDriven({{"a", 0, 2}, {"b", 0, 1}}), "b") << "none active: the first to appear";
    EXPECT_EQ(ChooseDriven({{"a", 0, 1}, {"b", 3, 2}}), "b");
    EXPECT_EQ(ChooseDriven({{"a", 5, 1}, {"b", 3, 2}, {"c", 0, 3}}), "a");
}

TEST(MprisPropertiesTest, StatesLoopsAndVolumes) {
    EXPECT_EQ(PlayingStateOf(Q("Playing")), PlayingState::Playing);
    EXPECT_EQ(PlayingStateOf(Q("Paused")), PlayingState::Paused);
    EXPECT_EQ(PlayingStateOf(Q("Stopped")), PlayingState::Stopped);
    EXPECT_EQ(PlayingStateOf(Q("playing")), PlayingState::Stopped) << "the names are exact";

    for (const auto& [status, repeat] :
         std::vector<std::pair<const char*, std::int32_t>>{{"None", RepeatState::Off},
                                                           {"Track", RepeatState::One},
                                                           {"Playlist", RepeatState::All}}) {
        EXPECT_EQ(RepeatOf(Q(status)), repeat) << status;
        EXPECT_EQ(LoopStatusOf(repeat), Q(status));
    }
    EXPECT_FALSE(RepeatOf(Q("Forever")));

    struct Volume {
        QVariant value;
        std::int32_t expected;
    };
    const Volume volumes[] = {
        {QVariant(0.0), 0},   {QVariant(0.505), 51},
        {QVariant(1.0), 100}, {QVariant(1.7), 100},  // players may amplify above 1
        {QVariant(-0.2), 0},  {QVariant(Q("loud")), -1},
        {QVariant(), -1},     {QVariant(std::numeric_limits<double>::quiet_NaN()), -1},
    };
    for (const Volume& test : volumes) {
        EXPECT_EQ(VolumeOf(test.value), test.expected) << test.value.toString().toStdString();
    }
}

QVariantMap Metadata(std::initializer_list<std::pair<const char*, QVariant>> entries) {
    QVariantMap map;
    for (const auto& [key, value] : entries) {
        map.insert(Q(key), value);
    }
    return map;
}

TEST(MprisMetadataTest, MetadataIsReadAsFarAsItMakesSense) {
    struct Case {
        const char* what;
        QVariantMap metadata;
        bool track;
        std::string title;
        std::string artist;
        std::int32_t length;
        std::string id;
    };
    const std::string huge(3 * 1024 * 1024, 'x');
    const Case cases[] = {
        {"well formed, two artists, microseconds to whole seconds",
         Metadata({{"mpris:trackid", QVariant::fromValue(QDBusObjectPath(Q("/org/mpv/Track/3")))},
                   {"xesam:title", Q("Night Drive")},
                   {"xesam:artist", QStringList{Q("Mira Solen"), Q("Glass Orchard")}},
                   {"mpris:length", QVariant::fromValue(qlonglong{215'600'000})}}),
         true, "Night Drive", "Mira Solen, Glass Orchard", 216, "/org/mpv/Track/3"},
        {"empty", {}, false, "", "", -1, ""},
        {"an id alone, as mpv has it once stopped",
         Metadata({{"mpris:trackid", QVariant::fromValue(QDBusObjectPath(Q("/noplaylist")))}}),
         false, "", "", -1, ""},
        {"no track id, an artist as one text",
         Metadata({{"xesam:title", Q("Slow Dance")}, {"xesam:artist", Q("Mira")}}), true,
         "Slow Dance", "Mira", -1, ""},
        {"the id as a string, the NoTrack id",
         Metadata({{"mpris:trackid", Q("/org/mpris/MediaPlayer2/TrackList/NoTrack")},
                   {"xesam:title", Q("A")}}),
         true, "A", "", -1, ""},
        {"wrong types everywhere",
         Metadata({{"xesam:title", 42},
                   {"xesam:artist", 3.5},
                   {"mpris:length", Q("long")},
                   {"mpris:trackid", true},
                   {"xesam:album", Q("Kept")}}),
         true, "", "", -1, ""},
        {"a negative length", Metadata({{"xesam:title", Q("B")}, {"mpris:length", -5}}), true, "B",
         "", -1, ""},
        {"an absurd length",
         Metadata({{"xesam:title", Q("C")},
                   {"mpris:length", QVariant::fromValue(qlonglong{9'000'000'000'000'000})}}),
         true, "C", "", -1, ""},
        {"a length as a double and unsigned",
         Metadata({{"xesam:title", Q("D")}, {"mpris:length", 30e6}}), true, "D", "", 30, ""},
        {"no title: the file's name", Metadata({{"xesam:url", Q("file:///m/Summer%20Rain.flac")}}),
         true, "Summer Rain.flac", "", -1, ""},
        {"a title of megabytes", Metadata({{"xesam:title", QString::fromStdString(huge)}}), true,
         std::string(kMaxText, 'x'), "", -1, ""},
    };
    for (const Case& test : cases) {
        const auto track = TrackOf(test.metadata);
        ASSERT_EQ(track.has_value(), test.track) << test.what;
        if (track) {
            EXPECT_EQ(track->title, test.title) << test.what;
            EXPECT_EQ(track->artist, test.artist) << test.what;
            EXPECT_EQ(track->length, test.length) << test.what;
            EXPECT_EQ(track->id, test.id) << test.what;
        }
    }
    // Cut at a character boundary, never inside one.
    const QString accents = QString(2000, QChar(0x00e9));
    const auto cut = TrackOf(Metadata({{"xesam:title", accents}}));
    ASSERT_TRUE(cut);
    EXPECT_LE(cut->title.size(), kMaxText);
    EXPECT_EQ(cut->title.size() % 2, 0u);
}

TEST(MprisPropertiesTest, PropertiesAndThePositionBetweenReadings) {
    const Clock::time_point start{std::chrono::seconds(1000)};
    PlayerView view;
    ApplyPlayerProperties(
        Metadata(
            {{"PlaybackStatus", Q("Playing")},
             {"Metadata", Metadata({{"mpris:trackid", Q("/t/1")},
                                    {"xesam:title", Q("One")},
                                    {"mpris:length", QVariant::fromValue(qlonglong{60'000'000})}})},
             {"Position", QVariant::fromValue(qlonglong{10'000'000})},
             {"Rate", 1.0},
             {"Volume", 0.5},
             {"Shuffle", true},
             {"LoopStatus", Q("Track")},
             {"CanControl", true},
             {"CanGoNext", true},
             {"CanSeek", Q("yes")}}),  // not a bool: cannot
        start, &view);
    EXPECT_EQ(view.playingState, PlayingState::Playing);
    EXPECT_EQ(view.volume, 50);
    EXPECT_EQ(view.shuffle, true);
    EXPECT_EQ(view.repeat, RepeatState::One);
    EXPECT_TRUE(view.can.control);
    EXPECT_TRUE(view.can.next);
    EXPECT_FALSE(view.can.seek);
    EXPECT_FALSE(view.can.previous) << "never said: cannot";

    EXPECT_EQ(PositionSeconds(view, start + 2500ms), 12) << "moves while playing";
    ApplyPlayerProperties(Metadata({{"Rate", 2.0}}), start + 4s, &view);
    EXPECT_EQ(PositionSeconds(view, start + 4s), 14) << "a new rate keeps the position";
    EXPECT_EQ(PositionSeconds(view, start + 6s), 18);
    ApplyPlayerProperties(Metadata({{"PlaybackStatus", Q("Paused")}}), start + 6s, &view);
    EXPECT_EQ(PositionSeconds(view, start + 60s), 18) << "stands while paused";
    ApplyPlayerProperties(Metadata({{"PlaybackStatus", Q("Playing")}}), start + 60s, &view);
    EXPECT_EQ(PositionSeconds(view, start + 600s), 60) << "never past the end of the track";

    // Another track starts from 0 until the player says otherwise; the same
    // track changing its tags keeps its place.
    ApplyPlayerProperties(Metadata({{"Metadata", Metadata({{"mpris:trackid", Q("/t/1")},
                                                           {"xesam:title", Q("One (live)")},
                                                           {"mpris:length", 60e6}})}}),
                          start + 600s, &view);
    EXPECT_EQ(PositionSeconds(view, start + 600s), 60);
    ApplyPlayerProperties(
        Metadata(
            {{"Metadata", Metadata({{"mpris:trackid", Q("/t/2")}, {"xesam:title", Q("Two")}})}}),
        start + 601s, &view);
    EXPECT_EQ(PositionSeconds(view, start + 601s), 0);
    ApplyPlayerProperties(Metadata({{"Metadata", Q("not a map")}}), start + 602s, &view);
    EXPECT_FALSE(view.track) << "Metadata that is no map: nothing loaded";

    ApplyPlayerProperties(Metadata({{"Volume", Q("x")}, {"LoopStatus", 3}, {"PlaybackStatus", 3}}),
                          start, &view);
    EXPECT_EQ(view.volume, -1);
    EXPECT_FALSE(view.repeat);
    EXPECT_EQ(view.playingState, PlayingState::Playing) << "a state that is no text is ignored";
}

Track Titled(const char* id, const char* title) {
    Track track;
    track.id = id;
    track.title = title;
    return track;
}

std::set<MessageType> Types(const Events& events) {
    std::set<MessageType> types;
    for (const auto& event : events) {
        types.insert(event->Type());
    }
    return types;
}

PlayerView Playing(const char* busName, const char* title) {
    PlayerView view;
    view.busName = busName;
    view.playingState = PlayingState::Playing;
    view.track = Track{"/t/1", title, "Artist", "Album", "", "", 200};
    view.volume = 40;
    view.shuffle = false;
    view.repeat = RepeatState::Off;
    view.players = {Speaker{busName, "Player", true}};
    return view;
}

TEST(MprisEventsTest, EachChangeIsToldOnceAndAnotherPlayerIsToldWhole) {
    const Clock::time_point now{std::chrono::seconds(50)};
    using T = MessageType;
    struct Case {
        const char* what;
        std::function<void(PlayerView&)> change;
        std::set<MessageType> expected;
    };
    const Case cases[] = {
        {"nothing", [](PlayerView&) {}, {}},
        {"paused",
         [](PlayerView& v) { v.playingState = PlayingState::Paused; },
         {T::PlayingStateChangedEvent}},
        {"volume", [](PlayerView& v) { v.volume = 41; }, {T::VolumeChangedEvent}},
        {"volume gone", [](PlayerView& v) { v.volume = -1; }, {}},
        {"shuffle", [](PlayerView& v) { v.shuffle = true; }, {T::ShuffleStateChangedEvent}},
        {"loop", [](PlayerView& v) { v.repeat = RepeatState::All; }, {T::RepeatStateChangedEvent}},
        {"seeked", [](PlayerView& v) { v.positionUs = 30'000'000; }, {T::PlayPositionChangedEvent}},
        {"another track",
         [](PlayerView& v) { v.track->title = "Other"; },
         {T::CurrentMediaChangedEvent, T::AlbumArtChangedEvent, T::PlayPositionChangedEvent,
          T::PlaylistChangedEvent, T::PlaylistPositionChangedEvent, T::MediaLibraryChangedEvent}},
        {"a second player",
         [](PlayerView& v) {
             v.players.push_back(Speaker{"b", "B", false});
         },
         {T::SpeakerListChangedEvent}},
        {"a track list",
         [](PlayerView& v) {
             v.hasTrackList = true;
             v.tracks = std::make_shared<const std::vector<Track>>(
                 std::vector<Track>{Titled("/t/0", "Zero"), *v.track});
         },
         {T::PlaylistChangedEvent, T::PlaylistPositionChangedEvent}},
        {"playlists",
         [](PlayerView& v) {
             v.hasPlaylists = true;
             v.playlists = std::make_shared<const std::vector<Playlist>>(
                 std::vector<Playlist>{Playlist{"/p/1", "Evening"}});
         },
         {T::MediaLibraryChangedEvent}},
        {"another player",
         [](PlayerView& v) { v.busName = "org.mpris.MediaPlayer2.other"; },
         {T::PlayingStateChangedEvent, T::CurrentMediaChangedEvent, T::AlbumArtChangedEvent,
          T::PlayPositionChangedEvent, T::PlaylistChangedEvent, T::PlaylistPositionChangedEvent,
          T::VolumeChangedEvent, T::ShuffleStateChangedEvent, T::RepeatStateChangedEvent,
          T::MediaLibraryChangedEvent}},
        {"the player left",
         [](PlayerView& v) { v = PlayerView(); },
         {T::PlayingStateChangedEvent, T::CurrentMediaChangedEvent, T::AlbumArtChangedEvent,
          T::PlayPositionChangedEvent, T::PlaylistChangedEvent, T::PlaylistPositionChangedEvent,
          T::ShuffleStateChangedEvent, T::RepeatStateChangedEvent, T::SpeakerListChangedEvent,
          T::MediaLibraryChangedEvent}},
    };
    for (const Case& test : cases) {
        PlayerView before = Playing("org.mpris.MediaPlayer2.mpv", "Song");
        before.positionAt = now;
        PlayerView after = before;
        test.change(after);
        std::int32_t told = 0;
        Events events;
        AppendChanges(before, after, now, &told, events);
        EXPECT_EQ(Types(events), test.expected) << test.what;
        EXPECT_EQ(events.size(), Types(events).size()) << test.what << ": told twice";
    }

    // What the player that left leaves behind: stopped, with an empty title.
    PlayerView before = Playing("org.mpris.MediaPlayer2.mpv", "Song");
    std::int32_t told = 0;
    Events events;
    AppendChanges(before, PlayerView(), now, &told, events);
    for (const auto& event : events) {
        if (const auto* state = As<PlayingStateChangedEvent>(*event)) {
            EXPECT_EQ(state->playingState, PlayingState::Stopped);
        }
        if (const auto* media = As<CurrentMediaChangedEvent>(*event)) {
            EXPECT_EQ(media->title, "");
        }
    }
}

}  // namespace
}  // namespace vantor::server::mpris
