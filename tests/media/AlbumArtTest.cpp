#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

#include "core/Event.h"
#include "media/AlbumArt.h"
#include "media/HttpClient.h"
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

// A song change while the last picture's server is still being looked
// up: the new request starts at once, the old download never reports, and
// its late bytes never reach the picture file.
TEST(AlbumArtTest, ASongChangeNeverWaitsForTheNetwork) {
    const std::string file = (std::filesystem::path(::testing::TempDir()) /
                              ("albumart-stuck-" + std::to_string(::getpid()) + ".jpg"))
                                 .string();
    Event resolved;  // the stuck look-up ends
    Event secondAsked;
    std::atomic<int> transfers{0};
    std::atomic<std::size_t> limit{0};
    auto art = std::make_unique<AlbumArtDownloader>(
        file, 3569,
        [&](const std::string& url, const std::string& part, const HttpOptions& options) {
            limit = options.maxBodyBytes;
            if (transfers++ == 0) {
                resolved.WaitFor(20000ms);
                std::ofstream(part) << "old";
                return 0;
            }
            std::ofstream(part) << url;
            return 0;
        });
    // Without the fix the second Fetch waits for the first; the guard
    // lets the look-up end so a failure does not hang the suite.
    std::thread guard([&] {
        if (!secondAsked.WaitFor(10000ms)) {
            ADD_FAILURE() << "the window's thread waited for the network";
        }
        resolved.Set();
    });

    std::vector<std::string> reported;
    std::mutex mutex;
    Event newDone;
    const auto record = [&](bool ok, const std::string& path) {
        std::lock_guard lock(mutex);
        reported.push_back((ok ? "ok " : "none ") + path);
        newDone.Set();
    };
    art->Fetch("slow.example", "/art/1.jpg", record);
    art->Fetch("127.0.0.1", "/art/2.jpg", record);
    secondAsked.Set();
    ASSERT_TRUE(newDone.WaitFor(5000ms));
    guard.join();  // the old download ends now, after the new one reported
    art.reset();
    {
        std::lock_guard lock(mutex);
        EXPECT_EQ(reported, std::vector<std::string>{"ok " + file});
    }
    std::ifstream in(file);
    std::string content;
    in >> content;
    EXPECT_EQ(content, "http://127.0.0.1:3569/art/2.jpg");
    EXPECT_EQ(limit, AlbumArtDownloader::kMaxArtBytes) << "a cover has a size limit";
    std::filesystem::remove(file);
}

// A song without art (or with an art path that is no URL) after one whose
// picture is still on its way: that download is no longer wanted either, so
// it neither reports nor puts the last song's picture in the art file.
TEST(AlbumArtTest, ASongWithoutArtGivesUpTheDownloadUnderWay) {
    const std::string file = (std::filesystem::path(::testing::TempDir()) /
                              ("albumart-noart-" + std::to_string(::getpid()) + ".jpg"))
                                 .string();
    for (const char* next : {"", "/noart"}) {
        std::filesystem::remove(file);
        Event release;
        Event transferred;
        std::vector<std::string> reported;
        std::mutex mutex;
        {
            AlbumArtDownloader art(
                file, 3569, [&](const std::string&, const std::string& part, const HttpOptions&) {
                    release.WaitFor(5000ms);
                    std::ofstream(part) << "old";
                    transferred.Set();
                    return 0;
                });
            const auto record = [&](bool ok, const std::string&) {
                std::lock_guard lock(mutex);
                reported.push_back(ok ? "picture" : "none");
            };
            art.Fetch("localhost", "/art/1.jpg", record);
            art.Fetch("localhost", next, record);
            release.Set();
            ASSERT_TRUE(transferred.WaitFor(5000ms));
            std::this_thread::sleep_for(100ms);  // lets a late report through, if any
        }
        std::lock_guard lock(mutex);
        EXPECT_EQ(std::count(reported.begin(), reported.end(), "picture"), 0)
            << "after \"" << next << "\"";
        EXPECT_FALSE(std::filesystem::exists(file))
            << "after \"" << next << "\": the last song's picture is in the art file";
    }
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace vantor
