#include <gtest/gtest.h>

#include "MediaRequest.h"

namespace vantor::server {
namespace {

using Kind = MediaRequest::Kind;

TEST(MediaRequestTest, TargetsAreReadAsTheClientWritesThem) {
    struct Case {
        const char* target;
        Kind kind;
        const char* argument;
        int start;
        int count;
        bool total;
    };
    for (const Case& c : {
             Case{"/playlist.thrift?start=5&count=20&includeTotalCount=true", Kind::Playlist, "", 5,
                  20, true},
             Case{"/playlist.thrift", Kind::Playlist, "", 0, -1, false},
             Case{"/media/Music/Artists.thrift?start=0&count=100", Kind::Folder, "/Music/Artists",
                  0, 100, false},
             Case{"/media.thrift", Kind::Folder, "/", 0, -1, false},
             // "%2F" is a "/" inside a name and stays escaped for the library.
             Case{"/media/Music/Artists/AC%2FDC.thrift", Kind::Folder, "/Music/Artists/AC%2FDC", 0,
                  -1, false},
             Case{"/media/Music/Artists/Sigur%20R%C3%B3s.thrift", Kind::Folder,
                  "/Music/Artists/Sigur R\xC3\xB3s", 0, -1, false},
             Case{"/media/search/blue%20moon.thrift?count=10", Kind::Search, "blue moon", 0, 10,
                  false},
             Case{"/art/42.png", Kind::Art, "42", 0, -1, false},
             Case{"/art/x.jpg", Kind::Art, "x", 0, -1, false},
             Case{"/art/42", Kind::Other, "", 0, -1, false},
             Case{"/update/vantor.deb", Kind::Other, "", 0, -1, false},
             Case{"", Kind::Other, "", 0, -1, false},
             // Values that are not numbers keep the defaults; the first of a
             // repeated one counts; "+" in a value is a space.
             Case{"/playlist.thrift?start=abc&count=99999999999", Kind::Playlist, "", 0, -1, false},
             Case{"/playlist.thrift?start=3&start=9&count=+4", Kind::Playlist, "", 3, 4, false},
             Case{"/playlist.thrift?includeTotalCount=TRUE", Kind::Playlist, "", 0, -1, false},
             Case{"/playlist.thrift?&&=&start", Kind::Playlist, "", 0, -1, false},
             Case{"/playlist.thrift?st%61rt=7", Kind::Playlist, "", 7, -1, false},
         }) {
        const MediaRequest request = ParseMediaTarget(c.target);
        EXPECT_EQ(request.kind, c.kind) << c.target;
        EXPECT_EQ(request.argument, c.argument) << c.target;
        EXPECT_EQ(request.start, c.start) << c.target;
        EXPECT_EQ(request.count, c.count) << c.target;
        EXPECT_EQ(request.includeTotalCount, c.total) << c.target;
    }
}

TEST(MediaRequestTest, BrokenEscapesStayAsTheyAre) {
    EXPECT_EQ(DecodeUrlText("%", false, false), "%");
    EXPECT_EQ(DecodeUrlText("%4", false, false), "%4");
    EXPECT_EQ(DecodeUrlText("%zz%41", false, false), "%zzA");
    EXPECT_EQ(DecodeUrlText("a+b%2Fc", false, true), "a+b%2Fc");
    EXPECT_EQ(DecodeUrlText("a+b%2Fc", true, false), "a b/c");
    EXPECT_EQ(DecodeUrlText(std::string_view("%00", 3), false, false), std::string(1, '\0'));
}

}  // namespace
}  // namespace vantor::server
