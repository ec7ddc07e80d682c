// Who is inside a counting region and for how long.
#include <gtest/gtest.h>

#include "tests/event/region_fixture.h"

namespace {

using fix::kCentre;
using fix::kFirstCol;
using fix::kFirstRow;
using fix::kLastCol;
using fix::kLastRow;
using fix::kPointCol;
using fix::kPointRow;
using fix::RegionStay;

// ---- Who takes part ----

TEST(RegionEligibility, LossAndSizeDecide) {
    const struct {
        int lost, w, h;
        bool takes_part;
    } rows[] = {
        {0, 11, 11, true},  {4, 11, 11, true},   {5, 11, 11, false},   {5, 100, 100, false},
        {6, 80, 80, false}, {0, 10, 11, false},  {0, 11, 10, false},   {0, 10, 10, false},
        {0, 11, 500, true}, {0, -20, 40, false}, {100, 80, 80, false}, {1, 80, 80, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.lost << ' ' << row.w << 'x' << row.h);
        for (const int mode : {0, 1, 2}) {
            fix::cfg().devWorkMode = mode;
            for (const int age : {0, 1, 10}) {
                auto trk = fix::new_track();
                trk->lostCnt = row.lost;
                trk->age = age;
                trk->curObj = fix::box(300, 200, row.w, row.h);
                trk->headBox = fix::box(300, 200, 5, 5);
                trk->footBox = fix::box(300, 200, 90, 90);
                EXPECT_EQ(vca_check_obj_event_rgn_update(trk.get()), row.takes_part);
            }
        }
    }
}

// ---- Time ----

TEST_F(RegionStay, ThreeSecondsAtTenFramesPerSecond) {
    fill_all(0);
    start_clock();
    add();
    for (int i = 1; i <= 30; ++i) {
        pass(100);
        expect_stay(1, 100 * i);
    }
    pass(2000);  // a delayed frame adds a bounded step
    expect_stay(1, 3500);
}

TEST_F(RegionStay, StepIsBounded) {
    const struct {
        int64_t after_ms;
        int32_t step_ms;
    } rows[] = {{0, 10},    {9, 10},    {10, 10},        {11, 11},        {33, 33},
                {499, 499}, {500, 500}, {501, 500},      {86400000, 500}, {-1, 10},
                {-100, 10}, {100, 100}, {-86400000, 10}, {250, 250}};
    fill_all(0);
    start_clock();
    add();
    int32_t sum = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.after_ms);
        pass(row.after_ms);
        sum += row.step_ms;
        expect_stay(1, sum);
    }
}

TEST_F(RegionStay, FirstPassAddsABoundedStep) {
    fill_all(0);
    add();
    pass_now();
    expect_stay(1, 500);
}

TEST_F(RegionStay, FirstPassOfAYoungClockAddsItsTime) {
    fill_all(0);
    add();
    set_ms(42);
    pass_now();
    expect_stay(1, 42);
}

TEST_F(RegionStay, TimeIsTheLowHalfOfTheClock) {
    fill_all(0);
    add();
    set_ms((int64_t{7} << 32) + 300);
    pass_now();
    expect_stay(1, 300);
    set_ms((int64_t{9} << 32) + 420);
    pass_now();
    expect_stay(1, 420);
}

TEST_F(RegionStay, FirstPassWithTheHighBitSetAddsTheSmallestStep) {
    fill_all(0);
    add();
    set_ms(0x90000000);  // negative as 32 bits
    pass_now();
    expect_stay(1, 10);
}

TEST_F(RegionStay, DifferencesOfTimeWrap) {
    fill_all(0);
    set_ms(0x7FFFFFFF - 49);
    start_clock();
    add();
    pass(100);
    expect_stay(1, 100);
    pass(int64_t{0x80000000} + 16);  // more than 2^31 ms later looks like the past
    expect_stay(1, 110);
    pass(120);
    expect_stay(1, 230);
}

TEST_F(RegionStay, EveryPassIsMeasuredFromTheOneBefore) {
    fill_all(0);
    start_clock();
    add();
    fix::cfg().RgnEn = 0;
    pass(400);
    fix::cfg().RgnEn = 1;
    pass(60);
    expect_stay(1, 60);
    tracks[0].lostCnt = 5;
    pass(400);
    tracks[0].lostCnt = 0;
    pass(70);
    expect_stay(1, 130);
}

TEST_F(RegionStay, StayTimeWraps) {
    fill_all(0);
    start_clock();
    add().rgnStay[0] = {1, 0x7FFFFFFF};
    pass(100);
    expect_stay(1, static_cast<int32_t>(0x80000000u + 99u));
}

// ---- Inside and outside ----

TEST_F(RegionStay, PointDecidesWhoIsInside) {
    cell(kPointRow, kPointCol) = 1;
    start_clock();
    add();
    pass();
    expect_stay(1, 100);
    fill_all(0);
    cell(kPointRow, kPointCol) = 0;
    tracks[0].rgnStay[0] = {};
    pass();
    expect_stay(0, 0);
}

TEST_F(RegionStay, AnyNonzeroCellIsInside) {
    start_clock();
    add();
    cell(kPointRow, kPointCol) = -1;
    pass();
    expect_stay(1, 100);
    cell(kPointRow, kPointCol) = 0;
    cell(kLastRow, kFirstCol) = 2;
    pass();
    expect_stay(1, 100);
}

TEST_F(RegionStay, StandingOnTheEdgeChangesNothing) {
    fill(kFirstCol, 0, kPointCol - 1, VCA_MASK_ROWS - 1);  // up to the cell before the point
    start_clock();
    add();
    pass();
    expect_stay(0, 0);  // who comes in is outside until the point is inside
    cell(kPointRow, kPointCol) = 1;
    pass();
    expect_stay(1, 100);
    cell(kPointRow, kPointCol) = 0;
    for (int i = 0; i < 5; ++i) {
        pass();
        expect_stay(1, 100);
    }
    cell(kPointRow, kPointCol) = 1;
    pass();
    expect_stay(1, 200);
    clear_mask();
    pass();
    expect_stay(0, 0);
}

TEST_F(RegionStay, WhoLeavesStartsFromZeroAgain) {
    fill(140, 70, 180, 110);
    start_clock();
    add();
    pass();
    pass();
    tracks[0].curObj = fix::centred(800, 500);
    pass();
    expect_stay(0, 0);
    tracks[0].curObj = fix::centred(kCentre.x, kCentre.y);
    pass();
    expect_stay(1, 100);
}

TEST_F(RegionStay, OverlapReachesToTheLastColumnAndRowOfTheBox) {
    const struct {
        int col, row;
        bool overlaps;
    } rows[] = {{kFirstCol, kFirstRow, true},      {kLastCol, kFirstRow, true},
                {kFirstCol, kLastRow, true},       {kLastCol, kLastRow, true},
                {kFirstCol - 1, kPointRow, false}, {kLastCol + 1, kPointRow, false},
                {kPointCol, kFirstRow - 1, false}, {kPointCol, kLastRow + 1, false}};
    start_clock();
    add();
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.col << ' ' << row.row);
        clear_mask();
        cell(row.row, row.col) = 1;
        set_inside();
        pass();
        if (row.overlaps)
            expect_stay(1, 700);
        else
            expect_stay(0, 0);
    }
}

TEST_F(RegionStay, BoxWithoutHeightOnTheGridDoesNotOverlap) {
    // At y = 540 of 544 three rows of the image are left: 3 * 181 / 544 = 0 rows of the grid.
    start_clock();
    add().curObj = fix::box(460, 540, 40, 40);
    fill(kFirstCol, 175, kLastCol, 180);
    cell(179, kPointCol) = 0;  // 540 * 181 / 544 = 179
    set_inside();
    pass();
    expect_stay(0, 0);
    cell(179, kPointCol) = 1;
    pass();
    expect_stay(1, 100);
}

TEST_F(RegionStay, NarrowBoxAtTheRightEdgeIsOneCell) {
    // x clamps to 956 and w to 3: column 318, width 1.
    start_clock();
    add().curObj = fix::box(2000, 252, 40, 40);
    cell(kPointRow, 318) = 1;
    pass();
    expect_stay(1, 100);
    clear_mask();
    cell(kLastRow, 318) = 1;
    pass();
    expect_stay(1, 100);
    clear_mask();
    fill(319, 0, 319, 180);
    fill(300, 0, 317, 180);
    pass();
    expect_stay(0, 0);
}

// ---- Switches ----

TEST_F(RegionStay, CountingOffClearsEveryTrack) {
    fix::cfg().RgnEn = 0;
    for (int region = 0; region < VCA_RGN_NUM; ++region) {
        fix::cfg().RgnEnable[region] = 1;
        fill_all(region);
    }
    add();
    add().lostCnt = 5;
    add().heightExceed = 1;
    add().curObj = fix::box(0, 0, 5, 5);
    for (size_t i = 0; i < tracks.size(); ++i)
        set_inside(i);
    pass();
    for (size_t i = 0; i < tracks.size(); ++i)
        for (int region = 0; region < VCA_RGN_NUM; ++region)
            expect_stay(0, 0, region, i);
}

TEST_F(RegionStay, TrackThatTakesNoPartKeepsItsState) {
    add().lostCnt = 5;
    add().heightExceed = 1;
    add().curObj = fix::box(460, 252, 10, 40);
    add().curObj = fix::box(460, 252, 40, 10);
    for (size_t i = 0; i < tracks.size(); ++i)
        set_inside(i);
    for (const bool inside : {false, true}) {
        if (inside) fill_all(0);
        pass();
        for (size_t i = 0; i < tracks.size(); ++i)
            for (int region = 0; region < VCA_RGN_NUM; ++region)
                expect_stay(1, 700, region, i);  // also in regions that are off
    }
}

TEST_F(RegionStay, RegionThatIsOffIsCleared) {
    fix::cfg().RgnEnable[2] = 1;
    for (int region = 0; region < VCA_RGN_NUM; ++region)
        fill_all(region);
    start_clock();
    add();
    set_inside();
    pass();
    expect_stay(1, 800, 0);
    expect_stay(0, 0, 1);
    expect_stay(1, 800, 2);
    expect_stay(0, 0, 3);
}

TEST_F(RegionStay, RegionsAndTracksAreIndependent) {
    for (int region = 0; region < VCA_RGN_NUM; ++region)
        fix::cfg().RgnEnable[region] = 1;
    fill(140, 70, 180, 110, 1);
    fill(155, 0, 319, 180, 3);
    start_clock();
    add();
    add({800, 300});
    pass();
    pass();
    const int inside[2][4] = {{0, 1, 0, 1}, {0, 0, 0, 1}};
    for (size_t i = 0; i < 2; ++i)
        for (int region = 0; region < VCA_RGN_NUM; ++region)
            expect_stay(inside[i][region], 200 * inside[i][region], region, i);
}

TEST_F(RegionStay, CoastingTrackGoesOn) {
    fill_all(0);
    for (const int mode : {0, 1, 2}) {
        SCOPED_TRACE(mode);
        fix::cfg().devWorkMode = mode;
        tracks.clear();
        start_clock();
        TRACKER_RSLT_S& trk = add();
        trk.rawObj = trk.curObj;
        for (int lost = 0; lost <= 4; ++lost) {
            tracks[0].lostCnt = lost;
            pass();
            expect_stay(1, 100 * (lost + 1));
        }
        tracks[0].lostCnt = 5;
        pass();
        expect_stay(1, 500);
    }
}

}  // namespace
