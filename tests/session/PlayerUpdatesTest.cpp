#include <gtest/gtest.h>

#include "core/Text.h"
#include "protocol/Messages.h"
#include "session/PlayerUpdates.h"

namespace vantor {
namespace {

// Writes each call as one line, in order.
class CallLog final : public PlayerListener {
public:
    std::vector<std::string> calls;

    void OnCurrentMediaChanged(const CurrentMedia& media) override {
        calls.push_back("media " + media.title);
    }
    void OnVolumeChanged(std::int32_t volume, std::int32_t difference) override {
        calls.push_back(Format("volume %d %d", volume, difference));
    }
    void OnShuffleChanged(bool shuffle) override {
        calls.push_back(Format("shuffle %d", shuffle ? 1 : 0));
    }
    void OnRepeatChanged(std::int32_t repeat) override {
        calls.push_back(Format("repeat %d", repeat));
    }
    void OnPlayingStateChanged(std::int32_t state) override {
        calls.push_back(Format("state %d", state));
    }
    void OnPlaylistPositionChanged(std::int32_t position) override {
        calls.push_back(Format("queue %d", position));
    }
    void OnPlayPositionChanged(std::int32_t seconds) override {
        calls.push_back(Format("position %d", seconds));
    }
    void OnEqChanged(const EqSettings& eq) override { calls.push_back(Format("eq %d", eq.preamp)); }
    void OnCapabilities() override { calls.push_back("capabilities"); }
    void OnRequestFailed(std::int32_t code, const Message& request) override {
        calls.push_back(Format("failed %d %s", code, std::string(request.TypeName()).c_str()));
    }
    void OnSearchResults(const std::string& text, const MediaSearchResponse&) override {
        calls.push_back("search " + text);
    }
    void OnPlaylistItems(const GetPlaylistItemsResponse&, std::int32_t start) override {
        calls.push_back(Format("items %d", start));
    }
};

template <class M, class Fill>
M Make(Fill fill) {
    M message;
    fill(message);
    return message;
}

VolumeChangedEvent Volume(std::int32_t volume) {
    return Make<VolumeChangedEvent>([&](auto& m) { m.volume = volume; });
}

TEST(PlayerUpdatesTest, VolumeStepsOfOneAreIgnored) {
    PlayerState state;
    state.volume = 50;
    CallLog log;
    ApplyEvent(Volume(51), state, &log);
    EXPECT_EQ(state.volume, 50) << "neither stored nor reported";
    ApplyEvent(Volume(52), state, &log);
    EXPECT_EQ(state.volume, 52);
    ApplyEvent(Volume(52), state, &log);
    ApplyEvent(Volume(49), state, &log);
    EXPECT_EQ(log.calls, (std::vector<std::string>{"volume 52 -2", "volume 49 3"}));

    // Whatever a server sends, the difference is the old volume less the
    // new, held to 32 bits rather than overflowing.
    log.calls.clear();
    ApplyEvent(Volume(INT32_MIN), state, &log);
    ApplyEvent(Volume(INT32_MAX), state, &log);
    ApplyEvent(Volume(INT32_MIN), state, &log);
    EXPECT_EQ(log.calls, (std::vector<std::string>{"volume -2147483648 2147483647",
                                                   "volume 2147483647 -2147483648",
                                                   "volume -2147483648 2147483647"}));
}

TEST(PlayerUpdatesTest, OnlyChangesAreReportedExceptThePosition) {
    PlayerState state;
    CallLog log;
    const auto paused =
        Make<PlayingStateChangedEvent>([](auto& m) { m.playingState = PlayingState::Paused; });
    ApplyEvent(paused, state, &log);
    ApplyEvent(paused, state, &log);
    const auto position = Make<PlayPositionChangedEvent>([](auto& m) { m.playbackPosition = 7; });
    ApplyEvent(position, state, &log);
    ApplyEvent(position, state, &log);
    state.repeat = RepeatState::All;
    ApplyEvent(Make<RepeatStateChangedEvent>([](auto& m) { m.repeatState = RepeatState::All; }),
               state, &log);
    ApplyEvent(Make<ShuffleStateChangedEvent>([](auto& m) { m.shuffleState = false; }), state,
               &log);
    EXPECT_EQ(log.calls, (std::vector<std::string>{"state 2", "position 7", "position 7"}));
}

TEST(PlayerUpdatesTest, WithoutAListenerStateMovesButMediaAndSmallVolumeStepsDoNot) {
    PlayerState state;
    state.volume = 50;
    ApplyEvent(Volume(51), state, nullptr);
    EXPECT_EQ(state.volume, 50);
    ApplyEvent(Volume(60), state, nullptr);
    EXPECT_EQ(state.volume, 60);
    ApplyEvent(Make<CurrentMediaChangedEvent>([](auto& m) { m.title = "Intro"; }), state, nullptr);
    EXPECT_EQ(state.media.title, "") << "taken over only while someone listens";
    ApplyEvent(Make<ShuffleStateChangedEvent>([](auto& m) { m.shuffleState = true; }), state,
               nullptr);
    EXPECT_TRUE(state.shuffle);
    auto eq = Make<EqChangedEvent>([](auto& m) { m.eq.preamp = 4; });
    ApplyEvent(eq, state, nullptr);
    EXPECT_EQ(state.eq.preamp, 4);
}

TEST(PlayerUpdatesTest, CurrentStateIsAppliedFieldByFieldInItsOrder) {
    PlayerState state;
    state.volume = 10;
    CallLog log;
    const auto current = Make<GetCurrentStateResponse>([](auto& m) {
        m.playingState = PlayingState::Playing;
        m.volume = 40;
        m.title = "Intro";
        m.playlistPosition = 3;
        m.playbackPosition = 12;
        m.shuffleState = true;
        m.repeatState = RepeatState::All;
    });
    ApplyResponse(current, GetCurrentStateRequest(), state, &log);
    EXPECT_EQ(log.calls,
              (std::vector<std::string>{"state 1", "volume 40 -30", "media Intro", "queue 3",
                                        "position 12", "shuffle 1", "repeat 2"}));
    log.calls.clear();
    ApplyResponse(current, GetCurrentStateRequest(), state, &log);
    EXPECT_EQ(log.calls, (std::vector<std::string>{"media Intro", "position 12"}))
        << "the media and the position are reported on every state response";
}

TEST(PlayerUpdatesTest, FailuresReachOnRequestFailedUnlessTheResponseHasItsOwnRule) {
    PlayerState state;
    state.volume = 50;
    CallLog log;
    auto failedSet = Make<SetVolumeResponse>([](auto& m) { m.returnCode = 2; });
    ApplyResponse(failedSet, SetVolumeRequest(), state, &log);
    auto fine = Make<SetVolumeResponse>([](auto& m) { m.returnCode = 0; });
    ApplyResponse(fine, SetVolumeRequest(), state, &log);
    auto failedGet = Make<GetVolumeResponse>([](auto& m) {
        m.returnCode = 2;
        m.volume = 20;
    });
    ApplyResponse(failedGet, GetVolumeRequest(), state, &log);
    EXPECT_EQ(log.calls, (std::vector<std::string>{"failed 2 SetVolumeRequest", "volume 20 30"}));
}

TEST(PlayerUpdatesTest, ResponsesThatNeedTheirRequest) {
    PlayerState state;
    CallLog log;
    MediaSearchRequest search;
    search.any = "mi";
    ApplyResponse(MediaSearchResponse(), search, state, &log);
    ApplyResponse(MediaSearchResponse(), BrowseLibraryRequest(), state, &log);
    GetPlaylistItemsRequest page;
    page.start = 2000;
    ApplyResponse(GetPlaylistItemsResponse(), page, state, &log);
    ApplyResponse(Make<GetPlayerCapabilitiesResponse>([](auto& m) { m.supportsEQ = true; }),
                  GetPlayerCapabilitiesRequest(), state, &log);
    EXPECT_TRUE(state.supportsEq);
    EXPECT_FALSE(state.supportsMultipleSpeakers);
    EXPECT_EQ(log.calls, (std::vector<std::string>{"search mi", "items 2000", "capabilities"}));
}

TEST(PlayerUpdatesTest, UnhandledEventsChangeNothing) {
    PlayerState state;
    CallLog log;
    ApplyEvent(PlainMessage<MessageType::PlayerStateChangedEvent>(), state, &log);
    ApplyEvent(GetVolumeRequest(), state, &log);
    EXPECT_TRUE(log.calls.empty());
}

}  // namespace
}  // namespace vantor
