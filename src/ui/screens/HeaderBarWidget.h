#pragma once

// The tab row at the top of the list screen: the skin's header bar model
// in a widget (its window text is "Header Bar Control"), placed at the
// skin's "playlist.header" and coloured from it. A tap on a button calls
// back with its index. Tab reaches the row; Left and Right then move a
// visible focus along its buttons and Space or Enter presses the one
// focused, as a tap does.
//
// Threads: the window's thread only.

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "skin/CSkin.h"
#include "skin/HeaderBar.h"

namespace vantor::ui {

class HeaderBarWidget final : public QWidget {
public:
    HeaderBarWidget(QWidget* parent, std::function<void(int button)> tapped);

    // Places the bar and takes its colours and the skin's "medialib" font
    // (or `fallback`).
    void Place(const CSkin& skin, QSize screen, const QFont& fallback);
    // The buttons, left to right, and which of them is on.
    void SetButtons(const std::vector<std::string>& texts, int on);
    std::vector<std::string> Texts() const { return texts_; }
    int On() const { return on_; }
    // What a tap on the button does (a reader's or the keyboard's press).
    void Tap(int button) {
        if (tapped_) {
            tapped_(button);
        }
    }
    // The rectangle of a button, in the bar's coordinates.
    QRect ButtonRect(int button) const;
    // The keys the row takes while it has the focus.
    static bool TakesKey(int key);
    int FocusedButton() const { return focused_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    HeaderBar Model() const;
    // Tells a listening reader the button the ring is on.
    void TellFocus();

    std::function<void(int)> tapped_;
    std::vector<std::string> texts_;
    int on_ = -1;
    int focused_ = 0;  // the button the keyboard is on
    HeaderBarStyle style_;
};

}  // namespace vantor::ui
