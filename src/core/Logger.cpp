#include "core/Logger.h"

#include <cstdarg>

#include "core/Text.h"

namespace vantor {

void StderrSink::Write(std::string_view line, int /*level*/) {
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

std::unique_ptr<FileSink> FileSink::Open(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "ab");
    if (file == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<FileSink>(new FileSink(file));
}

void FileSink::Write(std::string_view line, int /*level*/) {
    std::fwrite(line.data(), 1, line.size(), file_.get());
    std::fflush(file_.get());
}

Logger::Logger() {
    sinks_[0] = std::make_shared<StderrSink>();
}

Logger& Logger::Instance() {
    // Never destroyed: worker threads may still log while statics are torn down.
    static Logger* const instance = new Logger();
    return *instance;
}

int Logger::SetSink(int slot, std::shared_ptr<LogSink> sink, std::shared_ptr<LogSink>* previous) {
    if (slot < 0 || slot >= kSinkSlots) {
        return -1;
    }
    std::lock_guard lock(mutex_);
    if (previous != nullptr) {
        *previous = sinks_[static_cast<std::size_t>(slot)];
    }
    sinks_[static_cast<std::size_t>(slot)] = std::move(sink);
    return 0;
}

void Logger::Log(int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogV(level, format, args);
    va_end(args);
}

void Logger::LogV(int level, const char* format, va_list args) {
    if (level > Threshold()) {
        return;
    }
    std::string line = FormatV(format, args);
    line += "\r\n";
    std::lock_guard lock(mutex_);
    for (const auto& sink : sinks_) {
        if (sink) {
            sink->Write(line, level);
        }
    }
}

void Log(int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    Logger::Instance().LogV(level, format, args);
    va_end(args);
}

}  // namespace vantor
