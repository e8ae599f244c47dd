#include "core/NamedThread.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "core/Logger.h"

namespace vantor {

NamedThread::NamedThread(int priorityClass) : priorityClass_(priorityClass) {}

NamedThread::~NamedThread() {
    Stop(kDefaultTimeoutMs, false);
}

void NamedThread::ApplyPriority(int priorityClass) {
    // On Linux every thread has its own nice value, set through its thread id.
    // The original's priority 5 becomes nice 10 and its normal 3 nice 0. Its
    // priority 1 asks for nice -10, which needs CAP_SYS_NICE: without that
    // privilege the call fails and the thread keeps the default, which is
    // harmless, since nothing depends on that thread running first.
    int nice = 0;
    if (priorityClass == kPriorityLow) {
        nice = 10;
    } else if (priorityClass == kPriorityHigh) {
        nice = -10;
    }
    const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
    (void)::setpriority(PRIO_PROCESS, tid, nice);
}

int NamedThread::Start(std::string name, std::function<void()> entry) {
    std::lock_guard lock(lock_);
    if (!entry) {
        return -1;
    }
    if (thread_.joinable()) {
        StopLocked(kDefaultTimeoutMs, false);
    }

    auto shared = std::make_shared<Shared>();
    shared->name = std::move(name);
    shared_ = shared;
    const int priorityClass = priorityClass_;
    try {
        thread_ = std::thread([shared, priorityClass, entry = std::move(entry)] {
            // The system's name for the thread (15 bytes at most), so tools
            // such as top and gdb tell the threads apart.
            pthread_setname_np(pthread_self(), shared->name.substr(0, 15).c_str());
            if (priorityClass != kPriorityDefault) {
                ApplyPriority(priorityClass);
            }
            shared->started.Set();
            Log(kLogVerbose, "Thread[\"%s\"] has started", shared->name.c_str());
            entry();
            shared->returned = true;
            shared->ended.Set();
            Log(kLogInfo, "Thread[\"%s\"] has ended", shared->name.c_str());
        });
    } catch (const std::system_error& error) {
        Log(kLogError, "Error creating thread[\"%s\"]: %d", shared->name.c_str(),
            error.code().value());
        shared_.reset();
        return -1;
    }

    if (!shared->started.WaitFor(std::chrono::milliseconds(kDefaultTimeoutMs))) {
        Log(kLogError, "Thread[\"%s\"] did not start", shared->name.c_str());
        // The thread stays held; a later Stop() lets go of it.
        shared->ended.Set();
        return -1;
    }
    return 0;
}

void NamedThread::Stop(int timeoutMs, bool terminate) {
    std::lock_guard lock(lock_);
    StopLocked(timeoutMs, terminate);
}

void NamedThread::StopLocked(int timeoutMs, bool /*terminate*/) {
    if (!thread_.joinable()) {
        return;
    }
    if (thread_.get_id() == std::this_thread::get_id()) {
        // Stopping from the named thread itself cannot wait for its own end.
        thread_.detach();
        shared_.reset();
        return;
    }
    if (timeoutMs < 1) {
        timeoutMs = kDefaultTimeoutMs;
    }
    if (!shared_->ended.WaitFor(std::chrono::milliseconds(timeoutMs))) {
        Log(kLogError, "WARNING: Thread[\"%s\"] did not exit!", shared_->name.c_str());
    }
    // Termination is not available: with or without `terminate`, a thread that
    // has not returned is left to finish on its own. One that has returned
    // only has its last log line to write, so joining it is quick.
    if (shared_->returned) {
        thread_.join();
    } else {
        thread_.detach();
    }
    shared_.reset();
}

bool NamedThread::IsRunning() const {
    std::lock_guard lock(lock_);
    return thread_.joinable() && shared_ && shared_->started.IsSet() && !shared_->ended.IsSet();
}

}  // namespace vantor
