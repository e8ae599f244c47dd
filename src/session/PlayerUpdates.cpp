#include "session/PlayerUpdates.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "protocol/Messages.h"

namespace vantor {

namespace {

void PlayingStateIs(std::int32_t value, PlayerState& state, PlayerListener* listener) {
    if (value != state.playingState) {
        state.playingState = value;
        if (listener) {
            listener->OnPlayingStateChanged(value);
        }
    }
}

// Changes of exactly 1 are the echo of the user's own step on the volume
// bar; they are ignored entirely, so the bar does not jump back.
void VolumeIs(std::int32_t value, PlayerState& state, PlayerListener* listener) {
    const long long difference = static_cast<long long>(state.volume) - value;
    if (std::abs(difference) > 1) {
        state.volume = value;
        if (listener) {
            // Any two volumes a server sends are apart by more than 32 bits hold.
            listener->OnVolumeChanged(value, static_cast<std::int32_t>(std::clamp<long long>(
                                                 difference, INT32_MIN, INT32_MAX)));
        }
    }
}

void PlaylistPositionIs(std::int32_t value, PlayerState& state, PlayerListener* listener) {
    if (value != state.playlistPosition) {
        state.playlistPosition = value;
        if (listener) {
            listener->OnPlaylistPositionChanged(value);
        }
    }
}

void PlaybackPositionIs(std::int32_t value, PlayerState& state, PlayerListener* listener) {
    state.playbackPosition = value;
    if (listener) {
        listener->OnPlayPositionChanged(value);
    }
}

void ShuffleIs(bool value, PlayerState& state, PlayerListener* listener) {
    if (value != state.shuffle) {
        state.shuffle = value;
        if (listener) {
            listener->OnShuffleChanged(value);
        }
    }
}

void RepeatIs(std::int32_t value, PlayerState& state, PlayerListener* listener) {
    if (value != state.repeat) {
        state.repeat = value;
        if (listener) {
            listener->OnRepeatChanged(value);
        }
    }
}

void EqIs(const EqSettings& eq, PlayerState& state, PlayerListener* listener) {
    if (!(eq == state.eq)) {
        state.eq = eq;
        if (listener) {
            listener->OnEqChanged(eq);
        }
    }
}

void MediaIs(const std::string& title, const std::string& artist, const std::string& album,
             std::int32_t length, std::int32_t rating, PlayerState& state,
             PlayerListener* listener) {
    if (!listener) {
        return;
    }
    state.media.title = title;
    state.media.artist = artist;
    state.media.album = album;
    state.media.length = length;
    state.media.rating = rating;
    listener->OnCurrentMediaChanged(state.media);
}

}  // namespace

void ApplyEvent(const Message& event, PlayerState& state, PlayerListener* listener) {
    switch (event.Type()) {
        case MessageType::CurrentMediaChangedEvent: {
            const auto& media = *As<CurrentMediaChangedEvent>(event);
            MediaIs(media.title, media.artist, media.album, media.length, media.rating, state,
                    listener);
            break;
        }
        case MessageType::PlayingStateChangedEvent:
            PlayingStateIs(As<PlayingStateChangedEvent>(event)->playingState, state, listener);
            break;
        case MessageType::VolumeChangedEvent:
            VolumeIs(As<VolumeChangedEvent>(event)->volume, state, listener);
            break;
        case MessageType::PlaylistChangedEvent:
            if (listener) {
                listener->OnPlaylistChanged(*As<PlaylistChangedEvent>(event));
            }
            break;
        case MessageType::PlaylistPositionChangedEvent:
            PlaylistPositionIs(As<PlaylistPositionChangedEvent>(event)->playlistPosition, state,
                               listener);
            break;
        case MessageType::PlayPositionChangedEvent:
            PlaybackPositionIs(As<PlayPositionChangedEvent>(event)->playbackPosition, state,
                               listener);
            break;
        case MessageType::ShuffleStateChangedEvent:
            ShuffleIs(As<ShuffleStateChangedEvent>(event)->shuffleState, state, listener);
            break;
        case MessageType::RepeatStateChangedEvent:
            RepeatIs(As<RepeatStateChangedEvent>(event)->repeatState, state, listener);
            break;
        case MessageType::EqChangedEvent:
            EqIs(As<EqChangedEvent>(event)->eq, state, listener);
            break;
        case MessageType::SpeakerListChangedEvent:
            if (listener) {
                listener->OnSpeakerListChanged(As<SpeakerListChangedEvent>(event)->speakers);
            }
            break;
        case MessageType::AlbumArtChangedEvent:
            if (listener) {
                listener->OnAlbumArtChanged(*As<AlbumArtChangedEvent>(event));
            }
            break;
        case MessageType::MediaLibraryChangedEvent:
            if (listener) {
                listener->OnMediaLibraryChanged(*As<MediaLibraryChangedEvent>(event));
            }
            break;
        default:
            break;  // PlayerStateChangedEvent and the rest mean nothing here
    }
}

void ApplyResponse(const Message& response, const Message& request, PlayerState& state,
                   PlayerListener* listener) {
    switch (response.Type()) {
        case MessageType::GetCurrentStateResponse: {
            const auto& current = *As<GetCurrentStateResponse>(response);
            PlayingStateIs(current.playingState, state, listener);
            VolumeIs(current.volume, state, listener);
            MediaIs(current.title, current.artist, current.album, current.length, current.rating,
                    state, listener);
            PlaylistPositionIs(current.playlistPosition, state, listener);
            PlaybackPositionIs(current.playbackPosition, state, listener);
            ShuffleIs(current.shuffleState, state, listener);
            RepeatIs(current.repeatState, state, listener);
            break;
        }
        case MessageType::GetPlayingStateResponse:
            PlayingStateIs(As<GetPlayingStateResponse>(response)->playingState, state, listener);
            break;
        case MessageType::GetVolumeResponse:
            VolumeIs(As<GetVolumeResponse>(response)->volume, state, listener);
            break;
        case MessageType::GetPlaylistPositionResponse:
            PlaylistPositionIs(As<GetPlaylistPositionResponse>(response)->position, state,
                               listener);
            break;
        case MessageType::GetPlayPositionResponse:
            PlaybackPositionIs(As<GetPlayPositionResponse>(response)->position, state, listener);
            break;
        case MessageType::GetShuffleStateResponse:
            ShuffleIs(As<GetShuffleStateResponse>(response)->shuffleState, state, listener);
            break;
        case MessageType::GetRepeatStateResponse:
            RepeatIs(As<GetRepeatStateResponse>(response)->repeatState, state, listener);
            break;
        case MessageType::GetEqResponse:
            EqIs(As<GetEqResponse>(response)->eq, state, listener);
            break;
        case MessageType::GetEqPresetsResponse:
            if (listener) {
                listener->OnEqPresets(As<GetEqPresetsResponse>(response)->presets);
            }
            break;
        case MessageType::GetSpeakerListResponse:
            if (listener) {
                listener->OnSpeakerListChanged(As<GetSpeakerListResponse>(response)->speakers);
            }
            break;
        case MessageType::GetPlayerCapabilitiesResponse: {
            const auto& capabilities = *As<GetPlayerCapabilitiesResponse>(response);
            state.supportsEq = capabilities.supportsEQ;
            state.supportsMultipleSpeakers = capabilities.supportsMultipleSpeakers;
            if (listener) {
                listener->OnCapabilities();
            }
            break;
        }
        case MessageType::GetAlbumArtResponse:
            if (listener) {
                listener->OnAlbumArtUrl(As<GetAlbumArtResponse>(response)->artURL);
            }
            break;
        case MessageType::GetPlaylistItemsResponse:
            if (listener) {
                const auto* page = As<GetPlaylistItemsRequest>(request);
                listener->OnPlaylistItems(*As<GetPlaylistItemsResponse>(response),
                                          page ? page->start : -1);
            }
            break;
        case MessageType::GetClientVersionResponse:
            if (listener) {
                listener->OnClientVersion(*As<GetClientVersionResponse>(response));
            }
            break;
        case MessageType::BrowseArtistsResponse:
            if (listener) {
                listener->OnArtists(*As<BrowseArtistsResponse>(response));
            }
            break;
        case MessageType::MediaSearchResponse:
            if (const auto* search = As<MediaSearchRequest>(request); search && listener) {
                listener->OnSearchResults(search->any, *As<MediaSearchResponse>(response));
            }
            break;
        case MessageType::BrowseLibraryResponse:
            if (const auto* browse = As<BrowseLibraryRequest>(request); browse && listener) {
                listener->OnLibraryPage(*As<BrowseLibraryResponse>(response), *browse);
            }
            break;
        default:
            if (response.returnCode != 0 && listener) {
                listener->OnRequestFailed(response.returnCode, request);
            }
            break;
    }
}

}  // namespace vantor
