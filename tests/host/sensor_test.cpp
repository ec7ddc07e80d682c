// Depth handed to the library so that its heights come out right.
#include "host/depth/sensor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

TEST(Sensor, PeopleMoveByTheCorrectionAndTheFloorStays) {
    const std::vector<std::uint16_t> depth{0, 2300, 3500, 3700, 4000, 4100};
    std::vector<std::uint16_t> corrected;
    host::take_back_correction(depth, 4100, 60, corrected);
    EXPECT_EQ(corrected, (std::vector<std::uint16_t>{0, 2360, 3500, 3700, 4000, 4100}));
    host::take_back_correction(depth, 4100, -40, corrected);
    EXPECT_EQ(corrected, (std::vector<std::uint16_t>{0, 2260, 3500, 3700, 4000, 4100}));
}

TEST(Sensor, NothingLeavesTheRange) {
    std::vector<std::uint16_t> corrected;
    host::take_back_correction({10, 65530}, 70000, -40, corrected);
    EXPECT_EQ(corrected, (std::vector<std::uint16_t>{0, 65490}));
}

TEST(Sensor, HasANameForSettings) {
    EXPECT_STREQ(host::sensor_name(host::Sensor::kExact), "exact");
    EXPECT_STREQ(host::sensor_name(host::Sensor::kReadsLow), "reads-low");
}

}  // namespace
