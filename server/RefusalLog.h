#pragma once

// Log lines about refused or dropped peers, at most one a second: a flood of
// connections must not become a flood of log lines. Lines that come sooner
// are counted, and the count goes out with the next line.
//
// Threads: any thread.

#include <chrono>
#include <mutex>
#include <string>
#include <utility>

#include "core/Logger.h"

namespace vantor::server {

class RefusalLog {
public:
    void Write(const std::string& line) {
        const auto now = std::chrono::steady_clock::now();
        int unlogged = 0;
        {
            std::lock_guard lock(mutex_);
            if (written_ && now - last_ < std::chrono::seconds(1)) {
                ++unlogged_;
                return;
            }
            written_ = true;
            last_ = now;
            unlogged = std::exchange(unlogged_, 0);
        }
        if (unlogged > 0) {
            Log(kLogError, "vantor-server: %s (and %d more refused or dropped since)", line.c_str(),
                unlogged);
        } else {
            Log(kLogError, "vantor-server: %s", line.c_str());
        }
    }

private:
    std::mutex mutex_;  // guards the fields below
    bool written_ = false;
    std::chrono::steady_clock::time_point last_;
    int unlogged_ = 0;
};

}  // namespace vantor::server
