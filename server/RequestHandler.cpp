#include "RequestHandler.h"

#include <algorithm>

#include "protocol/MessageFactory.h"

namespace vantor::server {

namespace {

std::vector<MediaResult> Results(const std::vector<LibraryEntry>& entries, bool withPath) {
    std::vector<MediaResult> results;
    results.reserve(entries.size());
    for (const LibraryEntry& entry : entries) {
        results.push_back(MediaResult{entry.id, entry.type, entry.container, entry.title,
                                      withPath ? entry.path : std::string()});
    }
    return results;
}

std::vector<std::string> Titles(const std::vector<LibraryEntry>& entries) {
    std::vector<std::string> titles;
    titles.reserve(entries.size());
    for (const LibraryEntry& entry : entries) {
        titles.push_back(entry.title);
    }
    return titles;
}

template <class Response, class Request>
void SetPaging(Response& response, const Request& request, std::size_t total) {
    response.start = std::max(request.start, 0);
    response.totalCount = request.includeTotalCount ? static_cast<std::int32_t>(total) : -1;
}

// A response of a type the client does not decode; it carries only the
// common fields.
class BareResponse final : public Message {
public:
    explicit BareResponse(MessageType type) : Message(type) {}
};

// The response to a request of this type, its fields unset: its type
// follows the request's id.
std::unique_ptr<Message> EmptyResponse(MessageType type) {
    const auto id = static_cast<std::uint32_t>(type) + 1;
    std::unique_ptr<Message> response = MessageFactory::Create(id);
    if (!response) {
        response = std::make_unique<BareResponse>(static_cast<MessageType>(id));
    }
    return response;
}

}  // namespace

RequestHandler::RequestHandler(PlayerBackend& player, SpeakerService* speakers, ServerInfo info)
    : player_(player), speakers_(speakers), info_(std::move(info)) {
    if (info_.playerType.empty()) {
        info_.playerType = player_.PlayerType();
    }
}

const char* RequestHandler::Describe(std::int32_t code) {
    switch (code) {
        case kSuccess:
            return "The request succeeded.";
        case kUnsupported:
            return "The player does not support this request.";
        case kBadParameter:
            return "A value in the request is out of range.";
        case kNotFound:
            return "The requested item does not exist.";
        case kPlayerFailed:
            return "The player could not be reached or could not carry out the request.";
        default:
            return "Unknown result code.";
    }
}

bool RequestHandler::WaitsForLibrary(MessageType type) {
    switch (type) {
        case MessageType::BrowseGenresRequest:
        case MessageType::BrowseArtistsRequest:
        case MessageType::MediaSearchRequest:
        case MessageType::BrowseLibraryRequest:
        case MessageType::GetMediaItemRequest:
            return true;
        default:
            return false;
    }
}

std::unique_ptr<Message> RequestHandler::Refusal(const Message& request, ResultCode code) {
    auto response = EmptyResponse(request.Type());
    response->requestId = request.requestId;
    response->returnCode = code;
    return response;
}

std::unique_ptr<Message> RequestHandler::Handle(const Message& request, Events& events) {
    const auto type = request.Type();
    if (type == MessageType::UnrecognizedRequest) {
        return nullptr;  // a request in name only: there is nothing to answer
    }
    std::unique_ptr<Message> response = EmptyResponse(type);
    ResultCode code = kSuccess;

    switch (type) {
        case MessageType::GetErrorDetailsRequest:
            As<GetErrorDetailsResponse>(*response)->description = Describe(request.returnCode);
            break;
        case MessageType::GetClientVersionRequest: {
            auto& answer = *As<GetClientVersionResponse>(*response);
            answer.version = info_.clientVersion;
            answer.url = info_.clientUrl;
            answer.parameters = info_.clientParameters;
            answer.checksum = info_.clientChecksum;
            answer.serverVersion = info_.version;
            break;
        }
        case MessageType::GetServerInfoRequest: {
            auto& answer = *As<GetServerInfoResponse>(*response);
            answer.name = info_.name;
            answer.version = info_.version;
            answer.playerType = info_.playerType;
            break;
        }
        case MessageType::PlayPauseRequest:
            code = player_.Transport(TransportCommand::PlayPause, events);
            break;
        case MessageType::PlayRequest:
            code = player_.Transport(TransportCommand::Play, events);
            break;
        case MessageType::PauseRequest:
            code = player_.Transport(TransportCommand::Pause, events);
            break;
        case MessageType::StopRequest:
            code = player_.Transport(TransportCommand::Stop, events);
            break;
        case MessageType::FastForwardRequest:
            code = player_.Transport(TransportCommand::FastForward, events);
            break;
        case MessageType::RewindRequest:
            code = player_.Transport(TransportCommand::Rewind, events);
            break;
        case MessageType::PreviousItemRequest:
            code = player_.Transport(TransportCommand::Previous, events);
            break;
        case MessageType::NextItemRequest:
            code = player_.Transport(TransportCommand::Next, events);
            break;
        case MessageType::GetPlaylistPositionRequest:
            As<GetPlaylistPositionResponse>(*response)->position = player_.Status().queuePosition;
            break;
        case MessageType::SetPlaylistPositionRequest:
            code =
                player_.SetQueuePosition(As<SetPlaylistPositionRequest>(request)->position, events);
            break;
        case MessageType::PlayMediaRequest: {
            const auto& play = *As<PlayMediaRequest>(request);
            code = player_.PlayNow(play.selector, play.startingItem, events);
            break;
        }
        case MessageType::PlaylistAddRequest: {
            const auto& add = *As<PlaylistAddRequest>(request);
            code = player_.Add(add.selector, add.position, events);
            break;
        }
        case MessageType::PlaylistRemoveRequest:
            code = player_.Remove(As<PlaylistRemoveRequest>(request)->position, events);
            break;
        case MessageType::PlaylistMoveRequest: {
            const auto& move = *As<PlaylistMoveRequest>(request);
            code = player_.Move(move.position, move.newPosition, events);
            break;
        }
        case MessageType::PlaylistClearRequest:
            code = player_.Clear(events);
            break;
        case MessageType::GetCurrentStateRequest: {
            const PlayerStatus status = player_.Status();
            auto& state = *As<GetCurrentStateResponse>(*response);
            state.playingState = status.playingState;
            state.volume = status.volume;
            state.playlistPosition = status.queuePosition;
            state.playbackPosition = status.playbackPosition;
            state.shuffleState = status.shuffle;
            state.repeatState = status.repeat;
            if (status.current) {
                state.artist = status.current->artist;
                state.album = status.current->album;
                state.title = status.current->title;
                state.length = status.current->length;
                state.rating = status.current->rating;
            }
            break;
        }
        case MessageType::GetVolumeRequest:
            As<GetVolumeResponse>(*response)->volume = player_.Status().volume;
            break;
        case MessageType::SetVolumeRequest: {
            const std::int32_t volume = As<SetVolumeRequest>(request)->volume;
            code = volume >= 0 && volume <= 100 ? player_.SetVolume(volume, events) : kBadParameter;
            break;
        }
        case MessageType::GetPlayPositionRequest:
            As<GetPlayPositionResponse>(*response)->position = player_.Status().playbackPosition;
            break;
        case MessageType::SetPlayPositionRequest:
            code =
                player_.SetPlaybackPosition(As<SetPlayPositionRequest>(request)->position, events);
            break;
        case MessageType::GetPlayingStateRequest:
            As<GetPlayingStateResponse>(*response)->playingState = player_.Status().playingState;
            break;
        case MessageType::GetPlaylistLengthRequest:
            As<GetPlaylistLengthResponse>(*response)->length = player_.Status().queueLength;
            break;
        case MessageType::GetPlaylistItemsRequest: {
            const auto& request_page = *As<GetPlaylistItemsRequest>(request);
            auto& answer = *As<GetPlaylistItemsResponse>(*response);
            ListPage page;
            code = player_.QueuePage(request_page.start, request_page.count, &page);
            if (code != kSuccess) {
                break;
            }
            SetPaging(answer, request_page, page.total);
            for (const LibraryEntry& entry : page.entries) {
                answer.items.push_back(
                    PlaylistItem{entry.id, false, entry.title, entry.artist, MediaType::Music});
            }
            break;
        }
        case MessageType::GetShuffleStateRequest:
            As<GetShuffleStateResponse>(*response)->shuffleState = player_.Status().shuffle;
            break;
        case MessageType::SetShuffleStateRequest:
            code = player_.SetShuffle(As<SetShuffleStateRequest>(request)->shuffleState, events);
            break;
        case MessageType::GetRepeatStateRequest:
            As<GetRepeatStateResponse>(*response)->repeatState = player_.Status().repeat;
            break;
        case MessageType::SetRepeatStateRequest:
            code = player_.SetRepeat(As<SetRepeatStateRequest>(request)->repeatState, events);
            break;
        case MessageType::GetAlbumArtRequest:
            // Served by the media HTTP side.
            code = player_.AlbumArtPath(&As<GetAlbumArtResponse>(*response)->artURL);
            break;
        case MessageType::GetTrackRatingRequest: {
            const PlayerStatus status = player_.Status();
            As<GetTrackRatingResponse>(*response)->rating =
                status.current ? status.current->rating : -1;
            break;
        }
        case MessageType::SetTrackRatingRequest:
            code = player_.SetRating(As<SetTrackRatingRequest>(request)->rating, events);
            break;
        case MessageType::GetEqPresetsRequest:
            code = player_.EqPresets(&As<GetEqPresetsResponse>(*response)->presets);
            break;
        case MessageType::SetEqPresetRequest:
            code = player_.SetEqPreset(As<SetEqPresetRequest>(request)->preset, events);
            break;
        case MessageType::GetEqRequest:
            code = player_.GetEq(&As<GetEqResponse>(*response)->eq);
            break;
        case MessageType::SetEqRequest:
            code = player_.SetEq(As<SetEqRequest>(request)->eq, events);
            break;
        case MessageType::GetVideoModeRequest:
            code = player_.GetFullScreen(&As<GetVideoModeResponse>(*response)->fullScreenEnabled);
            break;
        case MessageType::SetVideoModeRequest:
            code =
                player_.SetFullScreen(As<SetVideoModeRequest>(request)->fullScreenEnabled, events);
            break;
        case MessageType::GetSpeakerListRequest:
            if (speakers_ != nullptr) {
                As<GetSpeakerListResponse>(*response)->speakers = speakers_->Speakers();
            } else {
                code = player_.Speakers(&As<GetSpeakerListResponse>(*response)->speakers);
            }
            break;
        case MessageType::SelectSpeakerRequest:
            code = player_.SelectSpeaker(As<SelectSpeakerRequest>(request)->id, events);
            break;
        case MessageType::EnableSpeakerRequest: {
            const auto& enable = *As<EnableSpeakerRequest>(request);
            code = player_.EnableSpeaker(enable.id, enable.enabled, events);
            break;
        }
        case MessageType::GetPlayerCapabilitiesRequest: {
            const PlayerCapabilities capabilities = player_.Capabilities();
            auto& answer = *As<GetPlayerCapabilitiesResponse>(*response);
            answer.supportsEQ = capabilities.eq;
            answer.supportsMultipleSpeakers = speakers_ != nullptr || capabilities.multipleSpeakers;
            break;
        }
        case MessageType::GetMediaItemRequest: {
            const auto& item = *As<GetMediaItemRequest>(request);
            LibraryEntry entry;
            code = player_.Item(item.id, item.path, &entry);
            if (code != kSuccess) {
                break;
            }
            auto& answer = *As<GetMediaItemResponse>(*response);
            answer.id = entry.id;
            answer.artist = entry.artist;
            answer.album = entry.album;
            answer.title = entry.title;
            answer.libraryId = player_.LibraryId();
            answer.path = "/Music/Songs/" + std::to_string(entry.id);
            answer.type = entry.type;
            break;
        }
        case MessageType::BrowseGenresRequest: {
            const auto& request_page = static_cast<const BrowseGenresRequest&>(request);
            auto& answer = *As<BrowseGenresResponse>(*response);
            ListPage page;
            code = player_.Browse("/Music/Genres", request_page.start, request_page.count, &page);
            SetPaging(answer, request_page, page.total);
            answer.genres = Titles(page.entries);
            break;
        }
        case MessageType::BrowseArtistsRequest: {
            const auto& request_page = *As<BrowseArtistsRequest>(request);
            auto& answer = *As<BrowseArtistsResponse>(*response);
            const std::string genre =
                request_page.genreName.empty() ? request_page.genre : request_page.genreName;
            const std::string folder = genre.empty()
                                           ? "/Music/Artists"
                                           : "/Music/Genres/" + MediaLibrary::EscapeName(genre);
            ListPage page;
            code = player_.Browse(folder, request_page.start, request_page.count, &page);
            if (code == kNotFound) {
                code = kSuccess;  // a genre without artists
            }
            SetPaging(answer, request_page, page.total);
            answer.artists = Titles(page.entries);
            break;
        }
        case MessageType::MediaSearchRequest: {
            const auto& search = *As<MediaSearchRequest>(request);
            auto& answer = *As<MediaSearchResponse>(*response);
            const std::string text = !search.any.empty()      ? search.any
                                     : !search.title.empty()  ? search.title
                                     : !search.artist.empty() ? search.artist
                                                              : search.album;
            ListPage page;
            code = player_.Search(text, search.start, search.count, &page);
            SetPaging(answer, search, page.total);
            answer.results = Results(page.entries, false);
            break;
        }
        case MessageType::BrowseLibraryRequest: {
            const auto& browse = *As<BrowseLibraryRequest>(request);
            auto& answer = *As<BrowseLibraryResponse>(*response);
            ListPage page;
            code = player_.Browse(browse.path.empty() ? "/" : browse.path, browse.start,
                                  browse.count, &page);
            if (code != kSuccess) {
                break;
            }
            answer.path = browse.path;
            SetPaging(answer, browse, page.total);
            answer.results = Results(page.entries, true);
            break;
        }
        case MessageType::UpdateMediaLibraryRequest:
            code = player_.UpdateLibrary(events);
            break;
        default:
            // The other library queries and anything else: known, not offered.
            code = kUnsupported;
            break;
    }
    response->requestId = request.requestId;
    response->returnCode = code;
    return response;
}

}  // namespace vantor::server
