#pragma once

// vantor-server started as the program it is, on loopback ports the system
// picks, and vantorctl run against it: the ground the end-to-end suites
// share. The suites that include it define VANTOR_SERVER_PATH and
// VANTORCTL_PATH.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "support/Process.h"
#include "support/RawPeer.h"
#include "support/Wait.h"

namespace vantor::testing {

class ServerProcessTest : public ::testing::Test {
protected:
    void TearDown() override { StopServer(); }

    // Starts vantor-server on loopback with `arguments` after its ports,
    // waits for `ready` in what it prints and reads the ports it names.
    void StartServer(const std::vector<std::string>& arguments, const std::string& ready,
                     std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        std::vector<std::string> command = {
            VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0", "--media-port", "0"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        server_ = std::make_unique<Process>(command);
        ASSERT_TRUE(server_->WaitForOutput(ready, timeout)) << server_->Output();
        // "vantor-server: listening on 127.0.0.1:PORT[ (discovery on UDP PORT)], media on PORT"
        const std::string output = server_->Output();
        const std::size_t line = output.find("vantor-server: listening on 127.0.0.1:");
        const std::size_t media = output.find(", media on ", line);
        ASSERT_NE(media, std::string::npos) << output;
        unsigned port = 0;
        unsigned mediaPort = 0;
        unsigned discovery = 0;
        ASSERT_EQ(
            std::sscanf(output.c_str() + line, "vantor-server: listening on 127.0.0.1:%u", &port),
            1)
            << output;
        ASSERT_EQ(std::sscanf(output.c_str() + media, ", media on %u", &mediaPort), 1) << output;
        (void)std::sscanf(output.c_str() + line,
                          "vantor-server: listening on 127.0.0.1:%*u (discovery on UDP %u)",
                          &discovery);
        port_ = std::to_string(port);
        media_ = std::to_string(mediaPort);
        discoveryPort_ = std::to_string(discovery);
    }
    // Asks the server to end and expects it to end well.
    void StopServer() {
        if (server_) {
            server_->Signal(SIGTERM);
            EXPECT_EQ(server_->Wait(), 0) << server_->Output();
            server_.reset();
        }
    }

    std::vector<std::string> Ctl(std::vector<std::string> arguments) const {
        std::vector<std::string> command = {VANTORCTL_PATH, "--server",     "127.0.0.1", "--port",
                                            port_,          "--media-port", media_};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }
    // Runs vantorctl against the server; its exit status and output.
    std::pair<int, std::string> Run(std::vector<std::string> arguments) const {
        Process ctl(Ctl(std::move(arguments)));
        const int status = ctl.Wait();
        return {status, ctl.Output()};
    }
    bool Says(const std::vector<std::string>& arguments, const std::string& text) const {
        const auto [status, output] = Run(arguments);
        return status == 0 && output.find(text) != std::string::npos;
    }
    bool EventuallySays(const std::vector<std::string>& arguments, const std::string& text) const {
        return WaitUntil([&] { return Says(arguments, text); });
    }

    // An HTTP GET on the media side: status line, headers and body.
    std::string Get(const std::string& path) const {
        const RawPeer peer(static_cast<std::uint16_t>(std::stoi(media_)));
        peer.Send("GET " + path + " HTTP/1.0\r\n\r\n");
        return peer.Receive(std::chrono::seconds(10));
    }

    std::unique_ptr<Process> server_;
    std::string port_;
    std::string media_;
    std::string discoveryPort_;
};

}  // namespace vantor::testing
