#include "protocol/PlayerMessages.h"

#include "core/Text.h"

namespace vantor {

std::string_view PlayingStateName(std::int32_t state) {
    switch (state) {
        case PlayingState::Playing:
            return "playing";
        case PlayingState::Paused:
            return "paused";
        case PlayingState::FastForwarding:
            return "fast-forwarding";
        case PlayingState::Rewinding:
            return "rewinding";
        default:
            return "stopped";
    }
}

std::int32_t PlayingStateFromName(std::string_view name, std::int32_t current) {
    const std::string word = ToLowerAscii(name);
    if (word == "playing") {
        return PlayingState::Playing;
    }
    if (word == "paused") {
        return PlayingState::Paused;
    }
    if (word == "fast-forwarding") {
        return PlayingState::FastForwarding;
    }
    if (word == "rewinding") {
        return PlayingState::Rewinding;
    }
    if (word == "stopped") {
        return PlayingState::Stopped;
    }
    return current;
}

namespace {

constexpr std::array<std::string_view, EqSettings::kBands> kBandNames = {
    "band1", "band2", "band3", "band4", "band5", "band6", "band7", "band8", "band9", "band10"};

}  // namespace

void WriteEq(XmlWriter& out, const EqSettings& eq) {
    out.Bool("enabled", eq.enabled);
    out.Bool("autoLoad", eq.autoLoad);
    out.Int("preamp", eq.preamp);
    for (std::size_t band = 0; band < kBandNames.size(); ++band) {
        out.Int(kBandNames[band], eq.bands[band]);
    }
}

EqSettings ReadEq(const XmlView& in) {
    EqSettings eq;
    eq.enabled = in.Bool("enabled");
    eq.autoLoad = in.Bool("autoLoad");
    eq.preamp = in.Int("preamp");
    for (std::size_t band = 0; band < kBandNames.size(); ++band) {
        eq.bands[band] = in.Int(kBandNames[band]);
    }
    return eq;
}

void WriteSpeakers(XmlWriter& out, const std::vector<Speaker>& speakers) {
    out.OpenLine("speakers");
    for (const Speaker& speaker : speakers) {
        out.OpenLine("speaker");
        out.Text("id", speaker.id);
        out.Text("name", speaker.name);
        out.Bool("enabled", speaker.enabled);
        out.Close("speaker");
    }
    out.Close("speakers");
}

std::vector<Speaker> ReadSpeakers(const XmlView& in) {
    std::vector<Speaker> speakers;
    in.ForEach("speaker", [&](const XmlView& entry) {
        speakers.push_back(Speaker{entry.Text("id"), entry.Text("name"), entry.Bool("enabled")});
    });
    return speakers;
}

void MediaSelector::Write(XmlWriter& out) const {
    if (id != -1) {
        out.Int("id", id);
    } else if (!path.empty()) {
        out.Text("path", path);
    } else if (libPath.empty()) {
        out.Media("mediaType", mediaType);
        for (const auto& [name, value] : {std::pair<const char*, const std::string&>{"any", any},
                                          {"genre", genre},
                                          {"artist", artist},
                                          {"album", album},
                                          {"title", title}}) {
            if (!value.empty()) {
                out.Text(name, value);
            }
        }
    } else {
        out.Text("libPath", libPath);
    }
}

void MediaSelector::ReadKeys(const XmlView& in) {
    id = in.Int("id");
    path = in.Text("path");
    libPath = in.Text("libPath");
}

void MediaSelector::ReadQuery(const XmlView& in) {
    any = in.Text("any");
    genre = in.Text("genre");
    artist = in.Text("artist");
    album = in.Text("album");
    title = in.Text("title");
    mediaType = in.Media("type");
}

void GetErrorDetailsRequest::WriteFields(XmlWriter& out) const {
    out.Int("returnCode", returnCode);
}

void GetErrorDetailsRequest::ReadFields(const XmlView& in) {
    returnCode = in.Int("returnCode");
}

void GetErrorDetailsResponse::WriteHeader(XmlWriter& out) const {
    if (requestId != -1) {
        out.Int("requestId", requestId);
    }
}

void GetErrorDetailsResponse::WriteFields(XmlWriter& out) const {
    out.Text("description", description);
}

void GetErrorDetailsResponse::ReadFields(const XmlView& in) {
    description = in.Text("description");
}

void GetClientVersionRequest::WriteFields(XmlWriter& out) const {
    out.Text("type", type);
}

void GetClientVersionRequest::ReadFields(const XmlView& in) {
    type = in.Text("type");
}

void GetClientVersionResponse::WriteFields(XmlWriter& out) const {
    out.Text("version", version);
    out.Text("url", url);
    out.Text("parameters", parameters);
    out.Text("checksum", checksum);
    out.Text("serverVersion", serverVersion);
}

void GetClientVersionResponse::ReadFields(const XmlView& in) {
    version = in.Text("version");
    url = in.Text("url");
    parameters = in.Text("parameters");
    checksum = in.Text("checksum");
    serverVersion = in.Text("serverVersion");
}

void GetServerInfoResponse::WriteFields(XmlWriter& out) const {
    out.Text("name", name);
    out.Text("version", version);
    out.Text("playerType", playerType);
    if (!playerIcon.empty()) {
        out.Text("playerIcon", playerIcon);
    }
}

void GetServerInfoResponse::ReadFields(const XmlView& in) {
    name = in.Text("name");
    version = in.Text("version");
    playerType = in.Text("playerType");
    playerIcon = in.Text("playerIcon");
}

void VersionInformation::WriteFields(XmlWriter& out) const {
    out.Text("Name", Name);
    out.Text("Version", Version);
    out.Text("Action", Action);
    out.Text("Parameters", Parameters);
    out.Text("UpdateURL", UpdateURL);
    out.Text("InfoURL", InfoURL);
    out.Text("Checksum", Checksum);
    out.Text("DSASignature", DSASignature);
    out.Text("MinimumAutoUpdateVersion", MinimumAutoUpdateVersion);
    out.Text("Description", Description);
}

void VersionInformation::ReadFields(const XmlView& in) {
    Name = in.Text("Name");
    Version = in.Text("Version");
    Action = in.Text("Action");
    Parameters = in.Text("Parameters");
    UpdateURL = in.Text("UpdateURL");
    InfoURL = in.Text("InfoURL");
    Checksum = in.Text("Checksum");
    DSASignature = in.Text("DSASignature");
    MinimumAutoUpdateVersion = in.Text("MinimumAutoUpdateVersion");
    Description = in.Text("Description");
}

void PlayMediaRequest::WriteFields(XmlWriter& out) const {
    selector.Write(out);
    if (startingItem != -1) {
        out.Int("startingItem", startingItem);
    }
    if (groupByAlpha) {
        out.Bool("groupByAlpha", groupByAlpha);
    }
}

void PlayMediaRequest::ReadFields(const XmlView& in) {
    selector.ReadKeys(in);
    startingItem = in.Int("startingItem");
    groupByAlpha = in.Bool("groupByAlpha");
    selector.ReadQuery(in);
}

void PlaylistAddRequest::WriteFields(XmlWriter& out) const {
    selector.Write(out);
    if (position != -1) {
        out.Int("position", position);
    }
}

void PlaylistAddRequest::ReadFields(const XmlView& in) {
    selector.ReadKeys(in);
    position = in.Int("position");
    selector.ReadQuery(in);
}

void PlaylistMoveRequest::WriteFields(XmlWriter& out) const {
    out.Int("position", position);
    out.Int("newPosition", newPosition);
}

void PlaylistMoveRequest::ReadFields(const XmlView& in) {
    position = in.Int("position");
    newPosition = in.Int("newPosition");
}

void GetCurrentStateRequest::WriteFields(XmlWriter& out) const {
    out.Int("revision", revision);
}

void GetCurrentStateRequest::ReadFields(const XmlView& in) {
    revision = in.Int("revision");
}

void GetCurrentStateResponse::WriteFields(XmlWriter& out) const {
    out.Text("playingState", PlayingStateName(playingState));
    out.Int("volume", volume);
    out.Int("playlistPosition", playlistPosition);
    out.Int("playbackPosition", playbackPosition);
    out.Bool("shuffleState", shuffleState);
    out.Bool("repeatState", repeatState != RepeatState::Off);
    out.Text("artist", artist);
    out.Text("album", album);
    out.Text("title", title);
    if (length != -1) {
        out.Int("length", length);
    }
    if (rating != -1) {
        out.Int("rating", rating);
    }
}

void GetCurrentStateResponse::ReadFields(const XmlView& in) {
    playingState = PlayingStateFromName(in.Text("playingState"), playingState);
    volume = in.Int("volume");
    playlistPosition = in.Int("playlistPosition");
    playbackPosition = in.Int("playbackPosition");
    shuffleState = in.Bool("shuffleState");
    repeatState = in.Bool("repeatState") ? RepeatState::All : RepeatState::Off;
    artist = in.Text("artist");
    album = in.Text("album");
    title = in.Text("title");
    length = in.Int("length");
    rating = in.Int("rating");
}

void GetPlaylistLengthResponse::WriteFields(XmlWriter& out) const {
    out.Int("length", length);
}

void GetPlaylistLengthResponse::ReadFields(const XmlView& in) {
    length = in.Int("length");
}

void GetPlaylistItemsRequest::WriteFields(XmlWriter& out) const {
    if (start != -1) {
        out.Int("start", start);
    }
    if (count != -1) {
        out.Int("count", count);
    }
    if (includeTotalCount) {
        out.Bool("includeTotalCount", includeTotalCount);
    }
}

void GetPlaylistItemsRequest::ReadFields(const XmlView& in) {
    start = in.Int("start");
    count = in.Int("count");
    includeTotalCount = in.Bool("includeTotalCount");
}

void GetPlaylistItemsResponse::WriteFields(XmlWriter& out) const {
    if (start != -1) {
        out.Int("start", start);
    }
    if (totalCount != -1) {
        out.Int("totalCount", totalCount);
    }
    for (const PlaylistItem& item : items) {
        out.OpenLine("item");
        if (item.mediaId > 0) {
            out.Int("mediaId", item.mediaId);
        }
        if (item.container) {
            out.Bool("container", item.container);
        }
        out.Text("title", item.title);
        if (!item.artist.empty()) {
            out.Text("artist", item.artist);
        }
        out.Close("item");
    }
}

void GetPlaylistItemsResponse::ReadFields(const XmlView& in) {
    totalCount = in.Int("totalCount");
    items.clear();
    in.ForEach("item", [&](const XmlView& entry) {
        PlaylistItem& item = items.emplace_back();
        item.mediaId = entry.Int("mediaId");
        item.container = entry.Bool("container");
        item.title = entry.Text("name");
        item.artist = entry.Text("artist");
        item.type = entry.Media("type");
    });
}

void GetAlbumArtRequest::WriteFields(XmlWriter& out) const {
    if (width != -1) {
        out.Int("width", width);
    }
    if (height != -1) {
        out.Int("width", height);
    }
}

void GetAlbumArtRequest::ReadFields(const XmlView& in) {
    width = in.Int("width");
    height = in.Int("height");
}

void GetAlbumArtResponse::WriteFields(XmlWriter& out) const {
    out.Text("artURL", artURL);
}

void GetAlbumArtResponse::ReadFields(const XmlView& in) {
    artURL = in.Text("artURL");
}

void GetEqPresetsResponse::WriteFields(XmlWriter& out) const {
    for (const std::string& preset : presets) {
        out.Text("preset", preset);
    }
}

void GetEqPresetsResponse::ReadFields(const XmlView& in) {
    presets = in.TextList("preset");
}

void SetEqPresetRequest::WriteFields(XmlWriter& out) const {
    out.Text("preset", preset);
}

void SetEqPresetRequest::ReadFields(const XmlView& in) {
    preset = in.Text("preset");
}

void SelectSpeakerRequest::WriteFields(XmlWriter& out) const {
    out.Text("id", id);
}

void SelectSpeakerRequest::ReadFields(const XmlView& in) {
    id = in.Text("id");
}

void EnableSpeakerRequest::WriteFields(XmlWriter& out) const {
    out.Text("id", id);
    out.Bool("enabled", enabled);
}

void EnableSpeakerRequest::ReadFields(const XmlView& in) {
    id = in.Text("id");
    enabled = in.Bool("enabled");
}

void GetPlayerCapabilitiesResponse::WriteFields(XmlWriter& out) const {
    out.Bool("supportsEQ", supportsEQ);
    out.Bool("supportsMultipleSpeakers", supportsMultipleSpeakers);
}

void GetPlayerCapabilitiesResponse::ReadFields(const XmlView& in) {
    supportsEQ = in.Bool("supportsEQ");
    supportsMultipleSpeakers = in.Bool("supportsMultipleSpeakers");
}

void CurrentMediaChangedEvent::WriteFields(XmlWriter& out) const {
    out.Media("type", type);
    out.Text("artist", artist);
    out.Text("album", album);
    out.Text("title", title);
    if (length != -1) {
        out.Int("length", length);
    }
    if (rating != -1) {
        out.Int("rating", rating);
    }
}

void CurrentMediaChangedEvent::ReadFields(const XmlView& in) {
    artist = in.Text("artist");
    album = in.Text("album");
    title = in.Text("title");
    length = in.Int("length");
    rating = in.Int("rating");
    type = in.Media("type");
}

void PlaylistPositionChangedEvent::WriteFields(XmlWriter& out) const {
    out.Int("playlistPosition", playlistPosition);
}

void PlaylistPositionChangedEvent::ReadFields(const XmlView& in) {
    playlistPosition = in.Int("playlistPosition");
}

void PlayPositionChangedEvent::WriteFields(XmlWriter& out) const {
    out.Int("playbackPosition", playbackPosition);
}

void PlayPositionChangedEvent::ReadFields(const XmlView& in) {
    playbackPosition = in.Int("playbackPosition");
}

}  // namespace vantor
