// The window's keys: which key events are the window's, and the key rules'
// side of the window (what a bound function does, which list a key brings
// into play).

#include <QApplication>
#include <QKeyEvent>
#include <QMenuBar>

#include "ui/keys/VirtualKeys.h"
#include "ui/player/PlayerActions.h"
#include "ui/screens/HeaderBarWidget.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/screens/ScreenNavigator.h"
#include "ui/settings/UserSettings.h"
#include "ui/view/ScreenView.h"
#include "ui/window/CMainFrame.h"
#include "ui/window/WindowCommands.h"

namespace vantor::ui {

bool CMainFrame::TranslateKey(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) {
        return false;
    }
    if (!created_ || closing_) {
        return false;
    }
    // The window's keys only (not a dialog's or an open menu's), and each
    // key once: Qt hands a key the focused control leaves on to its
    // parents, and this filter sees every step.
    auto* widget = qobject_cast<QWidget*>(watched);
    if (widget == nullptr || widget->window() != this) {
        return false;
    }
    QWidget* first = QWidget::keyboardGrabber();
    if (first == nullptr) {
        first = focusWidget() != nullptr ? focusWidget() : this;
    }
    if (widget != first) {
        return false;
    }
    // The focused control of the skinned screen (or the list screen's tab
    // row) takes its own keys, unless a function is bound to them.
    const auto& key = static_cast<const QKeyEvent&>(*event);
    const bool ownKey =
        (widget == view_ && view_->TakesKey(key)) ||
        (dynamic_cast<HeaderBarWidget*>(widget) != nullptr && HeaderBarWidget::TakesKey(key.key()));
    if (ownKey && !settings_->Functions().Find(VirtualKeyOf(key))) {
        NoteUserInput();
        return false;
    }
    // Escape with the focus off the skinned screen (on the command bar) is
    // the screen's Back all the same; the screen takes its own.
    if (key.key() == Qt::Key_Escape && widget != view_ && !view_->isAncestorOf(widget) &&
        qobject_cast<QMenuBar*>(widget) == nullptr &&
        !settings_->Functions().Find(VirtualKeyOf(key))) {
        if (event->type() == QEvent::KeyPress) {
            NoteUserInput();
            GoBack();
        }
        return true;
    }
    return keys_->Translate(static_cast<const QKeyEvent&>(*event));
}

void CMainFrame::GoBack() {
    if (screens_->Current() == ScreenId::NowPlaying) {
        screens_->BackFromNowPlaying();
    } else if (screens_->Current() == ScreenId::Library && library_) {
        library_->Back();
    } else if (screens_->Current() == ScreenId::Eq) {
        // The handheld leaves the equaliser by the command bar's "Controls".
        Command(WindowCommand::Controls);
    }
}

ScreenKeys& CMainFrame::CurrentKeys() {
    return screens_->CurrentKeys();
}

void CMainFrame::FireFunction(FunctionId id) {
    if (!actions_->Function(id) && id == FunctionId::NowPlaying) {
        Command(WindowCommand::NowPlaying);
    }
}

void CMainFrame::NoteUserInput() {
    screens_->NoteInput();
}

std::chrono::steady_clock::time_point CMainFrame::Now() const {
    return std::chrono::steady_clock::now();
}

// --- The stylus on the skinned screen --------------------------------------------------

void CMainFrame::OnSkinButton(std::string_view component) {
    actions_->SkinButton(component);
}

void CMainFrame::OnBarDragged(std::string_view back, std::int32_t value, std::int32_t extent,
                              bool finished) {
    actions_->BarDragged(back, value, extent, finished);
}

void CMainFrame::OnBarDragCancelled(std::string_view back) {
    actions_->BarDragCancelled(back);
}

void CMainFrame::OnNowPlayingTapped() {
    if (screens_->Current() == ScreenId::NowPlaying) {
        screens_->BackFromNowPlaying();
    } else {
        commands_->ShowNowPlaying();
    }
}

}  // namespace vantor::ui
