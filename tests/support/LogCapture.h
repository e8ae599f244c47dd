#pragma once

// Captures the logger's lines for a test: installs a sink in a free slot
// and raises the threshold for the test's lifetime, restoring both after.

#include <mutex>
#include <string>
#include <vector>

#include "core/Logger.h"

namespace vantor::testing {

class LogCapture {
public:
    explicit LogCapture(int threshold = kLogVerbose, int slot = Logger::kSinkSlots - 1)
        : slot_(slot), sink_(std::make_shared<Sink>()) {
        Logger& logger = Logger::Instance();
        previousThreshold_ = logger.Threshold();
        logger.SetThreshold(threshold);
        logger.SetSink(slot_, sink_, &previousSink_);
    }
    ~LogCapture() {
        Logger& logger = Logger::Instance();
        logger.SetSink(slot_, previousSink_);
        logger.SetThreshold(previousThreshold_);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> Lines() const {
        std::lock_guard lock(sink_->mutex);
        return sink_->lines;
    }
    std::vector<int> Levels() const {
        std::lock_guard lock(sink_->mutex);
        return sink_->levels;
    }
    int Count(const std::string& line) const {
        int count = 0;
        for (const std::string& captured : Lines()) {
            count += captured == line ? 1 : 0;
        }
        return count;
    }

private:
    struct Sink final : LogSink {
        void Write(std::string_view line, int level) override {
            std::lock_guard lock(mutex);
            lines.emplace_back(line);
            levels.push_back(level);
        }
        mutable std::mutex mutex;
        std::vector<std::string> lines;
        std::vector<int> levels;
    };

    int slot_;
    std::shared_ptr<Sink> sink_;
    std::shared_ptr<LogSink> previousSink_;
    int previousThreshold_ = 0;
};

}  // namespace vantor::testing
