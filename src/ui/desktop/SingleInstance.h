#pragma once

// One running client per settings file. The first start listens on a local
// socket named after its settings file (in the abstract namespace, so a
// client that crashed leaves nothing behind); a second start with the same
// file finds it, asks it to bring its window to the front, and ends.
//
// Threads: the window's thread only.

#include <QString>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace vantor::ui {

class SingleInstance {
public:
    // `settingsFile` names the instance (made absolute first).
    explicit SingleInstance(const QString& settingsFile);
    ~SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    // True when a client with this settings file runs and was asked to
    // raise its window: this start should end.
    bool RaiseRunning();
    // Becomes the running client: `raise` is called whenever a later start
    // asks. False (logged) when the name is taken or the socket fails; the
    // client then runs on without it.
    bool Listen(std::function<void()> raise);

    const std::string& Name() const { return name_; }

private:
    std::string name_;  // the socket's abstract name, without its leading zero byte
    int listener_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vantor::ui
