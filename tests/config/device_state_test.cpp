// Device state beside the configuration record, the group distance and the map helpers.
#include <gtest/gtest.h>

#include <climits>
#include <latch>
#include <thread>

#include "tests/support/scripted_host.h"

namespace {

TEST(DeviceState, TypeIsTwo) {
    EXPECT_EQ(dev_get_device_type(), 2);
}

TEST(DeviceState, CountingEnable) {
    EXPECT_TRUE(dev_get_counting_enable());
    dev_set_counting_enable(false);
    EXPECT_FALSE(dev_get_counting_enable());
    dev_set_counting_enable(true);
    EXPECT_TRUE(dev_get_counting_enable());
}

TEST(DeviceState, HighInstall) {
    EXPECT_FALSE(dev_device_is_high_install());
    dev_set_high_install_enable(true);
    EXPECT_TRUE(dev_device_is_high_install());
    dev_set_high_install_enable(false);
    EXPECT_FALSE(dev_device_is_high_install());
}

TEST(DeviceState, FeedFrameCounter) {
    EXPECT_EQ(vca_feed_frm_cnt_get(), 0);
    vca_feed_frm_cnt_set(41);
    vca_feed_frm_cnt_add(1);
    EXPECT_EQ(vca_feed_frm_cnt_get(), 42);
    vca_feed_frm_cnt_add(-50);
    EXPECT_EQ(vca_feed_frm_cnt_get(), -8);
    vca_feed_frm_cnt_set(INT_MAX);
    vca_feed_frm_cnt_add(1);
    EXPECT_EQ(vca_feed_frm_cnt_get(), INT_MIN);
}

// A slave's handler sets the counter while its analysis counts a pass.
TEST(DeviceState, FeedFrameCounterLosesNothingBetweenThreads) {
    constexpr int kSteps = 2000000;
    std::latch both(2);
    const auto count = [&both](int step) {
        both.arrive_and_wait();
        for (int i = 0; i < kSteps; ++i)
            vca_feed_frm_cnt_add(step);
    };
    vca_feed_frm_cnt_set(0);
    std::thread other(count, 3);
    count(1);
    other.join();
    EXPECT_EQ(vca_feed_frm_cnt_get(), 4 * kSteps);
}

int32_t group_distance(int mode, int track_mode, int height_mm) {
    dev_get_config()->devWorkMode = mode;
    dev_get_config()->StandAloneTrkMd = track_mode;
    dev_get_config()->InstallHeight = height_mm;
    return line_group_obj_dist_max();
}

TEST(GroupDistance, BothRangesByModeAndHeight) {
    struct Row {
        int height_mm, near_range, wide_range;
    };
    // 55 + 195 t and 65 + 195 t, plus 0.5, truncated; t = 1 - (clamp(H, 2000, 6000) - 2000) / 4000.
    const Row rows[] = {{0, 250, 260},     {1500, 250, 260}, {2000, 250, 260}, {3000, 201, 211},
                        {4000, 153, 163},  {5000, 104, 114}, {6000, 55, 65},   {7000, 55, 65},
                        {INT_MAX, 55, 65}, {-3, 250, 260}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.height_mm);
        EXPECT_EQ(group_distance(1, 0, row.height_mm), row.near_range);
        EXPECT_EQ(group_distance(1, 2, row.height_mm), row.near_range);
        EXPECT_EQ(group_distance(0, 2, row.height_mm), row.near_range);
        EXPECT_EQ(group_distance(0, 0, row.height_mm), row.wide_range);
        EXPECT_EQ(group_distance(0, 1, row.height_mm), row.wide_range);
        EXPECT_EQ(group_distance(2, 0, row.height_mm), row.wide_range);
        EXPECT_EQ(group_distance(2, 2, row.height_mm), row.wide_range);
        EXPECT_EQ(group_distance(7, 2, row.height_mm), row.wide_range);
    }
}

void set_map(int x, int y, int w, int h) {
    int32_t* map = dev_get_config()->cscdMapSize;
    map[0] = x;
    map[1] = y;
    map[2] = w;
    map[3] = h;
}

void expect_clip(POINT_POS_S in, int x, int y) {
    const POINT_POS_S out = cscd_map_point_clip(in);
    EXPECT_EQ(out.x, x) << in.x << ' ' << in.y;
    EXPECT_EQ(out.y, y) << in.x << ' ' << in.y;
}

TEST(MapPoint, MovedAndClamped) {
    set_map(100, 50, 400, 300);
    expect_clip({100, 50}, 0, 0);
    expect_clip({99, 49}, 0, 0);
    expect_clip({250, 60}, 150, 10);
    expect_clip({499, 349}, 399, 299);
    expect_clip({500, 350}, 399, 299);
    expect_clip({100000, -100000}, 399, 0);
    set_map(-100, -50, 400, 300);
    expect_clip({0, 0}, 100, 50);
}

TEST(MapPoint, EmptyMapGivesMinusOne) {
    // Lower bound 0 first, then the upper bound 0 - 1.
    set_map(0, 0, 0, 0);
    expect_clip({5, 5}, -1, -1);
}

DET_OBJ_S box(int x, int y, int w, int h) {
    DET_OBJ_S b{};
    b.x = x;
    b.y = y;
    b.w = w;
    b.h = h;
    b.area = 12345;
    b.class_id = VCA_CLASS_SMALL;
    b.score = 0.5f;
    return b;
}

void expect_box(const DET_OBJ_S& in, int x, int y, int w, int h) {
    const DET_OBJ_S out = cscd_map_box_to_mask(in);
    EXPECT_EQ(out.x, x);
    EXPECT_EQ(out.y, y);
    EXPECT_EQ(out.w, w);
    EXPECT_EQ(out.h, h);
    EXPECT_EQ(out.area, in.area);
    EXPECT_EQ(out.class_id, in.class_id);
    EXPECT_EQ(out.score, in.score);
}

TEST(MapBox, ScaledToTheMaskGrid) {
    set_map(0, 0, 960, 544);
    // 100 * 320 / 960 = 33, 200 * 181 / 544 = 66, 90 * 320 / 960 = 30, 60 * 181 / 544 = 19.
    expect_box(box(100, 200, 90, 60), 33, 66, 30, 19);
}

TEST(MapBox, PositionStaysFourInsideAndSizeInTheMap) {
    set_map(0, 0, 960, 544);
    // x clamps to 956, y to 540; w to 959 - 956 = 3, h to 543 - 540 = 3; then
    // 956 * 320 / 960 = 318, 540 * 181 / 544 = 179, 3 * 320 / 960 = 1, 3 * 181 / 544 = 0.
    expect_box(box(2000, 2000, 90, 60), 318, 179, 1, 0);
    // Sizes below 2 become 2: 2 * 320 / 960 = 0.
    expect_box(box(-50, -50, 0, -9), 0, 0, 0, 0);
    // 900 + 200 passes the right edge: w = 959 - 900 = 59, 59 / 3 = 19; h = 543 - 300 = 243.
    expect_box(box(900, 300, 200, 500), 300, 99, 19, 80);
}

TEST(MapBox, OffsetOfTheMap) {
    set_map(960, 544, 960, 544);
    expect_box(box(1060, 744, 90, 60), 33, 66, 30, 19);
}

TEST(MapBox, EmptyMapGivesZero) {
    set_map(0, 0, 0, 0);
    expect_box(box(10, 10, 10, 10), 0, 0, 0, 0);
    set_map(0, 0, 960, 0);
    const DET_OBJ_S out = cscd_map_box_to_mask(box(96, 10, 96, 10));
    EXPECT_EQ(out.x, 32);
    EXPECT_EQ(out.y, 0);
    EXPECT_EQ(out.w, 32);
    EXPECT_EQ(out.h, 0);
}

TEST(MapBox, HostileNumbersStayDefined) {
    for (const int v : {INT_MIN, INT_MAX, -1, 0}) {
        for (const int m : {INT_MIN, INT_MAX, -1, 1}) {
            set_map(v, v, m, m);
            cscd_map_box_to_mask(box(v, -1, v, m));
            cscd_map_point_clip({m, v});
        }
    }
    set_map(0, 0, 960, 544);
    expect_box(box(INT_MIN, INT_MAX, INT_MAX, INT_MIN), 0, 179, 319, 0);
}

}  // namespace
