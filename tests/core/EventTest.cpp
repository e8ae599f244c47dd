#include <gtest/gtest.h>

#include "core/Event.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;

TEST(EventTest, StaysSetForEveryWaiterUntilReset) {
    Event event;
    EXPECT_FALSE(event.WaitFor(1ms));
    event.Set();
    EXPECT_TRUE(event.WaitFor(0ms));
    EXPECT_TRUE(event.WaitFor(0ms)) << "a manual-reset event is not consumed by a wait";
    event.Reset();
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.WaitFor(1ms));
}

}  // namespace
}  // namespace vantor
