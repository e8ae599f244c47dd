#pragma once

// A Snapcast household on loopback, for the end-to-end tests and the
// benchmarks: a snapserver of the caller's own (free ports, its own data
// folder, one pipe source named MPD reading a FIFO), rooms that are real
// snapclients recording what they play to a file each, and a connection to
// the control port that speaks Snapcast's JSON-RPC. Every process is
// started here and stopped by its own pid.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/MpdInstance.h"
#include "support/Process.h"
#include "support/Wait.h"
#include "support/Wav.h"

namespace vantor::testing {

// One connection to a snapserver's control port. Requests go out one a
// line; whatever comes back that is not the answer waited for (the other
// clients' changes, as notifications) is kept for WaitForNotification.
class SnapControl {
public:
    using Json = nlohmann::json;

    explicit SnapControl(std::uint16_t port) {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        const int one = 1;
        ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
    ~SnapControl() { ::close(fd_); }
    SnapControl(const SnapControl&) = delete;
    SnapControl& operator=(const SnapControl&) = delete;

    bool Connected() const { return connected_; }

    // The whole reply ({"result": ...} or {"error": ...}); null when none
    // came in time or the connection broke.
    Json Call(const std::string& method, Json params = Json::object(),
              std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
        const int id = nextId_++;
        Json request = {{"id", id}, {"jsonrpc", "2.0"}, {"method", method}};
        if (!params.empty()) {
            request["params"] = std::move(params);
        }
        const std::string line = request.dump() + "\n";
        if (::send(fd_, line.data(), line.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(line.size())) {
            return nullptr;
        }
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        Json message;
        while (Next(message, deadline)) {
            if (message.contains("id") && message["id"] == id) {
                return message;
            }
            Keep(std::move(message));
        }
        return nullptr;
    }
    // The result of a call that must succeed; null otherwise.
    Json Result(const std::string& method, Json params = Json::object()) {
        Json reply = Call(method, std::move(params));
        return reply.is_object() && reply.contains("result") ? reply["result"] : Json();
    }

    // Waits for a notification named `method`, taking it and those before it.
    bool WaitForNotification(const std::string& method,
                             std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (true) {
            while (!notifications_.empty()) {
                const bool found = notifications_.front().value("method", "") == method;
                notifications_.pop_front();
                if (found) {
                    return true;
                }
            }
            Json message;
            if (!Next(message, deadline)) {
                return false;
            }
            Keep(std::move(message));
        }
    }

    // Snapserver's view of one client: muted, name, connected, its group,
    // and the stream that plays. Null when the server does not know it.
    Json Client(const std::string& id) {
        const Json status = Result("Server.GetStatus");
        if (!status.is_object()) {
            return nullptr;
        }
        for (const Json& group : status["server"]["groups"]) {
            for (const Json& client : group["clients"]) {
                if (client["id"] == id) {
                    return {{"muted", client["config"]["volume"]["muted"]},
                            {"name", client["config"]["name"]},
                            {"connected", client["connected"]},
                            {"stream", group["stream_id"]},
                            {"group", group["id"]},
                            {"groupMuted", group["muted"]}};
                }
            }
        }
        return nullptr;
    }

private:
    // A notification, kept for WaitForNotification; a caller that never
    // asks for them keeps only the latest.
    void Keep(Json message) {
        if (message.contains("method")) {
            notifications_.push_back(std::move(message));
            if (notifications_.size() > 1000) {
                notifications_.pop_front();
            }
        }
    }

    // The next whole line as JSON, until `deadline`.
    bool Next(Json& message, std::chrono::steady_clock::time_point deadline) {
        while (true) {
            const std::size_t end = input_.find('\n');
            if (end != std::string::npos) {
                message = Json::parse(input_.substr(0, end), nullptr, false);
                input_.erase(0, end + 1);
                if (!message.is_discarded()) {
                    return true;
                }
                continue;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd polled{fd_, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&polled, 1, static_cast<int>(left.count())) <= 0) {
                return false;
            }
            char buffer[65536];
            const ssize_t size = ::recv(fd_, buffer, sizeof buffer, 0);
            if (size <= 0) {
                return false;
            }
            input_.append(buffer, static_cast<std::size_t>(size));
        }
    }

    int fd_ = -1;
    bool connected_ = false;
    int nextId_ = 1;
    std::string input_;
    std::deque<Json> notifications_;
};

// A snapserver bound to 127.0.0.1 with a pipe source named "MPD" that reads
// folder/snapfifo as 48000:16:2 PCM (the first, so new rooms play it), and
// a second one named "Radio" that nothing feeds. It keeps its ports and its
// data folder (the rooms' names) across Stop() and Start().
class Snapserver {
public:
    Snapserver(std::string program, const std::filesystem::path& folder)
        : program_(std::move(program)),
          controlPort_(FreePort()),
          streamPort_(FreePort()),
          fifo_(folder / "snapfifo"),
          config_(folder / "snapserver.conf") {
        std::filesystem::create_directories(folder / "snapserver");
        ::mkfifo(fifo_.c_str(), 0600);
        ::mkfifo((folder / "radiofifo").c_str(), 0600);
        std::ofstream conf(config_);
        conf << "[server]\ndatadir = " << (folder / "snapserver").string() << "\n"
             << "[http]\nenabled = false\n"
             << "[tcp]\nbind_to_address = 127.0.0.1\nport = " << controlPort_ << "\n"
             << "[stream]\nbind_to_address = 127.0.0.1\nport = " << streamPort_ << "\n"
             << "source = pipe://" << fifo_.string()
             << "?name=MPD&sampleformat=48000:16:2&codec=pcm&mode=read\n"
             << "source = pipe://" << (folder / "radiofifo").string()
             << "?name=Radio&sampleformat=48000:16:2&codec=pcm&mode=read\n"
             << "buffer = 400\n"
             << "[logging]\nsink = stdout\n";
    }
    ~Snapserver() { Stop(); }

    bool Start() {
        process_ =
            std::make_unique<Process>(std::vector<std::string>{program_, "-c", config_.string()});
        return process_->Started() && WaitUntil(
                                          [&] {
                                              SnapControl probe(controlPort_);
                                              return probe.Connected();
                                          },
                                          std::chrono::seconds(10));
    }
    void Stop() {
        if (process_) {
            process_->Signal(SIGTERM);
            process_->Signal(SIGCONT);  // in case it was frozen
            if (process_->Wait(std::chrono::seconds(5)) == -1) {
                process_->Signal(SIGKILL);
                process_->Wait();
            }
            process_.reset();
        }
    }
    // SIGSTOP freezes it: connections are still accepted (by the kernel)
    // and never answered. SIGCONT thaws it.
    void Signal(int signal) const {
        if (process_) {
            process_->Signal(signal);
        }
    }

    std::uint16_t ControlPort() const { return controlPort_; }
    std::uint16_t StreamPort() const { return streamPort_; }
    const std::filesystem::path& Fifo() const { return fifo_; }
    std::string Output() { return process_ ? process_->Output() : std::string(); }

private:
    std::string program_;
    std::uint16_t controlPort_;
    std::uint16_t streamPort_;
    std::filesystem::path fifo_;
    std::filesystem::path config_;
    std::unique_ptr<Process> process_;
};

// A room: a snapclient with its own id that records what it plays, raw
// 48 kHz 16-bit stereo, to a file of its own in `folder`; with an empty
// folder it plays to nothing (the benchmarks' many rooms).
class Room {
public:
    Room(std::string program, std::uint16_t streamPort, std::string id,
         const std::filesystem::path& folder)
        : program_(std::move(program)),
          streamPort_(streamPort),
          id_(std::move(id)),
          recording_(folder.empty() ? std::filesystem::path() : folder / (id_ + ".pcm")) {}
    ~Room() { Stop(); }

    bool Start() {
        process_ = std::make_unique<Process>(std::vector<std::string>{
            program_, "-h", "127.0.0.1", "-p", std::to_string(streamPort_), "--hostID", id_,
            "--player", "file:filename=" + (recording_.empty() ? "null" : recording_.string()),
            "--logsink", "null"});
        return process_->Started();
    }
    void Stop() {
        if (process_) {
            process_->Signal(SIGTERM);
            if (process_->Wait(std::chrono::seconds(5)) == -1) {
                process_->Signal(SIGKILL);
                process_->Wait();
            }
            process_.reset();
        }
    }

    const std::string& Id() const { return id_; }

    // The loudest sample of the last `window` the room played; -1 when it
    // has not played that long yet.
    int RecentPeak(std::chrono::milliseconds window = std::chrono::milliseconds(200)) const {
        constexpr std::size_t kFrame = 4;  // two 16-bit channels
        const std::size_t bytes = static_cast<std::size_t>(window.count()) * 48 * kFrame;
        std::ifstream in(recording_, std::ios::binary | std::ios::ate);
        const std::streamoff size = in ? static_cast<std::streamoff>(in.tellg()) : 0;
        if (size < static_cast<std::streamoff>(bytes)) {
            return -1;
        }
        const std::streamoff start = (size - static_cast<std::streamoff>(bytes)) / kFrame *
                                     static_cast<std::streamoff>(kFrame);
        std::vector<std::int16_t> samples(bytes / 2);
        in.seekg(start);
        in.read(reinterpret_cast<char*>(samples.data()), static_cast<std::streamsize>(bytes));
        int peak = 0;
        for (const std::int16_t sample : samples) {
            peak = std::max(peak, std::abs(static_cast<int>(sample)));
        }
        return peak;
    }
    // Music is what the tone makes loud; silence is nothing at all (a muted
    // snapclient plays zeros).
    bool HearsMusic() const { return RecentPeak() > 1000; }
    bool HearsSilence() const { return RecentPeak() == 0; }

private:
    std::string program_;
    std::uint16_t streamPort_;
    std::string id_;
    std::filesystem::path recording_;
    std::unique_ptr<Process> process_;
};

// MPD's audio into the snapserver's pipe: a FIFO output beside the null
// one MPD is set up with, in the format the pipe source reads.
inline void AddFifoOutput(const std::filesystem::path& mpdConfig,
                          const std::filesystem::path& fifo) {
    std::ofstream(mpdConfig, std::ios::app)
        << "audio_output {\n  type \"fifo\"\n  name \"Snapcast\"\n  path \"" << fifo.string()
        << "\"\n  format \"48000:16:2\"\n  mixer_type \"software\"\n}\n";
}

}  // namespace vantor::testing
