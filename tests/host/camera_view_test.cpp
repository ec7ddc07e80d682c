// A camera over a made floor, and somebody who walks through.
#include "host/app/camera_view.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "host/base/picture.h"

namespace {

constexpr double kFloor_mm = 3000.0;
const host::CameraModel kCamera{240.0, 240.0, 239.5, 127.5, {}};

host::SourceFrame frame_at(int number) {
    host::SourceFrame frame;
    frame.number = number;
    frame.time_s = number / 15.0;
    frame.planes.raw_mm.assign(std::size_t{host::kDepthWidth} * host::kDepthHeight, 0);
    auto state = static_cast<std::uint32_t>(number) * 2654435761u + 1u;
    for (std::uint16_t& mm : frame.planes.raw_mm) {
        state = state * 1664525u + 1013904223u;
        // Even numbers from -6 to 6, whose standard deviation is 4 mm.
        mm = static_cast<std::uint16_t>(kFloor_mm + 2 * (static_cast<int>((state >> 16) % 7) - 3));
    }
    return frame;
}

void add_person(host::SourceFrame& frame, double height_mm) {
    for (int y = 100; y < 140; ++y)
        for (int x = 220; x < 260; ++x)
            frame.planes.raw_mm[static_cast<std::size_t>(y * host::kDepthWidth + x)] =
                static_cast<std::uint16_t>(kFloor_mm - height_mm);
}

TEST(CameraView, MeasuresRateFloorNoiseAndValidPixels) {
    host::CameraView view(kCamera);
    for (int i = 0; i < 60; ++i) {
        host::SourceFrame frame = frame_at(i);
        for (int x = 0; x < host::kDepthWidth; ++x)
            frame.planes.raw_mm[static_cast<std::size_t>(x)] = 0;  // one row in 256
        view.add(frame);
    }
    EXPECT_EQ(view.frames(), 60);
    EXPECT_NEAR(view.rate(), 15.0, 1e-6);
    EXPECT_NEAR(view.valid_share(), 255.0 / 256.0, 1e-9);
    ASSERT_TRUE(view.floor_mm());
    EXPECT_NEAR(*view.floor_mm(), kFloor_mm, 5.0);
    EXPECT_NEAR(view.noise_mm(), 4.0, 0.3);
    EXPECT_FALSE(view.person_mm());
}

TEST(CameraView, MeasuresWhoeverWalksBelow) {
    host::CameraView view(kCamera);
    for (int i = 0; i < 60; ++i) {
        host::SourceFrame frame = frame_at(i);
        if (i >= 20 && i < 40) add_person(frame, 1700.0);
        view.add(frame);
    }
    ASSERT_TRUE(view.person_mm());
    EXPECT_NEAR(*view.person_mm(), 1700.0, 10.0);
}

TEST(CameraView, SaysNothingOfNothing) {
    host::CameraView view(kCamera);
    EXPECT_EQ(view.rate(), 0.0);
    EXPECT_EQ(view.valid_share(), 0.0);
    EXPECT_EQ(view.noise_mm(), 0.0);
    host::SourceFrame frame = frame_at(0);
    std::fill(frame.planes.raw_mm.begin(), frame.planes.raw_mm.end(), std::uint16_t{0});
    for (int i = 0; i < 20; ++i)
        view.add(frame);
    EXPECT_EQ(view.valid_share(), 0.0);
    EXPECT_FALSE(view.floor_mm());
    EXPECT_FALSE(view.person_mm());
}

TEST(FittingSensor, IsTheOneThatComesNearer) {
    EXPECT_EQ(host::fitting_sensor(1750, 1745, 120), host::Sensor::kExact);
    EXPECT_EQ(host::fitting_sensor(1750, 1635, 120), host::Sensor::kReadsLow);
    EXPECT_FALSE(host::fitting_sensor(1750, 1735, 0));
}

}  // namespace
