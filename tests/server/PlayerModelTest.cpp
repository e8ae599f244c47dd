#include <gtest/gtest.h>

#include <algorithm>

#include "PlayerModel.h"

namespace vantor::server {
namespace {

std::vector<std::string> Names(const Events& events) {
    std::vector<std::string> names;
    for (const auto& event : events) {
        names.emplace_back(event->TypeName());
    }
    return names;
}

class PlayerModelTest : public ::testing::Test {
protected:
    MediaLibrary library_ = MediaLibrary::Generate(40);
    PlayerModel player_{library_, 3};
};

TEST_F(PlayerModelTest, VolumeIsClampedAndOnlyChangesAreReported) {
    EXPECT_EQ(Names(player_.SetVolume(70)), std::vector<std::string>{"VolumeChangedEvent"});
    EXPECT_TRUE(player_.SetVolume(70).empty());
    player_.SetVolume(500);
    EXPECT_EQ(player_.Volume(), 100);
    player_.SetVolume(-5);
    EXPECT_EQ(player_.Volume(), 0);
}

TEST_F(PlayerModelTest, TheEndOfASongStartsTheNext) {
    player_.Play();
    Events events;
    ASSERT_TRUE(player_.SetPlaybackPosition(player_.Current()->length - 1, events));
    const Events next = player_.Tick();
    EXPECT_EQ(Names(next),
              (std::vector<std::string>{"PlaylistPositionChangedEvent", "CurrentMediaChangedEvent",
                                        "AlbumArtChangedEvent", "PlayPositionChangedEvent"}));
    EXPECT_EQ(player_.QueuePosition(), 1);
    EXPECT_EQ(As<CurrentMediaChangedEvent>(*next[1])->title, player_.Current()->title);
}

TEST_F(PlayerModelTest, TheEndOfTheQueueStopsUnlessRepeating) {
    Events events;
    player_.SetQueuePosition(2, events);
    player_.Play();
    player_.SetPlaybackPosition(player_.Current()->length, events);
    player_.Tick();
    EXPECT_EQ(player_.PlayingState(), PlayingState::Stopped);
    EXPECT_EQ(player_.QueuePosition(), 0);

    player_.SetRepeat(RepeatState::All);
    player_.SetQueuePosition(2, events);
    player_.Play();
    player_.SetPlaybackPosition(player_.Current()->length, events);
    player_.Tick();
    EXPECT_EQ(player_.QueuePosition(), 0);
    EXPECT_EQ(player_.PlayingState(), PlayingState::Playing);

    player_.SetRepeat(RepeatState::One);
    player_.SetPlaybackPosition(player_.Current()->length, events);
    player_.Tick();
    EXPECT_EQ(player_.QueuePosition(), 0) << "repeat one plays the same song again";
}

TEST_F(PlayerModelTest, NextAndPreviousStopAtTheEndsUnlessRepeating) {
    Events events;
    player_.Play();
    player_.SetQueuePosition(2, events);
    player_.Next();
    EXPECT_EQ(player_.QueuePosition(), 0) << "the last song's Next stops at the first";
    EXPECT_EQ(player_.PlayingState(), PlayingState::Stopped);
    player_.Play();
    player_.Previous();
    EXPECT_EQ(player_.QueuePosition(), 0) << "the first song's Previous starts it again";
    EXPECT_EQ(player_.PlayingState(), PlayingState::Playing);

    player_.SetRepeat(RepeatState::All);
    player_.Previous();
    EXPECT_EQ(player_.QueuePosition(), 2);
    player_.Next();
    EXPECT_EQ(player_.QueuePosition(), 0);
}

TEST_F(PlayerModelTest, ShufflePlaysEverySongOnceInAnotherOrder) {
    std::vector<std::int32_t> songs;
    for (std::int32_t id = 1; id <= 20; ++id) {
        songs.push_back(id);
    }
    Events events;
    ASSERT_TRUE(player_.PlayNow(songs, 5, events));
    player_.SetShuffle(true);
    std::vector<std::int32_t> played = {player_.QueuePosition()};
    for (std::size_t i = 1; i < songs.size(); ++i) {
        player_.Next();
        played.push_back(player_.QueuePosition());
    }
    std::vector<std::int32_t> sorted = played;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end()) << "each once";
    EXPECT_FALSE(std::is_sorted(played.begin(), played.end())) << "not the queue's order";
    player_.Previous();
    EXPECT_EQ(player_.QueuePosition(), played[played.size() - 2]) << "back the way it came";
    player_.Next();
    player_.Next();
    EXPECT_EQ(player_.PlayingState(), PlayingState::Stopped) << "all played, none repeating";
}

TEST_F(PlayerModelTest, EqPresetsAreAudibleOnTheClientsScale) {
    for (const EqPreset& preset : player_.Presets()) {
        const auto [low, high] = std::minmax_element(preset.bands.begin(), preset.bands.end());
        EXPECT_GE(*low, -100) << preset.name;
        EXPECT_LE(*high, 100) << preset.name;
        if (preset.name != "Flat") {
            EXPECT_GE(*high - *low, 30) << preset.name;
        }
    }
}

TEST_F(PlayerModelTest, QueueEditsKeepTheCurrentSong) {
    const std::int32_t current = player_.Queue()[1];
    Events events;
    player_.SetQueuePosition(1, events);
    ASSERT_TRUE(player_.Add({10, 11}, 0, events));
    EXPECT_EQ(player_.Queue()[static_cast<std::size_t>(player_.QueuePosition())], current);
    ASSERT_TRUE(player_.Move(player_.QueuePosition(), 0, events));
    EXPECT_EQ(player_.QueuePosition(), 0);
    EXPECT_EQ(player_.Queue()[0], current);
    ASSERT_TRUE(player_.Remove(4, events));
    EXPECT_EQ(player_.Queue()[0], current);
    EXPECT_FALSE(player_.Remove(99, events));
    EXPECT_FALSE(player_.Move(0, 99, events));
    EXPECT_FALSE(player_.Add({}, -1, events));
}

TEST_F(PlayerModelTest, PlayNowReplacesTheQueueAndPlays) {
    Events events;
    ASSERT_TRUE(player_.PlayNow({5, 6, 7}, 1, events));
    EXPECT_EQ(player_.Queue(), (std::vector<std::int32_t>{5, 6, 7}));
    EXPECT_EQ(player_.QueuePosition(), 1);
    EXPECT_EQ(player_.PlayingState(), PlayingState::Playing);
    EXPECT_EQ(Names(events).front(), "PlaylistChangedEvent");
    EXPECT_EQ(Names(events).back(), "PlayingStateChangedEvent");
    events.clear();
    player_.Clear();
    EXPECT_EQ(player_.Current(), nullptr);
    EXPECT_TRUE(player_.Play().empty()) << "an empty queue cannot play";
}

}  // namespace
}  // namespace vantor::server
