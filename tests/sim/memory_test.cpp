// What a simulator and its counter of crossings keep does not grow with the people who have left.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <string>

#include "sim/crossings.h"
#include "sim/simulator.h"

namespace {

std::size_t bytes_in_use() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

class Memory : public testing::TestWithParam<std::string> {};

TEST_P(Memory, DoesNotGrowWithTheSceneLength) {
    constexpr double kLength_s = 1200.0;
    constexpr double kSettled_s = 60.0;
    constexpr std::size_t kMost = 16 * 1024;  // more or fewer people at the two moments
    sim::Simulator simulator = sim::make_scene(GetParam(), 1, kLength_s);
    sim::CrossingCounter counter(simulator.info().lines);
    sim::Frame frame;
    while (frame.time_s < kSettled_s) {
        ASSERT_TRUE(simulator.next_truth(frame));
        counter.update(frame);
    }
    const std::size_t settled = bytes_in_use();
    ASSERT_GT(settled, 0u);
    while (frame.time_s < kLength_s - kSettled_s || frame.truth.empty()) {
        ASSERT_TRUE(simulator.next_truth(frame));
        counter.update(frame);
    }
    EXPECT_LT(bytes_in_use(), settled + kMost);
    EXPECT_GT(frame.truth.back().id, 600);  // so many people that 32 bytes for each would show
}

INSTANTIATE_TEST_SUITE_P(Some, Memory, testing::Values("entrance", "uturn"),
                         [](const auto& test) { return test.param; });

}  // namespace
