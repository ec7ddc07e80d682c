// Steps of the wall clock, told from corrections and from waiting.
#include "host/base/wall_clock.h"

#include <gtest/gtest.h>

namespace {

TEST(WallClock, ReadingsOfBothClocksBelongTogether) {
    const host::ClockReading first = host::read_clocks();
    const host::ClockReading second = host::read_clocks();
    EXPECT_GT(first.utc_us, 1'600'000'000'000'000);
    EXPECT_GE(second.monotonic_us, first.monotonic_us);
}

TEST(WallClock, AStepIsFoundOnceAndByHowMuch) {
    host::ClockSteps steps;
    EXPECT_FALSE(steps.look({1'000'000, 5'000'000}));
    EXPECT_FALSE(steps.look({2'000'000, 6'000'000}));
    EXPECT_FALSE(steps.look({3'040'000, 7'000'000})) << "the threads had to wait";
    EXPECT_EQ(steps.look({3'600'000'000 + 4'000'000, 8'000'000}), 3'600'000'000);
    EXPECT_FALSE(steps.look({3'600'000'000 + 5'000'000, 9'000'000}));
    EXPECT_EQ(steps.look({6'000'000, 10'000'000}), -3'600'000'000);
}

// Many small ones are as bad as a large one.
TEST(WallClock, SmallStepsAddUp) {
    host::ClockSteps steps;
    int found = 0;
    for (int i = 0; i < 11; ++i)
        found += steps.look({i * 10'000, 0}) ? 1 : 0;
    EXPECT_EQ(found, 2);
}

}  // namespace
