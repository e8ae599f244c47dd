#include <gtest/gtest.h>

#include <set>

#include "protocol/MessageFactory.h"
#include "protocol/Messages.h"

namespace vantor {
namespace {

std::set<std::uint32_t> KnownIds() {
    std::set<std::uint32_t> ids;
    const auto range = [&](std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t id = first; id <= last; ++id) {
            ids.insert(id);
        }
    };
    range(1, 6);
    range(9, 101);
    range(117, 123);
    for (const std::uint32_t id : {125u, 127u, 129u, 135u, 137u, 149u}) {
        ids.insert(id);
    }
    range(131, 133);
    range(139, 144);
    return ids;
}

TEST(MessageFactoryTest, MakesExactlyTheKnownTypes) {
    const std::set<std::uint32_t> known = KnownIds();
    for (std::uint32_t id = 0; id < 300; ++id) {
        const std::unique_ptr<Message> message = MessageFactory::Create(id);
        if (!known.contains(id)) {
            EXPECT_EQ(message, nullptr) << id << " " << MessageTypeName(id);
            continue;
        }
        ASSERT_NE(message, nullptr) << id << " " << MessageTypeName(id);
        EXPECT_EQ(static_cast<std::uint32_t>(message->Type()), id);
        EXPECT_EQ(message->Kind(), KindOf(message->Type()));
        EXPECT_EQ(message->requestId, -1);
        EXPECT_EQ(message->TypeName(), MessageTypeName(id));
    }
}

TEST(MessageFactoryTest, SharedClassesKeepTheirOwnTypeIds) {
    for (const MessageType type :
         {MessageType::BrowseGenresRequest, MessageType::BrowsePlaylistsRequest,
          MessageType::BrowseTVSeriesRequest}) {
        auto message = MessageFactory::Create(type);
        ASSERT_NE(dynamic_cast<BrowseGenresRequest*>(message.get()), nullptr);
        EXPECT_EQ(message->Type(), type);
    }
    auto playlists = MessageFactory::Create(MessageType::BrowsePlaylistsRequest);
    EXPECT_EQ(playlists->ToXml(), "<BrowsePlaylistsRequest>\n<name/>\n</BrowsePlaylistsRequest>");
    auto pictures = MessageFactory::Create(MessageType::BrowsePicturesRequest);
    ASSERT_NE(dynamic_cast<BrowseFoldersRequest*>(pictures.get()), nullptr);
    EXPECT_EQ(pictures->TypeName(), "BrowsePicturesRequest");
}

}  // namespace
}  // namespace vantor
