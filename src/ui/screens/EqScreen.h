#pragma once

// The equaliser screen's logic and its one child control. The bands, the
// preamplifier and the two switches are drawn from the skin (ScreenView);
// this keeps the equaliser as the player has it, turns a band dragged or a
// switch tapped into SetEqRequest (a drag coalesced), and offers the
// player's presets in a box ("eq.presets" in the skin) whose choice goes
// out as SetEqPresetRequest.
//
// Threads: the window's thread only.

#include <QComboBox>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "media/LibraryBrowser.h"
#include "protocol/PlayerMessages.h"
#include "skin/CSkin.h"
#include "ui/player/DragCoalescer.h"
#include "ui/screens/Screens.h"

namespace vantor::ui {

class EqScreen final : public Screen {
public:
    // `changed` is told of every change made here, to draw it at once.
    EqScreen(QWidget* screen, RequestSink& requests,
             std::function<void(const EqSettings&)> changed);

    // Screen
    ScreenId Id() const override { return ScreenId::Eq; }
    QString CommandLabel() const override { return QStringLiteral("Controls"); }
    WindowCommand Command() const override { return WindowCommand::Controls; }
    void Open() override { SetShown(true); }
    void Close() override { SetShown(false); }
    void Place(const CSkin& skin, QSize screen, const QFont& fallback) override;

    void SetShown(bool shown);

    // What the player says.
    void SetEq(const EqSettings& eq);
    const EqSettings& Eq() const { return eq_; }
    void SetPresets(const std::vector<std::string>& presets);
    std::vector<std::string> Presets() const;

    // Track 0-9 is a band, 10 the preamplifier; `gain` -100 to 100.
    void TrackDragged(int track, std::int32_t gain, bool finished);
    // The band's track went while dragged: nothing more is sent.
    void TrackDragCancelled() { drag_.Cancel(); }
    // "eq.enabled" or "eq.autoload" tapped; false for other names.
    bool Toggle(std::string_view component);
    // A preset chosen (from the box, or by a test).
    void ChoosePreset(const std::string& name);

    QComboBox& PresetsBox() { return *presets_; }

private:
    void Send();

    RequestSink& requests_;
    std::function<void(const EqSettings&)> changed_;
    QComboBox* presets_;
    EqSettings eq_;
    int track_ = -1;  // the track being dragged
    DragCoalescer drag_;
    bool filling_ = false;  // the box is being filled, not chosen from
};

}  // namespace vantor::ui
