// The floor in depth images with people, furniture, holes and noise on it.
#include "host/depth/floor_plane.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/host/tilted_floor.h"

namespace {

using host::fit_floor;
using host::FloorPlane;
using host::Tilt;
using test::floor_image;
using test::kCamera;

void expect_floor(const std::optional<FloorPlane>& floor, const Tilt& tilt, double height_mm,
                  double within_deg) {
    ASSERT_TRUE(floor.has_value());
    EXPECT_NEAR(floor->tilt.roll_deg, tilt.roll_deg, within_deg);
    EXPECT_NEAR(floor->tilt.pitch_deg, tilt.pitch_deg, within_deg);
    EXPECT_NEAR(floor->distance_mm, height_mm, 0.01 * height_mm);
}

TEST(FloorPlane, FindsRollAndPitchWithTheirSigns) {
    for (const Tilt& tilt : {Tilt{0, 0}, Tilt{10, 0}, Tilt{0, 10}, Tilt{-7, 7}, Tilt{14, -14},
                             Tilt{-20, 0}, Tilt{0, 20}}) {
        const auto floor = fit_floor(floor_image(tilt, 3000.0), kCamera);
        expect_floor(floor, tilt, 3000.0, 0.02);
        EXPECT_GT(floor->share, 0.99);
    }
}

TEST(FloorPlane, LeanIsTheAngleOfTheAxis) {
    EXPECT_NEAR(host::lean_deg({10.0, 0.0}), 10.0, 1e-9);
    EXPECT_NEAR(host::lean_deg({0.0, -12.0}), 12.0, 1e-9);
    EXPECT_NEAR(host::lean_deg({3.0, 4.0}), 5.0, 0.01);
    EXPECT_EQ(host::lean_deg({}), 0.0);
}

TEST(FloorPlane, PeopleHolesAndNoiseMayTakeSixtyPercent) {
    for (const double height_mm : {2500.0, 4000.0, 6000.0}) {
        for (const Tilt& tilt : {Tilt{0.2, 0}, Tilt{10, 0}, Tilt{-7, 7}}) {
            test::Unkindness unkind;
            auto image = floor_image(tilt, height_mm);
            unkind.put_people(image, 0.45, height_mm);
            unkind.add_noise(image, 2.0);  // 8 mm at 2 m, 72 mm at 6 m
            unkind.punch_holes(image, 0.25);
            expect_floor(fit_floor(image, kCamera), tilt, height_mm, 0.3);
        }
    }
}

TEST(FloorPlane, HalfTheFloorMayBeMissing) {
    test::Unkindness unkind;
    auto image = floor_image({4.0, -9.0}, 3000.0);
    unkind.put_people(image, 0.1, 3000.0);
    unkind.add_noise(image, 4.0);
    unkind.punch_holes(image, 0.5);
    expect_floor(fit_floor(image, kCamera), {4.0, -9.0}, 3000.0, 0.2);
}

// A counter of half the picture is level too, but not what people stand on.
TEST(FloorPlane, TheLowestLargePlaneIsTheFloor) {
    const auto image = test::depth_image(
        {6.0, 0.0}, [](const cv::Vec3d& ray) { return ray[0] < 0.05 ? 2100.0 : 3000.0; });
    expect_floor(fit_floor(image, kCamera), {6.0, 0.0}, 3000.0, 0.1);
}

// Two walls of a corridor, which the crooked camera sees more of.
TEST(FloorPlane, WallsAreNone) {
    const auto image = test::depth_image({0.0, 10.0}, [](const cv::Vec3d& ray) {
        return std::min(3000.0, 900.0 / std::max(std::abs(ray[1]), 0.01));
    });
    expect_floor(fit_floor(image, kCamera), {0.0, 10.0}, 3000.0, 0.2);
}

TEST(FloorPlane, ThereMayBeNone) {
    const std::vector<std::uint16_t> nothing(480 * 256, 0);
    EXPECT_FALSE(fit_floor(nothing, kCamera));
    auto speck = nothing;  // a single thing that gives an echo
    for (int v = 100; v < 140; ++v)
        for (int u = 200; u < 240; ++u)
            speck[static_cast<std::size_t>(v * 480 + u)] = 2000;
    EXPECT_FALSE(fit_floor(speck, kCamera));
    test::Unkindness unkind;
    auto people = floor_image({5.0, 0.0}, 3000.0);
    unkind.put_people(people, 0.97, 3000.0);
    EXPECT_FALSE(fit_floor(people, kCamera));
    auto noise = nothing;
    std::mt19937 random(3);
    for (std::uint16_t& mm : noise)
        mm = static_cast<std::uint16_t>(1000 + random() % 4000);
    EXPECT_FALSE(fit_floor(noise, kCamera));
}

// A camera that looks along a corridor, not down on it.
TEST(FloorPlane, NotBeyondTwentyDegrees) {
    EXPECT_FALSE(fit_floor(floor_image({0.0, 26.0}, 3000.0), kCamera));
}

// A strip of floor between two shelves says nothing of the tilt across it.
TEST(FloorPlane, AStripIsTooLittle) {
    const auto image = test::depth_image(
        {}, [](const cv::Vec3d& ray) { return std::abs(ray[0]) < 0.1 ? 3000.0 : 0.0; });
    EXPECT_FALSE(fit_floor(image, kCamera));
}

}  // namespace
