// The grey rendering of depth against its formula.
#include "host/frames/grey_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "host/base/picture.h"

namespace {

TEST(GreyPicture, IsBrightNearTheCameraAndBlackFromTheFloorOn) {
    constexpr std::size_t kPixels = std::size_t{host::kDepthWidth} * host::kDepthHeight;
    std::vector<std::uint16_t> raw_mm(kPixels);
    for (std::size_t i = 0; i < kPixels; ++i)
        raw_mm[i] = static_cast<std::uint16_t>(i);  // all depths
    std::vector<std::uint8_t> nv12;
    for (const double black_mm : {0.5, 2600.0, 3300.4, 5999.9, 65535.0, 80000.0}) {
        host::draw_depth(raw_mm, black_mm, nv12);
        ASSERT_EQ(nv12.size(), kPixels * 3 / 2);
        for (std::size_t i = 0; i < kPixels; ++i) {
            const double luma =
                raw_mm[i] == 0 ? 16.0 : std::max(235.0 - 219.0 / black_mm * raw_mm[i], 16.0);
            ASSERT_NEAR(nv12[i], luma, 0.5 + 1e-9) << raw_mm[i] << " of " << black_mm;
        }
        EXPECT_EQ(std::count(nv12.begin() + kPixels, nv12.end(), 128), kPixels / 2);
    }
}

}  // namespace
