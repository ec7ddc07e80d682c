// Copies, moves and erasures of track records, and their heat grids against a plain whole copy.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <type_traits>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

using testing::ElementsAre;

// Fills every vector and a sample of the plain fields with values of its own.
void fill(TRACKER_RSLT_S& trk, int n) {
    trk.trackId = n;
    trk.age = n + 1;
    trk.updSeq = static_cast<uint32_t>(n + 2);
    trk.speed = static_cast<float>(n) + 0.5f;
    trk.moveFrm = {n, n + 1, n + 2};
    trk.moveDist = {n + 3, n + 4, n + 5};
    trk.trail = {{n, n + 1, {}}, {n + 2, n + 3, {}}};
    trk.trailSmooth = {{n + 4, n + 5, {}}};
    trk.objTrail = {{n + 6, n + 7, {}}};
    trk.heightSamples = {static_cast<float>(n), static_cast<float>(n + 1)};
    trk.heightMeans = {static_cast<float>(n + 2)};
    trk.curObj = fix::patterned(static_cast<uint32_t>(n));
    trk.evtObj = fix::patterned(static_cast<uint32_t>(n + 1));
    trk.heatDwell.cell[5][6] = n;
    trk.heatDwell.x0 = 6;
    trk.heatDwell.y0 = 5;
    trk.heatDwell.x1 = 7;
    trk.heatDwell.y1 = 6;
    trk.attrImg = {n, 1, 2, 3, 4, 5, 6, 7};
    trk.attrSamples.assign(2, HUMAN_ATTR_S{1, n, 0.25f, 0.5f, 9, 1, 1, 0.75f});
    trk.crossDist = n + 9;
    trk.rgnStay[3] = {1, n};
    trk.LastState[2] = n;
    trk.segSide[3][1] = n;
    trk.segPrev[3][3] = fix::patterned(static_cast<uint32_t>(n + 2));
}

bool same_cells(const HEAT_GRID_S& a, const HEAT_GRID_S& b) {
    for (int row = 0; row < VCA_HEAT_ROWS; ++row)
        if (!std::equal(a.cell[row], a.cell[row] + VCA_HEAT_COLS, b.cell[row])) return false;
    return true;
}

void expect_filled(const TRACKER_RSLT_S& trk, int n) {
    EXPECT_EQ(trk.trackId, n);
    EXPECT_EQ(trk.age, n + 1);
    EXPECT_EQ(trk.updSeq, static_cast<uint32_t>(n + 2));
    EXPECT_EQ(trk.speed, static_cast<float>(n) + 0.5f);
    EXPECT_THAT(trk.moveFrm, ElementsAre(n, n + 1, n + 2));
    EXPECT_THAT(trk.moveDist, ElementsAre(n + 3, n + 4, n + 5));
    ASSERT_EQ(trk.trail.size(), 2u);
    EXPECT_EQ(trk.trail[1].y, n + 3);
    ASSERT_EQ(trk.trailSmooth.size(), 1u);
    EXPECT_EQ(trk.trailSmooth[0].x, n + 4);
    ASSERT_EQ(trk.objTrail.size(), 1u);
    EXPECT_EQ(trk.objTrail[0].y, n + 7);
    EXPECT_THAT(trk.heightSamples, ElementsAre(float(n), float(n + 1)));
    EXPECT_THAT(trk.heightMeans, ElementsAre(float(n + 2)));
    EXPECT_TRUE(fix::same(trk.curObj, fix::patterned(static_cast<uint32_t>(n))));
    EXPECT_TRUE(fix::same(trk.evtObj, fix::patterned(static_cast<uint32_t>(n + 1))));
    EXPECT_EQ(trk.heatDwell.cell[5][6], n);
    EXPECT_EQ(trk.attrImg.type, n);
    EXPECT_EQ(trk.attrImg.host_handle, 7u);
    ASSERT_EQ(trk.attrSamples.size(), 2u);
    EXPECT_EQ(trk.attrSamples[1].gender, n);
    EXPECT_EQ(trk.crossDist, n + 9);
    EXPECT_EQ(trk.rgnStay[3].stayTime, n);
    EXPECT_EQ(trk.LastState[2], n);
    EXPECT_EQ(trk.segSide[3][1], n);
    EXPECT_TRUE(fix::same(trk.segPrev[3][3], fix::patterned(static_cast<uint32_t>(n + 2))));
}

TEST(TrackRecord, NewRecordIsZero) {
    const auto trk = fix::new_track(0);
    EXPECT_EQ(trk->lostCnt, 0);
    EXPECT_TRUE(trk->trail.empty());
    EXPECT_TRUE(fix::same(trk->curObj, DET_OBJ_S{}));
    EXPECT_TRUE(same_cells(trk->heatDwell, HEAT_GRID_S()));
    EXPECT_TRUE(same_cells(trk->heatMotion, HEAT_GRID_S()));
    for (const auto& line : trk->segPrev)
        for (const DET_OBJ_S& obj : line)
            EXPECT_TRUE(fix::same(obj, DET_OBJ_S{}));
}

TEST(TrackRecord, DestroyedCopyLeavesTheSourceIntact) {
    const auto source = fix::new_track();
    fill(*source, 40);
    {
        auto copy = std::make_unique<TRACKER_RSLT_S>(*source);
        expect_filled(*copy, 40);
        EXPECT_NE(copy->trail.data(), source->trail.data());
        EXPECT_EQ(copy->trail.capacity(), source->trail.size());
        copy->trail.clear();
        copy->heightSamples.push_back(1.0f);
        copy->heatDwell.cell[5][6] = -1;
    }
    expect_filled(*source, 40);
}

TEST(TrackRecord, CopyAssignmentReplacesEverything) {
    const auto source = fix::new_track();
    const auto target = fix::new_track();
    fill(*source, 40);
    fill(*target, 70);
    target->heatDwell.cell[100][200] = 1;
    target->heatDwell.x1 = 201;
    target->heatDwell.y1 = 101;
    *target = *source;
    expect_filled(*target, 40);
    EXPECT_EQ(target->heatDwell.cell[100][200], 0);
    expect_filled(*source, 40);
}

TEST(TrackRecord, MoveAssignmentTakesTheVectors) {
    const auto source = fix::new_track();
    const auto target = fix::new_track();
    fill(*source, 40);
    fill(*target, 70);
    const TRK_POINT_S* storage = source->trail.data();
    *target = std::move(*source);
    expect_filled(*target, 40);
    EXPECT_EQ(target->trail.data(), storage);
}

TEST(TrackRecord, ErasingFromTheMiddleShiftsTheFollowingDown) {
    std::vector<TRACKER_RSLT_S> list(5);
    for (int i = 0; i < 5; ++i)
        fill(list[static_cast<size_t>(i)], 100 * i);
    list.erase(list.begin() + 1);
    ASSERT_EQ(list.size(), 4u);
    expect_filled(list[0], 0);
    expect_filled(list[1], 200);
    expect_filled(list[2], 300);
    expect_filled(list[3], 400);
    list.erase(list.begin());
    expect_filled(list[0], 200);
    expect_filled(list[2], 400);
}

TEST(TrackRecord, GrowingListKeepsItsRecords) {
    std::vector<TRACKER_RSLT_S> list;
    const auto trk = fix::new_track();
    for (int i = 0; i < 9; ++i) {
        fill(*trk, 10 * i);
        list.push_back(*trk);
    }
    for (int i = 0; i < 9; ++i)
        expect_filled(list[static_cast<size_t>(i)], 10 * i);
}

TEST(TrackRecord, ImageIsDestroyedOnlyOnRequest) {
    VCA_IMAGE_S img{};
    vca_create_image(&img, VCA_IMAGE_NV12, 224, 224);
    {
        const auto trk = fix::new_track();
        trk->attrImg = img;
        const TRACKER_RSLT_S copy = *trk;
        EXPECT_TRUE(fix::same(copy.attrImg, img));
    }
    EXPECT_EQ(test::host().images_destroyed(), 0);
    EXPECT_EQ(vca_trk_obj_destroy_img(&img), 0);
    EXPECT_EQ(test::host().images_destroyed(), 1);
}

TEST(TrackRecord, ReleasingAListDestroysEveryImageOnce) {
    std::vector<TRACKER_RSLT_S> list(3);
    for (size_t i = 0; i < 2; ++i)
        vca_create_image(&list[i].attrImg, VCA_IMAGE_NV12, 224, 224);
    EXPECT_EQ(vca_trk_obj_list_release(list), 0);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(test::host().images_destroyed(), 2);
    EXPECT_EQ(test::host().zero_images_destroyed(), 1);
    EXPECT_EQ(vca_trk_obj_list_release(list), 0);
    EXPECT_EQ(test::host().images_destroyed(), 2);
    EXPECT_TRUE(test::host().errors().empty());
}

struct HeatGrids : testing::Test {
    std::mt19937 rng{7};

    int uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }

    // A random rectangle, sometimes empty and sometimes the whole grid, with most cells set.
    std::unique_ptr<HEAT_GRID_S> random_grid() {
        auto grid = std::make_unique<HEAT_GRID_S>();
        const int kind = uniform(0, 9);
        if (kind == 0) return grid;
        grid->x0 = kind == 1 ? 0 : uniform(0, VCA_HEAT_COLS);
        grid->y0 = kind == 1 ? 0 : uniform(0, VCA_HEAT_ROWS);
        grid->x1 = kind == 1 ? VCA_HEAT_COLS : uniform(grid->x0, VCA_HEAT_COLS);
        grid->y1 = kind == 1 ? VCA_HEAT_ROWS : uniform(grid->y0, VCA_HEAT_ROWS);
        for (int y = grid->y0; y < grid->y1; ++y)
            for (int x = grid->x0; x < grid->x1; ++x)
                grid->cell[y][x] = uniform(-2, 1000);
        return grid;
    }

    static void expect_equal_cells(const HEAT_GRID_S& got, const HEAT_GRID_S& want) {
        ASSERT_TRUE(same_cells(got, want));
        bool contained = true;
        for (int y = 0; y < VCA_HEAT_ROWS; ++y)
            for (int x = 0; x < VCA_HEAT_COLS; ++x)
                if (got.cell[y][x] != 0)
                    contained &= x >= got.x0 && x < got.x1 && y >= got.y0 && y < got.y1;
        ASSERT_TRUE(contained);
    }
};

TEST_F(HeatGrids, CopyConstructionEqualsAWholeCopy) {
    for (int i = 0; i < 300; ++i) {
        const auto source = random_grid();
        const HEAT_GRID_S copy(*source);
        ASSERT_NO_FATAL_FAILURE(expect_equal_cells(copy, *source));
    }
}

TEST_F(HeatGrids, AssignmentEqualsAWholeCopy) {
    const auto target = std::make_unique<HEAT_GRID_S>();
    for (int i = 0; i < 600; ++i) {
        const auto source = random_grid();
        *target = *source;
        ASSERT_NO_FATAL_FAILURE(expect_equal_cells(*target, *source));
    }
}

TEST_F(HeatGrids, MoveHandsTheCellsOver) {
    const auto target = std::make_unique<HEAT_GRID_S>();
    for (int i = 0; i < 300; ++i) {
        const auto source = random_grid();
        const HEAT_GRID_S before(*source);
        *target = std::move(*source);
        ASSERT_NO_FATAL_FAILURE(expect_equal_cells(*target, before));
        ASSERT_NO_FATAL_FAILURE(expect_equal_cells(*source, HEAT_GRID_S()));
        EXPECT_EQ(source->x1, 0);
        source->cell[3][4] = 1;
        EXPECT_EQ(std::as_const(*target).cell[3][4], std::as_const(before).cell[3][4]);
        const HEAT_GRID_S made(std::move(*target));
        ASSERT_NO_FATAL_FAILURE(expect_equal_cells(made, before));
    }
}

TEST_F(HeatGrids, AssignmentToItselfChangesNothing) {
    for (int i = 0; i < 50; ++i) {
        const auto grid = random_grid();
        const HEAT_GRID_S before(*grid);
        HEAT_GRID_S& same_grid = *grid;
        *grid = same_grid;
        ASSERT_NO_FATAL_FAILURE(expect_equal_cells(*grid, before));
        *grid = std::move(same_grid);
        ASSERT_NO_FATAL_FAILURE(expect_equal_cells(*grid, before));
    }
}

}  // namespace
