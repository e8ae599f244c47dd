#pragma once

// What the connection manager tells the main window about the player. Every
// operation is called on the channel's receiver thread; an implementation
// stores what it needs and hands anything for the screen to its own thread.
// The operations are in their fixed order; each does nothing by default.

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/LibraryMessages.h"
#include "protocol/PlayerMessages.h"
#include "session/PlayerState.h"

namespace vantor {

class PlayerListener {
public:
    virtual ~PlayerListener() = default;

    virtual void OnCurrentMediaChanged(const CurrentMedia& /*media*/) {}
    // The new volume, and the old one minus the new one.
    virtual void OnVolumeChanged(std::int32_t /*volume*/, std::int32_t /*difference*/) {}
    virtual void OnShuffleChanged(bool /*shuffle*/) {}
    virtual void OnRepeatChanged(std::int32_t /*repeat*/) {}
    virtual void OnPlayingStateChanged(std::int32_t /*state*/) {}
    virtual void OnPlaylistPositionChanged(std::int32_t /*position*/) {}
    virtual void OnPlayPositionChanged(std::int32_t /*seconds*/) {}
    virtual void OnPlaylistChanged(const PlaylistChangedEvent& /*event*/) {}
    virtual void OnEqChanged(const EqSettings& /*eq*/) {}
    virtual void OnSpeakerListChanged(const std::vector<Speaker>& /*speakers*/) {}
    virtual void OnAlbumArtChanged(const AlbumArtChangedEvent& /*event*/) {}
    // The capability flags are already stored in the player state.
    virtual void OnCapabilities() {}
    virtual void OnMediaLibraryChanged(const MediaLibraryChangedEvent& /*event*/) {}
    virtual void OnRequestFailed(std::int32_t /*returnCode*/, const Message& /*request*/) {}
    // A page of the play queue, with the start its request asked for.
    virtual void OnPlaylistItems(const GetPlaylistItemsResponse& /*page*/, std::int32_t /*start*/) {
    }
    virtual void OnAlbumArtUrl(const std::string& /*url*/) {}
    virtual void OnArtists(const BrowseArtistsResponse& /*artists*/) {}
    virtual void OnLibraryPage(const BrowseLibraryResponse& /*page*/,
                               const BrowseLibraryRequest& /*request*/) {}
    virtual void OnSearchResults(const std::string& /*text*/,
                                 const MediaSearchResponse& /*results*/) {}
    // Runs the update check; the session starts when it is over.
    virtual void OnClientVersion(const GetClientVersionResponse& /*response*/) {}
    virtual void OnEqPresets(const std::vector<std::string>& /*presets*/) {}
    virtual void OnChannelLost() {}

    // Four more, free for the window's own notifications.
    virtual void OnSpare22() {}
    virtual void OnSpare23() {}
    virtual void OnSpare24() {}
    virtual void OnSpare25() {}
};

}  // namespace vantor
