#pragma once

// Runs a program of ours as a child process with its output captured, for
// end-to-end tests. Only the processes started here are ever signalled,
// by their own ids, and each is reaped.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace vantor::testing {

class Process {
public:
    explicit Process(const std::vector<std::string>& arguments) {
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], STDERR_FILENO);
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        ::close(pipe[1]);
        output_ = pipe[0];
        ::fcntl(output_, F_SETFL, O_NONBLOCK);
    }
    ~Process() {
        if (pid_ > 0 && !reaped_) {
            ::kill(pid_, SIGKILL);
            Wait();
        }
        if (output_ >= 0) {
            ::close(output_);
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool Started() const { return pid_ > 0; }
    pid_t Pid() const { return pid_; }
    // The most memory the process held, in KiB, once it has been reaped.
    long PeakRssKb() const { return peakRssKb_; }
    void Signal(int signal) const {
        if (pid_ > 0 && !reaped_) {
            ::kill(pid_, signal);
        }
    }

    // Everything printed so far.
    const std::string& Output() {
        char buffer[4096];
        ssize_t size;
        while ((size = ::read(output_, buffer, sizeof buffer)) > 0) {
            text_.append(buffer, static_cast<std::size_t>(size));
        }
        return text_;
    }

    // Waits until the output contains `text`; false after the time-out.
    bool WaitForOutput(const std::string& text,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (Output().find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            pollfd polled{output_, POLLIN, 0};
            ::poll(&polled, 1, 20);
        }
        return true;
    }

    // The exit status, or -1 when it ended by a signal or the time-out passed.
    int Wait(std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (!reaped_) {
            int status = 0;
            rusage usage{};
            const pid_t done = ::wait4(pid_, &status, WNOHANG, &usage);
            if (done == pid_) {
                reaped_ = true;
                peakRssKb_ = usage.ru_maxrss;
                status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
                break;
            }
            if (std::chrono::steady_clock::now() > deadline) {
                return -1;
            }
            Output();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        Output();
        return status_;
    }

private:
    pid_t pid_ = -1;
    int output_ = -1;
    bool reaped_ = false;
    int status_ = -1;
    long peakRssKb_ = -1;
    std::string text_;
};

}  // namespace vantor::testing
