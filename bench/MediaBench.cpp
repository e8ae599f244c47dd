// The media service's pages: decoding against the generated reader alone,
// fetch and decode from vantor-server against plain libcurl, and browsing a
// 100 000-song library to its last page. Run pinned to one core
// (scripts/bench does).

#include <benchmark/benchmark.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include "BenchServer.h"
#include "media/CurlEasy.h"
#include "media/MediaService.h"
#include "support/BenchReport.h"

namespace vantor {
namespace {

using apache::thrift::protocol::TBinaryProtocol;
using apache::thrift::protocol::TBinaryProtocolT;
using apache::thrift::transport::TMemoryBuffer;

std::string ThousandItems() {
    static const std::string bytes = [] {
        const auto library = server::MediaLibrary::Generate(1000);
        const auto songs = library.Browse("/Music/Songs");
        wire::MediaList list;
        list.__set_path("/Music/Songs");
        list.__set_start(0);
        list.__set_totalCount(static_cast<std::int32_t>(songs->size()));
        std::vector<wire::MediaItem> items;
        for (const auto& song : *songs) {
            wire::MediaItem item;
            item.__set_mediaId(song.id);
            item.__set_type(wire::MediaItemType::MUSIC);
            item.__set_container(false);
            item.__set_title(song.title);
            item.__set_artist(song.artist);
            item.__set_album(song.album);
            item.__set_genre(song.genre);
            item.__set_length(song.length);
            item.__set_rating(song.rating);
            item.__set_path(song.path);
            items.push_back(item);
        }
        list.__set_items(std::move(items));
        return EncodeMediaList(list);
    }();
    return bytes;
}

void SetItems(benchmark::State& state, std::size_t bytes) {
    state.SetItemsProcessed(state.iterations() * 1000);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void BM_DecodeMediaList(benchmark::State& state) {
    const std::string bytes = ThousandItems();
    for (auto _ : state) {
        wire::MediaList list;
        if (!DecodeMediaList(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(),
                             &list) ||
            list.items.size() != 1000) {
            state.SkipWithError("decode failed");
        }
        benchmark::DoNotOptimize(list.items.data());
    }
    SetItems(state, bytes.size());
}

// The generated reader over TBinaryProtocol, nothing else.
void BM_GeneratedReader(benchmark::State& state) {
    const std::string bytes = ThousandItems();
    for (auto _ : state) {
        auto buffer = std::make_shared<TMemoryBuffer>(
            reinterpret_cast<std::uint8_t*>(const_cast<char*>(bytes.data())),
            static_cast<std::uint32_t>(bytes.size()));
        TBinaryProtocol protocol(buffer);
        wire::MediaList list;
        list.read(&protocol);
        benchmark::DoNotOptimize(list.items.data());
    }
    SetItems(state, bytes.size());
}

// The same reader specialised for the memory buffer (no virtual calls).
void BM_GeneratedReaderTemplated(benchmark::State& state) {
    const std::string bytes = ThousandItems();
    for (auto _ : state) {
        auto buffer = std::make_shared<TMemoryBuffer>(
            reinterpret_cast<std::uint8_t*>(const_cast<char*>(bytes.data())),
            static_cast<std::uint32_t>(bytes.size()));
        TBinaryProtocolT<TMemoryBuffer> protocol(buffer);
        wire::MediaList list;
        list.read(&protocol);
        benchmark::DoNotOptimize(list.items.data());
    }
    SetItems(state, bytes.size());
}

testing::SimulatedServer& Server(bool gzip) {
    const auto start = [](bool packed) {
        testing::SimulatedOptions options = bench::QuietServerOptions(5000, true);
        options.gzip = packed;
        auto server = std::make_unique<testing::SimulatedServer>(options);
        server->Start();
        return server;
    };
    static auto plain = start(false);
    static auto packed = start(true);
    return gzip ? *packed : *plain;
}

void FetchAndDecode(benchmark::State& state, bool gzip) {
    MediaService media(Server(gzip).MediaPort());
    media.SetHost("127.0.0.1");
    for (auto _ : state) {
        const auto page = media.FetchFolderPage("/Music/Songs", 0, 1000, true);
        if (!page || page->items.size() != 1000) {
            state.SkipWithError("fetch failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

std::size_t Collect(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

// A fresh libcurl handle per request, letting libcurl inflate, and the
// generated reader on what arrives.
void PlainCurl(benchmark::State& state, bool gzip) {
    const std::string url = "http://127.0.0.1:" + std::to_string(Server(gzip).MediaPort()) +
                            "/media/Music/Songs.thrift?count=1000&includeTotalCount=true";
    for (auto _ : state) {
        CurlEasy curl;
        std::string body;
        curl.Set(CURLOPT_URL, url.c_str());
        curl.Set(CURLOPT_NOPROXY, "*");
        curl.Set(CURLOPT_WRITEFUNCTION, Collect);
        curl.Set(CURLOPT_WRITEDATA, &body);
        if (gzip) {
            curl.Set(CURLOPT_ACCEPT_ENCODING, "gzip");
        }
        if (curl.Perform() != CURLE_OK) {
            state.SkipWithError("fetch failed");
            break;
        }
        auto buffer = std::make_shared<TMemoryBuffer>(reinterpret_cast<std::uint8_t*>(body.data()),
                                                      static_cast<std::uint32_t>(body.size()));
        TBinaryProtocol protocol(buffer);
        wire::MediaList list;
        list.read(&protocol);
        if (list.items.size() != 1000) {
            state.SkipWithError("decode failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

void BM_FetchPage_Plain(benchmark::State& state) {
    FetchAndDecode(state, false);
}
void BM_FetchPage_Gzip(benchmark::State& state) {
    FetchAndDecode(state, true);
}
void BM_PlainCurl_Plain(benchmark::State& state) {
    PlainCurl(state, false);
}
void BM_PlainCurl_Gzip(benchmark::State& state) {
    PlainCurl(state, true);
}

// Opening "Songs" of a 100 000-song library and scrolling to its end: the
// first page with the total, then the page of the last row.
void BM_BrowseToLastPage(benchmark::State& state) {
    testing::SimulatedServer server(bench::QuietServerOptions(100000, true));
    if (!server.Start()) {
        state.SkipWithError("no server");
        return;
    }
    MediaService media(server.MediaPort());
    media.SetHost("127.0.0.1");
    for (auto _ : state) {
        const auto first = media.FetchFolderPage("/Music/Songs", 0, 1000, true);
        if (!first || first->totalCount != 100000) {
            state.SkipWithError("no first page");
            break;
        }
        const int last = (first->totalCount - 1) / 1000 * 1000;
        const auto page = media.FetchFolderPage("/Music/Songs", last, 1000, false);
        if (!page || page->items.empty()) {
            state.SkipWithError("no last page");
            break;
        }
    }
}

BENCHMARK(BM_DecodeMediaList)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GeneratedReader)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GeneratedReaderTemplated)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FetchPage_Plain)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_PlainCurl_Plain)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_FetchPage_Gzip)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_PlainCurl_Gzip)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_BrowseToLastPage)->Unit(benchmark::kMillisecond)->UseRealTime();

const bool kComparisons = [] {
    bench::CompareTo("BM_DecodeMediaList", "BM_GeneratedReader");
    bench::CompareTo("BM_DecodeMediaList", "BM_GeneratedReaderTemplated");
    bench::CompareTo("BM_FetchPage_Plain", "BM_PlainCurl_Plain");
    bench::CompareTo("BM_FetchPage_Gzip", "BM_PlainCurl_Gzip");
    return true;
}();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
