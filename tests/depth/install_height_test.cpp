// The installation height measured under the image centre.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "vca/depth.h"

namespace {

std::vector<uint16_t> image(int width, int height, uint16_t mm) {
    return std::vector<uint16_t>(static_cast<size_t>(width) * static_cast<size_t>(height), mm);
}

TEST(InstallHeight, UniformFloorIsBiasedTowardsThreeMetres) {
    // (3000 + 600 v) / 600 = v + 5 for the 30 x 20 pixels of a full sample area.
    for (const int v : {4, 100, 2500, 3000, 65535}) {
        const auto pixels = image(480, 256, static_cast<uint16_t>(v));
        EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256), v + 5);
    }
}

TEST(InstallHeight, NoValidPixelSaturates) {
    for (const int v : {0, 1, 2, 3}) {
        const auto pixels = image(480, 256, static_cast<uint16_t>(v));
        EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256), INT_MAX);
    }
}

TEST(InstallHeight, MissingPixelsCountNeitherWay) {
    auto pixels = image(480, 256, 3);
    pixels[128 * 480 + 240] = 4000;
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256), 7000);
    pixels[129 * 480 + 240] = 4;
    // (3000 + 4000 + 4) / 2
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256), 3502);
}

TEST(InstallHeight, ResultIsTruncated) {
    auto pixels = image(480, 256, 0);
    pixels[128 * 480 + 240] = 1000;
    pixels[128 * 480 + 241] = 1000;
    pixels[128 * 480 + 242] = 1001;
    // 6001 / 3 = 2000.33
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256), 2000);
    pixels[128 * 480 + 242] = 1002;
    // 6002 / 3 = 2000.67
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256), 2000);
}

// The area of one size, pixel by pixel: only the pixels inside may change the result.
void expect_area(int width, int height, int row0, int row1, int col0, int col1) {
    auto pixels = image(width, height, 0);
    for (int r = 0; r < height; ++r) {
        for (int c = 0; c < width; ++c) {
            auto& pixel = pixels[static_cast<size_t>(r * width + c)];
            pixel = 2000;
            const bool in = r >= row0 && r <= row1 && c >= col0 && c <= col1;
            ASSERT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), width, height),
                      in ? 5000 : INT_MAX)
                << r << ' ' << c;
            pixel = 0;
        }
    }
}

TEST(InstallHeight, AreaOfTheWorkingImage) {
    // Rows 128 - 15 .. 128 + 14, columns 240 - 10 .. 240 + 9; the border around it is enough.
    auto pixels = image(480, 256, 0);
    for (int r = 100; r < 160; ++r) {
        for (int c = 220; c < 260; ++c) {
            auto& pixel = pixels[static_cast<size_t>(r * 480 + c)];
            pixel = 2000;
            const bool in = r >= 113 && r <= 142 && c >= 230 && c <= 249;
            ASSERT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256),
                      in ? 5000 : INT_MAX);
            pixel = 0;
        }
    }
}

TEST(InstallHeight, OddSizesHalveTruncating) {
    // 41 / 2 = 20, 61 / 2 = 30: rows 15 .. 44, columns 10 .. 29.
    expect_area(41, 61, 15, 44, 10, 29);
}

TEST(InstallHeight, SmallImagesAreReadInsideOnly) {
    expect_area(9, 7, 0, 6, 0, 8);
    expect_area(30, 10, 0, 9, 5, 24);
    const auto one = image(1, 1, 500);
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(one.data(), 1, 1), 3500);
}

TEST(InstallHeight, SizesWithoutPixelsSaturate) {
    const auto pixels = image(4, 4, 500);
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 0, 0), INT_MAX);
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 0, 4), INT_MAX);
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), -5, -5), INT_MAX);
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), INT_MIN, INT_MIN), INT_MAX);
}

TEST(InstallHeight, SumIsFormedInSinglePrecisionRowByRow) {
    // 600 pixels of 65535 pass 2^24, where single precision starts to drop bits.
    auto pixels = image(480, 256, 65535);
    for (int i = 0; i < 20; ++i)
        pixels[static_cast<size_t>(113 * 480 + 230 + i)] = 65001;
    float sum = 3000.0f;
    for (int i = 0; i < 600; ++i)
        sum += i < 20 ? 65001.0f : 65535.0f;
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(pixels.data(), 480, 256),
              static_cast<int32_t>(sum / 600.0f));
}

TEST(InstallHeight, WithoutAnImageSaturates) {
    EXPECT_EQ(depth_calc_install_height_by_raw_dist16(nullptr, 480, 256), INT_MAX);
}

}  // namespace
