#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "net/MessageFramer.h"

namespace vantor {
namespace {

using namespace std::string_literals;

std::vector<std::string> FeedAll(MessageFramer& framer, const std::vector<std::string>& chunks,
                                 bool* fits = nullptr) {
    std::vector<std::string> messages;
    for (const std::string& chunk : chunks) {
        const bool ok = framer.Feed(chunk, [&](std::string_view m) { messages.emplace_back(m); });
        if (fits != nullptr) {
            *fits = ok;
        }
    }
    return messages;
}

TEST(MessageFramerTest, CutsAtZeroBytesHoweverTheStreamIsChunked) {
    struct Case {
        const char* label;
        std::vector<std::string> chunks;
        std::vector<std::string> messages;
        std::size_t pending;
    };
    const Case cases[] = {
        {"two messages in one chunk", {"<A/>\0<B/>\0"s}, {"<A/>", "<B/>"}, 0},
        {"split over chunks", {"<Lo", "ng>", "x</Long>", "\0"s}, {"<Long>x</Long>"}, 0},
        {"byte by byte", {"<", "A", "/", ">", "\0"s, "t"}, {"<A/>"}, 1},
        {"chunk ends at a zero byte", {"<A/>\0"s, "<B/>"}, {"<A/>"}, 4},
        {"bytes after the last zero wait", {"<A/>\0<B"s}, {"<A/>"}, 2},
        // The byte after a cut is never tested, so the second zero of a pair
        // does not end an empty message; it leads the next one.
        {"two zero bytes in a row", {"<A/>\0\0<B/>\0"s}, {"<A/>", "\0<B/>"s}, 0},
        {"zero pair at a chunk edge", {"<A/>\0"s, "\0<B/>\0"s}, {"<A/>", "", "<B/>"}, 0},
        {"three zeros", {"x\0\0\0y\0"s}, {"x", "\0"s, "y"}, 0},
        {"empty chunk", {"", "<A/>\0"s}, {"<A/>"}, 0},
    };
    for (const Case& c : cases) {
        MessageFramer framer;
        EXPECT_EQ(FeedAll(framer, c.chunks), c.messages) << c.label;
        EXPECT_EQ(framer.Pending(), c.pending) << c.label;
    }
}

TEST(MessageFramerTest, TooMuchWithoutAZeroByteIsRefusedAndForgotten) {
    MessageFramer framer(100);
    bool fits = true;
    EXPECT_TRUE(FeedAll(framer, {std::string(60, 'x')}, &fits).empty());
    EXPECT_TRUE(fits);
    EXPECT_TRUE(FeedAll(framer, {std::string(60, 'x')}, &fits).empty());
    EXPECT_FALSE(fits);
    EXPECT_EQ(framer.Pending(), 0u);
    // A message that ends within the cap is fine, even in a long chunk.
    EXPECT_EQ(FeedAll(framer, {std::string(90, 'y') + "\0"s + std::string(50, 'z')}, &fits).size(),
              1u);
    EXPECT_TRUE(fits);
}

TEST(MessageFramerTest, ALargeMessageInSmallChunksIsScannedOnce) {
    // Rescanning held bytes per chunk would make this quadratic (minutes).
    MessageFramer framer;
    const std::string chunk(1000, 'a');
    std::size_t delivered = 0;
    for (int i = 0; i < 8000; ++i) {
        framer.Feed(chunk, [&](std::string_view m) { delivered += m.size(); });
    }
    framer.Feed("\0"s, [&](std::string_view m) { delivered += m.size(); });
    EXPECT_EQ(delivered, 8'000'000u);
    EXPECT_EQ(framer.Pending(), 0u);
}

}  // namespace
}  // namespace vantor
