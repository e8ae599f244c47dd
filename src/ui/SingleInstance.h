#pragma once

// One running client per settings file. The first start listens on a local
// socket named after its settings file; a second start with the same file
// finds it, asks it to bring its window to the front, and ends.
//
// Threads: the window's thread only.

#include <QLocalServer>
#include <QString>
#include <functional>

namespace vantor::ui {

class SingleInstance {
public:
    // `settingsFile` names the instance (made absolute first).
    explicit SingleInstance(const QString& settingsFile);

    // True when a client with this settings file runs and was asked to
    // raise its window: this start should end.
    bool RaiseRunning();
    // Becomes the running client: `raise` is called whenever a later start
    // asks. False (logged) when the name cannot be taken; the client then
    // runs on without it.
    bool Listen(std::function<void()> raise);

    const QString& Name() const { return name_; }

private:
    QString name_;
    QLocalServer server_;
};

}  // namespace vantor::ui
