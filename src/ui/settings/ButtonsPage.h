#pragma once

// The settings sheet's "Buttons" page: the thirteen functions with the key
// bound to each. A double tap on a row makes it wait ("Waiting...") for
// the next key pressed anywhere in the sheet, which it then takes, after
// asking when another function holds that key; tapping and holding a row
// (or the context menu) offers "Release Button".
//
// The page edits the window's own function table, so a binding made here
// works at once, even when the sheet is then cancelled; saving it is the
// window's business after OK.
//
// Choices of ours: "Yes" in the conflict takes the key from every other
// function that holds it (a hand-edited file may have given it to more
// than one), so afterwards the key fires what it was just bound to. A wait
// that ends without a new key shows the key the row keeps.
//
// Threads: the window's thread only.

#include <QPoint>
#include <QTimer>
#include <QWidget>
#include <cstdint>

#include "session/RegistryStore.h"
#include "ui/keys/FunctionTable.h"
#include "ui/window/Prompter.h"

class QKeyEvent;
class QLabel;
class QMenu;
class QTreeWidget;

namespace vantor::ui {

inline constexpr const char* kButtonsHelpText =
    "Double-tap on a function below, then press the button you'd like to associate with it. "
    "Tap and hold to release the button.";
inline constexpr const char* kWaitingText = "Waiting...";
inline constexpr const char* kInvalidKeyCaption = "Invalid Key";
inline constexpr const char* kInvalidKeyText = "Please press a valid hardware button";
inline constexpr const char* kKeyInUseCaption = "Key Already In Use";
inline constexpr const char* kReleaseButtonText = "Release Button";

class ButtonsPage final : public QWidget {
public:
    // None is owned; all outlive the page. `shellKeys` names the
    // application buttons (null: none are named).
    ButtonsPage(FunctionTable& functions, Prompter& prompter, const RegistryStore* shellKeys,
                QWidget* parent = nullptr);
    ~ButtonsPage() override;

    // Shows the table as it stands (each time the sheet opens) and ends a
    // wait.
    void Refresh();

    // The row waiting for a key, or -1.
    int WaitingRow() const { return waiting_; }
    void StartWaiting(int row);
    void CancelWaiting();

    // Unbinds the selected row ("Release Button").
    void ReleaseSelected();
    // Pops up the menu with "Release Button" at a point of the list's
    // viewport, for the row there.
    void ShowReleaseMenu(QPoint at);

    QTreeWidget* List() const { return list_; }
    QMenu* ReleaseMenu() const { return releaseMenu_; }
    QString KeyText(int row) const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    bool Capture(QObject* watched, QKeyEvent& key);
    void WatchHold(const QEvent& event);
    void TakeKey(const QKeyEvent& event);
    void ShowKey(int row);
    void SetCapture(bool on);
    void SizeColumns();

    FunctionTable& functions_;
    Prompter& prompter_;
    const RegistryStore* shellKeys_;
    QLabel* help_;
    QTreeWidget* list_;
    QMenu* releaseMenu_;
    int waiting_ = -1;
    bool capturing_ = false;  // the application's key events come here first
    bool asking_ = false;     // a box is open: its keys are its own
    int heldKey_ = 0;         // the Qt key just taken: its auto-repeats are swallowed
    QTimer holdTimer_;        // tap and hold
    QPoint holdAt_;
};

}  // namespace vantor::ui
