#pragma once

// The closed list of protocol message types. A type's id is the index of its
// name in this list and its name is the root element of its XML form. The
// order is fixed: the factory, the name look-ups and the receive path all
// index by it.

#include <cstdint>
#include <string_view>

namespace vantor {

// X(name) for every message type, in id order.
#define VANTOR_MESSAGE_TYPES(X)                \
    X(Undefined)                     /* 0 */   \
    X(GetErrorDetailsRequest)        /* 1 */   \
    X(GetErrorDetailsResponse)       /* 2 */   \
    X(GetClientVersionRequest)       /* 3 */   \
    X(GetClientVersionResponse)      /* 4 */   \
    X(GetServerInfoRequest)          /* 5 */   \
    X(GetServerInfoResponse)         /* 6 */   \
    X(PingRequest)                   /* 7 */   \
    X(PingResponse)                  /* 8 */   \
    X(UnrecognizedRequest)           /* 9 */   \
    X(VersionInformation)            /* 10 */  \
    X(PlayPauseRequest)              /* 11 */  \
    X(PlayPauseResponse)             /* 12 */  \
    X(PlayRequest)                   /* 13 */  \
    X(PlayResponse)                  /* 14 */  \
    X(PauseRequest)                  /* 15 */  \
    X(PauseResponse)                 /* 16 */  \
    X(StopRequest)                   /* 17 */  \
    X(StopResponse)                  /* 18 */  \
    X(FastForwardRequest)            /* 19 */  \
    X(FastForwardResponse)           /* 20 */  \
    X(RewindRequest)                 /* 21 */  \
    X(RewindResponse)                /* 22 */  \
    X(PreviousItemRequest)           /* 23 */  \
    X(PreviousItemResponse)          /* 24 */  \
    X(NextItemRequest)               /* 25 */  \
    X(NextItemResponse)              /* 26 */  \
    X(GetPlaylistPositionRequest)    /* 27 */  \
    X(GetPlaylistPositionResponse)   /* 28 */  \
    X(SetPlaylistPositionRequest)    /* 29 */  \
    X(SetPlaylistPositionResponse)   /* 30 */  \
    X(PlayMediaRequest)              /* 31 */  \
    X(PlayMediaResponse)             /* 32 */  \
    X(PlaylistAddRequest)            /* 33 */  \
    X(PlaylistAddResponse)           /* 34 */  \
    X(PlaylistRemoveRequest)         /* 35 */  \
    X(PlaylistRemoveResponse)        /* 36 */  \
    X(PlaylistMoveRequest)           /* 37 */  \
    X(PlaylistMoveResponse)          /* 38 */  \
    X(PlaylistClearRequest)          /* 39 */  \
    X(PlaylistClearResponse)         /* 40 */  \
    X(GetCurrentStateRequest)        /* 41 */  \
    X(GetCurrentStateResponse)       /* 42 */  \
    X(GetVolumeRequest)              /* 43 */  \
    X(GetVolumeResponse)             /* 44 */  \
    X(SetVolumeRequest)              /* 45 */  \
    X(SetVolumeResponse)             /* 46 */  \
    X(GetPlayPositionRequest)        /* 47 */  \
    X(GetPlayPositionResponse)       /* 48 */  \
    X(SetPlayPositionRequest)        /* 49 */  \
    X(SetPlayPositionResponse)       /* 50 */  \
    X(GetPlayingStateRequest)        /* 51 */  \
    X(GetPlayingStateResponse)       /* 52 */  \
    X(GetPlaylistLengthRequest)      /* 53 */  \
    X(GetPlaylistLengthResponse)     /* 54 */  \
    X(GetPlaylistItemsRequest)       /* 55 */  \
    X(GetPlaylistItemsResponse)      /* 56 */  \
    X(GetShuffleStateRequest)        /* 57 */  \
    X(GetShuffleStateResponse)       /* 58 */  \
    X(SetShuffleStateRequest)        /* 59 */  \
    X(SetShuffleStateResponse)       /* 60 */  \
    X(GetRepeatStateRequest)         /* 61 */  \
    X(GetRepeatStateResponse)        /* 62 */  \
    X(SetRepeatStateRequest)         /* 63 */  \
    X(SetRepeatStateResponse)        /* 64 */  \
    X(GetAlbumArtRequest)            /* 65 */  \
    X(GetAlbumArtResponse)           /* 66 */  \
    X(GetTrackRatingRequest)         /* 67 */  \
    X(GetTrackRatingResponse)        /* 68 */  \
    X(SetTrackRatingRequest)         /* 69 */  \
    X(SetTrackRatingResponse)        /* 70 */  \
    X(GetEqPresetsRequest)           /* 71 */  \
    X(GetEqPresetsResponse)          /* 72 */  \
    X(SetEqPresetRequest)            /* 73 */  \
    X(SetEqPresetResponse)           /* 74 */  \
    X(GetEqRequest)                  /* 75 */  \
    X(GetEqResponse)                 /* 76 */  \
    X(SetEqRequest)                  /* 77 */  \
    X(SetEqResponse)                 /* 78 */  \
    X(GetVideoModeRequest)           /* 79 */  \
    X(GetVideoModeResponse)          /* 80 */  \
    X(SetVideoModeRequest)           /* 81 */  \
    X(SetVideoModeResponse)          /* 82 */  \
    X(GetSpeakerListRequest)         /* 83 */  \
    X(GetSpeakerListResponse)        /* 84 */  \
    X(SelectSpeakerRequest)          /* 85 */  \
    X(SelectSpeakerResponse)         /* 86 */  \
    X(EnableSpeakerRequest)          /* 87 */  \
    X(EnableSpeakerResponse)         /* 88 */  \
    X(GetPlayerCapabilitiesRequest)  /* 89 */  \
    X(GetPlayerCapabilitiesResponse) /* 90 */  \
    X(CurrentMediaChangedEvent)      /* 91 */  \
    X(PlayingStateChangedEvent)      /* 92 */  \
    X(VolumeChangedEvent)            /* 93 */  \
    X(PlaylistChangedEvent)          /* 94 */  \
    X(PlaylistPositionChangedEvent)  /* 95 */  \
    X(PlayPositionChangedEvent)      /* 96 */  \
    X(ShuffleStateChangedEvent)      /* 97 */  \
    X(RepeatStateChangedEvent)       /* 98 */  \
    X(EqChangedEvent)                /* 99 */  \
    X(SpeakerListChangedEvent)       /* 100 */ \
    X(AlbumArtChangedEvent)          /* 101 */ \
    X(PlayerStateChangedEvent)       /* 102 */ \
    X(PressButtonRequest)            /* 103 */ \
    X(PressButtonResponse)           /* 104 */ \
    X(SkipRequest)                   /* 105 */ \
    X(SkipResponse)                  /* 106 */ \
    X(ReplayRequest)                 /* 107 */ \
    X(ReplayResponse)                /* 108 */ \
    X(ShutdownRequest)               /* 109 */ \
    X(ShutdownResponse)              /* 110 */ \
    X(GetRadioPresetsRequest)        /* 111 */ \
    X(GetRadioPresetsResponse)       /* 112 */ \
    X(TuneRadioRequest)              /* 113 */ \
    X(TuneRadioResponse)             /* 114 */ \
    X(PlaySlideShowRequest)          /* 115 */ \
    X(PlaySlideShowResponse)         /* 116 */ \
    X(GetMediaItemRequest)           /* 117 */ \
    X(GetMediaItemResponse)          /* 118 */ \
    X(BrowseGenresRequest)           /* 119 */ \
    X(BrowseGenresResponse)          /* 120 */ \
    X(BrowseArtistsRequest)          /* 121 */ \
    X(BrowseArtistsResponse)         /* 122 */ \
    X(BrowseAlbumsRequest)           /* 123 */ \
    X(BrowseAlbumsResponse)          /* 124 */ \
    X(BrowseTracksRequest)           /* 125 */ \
    X(BrowseTracksResponse)          /* 126 */ \
    X(BrowseFoldersRequest)          /* 127 */ \
    X(BrowseFoldersResponse)         /* 128 */ \
    X(BrowsePlaylistsRequest)        /* 129 */ \
    X(BrowsePlaylistsResponse)       /* 130 */ \
    X(BrowseTVSeriesRequest)         /* 131 */ \
    X(BrowseTVSeriesResponse)        /* 132 */ \
    X(BrowseTVRequest)               /* 133 */ \
    X(BrowseTVResponse)              /* 134 */ \
    X(BrowseVideoRequest)            /* 135 */ \
    X(BrowseVideoResponse)           /* 136 */ \
    X(BrowsePicturesRequest)         /* 137 */ \
    X(BrowsePicturesResponse)        /* 138 */ \
    X(MediaSearchRequest)            /* 139 */ \
    X(MediaSearchResponse)           /* 140 */ \
    X(BrowseLibraryRequest)          /* 141 */ \
    X(BrowseLibraryResponse)         /* 142 */ \
    X(UpdateMediaLibraryRequest)     /* 143 */ \
    X(UpdateMediaLibraryResponse)    /* 144 */ \
    X(AddMediaReaderRequest)         /* 145 */ \
    X(AddMediaReaderResponse)        /* 146 */ \
    X(RemoveMediaReaderRequest)      /* 147 */ \
    X(RemoveMediaReaderResponse)     /* 148 */ \
    X(MediaLibraryChangedEvent)      /* 149 */

enum class MessageType : std::uint32_t {
#define VANTOR_MESSAGE_TYPE_ENUMERATOR(name) name,
    VANTOR_MESSAGE_TYPES(VANTOR_MESSAGE_TYPE_ENUMERATOR)
#undef VANTOR_MESSAGE_TYPE_ENUMERATOR
};

inline constexpr std::uint32_t kMessageTypeCount = 150;

// 1 = request, 2 = response, 3 = event; the receive path dispatches on it.
// VersionInformation and Undefined are none of these.
enum class MessageKind : std::int32_t { None = 0, Request = 1, Response = 2, Event = 3 };

// The name of a type id; empty for ids of 150 and above.
std::string_view MessageTypeName(std::uint32_t id);
inline std::string_view MessageTypeName(MessageType type) {
    return MessageTypeName(static_cast<std::uint32_t>(type));
}

// The id of a name: the first exact (case-sensitive) match, or Undefined.
MessageType MessageTypeFromName(std::string_view name);

// Requests, responses and events are told apart by their names' suffixes.
MessageKind KindOf(MessageType type);

}  // namespace vantor
