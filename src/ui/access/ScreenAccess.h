#pragma once

// The skinned parts of the window as a screen reader sees them. The skin
// draws the transport buttons, the bars, the texts and the art into one
// widget (ScreenView), and the tab row and the letter strip paint
// themselves: none of them is a Qt control a reader could find. The factory
// installed here gives each of those widgets an accessible interface whose
// children are the controls it draws, read from the widget whenever asked.
//
// Threads: the window's thread only (Qt asks for interfaces there).

#include <QRect>
#include <QString>
#include <string>
#include <vector>

namespace vantor::ui {

// A widget that paints buttons of its own (the letters of the jump strip)
// offers them to a reader through this; the factory finds it.
class DrawnButtons {
public:
    virtual ~DrawnButtons() = default;
    virtual int DrawnButtonCount() const = 0;
    virtual QString DrawnButtonText(int button) const = 0;
    // In the widget's coordinates.
    virtual QRect DrawnButtonRect(int button) const = 0;
    // What a tap on it does.
    virtual void PressDrawnButton(int button) = 0;
};

// The child of the list screen's tab row that a reader is told is focused
// while the keyboard's ring is on `button` of the row's `texts` (a button
// that goes back a folder reads as "Back" first), or -1.
int TabRowPartOfButton(const std::vector<std::string>& texts, int button);

// Installs the factory; later calls do nothing.
void InstallAccessibleFactory();

}  // namespace vantor::ui
