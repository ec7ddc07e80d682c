// Box geometry and the interpolation helpers, with values worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>

#include "tests/track/fixtures.h"

namespace {

using fix::box;

const float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(Iou, IdenticalBoxesGiveOne) {
    const DET_OBJ_S a = box(10, 20, 30, 40);
    EXPECT_EQ(vca_rgn_calc_IoU(&a, &a), 1.0f);
}

TEST(Iou, TouchingBoxesGiveZero) {
    const DET_OBJ_S a = box(0, 0, 10, 10);
    const DET_OBJ_S right = box(10, 0, 10, 10);
    const DET_OBJ_S below = box(0, 10, 10, 10);
    EXPECT_EQ(vca_rgn_calc_IoU(&a, &right), 0.0f);
    EXPECT_EQ(vca_rgn_calc_IoU(&a, &below), 0.0f);
}

TEST(Iou, StoredAreaIsNotUsed) {
    DET_OBJ_S a = box(0, 0, 10, 10);
    DET_OBJ_S b = box(5, 0, 10, 10);
    a.area = 7;
    b.area = 123456;
    // 50 of 150 pixels
    EXPECT_EQ(vca_rgn_calc_IoU(&a, &b), 50.0f / 150.0f);
    EXPECT_EQ(vca_rgn_calc_IoU(&b, &a), 50.0f / 150.0f);
}

TEST(Iou, DisjointEmptyBoxesGiveNan) {
    const DET_OBJ_S a = box(0, 0, 0, 10);
    const DET_OBJ_S b = box(50, 0, 0, 10);
    const float iou = vca_rgn_calc_IoU(&a, &b);
    EXPECT_TRUE(std::isnan(iou));
    EXPECT_FALSE(iou > 0.1f);
    EXPECT_FALSE(iou >= 0.0f);
}

TEST(Iou, ProductsAndSumsWrap) {
    // 65536 * 65536 = 2^32 wraps to 0: 0 / (0 + 0 - 0)
    const DET_OBJ_S square = box(0, 0, 65536, 65536);
    EXPECT_TRUE(std::isnan(vca_rgn_calc_IoU(&square, &square)));
    // 65537^2 = 2^32 + 131073 wraps to 131073 on all three sides
    const DET_OBJ_S larger = box(0, 0, 65537, 65537);
    EXPECT_EQ(vca_rgn_calc_IoU(&larger, &larger), 1.0f);
    // 50000^2 wraps to -1794967296, which a float holds exactly; 1 vanishes beside it
    const DET_OBJ_S wide = box(0, 0, 50000, 50000);
    const DET_OBJ_S dot = box(0, 0, 1, 1);
    EXPECT_EQ(vca_rgn_calc_IoU(&wide, &dot), 1.0f / -1794967296.0f);
    // the right edge wraps to INT_MIN + 4, and so does its difference to the left edge: 10
    const DET_OBJ_S edge = box(INT_MAX - 5, 0, 10, 10);
    EXPECT_EQ(vca_rgn_calc_IoU(&edge, &edge), 1.0f);
}

int count_pixels(const DET_OBJ_S& a, const DET_OBJ_S& b) {
    int count = 0;
    for (int y = a.y; y < a.y + a.h; ++y)
        for (int x = a.x; x < a.x + a.w; ++x)
            if (x >= b.x && x < b.x + b.w && y >= b.y && y < b.y + b.h) ++count;
    return count;
}

TEST(Iou, AgreesWithCountingPixels) {
    std::mt19937 rng(1);
    std::uniform_int_distribution<int> pos(-10, 10);
    std::uniform_int_distribution<int> len(1, 12);
    for (int i = 0; i < 5000; ++i) {
        const DET_OBJ_S a = box(pos(rng), pos(rng), len(rng), len(rng));
        const DET_OBJ_S b = box(pos(rng), pos(rng), len(rng), len(rng));
        const int both = count_pixels(a, b);
        const int any = a.w * a.h + b.w * b.h - both;
        EXPECT_EQ(vca_rgn_calc_IoU(&a, &b), static_cast<float>(both) / static_cast<float>(any));
    }
}

int32_t point_dis(POINT_POS_S p, POINT_POS_S q) {
    return vca_calc_point_pos_dis(&p, &q);
}
int32_t point_dis2(POINT_POS_S p, POINT_POS_S q) {
    return vca_calc_point_pos_dis_square(&p, &q);
}

TEST(PointDistance, TruncatesTheRoot) {
    EXPECT_EQ(point_dis({0, 0}, {3, 4}), 5);
    EXPECT_EQ(point_dis({1, 1}, {0, 0}), 1);    // 1.41
    EXPECT_EQ(point_dis({-1, -1}, {1, 1}), 2);  // 2.83
    EXPECT_EQ(point_dis({0, 0}, {0, 99}), 99);
    EXPECT_EQ(point_dis2({0, 0}, {3, 4}), 25);
    EXPECT_EQ(point_dis2({-1, -1}, {1, 1}), 8);
}

TEST(PointDistance, SquareWrapsInThirtyTwoBits) {
    // 46340^2 = 2147395600 is the last square below 2^31
    EXPECT_EQ(point_dis({0, 0}, {46340, 0}), 46340);
    EXPECT_EQ(point_dis2({0, 0}, {46340, 0}), 2147395600);
    // 46341^2 = 2147488281 wraps to -2147479015; the root of a negative number is NaN, as i32 0
    EXPECT_EQ(point_dis2({0, 0}, {46341, 0}), -2147479015);
    EXPECT_EQ(point_dis({0, 0}, {46341, 0}), 0);
    EXPECT_EQ(point_dis({0, 0}, {65536, 0}), 0);
    // INT_MIN - INT_MAX wraps to 1
    EXPECT_EQ(point_dis({INT_MIN, 0}, {INT_MAX, 0}), 1);
}

TEST(CenterDistance, HalvesTruncateTowardZero) {
    // centres (2, 2) and (10 - 2, 10 + 3): sqrt(36 + 121) = 12.5
    const DET_OBJ_S a = box(0, 0, 5, 5);
    const DET_OBJ_S b = box(10, 10, -5, 7);
    EXPECT_EQ(vca_calc_bbox_center_dis(&a, &b), 12);
    // centre (-8, -6) of an odd box left of and above the origin
    const DET_OBJ_S c = box(-10, -7, 5, 3);
    const DET_OBJ_S d = box(-8, 4, 0, 0);
    EXPECT_EQ(vca_calc_bbox_center_dis(&c, &d), 10);
}

TEST(AdjustRect, KeepsTheCentre) {
    DET_OBJ_S a = box(10, 10, 5, 5);
    dev_bbox_adjust_rect(&a, 4);
    EXPECT_EQ(fix::rect(a), fix::Rect({10, 10, 4, 4}));
    EXPECT_EQ(a.area, 16);
    DET_OBJ_S odd = box(10, 10, 5, 5);
    dev_bbox_adjust_rect(&odd, 5);
    EXPECT_EQ(fix::rect(odd), fix::Rect({10, 10, 5, 5}));
    DET_OBJ_S negative = box(-10, -7, 5, 3);  // centre (-8, -6)
    dev_bbox_adjust_rect(&negative, 40);
    EXPECT_EQ(fix::rect(negative), fix::Rect({-28, -26, 40, 40}));
    EXPECT_EQ(negative.area, 1600);
}

TEST(AdjustRect, LeavesTheOtherFields) {
    DET_OBJ_S a = fix::patterned(3);
    a.x = 100, a.y = 50, a.w = 20, a.h = 30;
    DET_OBJ_S want = a;
    want.x = 90, want.y = 45, want.w = 40, want.h = 40, want.area = 1600;
    dev_bbox_adjust_rect(&a, 40);
    EXPECT_TRUE(fix::same(a, want));
}

TEST(HeightRatio, ClampsBetweenTwoAndSixMetres) {
    const struct {
        int height;
        float ratio;
    } rows[] = {{1500, 0.0f}, {2000, 0.0f},   {2001, 1.0f / 4000.0f},
                {4000, 0.5f}, {5000, 0.75f},  {5999, 3999 / 4000.0f},
                {6000, 1.0f}, {7000, 1.0f},   {0, 0.0f},
                {-5, 0.0f},   {INT_MAX, 1.0f}};
    for (const auto& row : rows) {
        fix::cfg().InstallHeight = row.height;
        EXPECT_EQ(dev_calc_install_height_ratio(), row.ratio) << row.height;
    }
}

TEST(FootEventSize, FallsFromNinetyToForty) {
    const struct {
        int height;
        int size;
    } rows[] = {{1500, 90},
                {2000, 90},
                {4000, 65},
                {6000, 40},
                {7000, 40},
                // t = 0.75: 77.5 + 0.5; one millimetre more gives 77.99
                {3000, 78},
                {3001, 77}};
    for (const auto& row : rows) {
        fix::cfg().InstallHeight = row.height;
        EXPECT_EQ(dev_foot_get_event_size(), row.size) << row.height;
    }
}

TEST(CalcVal, RoundsAndClamps) {
    EXPECT_EQ(av_calc_val(40, 90, 1.0f), 90);
    EXPECT_EQ(av_calc_val(40, 90, 0.0f), 40);
    EXPECT_EQ(av_calc_val(28, 33, 0.5f), 31);   // 30.5 + 0.5
    EXPECT_EQ(av_calc_val(28, 33, 0.49f), 30);  // 30.45 + 0.5
    EXPECT_EQ(av_calc_val(40, 90, -0.5f), 40);
    EXPECT_EQ(av_calc_val(40, 90, 1.5f), 90);
    EXPECT_EQ(av_calc_val(40, 90, -std::numeric_limits<float>::infinity()), 40);
    EXPECT_EQ(av_calc_val(40, 90, std::numeric_limits<float>::infinity()), 90);
}

TEST(CalcVal, RunsDownWhenLoExceedsHi) {
    EXPECT_EQ(av_calc_val(250, 55, 0.0f), 250);
    EXPECT_EQ(av_calc_val(250, 55, 1.0f), 55);
    EXPECT_EQ(av_calc_val(10, 0, 0.25f), 8);  // 7.5 + 0.5
    EXPECT_EQ(av_calc_val(7, 7, 0.3f), 7);
}

TEST(CalcVal, TruncatesTowardZeroBelowZero) {
    EXPECT_EQ(av_calc_val(-10, 0, 0.0f), -9);   // -9.5
    EXPECT_EQ(av_calc_val(-10, 0, 0.25f), -7);  // -7.0
    EXPECT_EQ(av_calc_val(-10, 0, 0.2f), -7);   // -7.5
    EXPECT_EQ(av_calc_val(-10, -5, 1.0f), -5);  // -4.5 is -4, clamped into the range
}

TEST(CalcVal, SaturatesWrapsAndTakesNanAsZero) {
    EXPECT_EQ(av_calc_val(0, INT_MAX, 1.0f), INT_MAX);
    // INT_MAX - INT_MIN wraps to -1
    EXPECT_EQ(av_calc_val(INT_MIN, INT_MAX, 1.0f), INT_MIN);
    EXPECT_EQ(av_calc_val(-10, 10, kNan), 0);
    EXPECT_EQ(av_calc_val(40, 90, kNan), 40);
}

// (hi - lo) * t + lo is exact in long double for these ranges, so its conversion to float is the
// one rounding of a fused multiply-add.
int32_t calc_val_slowly(int lo, int hi, float t) {
    const long double exact = static_cast<long double>(hi - lo) * t + lo;
    const int v = static_cast<int>(static_cast<float>(exact) + 0.5f);
    return std::clamp(v, std::min(lo, hi), std::max(lo, hi));
}

int32_t calc_val_rounding_twice(int lo, int hi, float t) {
    volatile float product = static_cast<float>(hi - lo) * t;
    const int v = static_cast<int>(product + static_cast<float>(lo) + 0.5f);
    return std::clamp(v, std::min(lo, hi), std::max(lo, hi));
}

TEST(CalcVal, RoundsTheProductAndSumOnce) {
    std::mt19937 rng(2);
    std::uniform_int_distribution<int> end(-3000000, 3000000);
    std::uniform_real_distribution<float> t(0.0f, 1.0f);
    int told_apart = 0;
    for (int i = 0; i < 20000; ++i) {
        const int lo = end(rng);
        const int hi = end(rng);
        const float at = t(rng);
        EXPECT_EQ(av_calc_val(lo, hi, at), calc_val_slowly(lo, hi, at))
            << lo << ' ' << hi << ' ' << at;
        told_apart += calc_val_slowly(lo, hi, at) != calc_val_rounding_twice(lo, hi, at);
    }
    EXPECT_GT(told_apart, 0);
}

TEST(CalcSetVal, PassesThroughThreePoints) {
    EXPECT_EQ(av_calc_set_val(3, 4, 5, 0.0f), 3);
    EXPECT_EQ(av_calc_set_val(3, 4, 5, 0.5f), 4);
    EXPECT_EQ(av_calc_set_val(3, 4, 5, 1.0f), 5);
    EXPECT_EQ(av_calc_set_val(8, 10, 12, 0.25f), 9);
    EXPECT_EQ(av_calc_set_val(-40, 60, 210, 0.75f), 135);
}

TEST(CalcSetVal, TruncatesTowardZero) {
    EXPECT_EQ(av_calc_set_val(0, 3, 10, 0.25f), 1);   // 1.5
    EXPECT_EQ(av_calc_set_val(-3, 0, 5, 0.25f), -1);  // -1.5
    EXPECT_EQ(av_calc_set_val(3, 4, 5, 0.49f), 3);    // 3.98
    EXPECT_EQ(av_calc_set_val(3, 4, 5, 0.99f), 4);    // 4.98
}

TEST(CalcSetVal, HalfBelongsToTheFirstSegment) {
    EXPECT_EQ(av_calc_set_val(0, 10, -1000, 0.5f), 10);
    // just above: 10 - 1010 * 2 * 6e-8 = 9.9999
    EXPECT_EQ(av_calc_set_val(0, 10, -1000, std::nextafter(0.5f, 1.0f)), 9);
}

TEST(CalcSetVal, ExtrapolatesOutsideZeroToOne) {
    EXPECT_EQ(av_calc_set_val(3, 4, 5, -1.0f), 1);  // 3 - 2
    EXPECT_EQ(av_calc_set_val(3, 4, 5, 2.0f), 7);   // 4 + 3
}

TEST(CalcSetVal, SaturatesAndTakesNanAsZero) {
    EXPECT_EQ(av_calc_set_val(3, 4, 5, kNan), 0);
    EXPECT_EQ(av_calc_set_val(0, 1000, 2000, 1e30f), INT_MAX);
    EXPECT_EQ(av_calc_set_val(0, 1000, 2000, -1e30f), INT_MIN);
}

}  // namespace
