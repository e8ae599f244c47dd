#include "protocol/LibraryMessages.h"

namespace vantor {

namespace {

void WriteResults(XmlWriter& out, const std::vector<MediaResult>& results, bool withPath) {
    for (const MediaResult& result : results) {
        out.OpenLine("result");
        out.Int("id", result.id);
        out.Media("type", result.type);
        out.Bool("container", result.container);
        out.Text("name", result.name);
        if (withPath) {
            out.Text("path", result.path);
        }
        out.Close("result");
    }
}

std::vector<MediaResult> ReadResults(const XmlView& in, bool withPath) {
    std::vector<MediaResult> results;
    in.ForEach("result", [&](const XmlView& entry) {
        MediaResult& result = results.emplace_back();
        result.id = entry.Int("id");
        result.type = entry.Media("type");
        result.container = entry.Bool("container");
        result.name = entry.Text("name");
        if (withPath) {
            result.path = entry.Text("path");
        }
    });
    return results;
}

void WriteTexts(XmlWriter& out, std::string_view name, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
        out.Text(name, value);
    }
}

}  // namespace

void PagedLibraryRequest::WritePaging(XmlWriter& out) const {
    if (start != -1) {
        out.Int("start", start);
    }
    if (count != -1) {
        out.Int("count", count);
    }
    if (includeTotalCount) {
        out.Bool("includeTotalCount", includeTotalCount);
    }
    if (groupByAlpha) {
        out.Bool("groupByAlpha", groupByAlpha);
    }
}

void PagedLibraryRequest::ReadPaging(const XmlView& in) {
    start = in.Int("start");
    count = in.Int("count");
    includeTotalCount = in.Bool("includeTotalCount");
    groupByAlpha = in.Bool("groupByAlpha");
}

void PagedLibraryResponse::WritePaging(XmlWriter& out) const {
    if (start != -1) {
        out.Int("start", start);
    }
    if (count != -1) {
        out.Int("count", count);
    }
    if (totalCount != -1) {
        out.Int("totalCount", totalCount);
    }
    if (scrollToIndex != -1) {
        out.Int("scrollToIndex", scrollToIndex);
    }
}

void PagedLibraryResponse::ReadPaging(const XmlView& in) {
    start = in.Int("start");
    count = in.Int("count");
    totalCount = in.Int("totalCount");
    scrollToIndex = in.Int("scrollToIndex");
}

void BrowseGenresRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("name", name);
}

void BrowseGenresRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    name = in.Text("name");
}

void BrowseGenresResponse::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    WriteTexts(out, "genre", genres);
}

void BrowseGenresResponse::ReadFields(const XmlView& in) {
    ReadPaging(in);
    genres = in.TextList("genre");
}

void BrowseArtistsRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("genre", genre);
    out.Text("genreName", genreName);
    out.Text("name", name);
}

void BrowseArtistsRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    genre = in.Text("genre");
    genreName = in.Text("genreName");
    name = in.Text("name");
}

void BrowseArtistsResponse::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    WriteTexts(out, "artist", artists);
}

void BrowseArtistsResponse::ReadFields(const XmlView& in) {
    ReadPaging(in);
    artists = in.TextList("artist");
}

void BrowseAlbumsRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("genre", genre);
    out.Text("artist", artist);
    out.Text("name", name);
    out.Bool("includeTracks", includeTracks);
}

void BrowseAlbumsRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    genre = in.Text("genre");
    artist = in.Text("artist");
    name = in.Text("name");
    includeTracks = in.Bool("includeTracks");
}

void BrowseTracksRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("genre", genre);
    out.Text("artist", artist);
    out.Text("album", album);
    out.Text("title", title);
}

void BrowseTracksRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    genre = in.Text("genre");
    artist = in.Text("artist");
    album = in.Text("album");
    title = in.Text("title");
}

void BrowseFoldersRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("parentPath", parentPath);
}

void BrowseFoldersRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    parentPath = in.Text("parentPath");
}

void BrowseTVSeriesResponse::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    WriteTexts(out, "series", series);
}

void BrowseTVSeriesResponse::ReadFields(const XmlView& in) {
    ReadPaging(in);
    series = in.TextList("series");
}

void BrowseTVRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("genre", genre);
    out.Text("series", series);
    out.Text("title", title);
}

void BrowseTVRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    genre = in.Text("genre");
    series = in.Text("series");
    title = in.Text("title");
}

void BrowseVideoRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("genre", genre);
    out.Text("title", title);
}

void BrowseVideoRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    genre = in.Text("genre");
    title = in.Text("title");
}

void MediaSearchRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Media("type", type);
    out.Text("any", any);
    out.Text("genre", genre);
    out.Text("artist", artist);
    out.Text("album", album);
    out.Text("title", title);
    out.Text("path", path);
    out.Bool("isExplicit", isExplicit);
}

void MediaSearchRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    type = in.Media("type");
    any = in.Text("any");
    genre = in.Text("genre");
    artist = in.Text("artist");
    album = in.Text("album");
    title = in.Text("title");
    path = in.Text("path");
    isExplicit = in.Bool("isExplicit");
}

void MediaSearchResponse::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    WriteResults(out, results, false);
}

void MediaSearchResponse::ReadFields(const XmlView& in) {
    ReadPaging(in);
    results = ReadResults(in, false);
}

void BrowseLibraryRequest::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("path", path);
    out.Bool("returnAllMediaItems", returnAllMediaItems);
}

void BrowseLibraryRequest::ReadFields(const XmlView& in) {
    ReadPaging(in);
    path = in.Text("path");
    returnAllMediaItems = in.Bool("returnAllMediaItems");
}

void BrowseLibraryResponse::WriteFields(XmlWriter& out) const {
    WritePaging(out);
    out.Text("path", path);
    WriteResults(out, results, true);
}

void BrowseLibraryResponse::ReadFields(const XmlView& in) {
    ReadPaging(in);
    path = in.Text("path");
    results = ReadResults(in, true);
}

void GetMediaItemRequest::WriteFields(XmlWriter& out) const {
    out.Int("id", id);
    out.Text("path", path);
}

void GetMediaItemRequest::ReadFields(const XmlView& in) {
    id = in.Int("id");
    path = in.Text("path");
}

void GetMediaItemResponse::WriteFields(XmlWriter& out) const {
    out.Int("id", id);
    out.Media("type", type);
    out.Text("artist", artist);
    out.Text("album", album);
    out.Text("title", title);
    out.Text("libraryId", libraryId);
    out.Text("path", path);
}

void GetMediaItemResponse::ReadFields(const XmlView& in) {
    id = in.Int("id");
    type = in.Media("type");
    artist = in.Text("artist");
    album = in.Text("album");
    title = in.Text("title");
    libraryId = in.Text("libraryId");
    path = in.Text("path");
}

}  // namespace vantor
