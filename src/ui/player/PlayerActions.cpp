#include "ui/player/PlayerActions.h"

#include <algorithm>
#include <cmath>

#include "media/LibraryBrowser.h"
#include "protocol/Messages.h"
#include "skin/SkinBar.h"
#include "ui/keys/FunctionTable.h"
#include "ui/player/PlaybackClock.h"
#include "ui/player/PlayerPresenter.h"
#include "ui/screens/EqScreen.h"
#include "ui/view/ScreenView.h"

namespace vantor::ui {

namespace {

template <typename Request>
std::unique_ptr<Message> Make() {
    return std::make_unique<Request>();
}

}  // namespace

PlayerActions::PlayerActions(QObject* owner, RequestSink& requests, ScreenView& view,
                             PlayerPresenter& presenter, EqScreen& eq,
                             std::function<PlayerState()> player)
    : requests_(requests),
      view_(view),
      presenter_(presenter),
      eq_(eq),
      player_(std::move(player)),
      volumeDrag_(owner,
                  [this](std::int32_t percent) {
                      auto request = std::make_unique<SetVolumeRequest>();
                      request->volume = percent;
                      Post(std::move(request));
                  }),
      positionDrag_(owner, [this](std::int32_t seconds) {
          auto request = std::make_unique<SetPlayPositionRequest>();
          request->position = seconds;
          Post(std::move(request));
      }) {}

SendResult PlayerActions::Send(std::unique_ptr<Message> request) {
    return requests_.SendRequest(std::move(request));
}

SendResult PlayerActions::Do(PlayerAction action) {
    switch (action) {
        case PlayerAction::Play:
            return Send(Make<PlayRequest>());
        case PlayerAction::Pause:
            return Send(Make<PauseRequest>());
        case PlayerAction::PlayPause:
            return Do(player_().playingState == PlayingState::Playing ? PlayerAction::Pause
                                                                      : PlayerAction::Play);
        case PlayerAction::Stop:
            return Send(Make<StopRequest>());
        case PlayerAction::Next:
            return Send(Make<NextItemRequest>());
        case PlayerAction::Previous:
            return Send(Make<PreviousItemRequest>());
        // The toggles show their new value at once, but only once it has
        // gone: a request that never left brings no answer to set it back.
        case PlayerAction::ToggleRepeat: {
            const std::int32_t repeat =
                view_.Content().repeat == RepeatState::Off ? RepeatState::All : RepeatState::Off;
            auto request = std::make_unique<SetRepeatStateRequest>();
            request->repeatState = repeat;
            const SendResult result = Send(std::move(request));
            if (result == SendResult::Sent) {
                view_.SetRepeat(repeat);
            }
            return result;
        }
        case PlayerAction::ToggleShuffle: {
            const bool shuffle = !view_.Content().shuffle;
            auto request = std::make_unique<SetShuffleStateRequest>();
            request->shuffleState = shuffle;
            const SendResult result = Send(std::move(request));
            if (result == SendResult::Sent) {
                view_.SetShuffle(shuffle);
            }
            return result;
        }
    }
    return SendResult::Sent;
}

void PlayerActions::Act(PlayerAction action) {
    static_cast<void>(Do(action));
}

void PlayerActions::Post(std::unique_ptr<Message> request) {
    static_cast<void>(Send(std::move(request)));
}

bool PlayerActions::SkinButton(std::string_view component) {
    static constexpr std::pair<std::string_view, PlayerAction> kButtons[] = {
        {"play", PlayerAction::Play},
        {"pause", PlayerAction::Pause},
        {"stop", PlayerAction::Stop},
        {"prev", PlayerAction::Previous},
        {"next", PlayerAction::Next},
        {"repeat", PlayerAction::ToggleRepeat},
        {"shuffle", PlayerAction::ToggleShuffle},
    };
    if (eq_.Toggle(component)) {
        return true;
    }
    for (const auto& [name, action] : kButtons) {
        if (component == name) {
            Act(action);
            return true;
        }
    }
    return false;
}

bool PlayerActions::Function(FunctionId id) {
    constexpr int kVolumeStep = 5;
    constexpr std::int32_t kSkipSeconds = 5;
    switch (id) {
        case FunctionId::Play:
            Act(PlayerAction::Play);
            return true;
        case FunctionId::Pause:
            Act(PlayerAction::Pause);
            return true;
        case FunctionId::PlayPause:
            Act(PlayerAction::PlayPause);
            return true;
        case FunctionId::Stop:
            Act(PlayerAction::Stop);
            return true;
        case FunctionId::NextSong:
            Act(PlayerAction::Next);
            return true;
        case FunctionId::PreviousSong:
            Act(PlayerAction::Previous);
            return true;
        case FunctionId::VolumeUp:
            StepVolume(kVolumeStep);
            return true;
        case FunctionId::VolumeDown:
            StepVolume(-kVolumeStep);
            return true;
        case FunctionId::ToggleRepeat:
            Act(PlayerAction::ToggleRepeat);
            return true;
        case FunctionId::ToggleShuffle:
            Act(PlayerAction::ToggleShuffle);
            return true;
        case FunctionId::FastForward:
            SkipBy(kSkipSeconds);
            return true;
        case FunctionId::Rewind:
            SkipBy(-kSkipSeconds);
            return true;
        case FunctionId::NowPlaying:
            return false;  // a screen switch: the window's to make
    }
    return false;
}

void PlayerActions::BarDragged(std::string_view back, std::int32_t value, std::int32_t extent,
                               bool finished) {
    if (extent <= 0) {
        return;
    }
    if (back == kVolumeBar.back) {
        const auto percent = static_cast<std::int32_t>(std::lround(100.0 * value / extent));
        if (finished) {
            presenter_.NoteVolume(percent);
            view_.SetVolumePixels(value);
            volumeDrag_.Finish(percent);
        } else {
            volumeDrag_.Update(percent);
        }
    } else if (back.rfind("eq.", 0) == 0) {
        for (int track = 0; track < kEqTracks; ++track) {
            if (back == EqTrackName(track)) {
                eq_.TrackDragged(track, EqPixelsToGain(value, extent), finished);
            }
        }
    } else if (back == kPositionBar.back || back == kNowPlayingPositionBar.back) {
        PlaybackClock& clock = presenter_.Clock();
        const std::int32_t length = clock.Length();
        if (length <= 0) {
            return;  // nothing to seek in
        }
        const auto seconds =
            static_cast<std::int32_t>(std::lround(double(value) * length / extent));
        if (finished) {
            clock.Report(seconds, clock.Playing(), length);
            positionDrag_.Finish(seconds);
            presenter_.RefreshProgress();
        } else {
            positionDrag_.Update(seconds);
        }
    }
}

void PlayerActions::BarDragCancelled(std::string_view back) {
    if (back == kVolumeBar.back) {
        volumeDrag_.Cancel();
        if (presenter_.Volume() >= 0) {
            view_.SetVolumePercent(presenter_.Volume());
        }
    } else if (back.rfind("eq.", 0) == 0) {
        eq_.TrackDragCancelled();
    } else if (back == kPositionBar.back || back == kNowPlayingPositionBar.back) {
        positionDrag_.Cancel();
        presenter_.RefreshProgress();
    }
}

void PlayerActions::StepVolume(int percent) {
    // The step starts from the fill the user sees, which a drag may have
    // moved ahead of the server's answer.
    const auto step =
        vantor::ui::StepVolume(view_.Content().volumePixels, view_.VolumeWidth(), percent);
    if (!step) {
        return;
    }
    auto request = std::make_unique<SetVolumeRequest>();
    request->volume = step->volume;
    if (Send(std::move(request)) == SendResult::Sent) {
        presenter_.NoteVolume(step->volume);
        view_.SetVolumePixels(step->fillPixels);
    }
}

void PlayerActions::SkipBy(std::int32_t seconds) {
    PlaybackClock& clock = presenter_.Clock();
    const std::int32_t length = clock.Length();
    if (length <= 0) {
        return;  // nothing to skip in
    }
    // Summed wide: a length near the 32-bit limit comes from the server.
    const auto target = static_cast<std::int32_t>(
        std::clamp<std::int64_t>(std::int64_t{clock.Seconds()} + seconds, 0, length));
    auto request = std::make_unique<SetPlayPositionRequest>();
    request->position = target;
    if (Send(std::move(request)) == SendResult::Sent) {
        clock.Report(target, clock.Playing(), length);
        presenter_.RefreshProgress();
    }
}

}  // namespace vantor::ui
