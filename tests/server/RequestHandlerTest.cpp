#include <gtest/gtest.h>

#include <algorithm>

#include "RequestHandler.h"
#include "SimulatedBackend.h"
#include "protocol/MessageFactory.h"

namespace vantor::server {
namespace {

class RequestHandlerTest : public ::testing::Test {
protected:
    std::unique_ptr<Message> Handle(const Message& request) {
        events_.clear();
        return handler_.Handle(request, events_);
    }

    std::shared_ptr<const MediaLibrary> libraryShared_ =
        std::make_shared<const MediaLibrary>(MediaLibrary::Generate(60));
    const MediaLibrary& library_ = *libraryShared_;
    SimulatedBackend backend_{libraryShared_, 25};
    PlayerModel& player_ = backend_.Model();
    RequestHandler handler_{backend_, ServerInfo{}};
    Events events_;
};

// Each request is answered by its own response (by name, not by the
// numbering the handler relies on), carrying its id.
TEST_F(RequestHandlerTest, EveryRequestGetsItsResponseWithItsId) {
    for (std::uint32_t id = 1; id < kMessageTypeCount; ++id) {
        auto request = MessageFactory::Create(id);
        if (!request || request->Kind() != MessageKind::Request ||
            request->Type() == MessageType::UnrecognizedRequest) {
            continue;
        }
        request->requestId = static_cast<std::int32_t>(id) * 10;
        const auto response = Handle(*request);
        ASSERT_NE(response, nullptr) << request->TypeName();
        std::string expected(request->TypeName());
        expected.replace(expected.rfind("Request"), 7, "Response");
        EXPECT_EQ(response->TypeName(), expected);
        EXPECT_EQ(response->Kind(), MessageKind::Response) << request->TypeName();
        EXPECT_EQ(response->requestId, request->requestId) << request->TypeName();
    }
}

TEST_F(RequestHandlerTest, UnrecognizedRequestHasNoAnswer) {
    EXPECT_EQ(Handle(PlainMessage<MessageType::UnrecognizedRequest>()), nullptr);
}

TEST_F(RequestHandlerTest, BadValuesFailWithACode) {
    SetVolumeRequest loud;
    loud.volume = 101;
    const auto refused = Handle(loud);
    EXPECT_EQ(refused->returnCode, kBadParameter);
    EXPECT_TRUE(events_.empty());
    // (Its description is checked as vantorctl prints it.)

    SetEqPresetRequest preset;
    preset.preset = "Polka";
    EXPECT_EQ(Handle(preset)->returnCode, kNotFound);
    PlayMediaRequest nothing;
    nothing.selector.id = 99999;
    EXPECT_EQ(Handle(nothing)->returnCode, kNotFound);
}

TEST_F(RequestHandlerTest, LibraryRequestsArePaged) {
    BrowseLibraryRequest browse;
    browse.path = "/Music/Songs/";
    browse.start = 10;
    browse.count = 5;
    browse.includeTotalCount = true;
    const auto page = Handle(browse);
    const auto* songs = As<BrowseLibraryResponse>(*page);
    ASSERT_NE(songs, nullptr);
    EXPECT_EQ(songs->results.size(), 5u);
    EXPECT_EQ(songs->totalCount, 60);
    EXPECT_EQ(songs->start, 10);
    EXPECT_EQ(songs->results[0].id, 11);

    browse.path = "/No/Such/";
    EXPECT_EQ(Handle(browse)->returnCode, kNotFound);
}

TEST_F(RequestHandlerTest, PlayingFromALibraryPathFillsTheQueue) {
    PlayMediaRequest play;
    play.selector.libPath =
        "/Music/Albums/" + MediaLibrary::EscapeName(library_.Tracks()[0].album) + "/";
    play.startingItem = 0;
    EXPECT_EQ(Handle(play)->returnCode, kSuccess);
    EXPECT_EQ(player_.PlayingState(), PlayingState::Playing);
    EXPECT_EQ(player_.Current()->album, library_.Tracks()[0].album);
    EXPECT_FALSE(events_.empty());
}

TEST_F(RequestHandlerTest, TheQueuesPlayPlaysThatEntryWhateverTheState) {
    for (const auto state : {PlayingState::Stopped, PlayingState::Paused, PlayingState::Playing}) {
        events_.clear();
        player_.Play();
        if (state == PlayingState::Paused) {
            player_.Pause();
        } else if (state == PlayingState::Stopped) {
            player_.Stop();
        }
        SetPlaylistPositionRequest play;
        play.position = 4;
        EXPECT_EQ(Handle(play)->returnCode, kSuccess) << state;
        EXPECT_EQ(player_.QueuePosition(), 4) << state;
        EXPECT_EQ(player_.PlayingState(), PlayingState::Playing) << state;
    }
}

TEST_F(RequestHandlerTest, AFolderPlaysAndIsAddedAsItsSongsOnceEach) {
    const auto songs = static_cast<std::size_t>(library_.SongCount());
    const std::pair<const char*, std::size_t> folders[] = {
        {"/", library_.Tracks().size()},  // podcasts too
        {"/Music", songs},
        {"/Music/Artists", songs},
        {"/Music/Genres", songs},
        {"/Music/Albums", songs},
    };
    for (const auto& [path, count] : folders) {
        PlayMediaRequest play;
        play.selector.libPath = path;
        EXPECT_EQ(Handle(play)->returnCode, kSuccess) << path;
        EXPECT_EQ(player_.Queue().size(), count) << path;
        std::vector<std::int32_t> ids = player_.Queue();
        std::sort(ids.begin(), ids.end());
        EXPECT_EQ(std::unique(ids.begin(), ids.end()), ids.end()) << path;

        PlaylistAddRequest add;
        add.selector.libPath = path;
        add.position = -1;
        EXPECT_EQ(Handle(add)->returnCode, kSuccess) << path;
        EXPECT_EQ(player_.Queue().size(), 2 * count) << path;
    }
}

}  // namespace
}  // namespace vantor::server
