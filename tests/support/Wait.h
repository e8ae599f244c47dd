#pragma once

#include <chrono>
#include <thread>

namespace vantor::testing {

// Polls `done` until it holds or the time-out passes; its last answer.
template <class Done>
bool WaitUntil(Done&& done, std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return done();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace vantor::testing
