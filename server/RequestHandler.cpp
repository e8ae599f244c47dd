#include "RequestHandler.h"

#include <algorithm>

#include "protocol/MessageFactory.h"

namespace vantor::server {

namespace {

template <class T, class M>
void Append(T& to, M&& from) {
    std::move(from.begin(), from.end(), std::back_inserter(to));
}

// Applies start and count to a list answered in pages.
template <class Entry>
std::vector<Entry> Page(const std::vector<Entry>& all, std::int32_t start, std::int32_t count) {
    const std::size_t first = start < 0 ? 0 : std::min<std::size_t>(start, all.size());
    std::size_t last = all.size();
    if (count >= 0) {
        last = std::min(all.size(), first + static_cast<std::size_t>(count));
    }
    return std::vector<Entry>(all.begin() + static_cast<std::ptrdiff_t>(first),
                              all.begin() + static_cast<std::ptrdiff_t>(last));
}

std::vector<MediaResult> Results(const std::vector<LibraryEntry>& entries, bool withPath) {
    std::vector<MediaResult> results;
    results.reserve(entries.size());
    for (const LibraryEntry& entry : entries) {
        results.push_back(MediaResult{entry.id, entry.type, entry.container, entry.title,
                                      withPath ? entry.path : std::string()});
    }
    return results;
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

}  // namespace

RequestHandler::RequestHandler(const MediaLibrary& library, PlayerModel& player, ServerInfo info)
    : library_(library), player_(player), info_(std::move(info)) {}

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
        default:
            return "Unknown result code.";
    }
}

std::vector<std::int32_t> RequestHandler::Select(const MediaSelector& selector) const {
    if (selector.id != -1) {
        return library_.Find(selector.id) ? std::vector<std::int32_t>{selector.id}
                                          : std::vector<std::int32_t>{};
    }
    if (!selector.path.empty()) {
        return library_.SongsAt(selector.path);
    }
    if (!selector.libPath.empty()) {
        return library_.SongsAt(selector.libPath);
    }
    std::vector<std::int32_t> songs;
    for (const Track& track : library_.Tracks()) {
        const auto matches = [](const std::string& wanted, const std::string& value) {
            return wanted.empty() || wanted == value;
        };
        const bool any = selector.any.empty() ||
                         track.title.find(selector.any) != std::string::npos ||
                         track.artist.find(selector.any) != std::string::npos ||
                         track.album.find(selector.any) != std::string::npos;
        if (any && matches(selector.genre, track.genre) && matches(selector.artist, track.artist) &&
            matches(selector.album, track.album) && matches(selector.title, track.title)) {
            songs.push_back(track.id);
        }
    }
    return songs;
}

std::unique_ptr<Message> RequestHandler::Handle(const Message& request, Events& events) {
    const auto type = request.Type();
    if (type == MessageType::UnrecognizedRequest) {
        return nullptr;  // a request in name only: there is nothing to answer
    }
    // The response type follows its request's id.
    std::unique_ptr<Message> response =
        MessageFactory::Create(static_cast<std::uint32_t>(type) + 1);
    if (!response) {
        response = std::make_unique<BareResponse>(
            static_cast<MessageType>(static_cast<std::uint32_t>(type) + 1));
    }
    std::int32_t code = kSuccess;
    const auto fail = [&code](bool ok, std::int32_t failure) {
        if (!ok) {
            code = failure;
        }
    };

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
            Append(events, player_.PlayPause());
            break;
        case MessageType::PlayRequest:
            Append(events, player_.Play());
            break;
        case MessageType::PauseRequest:
            Append(events, player_.Pause());
            break;
        case MessageType::StopRequest:
            Append(events, player_.Stop());
            break;
        case MessageType::FastForwardRequest:
            Append(events, player_.FastForward());
            break;
        case MessageType::RewindRequest:
            Append(events, player_.Rewind());
            break;
        case MessageType::PreviousItemRequest:
            Append(events, player_.Previous());
            break;
        case MessageType::NextItemRequest:
            Append(events, player_.Next());
            break;
        case MessageType::GetPlaylistPositionRequest:
            As<GetPlaylistPositionResponse>(*response)->position = player_.QueuePosition();
            break;
        case MessageType::SetPlaylistPositionRequest:
            fail(
                player_.SetQueuePosition(As<SetPlaylistPositionRequest>(request)->position, events),
                kBadParameter);
            break;
        case MessageType::PlayMediaRequest: {
            const auto& play = *As<PlayMediaRequest>(request);
            fail(player_.PlayNow(Select(play.selector), play.startingItem, events), kNotFound);
            break;
        }
        case MessageType::PlaylistAddRequest: {
            const auto& add = *As<PlaylistAddRequest>(request);
            const auto songs = Select(add.selector);
            fail(!songs.empty(), kNotFound);
            if (!songs.empty()) {
                fail(player_.Add(songs, add.position, events), kBadParameter);
            }
            break;
        }
        case MessageType::PlaylistRemoveRequest:
            fail(player_.Remove(As<PlaylistRemoveRequest>(request)->position, events),
                 kBadParameter);
            break;
        case MessageType::PlaylistMoveRequest: {
            const auto& move = *As<PlaylistMoveRequest>(request);
            fail(player_.Move(move.position, move.newPosition, events), kBadParameter);
            break;
        }
        case MessageType::PlaylistClearRequest:
            Append(events, player_.Clear());
            break;
        case MessageType::GetCurrentStateRequest: {
            auto& state = *As<GetCurrentStateResponse>(*response);
            state.playingState = player_.PlayingState();
            state.volume = player_.Volume();
            state.playlistPosition = player_.QueuePosition();
            state.playbackPosition = player_.PlaybackPosition();
            state.shuffleState = player_.Shuffle();
            state.repeatState = player_.Repeat();
            if (const Track* track = player_.Current()) {
                state.artist = track->artist;
                state.album = track->album;
                state.title = track->title;
                state.length = track->length;
                state.rating = player_.CurrentRating();
            }
            break;
        }
        case MessageType::GetVolumeRequest:
            As<GetVolumeResponse>(*response)->volume = player_.Volume();
            break;
        case MessageType::SetVolumeRequest: {
            const std::int32_t volume = As<SetVolumeRequest>(request)->volume;
            fail(volume >= 0 && volume <= 100, kBadParameter);
            if (code == kSuccess) {
                Append(events, player_.SetVolume(volume));
            }
            break;
        }
        case MessageType::GetPlayPositionRequest:
            As<GetPlayPositionResponse>(*response)->position = player_.PlaybackPosition();
            break;
        case MessageType::SetPlayPositionRequest:
            fail(player_.SetPlaybackPosition(As<SetPlayPositionRequest>(request)->position, events),
                 kBadParameter);
            break;
        case MessageType::GetPlayingStateRequest:
            As<GetPlayingStateResponse>(*response)->playingState = player_.PlayingState();
            break;
        case MessageType::GetPlaylistLengthRequest:
            As<GetPlaylistLengthResponse>(*response)->length =
                static_cast<std::int32_t>(player_.Queue().size());
            break;
        case MessageType::GetPlaylistItemsRequest: {
            const auto& page = *As<GetPlaylistItemsRequest>(request);
            auto& answer = *As<GetPlaylistItemsResponse>(*response);
            std::vector<PlaylistItem> items;
            for (const std::int32_t id : player_.Queue()) {
                const Track* track = library_.Find(id);
                items.push_back(PlaylistItem{id, false, track ? track->title : std::string(),
                                             track ? track->artist : std::string(),
                                             MediaType::Music});
            }
            SetPaging(answer, page, items.size());
            answer.items = Page(items, page.start, page.count);
            break;
        }
        case MessageType::GetShuffleStateRequest:
            As<GetShuffleStateResponse>(*response)->shuffleState = player_.Shuffle();
            break;
        case MessageType::SetShuffleStateRequest:
            Append(events, player_.SetShuffle(As<SetShuffleStateRequest>(request)->shuffleState));
            break;
        case MessageType::GetRepeatStateRequest:
            As<GetRepeatStateResponse>(*response)->repeatState = player_.Repeat();
            break;
        case MessageType::SetRepeatStateRequest:
            Append(events, player_.SetRepeat(As<SetRepeatStateRequest>(request)->repeatState));
            break;
        case MessageType::GetAlbumArtRequest:
            // Served by the media HTTP side; the path names the current song.
            if (const Track* track = player_.Current()) {
                As<GetAlbumArtResponse>(*response)->artURL =
                    "/art/" + std::to_string(track->id) + ".png";
            } else {
                code = kNotFound;
            }
            break;
        case MessageType::GetTrackRatingRequest:
            As<GetTrackRatingResponse>(*response)->rating = player_.CurrentRating();
            break;
        case MessageType::SetTrackRatingRequest:
            fail(player_.SetRating(As<SetTrackRatingRequest>(request)->rating, events),
                 kBadParameter);
            break;
        case MessageType::GetEqPresetsRequest:
            for (const EqPreset& preset : player_.Presets()) {
                As<GetEqPresetsResponse>(*response)->presets.push_back(preset.name);
            }
            break;
        case MessageType::SetEqPresetRequest:
            fail(player_.SetEqPreset(As<SetEqPresetRequest>(request)->preset, events), kNotFound);
            break;
        case MessageType::GetEqRequest:
            As<GetEqResponse>(*response)->eq = player_.Eq();
            break;
        case MessageType::SetEqRequest:
            Append(events, player_.SetEq(As<SetEqRequest>(request)->eq));
            break;
        case MessageType::GetVideoModeRequest:
            As<GetVideoModeResponse>(*response)->fullScreenEnabled = player_.FullScreen();
            break;
        case MessageType::SetVideoModeRequest:
            Append(events,
                   player_.SetFullScreen(As<SetVideoModeRequest>(request)->fullScreenEnabled));
            break;
        case MessageType::GetSpeakerListRequest:
            As<GetSpeakerListResponse>(*response)->speakers = player_.Speakers();
            break;
        case MessageType::SelectSpeakerRequest:
            fail(player_.SelectSpeaker(As<SelectSpeakerRequest>(request)->id, events), kNotFound);
            break;
        case MessageType::EnableSpeakerRequest: {
            const auto& enable = *As<EnableSpeakerRequest>(request);
            fail(player_.EnableSpeaker(enable.id, enable.enabled, events), kNotFound);
            break;
        }
        case MessageType::GetPlayerCapabilitiesRequest: {
            auto& answer = *As<GetPlayerCapabilitiesResponse>(*response);
            answer.supportsEQ = true;
            answer.supportsMultipleSpeakers = true;
            break;
        }
        case MessageType::GetMediaItemRequest: {
            const auto& item = *As<GetMediaItemRequest>(request);
            std::vector<std::int32_t> songs;
            if (item.id != -1) {
                songs.push_back(item.id);
            } else {
                songs = library_.SongsAt(item.path);
            }
            const Track* track = songs.size() == 1 ? library_.Find(songs[0]) : nullptr;
            if (track == nullptr) {
                code = kNotFound;
                break;
            }
            auto& answer = *As<GetMediaItemResponse>(*response);
            answer.id = track->id;
            answer.artist = track->artist;
            answer.album = track->album;
            answer.title = track->title;
            answer.libraryId = "simulated";
            answer.path = "/Music/Songs/" + std::to_string(track->id);
            answer.type = track->type;
            break;
        }
        case MessageType::BrowseGenresRequest: {
            const auto& page = static_cast<const BrowseGenresRequest&>(request);
            auto& answer = *As<BrowseGenresResponse>(*response);
            const auto genres = library_.Genres();
            SetPaging(answer, page, genres.size());
            answer.genres = Page(genres, page.start, page.count);
            break;
        }
        case MessageType::BrowseArtistsRequest: {
            const auto& page = *As<BrowseArtistsRequest>(request);
            auto& answer = *As<BrowseArtistsResponse>(*response);
            const auto artists =
                library_.Artists(page.genreName.empty() ? page.genre : page.genreName);
            SetPaging(answer, page, artists.size());
            answer.artists = Page(artists, page.start, page.count);
            break;
        }
        case MessageType::MediaSearchRequest: {
            const auto& search = *As<MediaSearchRequest>(request);
            auto& answer = *As<MediaSearchResponse>(*response);
            const std::string text = !search.any.empty()      ? search.any
                                     : !search.title.empty()  ? search.title
                                     : !search.artist.empty() ? search.artist
                                                              : search.album;
            const auto results = library_.Search(text);
            SetPaging(answer, search, results.size());
            answer.results = Results(Page(results, search.start, search.count), false);
            break;
        }
        case MessageType::BrowseLibraryRequest: {
            const auto& browse = *As<BrowseLibraryRequest>(request);
            auto& answer = *As<BrowseLibraryResponse>(*response);
            const auto entries = library_.Browse(browse.path.empty() ? "/" : browse.path);
            if (!entries) {
                code = kNotFound;
                break;
            }
            answer.path = browse.path;
            SetPaging(answer, browse, entries->size());
            answer.results = Results(Page(*entries, browse.start, browse.count), true);
            break;
        }
        case MessageType::UpdateMediaLibraryRequest:
            events.push_back(std::make_unique<MediaLibraryChangedEvent>());
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
