// Tables that turn the pictures of a crooked camera to those of a level one.
#include "host/depth/rectifier.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/host/tilted_floor.h"

namespace {

using host::PicturePoint;
using host::Rectifier;
using host::Tilt;
using test::kCamera;

constexpr Tilt kTilts[] = {{10, 0}, {0, 10}, {-7, 7}, {15, -12}};

TEST(Rectifier, ACrookedFloorComesOutFlat) {
    for (const Tilt& tilt : kTilts) {
        std::vector<std::uint16_t> level;
        Rectifier(kCamera, tilt).depth(test::floor_image(tilt, 3000.0), level);
        ASSERT_EQ(level.size(), 480u * 256u);
        std::size_t seen = 0;
        for (const std::uint16_t mm : level) {
            if (mm == 0) continue;
            ++seen;
            // The nearest pixel is up to half of one beside, where a floor at 20 degrees is 6 mm
            // nearer or farther.
            EXPECT_NEAR(mm, 3000, 7);
        }
        EXPECT_GT(seen, 480u * 256u / 2);
        EXPECT_LT(seen, 480u * 256u);  // not all was looked at
    }
}

// A direction goes to the pixel of the crooked camera that sees it.
TEST(Rectifier, RaysComeBackWithinHalfAPixel) {
    for (const Tilt& tilt : kTilts) {
        const host::TakenPicture picture(kCamera, tilt);
        const cv::Matx33d to_level = test::to_level(tilt);
        for (int y = 2; y < 544; y += 60) {
            for (int x = 3; x < 960; x += 70) {
                const auto taken = picture.at({double(x), double(y)});
                ASSERT_TRUE(taken.has_value());
                const cv::Vec3d ray =
                    to_level * cv::Vec3d((taken->x * 0.5 - kCamera.cx) / kCamera.fx,
                                         (taken->y * 256.0 / 544.0 - kCamera.cy) / kCamera.fy, 1.0);
                EXPECT_NEAR((kCamera.cx + kCamera.fx * ray[0] / ray[2]) * 2.0, x, 1e-6);
                EXPECT_NEAR((kCamera.cy + kCamera.fy * ray[1] / ray[2]) * 544.0 / 256.0, y, 1e-6);
            }
        }
    }
}

// The left edge of what a camera sees that looks 10 degrees to the right.
TEST(TakenPicture, EndsWhereTheCameraDidNotLook) {
    const host::TakenPicture picture(kCamera, {10, 0});
    const double across_deg = std::atan(kCamera.cx / kCamera.fx) / test::kDegree;
    const double edge =
        2.0 * (kCamera.cx - kCamera.fx * std::tan((across_deg - 10.0) * test::kDegree));
    EXPECT_NEAR(picture.at({edge, 272.0})->x, 0.0, 1e-6);
    EXPECT_TRUE(picture.shows({edge + 1.0, 272.0}, 0.0));
    EXPECT_FALSE(picture.shows({edge - 1.0, 272.0}, 0.0));
    EXPECT_FALSE(picture.shows({edge + 20.0, 272.0}, 33.0));
    EXPECT_TRUE(picture.shows({edge + 40.0, 272.0}, 33.0));
    EXPECT_TRUE(picture.shows({950.0, 272.0}, 33.0));
}

// Every depth pixel comes from the one whose ray is nearest.
TEST(Rectifier, DepthIsThatOfTheNearestPixel) {
    const Tilt tilt{-7, 7};
    std::vector<std::uint16_t> numbered(480 * 256);
    for (std::size_t i = 0; i < numbered.size(); ++i)
        numbered[i] = static_cast<std::uint16_t>(1 + i % 480 + 100 * (i / 480 % 2));
    std::vector<std::uint16_t> level;
    const Rectifier rectifier(kCamera, tilt);
    rectifier.depth(numbered, level);
    const cv::Matx33d to_taken = test::to_level(tilt).t();
    int checked = 0;
    for (int v = 5; v < 256; v += 17) {
        for (int u = 5; u < 480; u += 23) {
            const cv::Vec3d ray = to_taken * cv::Vec3d((u - kCamera.cx) / kCamera.fx,
                                                       (v - kCamera.cy) / kCamera.fy, 1.0);
            const double x = std::round(kCamera.cx + kCamera.fx * ray[0] / ray[2]);
            const double y = std::round(kCamera.cy + kCamera.fy * ray[1] / ray[2]);
            const int mm = level[static_cast<std::size_t>(v * 480 + u)];
            if (x < 0 || y < 0 || x >= 480 || y >= 256) {
                EXPECT_EQ(mm, 0);
                continue;
            }
            const auto from = static_cast<std::size_t>(y) * 480 + static_cast<std::size_t>(x);
            EXPECT_EQ(mm, static_cast<int>(numbered[from] / ray[2] + 0.5));
            ++checked;
        }
    }
    EXPECT_GT(checked, 200);
}

TEST(Rectifier, MissingStaysMissing) {
    std::vector<std::uint16_t> level;
    Rectifier(kCamera, {10, 0}).depth(std::vector<std::uint16_t>(480 * 256, 0), level);
    for (const std::uint16_t mm : level)
        ASSERT_EQ(mm, 0);
}

// A picture whose brightness and colour say where it was taken.
TEST(Rectifier, ColourComesFromWhereItWasTaken) {
    std::vector<std::uint8_t> taken(960 * 544 * 3 / 2);
    for (std::size_t y = 0; y < 544; ++y)
        for (std::size_t x = 0; x < 960; ++x)
            taken[y * 960 + x] = static_cast<std::uint8_t>(20 + x / 5);
    for (std::size_t y = 0; y < 272; ++y) {
        for (std::size_t x = 0; x < 480; ++x) {
            taken[960 * 544 + y * 960 + 2 * x] = static_cast<std::uint8_t>(10 + x / 2);
            taken[960 * 544 + y * 960 + 2 * x + 1] = static_cast<std::uint8_t>(10 + y / 2);
        }
    }
    const Rectifier rectifier(kCamera, {10, 0});
    std::vector<std::uint8_t> level;
    rectifier.colour(taken, level);
    ASSERT_EQ(level.size(), taken.size());
    int outside = 0;
    for (int y = 4; y < 544; y += 30) {
        for (int x = 4; x < 960; x += 30) {
            const PicturePoint at =
                host::TakenPicture(kCamera, {10, 0}).at({x + 0.5, y + 0.5}).value();
            const auto luma = level[static_cast<std::size_t>(y * 960 + x)];
            const auto* chroma = &level[static_cast<std::size_t>(960 * 544 + y / 2 * 960 + x)];
            if (at.x < -2 || at.y < -2 || at.x > 962 || at.y > 546) {
                EXPECT_EQ(luma, 16);
                EXPECT_EQ(chroma[0], 128);
                ++outside;
            } else if (at.x > 2 && at.y > 2 && at.x < 956 && at.y < 540) {
                EXPECT_NEAR(luma, 20 + at.x / 5, 1.5);
                EXPECT_NEAR(chroma[0], 10 + at.x / 4, 1.5);
                EXPECT_NEAR(chroma[1], 10 + at.y / 4, 1.5);
            }
        }
    }
    EXPECT_GT(outside, 20);
}

}  // namespace
