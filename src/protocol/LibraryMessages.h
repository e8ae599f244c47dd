#pragma once

// The messages that browse and search the server's media library. Paged
// requests and responses write their paging fields first, then their own.

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/MediaType.h"
#include "protocol/Message.h"

namespace vantor {

// One entry of a MediaSearchResponse or BrowseLibraryResponse. A container is
// a folder that can be browsed further with its `path`.
struct MediaResult {
    std::int32_t id = -1;
    MediaType type = MediaType::Music;
    bool container = false;
    std::string name;
    std::string path;  // BrowseLibraryResponse only

    bool operator==(const MediaResult&) const = default;
};

// Paging fields of a library request. Numbers are written only when not -1,
// flags only when true.
class PagedLibraryRequest : public Message {
public:
    bool operator==(const PagedLibraryRequest&) const = default;

    std::int32_t start = -1;
    std::int32_t count = -1;
    bool includeTotalCount = false;
    bool groupByAlpha = false;

protected:
    explicit PagedLibraryRequest(MessageType type) : Message(type) {}
    void WritePaging(XmlWriter& out) const;
    void ReadPaging(const XmlView& in);
};

// Paging fields of a library response, written only when not -1.
class PagedLibraryResponse : public Message {
public:
    bool operator==(const PagedLibraryResponse&) const = default;

    std::int32_t start = -1;
    std::int32_t count = -1;
    std::int32_t totalCount = -1;
    std::int32_t scrollToIndex = -1;

protected:
    explicit PagedLibraryResponse(MessageType type) : Message(type) {}
    void WritePaging(XmlWriter& out) const;
    void ReadPaging(const XmlView& in);
};

// One class for three requests: BrowseGenresRequest, BrowsePlaylistsRequest
// and BrowseTVSeriesRequest; the type given decides the root element.
class BrowseGenresRequest final : public PagedLibraryRequest {
public:
    explicit BrowseGenresRequest(MessageType type = MessageType::BrowseGenresRequest)
        : PagedLibraryRequest(type) {}
    bool operator==(const BrowseGenresRequest&) const = default;

    std::string name;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseGenresResponse final : public PagedLibraryResponse {
public:
    static constexpr MessageType kType = MessageType::BrowseGenresResponse;
    BrowseGenresResponse() : PagedLibraryResponse(kType) {}
    bool operator==(const BrowseGenresResponse&) const = default;

    std::vector<std::string> genres;  // one `genre` element each

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseArtistsRequest final : public PagedLibraryRequest {
public:
    static constexpr MessageType kType = MessageType::BrowseArtistsRequest;
    BrowseArtistsRequest() : PagedLibraryRequest(kType) {}
    bool operator==(const BrowseArtistsRequest&) const = default;

    std::string genre;
    std::string genreName;
    std::string name;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseArtistsResponse final : public PagedLibraryResponse {
public:
    static constexpr MessageType kType = MessageType::BrowseArtistsResponse;
    BrowseArtistsResponse() : PagedLibraryResponse(kType) {}
    bool operator==(const BrowseArtistsResponse&) const = default;

    std::vector<std::string> artists;  // one `artist` element each

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseAlbumsRequest final : public PagedLibraryRequest {
public:
    static constexpr MessageType kType = MessageType::BrowseAlbumsRequest;
    BrowseAlbumsRequest() : PagedLibraryRequest(kType) {}
    bool operator==(const BrowseAlbumsRequest&) const = default;

    std::string genre;
    std::string artist;
    std::string name;
    bool includeTracks = false;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseTracksRequest final : public PagedLibraryRequest {
public:
    static constexpr MessageType kType = MessageType::BrowseTracksRequest;
    BrowseTracksRequest() : PagedLibraryRequest(kType) {}
    bool operator==(const BrowseTracksRequest&) const = default;

    std::string genre;
    std::string artist;
    std::string album;
    std::string title;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

// One class for BrowseFoldersRequest and BrowsePicturesRequest.
class BrowseFoldersRequest final : public PagedLibraryRequest {
public:
    explicit BrowseFoldersRequest(MessageType type = MessageType::BrowseFoldersRequest)
        : PagedLibraryRequest(type) {}
    bool operator==(const BrowseFoldersRequest&) const = default;

    std::string parentPath;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseTVSeriesResponse final : public PagedLibraryResponse {
public:
    static constexpr MessageType kType = MessageType::BrowseTVSeriesResponse;
    BrowseTVSeriesResponse() : PagedLibraryResponse(kType) {}
    bool operator==(const BrowseTVSeriesResponse&) const = default;

    std::vector<std::string> series;  // one `series` element each

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseTVRequest final : public PagedLibraryRequest {
public:
    static constexpr MessageType kType = MessageType::BrowseTVRequest;
    BrowseTVRequest() : PagedLibraryRequest(kType) {}
    bool operator==(const BrowseTVRequest&) const = default;

    std::string genre;
    std::string series;
    std::string title;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseVideoRequest final : public PagedLibraryRequest {
public:
    static constexpr MessageType kType = MessageType::BrowseVideoRequest;
    BrowseVideoRequest() : PagedLibraryRequest(kType) {}
    bool operator==(const BrowseVideoRequest&) const = default;

    std::string genre;
    std::string title;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class MediaSearchRequest final : public PagedLibraryRequest {
public:
    static constexpr MessageType kType = MessageType::MediaSearchRequest;
    MediaSearchRequest() : PagedLibraryRequest(kType) {}
    bool operator==(const MediaSearchRequest&) const = default;

    MediaType type = MediaType::Music;
    std::string any;
    std::string genre;
    std::string artist;
    std::string album;
    std::string title;
    std::string path;
    bool isExplicit = false;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class MediaSearchResponse final : public PagedLibraryResponse {
public:
    static constexpr MessageType kType = MessageType::MediaSearchResponse;
    MediaSearchResponse() : PagedLibraryResponse(kType) {}
    bool operator==(const MediaSearchResponse&) const = default;

    std::vector<MediaResult> results;  // `path` is not carried

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseLibraryRequest final : public PagedLibraryRequest {
public:
    static constexpr MessageType kType = MessageType::BrowseLibraryRequest;
    BrowseLibraryRequest() : PagedLibraryRequest(kType) {}
    bool operator==(const BrowseLibraryRequest&) const = default;

    std::string path;
    bool returnAllMediaItems = false;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class BrowseLibraryResponse final : public PagedLibraryResponse {
public:
    static constexpr MessageType kType = MessageType::BrowseLibraryResponse;
    BrowseLibraryResponse() : PagedLibraryResponse(kType) {}
    bool operator==(const BrowseLibraryResponse&) const = default;

    std::string path;  // the folder listed; written ahead of the results
    std::vector<MediaResult> results;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetMediaItemRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetMediaItemRequest;
    GetMediaItemRequest() : Message(kType) {}
    bool operator==(const GetMediaItemRequest&) const = default;

    std::int32_t id = -1;
    std::string path;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetMediaItemResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetMediaItemResponse;
    GetMediaItemResponse() : Message(kType) {}
    bool operator==(const GetMediaItemResponse&) const = default;

    std::int32_t id = -1;
    MediaType type = MediaType::Music;
    std::string artist;
    std::string album;
    std::string title;
    std::string libraryId;
    std::string path;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

// The client only forwards these; their fields are not read.
using UpdateMediaLibraryRequest = PlainMessage<MessageType::UpdateMediaLibraryRequest>;
using UpdateMediaLibraryResponse = PlainMessage<MessageType::UpdateMediaLibraryResponse>;
using MediaLibraryChangedEvent = PlainMessage<MessageType::MediaLibraryChangedEvent>;

}  // namespace vantor
