#pragma once

// The one hand-off between the window's thread and the others. Listener
// calls, flow notices and workers' results are posted as FrameEvents
// through the mailbox and carried out on the window's thread; a worker
// that needs the user's answer (the update prompt, its error box) asks
// here and waits. Closing answers every wait, so Exit never waits on a box.
//
// Threads: Post, PostCall and Ask from any thread but the window's (Ask
// from the window's thread would wait for itself: it is refused with an
// error line); Close and AnswerAll on the window's thread.

#include <QObject>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "ui/window/FrameMessages.h"

namespace vantor::ui {

class HandOff {
public:
    // Posts go to `window`; `busy` is told +1 while a question is open on the
    // window's thread and -1 once it is answered (the idle switch waits).
    HandOff(QObject* window, std::function<void(int change)> busy);
    ~HandOff();

    HandOff(const HandOff&) = delete;
    HandOff& operator=(const HandOff&) = delete;

    const std::shared_ptr<WindowMailbox>& Mailbox() const { return mailbox_; }
    void Post(FrameMessage message, int parameter = 0, std::function<void()> work = nullptr) {
        mailbox_->Post(message, parameter, std::move(work));
    }
    // Work for the window's thread.
    void PostCall(std::function<void()> work) {
        mailbox_->Post(FrameMessage::WorkerCall, 0, std::move(work));
    }

    // Runs `ask` on the window's thread and waits for its answer;
    // `ifClosing` when the window closes first.
    bool Ask(std::function<bool()> ask, bool ifClosing);

    // Every wait answered with its `ifClosing`, and no more questions.
    void AnswerAll();
    // As AnswerAll, and posts go nowhere from now on.
    void Close();

private:
    struct Wait;

    QObject* window_;
    std::shared_ptr<WindowMailbox> mailbox_;
    std::function<void(int)> busy_;
    std::mutex mutex_;  // guards waits_ and closed_
    std::vector<std::shared_ptr<Wait>> waits_;
    bool closed_ = false;
};

}  // namespace vantor::ui
