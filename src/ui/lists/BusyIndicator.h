#pragma once

// A ring of dots turning in the middle of an empty list while its first
// rows are on their way, so a slow or stalled server shows as waiting
// rather than as an empty folder. It draws over the list's viewport, takes
// no input, and runs its timer only while it shows.
//
// Threads: the window's thread only.

#include <QTimer>
#include <QWidget>

class QAbstractScrollArea;

namespace vantor::ui {

class BusyIndicator final : public QWidget {
public:
    explicit BusyIndicator(QAbstractScrollArea* list);

    // Shows it (while `busy` and the list is empty) or hides it.
    void SetBusy(bool busy);
    bool Busy() const { return !isHidden(); }  // shown whenever its list is

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Centre();

    QAbstractScrollArea* list_;
    QTimer turn_;
    int step_ = 0;
};

}  // namespace vantor::ui
