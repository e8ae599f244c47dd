#pragma once

// What the user asks of the player, wherever it comes from: a skin button,
// a bound key, or a call from the desktop's media controls each become
// the same request here, by the same rule. Play/pause, for one, is decided
// here alone: pause while the player plays, else play. Toggles and the
// volume show their new value at once; a refused request is put right by
// the deferred state request. Drags go out coalesced (DragCoalescer).
//
// Threads: the window's thread only.

#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "protocol/SendResult.h"
#include "session/PlayerState.h"
#include "ui/player/DragCoalescer.h"

namespace vantor {
class Message;
class RequestSink;
}  // namespace vantor

namespace vantor::ui {

class EqScreen;
enum class FunctionId;
class PlayerPresenter;
class ScreenView;

enum class PlayerAction {
    Play,
    Pause,
    PlayPause,
    Stop,
    Next,
    Previous,
    ToggleRepeat,
    ToggleShuffle
};

class PlayerActions {
public:
    // `player` is the player's state as the session last published it.
    PlayerActions(QObject* owner, RequestSink& requests, ScreenView& view,
                  PlayerPresenter& presenter, EqScreen& eq, std::function<PlayerState()> player);

    // For callers that answer for a request that was not sent (the desktop
    // media controls).
    SendResult Do(PlayerAction action);
    SendResult Send(std::unique_ptr<Message> request);

    // A skin button tapped; false when it is none of the player's.
    bool SkinButton(std::string_view component);
    // A function of the key table fired; false when it is none of the
    // player's.
    bool Function(FunctionId id);
    // A bar dragged on the skin (see ScreenInput::OnBarDragged).
    void BarDragged(std::string_view back, std::int32_t value, std::int32_t extent, bool finished);
    // The bar went while dragged: nothing more is sent, and it shows the
    // server's value again.
    void BarDragCancelled(std::string_view back);
    // The volume by `percent` points from the fill the user sees.
    void StepVolume(int percent);
    // The position by `seconds`, within the song.
    void SkipBy(std::int32_t seconds);

    bool DraggingVolume() const { return volumeDrag_.Dragging(); }
    bool DraggingPosition() const { return positionDrag_.Dragging(); }

private:
    // A button, a key or a drag: a lost connection shows as such and a full
    // table is logged where requests leave, so there is nothing to answer.
    void Act(PlayerAction action);
    void Post(std::unique_ptr<Message> request);

    RequestSink& requests_;
    ScreenView& view_;
    PlayerPresenter& presenter_;
    EqScreen& eq_;
    std::function<PlayerState()> player_;
    DragCoalescer volumeDrag_;
    DragCoalescer positionDrag_;
};

}  // namespace vantor::ui
