#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "MediaHttpServer.h"
#include "media/HttpClient.h"
#include "media/ZlibStream.h"
#include "support/ScriptedHttp.h"
#include "support/TestServer.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::ScriptedHttp;
using testing::ScriptedReply;
using testing::TestServer;

std::string Bytes(const ResponseBuffer& buffer) {
    return std::string(reinterpret_cast<const char*>(buffer.Data()), buffer.Size());
}

std::string Temporary(const std::string& name) {
    return (std::filesystem::path(::testing::TempDir()) / (name + "-" + std::to_string(::getpid())))
        .string();
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

// Promises 1000 bytes, sends 500 and closes.
ScriptedReply HalfOfWhatItPromises(const std::string&) {
    return {"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + std::string(500, 'c'), 0ms, true};
}

TEST(ResponseBufferTest, GrowsInStepsAndKeepsAZeroAfterItsData) {
    ResponseBuffer buffer;
    EXPECT_EQ(buffer.Append("", 0), 0);
    EXPECT_EQ(buffer.Capacity(), 0u);
    EXPECT_EQ(buffer.Append("abc", 3), 3);
    EXPECT_EQ(buffer.Capacity(), 10240u);
    EXPECT_EQ(buffer.Data()[3], 0) << "readable as text";
    const std::string block(10237, 'x');
    buffer.Append(block.data(), block.size());  // exactly 10240 held
    EXPECT_EQ(buffer.Size(), 10240u);
    EXPECT_EQ(buffer.Capacity(), 20480u) << "room for the zero after the data";
    ASSERT_TRUE(buffer.Reserve(10240));
    EXPECT_EQ(buffer.Size(), 0u) << "reserving drops the contents";
    EXPECT_EQ(buffer.Capacity(), 20480u);
    ASSERT_TRUE(buffer.Reserve(5));
    EXPECT_EQ(buffer.Capacity(), 10240u);
    buffer.Clear();
    EXPECT_EQ(buffer.Data(), nullptr);

    const std::uint8_t outside[4] = {1, 2, 3, 4};
    ResponseBuffer external = ResponseBuffer::External(outside, 4);
    EXPECT_EQ(external.Append("x", 1), -1);
    EXPECT_FALSE(external.Reserve(100));
    external.Clear();
    EXPECT_EQ(external.Size(), 4u) << "an external buffer refuses every change";
}

TEST(HttpUrlTest, ParsesAsTheClientAlwaysHas) {
    struct Case {
        const char* url;
        const char* host;
        int port;
        const char* path;
        bool secure;
    };
    const Case cases[] = {
        {"http://den:3569/playlist.thrift?start=0", "den", 3569, "/playlist.thrift?start=0", false},
        {"https://den/x", "den", 443, "/x", true},
        {"https://den:8443/x", "den", 8443, "/x", true},
        {"den:8080/media/a.thrift", "den", 8080, "/media/a.thrift", false},
        {"http://den", "den", 80, "/", false},
        {"den:", "den", 80, "/", false},
        {"den:8080abc/x", "den", 8080, "/x", false},
        {"http://den/http://again", "den", 80, "/again", false},
        {"x https://den/", "x https", 80, "//den/", false},
    };
    for (const Case& c : cases) {
        const ParsedUrl url = ParseHttpUrl(c.url);
        EXPECT_EQ(url.host, c.host) << c.url;
        EXPECT_EQ(url.port, c.port) << c.url;
        EXPECT_EQ(url.path, c.path) << c.url;
        EXPECT_EQ(url.secure, c.secure) << c.url;
    }
    const ParsedUrl download = ParseDownloadUrl("https://den/x");
    EXPECT_FALSE(download.secure) << "downloads know no https";
    EXPECT_EQ(download.port, 80);
}

TEST(HttpGetTest, AsksForGzipAndNamesItself) {
    ScriptedHttp spy(
        [&](const std::string&) { return ScriptedReply{ScriptedHttp::Response(200, "x")}; });
    ResponseBuffer ignored;
    HttpGetToBuffer(spy.Url("/"), ignored);
    ASSERT_EQ(spy.Heads().size(), 1u);
    EXPECT_NE(spy.Heads()[0].find("Accept-Encoding: gzip\r\n"), std::string::npos);
    EXPECT_NE(spy.Heads()[0].find("User-Agent: Vantor\r\n"), std::string::npos);
}

TEST(HttpGetTest, EachChunkInflatesIntoAtMost30720Bytes) {
    // 200 KB of one byte compresses a thousandfold: read 1024 bytes at a
    // time, each chunk would need far more than 30720 bytes.
    const std::string body(200 * 1024, 'z');
    std::string dense;
    ASSERT_TRUE(GzipDeflater::Compress(body, Z_DEFAULT_STRATEGY, &dense));
    const std::string safe = server::MediaHttpServer::GzipForClient(body);
    for (const auto& [label, packed, whole] :
         {std::tuple{"dense", dense, false}, std::tuple{"as the server sends", safe, true}}) {
        ScriptedHttp server([&, packed = packed](const std::string&) {
            return ScriptedReply{ScriptedHttp::Response(200, packed, "Content-Encoding: gzip\r\n")};
        });
        ResponseBuffer received;
        ASSERT_EQ(HttpGetToBuffer(server.Url("/"), received), 0) << label;
        EXPECT_EQ(Bytes(received) == body, whole) << label;
        EXPECT_LE(received.Size(), body.size()) << label;
    }
}

TEST(HttpGetTest, OnlyA200WithAWholeBodySucceeds) {
    struct Case {
        const char* label;
        ScriptedReply reply;
        int result;
        const char* body;  // nullptr: not checked
    };
    std::string packed;
    ASSERT_TRUE(GzipDeflater::Compress("hello, vantor", Z_DEFAULT_STRATEGY, &packed));
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\nConnection: close\r\n\r\n";
    const Case cases[] = {
        {"any encoding naming gzip",
         {ScriptedHttp::Response(200, packed, "Content-Encoding: x-gzip\r\n")},
         0,
         "hello, vantor"},
        {"a 404", {ScriptedHttp::Response(404, "missing")}, -1, ""},
        {"a redirect", {ScriptedHttp::Response(302, "elsewhere")}, -1, ""},
        {"closed mid-body", {head + std::string(400, 'x'), 0ms, true}, -1, nullptr},
        {"stalled mid-body", {head + std::string(400, 'x'), 8000ms, false}, -1, nullptr},
        {"not HTTP at all", {"garbage\r\n\r\n", 0ms, false}, -1, nullptr},
        {"no answer", {"", 0ms, true}, -1, nullptr},
        {"corrupt gzip",
         {ScriptedHttp::Response(200, "not gzip at all", "Content-Encoding: gzip\r\n")},
         0,
         nullptr},
    };
    HttpOptions options;
    options.stallTimeout = 1000ms;
    for (const Case& c : cases) {
        ScriptedHttp server([&](const std::string&) { return c.reply; });
        ResponseBuffer body;
        body.Append("old", 3);
        EXPECT_EQ(HttpGetToBuffer(server.Url("/"), body, options), c.result) << c.label;
        if (c.body != nullptr) {
            EXPECT_EQ(Bytes(body), c.body) << c.label;
        }
    }
}

TEST(HttpGetTest, AHugeBodyIsRefused) {
    ScriptedHttp server([](const std::string&) {
        return ScriptedReply{ScriptedHttp::Response(200, std::string(300 * 1024, 'q'))};
    });
    HttpOptions options;
    options.maxBodyBytes = 100 * 1024;
    ResponseBuffer body;
    EXPECT_EQ(HttpGetToBuffer(server.Url("/"), body, options), -1);
    EXPECT_LE(body.Size(), 101u * 1024);
}

TEST(HttpDownloadTest, WritesTheBodyAndCountsAShortReadAsDone) {
    TestServer server;
    const std::string file = Temporary("art.jpg");
    const std::string base = "http://127.0.0.1:" + std::to_string(server->MediaPort());
    ASSERT_EQ(HttpDownloadToFile(base + "/art/3.png", file, kDownloadDirect), 0);
    EXPECT_EQ(ReadFile(file).substr(1, 3), "PNG");

    std::filesystem::remove(file);
    EXPECT_EQ(HttpDownloadToFile(base + "/art/999999.png", file, kDownloadDirect), -1);
    EXPECT_FALSE(std::filesystem::exists(file)) << "nothing is made for a failed status";

    ScriptedHttp cut(HalfOfWhatItPromises);
    EXPECT_EQ(HttpDownloadToFile(cut.Url("/x"), file, kDownloadDirect), 0);
    EXPECT_EQ(ReadFile(file), std::string(500, 'c')) << "the caller finds a shorter file";
    ASSERT_EQ(cut.Heads().size(), 1u);
    EXPECT_NE(cut.Heads()[0].find("User-Agent: Microsoft Internet Explorer\r\n"),
              std::string::npos);
    std::filesystem::remove(file);
}

// A "picture" larger than the caller allows, with or without its length
// told first, and a disk that takes nothing are failures, not pictures.
TEST(HttpDownloadTest, AHugeBodyOrAFailedWriteIsNoDownload) {
    const std::string huge(300 * 1024, 'q');
    ScriptedHttp told(
        [&](const std::string&) { return ScriptedReply{ScriptedHttp::Response(200, huge)}; });
    ScriptedHttp untold([&](const std::string&) {
        return ScriptedReply{"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + huge, 0ms, true};
    });
    HttpOptions options;
    options.maxBodyBytes = 100 * 1024;
    const std::string file = Temporary("huge.jpg");
    EXPECT_EQ(HttpDownloadToFile(told.Url("/x.jpg"), file, kDownloadDirect, options), -1);
    EXPECT_EQ(HttpDownloadToFile(untold.Url("/x.jpg"), file, kDownloadDirect, options), -1);
    EXPECT_LE(std::filesystem::file_size(file), 100u * 1024);
    std::filesystem::remove(file);

    if (std::filesystem::exists("/dev/full")) {
        EXPECT_EQ(HttpDownloadToFile(told.Url("/x.jpg"), "/dev/full", kDownloadDirect), -1);
    }
}

// The update's download takes the same size limit as every other fetch: a
// server that sends without end fills the disk otherwise.
TEST(HttpSaveTest, AHugeUpdateIsNoDownload) {
    const std::string huge(300 * 1024, 'q');
    ScriptedHttp untold([&](const std::string&) {
        return ScriptedReply{"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + huge, 0ms, true};
    });
    HttpOptions options;
    options.maxBodyBytes = 100 * 1024;
    const std::string file = Temporary("huge-update.bin");
    EXPECT_EQ(HttpSaveToFile(untold.Url("/x.deb"), file, nullptr, options), -1);
    EXPECT_LE(std::filesystem::file_size(file), 100u * 1024);
    std::filesystem::remove(file);
}

TEST(HttpSaveTest, TheUpdateDownloadFailsOnAShortReadAndReportsProgress) {
    const std::string file = Temporary("update.bin");
    std::vector<std::pair<std::uint64_t, std::int64_t>> progress;
    const DownloadProgress record = [&](std::uint64_t received, std::int64_t length) {
        progress.emplace_back(received, length);
    };
    ScriptedHttp whole([](const std::string&) {
        return ScriptedReply{ScriptedHttp::Response(200, std::string(30000, 'u'))};
    });
    ASSERT_EQ(HttpSaveToFile(whole.Url("/u.bin"), file, record), 0);
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.back(), (std::pair<std::uint64_t, std::int64_t>{30000, 30000}));
    EXPECT_EQ(ReadFile(file).size(), 30000u);

    ScriptedHttp missing(
        [](const std::string&) { return ScriptedReply{ScriptedHttp::Response(404, "")}; });
    EXPECT_EQ(HttpSaveToFile(missing.Url("/u.bin"), file, nullptr), -1);
    EXPECT_TRUE(std::filesystem::exists(file)) << "made before the status is read";
    EXPECT_EQ(ReadFile(file), "");

    ScriptedHttp cut(HalfOfWhatItPromises);
    EXPECT_EQ(HttpSaveToFile(cut.Url("/u.bin"), file, nullptr), -1);
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace vantor
