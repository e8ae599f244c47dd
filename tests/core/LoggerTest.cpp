#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

#include "core/Logger.h"
#include "support/LogCapture.h"

namespace vantor {
namespace {

using testing::LogCapture;

TEST(LoggerTest, InitialThresholdPassesOnlyErrors) {
    EXPECT_EQ(Logger::Instance().Threshold(), Logger::kDefaultThreshold);
    LogCapture capture(Logger::kDefaultThreshold);
    Log(kLogError, "error %d", 1);
    Log(1, "level one");
    Log(kLogInfo, "dropped %s", "info");
    Log(kLogVerbose, "dropped verbose");
    EXPECT_EQ(capture.Lines(), (std::vector<std::string>{"error 1\r\n", "level one\r\n"}));
    EXPECT_EQ(capture.Levels(), (std::vector<int>{0, 1}));
}

TEST(LoggerTest, SinksAreCalledInSlotOrderAndSlotsAreBounded) {
    struct Recorder final : LogSink {
        Recorder(std::vector<int>& order, int id) : order_(order), id_(id) {}
        void Write(std::string_view, int) override { order_.push_back(id_); }
        std::vector<int>& order_;
        int id_;
    };
    std::vector<int> order;
    Logger& logger = Logger::Instance();
    std::shared_ptr<LogSink> saved[Logger::kSinkSlots];
    for (int slot = 0; slot < Logger::kSinkSlots; ++slot) {
        ASSERT_EQ(logger.SetSink(slot, std::make_shared<Recorder>(order, slot), &saved[slot]), 0);
    }
    EXPECT_EQ(logger.SetSink(Logger::kSinkSlots, nullptr), -1);
    EXPECT_EQ(logger.SetSink(-1, nullptr), -1);
    logger.SetSink(2, nullptr);  // an empty slot is skipped
    Log(kLogError, "x");
    for (int slot = 0; slot < Logger::kSinkSlots; ++slot) {
        logger.SetSink(slot, saved[slot]);
    }
    EXPECT_EQ(order, (std::vector<int>{0, 1, 3, 4}));
}

TEST(LoggerTest, LinesFromManyThreadsArriveWhole) {
    // This sink has no lock of its own: it relies on the logger serialising
    // every Write (ThreadSanitizer reports a race otherwise).
    struct Concatenating final : LogSink {
        void Write(std::string_view line, int) override { text.append(line); }
        std::string text;
    };
    auto sink = std::make_shared<Concatenating>();
    std::shared_ptr<LogSink> previous;
    Logger::Instance().SetSink(3, sink, &previous);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i) {
                Log(kLogError, "thread %d line %03d", t, i);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    Logger::Instance().SetSink(3, previous);

    std::istringstream lines(sink->text);
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        ASSERT_EQ(line.size(), std::string("thread 0 line 000\r").size()) << line;
        ASSERT_EQ(line.back(), '\r');
        ++count;
    }
    EXPECT_EQ(count, 800);
}

TEST(LoggerTest, FileSinkAppends) {
    const std::string path = ::testing::TempDir() + "/vantor_logger_test.log";
    std::remove(path.c_str());
    {
        auto sink = FileSink::Open(path);
        ASSERT_NE(sink, nullptr);
        sink->Write("one\r\n", 0);
    }
    {
        auto sink = FileSink::Open(path);
        ASSERT_NE(sink, nullptr);
        sink->Write("two\r\n", 0);
    }
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    EXPECT_EQ(content.str(), "one\r\ntwo\r\n");
    std::remove(path.c_str());
    EXPECT_EQ(FileSink::Open("/nonexistent-dir/x/y.log"), nullptr);
}

}  // namespace
}  // namespace vantor
