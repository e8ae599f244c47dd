#pragma once

// The skinned parts of the window as a screen reader sees them. The skin
// draws the transport buttons, the bars, the texts and the art into one
// widget (ScreenView), and the tab row and the letter strip paint
// themselves: none of them is a Qt control a reader could find. The factory
// installed here gives each of those widgets an accessible interface whose
// children are the controls it draws, read from the widget whenever asked.
//
// Threads: the window's thread only (Qt asks for interfaces there).

namespace vantor::ui {

// Installs the factory; later calls do nothing.
void InstallAccessibleFactory();

}  // namespace vantor::ui
