#pragma once

// A connection flow with a frame that records what the window would have
// shown, against a server port of the test's choosing. The test thread
// plays the window's thread: it hands posted messages back to the flow.

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "session/ConnectionFlow.h"
#include "session/Settings.h"
#include "support/TestAddresses.h"
#include "support/Wait.h"

namespace vantor::testing {

using namespace std::chrono_literals;

class TestFrame final : public ConnectionFrame {
public:
    FlowScreen CurrentScreen() const override {
        std::lock_guard lock(mutex_);
        return screen_;
    }
    void Post(FlowMessage message) override {
        std::lock_guard lock(mutex_);
        posted_.push_back(message);
    }
    void SetStatus(const std::string& text) override {
        {
            std::lock_guard lock(mutex_);
            statuses_.push_back(text);
        }
        if (onStatus) {
            onStatus(text);
        }
    }
    void SetConnectReady() override {
        std::lock_guard lock(mutex_);
        ++ready_;
    }
    void ShowMessage(const std::string& caption, const std::string& text) override {
        std::lock_guard lock(mutex_);
        messages_.push_back(caption + "|" + text);
    }
    std::pair<std::string, bool> Title() const override {
        std::lock_guard lock(mutex_);
        return title_;
    }
    void SetTitle(const std::string& text, bool shown) override {
        std::lock_guard lock(mutex_);
        title_ = {text, shown};
        titles_.push_back(text);
    }
    std::string ServerListText() const override {
        std::lock_guard lock(mutex_);
        return listText_;
    }
    void SwitchScreen(FlowScreen name) override {
        std::lock_guard lock(mutex_);
        screen_ = name;
    }
    void StartTimer(FlowTimer id, std::chrono::milliseconds) override {
        std::lock_guard lock(mutex_);
        timers_[id] = true;
    }
    void KillTimer(FlowTimer id) override {
        std::lock_guard lock(mutex_);
        timers_[id] = false;
    }
    void SaveSettings() override {
        std::lock_guard lock(mutex_);
        ++saves_;
    }
    void RefreshNowPlaying() override {
        std::lock_guard lock(mutex_);
        ++refreshes_;
    }
    void Redraw() override {}

    // As the window's thread: hands posted messages to the flow until `done`.
    bool PumpUntil(ConnectionFlow& flow, const std::function<bool()>& done,
                   std::chrono::milliseconds timeout = 5s) {
        return WaitUntil(
            [&] {
                std::deque<FlowMessage> posted;
                {
                    std::lock_guard lock(mutex_);
                    posted.swap(posted_);
                    handled_.insert(handled_.end(), posted.begin(), posted.end());
                }
                for (const FlowMessage message : posted) {
                    flow.Handle(message);
                }
                return done();
            },
            timeout);
    }

    void SetScreen(FlowScreen screen) {
        std::lock_guard lock(mutex_);
        screen_ = screen;
    }
    void SetListText(std::string text) {
        std::lock_guard lock(mutex_);
        listText_ = std::move(text);
    }
    template <class T>
    T Get(T TestFrame::*field) const {
        std::lock_guard lock(mutex_);
        return this->*field;
    }
    bool Timer(FlowTimer id) const {
        std::lock_guard lock(mutex_);
        const auto found = timers_.find(id);
        return found != timers_.end() && found->second;
    }
    int Handled(FlowMessage message) const {
        std::lock_guard lock(mutex_);
        int count = 0;
        for (const FlowMessage handled : handled_) {
            count += handled == message ? 1 : 0;
        }
        return count;
    }

    // Called by SetStatus after recording, on the caller's thread.
    std::function<void(const std::string&)> onStatus;
    std::vector<std::string> statuses_;
    std::vector<std::string> messages_;
    std::vector<std::string> titles_;
    std::deque<FlowMessage> posted_;
    int ready_ = 0;
    int saves_ = 0;
    int refreshes_ = 0;

private:
    mutable std::mutex mutex_;
    FlowScreen screen_ = FlowScreen::Connect;
    std::string listText_ = "127.0.0.1";
    std::pair<std::string, bool> title_{"Ana - Intro", true};
    std::map<FlowTimer, bool> timers_;
    std::vector<FlowMessage> handled_;
};

class CountingUpdate final : public UpdateCheck {
public:
    explicit CountingUpdate(bool applying = false) : applying_(applying) {}
    bool Run(const GetClientVersionResponse& offer) override {
        std::lock_guard lock(mutex_);
        offers_.push_back(offer.serverVersion);
        return applying_;
    }
    std::vector<std::string> Offers() const {
        std::lock_guard lock(mutex_);
        return offers_;
    }

private:
    bool applying_;
    mutable std::mutex mutex_;
    std::vector<std::string> offers_;
};

inline const std::vector<std::string> kSessionStart = {"GetClientVersionRequest",
                                                       "GetPlayerCapabilitiesRequest",
                                                       "GetCurrentStateRequest",
                                                       "GetSpeakerListRequest",
                                                       "GetEqRequest",
                                                       "GetEqPresetsRequest"};

// Everything one flow needs, against the given server port.
struct Rig {
    explicit Rig(std::uint16_t port, DiscoveryOptions discovery = {}, bool applyingUpdate = false,
                 std::string address = "192.0.2.5",
                 const std::function<void(FlowOptions&)>& adjust = {})
        : addresses(std::make_shared<TestAddresses>(std::move(address))),
          manager(addresses, std::move(discovery)),
          update(applyingUpdate),
          flow(manager, frame, nullptr, addresses, &update, Options(port, adjust)) {}

    static FlowOptions Options(std::uint16_t port,
                               const std::function<void(FlowOptions&)>& adjust = {}) {
        FlowOptions options;
        options.port = port;
        options.watchPeriod = 20ms;
        options.networkDownStep = 20ms;
        options.retryPause = 20ms;
        if (adjust) {
            adjust(options);
        }
        return options;
    }

    // Starts the flow and presses Connect: true once the main screen shows.
    bool ConnectToMain() {
        flow.Start(false, false);
        flow.ConnectPressed();
        return frame.PumpUntil(flow, [&] { return frame.CurrentScreen() == FlowScreen::Main; });
    }

    std::shared_ptr<TestAddresses> addresses;
    ConnectionManager manager;
    TestFrame frame;
    CountingUpdate update;
    ConnectionFlow flow;
};

}  // namespace vantor::testing
