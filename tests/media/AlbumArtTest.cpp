#include <gtest/gtest.h>

#include <filesystem>

#include "core/Event.h"
#include "media/AlbumArt.h"
#include "support/TestServer.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;

// A cover that arrives is the now-playing screen's story.
TEST(AlbumArtTest, SaysWhenThereIsNoCover) {
    testing::TestServer server;
    const std::string file = (std::filesystem::path(::testing::TempDir()) /
                              ("albumart-" + std::to_string(::getpid()) + ".jpg"))
                                 .string();
    AlbumArtDownloader art(file, server->MediaPort());

    Event done;
    bool ok = false;
    art.Fetch("127.0.0.1", "", [&](bool result, const std::string&) {
        ok = result;
        done.Set();
    });
    EXPECT_TRUE(done.IsSet()) << "no path: told at once";
    EXPECT_FALSE(ok);

    done.Reset();
    art.Fetch("127.0.0.1", "/art/99999.png", [&](bool result, const std::string&) {
        ok = result;
        done.Set();
    });
    ASSERT_TRUE(done.WaitFor(5000ms));
    EXPECT_FALSE(ok);

    done.Reset();
    bool called = false;
    AlbumArtDownloader noDot(file, 80);
    noDot.Fetch("localhost", "/art", [&](bool, const std::string&) { called = true; });
    EXPECT_FALSE(called) << "a URL without a dot is not fetched";
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace vantor
