// Looking into a mask eight cells at a time finds what a look at each cell finds.
#include "config/mask_cells.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

namespace {

using vca::any_set;
using vca::CellRect;
using vca::MaskCells;

struct Mask {
    MaskCells cells{};
};

bool plain_any_set(const MaskCells& mask, CellRect rect) {
    for (int32_t y = 0; y < VCA_MASK_ROWS; ++y)
        for (int32_t x = 0; x < VCA_MASK_COLS; ++x)
            if (x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom &&
                mask[y][x] != 0)
                return true;
    return false;
}

// One set cell at every place of a row of every width up to three times eight cells and one more.
TEST(MaskCells, EveryPlaceOfARowIsSeen) {
    const auto mask = std::make_unique<Mask>();
    for (int32_t width = 1; width <= 25; ++width) {
        for (int32_t at = -1; at <= width; ++at) {
            std::memset(mask->cells, 0, sizeof(mask->cells));
            mask->cells[50][100 + at] = 1;
            const CellRect rect = {100, 50, 100 + width, 51};
            EXPECT_EQ(any_set(mask->cells, rect), at >= 0 && at < width) << width << " " << at;
        }
    }
}

TEST(MaskCells, RandomRectanglesAgreeWithThePlainForm) {
    std::mt19937 random(11);
    const auto within = [&](int32_t low, int32_t high) {
        return std::uniform_int_distribution<int32_t>(low, high)(random);
    };
    const auto mask = std::make_unique<Mask>();
    for (int round = 0; round < 2000; ++round) {
        std::memset(mask->cells, 0, sizeof(mask->cells));
        for (int k = within(0, 4); k > 0; --k)
            mask->cells[within(0, VCA_MASK_ROWS - 1)][within(0, VCA_MASK_COLS - 1)] = 1;
        // Also beyond the grid, empty and turned around.
        const CellRect rect = {within(-40, 360), within(-40, 220), within(-40, 360),
                               within(-40, 220)};
        EXPECT_EQ(any_set(mask->cells, rect), plain_any_set(mask->cells, rect));
    }
}

TEST(MaskCells, CellsBeyondTheGridAreNotSet) {
    const auto mask = std::make_unique<Mask>();
    std::memset(mask->cells, 1, sizeof(mask->cells));
    EXPECT_TRUE(vca::is_set(mask->cells, {0, 0}));
    EXPECT_TRUE(vca::is_set(mask->cells, {VCA_MASK_COLS - 1, VCA_MASK_ROWS - 1}));
    EXPECT_FALSE(vca::is_set(mask->cells, {-1, 0}));
    EXPECT_FALSE(vca::is_set(mask->cells, {0, -1}));
    EXPECT_FALSE(vca::is_set(mask->cells, {VCA_MASK_COLS, 0}));
    EXPECT_FALSE(vca::is_set(mask->cells, {0, VCA_MASK_ROWS}));
}

}  // namespace
