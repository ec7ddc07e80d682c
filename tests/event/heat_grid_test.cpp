// Heat grids against their plain form, in which every pass visits all 32,400 cells: random people
// and boxes, folds, and records that are copied, moved and erased between passes.
#include <gtest/gtest.h>

#include <random>
#include <utility>

#include "tests/event/heat_model.h"

namespace {

using fix::difference;
using fix::Grids;
using fix::grids_of;
using fix::put_cell;

// ---- The grid record ----

struct HeatGrid : testing::Test {
    std::unique_ptr<HEAT_GRID_S> a = std::make_unique<HEAT_GRID_S>();
    std::unique_ptr<HEAT_GRID_S> b = std::make_unique<HEAT_GRID_S>();

    static fix::Grid cells(const HEAT_GRID_S& grid) { return fix::grid_of(grid.cell); }

    static void expect_same(const HEAT_GRID_S& got, const HEAT_GRID_S& want) {
        EXPECT_EQ(difference(cells(got), cells(want)), "");
        EXPECT_TRUE(fix::rectangle_holds(got));
        EXPECT_EQ(got.x0, want.x0);
        EXPECT_EQ(got.y0, want.y0);
        EXPECT_EQ(got.x1, want.x1);
        EXPECT_EQ(got.y1, want.y1);
    }
};

TEST_F(HeatGrid, NewOneIsZero) {
    EXPECT_EQ(difference(cells(*a), fix::zero_grid()), "");
    EXPECT_TRUE(fix::rectangle_empty(*a));
    const auto trk = fix::new_track();
    EXPECT_EQ(difference(grids_of(*trk), Grids{}), "");
    EXPECT_TRUE(fix::rectangle_empty(trk->heatDwell));
    EXPECT_TRUE(fix::rectangle_empty(trk->heatMotion));
}

TEST_F(HeatGrid, CopyIsWhole) {
    put_cell(*a, 3, 4, 5);
    put_cell(*a, 134, 239, -6);
    const auto copy = std::make_unique<HEAT_GRID_S>(*a);
    expect_same(*copy, *a);
    put_cell(*a, 50, 50, 7);
    EXPECT_EQ(copy->cell[50][50], 0);
}

TEST_F(HeatGrid, AssignmentLeavesNothingOfTheOldCells) {
    put_cell(*a, 10, 10, 1);
    put_cell(*a, 20, 30, 2);
    put_cell(*b, 100, 200, 3);
    *b = *a;
    expect_same(*b, *a);
    put_cell(*a, 0, 0, 9);
    put_cell(*a, 134, 239, 9);
    *a = *b;  // to a smaller rectangle
    expect_same(*a, *b);
    *a = HEAT_GRID_S();
    EXPECT_EQ(difference(cells(*a), fix::zero_grid()), "");
    EXPECT_TRUE(fix::rectangle_empty(*a));
}

TEST_F(HeatGrid, SelfAssignmentChangesNothing) {
    put_cell(*a, 10, 10, 1);
    const HEAT_GRID_S& self = *a;
    *a = self;
    EXPECT_EQ(a->cell[10][10], 1);
    EXPECT_FALSE(fix::rectangle_empty(*a));
}

// ---- Random scenes ----

struct HeatRandom : fix::HeatFixture {
    std::mt19937 rng;
    std::vector<fix::HeatModel> models;  // one for each track
    Grids total;
    int passes = 0;
    int64_t now_ms = kStartMs;
    int64_t measured_ms = 0;

    // How much of the interesting ground a scene has covered.
    int contributions = 0, movements = 0, folds = 0, drops = 0, totals = 0;

    int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
    bool one_in(int n) { return pick(1, n) == 1; }

    void draw_device() {
        VCA_DEV_CFG_S& cfg = fix::cfg();
        const int32_t maps[][4] = {{0, 0, 960, 544},         {0, 0, 960, 544},  {100, 50, 480, 272},
                                   {-300, -100, 1920, 1088}, {40, 30, 100, 60}, {0, 0, 240, 135},
                                   {10, 10, 0, 544},         {10, 10, 960, 0},  {0, 0, 1, 1},
                                   {0, 0, 7, 3000},          {5, 5, -20, -1}};
        const int widths[] = {960, 960, 960, 480, 640, 1920, 3360, 4000, 0, 100, 30};
        std::copy_n(maps[pick(0, 10)], 4, cfg.cscdMapSize);
        cfg.srcImgWidth = widths[pick(0, 10)];
        cfg.devWorkMode = pick(0, 2);
        cfg.StandAloneTrkMd = pick(0, 2);
    }

    DET_OBJ_S draw_box() {
        DET_OBJ_S obj = fix::box(pick(-200, 1100), pick(-200, 700), pick(6, 150), pick(6, 150));
        if (one_in(8)) obj.class_id = VCA_CLASS_SMALL;
        if (one_in(30)) obj = fix::box(pick(-100000, 100000), pick(-100000, 100000), 40, 40);
        return obj;
    }

    static DET_OBJ_S* chosen(TRACKER_RSLT_S& trk) {
        const VCA_DEV_CFG_S& cfg = fix::cfg();
        if (cfg.devWorkMode == VCA_WORK_ALONE && cfg.StandAloneTrkMd == VCA_POSITION_HEAD)
            return &trk.headBox;
        if (cfg.devWorkMode == VCA_WORK_ALONE && cfg.StandAloneTrkMd == VCA_POSITION_FOOT)
            return &trk.footBox;
        return &trk.curObj;
    }

    void add_track() {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        trk.trackId = pick(1, 1000000);
        trk.age = pick(0, 2);
        trk.firstBox = draw_box();
        models.emplace_back();
        models.back().first = trk.firstBox;
        draw_boxes(trk);
    }

    void draw_boxes(TRACKER_RSLT_S& trk) {
        trk.curObj = draw_box();
        trk.headBox = draw_box();
        trk.footBox = draw_box();
    }

    // The tracks' next frame: most move a little, some jump, stand, get lost or change height.
    void draw_frame() {
        for (TRACKER_RSLT_S& trk : tracks) {
            trk.lostCnt = one_in(6) ? pick(1, 5) : 0;
            if (trk.lostCnt == 0) ++trk.age;
            if (one_in(60)) trk.age = pick(1, 8) * 120;
            if (one_in(15)) trk.heightExceed ^= 1;
            if (one_in(25)) trk.staticFalseDet ^= 1;
            if (one_in(5)) draw_boxes(trk);
            for (DET_OBJ_S* obj : {&trk.curObj, &trk.headBox, &trk.footBox}) {
                obj->x += pick(-9, 9);
                obj->y += pick(-9, 9);
            }
        }
    }

    // Copies, swaps, erases and reallocates the records, and the models with them.
    void shuffle_records() {
        const auto index = [this] { return static_cast<size_t>(pick(0, 99)) % tracks.size(); };
        if (!tracks.empty() && one_in(4)) {
            const size_t i = index();
            tracks.erase(tracks.begin() + static_cast<std::ptrdiff_t>(i));
            models.erase(models.begin() + static_cast<std::ptrdiff_t>(i));
        }
        if (tracks.size() < 6 && one_in(2)) add_track();
        if (tracks.empty()) return;
        if (one_in(5)) {
            const size_t i = index(), j = index();
            std::swap(tracks[i], tracks[j]);
            std::swap(models[i], models[j]);
        }
        if (one_in(5)) {
            const size_t i = index(), j = index();
            tracks[i] = tracks[j];
            models[i] = models[j];
        }
        if (one_in(8)) tracks = std::vector<TRACKER_RSLT_S>(tracks);
        if (one_in(8)) tracks.shrink_to_fit();
        if (one_in(8)) {
            TRACKER_RSLT_S moved(std::move(tracks.back()));
            tracks.back() = std::move(moved);
        }
    }

    // One pass of the stage, of the plain form, and their comparison.
    void pass() {
        now_ms += pick(0, 100);
        test::host().set_clock(now_ms * 1000);
        int32_t step_ms = 100;
        if (++passes % 3 == 0) {
            step_ms = static_cast<int32_t>(std::clamp<int64_t>(now_ms - measured_ms, 120, 180));
            measured_ms = now_ms;
        }
        for (size_t i = 0; i < tracks.size(); ++i) {
            TRACKER_RSLT_S& trk = tracks[i];
            const DET_OBJ_S obj = *chosen(trk);
            const bool takes_part = trk.lostCnt == 0 && trk.age > 1 && trk.curObj.w > 10 &&
                                    trk.curObj.h > 10 && trk.heightExceed == 0;
            if (!takes_part || obj.class_id != VCA_CLASS_PERSON || trk.age % 3 != 0) continue;
            models[i].add(obj, step_ms);
            ++contributions;
            movements += fix::same(models[i].first, obj) ? 1 : 0;
        }
        accumulate();
    }

    void fold_model(size_t i) {
        if (tracks[i].staticFalseDet == 0 && tracks[i].heightExceed == 0) {
            total.add(models[i].grids);
            ++folds;
        } else {
            ++drops;
        }
        models[i].grids = {};
    }

    void periodic_fold() {
        for (size_t i = 0; i < tracks.size(); ++i)
            if (tracks[i].age % 120 == 0 && tracks[i].lostCnt < 1) fold_model(i);
        EXPECT_EQ(vca_event_heat_map_refresh_total_result(tracks), 0);
    }

    void fold_one() {
        if (tracks.empty()) return;
        const size_t i = static_cast<size_t>(pick(0, 99)) % tracks.size();
        fold_model(i);
        vca_trker_heat_map_update_result(&tracks[i]);
        ASSERT_TRUE(fix::rectangle_empty(tracks[i].heatDwell));
        ASSERT_TRUE(fix::rectangle_empty(tracks[i].heatMotion));
    }

    void compare_tracks() {
        for (size_t i = 0; i < tracks.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "pass " << passes << " track " << i);
            const TRACKER_RSLT_S& trk = tracks[i];
            ASSERT_EQ(difference(grids_of(trk), models[i].grids), "");
            ASSERT_TRUE(fix::rectangle_holds(trk.heatDwell));
            ASSERT_TRUE(fix::rectangle_holds(trk.heatMotion));
            ASSERT_EQ(trk.htmpMoved, models[i].moved ? 1 : 0);
            ASSERT_TRUE(fix::same(trk.firstBox, models[i].first));
        }
    }

    void run(int frames) {
        for (int frame = 0; frame < frames && !HasFatalFailure(); ++frame) {
            if (frame % 10 == 0) draw_device();
            shuffle_records();
            draw_frame();
            pass();
            compare_tracks();
            periodic_fold();
            if (one_in(10)) fold_one();
            if (one_in(200)) {
                vca_dev_reset_heat_map_rslt();
                total = {};
            }
            if (frame % 20 == 19) {
                ASSERT_EQ(difference(fix::total_grids(), total), "") << frame;
                totals += difference(total, Grids{}) != "" ? 1 : 0;
            }
            compare_tracks();
        }
    }
};

struct HeatSeeds : HeatRandom, testing::WithParamInterface<unsigned> {};

TEST_P(HeatSeeds, GridsAndTotalEqualTheirPlainForm) {
    rng.seed(GetParam());
    run(300);
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_GT(contributions, 150);
    EXPECT_GT(movements, 60);
    EXPECT_GT(folds, 10);
    EXPECT_GT(drops, 5);
    EXPECT_GT(totals, 3);
}

INSTANTIATE_TEST_SUITE_P(Scenes, HeatSeeds, testing::Values(1u, 2u, 3u, 4u));

// Boxes and maps at the ends of the number range.
TEST_F(HeatRandom, ExtremeNumbersWrapTheSameWay) {
    const int32_t ends[] = {INT32_MIN, INT32_MIN + 1, -1, 0, 1, 50, 960, INT32_MAX - 1, INT32_MAX};
    const auto any = [&] { return ends[pick(0, 8)]; };
    rng.seed(7);
    for (int i = 0; i < 300; ++i) {
        VCA_DEV_CFG_S& cfg = fix::cfg();
        for (int32_t& size : cfg.cscdMapSize)
            size = any();
        cfg.srcImgWidth = one_in(2) ? 960 : any();
        cfg.devWorkMode = pick(0, 1);
        tracks.clear();
        models.clear();
        add_track();
        TRACKER_RSLT_S& trk = tracks[0];
        trk.age = 3;
        trk.curObj = fix::box(any(), any(), one_in(2) ? 50 : INT32_MAX, 50);
        trk.firstBox = fix::box(any(), any(), any(), any());
        models[0].first = trk.firstBox;
        SCOPED_TRACE(testing::Message() << "scene " << i);
        pass();
        ASSERT_NO_FATAL_FAILURE(compare_tracks());
        fold_one();
    }
    EXPECT_EQ(difference(fix::total_grids(), total), "");
}

}  // namespace
