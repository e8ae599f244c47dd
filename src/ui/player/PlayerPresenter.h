#pragma once

// The player as the window shows it. It is the session's PlayerListener:
// each call on the receiver thread posts its values to the window's thread
// (so the window never reads a state the receiver has not published yet),
// where they reach the screen, the now-playing title, the clock and the
// snapshot handed to the player's watchers (the desktop's media
// controls). It also keeps the position bars moving (progress and
// animation) between the server's reports.
//
// What concerns other rooms (the queue, the equaliser, the speakers, the
// album art, a refused request) is handed on through Hooks.
//
// Threads: the listener calls and SetTitle/Title on any thread; the rest on
// the window's thread.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "session/PlayerListener.h"
#include "ui/player/PlayerSnapshot.h"

namespace vantor::ui {

class FrameTimers;
class HandOff;
class PlaybackClock;
class ScreenView;

class PlayerPresenter final : public PlayerListener {
public:
    // Each called on the window's thread.
    struct Hooks {
        std::function<bool()> connected;
        std::function<bool()> hidden;  // no screen shows (landscape)
        std::function<bool()> showsSongTitleFont;
        std::function<bool()> draggingVolume;
        std::function<bool()> draggingPosition;
        std::function<void(const CurrentMedia&)> songShown;  // after the title, with the media
        std::function<void()> queueChanged;
        std::function<void()> libraryChanged;
        std::function<void(const EqSettings&)> eq;
        std::function<void(const std::vector<std::string>&)> eqPresets;
        std::function<void(const std::vector<Speaker>&)> speakers;
        std::function<void()> artChanged;
        std::function<void(const std::string&)> artUrl;
        std::function<void()> refused;  // the server refused a request
        std::function<void(const std::string&)> clientVersion;
    };

    PlayerPresenter(HandOff& handOff, ScreenView& view, FrameTimers& timers, Hooks hooks);
    ~PlayerPresenter() override;

    PlayerPresenter(const PlayerPresenter&) = delete;
    PlayerPresenter& operator=(const PlayerPresenter&) = delete;

    PlaybackClock& Clock() { return *clock_; }
    // The position thread stops (landscape) or goes on.
    void Suspend(bool suspended);
    // Ends the position thread for good.
    void Stop();

    // The position and time drawn again, and the next animation step due.
    void RefreshProgress();

    // The now-playing title and whether it shows: set by the flow's status
    // texts from any thread, and by the song on the window's.
    std::pair<std::string, bool> Title() const;
    void SetTitle(const std::string& text, bool shown);

    // The volume as last shown, -1 before any; a volume the user set shows
    // at once.
    std::int32_t Volume() const { return volume_; }
    void NoteVolume(std::int32_t percent) { volume_ = percent; }
    // The queue's current entry as the player last said, -1 before.
    std::int32_t PlaylistPosition() const { return playlistPosition_; }
    void SetPlaylistPosition(std::int32_t position) { playlistPosition_ = position; }

    // The snapshot and those told of every change.
    const PlayerSnapshot& Snapshot() const { return snapshot_; }
    void AddWatcher(PlayerWatcher watcher) { watchers_.push_back(std::move(watcher)); }
    void TellWatchers(bool seeked = false);
    // After the session came or went: while none runs the player shows as
    // last known, its clock standing where it was; a new one runs it again
    // as the player last said it plays, until the server says otherwise.
    // Then the watchers are told.
    void FollowSession();
    // The song's art: where the server serves it, then the file shown.
    void SetArtUrl(const std::string& url);
    void SetArtFile(const std::string& file);

    // PlayerListener (the receiver thread): each posts what it was told.
    void OnCurrentMediaChanged(const CurrentMedia& media) override;
    void OnVolumeChanged(std::int32_t volume, std::int32_t difference) override;
    void OnShuffleChanged(bool shuffle) override;
    void OnRepeatChanged(std::int32_t repeat) override;
    void OnPlayingStateChanged(std::int32_t state) override;
    void OnPlaylistPositionChanged(std::int32_t position) override;
    void OnPlayPositionChanged(std::int32_t seconds) override;
    void OnPlaylistChanged(const PlaylistChangedEvent& event) override;
    void OnMediaLibraryChanged(const MediaLibraryChangedEvent& event) override;
    void OnEqChanged(const EqSettings& eq) override;
    void OnAlbumArtChanged(const AlbumArtChangedEvent& event) override;
    void OnCapabilities() override;
    void OnRequestFailed(std::int32_t returnCode, const Message& request) override;
    void OnAlbumArtUrl(const std::string& url) override;
    void OnSpeakerListChanged(const std::vector<Speaker>& speakers) override;
    void OnEqPresets(const std::vector<std::string>& presets) override;
    void OnClientVersion(const GetClientVersionResponse& response) override;

private:
    void ShowMedia(const CurrentMedia& media);
    void ShowTitle();
    void ScheduleAnimation();
    // Work for the window's thread, as a listener call.
    void OnWindow(std::function<void()> work);

    HandOff& handOff_;
    ScreenView& view_;
    FrameTimers& timers_;
    Hooks hooks_;
    std::unique_ptr<PlaybackClock> clock_;

    mutable std::mutex titleMutex_;  // guards the three below
    std::string titleText_;
    bool titleShown_ = false;
    std::string mediaTitleLine_;  // what the song alone would show

    PlayerSnapshot snapshot_;
    std::vector<PlayerWatcher> watchers_;
    std::int32_t volume_ = -1;
    std::int32_t playlistPosition_ = -1;
    bool linked_ = false;  // a session ran when last followed
};

}  // namespace vantor::ui
