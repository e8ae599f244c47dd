#pragma once

// The settings sheet's "General" page: whether to connect by itself at
// start, and whether an idle remote shows the Now Playing screen. The page
// holds the two values; the check boxes show them when the sheet opens and
// give them back only when it closes with OK, so Cancel leaves them as
// they were. Each label wraps beside its box, so it fits a narrow screen.
//
// Threads: the window's thread only.

#include <QWidget>

class QCheckBox;

namespace vantor::ui {

inline constexpr const char* kAutoConnectLabel = "Connect to the server automatically";
inline constexpr const char* kNowPlayingOnIdleLabel = "Show the Now Playing screen when idle";

class GeneralPage final : public QWidget {
public:
    explicit GeneralPage(QWidget* parent = nullptr);

    void SetValues(bool autoConnect, bool nowPlayingOnIdle);
    bool AutoConnect() const { return autoConnect_; }
    bool NowPlayingOnIdle() const { return nowPlayingOnIdle_; }

    // Values to boxes (the sheet opens), boxes to values (OK).
    void ShowValues();
    void TakeValues();

    QCheckBox* AutoConnectBox() const { return autoConnectBox_; }
    QCheckBox* NowPlayingOnIdleBox() const { return nowPlayingOnIdleBox_; }

private:
    bool autoConnect_ = true;
    bool nowPlayingOnIdle_ = false;
    QCheckBox* autoConnectBox_ = nullptr;
    QCheckBox* nowPlayingOnIdleBox_ = nullptr;
};

}  // namespace vantor::ui
