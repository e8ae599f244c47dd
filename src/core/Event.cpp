#include "core/Event.h"

namespace vantor {

void Event::Set() {
    // Notifying under the lock means a waiter cannot return, and destroy the
    // event, while this call still uses it.
    std::lock_guard lock(mutex_);
    set_ = true;
    changed_.notify_all();
}

void Event::Reset() {
    std::lock_guard lock(mutex_);
    set_ = false;
}

bool Event::IsSet() const {
    std::lock_guard lock(mutex_);
    return set_;
}

bool Event::WaitFor(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [this] { return set_; });
}

void Event::Wait() const {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return set_; });
}

}  // namespace vantor
