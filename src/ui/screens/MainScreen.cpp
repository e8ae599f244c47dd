#include "ui/screens/MainScreen.h"

#include "ui/lists/PlayQueueList.h"

namespace vantor::ui {

MainScreen::MainScreen(PlayQueueList& queue, Hooks hooks)
    : queue_(queue), hooks_(std::move(hooks)) {
    queue_.setVisible(false);
}

void MainScreen::Open() {
    // The library screen may have placed the same list on its queue tab.
    if (skin_ != nullptr) {
        queue_.Place(*skin_, screen_, font_);
    }
    queue_.setVisible(true);
    queue_.setEnabled(true);
}

void MainScreen::Close() {
    queue_.setVisible(false);
    queue_.setEnabled(false);
}

void MainScreen::Entered() {
    if (!queue_.IsOpen() && hooks_.connected()) {
        queue_.Open(hooks_.playlistPosition());
    }
}

void MainScreen::Place(const CSkin& skin, QSize screen, const QFont& font) {
    skin_ = &skin;
    screen_ = screen;
    font_ = font;
    queue_.Place(skin, screen, font);
}

bool MainScreen::FreeDirectionKeyUp(std::int32_t /*vk*/) {
    if (!queue_.hasFocus()) {
        queue_.FocusEntry(hooks_.playlistPosition());
    }
    return true;
}

}  // namespace vantor::ui
