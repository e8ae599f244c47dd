#pragma once

// A vantor-server in the test's own process, on loopback, on free ports.

#include <gtest/gtest.h>

#include <memory>

#include "support/SimulatedServer.h"

namespace vantor::testing {

inline SimulatedOptions LoopbackServerOptions() {
    SimulatedOptions options;
    options.bindAddress = "127.0.0.1";
    options.port = 0;
    options.discoveryPort = 0;
    options.mediaPort = 0;
    options.songs = 120;
    return options;
}

class TestServer {
public:
    explicit TestServer(const SimulatedOptions& options = LoopbackServerOptions())
        : server_(std::make_unique<SimulatedServer>(options)) {
        started_ = server_->Start();
        EXPECT_TRUE(started_) << "the test server did not start";
    }

    SimulatedServer& operator*() { return *server_; }
    SimulatedServer* operator->() { return server_.get(); }
    std::uint16_t Port() const { return server_->Port(); }

    // Stops the server; Restart() brings it back on the same port.
    void Stop() { server_->Stop(); }
    bool Restart(SimulatedOptions options = LoopbackServerOptions()) {
        options.port = server_->Port();
        server_->Stop();
        server_ = std::make_unique<SimulatedServer>(options);
        return server_->Start();
    }

private:
    std::unique_ptr<SimulatedServer> server_;
    bool started_ = false;
};

}  // namespace vantor::testing
