#pragma once

// What the window benchmarks give the window in place of the user and the
// machine: no message boxes, one fixed local address, and a way to run the
// window's events until something has happened.

#include <QCoreApplication>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "net/LocalAddressSource.h"
#include "ui/window/Prompter.h"

namespace vantor::bench {

class NoPrompts final : public ui::Prompter {
public:
    void Inform(const std::string&, const std::string&, ui::PromptIcon) override {}
    bool AskYesNo(const std::string&, const std::string&) override { return false; }
};

class FixedAddress final : public LocalAddressSource {
public:
    std::vector<std::string> LocalAddresses() override { return {"192.0.2.5"}; }
};

// Runs the window's events until `done` holds (true) or `timeout` passes.
inline bool Pump(const std::function<bool()>& done,
                 std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

}  // namespace vantor::bench
