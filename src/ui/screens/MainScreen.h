#pragma once

// The main screen ("main"): the skin's player with the play queue's list
// over it. The queue opens when the screen is entered in a session; Up and
// Down, when no function holds them, bring the list into play at the song
// now playing.
//
// Threads: the window's thread only.

#include <functional>

#include "ui/screens/Screens.h"

namespace vantor::ui {

class PlayQueueList;

class MainScreen final : public Screen {
public:
    struct Hooks {
        std::function<bool()> connected;
        std::function<int()> playlistPosition;  // the player's current entry, -1 unknown
    };

    MainScreen(PlayQueueList& queue, Hooks hooks);

    ScreenId Id() const override { return ScreenId::Main; }
    QString CommandLabel() const override { return QStringLiteral("Library"); }
    WindowCommand Command() const override { return WindowCommand::Library; }
    void Open() override;
    void Close() override;
    void Entered() override;
    void Place(const CSkin& skin, QSize screen, const QFont& font) override;
    bool FreeDirectionKeyUp(std::int32_t vk) override;

private:
    PlayQueueList& queue_;
    Hooks hooks_;
    const CSkin* skin_ = nullptr;  // as last placed
    QSize screen_;
    QFont font_;
};

// The now-playing screen: the skin alone draws it.
class NowPlayingScreen final : public Screen {
public:
    ScreenId Id() const override { return ScreenId::NowPlaying; }
    QString CommandLabel() const override { return QStringLiteral("Controls"); }
    WindowCommand Command() const override { return WindowCommand::Controls; }
};

}  // namespace vantor::ui
