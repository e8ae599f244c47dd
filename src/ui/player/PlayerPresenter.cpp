#include "ui/player/PlayerPresenter.h"

#include <algorithm>

#include "core/Logger.h"
#include "protocol/Messages.h"
#include "session/NowPlaying.h"
#include "ui/player/PlaybackClock.h"
#include "ui/view/ScreenView.h"
#include "ui/window/FrameTimers.h"
#include "ui/window/HandOff.h"

namespace vantor::ui {

using std::chrono::milliseconds;

PlayerPresenter::PlayerPresenter(HandOff& handOff, ScreenView& view, FrameTimers& timers,
                                 Hooks hooks)
    : handOff_(handOff),
      view_(view),
      timers_(timers),
      hooks_(std::move(hooks)),
      clock_(std::make_unique<PlaybackClock>(
          [mailbox = handOff.Mailbox()] { mailbox->Post(FrameMessage::Progress); })) {}

PlayerPresenter::~PlayerPresenter() = default;

void PlayerPresenter::Suspend(bool suspended) {
    clock_->Suspend(suspended);
    if (suspended) {
        timers_.Kill(TimerId::Animation);
    } else {
        timers_.Start(TimerId::Animation, milliseconds(30));
    }
}

void PlayerPresenter::Stop() {
    timers_.Kill(TimerId::Animation);
    clock_.reset();
}

void PlayerPresenter::RefreshProgress() {
    if (!clock_ || hooks_.hidden()) {
        return;
    }
    view_.SetPosition(clock_->PositionMs(), clock_->Length());
    ScheduleAnimation();
}

// The animation step moves the position bars. It is due when the next
// pixel of a bar on the screen is (at most every 30 ms), and rests while
// nothing moves: a step every 30 ms would wake the program 33 times a
// second to change a pixel twice. The seconds of the time text come from
// the position thread.
void PlayerPresenter::ScheduleAnimation() {
    const std::int64_t due =
        clock_->Playing() ? view_.MsUntilNextPixel(clock_->PositionMs(), clock_->Length()) : -1;
    if (due < 0) {
        timers_.Kill(TimerId::Animation);
        return;
    }
    timers_.Start(TimerId::Animation, milliseconds(std::clamp<std::int64_t>(due, 30, 1000)));
}

std::pair<std::string, bool> PlayerPresenter::Title() const {
    std::lock_guard lock(titleMutex_);
    return {titleText_, titleShown_};
}

void PlayerPresenter::SetTitle(const std::string& text, bool shown) {
    {
        std::lock_guard lock(titleMutex_);
        titleText_ = text;
        titleShown_ = shown;
    }
    handOff_.PostCall([this] { ShowTitle(); });
}

void PlayerPresenter::ShowTitle() {
    std::string text;
    bool shown = false;
    bool status = false;
    {
        std::lock_guard lock(titleMutex_);
        text = titleText_;
        shown = titleShown_;
        status = titleText_ != mediaTitleLine_;
    }
    view_.SetSongTitle(text, shown, status);
}

void PlayerPresenter::ShowMedia(const CurrentMedia& media) {
    const std::string line =
        TitleLine(media.artist, media.title, media.length, hooks_.showsSongTitleFont());
    {
        std::lock_guard lock(titleMutex_);
        mediaTitleLine_ = line;
        titleText_ = line;
        titleShown_ = !line.empty();
    }
    ShowTitle();
    view_.SetMediaLines(media.title, media.artist, media.album);
    clock_->SetLength(media.length);
    if (snapshot_.media.title != media.title || snapshot_.media.artist != media.artist ||
        snapshot_.media.album != media.album || snapshot_.media.length != media.length) {
        ++snapshot_.song;
        snapshot_.artUrl.clear();
        snapshot_.artFile.clear();
    }
    snapshot_.media = media;
    RefreshProgress();
    hooks_.songShown(media);
    TellWatchers();
}

void PlayerPresenter::TellWatchers(bool seeked) {
    snapshot_.connected = hooks_.connected();
    snapshot_.positionMs = clock_ ? clock_->PositionMs() : -1;
    snapshot_.seeked = seeked;
    for (const PlayerWatcher& watcher : watchers_) {
        watcher(snapshot_);
    }
}

void PlayerPresenter::FollowSession() {
    const bool connected = hooks_.connected();
    if (clock_ && connected != linked_) {
        linked_ = connected;
        clock_->SetPlaying(connected && snapshot_.playingState == PlayingState::Playing);
        RefreshProgress();
    }
    TellWatchers();
}

void PlayerPresenter::SetArtUrl(const std::string& url) {
    snapshot_.artUrl = url;
    snapshot_.artFile.clear();
    TellWatchers();
}

void PlayerPresenter::SetArtFile(const std::string& file) {
    view_.SetAlbumArt(file.empty() ? QImage() : QImage(QString::fromStdString(file)));
    snapshot_.artFile = file;
    TellWatchers();
}

void PlayerPresenter::OnWindow(std::function<void()> work) {
    handOff_.Post(FrameMessage::NowPlaying, 0, std::move(work));
}

void PlayerPresenter::OnCurrentMediaChanged(const CurrentMedia& media) {
    OnWindow([this, media] { ShowMedia(media); });
}

void PlayerPresenter::OnVolumeChanged(std::int32_t volume, std::int32_t /*difference*/) {
    OnWindow([this, volume] {
        volume_ = volume;
        if (!hooks_.draggingVolume()) {
            view_.SetVolumePercent(volume);
        }
        snapshot_.volume = volume;
        TellWatchers();
    });
}

void PlayerPresenter::OnShuffleChanged(bool shuffle) {
    OnWindow([this, shuffle] {
        view_.SetShuffle(shuffle);
        snapshot_.shuffle = shuffle;
        TellWatchers();
    });
}

void PlayerPresenter::OnRepeatChanged(std::int32_t repeat) {
    OnWindow([this, repeat] {
        view_.SetRepeat(repeat);
        snapshot_.repeat = repeat;
        TellWatchers();
    });
}

void PlayerPresenter::OnPlayingStateChanged(std::int32_t state) {
    OnWindow([this, state] {
        view_.SetPlayingState(state);
        // Told late, after the session went, it moves no clock.
        clock_->SetPlaying(state == PlayingState::Playing && hooks_.connected());
        RefreshProgress();
        snapshot_.playingState = state;
        TellWatchers();
    });
}

void PlayerPresenter::OnPlaylistPositionChanged(std::int32_t position) {
    handOff_.Post(FrameMessage::PlaylistRow, position);
}

void PlayerPresenter::OnPlayPositionChanged(std::int32_t seconds) {
    OnWindow([this, seconds] {
        if (hooks_.draggingPosition()) {
            return;
        }
        const std::int64_t running = clock_->PositionMs();
        clock_->Report(seconds, clock_->Playing(), clock_->Length());
        RefreshProgress();
        // A position that does not follow from the running one is a jump.
        const std::int64_t now = clock_->PositionMs();
        if (running < 0 || now < running || now - running >= 1500) {
            TellWatchers(true);
        }
    });
}

void PlayerPresenter::OnPlaylistChanged(const PlaylistChangedEvent& /*event*/) {
    OnWindow([this] { hooks_.queueChanged(); });
}

void PlayerPresenter::OnMediaLibraryChanged(const MediaLibraryChangedEvent& /*event*/) {
    OnWindow([this] { hooks_.libraryChanged(); });
}

void PlayerPresenter::OnEqChanged(const EqSettings& eq) {
    OnWindow([this, eq] { hooks_.eq(eq); });
}

void PlayerPresenter::OnEqPresets(const std::vector<std::string>& presets) {
    OnWindow([this, presets] { hooks_.eqPresets(presets); });
}

void PlayerPresenter::OnSpeakerListChanged(const std::vector<Speaker>& speakers) {
    OnWindow([this, speakers] { hooks_.speakers(speakers); });
}

void PlayerPresenter::OnAlbumArtChanged(const AlbumArtChangedEvent& /*event*/) {
    OnWindow([this] { hooks_.artChanged(); });
}

void PlayerPresenter::OnCapabilities() {
    handOff_.Post(FrameMessage::MenuItems);
}

void PlayerPresenter::OnRequestFailed(std::int32_t returnCode, const Message& request) {
    Log(kLogError, "The server refused %s (%d)",
        std::string(MessageTypeName(request.Type())).c_str(), returnCode);
    OnWindow([this] { hooks_.refused(); });
}

void PlayerPresenter::OnAlbumArtUrl(const std::string& url) {
    OnWindow([this, url] { hooks_.artUrl(url); });
}

void PlayerPresenter::OnClientVersion(const GetClientVersionResponse& response) {
    // The About page reads it on the window's thread.
    handOff_.PostCall([this, version = response.serverVersion] { hooks_.clientVersion(version); });
}

}  // namespace vantor::ui
