// Who is inside a counting region and for how long.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <random>

#include "tests/event/byte_payload.h"
#include "tests/support/scripted_host.h"
#include "tests/support/test_config.h"

namespace {

using testing::ElementsAre;

constexpr int64_t kStartMs = 1000000;

// Over the map of 960 x 544 a box of 40 x 40 centred at (480, 272) is (153, 83) 13 x 13 on the mask
// grid: 460 * 320 / 960, 252 * 181 / 544, 40 * 320 / 960, 40 * 181 / 544. Its point is (159, 89).
constexpr POINT_POS_S kCentre = {480, 272};
constexpr int kPointCol = 159, kPointRow = 89;
constexpr int kFirstCol = 153, kLastCol = 165;
constexpr int kFirstRow = 83, kLastRow = 95;

struct RegionStay : testing::Test {
    std::vector<TRACKER_RSLT_S> tracks;

    void SetUp() override {
        fix::set_up_device();
        fix::cfg().RgnEn = 1;
        fix::cfg().RgnEnable[0] = 1;
        test::host().use_clock(kStartMs * 1000);
    }

    static void set_ms(int64_t ms) { test::host().set_clock(ms * 1000); }

    // One pass at the clock's present time.
    void pass_now() { EXPECT_EQ(vca_event_counting_region_stay_proc(tracks), 0); }

    // One pass some time after the one before.
    void pass(int64_t after_ms = 100) {
        test::host().advance_clock(after_ms * 1000);
        pass_now();
    }

    // A pass with nobody sets the time that the next one is measured from.
    static void start_clock() {
        std::vector<TRACKER_RSLT_S> nobody;
        vca_event_counting_region_stay_proc(nobody);
    }

    TRACKER_RSLT_S& add(POINT_POS_S centre = kCentre) {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        trk.trackId = static_cast<int32_t>(tracks.size());
        trk.age = 10;
        trk.curObj = fix::centred(centre.x, centre.y);
        return trk;
    }

    static char& cell(int row, int col, int region = 0) {
        return fix::cfg().rgnMask[region].mask[row][col];
    }

    // Columns from..to of rows from..to, both inclusive.
    static void fill(int col0, int row0, int col1, int row1, int region = 0) {
        for (int row = row0; row <= row1; ++row)
            std::fill(&cell(row, col0, region), &cell(row, col1, region) + 1, char{1});
    }

    static void fill_all(int region) { fill(0, 0, VCA_MASK_COLS - 1, VCA_MASK_ROWS - 1, region); }

    static void clear_mask(int region = 0) {
        std::memset(&fix::cfg().rgnMask[region], 0, sizeof(VCA_MASK_S));
    }

    const RGN_STAY_S& stay(int region = 0, size_t track = 0) {
        return tracks.at(track).rgnStay[region];
    }

    void expect_stay(int inside, int32_t time_ms, int region = 0, size_t track = 0) {
        EXPECT_EQ(stay(region, track).inRgn, inside);
        EXPECT_EQ(stay(region, track).stayTime, time_ms);
    }

    // All four regions of a track as a person who has been in them for a while.
    void set_inside(size_t track = 0) {
        for (RGN_STAY_S& rgn : tracks.at(track).rgnStay)
            rgn = {1, 700};
    }
};

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
    } rows[] = {{kFirstCol, kFirstRow, true},
                {kLastCol, kFirstRow, true},
                {kFirstCol, kLastRow, true},
                {kLastCol, kLastRow, true},
                {kFirstCol - 1, kPointRow, false},
                {kLastCol + 1, kPointRow, false},
                {kPointCol, kFirstRow - 1, false},
                {kPointCol, kLastRow + 1, false}};
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

// ---- The map of the device ----

TEST_F(RegionStay, BoxIsMovedIntoTheMap) {
    int32_t* map = fix::cfg().cscdMapSize;
    map[0] = 100, map[1] = 50, map[2] = 320, map[3] = 181;
    start_clock();
    add().curObj = fix::box(110, 70, 40, 40);  // (10, 20) 40 x 40, point (30, 40)
    cell(40, 30) = 1;
    pass();
    expect_stay(1, 100);
    clear_mask();
    cell(59, 49) = 1;  // the last cell of the box
    pass();
    expect_stay(1, 100);
    clear_mask();
    cell(60, 49) = cell(59, 50) = cell(19, 10) = cell(20, 9) = 1;
    pass();
    expect_stay(0, 0);
}

TEST_F(RegionStay, MapWithoutSizeIsTheFirstCell) {
    int32_t* map = fix::cfg().cscdMapSize;
    map[2] = map[3] = 0;
    start_clock();
    add();
    fill_all(0);
    pass();
    expect_stay(1, 100);
    cell(0, 0) = 0;  // no overlap either: the box has no height
    pass();
    expect_stay(0, 0);
}

TEST_F(RegionStay, ColumnsOutsideTheGridAreSkipped) {
    // A map 3 pixels wide: x clamps to -1, w to 3; column -106, width 320: up to column 213.
    fix::cfg().cscdMapSize[2] = 3;
    start_clock();
    add();
    set_inside();
    cell(kFirstRow, 213) = 1;
    pass();
    expect_stay(1, 700);
    clear_mask();
    cell(kFirstRow, 0) = 1;
    pass();
    expect_stay(1, 700);
    clear_mask();
    fill(214, 0, 319, 180);
    pass();
    expect_stay(0, 0);
}

TEST_F(RegionStay, RowsOutsideTheGridAreSkipped) {
    // A map 3 pixels high: y clamps to -1, h to 3; row -60, height 181: up to row 120.
    fix::cfg().cscdMapSize[3] = 3;
    start_clock();
    add();
    set_inside();
    cell(120, kFirstCol) = 1;
    pass();
    expect_stay(1, 700);
    clear_mask();
    cell(0, kFirstCol) = 1;
    pass();
    expect_stay(1, 700);
    clear_mask();
    fill(0, 121, 319, 180);
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

// ---- The boxes that are looked at ----

// At 3000 mm the event square is 78 pixels wide: centred at (480, 272) it is (147, 77) 26 x 25 on
// the grid (441 * 320 / 960, 233 * 181 / 544, 78 * 320 / 960, 78 * 181 / 544), point (160, 89).
struct EventBoxes : RegionStay {
    // A lost track whose kept box and whose box of last resort are far apart.
    TRACKER_RSLT_S& add_lost(DET_OBJ_S TRACKER_RSLT_S::*kept, DET_OBJ_S TRACKER_RSLT_S::*resort) {
        TRACKER_RSLT_S& trk = add();
        trk.lostCnt = 2;
        trk.*resort = fix::centred(200, 400);
        trk.*kept = fix::centred(kCentre.x, kCentre.y);
        return trk;
    }

    // The overlap is that of the kept box, the point that of the last resort.
    void expect_kept_box_for_overlap_only() {
        start_clock();
        set_inside();
        fill(160, 89, 160, 89);
        pass();
        expect_stay(1, 700);
        clear_mask();
        fill(147, 77, 147, 77);
        pass();
        expect_stay(1, 700);
        clear_mask();
        fill(172, 101, 172, 101);
        pass();
        expect_stay(1, 700);
        clear_mask();
        fill(173, 0, 319, 180);
        fill(147, 102, 172, 120);
        pass();
        expect_stay(0, 0);
        set_inside();
        clear_mask();
        fill(60, 100, 90, 160);  // around the box of last resort
        pass();
        expect_stay(1, 800);
    }
};

TEST_F(EventBoxes, FootSquareOfALostTrackCountsForTheOverlap) {
    fix::cfg().StandAloneTrkMd = 2;
    add_lost(&TRACKER_RSLT_S::footBox, &TRACKER_RSLT_S::curObj);
    expect_kept_box_for_overlap_only();
}

TEST_F(EventBoxes, SquareOfALostTrackOnAMasterCountsForTheOverlap) {
    fix::cfg().devWorkMode = 1;
    add_lost(&TRACKER_RSLT_S::curObj, &TRACKER_RSLT_S::rawObj);
    expect_kept_box_for_overlap_only();
}

TEST_F(EventBoxes, HeadBoxIsUsedAsItIs) {
    fix::cfg().StandAloneTrkMd = 1;
    TRACKER_RSLT_S& trk = add({100, 100});
    trk.headBox = fix::centred(kCentre.x, kCentre.y);
    start_clock();
    cell(kPointRow, kPointCol) = 1;
    pass();
    expect_stay(1, 100);
    EXPECT_TRUE(fix::same(tracks[0].evtObj, tracks[0].headBox));
}

TEST_F(EventBoxes, TrackedBoxIsUsedOnASlave) {
    fix::cfg().devWorkMode = 2;
    fix::cfg().StandAloneTrkMd = 2;
    add().footBox = fix::centred(100, 100);
    start_clock();
    cell(kPointRow, kPointCol) = 1;
    pass();
    expect_stay(1, 100);
}

// ---- Against the plain form ----

// The whole stage in its plain form; `step_ms` is the time added to those inside.
void plain_stage(TRACKER_RSLT_S& trk, int32_t step_ms) {
    const VCA_DEV_CFG_S& cfg = fix::cfg();
    if (cfg.RgnEn == 0) {
        for (RGN_STAY_S& rgn : trk.rgnStay)
            rgn = {};
        return;
    }
    const bool takes_part = trk.lostCnt <= 4 && trk.curObj.w > 10 && trk.curObj.h > 10;
    if (!takes_part || trk.heightExceed != 0) return;
    for (int r = 0; r < VCA_RGN_NUM; ++r) {
        RGN_STAY_S& rgn = trk.rgnStay[r];
        if (cfg.RgnEnable[r] == 0) {
            rgn = {};
            continue;
        }
        const DET_OBJ_S box = cscd_map_box_to_mask(*vca_trk_obj_get_event_box(&trk, true));
        int count = 0;
        for (int row = 0; row < VCA_MASK_ROWS; ++row)
            for (int col = 0; col < VCA_MASK_COLS; ++col)
                if (row >= box.y && row < box.y + box.h && col >= box.x && col < box.x + box.w &&
                    cfg.rgnMask[r].mask[row][col] != 0)
                    ++count;
        if (vca_trk_obj_in_mask(&trk, cfg.rgnMask[r].mask)) {
            rgn.inRgn = 1;
            rgn.stayTime += step_ms;
        } else if (count == 0) {
            rgn = {};
        }
    }
}

struct RegionRandom : RegionStay {
    std::mt19937 rng{20261120};

    int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }

    void draw_regions() {
        VCA_DEV_CFG_S& cfg = fix::cfg();
        const int32_t maps[][4] = {{0, 0, 960, 544},  {100, 50, 320, 181}, {-200, -80, 1920, 1000},
                                   {30, 10, 200, 90}, {0, 0, 3, 3},        {5, 5, 0, 544}};
        std::copy_n(maps[pick(0, 5)], 4, cfg.cscdMapSize);
        cfg.devWorkMode = pick(0, 2);
        cfg.StandAloneTrkMd = pick(0, 2);
        cfg.RgnEn = pick(0, 9) > 0;
        for (int region = 0; region < VCA_RGN_NUM; ++region) {
            cfg.RgnEnable[region] = pick(0, 4) > 0;
            clear_mask(region);
            if (pick(0, 3) > 0) {
                const int col = pick(0, 319), row = pick(0, 180);
                fill(col, row, pick(col, 319), pick(row, 180), region);
            }
            for (int dots = pick(0, 40); dots > 0; --dots)
                cell(pick(0, 180), pick(0, 319), region) ^= 1;
        }
    }

    DET_OBJ_S draw_box() {
        return fix::box(pick(-300, 1300), pick(-300, 900), pick(5, 200), pick(5, 200));
    }

    void draw_track(TRACKER_RSLT_S& trk) {
        trk.age = pick(0, 6);
        trk.lostCnt = std::max(0, pick(-8, 6));
        trk.heightExceed = pick(0, 9) == 0;
        trk.curObj = draw_box();
        trk.rawObj = draw_box();
        trk.headBox = draw_box();
        trk.footBox = draw_box();
    }
};

TEST_F(RegionRandom, StageEqualsItsPlainForm) {
    start_clock();
    for (int i = 0; i < 6; ++i)
        add();
    auto want = tracks;
    int inside = 0, frozen = 0;
    for (int frame = 0; frame < 1500; ++frame) {
        if (frame % 5 == 0) draw_regions();
        const int32_t step_ms = pick(10, 500);
        for (size_t i = 0; i < tracks.size(); ++i) {
            if (pick(0, 2) == 0) draw_track(tracks[i]);
            want[i] = tracks[i];
            plain_stage(want[i], step_ms);
        }
        std::vector<std::array<RGN_STAY_S, VCA_RGN_NUM>> before;
        for (const TRACKER_RSLT_S& trk : tracks)
            before.push_back(std::to_array(trk.rgnStay));
        pass(step_ms);
        for (size_t i = 0; i < tracks.size(); ++i) {
            ASSERT_TRUE(fix::same(tracks[i].evtObj, want[i].evtObj)) << frame << ' ' << i;
            ASSERT_EQ(tracks[i].bornInside, want[i].bornInside) << frame << ' ' << i;
            for (int r = 0; r < VCA_RGN_NUM; ++r) {
                ASSERT_EQ(stay(r, i).inRgn, want[i].rgnStay[r].inRgn) << frame << ' ' << i;
                ASSERT_EQ(stay(r, i).stayTime, want[i].rgnStay[r].stayTime) << frame << ' ' << i;
                const int32_t was = before[i][static_cast<size_t>(r)].stayTime;
                inside += stay(r, i).stayTime > was;
                frozen += was > 0 && stay(r, i).stayTime == was;
            }
        }
    }
    // the scenes reach both sides of the edge
    EXPECT_GT(inside, 1000);
    EXPECT_GT(frozen, 500);
}

// ---- From the configuration to the stay time ----

TEST_F(RegionStay, PersonWalksThroughAConfiguredRegion) {
    VCA_ALGO_CFG_S cfg = test::plain_config();
    test::set_region(cfg, 1, {{400, 100}, {600, 100}, {600, 400}, {400, 400}});
    fix::output_of([&] { test::apply_config(cfg); });
    start_clock();
    add({200, 250});
    int32_t longest = 0;
    std::string states;
    for (int x = 200; x <= 800; x += 10) {
        tracks[0].curObj = fix::centred(x, 250);
        pass();
        states += stay(1).inRgn != 0 ? '#' : '.';
        longest = std::max(longest, stay(1).stayTime);
    }
    // The region has the columns 133..199. The point is (x - 20) / 3 + 6: column 136 at 410, 199 at
    // 600. The box overlaps until its first column (x - 20) / 3 is 200, at 620.
    EXPECT_EQ(states, std::string(21, '.') + std::string(21, '#') + std::string(19, '.'));
    EXPECT_EQ(longest, 2000);
    for (const int other : {0, 2, 3})
        expect_stay(0, 0, other);
}

}  // namespace
