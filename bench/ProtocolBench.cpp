// Decoding of list responses against pugixml parsing and extracting the same
// documents. Both sides produce the same records, so the comparison is fair:
// our reader must stay linear in the number of entries and within a small
// factor of a tree parser.

#include <benchmark/benchmark.h>

#include <cstring>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "protocol/Messages.h"
#include "support/BenchReport.h"

namespace vantor {
namespace {

const char* const kArtists[] = {"Mira Solen", "Tomas Vantberg", "Ines Okafor", "Kofi Lindqvist",
                                "Edda Marau", "Luca Castell",   "Sade Hollis", "Yara Fenwick"};

// A library folder as the server writes it.
std::string LibraryDocument(int entries) {
    BrowseLibraryResponse response;
    response.requestId = 12;
    response.start = 0;
    response.count = entries;
    response.totalCount = entries;
    response.path = "/Music/Artists";
    for (int i = 0; i < entries; ++i) {
        MediaResult& result = response.results.emplace_back();
        result.id = 100000 + i;
        result.type = i % 10 == 0 ? MediaType::Artist : MediaType::Music;
        result.container = i % 10 == 0;
        result.name = std::string(kArtists[i % 8]) + " & Friends - Track " + std::to_string(i);
        result.path = "/Music/Artists/" + std::string(kArtists[i % 8]) + "/" + std::to_string(i);
    }
    return response.ToXml();
}

// A page of the play queue as the server sends it (titles in `name`).
std::string PlaylistDocument(int entries) {
    std::string xml =
        "<GetPlaylistItemsResponse>\n<requestId>7</requestId>\n<returnCode>0</returnCode>"
        "\n<start>0</start>\n<totalCount>" +
        std::to_string(entries) + "</totalCount>";
    for (int i = 0; i < entries; ++i) {
        xml += "\n<item>\n<mediaId>" + std::to_string(5000 + i) + "</mediaId>\n<name>Song " +
               std::to_string(i) + " &amp; Reprise</name>\n<artist>" + kArtists[i % 8] +
               "</artist>\n<type>music</type>\n</item>";
    }
    return xml + "\n</GetPlaylistItemsResponse>";
}

// "per_entry" is the time per list entry, in seconds (printed with n for ns).
void SetCounters(benchmark::State& state, int entries, std::size_t bytes) {
    state.counters["entries"] = entries;
    state.counters["per_entry"] = benchmark::Counter(
        entries, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void BM_Decode_BrowseLibraryResponse(benchmark::State& state) {
    const int entries = static_cast<int>(state.range(0));
    const std::string xml = LibraryDocument(entries);
    for (auto _ : state) {
        BrowseLibraryResponse response;
        response.FromXml(xml);
        benchmark::DoNotOptimize(response.results.data());
        if (response.results.size() != static_cast<std::size_t>(entries)) {
            state.SkipWithError("wrong entry count");
        }
    }
    SetCounters(state, entries, xml.size());
}

bool IsTrue(const char* text) {
    return strcasecmp(text, "true") == 0;
}

void BM_Pugixml_BrowseLibraryResponse(benchmark::State& state) {
    const int entries = static_cast<int>(state.range(0));
    const std::string xml = LibraryDocument(entries);
    for (auto _ : state) {
        pugi::xml_document document;
        document.load_buffer(xml.data(), xml.size());
        const pugi::xml_node root = document.first_child();
        BrowseLibraryResponse response;
        response.requestId = root.child("requestId").text().as_int(-1);
        response.returnCode = root.child("returnCode").text().as_int(-1);
        response.start = root.child("start").text().as_int(-1);
        response.count = root.child("count").text().as_int(-1);
        response.totalCount = root.child("totalCount").text().as_int(-1);
        response.scrollToIndex = root.child("scrollToIndex").text().as_int(-1);
        response.path = root.child_value("path");
        for (const pugi::xml_node entry : root.children("result")) {
            MediaResult& result = response.results.emplace_back();
            result.id = entry.child("id").text().as_int(-1);
            result.type = MediaTypeFromName(entry.child_value("type"));
            result.container = IsTrue(entry.child_value("container"));
            result.name = entry.child_value("name");
            result.path = entry.child_value("path");
        }
        benchmark::DoNotOptimize(response.results.data());
    }
    SetCounters(state, entries, xml.size());
}

void BM_Decode_GetPlaylistItemsResponse(benchmark::State& state) {
    const int entries = static_cast<int>(state.range(0));
    const std::string xml = PlaylistDocument(entries);
    for (auto _ : state) {
        GetPlaylistItemsResponse response;
        response.FromXml(xml);
        benchmark::DoNotOptimize(response.items.data());
        if (response.items.size() != static_cast<std::size_t>(entries)) {
            state.SkipWithError("wrong entry count");
        }
    }
    SetCounters(state, entries, xml.size());
}

void BM_Pugixml_GetPlaylistItemsResponse(benchmark::State& state) {
    const int entries = static_cast<int>(state.range(0));
    const std::string xml = PlaylistDocument(entries);
    for (auto _ : state) {
        pugi::xml_document document;
        document.load_buffer(xml.data(), xml.size());
        const pugi::xml_node root = document.first_child();
        GetPlaylistItemsResponse response;
        response.requestId = root.child("requestId").text().as_int(-1);
        response.returnCode = root.child("returnCode").text().as_int(-1);
        response.totalCount = root.child("totalCount").text().as_int(-1);
        for (const pugi::xml_node entry : root.children("item")) {
            PlaylistItem& item = response.items.emplace_back();
            item.mediaId = entry.child("mediaId").text().as_int(-1);
            item.container = IsTrue(entry.child_value("container"));
            item.title = entry.child_value("name");
            item.artist = entry.child_value("artist");
            item.type = MediaTypeFromName(entry.child_value("type"));
        }
        benchmark::DoNotOptimize(response.items.data());
    }
    SetCounters(state, entries, xml.size());
}

BENCHMARK(BM_Decode_BrowseLibraryResponse)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_Pugixml_BrowseLibraryResponse)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_Decode_GetPlaylistItemsResponse)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_Pugixml_GetPlaylistItemsResponse)->Arg(100)->Arg(1000)->Arg(10000);

const bool kComparisons = [] {
    bench::CompareTo("BM_Decode_BrowseLibraryResponse", "BM_Pugixml_BrowseLibraryResponse");
    bench::CompareTo("BM_Decode_GetPlaylistItemsResponse", "BM_Pugixml_GetPlaylistItemsResponse");
    return true;
}();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
