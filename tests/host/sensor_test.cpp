// Depth handed to the library so that its heights come out right.
#include "host/depth/sensor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

TEST(Sensor, PeopleMoveByTheCorrectionAndTheFloorStays) {
    const std::vector<std::uint16_t> depth{0, 2300, 3500, 3700, 4000, 4100};
    std::vector<std::uint16_t> corrected;
    host::suit_library(depth, 4100, 60, corrected);
    EXPECT_EQ(corrected, (std::vector<std::uint16_t>{0, 2360, 3500, 3700, 4000, 4100}));
    host::suit_library(depth, 4100, -40, corrected);
    EXPECT_EQ(corrected, (std::vector<std::uint16_t>{0, 2260, 3500, 3700, 4000, 4100}));
}

TEST(Sensor, NothingLeavesTheRange) {
    std::vector<std::uint16_t> suited;
    host::suit_library({10, 65530}, 2000, -40, suited);
    EXPECT_EQ(suited, (std::vector<std::uint16_t>{0, 65530}));
    host::suit_library({10, 65530}, 70000, 60, suited);
    EXPECT_EQ(suited, (std::vector<std::uint16_t>{65535, 65535}));
}

TEST(Sensor, NothingIsHigherThanTheLibraryMeasures) {
    std::vector<std::uint16_t> suited{1};
    host::suit_library({0, 1300, 1500, 3300}, 3300, 0, suited);
    EXPECT_TRUE(suited.empty());  // the same
    host::suit_library({0, 1299, 1500, 3300}, 3300, 0, suited);
    EXPECT_EQ(suited, (std::vector<std::uint16_t>{0, 1300, 1500, 3300}));
    host::suit_library({0, 1200, 1299, 3300}, 3300, -40, suited);
    EXPECT_EQ(suited, (std::vector<std::uint16_t>{0, 1300, 1300, 3300}));
}

TEST(Sensor, ManyDepthsAreSuitedAsEachAlone) {
    std::vector<std::uint16_t> depth(2003);
    std::mt19937 random(1);
    std::uniform_int_distribution<int> any(0, 65535), near(0, 5000);
    for (std::size_t i = 0; i < depth.size(); ++i)
        depth[i] = static_cast<std::uint16_t>(i % 5 == 0   ? 0
                                              : i % 2 == 0 ? any(random)
                                                           : near(random));
    for (const int floor_mm : {300, 2500, 4100, 70000}) {
        for (const int correction_mm : {0, 60, -40}) {
            std::vector<std::uint16_t> all, one;
            host::suit_library(depth, floor_mm, correction_mm, all);
            for (std::size_t i = 0; i < depth.size(); ++i) {
                host::suit_library({depth[i]}, floor_mm, correction_mm, one);
                ASSERT_EQ(all.empty() ? depth[i] : all[i], one.empty() ? depth[i] : one[0])
                    << depth[i] << ", floor " << floor_mm << ", correction " << correction_mm;
            }
        }
    }
}

TEST(Sensor, HasANameForSettings) {
    EXPECT_STREQ(host::sensor_name(host::Sensor::kExact), "exact");
    EXPECT_STREQ(host::sensor_name(host::Sensor::kReadsLow), "reads-low");
}

}  // namespace
