#include <gtest/gtest.h>

#include "media/MediaService.h"
#include "support/ScriptedHttp.h"
#include "support/TestServer.h"

namespace vantor {
namespace {

using testing::ScriptedHttp;
using testing::ScriptedReply;
using testing::TestServer;

TEST(MediaServiceTest, UrlsFollowTheServersForms) {
    MediaService media;
    media.SetHost("den");
    EXPECT_EQ(media.PlaylistUrl(2000, 1000, true),
              "http://den:3569/playlist.thrift?start=2000&count=1000&includeTotalCount=true");
    EXPECT_EQ(media.PlaylistUrl(0, 1000, false),
              "http://den:3569/playlist.thrift?start=0&count=1000");
    EXPECT_EQ(media.FolderUrl("/Music/", 0, 1000, true),
              "http://den:3569/media/Music/.thrift?count=1000&includeTotalCount=true");
    EXPECT_EQ(media.FolderUrl("/Music/Artists/AC%2FDC", 1000, -1, false),
              "http://den:3569/media/Music/Artists/AC%2FDC.thrift?start=1000");
    EXPECT_EQ(media.FolderUrl("/", 0, -1, false), "http://den:3569/media/.thrift");
    EXPECT_EQ(media.SearchUrl("mi", 0, -1), "http://den:3569/media/search/mi.thrift")
        << "start 0 and count -1 send no query at all";
    EXPECT_EQ(media.SearchUrl("mi", 0, 20), "http://den:3569/media/search/mi.thrift?count=20");
    EXPECT_EQ(media.SearchUrl("Sí señor?", 5, 20),
              "http://den:3569/media/search/S%C3%AD%20se%C3%B1or%3F.thrift?start=5&count=20");
    EXPECT_EQ(media.SearchUrl(std::string(2000, 'a'), 0, -1), "") << "too long to canonicalise";
}

TEST(MediaServiceTest, UndecodableBodiesGiveNoPage) {
    ScriptedHttp server([](const std::string&) {
        return ScriptedReply{ScriptedHttp::Response(200, "\x0c\x00\x04 definitely not thrift")};
    });
    MediaService media(server.Port());
    media.SetHost("127.0.0.1");
    EXPECT_EQ(media.FetchFolderPage("/", 0, 1000, true), nullptr);
    EXPECT_EQ(media.FetchPlaylistPage(0, 1000, true), nullptr);

    MediaService nobody(1);
    nobody.SetHost("127.0.0.1");
    EXPECT_EQ(nobody.FetchFolderPage("/", 0, 1000, true), nullptr);
}

}  // namespace
}  // namespace vantor
