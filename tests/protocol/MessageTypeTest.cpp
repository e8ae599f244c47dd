#include <gtest/gtest.h>

#include <set>

#include "protocol/MediaType.h"
#include "protocol/MessageType.h"

namespace vantor {
namespace {

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

// The server answers a request with the type after it, so every request
// but the stand-alone one is followed by its own response.
TEST(MessageTypeTest, EveryRequestIsFollowedByItsResponse) {
    for (std::uint32_t id = 1; id < kMessageTypeCount; ++id) {
        const std::string name(MessageTypeName(id));
        const auto type = static_cast<MessageType>(id);
        if (!name.ends_with("Request") || type == MessageType::UnrecognizedRequest) {
            continue;
        }
        EXPECT_EQ(KindOf(type), MessageKind::Request) << name;
        const std::string stem = name.substr(0, name.size() - 7);
        EXPECT_EQ(MessageTypeName(id + 1), stem + "Response") << name;
        EXPECT_EQ(KindOf(static_cast<MessageType>(id + 1)), MessageKind::Response) << name;
    }
    EXPECT_EQ(KindOf(MessageType::MediaLibraryChangedEvent), MessageKind::Event);
    EXPECT_EQ(KindOf(MessageType::VersionInformation), MessageKind::None);
    EXPECT_EQ(KindOf(static_cast<MessageType>(kMessageTypeCount)), MessageKind::None);
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
