#pragma once

// The process-wide logger. Every diagnostic line of the client goes through
// it: a line whose level is above the threshold is dropped, the others are
// formatted, given "\r\n", and handed under one lock to each sink in slot
// order, so lines from different threads never interleave.

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace vantor {

// Levels the callers use. Only errors pass the initial threshold.
inline constexpr int kLogError = 0;    // errors and warnings
inline constexpr int kLogInfo = 2;     // e.g. a thread has ended
inline constexpr int kLogVerbose = 3;  // e.g. a thread has started

// Where formatted lines go. Write is called under the logger's lock, from
// whichever thread logs; a sink needs no lock of its own.
class LogSink {
public:
    virtual ~LogSink() = default;
    // `line` already ends in "\r\n".
    virtual void Write(std::string_view line, int level) = 0;
};

// Writes every line to standard error (the stand-in for the device's debug
// output).
class StderrSink final : public LogSink {
public:
    void Write(std::string_view line, int level) override;
};

// Appends every line to a file, flushed after each line so a crash loses
// nothing that was logged.
class FileSink final : public LogSink {
public:
    // Returns null when the file cannot be opened for appending.
    static std::unique_ptr<FileSink> Open(const std::string& path);
    void Write(std::string_view line, int level) override;

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    explicit FileSink(std::FILE* file) : file_(file) {}
    std::unique_ptr<std::FILE, Closer> file_;
};

class Logger {
public:
    static constexpr int kSinkSlots = 5;
    static constexpr int kDefaultThreshold = 1;

    // The one logger, created on first use with a StderrSink in slot 0.
    static Logger& Instance();

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    void SetThreshold(int level) { threshold_.store(level, std::memory_order_relaxed); }
    int Threshold() const { return threshold_.load(std::memory_order_relaxed); }

    // Puts a sink into a slot (null empties it). Returns 0, or -1 when the
    // slot is out of range. Returns the sink that was there through `previous`.
    int SetSink(int slot, std::shared_ptr<LogSink> sink,
                std::shared_ptr<LogSink>* previous = nullptr);

    void Log(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void LogV(int level, const char* format, va_list args) __attribute__((format(printf, 3, 0)));

private:
    Logger();

    std::atomic<int> threshold_{kDefaultThreshold};
    std::mutex mutex_;  // guards sinks_ and serialises every Write
    std::array<std::shared_ptr<LogSink>, kSinkSlots> sinks_;
};

// Shorthand for Logger::Instance().Log(...).
void Log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace vantor
