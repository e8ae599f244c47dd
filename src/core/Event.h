#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace vantor {

// A manual-reset event: once set it stays set, and releases every waiter,
// until Reset() is called. Thread-safe; any thread may call any method.
class Event {
public:
    explicit Event(bool initiallySet = false) : set_(initiallySet) {}
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void Set();
    void Reset();
    bool IsSet() const;

    // Waits until the event is set or the time-out passes; true when set.
    bool WaitFor(std::chrono::milliseconds timeout) const;
    void Wait() const;

private:
    mutable std::mutex mutex_;  // guards set_
    mutable std::condition_variable changed_;
    bool set_;
};

}  // namespace vantor
