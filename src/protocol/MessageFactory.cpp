#include "protocol/MessageFactory.h"

#include <array>

#include "protocol/LibraryMessages.h"
#include "protocol/PlayerMessages.h"

namespace vantor {

namespace {

using Maker = std::unique_ptr<Message> (*)();
using MakerTable = std::array<Maker, kMessageTypeCount>;

template <class M>
std::unique_ptr<Message> Make() {
    return std::make_unique<M>();
}

// Classes shared by several type ids.
template <class M, MessageType T>
std::unique_ptr<Message> MakeAs() {
    return std::make_unique<M>(T);
}

template <class... M>
void Register(MakerTable& table) {
    ((table[static_cast<std::size_t>(M::kType)] = &Make<M>), ...);
}

template <class M, MessageType... T>
void RegisterShared(MakerTable& table) {
    ((table[static_cast<std::size_t>(T)] = &MakeAs<M, T>), ...);
}

MakerTable BuildTable() {
    MakerTable table{};
    Register<GetErrorDetailsRequest, GetErrorDetailsResponse, GetClientVersionRequest,
             GetClientVersionResponse, GetServerInfoRequest, GetServerInfoResponse,
             UnrecognizedRequest, VersionInformation>(table);
    Register<PlayPauseRequest, PlayPauseResponse, PlayRequest, PlayResponse, PauseRequest,
             PauseResponse, StopRequest, StopResponse, FastForwardRequest, FastForwardResponse,
             RewindRequest, RewindResponse, PreviousItemRequest, PreviousItemResponse,
             NextItemRequest, NextItemResponse>(table);
    Register<GetPlaylistPositionRequest, GetPlaylistPositionResponse, SetPlaylistPositionRequest,
             SetPlaylistPositionResponse, PlayMediaRequest, PlayMediaResponse, PlaylistAddRequest,
             PlaylistAddResponse, PlaylistRemoveRequest, PlaylistRemoveResponse,
             PlaylistMoveRequest, PlaylistMoveResponse, PlaylistClearRequest,
             PlaylistClearResponse>(table);
    Register<GetCurrentStateRequest, GetCurrentStateResponse, GetVolumeRequest, GetVolumeResponse,
             SetVolumeRequest, SetVolumeResponse, GetPlayPositionRequest, GetPlayPositionResponse,
             SetPlayPositionRequest, SetPlayPositionResponse, GetPlayingStateRequest,
             GetPlayingStateResponse, GetPlaylistLengthRequest, GetPlaylistLengthResponse,
             GetPlaylistItemsRequest, GetPlaylistItemsResponse, GetShuffleStateRequest,
             GetShuffleStateResponse, SetShuffleStateRequest, SetShuffleStateResponse,
             GetRepeatStateRequest, GetRepeatStateResponse, SetRepeatStateRequest,
             SetRepeatStateResponse>(table);
    Register<GetAlbumArtRequest, GetAlbumArtResponse, GetTrackRatingRequest, GetTrackRatingResponse,
             SetTrackRatingRequest, SetTrackRatingResponse, GetEqPresetsRequest,
             GetEqPresetsResponse, SetEqPresetRequest, SetEqPresetResponse, GetEqRequest,
             GetEqResponse, SetEqRequest, SetEqResponse, GetVideoModeRequest, GetVideoModeResponse,
             SetVideoModeRequest, SetVideoModeResponse, GetSpeakerListRequest,
             GetSpeakerListResponse, SelectSpeakerRequest, SelectSpeakerResponse,
             EnableSpeakerRequest, EnableSpeakerResponse, GetPlayerCapabilitiesRequest,
             GetPlayerCapabilitiesResponse>(table);
    Register<CurrentMediaChangedEvent, PlayingStateChangedEvent, VolumeChangedEvent,
             PlaylistChangedEvent, PlaylistPositionChangedEvent, PlayPositionChangedEvent,
             ShuffleStateChangedEvent, RepeatStateChangedEvent, EqChangedEvent,
             SpeakerListChangedEvent, AlbumArtChangedEvent>(table);
    Register<GetMediaItemRequest, GetMediaItemResponse, BrowseGenresResponse, BrowseArtistsRequest,
             BrowseArtistsResponse, BrowseAlbumsRequest, BrowseTracksRequest,
             BrowseTVSeriesResponse, BrowseTVRequest, BrowseVideoRequest, MediaSearchRequest,
             MediaSearchResponse, BrowseLibraryRequest, BrowseLibraryResponse,
             UpdateMediaLibraryRequest, UpdateMediaLibraryResponse, MediaLibraryChangedEvent>(
        table);
    RegisterShared<BrowseGenresRequest, MessageType::BrowseGenresRequest,
                   MessageType::BrowsePlaylistsRequest, MessageType::BrowseTVSeriesRequest>(table);
    RegisterShared<BrowseFoldersRequest, MessageType::BrowseFoldersRequest,
                   MessageType::BrowsePicturesRequest>(table);
    return table;
}

}  // namespace

std::unique_ptr<Message> MessageFactory::Create(std::uint32_t id) {
    static const MakerTable table = BuildTable();
    if (id >= table.size() || table[id] == nullptr) {
        return nullptr;
    }
    return table[id]();
}

}  // namespace vantor
