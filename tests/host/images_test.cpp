// Creation, letterboxed cropping and saving of NV12 images, pixel by pixel.
#include "host/platform/images.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/unique_path.h"
#include "vca/platform.h"

namespace {

std::uint8_t* luma(const VCA_IMAGE_S& img, int x, int y) {
    return reinterpret_cast<std::uint8_t*>(img.plane_addr) + y * static_cast<int>(img.stride) + x;
}

// The U byte of the 2 x 2 block that holds the pixel; V follows it.
std::uint8_t* chroma(const VCA_IMAGE_S& img, int x, int y) {
    const int row = static_cast<int>(img.height) + y / 2;
    return luma(img, x / 2 * 2, row);
}

class Images : public ::testing::Test {
  protected:
    // An image whose luma is x + 10 y and whose chroma is (x, y) of its block.
    VCA_IMAGE_S ramp(int width, int height) {
        VCA_IMAGE_S img = create(width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                *luma(img, x, y) = static_cast<std::uint8_t>(x + 10 * y);
                chroma(img, x, y)[0] = static_cast<std::uint8_t>(x / 2);
                chroma(img, x, y)[1] = static_cast<std::uint8_t>(y / 2);
            }
        }
        return img;
    }

    VCA_IMAGE_S create(int width, int height) {
        VCA_IMAGE_S img{};
        EXPECT_EQ(vca_create_image(&img, VCA_IMAGE_NV12, width, height), 0);
        created_.push_back(img);
        return img;
    }

    void TearDown() override {
        for (VCA_IMAGE_S& img : created_)
            vca_destroy_image(&img);
        EXPECT_EQ(host::live_images(), 0);
    }

    std::vector<VCA_IMAGE_S> created_;
};

TEST_F(Images, CreationFillsTheRecordAndCountsTheImage) {
    VCA_IMAGE_S img{};
    ASSERT_EQ(vca_create_image(&img, VCA_IMAGE_NV12, 224, 100), 0);
    EXPECT_EQ(img.type, VCA_IMAGE_NV12);
    EXPECT_EQ(img.width, 224u);
    EXPECT_EQ(img.height, 100u);
    EXPECT_EQ(img.stride, 224u);
    EXPECT_EQ(img.map_addr, img.plane_addr);
    EXPECT_EQ(host::live_images(), 1);
    EXPECT_EQ(vca_destroy_image(&img), 0);
    EXPECT_EQ(host::live_images(), 0);
    EXPECT_EQ(img.plane_addr, 0u);
}

TEST_F(Images, DestroyAcceptsAnEmptyRecord) {
    VCA_IMAGE_S img{};
    EXPECT_EQ(vca_destroy_image(&img), 0);
    EXPECT_EQ(vca_destroy_image(&img), 0);
    EXPECT_EQ(vca_destroy_image(nullptr), -1);
    EXPECT_EQ(host::live_images(), 0);
}

TEST_F(Images, RefusedCreationLeavesAZeroRecord) {
    for (const auto& [type, width, height] :
         {std::tuple(1, 64, 64), {2, 63, 64}, {2, 64, 0}, {2, -2, 64}, {2, 100000, 64}}) {
        VCA_IMAGE_S img;
        std::memset(&img, 0xff, sizeof img);
        EXPECT_EQ(vca_create_image(&img, type, width, height), -1);
        EXPECT_EQ(img.width, 0u);
        EXPECT_EQ(img.plane_addr, 0u);
        EXPECT_EQ(img.host_handle, 0u);
    }
}

TEST_F(Images, LetterboxKeepsProportionsAndCentres) {
    const host::LetterboxFit wide = host::letterbox_fit(100, 50, 224, 224);
    EXPECT_EQ(wide.width, 224);
    EXPECT_EQ(wide.height, 112);
    EXPECT_EQ(wide.x, 0);
    EXPECT_EQ(wide.y, 56);
    const host::LetterboxFit tall = host::letterbox_fit(30, 90, 224, 224);
    EXPECT_EQ(tall.width, 74);  // 74.67 rounds to 75, then down to even
    EXPECT_EQ(tall.height, 224);
    EXPECT_EQ(tall.x, 74);  // (224 - 74) / 2 = 75, down to even
    EXPECT_EQ(tall.y, 0);
    EXPECT_EQ(host::letterbox_fit(0, 10, 224, 224).width, 0);
}

TEST_F(Images, CropOfEqualSizeCopiesPixels) {
    const VCA_IMAGE_S src = ramp(20, 16);
    VCA_IMAGE_S dst = create(8, 6);
    const VCA_RGN_S rgn{4, 2, 8, 6};
    ASSERT_EQ(vca_image_crop_letter(&src, &rgn, &dst), 0);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 8; ++x) {
            EXPECT_EQ(*luma(dst, x, y), x + 4 + 10 * (y + 2));
            EXPECT_EQ(chroma(dst, x, y)[0], (x + 4) / 2);
            EXPECT_EQ(chroma(dst, x, y)[1], (y + 2) / 2);
        }
    }
}

TEST_F(Images, BarsAroundANarrowCropAreGrey) {
    const VCA_IMAGE_S src = ramp(20, 16);
    VCA_IMAGE_S dst = create(8, 8);
    const VCA_RGN_S rgn{0, 0, 8, 4};
    ASSERT_EQ(vca_image_crop_letter(&src, &rgn, &dst), 0);
    for (int x = 0; x < 8; ++x) {
        for (const int y : {0, 1, 6, 7}) {
            EXPECT_EQ(*luma(dst, x, y), 128);
            EXPECT_EQ(chroma(dst, x, y)[0], 128);
            EXPECT_EQ(chroma(dst, x, y)[1], 128);
        }
        for (int y = 2; y < 6; ++y) {
            EXPECT_EQ(*luma(dst, x, y), x + 10 * (y - 2));
            EXPECT_EQ(chroma(dst, x, y)[1], (y - 2) / 2);
        }
    }
}

TEST_F(Images, HalvingTakesTheMeanOfFourPixels) {
    const VCA_IMAGE_S src = ramp(8, 8);
    VCA_IMAGE_S dst = create(4, 4);
    const VCA_RGN_S rgn{0, 0, 8, 8};
    ASSERT_EQ(vca_image_crop_letter(&src, &rgn, &dst), 0);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            const double mean = 2 * x + 0.5 + 10 * (2 * y + 0.5);
            EXPECT_NEAR(*luma(dst, x, y), mean, 0.51);
        }
    }
}

TEST_F(Images, CropIsClippedToTheSource) {
    const VCA_IMAGE_S src = ramp(20, 16);
    VCA_IMAGE_S dst = create(4, 4);
    const VCA_RGN_S corner{-4, -2, 8, 6};  // 4 x 4 pixels of it exist
    ASSERT_EQ(vca_image_crop_letter(&src, &corner, &dst), 0);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(*luma(dst, x, y), x + 10 * y);
    }
    const VCA_RGN_S huge{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
    EXPECT_EQ(vca_image_crop_letter(&src, &huge, &dst), -1);
    const VCA_RGN_S outside{30, 0, 8, 6};
    EXPECT_EQ(vca_image_crop_letter(&src, &outside, &dst), -1);
    const VCA_RGN_S empty{4, 4, -8, 6};
    EXPECT_EQ(vca_image_crop_letter(&src, &empty, &dst), -1);
}

TEST_F(Images, CropRefusesWhatIsNoImage) {
    const VCA_IMAGE_S src = ramp(20, 16);
    VCA_IMAGE_S none{};
    const VCA_RGN_S rgn{0, 0, 8, 4};
    EXPECT_EQ(vca_image_crop_letter(&src, &rgn, &none), -1);
    VCA_IMAGE_S dst = create(8, 8);
    EXPECT_EQ(vca_image_crop_letter(&none, &rgn, &dst), -1);
    EXPECT_EQ(vca_image_crop_letter(&src, nullptr, &dst), -1);
    VCA_IMAGE_S narrow = dst;
    narrow.stride = 4;
    EXPECT_EQ(vca_image_crop_letter(&src, &rgn, &narrow), -1);
}

TEST_F(Images, SavingWritesThePlanesWithoutPadding) {
    VCA_IMAGE_S img = ramp(20, 16);
    img.width = 10;  // the rows keep their distance of 20 bytes
    const auto path = test::unique_path("vca-images-test", ".yuv");
    ASSERT_EQ(vca_save_yuv_image(&img, path.c_str()), 0);
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    ASSERT_EQ(bytes.size(), 240u);
    EXPECT_EQ(static_cast<std::uint8_t>(bytes[10 * 3 + 4]), 34);       // x 4, y 3
    EXPECT_EQ(static_cast<std::uint8_t>(bytes[160 + 10 * 2 + 6]), 3);  // U of x 6, y 4
    EXPECT_EQ(static_cast<std::uint8_t>(bytes[160 + 10 * 2 + 7]), 2);  // V of x 6, y 4
    std::filesystem::remove(path);
    EXPECT_EQ(vca_save_yuv_image(&img, "/nonexistent/folder/x.yuv"), -1);
    EXPECT_EQ(vca_save_yuv_image(&img, nullptr), -1);
}

}  // namespace
