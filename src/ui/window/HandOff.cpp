#include "ui/window/HandOff.h"

#include <QThread>
#include <algorithm>
#include <cassert>
#include <condition_variable>

#include "core/Logger.h"

namespace vantor::ui {

// A worker waiting for the user's answer.
struct HandOff::Wait {
    std::mutex mutex;  // guards done and answer
    std::condition_variable finished;
    bool done = false;
    bool answer = false;

    void Finish(bool value) {
        {
            std::lock_guard lock(mutex);
            if (done) {
                return;
            }
            done = true;
            answer = value;
        }
        finished.notify_all();
    }
    bool Answer() {
        std::unique_lock lock(mutex);
        finished.wait(lock, [this] { return done; });
        return answer;
    }
};

HandOff::HandOff(QObject* window, std::function<void(int change)> busy)
    : window_(window), mailbox_(std::make_shared<WindowMailbox>(window)), busy_(std::move(busy)) {}

HandOff::~HandOff() {
    Close();
}

bool HandOff::Ask(std::function<bool()> ask, bool ifClosing) {
    if (QThread::currentThread() == window_->thread()) {
        // The question would be posted to the thread that waits for it.
        assert(!"HandOff::Ask on the window's thread");
        Log(kLogError, "A question for the window was asked on the window's own thread");
        return ifClosing;
    }
    auto wait = std::make_shared<Wait>();
    {
        std::lock_guard lock(mutex_);
        if (closed_) {
            return ifClosing;
        }
        waits_.push_back(wait);
    }
    PostCall([busy = busy_, wait, ask = std::move(ask)] {
        busy(1);
        const bool answer = ask();
        busy(-1);
        wait->Finish(answer);
    });
    const bool answer = wait->Answer();
    {
        std::lock_guard lock(mutex_);
        std::erase(waits_, wait);
        if (closed_) {
            return ifClosing;
        }
    }
    return answer;
}

void HandOff::AnswerAll() {
    std::lock_guard lock(mutex_);
    closed_ = true;
    for (const std::shared_ptr<Wait>& wait : waits_) {
        wait->Finish(false);
    }
}

void HandOff::Close() {
    mailbox_->Close();
    AnswerAll();
}

}  // namespace vantor::ui
