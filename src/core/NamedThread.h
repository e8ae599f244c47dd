#pragma once

// A worker thread with a name for the log, a start handshake and a bounded
// stop. Start() returns once the new thread is known to run (or after
// 5000 ms); Stop() waits a bounded time for the entry function to return.
//
// Linux cannot kill one thread of a process, so a thread that outlives its
// Stop() time-out is detached, not terminated. It then keeps running on its
// own: the name and the two events it touches live in state it co-owns, but
// whatever the entry function itself captures must stay valid until that
// function returns. Owners that pass `terminate` must therefore hand their
// thread a share of the state it uses, never a bare `this`.
//
// Thread rule: Start(), Stop() and IsRunning() may be called from any thread
// except the named thread itself; a recursive lock serialises them.

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "core/Event.h"

namespace vantor {

class NamedThread {
public:
    // Priority classes of the original platform, whose numbers ran from 0
    // (most urgent) to 7: class 1 asked for 5, class 2 for 1, any other
    // non-zero class for 3 (normal). See ApplyPriority() for Linux.
    static constexpr int kPriorityDefault = 0;
    static constexpr int kPriorityLow = 1;
    static constexpr int kPriorityHigh = 2;
    static constexpr int kPriorityNormal = 3;

    static constexpr int kDefaultTimeoutMs = 5000;

    explicit NamedThread(int priorityClass = kPriorityDefault);
    ~NamedThread();  // Stop(5000, false)

    NamedThread(const NamedThread&) = delete;
    NamedThread& operator=(const NamedThread&) = delete;

    // Runs `entry` on a new thread called `name`. A thread still held is
    // stopped first (5000 ms, no termination). Returns 0 when the thread has
    // signalled that it runs, -1 when `entry` is empty, the thread could not
    // be created, or it did not signal within 5000 ms.
    int Start(std::string name, std::function<void()> entry);

    // Waits up to timeoutMs (5000 when below 1) for the entry function to
    // return, then lets go of the thread. On time-out logs a warning; with
    // `terminate` the thread is abandoned to finish on its own.
    void Stop(int timeoutMs = kDefaultTimeoutMs, bool terminate = false);

    // A thread is held, has signalled its start and has not ended.
    bool IsRunning() const;

    void SetPriorityClass(int priorityClass) { priorityClass_ = priorityClass; }
    int PriorityClass() const { return priorityClass_; }

private:
    // What the thread itself touches; it keeps a share so that a detached
    // thread never reaches freed memory.
    struct Shared {
        std::string name;
        Event started;
        Event ended;
        std::atomic<bool> returned{false};  // the trampoline got past the entry function
    };

    static void ApplyPriority(int priorityClass);
    void StopLocked(int timeoutMs, bool terminate);

    mutable std::recursive_mutex lock_;  // held across Start and Stop; guards the fields below
    std::thread thread_;
    std::shared_ptr<Shared> shared_;
    std::atomic<int> priorityClass_;
};

}  // namespace vantor
