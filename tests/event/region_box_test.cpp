// The boxes and points that region counting looks at, the map it places them on, and the stage
// against its plain form.
#include <gtest/gtest.h>

#include <array>
#include <random>

#include "tests/event/region_fixture.h"
#include "tests/support/test_config.h"

namespace {

using fix::kCentre;
using fix::kFirstCol;
using fix::kFirstRow;
using fix::kPointCol;
using fix::kPointRow;
using fix::RegionStay;

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
    fix::cfg().StandAloneTrkMd = VCA_POSITION_FOOT;
    add_lost(&TRACKER_RSLT_S::footBox, &TRACKER_RSLT_S::curObj);
    expect_kept_box_for_overlap_only();
}

TEST_F(EventBoxes, SquareOfALostTrackOnAMasterCountsForTheOverlap) {
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    add_lost(&TRACKER_RSLT_S::curObj, &TRACKER_RSLT_S::rawObj);
    expect_kept_box_for_overlap_only();
}

TEST_F(EventBoxes, HeadBoxIsUsedAsItIs) {
    fix::cfg().StandAloneTrkMd = VCA_POSITION_HEAD;
    TRACKER_RSLT_S& trk = add({100, 100});
    trk.headBox = fix::centred(kCentre.x, kCentre.y);
    start_clock();
    cell(kPointRow, kPointCol) = 1;
    pass();
    expect_stay(1, 100);
    EXPECT_TRUE(fix::same(tracks[0].evtObj, tracks[0].headBox));
}

TEST_F(EventBoxes, TrackedBoxIsUsedOnASlave) {
    fix::cfg().devWorkMode = VCA_WORK_SLAVE;
    fix::cfg().StandAloneTrkMd = VCA_POSITION_FOOT;
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
        for (int row = box.y; row < box.y + box.h; ++row)
            for (int col = box.x; col < box.x + box.w; ++col)
                if (row >= 0 && row <= 180 && col >= 0 && col <= 319)
                    count += cfg.rgnMask[r].mask[row][col] != 0;
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
        cfg.RgnEn = pick(0, 19) > 0;
        for (int region = 0; region < VCA_RGN_NUM; ++region) {
            cfg.RgnEnable[region] = pick(0, 4) > 0;
            clear_mask(region);
            if (pick(0, 3) > 0) {
                const int col = pick(0, 200), row = pick(0, 100);
                fill(col, row, pick(col, 319), pick(row, 180), region);
            }
            for (int dots = pick(0, 40); dots > 0; --dots)
                cell(pick(0, 180), pick(0, 319), region) ^= 1;
        }
    }

    DET_OBJ_S draw_box() {
        return fix::box(pick(-100, 1000), pick(-100, 600), pick(8, 200), pick(8, 200));
    }

    void draw_track(TRACKER_RSLT_S& trk) {
        trk.age = pick(0, 6);
        trk.lostCnt = std::max(0, pick(-14, 6));
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
    EXPECT_GT(inside, 500);
    EXPECT_GT(frozen, 300);
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
