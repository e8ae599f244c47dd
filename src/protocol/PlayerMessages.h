#pragma once

// The messages that control the desktop player or report its state:
// transport, play queue, volume, positions, shuffle and repeat, ratings,
// equaliser, speakers, video mode, capabilities, versions, errors, and the
// events the server pushes. Fields are declared in writing order; a reader
// that reads other names says so.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "protocol/MediaType.h"
#include "protocol/Message.h"

namespace vantor {

// Playing state as the client keeps it. On the wire it is a word; every value
// without a word of its own, Stopped included, is written "stopped".
namespace PlayingState {
inline constexpr std::int32_t Playing = 1;
inline constexpr std::int32_t Paused = 2;
inline constexpr std::int32_t Stopped = 3;
inline constexpr std::int32_t FastForwarding = 4;
inline constexpr std::int32_t Rewinding = 5;
}  // namespace PlayingState

// Repeat state as the client keeps it. The wire carries only a boolean: any
// non-zero value is written true and true reads back as All, so One comes
// back as All.
namespace RepeatState {
inline constexpr std::int32_t Off = 0;
inline constexpr std::int32_t One = 1;
inline constexpr std::int32_t All = 2;
}  // namespace RepeatState

std::string_view PlayingStateName(std::int32_t state);
// The state named by the word (any letter case), or `current` when the word
// names none.
std::int32_t PlayingStateFromName(std::string_view name, std::int32_t current);

struct EqSettings {
    static constexpr int kBands = 10;

    bool enabled = false;
    bool autoLoad = false;
    std::int32_t preamp = -1;
    std::array<std::int32_t, kBands> bands{-1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

    bool operator==(const EqSettings&) const = default;
};

struct Speaker {
    std::string id;
    std::string name;
    bool enabled = false;

    bool operator==(const Speaker&) const = default;
};

// One entry of a GetPlaylistItemsResponse.
struct PlaylistItem {
    std::int32_t mediaId = -1;
    bool container = false;
    std::string title;  // written as `title`, read from `name`
    std::string artist;
    MediaType type = MediaType::Music;  // read only

    bool operator==(const PlaylistItem&) const = default;
};

// --- Shapes shared by several message types --------------------------------

template <MessageType T>
class PositionMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    PositionMessage() : Message(T) {}
    bool operator==(const PositionMessage&) const = default;

    std::int32_t position = -1;

protected:
    void WriteFields(XmlWriter& out) const override { out.Int("position", position); }
    void ReadFields(const XmlView& in) override { position = in.Int("position"); }
};

template <MessageType T>
class VolumeMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    VolumeMessage() : Message(T) {}
    bool operator==(const VolumeMessage&) const = default;

    std::int32_t volume = -1;

protected:
    void WriteFields(XmlWriter& out) const override { out.Int("volume", volume); }
    void ReadFields(const XmlView& in) override { volume = in.Int("volume"); }
};

template <MessageType T>
class PlayingStateMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    PlayingStateMessage() : Message(T) {}
    bool operator==(const PlayingStateMessage&) const = default;

    std::int32_t playingState = -1;

protected:
    void WriteFields(XmlWriter& out) const override {
        out.Text("playingState", PlayingStateName(playingState));
    }
    void ReadFields(const XmlView& in) override {
        playingState = PlayingStateFromName(in.Text("playingState"), playingState);
    }
};

template <MessageType T>
class ShuffleStateMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    ShuffleStateMessage() : Message(T) {}
    bool operator==(const ShuffleStateMessage&) const = default;

    bool shuffleState = false;

protected:
    void WriteFields(XmlWriter& out) const override { out.Bool("shuffleState", shuffleState); }
    void ReadFields(const XmlView& in) override { shuffleState = in.Bool("shuffleState"); }
};

template <MessageType T>
class RepeatStateMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    RepeatStateMessage() : Message(T) {}
    bool operator==(const RepeatStateMessage&) const = default;

    std::int32_t repeatState = RepeatState::Off;

protected:
    void WriteFields(XmlWriter& out) const override {
        out.Bool("repeatState", repeatState != RepeatState::Off);
    }
    void ReadFields(const XmlView& in) override {
        repeatState = in.Bool("repeatState") ? RepeatState::All : RepeatState::Off;
    }
};

template <MessageType T>
class RatingMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    RatingMessage() : Message(T) {}
    bool operator==(const RatingMessage&) const = default;

    std::int32_t rating = -1;

protected:
    void WriteFields(XmlWriter& out) const override { out.Int("rating", rating); }
    void ReadFields(const XmlView& in) override { rating = in.Int("rating"); }
};

void WriteEq(XmlWriter& out, const EqSettings& eq);
EqSettings ReadEq(const XmlView& in);

template <MessageType T>
class EqMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    EqMessage() : Message(T) {}
    bool operator==(const EqMessage&) const = default;

    EqSettings eq;

protected:
    void WriteFields(XmlWriter& out) const override { WriteEq(out, eq); }
    void ReadFields(const XmlView& in) override { eq = ReadEq(in); }
};

template <MessageType T>
class VideoModeMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    VideoModeMessage() : Message(T) {}
    bool operator==(const VideoModeMessage&) const = default;

    bool fullScreenEnabled = false;

protected:
    void WriteFields(XmlWriter& out) const override {
        out.Bool("fullScreenEnabled", fullScreenEnabled);
    }
    void ReadFields(const XmlView& in) override {
        fullScreenEnabled = in.Bool("fullScreenEnabled");
    }
};

void WriteSpeakers(XmlWriter& out, const std::vector<Speaker>& speakers);
std::vector<Speaker> ReadSpeakers(const XmlView& in);

template <MessageType T>
class SpeakerListMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    SpeakerListMessage() : Message(T) {}
    bool operator==(const SpeakerListMessage&) const = default;

    std::vector<Speaker> speakers;

protected:
    void WriteFields(XmlWriter& out) const override { WriteSpeakers(out, speakers); }
    void ReadFields(const XmlView& in) override { speakers = ReadSpeakers(in); }
};

// What PlayMediaRequest and PlaylistAddRequest play or add. Written by the
// first key that is set: `id`, else `path`, else a query (`mediaType` and
// the non-empty query texts) when `libPath` is empty, else `libPath`.
// Read back from `id`, `path`, `libPath`, the query texts, and the media
// type from `type`, so a written `mediaType` reads back as music.
struct MediaSelector {
    std::int32_t id = -1;
    std::string path;
    std::string libPath;
    MediaType mediaType = MediaType::Music;
    std::string any;
    std::string genre;
    std::string artist;
    std::string album;
    std::string title;

    void Write(XmlWriter& out) const;
    void ReadKeys(const XmlView& in);   // id, path, libPath
    void ReadQuery(const XmlView& in);  // query texts and type
    bool operator==(const MediaSelector&) const = default;
};

// --- Messages with fields of their own --------------------------------------

class GetErrorDetailsRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetErrorDetailsRequest;
    GetErrorDetailsRequest() : Message(kType) {}
    bool operator==(const GetErrorDetailsRequest&) const = default;
    // The code whose text is wanted travels in the inherited `returnCode`.

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

// Written without `returnCode`; read with it.
class GetErrorDetailsResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetErrorDetailsResponse;
    GetErrorDetailsResponse() : Message(kType) {}
    bool operator==(const GetErrorDetailsResponse&) const = default;

    std::string description;

protected:
    void WriteHeader(XmlWriter& out) const override;
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetClientVersionRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetClientVersionRequest;
    GetClientVersionRequest() : Message(kType) {}
    bool operator==(const GetClientVersionRequest&) const = default;

    std::string type;  // the client platform, "ppc"

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetClientVersionResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetClientVersionResponse;
    GetClientVersionResponse() : Message(kType) {}
    bool operator==(const GetClientVersionResponse&) const = default;

    std::string version;
    std::string url;
    std::string parameters;
    std::string checksum;
    std::string serverVersion;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetServerInfoResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetServerInfoResponse;
    GetServerInfoResponse() : Message(kType) {}
    bool operator==(const GetServerInfoResponse&) const = default;

    std::string name;
    std::string version;
    std::string playerType;
    std::string playerIcon;  // written only when not empty

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

// The server's description of a client release. Its element names are
// capitalised, and the members keep them.
class VersionInformation final : public Message {
public:
    static constexpr MessageType kType = MessageType::VersionInformation;
    VersionInformation() : Message(kType) {}
    bool operator==(const VersionInformation&) const = default;

    std::string Name;
    std::string Version;
    std::string Action;
    std::string Parameters;
    std::string UpdateURL;
    std::string InfoURL;
    std::string Checksum;
    std::string DSASignature;
    std::string MinimumAutoUpdateVersion;
    std::string Description;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class PlayMediaRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::PlayMediaRequest;
    PlayMediaRequest() : Message(kType) {}
    bool operator==(const PlayMediaRequest&) const = default;

    MediaSelector selector;
    std::int32_t startingItem = -1;  // written only when not -1
    bool groupByAlpha = false;       // written only when true

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class PlaylistAddRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::PlaylistAddRequest;
    PlaylistAddRequest() : Message(kType) {}
    bool operator==(const PlaylistAddRequest&) const = default;

    MediaSelector selector;
    std::int32_t position = -1;  // written only when not -1

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class PlaylistMoveRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::PlaylistMoveRequest;
    PlaylistMoveRequest() : Message(kType) {}
    bool operator==(const PlaylistMoveRequest&) const = default;

    std::int32_t position = -1;
    std::int32_t newPosition = -1;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetCurrentStateRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetCurrentStateRequest;
    GetCurrentStateRequest() : Message(kType) {}
    bool operator==(const GetCurrentStateRequest&) const = default;

    std::int32_t revision = -1;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetCurrentStateResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetCurrentStateResponse;
    GetCurrentStateResponse() : Message(kType) {}
    bool operator==(const GetCurrentStateResponse&) const = default;

    std::int32_t playingState = -1;
    std::int32_t volume = -1;
    std::int32_t playlistPosition = -1;
    std::int32_t playbackPosition = -1;
    bool shuffleState = false;
    std::int32_t repeatState = RepeatState::Off;
    std::string artist;
    std::string album;
    std::string title;
    std::int32_t length = -1;  // seconds; written only when known
    std::int32_t rating = -1;  // written only when known

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetPlaylistLengthResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetPlaylistLengthResponse;
    GetPlaylistLengthResponse() : Message(kType) {}
    bool operator==(const GetPlaylistLengthResponse&) const = default;

    std::int32_t length = -1;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetPlaylistItemsRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetPlaylistItemsRequest;
    GetPlaylistItemsRequest() : Message(kType) {}
    bool operator==(const GetPlaylistItemsRequest&) const = default;

    std::int32_t start = -1;         // written only when not -1
    std::int32_t count = -1;         // written only when not -1
    bool includeTotalCount = false;  // written only when true

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

// The reader takes `totalCount` and the items, not `start`.
class GetPlaylistItemsResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetPlaylistItemsResponse;
    GetPlaylistItemsResponse() : Message(kType) {}
    bool operator==(const GetPlaylistItemsResponse&) const = default;

    std::int32_t start = -1;       // written only when not -1
    std::int32_t totalCount = -1;  // written only when not -1
    std::vector<PlaylistItem> items;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

// Both sizes go out under the element name `width`, width first; the server
// expects exactly that. The reader reads `width` and `height`.
class GetAlbumArtRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetAlbumArtRequest;
    GetAlbumArtRequest() : Message(kType) {}
    bool operator==(const GetAlbumArtRequest&) const = default;

    std::int32_t width = -1;   // written only when not -1
    std::int32_t height = -1;  // written only when not -1

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetAlbumArtResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetAlbumArtResponse;
    GetAlbumArtResponse() : Message(kType) {}
    bool operator==(const GetAlbumArtResponse&) const = default;

    std::string artURL;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetEqPresetsResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetEqPresetsResponse;
    GetEqPresetsResponse() : Message(kType) {}
    bool operator==(const GetEqPresetsResponse&) const = default;

    std::vector<std::string> presets;  // one `preset` element each

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class SetEqPresetRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::SetEqPresetRequest;
    SetEqPresetRequest() : Message(kType) {}
    bool operator==(const SetEqPresetRequest&) const = default;

    std::string preset;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class SelectSpeakerRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::SelectSpeakerRequest;
    SelectSpeakerRequest() : Message(kType) {}
    bool operator==(const SelectSpeakerRequest&) const = default;

    std::string id;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class EnableSpeakerRequest final : public Message {
public:
    static constexpr MessageType kType = MessageType::EnableSpeakerRequest;
    EnableSpeakerRequest() : Message(kType) {}
    bool operator==(const EnableSpeakerRequest&) const = default;

    std::string id;
    bool enabled = false;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class GetPlayerCapabilitiesResponse final : public Message {
public:
    static constexpr MessageType kType = MessageType::GetPlayerCapabilitiesResponse;
    GetPlayerCapabilitiesResponse() : Message(kType) {}
    bool operator==(const GetPlayerCapabilitiesResponse&) const = default;

    bool supportsEQ = false;
    bool supportsMultipleSpeakers = false;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class CurrentMediaChangedEvent final : public Message {
public:
    static constexpr MessageType kType = MessageType::CurrentMediaChangedEvent;
    CurrentMediaChangedEvent() : Message(kType) {}
    bool operator==(const CurrentMediaChangedEvent&) const = default;

    MediaType type = MediaType::Music;
    std::string artist;
    std::string album;
    std::string title;
    std::int32_t length = -1;  // seconds; written only when known
    std::int32_t rating = -1;  // written only when known

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class PlaylistPositionChangedEvent final : public Message {
public:
    static constexpr MessageType kType = MessageType::PlaylistPositionChangedEvent;
    PlaylistPositionChangedEvent() : Message(kType) {}
    bool operator==(const PlaylistPositionChangedEvent&) const = default;

    std::int32_t playlistPosition = -1;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

class PlayPositionChangedEvent final : public Message {
public:
    static constexpr MessageType kType = MessageType::PlayPositionChangedEvent;
    PlayPositionChangedEvent() : Message(kType) {}
    bool operator==(const PlayPositionChangedEvent&) const = default;

    std::int32_t playbackPosition = -1;

protected:
    void WriteFields(XmlWriter& out) const override;
    void ReadFields(const XmlView& in) override;
};

// --- The catalogue ------------------------------------------------------------

using PlayPauseRequest = PlainMessage<MessageType::PlayPauseRequest>;
using PlayPauseResponse = PlainMessage<MessageType::PlayPauseResponse>;
using PlayRequest = PlainMessage<MessageType::PlayRequest>;
using PlayResponse = PlainMessage<MessageType::PlayResponse>;
using PauseRequest = PlainMessage<MessageType::PauseRequest>;
using PauseResponse = PlainMessage<MessageType::PauseResponse>;
using StopRequest = PlainMessage<MessageType::StopRequest>;
using StopResponse = PlainMessage<MessageType::StopResponse>;
using FastForwardRequest = PlainMessage<MessageType::FastForwardRequest>;
using FastForwardResponse = PlainMessage<MessageType::FastForwardResponse>;
using RewindRequest = PlainMessage<MessageType::RewindRequest>;
using RewindResponse = PlainMessage<MessageType::RewindResponse>;
using PreviousItemRequest = PlainMessage<MessageType::PreviousItemRequest>;
using PreviousItemResponse = PlainMessage<MessageType::PreviousItemResponse>;
using NextItemRequest = PlainMessage<MessageType::NextItemRequest>;
using NextItemResponse = PlainMessage<MessageType::NextItemResponse>;
using GetPlaylistPositionRequest = PlainMessage<MessageType::GetPlaylistPositionRequest>;
using GetPlaylistPositionResponse = PositionMessage<MessageType::GetPlaylistPositionResponse>;
using SetPlaylistPositionRequest = PositionMessage<MessageType::SetPlaylistPositionRequest>;
using SetPlaylistPositionResponse = PlainMessage<MessageType::SetPlaylistPositionResponse>;
using PlayMediaResponse = PlainMessage<MessageType::PlayMediaResponse>;
using PlaylistAddResponse = PlainMessage<MessageType::PlaylistAddResponse>;
using PlaylistRemoveRequest = PositionMessage<MessageType::PlaylistRemoveRequest>;
using PlaylistRemoveResponse = PlainMessage<MessageType::PlaylistRemoveResponse>;
using PlaylistMoveResponse = PlainMessage<MessageType::PlaylistMoveResponse>;
using PlaylistClearRequest = PlainMessage<MessageType::PlaylistClearRequest>;
using PlaylistClearResponse = PlainMessage<MessageType::PlaylistClearResponse>;
using GetVolumeRequest = PlainMessage<MessageType::GetVolumeRequest>;
using GetVolumeResponse = VolumeMessage<MessageType::GetVolumeResponse>;
using SetVolumeRequest = VolumeMessage<MessageType::SetVolumeRequest>;
using SetVolumeResponse = PlainMessage<MessageType::SetVolumeResponse>;
using GetPlayPositionRequest = PlainMessage<MessageType::GetPlayPositionRequest>;
using GetPlayPositionResponse = PositionMessage<MessageType::GetPlayPositionResponse>;
using SetPlayPositionRequest = PositionMessage<MessageType::SetPlayPositionRequest>;
using SetPlayPositionResponse = PlainMessage<MessageType::SetPlayPositionResponse>;
using GetPlayingStateRequest = PlainMessage<MessageType::GetPlayingStateRequest>;
using GetPlayingStateResponse = PlayingStateMessage<MessageType::GetPlayingStateResponse>;
using GetPlaylistLengthRequest = PlainMessage<MessageType::GetPlaylistLengthRequest>;
using GetShuffleStateRequest = PlainMessage<MessageType::GetShuffleStateRequest>;
using GetShuffleStateResponse = ShuffleStateMessage<MessageType::GetShuffleStateResponse>;
using SetShuffleStateRequest = ShuffleStateMessage<MessageType::SetShuffleStateRequest>;
using SetShuffleStateResponse = PlainMessage<MessageType::SetShuffleStateResponse>;
using GetRepeatStateRequest = PlainMessage<MessageType::GetRepeatStateRequest>;
using GetRepeatStateResponse = RepeatStateMessage<MessageType::GetRepeatStateResponse>;
using SetRepeatStateRequest = RepeatStateMessage<MessageType::SetRepeatStateRequest>;
using SetRepeatStateResponse = PlainMessage<MessageType::SetRepeatStateResponse>;
using GetTrackRatingRequest = PlainMessage<MessageType::GetTrackRatingRequest>;
using GetTrackRatingResponse = RatingMessage<MessageType::GetTrackRatingResponse>;
using SetTrackRatingRequest = RatingMessage<MessageType::SetTrackRatingRequest>;
using SetTrackRatingResponse = PlainMessage<MessageType::SetTrackRatingResponse>;
using GetEqPresetsRequest = PlainMessage<MessageType::GetEqPresetsRequest>;
using SetEqPresetResponse = PlainMessage<MessageType::SetEqPresetResponse>;
using GetEqRequest = PlainMessage<MessageType::GetEqRequest>;
using GetEqResponse = EqMessage<MessageType::GetEqResponse>;
using SetEqRequest = EqMessage<MessageType::SetEqRequest>;
using SetEqResponse = PlainMessage<MessageType::SetEqResponse>;
using GetVideoModeRequest = PlainMessage<MessageType::GetVideoModeRequest>;
using GetVideoModeResponse = VideoModeMessage<MessageType::GetVideoModeResponse>;
using SetVideoModeRequest = VideoModeMessage<MessageType::SetVideoModeRequest>;
using SetVideoModeResponse = PlainMessage<MessageType::SetVideoModeResponse>;
using GetSpeakerListRequest = PlainMessage<MessageType::GetSpeakerListRequest>;
using GetSpeakerListResponse = SpeakerListMessage<MessageType::GetSpeakerListResponse>;
using SelectSpeakerResponse = PlainMessage<MessageType::SelectSpeakerResponse>;
using EnableSpeakerResponse = PlainMessage<MessageType::EnableSpeakerResponse>;
using GetPlayerCapabilitiesRequest = PlainMessage<MessageType::GetPlayerCapabilitiesRequest>;
using GetServerInfoRequest = PlainMessage<MessageType::GetServerInfoRequest>;
using UnrecognizedRequest = PlainMessage<MessageType::UnrecognizedRequest>;

using PlayingStateChangedEvent = PlayingStateMessage<MessageType::PlayingStateChangedEvent>;
using VolumeChangedEvent = VolumeMessage<MessageType::VolumeChangedEvent>;
using PlaylistChangedEvent = PlainMessage<MessageType::PlaylistChangedEvent>;
using ShuffleStateChangedEvent = ShuffleStateMessage<MessageType::ShuffleStateChangedEvent>;
using RepeatStateChangedEvent = RepeatStateMessage<MessageType::RepeatStateChangedEvent>;
using EqChangedEvent = EqMessage<MessageType::EqChangedEvent>;
using SpeakerListChangedEvent = SpeakerListMessage<MessageType::SpeakerListChangedEvent>;
using AlbumArtChangedEvent = PlainMessage<MessageType::AlbumArtChangedEvent>;

}  // namespace vantor
