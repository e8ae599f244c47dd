#include <gtest/gtest.h>

#include <set>

#include "protocol/MediaType.h"
#include "protocol/MessageType.h"

namespace vantor {
namespace {

TEST(MessageTypeTest, IdsAreFixedPositionsInTheNameTable) {
    struct Case {
        std::uint32_t id;
        const char* name;
    };
    // The first and last id of every group of the table.
    const Case cases[] = {
        {0, "Undefined"},
        {10, "VersionInformation"},
        {11, "PlayPauseRequest"},
        {26, "NextItemResponse"},
        {27, "GetPlaylistPositionRequest"},
        {40, "PlaylistClearResponse"},
        {41, "GetCurrentStateRequest"},
        {64, "SetRepeatStateResponse"},
        {65, "GetAlbumArtRequest"},
        {90, "GetPlayerCapabilitiesResponse"},
        {91, "CurrentMediaChangedEvent"},
        {102, "PlayerStateChangedEvent"},
        {103, "PressButtonRequest"},
        {110, "ShutdownResponse"},
        {111, "GetRadioPresetsRequest"},
        {118, "GetMediaItemResponse"},
        {119, "BrowseGenresRequest"},
        {142, "BrowseLibraryResponse"},
        {143, "UpdateMediaLibraryRequest"},
        {149, "MediaLibraryChangedEvent"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MessageTypeName(c.id), c.name) << c.id;
        EXPECT_EQ(static_cast<std::uint32_t>(MessageTypeFromName(c.name)), c.id) << c.name;
    }
}

TEST(MessageTypeTest, EveryNameMapsBackToItsId) {
    std::set<std::string_view> names;
    for (std::uint32_t id = 0; id < kMessageTypeCount; ++id) {
        const std::string_view name = MessageTypeName(id);
        ASSERT_FALSE(name.empty()) << id;
        EXPECT_TRUE(names.insert(name).second) << "duplicate name " << name;
        EXPECT_EQ(static_cast<std::uint32_t>(MessageTypeFromName(name)), id) << name;
    }
}

TEST(MessageTypeTest, UnknownNamesAndIdsAreUndefined) {
    EXPECT_EQ(MessageTypeFromName("Undefined"), MessageType::Undefined);
    EXPECT_EQ(MessageTypeFromName("NoSuchRequest"), MessageType::Undefined);
    EXPECT_EQ(MessageTypeFromName("playrequest"), MessageType::Undefined);
    EXPECT_EQ(MessageTypeFromName("PlayRequest "), MessageType::Undefined);
    EXPECT_EQ(MessageTypeFromName(""), MessageType::Undefined);
    EXPECT_EQ(MessageTypeName(150), "");
    EXPECT_EQ(MessageTypeName(0xFFFFFFFFu), "");
}

TEST(MessageTypeTest, RequestsAreOddAndAnsweredByTheNextId) {
    for (std::uint32_t id = 1; id < kMessageTypeCount; ++id) {
        const auto type = static_cast<MessageType>(id);
        const MessageKind kind = KindOf(type);
        if (id == 9 || id == 10 || (id >= 91 && id <= 102) || id == 149) {
            continue;  // the ones that stand alone
        }
        if (id % 2 == 1) {
            EXPECT_EQ(kind, MessageKind::Request) << MessageTypeName(id);
            EXPECT_EQ(KindOf(static_cast<MessageType>(id + 1)), MessageKind::Response)
                << MessageTypeName(id + 1);
        }
    }
    EXPECT_EQ(KindOf(MessageType::UnrecognizedRequest), MessageKind::Request);
    EXPECT_EQ(KindOf(MessageType::VersionInformation), MessageKind::None);
    EXPECT_EQ(KindOf(MessageType::Undefined), MessageKind::None);
    for (std::uint32_t id = 91; id <= 102; ++id) {
        EXPECT_EQ(KindOf(static_cast<MessageType>(id)), MessageKind::Event) << id;
    }
    EXPECT_EQ(KindOf(MessageType::MediaLibraryChangedEvent), MessageKind::Event);
}

TEST(MediaTypeTest, NamesMapBothWays) {
    const char* const names[] = {
        "undefined",    "music",     "podcast",         "video",        "tv",     "playlist",
        "photo",        "radio",     "folder",          "genre",        "artist", "album",
        "podcast_show", "tv_series", "playlist_folder", "radio_folder", "info"};
    ASSERT_EQ(std::size(names), static_cast<std::size_t>(kMediaTypeCount));
    for (std::int32_t value = 0; value < kMediaTypeCount; ++value) {
        const auto type = static_cast<MediaType>(value);
        EXPECT_EQ(MediaTypeName(type), names[value]);
        EXPECT_EQ(MediaTypeFromName(names[value]), type);
    }
    EXPECT_EQ(MediaTypeFromName(""), MediaType::Music);
    EXPECT_EQ(MediaTypeFromName("Music"), MediaType::Undefined);
    EXPECT_EQ(MediaTypeFromName("cassette"), MediaType::Undefined);
    EXPECT_EQ(MediaTypeName(static_cast<MediaType>(17)), "");
    EXPECT_EQ(MediaTypeName(static_cast<MediaType>(-1)), "");
}

}  // namespace
}  // namespace vantor
