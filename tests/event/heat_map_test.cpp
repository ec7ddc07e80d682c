// What a track adds to its own heat grids.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/event/heat_model.h"

namespace {

using fix::box;
using fix::centred;
using fix::difference;
using fix::dump;
using fix::Grid;
using fix::Grids;
using fix::grids_of;
using fix::zero_grid;

// The cells within a squared radius of one, each holding `value`.
Grid disc(int row, int col, int square_radius, int32_t value) {
    Grid grid = zero_grid();
    for (int r = 0; r < fix::kHeatRows; ++r)
        for (int c = 0; c < fix::kHeatCols; ++c)
            if ((r - row) * (r - row) + (c - col) * (c - col) <= square_radius)
                grid[static_cast<size_t>(r * fix::kHeatCols + c)] = value;
    return grid;
}

int64_t cells_set(const Grid& grid) {
    return std::count_if(grid.begin(), grid.end(), [](int32_t v) { return v != 0; });
}

// Column of a point over the map of 960 x 544: 4 pixels a cell. Row: 544 / 135 = 4.03 pixels.
struct HeatMap : fix::HeatFixture {
    static int32_t at(const HEAT_GRID_S& grid, int row, int col) { return grid.cell[row][col]; }

    void expect_nothing(size_t track = 0) {
        EXPECT_EQ(difference(grids_of(tracks.at(track)), Grids{}), "");
    }

    bool contributes(size_t track = 0) {
        return difference(grids_of(tracks.at(track)), Grids{}) != "";
    }
};

// ---- Who takes part ----

TEST(HeatEligibility, LossAgeAndSizeDecide) {
    const struct {
        int lost, age, w, h;
        bool takes_part;
    } rows[] = {{0, 2, 11, 11, true},   {0, 1, 11, 11, false}, {0, 0, 11, 11, false},
                {0, -3, 11, 11, false}, {1, 9, 11, 11, false}, {4, 9, 80, 80, false},
                {0, 9, 10, 11, false},  {0, 9, 11, 10, false}, {0, 9, 500, 11, true},
                {0, 9, 11, 500, true},  {-1, 9, 80, 80, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << row.lost << ' ' << row.age << ' ' << row.w << 'x' << row.h);
        for (const int mode : {0, 1, 2}) {
            fix::cfg().devWorkMode = mode;
            auto trk = fix::new_track();
            trk->lostCnt = row.lost;
            trk->age = row.age;
            trk->curObj = box(300, 200, row.w, row.h);
            trk->headBox = box(300, 200, 5, 5);
            trk->footBox = box(300, 200, 90, 90);
            EXPECT_EQ(vca_check_obj_event_heatmap_update(trk.get()), row.takes_part);
        }
    }
}

TEST_F(HeatMap, TrackThatTakesNoPartAddsNothing) {
    add(centred(480, 272)).lostCnt = 1;
    add(box(460, 252, 10, 40));
    add(box(460, 252, 40, 10));
    add(centred(480, 272)).age = 0;  // a multiple of 3, but too young
    add(centred(480, 272)).heightExceed = 1;
    for (TRACKER_RSLT_S& trk : tracks)
        trk.firstBox = centred(300, 100);
    accumulate();
    for (size_t i = 0; i < tracks.size(); ++i) {
        expect_nothing(i);
        EXPECT_EQ(tracks[i].htmpMoved, 0);
        EXPECT_TRUE(fix::same(tracks[i].firstBox, centred(300, 100)));
    }
}

TEST_F(HeatMap, OnlyPeopleContribute) {
    for (int class_id = 0; class_id < 256; ++class_id) {
        DET_OBJ_S obj = centred(480, 272);
        obj.class_id = static_cast<uint8_t>(class_id);
        tracks.clear();
        add(obj);
        accumulate();
        EXPECT_EQ(contributes(), class_id == VCA_CLASS_PERSON) << class_id;
    }
}

TEST_F(HeatMap, StaticFalseDetectionStillFillsItsOwnGrids) {
    add(centred(480, 272)).staticFalseDet = 1;
    accumulate();
    EXPECT_TRUE(contributes());
}

TEST_F(HeatMap, EveryThirdUpdateContributes) {
    for (int age = 2; age <= 40; ++age) {
        tracks.clear();
        add(centred(480, 272)).age = age;
        accumulate();
        EXPECT_EQ(contributes(), age % 3 == 0) << age;
    }
}

TEST_F(HeatMap, NothingAccumulatesWhenOff) {
    fix::cfg().HtmpEn = 0;
    add(centred(480, 272)).firstBox = centred(100, 100);
    for (int i = 0; i < 6; ++i)
        accumulate();
    expect_nothing();
    EXPECT_EQ(tracks[0].htmpMoved, 0);
}

// ---- Which box ----

TEST_F(HeatMap, BoxFollowsTheModes) {
    const struct {
        int work_mode, trk_mode;
        int col;  // of the box that is chosen: 120 curObj, 60 headBox, 180 footBox
    } rows[] = {{0, 0, 120}, {0, 1, 60},  {0, 2, 180}, {0, 3, 120}, {1, 0, 120},
                {1, 1, 120}, {1, 2, 120}, {2, 1, 120}, {2, 2, 120}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.work_mode << ' ' << row.trk_mode);
        fix::cfg().devWorkMode = row.work_mode;
        fix::cfg().StandAloneTrkMd = row.trk_mode;
        tracks.clear();
        TRACKER_RSLT_S& trk = add(centred(480, 272));
        trk.headBox = centred(240, 272);
        trk.footBox = centred(720, 272);
        trk.firstBox = centred(4 * row.col, 272);
        accumulate();
        EXPECT_EQ(difference(grids_of(tracks[0]), {disc(67, row.col, 16, 100), zero_grid()}), "");

        tracks[0].firstBox = centred(4 * row.col, 100);
        empty_passes(2);
        accumulate();
        EXPECT_TRUE(fix::same(tracks[0].firstBox, centred(4 * row.col, 272)));
        empty_passes(2);  // the next row's first pass is not a measured one
    }
}

TEST_F(HeatMap, ClassIsThatOfTheChosenBoxAndSizeThatOfTheDetection) {
    fix::cfg().StandAloneTrkMd = VCA_POSITION_HEAD;
    add(centred(480, 272)).headBox = centred(240, 272);
    tracks[0].headBox.class_id = VCA_CLASS_SMALL;
    accumulate();
    expect_nothing();

    tracks[0].headBox = box(240, 272, 4, 4);  // small, but a person's
    tracks[0].firstBox = tracks[0].headBox;
    tracks[0].curObj.class_id = VCA_CLASS_SMALL;
    accumulate();
    EXPECT_TRUE(contributes());
}

// ---- Standing ----

TEST_F(HeatMap, StandingFillsTheCellsAround) {
    add(centred(480, 272));
    accumulate();
    const Grids want{disc(67, 120, 16, 100), zero_grid()};  // 272 * 135 / 544 = 67.5
    EXPECT_EQ(difference(grids_of(tracks[0]), want), "");
    EXPECT_EQ(cells_set(want.dwell), 49);
    const HEAT_GRID_S& dwell = tracks[0].heatDwell;
    EXPECT_EQ(at(dwell, 67, 124), 100);
    EXPECT_EQ(at(dwell, 67, 125), 0);
    EXPECT_EQ(at(dwell, 63, 120), 100);
    EXPECT_EQ(at(dwell, 62, 120), 0);
    EXPECT_EQ(at(dwell, 69, 123), 100);  // 13
    EXPECT_EQ(at(dwell, 70, 123), 0);    // 18
    EXPECT_EQ(tracks[0].htmpMoved, 0);
}

// Ten contributions of a person who stands for thirty updates, in step with the measured passes
// after `passes_before` passes.
int32_t dwell_of_thirty_updates(HeatMap& test, int passes_before, int frame_ms) {
    HeatMap::empty_passes(passes_before);
    test.add(centred(480, 272));
    for (int age = 1; age <= 30; ++age) {
        test.tracks[0].age = age;
        HeatMap::wait_ms(frame_ms);
        test.accumulate();
    }
    const int32_t value = test.tracks[0].heatDwell.cell[67][120];
    EXPECT_EQ(difference(grids_of(test.tracks[0]), {disc(67, 120, 16, value), zero_grid()}), "");
    return value;
}

TEST_F(HeatMap, ThirtyUpdatesInStepWithTheMeasurementAtTenFramesPerSecond) {
    EXPECT_EQ(dwell_of_thirty_updates(*this, 0, 100), 1800);
}

TEST_F(HeatMap, ThirtyUpdatesOutOfStepWithTheMeasurement) {
    EXPECT_EQ(dwell_of_thirty_updates(*this, 1, 100), 1000);
}

TEST_F(HeatMap, ThirtyUpdatesInStepWithTheMeasurementAtTwentyFramesPerSecond) {
    EXPECT_EQ(dwell_of_thirty_updates(*this, 0, 50), 180 + 9 * 150);
}

TEST_F(HeatMap, ThirtyUpdatesInStepWithTheMeasurementAtThirtyFramesPerSecond) {
    EXPECT_EQ(dwell_of_thirty_updates(*this, 0, 33), 180 + 9 * 120);
}

// ---- The step ----

struct HeatStep : HeatMap {
    // The step of one pass, by what a standing person adds.
    int32_t step() {
        tracks.clear();
        add(centred(480, 272));
        accumulate();
        return tracks[0].heatDwell.cell[67][120];
    }
};

TEST_F(HeatStep, EveryThirdPassIsMeasured) {
    for (int i = 1; i <= 12; ++i) {
        wait_ms(50);
        EXPECT_EQ(step(), i == 3 ? 180 : i % 3 == 0 ? 150 : 100) << i;
    }
}

TEST_F(HeatStep, MeasurementIsBounded) {
    const struct {
        int64_t after_ms;
        int32_t step_ms;
    } rows[] = {{0, 120},   {119, 120}, {120, 120}, {121, 121},        {150, 150},
                {179, 179}, {180, 180}, {181, 180}, {86400000, 180},   {-5000, 120},
                {300, 180}, {150, 150}, {1, 120},   {0x80000000, 120}, {130, 130}};
    empty_passes(3);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.after_ms);
        empty_passes(2);
        wait_ms(row.after_ms);
        EXPECT_EQ(step(), row.step_ms);
    }
}

TEST_F(HeatStep, TimeIsTheLowHalfOfTheClockAndStartsAtZero) {
    empty_passes(2);
    test::host().set_clock(((int64_t{5} << 32) + 140) * 1000);
    EXPECT_EQ(step(), 140);
}

TEST_F(HeatStep, FirstMeasurementWithTheHighBitSetIsTheSmallest) {
    empty_passes(2);
    test::host().set_clock(int64_t{0x90000000} * 1000);
    EXPECT_EQ(step(), 120);
}

TEST_F(HeatStep, MeasurementWrapsWithTheClock) {
    empty_passes(2);
    test::host().set_clock((int64_t{0x7FFFFFFF} - 60) * 1000);
    empty_passes(1);
    empty_passes(2);
    wait_ms(155);
    EXPECT_EQ(step(), 155);
}

TEST_F(HeatStep, PassesAreNotCountedWhileOff) {
    empty_passes(2);
    fix::cfg().HtmpEn = 0;
    empty_passes(5);
    fix::cfg().HtmpEn = 1;
    EXPECT_EQ(step(), 180);
    EXPECT_EQ(step(), 100);
}

TEST_F(HeatStep, PassesAreCountedWithoutAnybody) {
    empty_passes(5);
    wait_ms(160);
    EXPECT_EQ(step(), 160);
}

TEST_F(HeatStep, MeasuredStepIsThatOfTheWholePass) {
    empty_passes(3);
    empty_passes(2);
    wait_ms(133);
    add(centred(480, 272));
    add(centred(200, 100)).firstBox = centred(400, 300);
    add(centred(700, 400));
    accumulate();
    EXPECT_EQ(at(tracks[0].heatDwell, 67, 120), 133);
    EXPECT_EQ(at(tracks[1].heatDwell, 24, 50), 133);
    EXPECT_EQ(at(tracks[2].heatDwell, 99, 175), 133);
}

// ---- Moving ----

TEST_F(HeatMap, FifteenPixelsAreAMovement) {
    const struct {
        int dx, dy;
        bool moves;
    } rows[] = {{0, 0, false},    {14, 0, false},  {15, 0, true},   {16, 0, true},
                {-15, 0, true},   {0, 14, false},  {0, -14, false}, {0, 15, true},
                {9, 12, true},    {10, 11, false}, {11, 10, false}, {12, 9, true},
                {-10, -12, true}, {-9, -11, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.dx << ' ' << row.dy);
        tracks.clear();
        TRACKER_RSLT_S& trk = add(fix::patterned(1));
        const POINT_POS_S from = fix::centre(trk.curObj);
        trk.firstBox = centred(from.x + row.dx, from.y + row.dy, 20, 60);
        const DET_OBJ_S first = trk.firstBox;
        accumulate();
        EXPECT_EQ(tracks[0].htmpMoved, row.moves ? 1 : 0);
        EXPECT_TRUE(fix::same(tracks[0].firstBox, row.moves ? tracks[0].curObj : first));
        EXPECT_EQ(difference(grids_of(tracks[0]).motion, zero_grid()) != "", row.moves);
    }
}

TEST_F(HeatMap, WalkerMarksTheStartOnceAndWhatIsNewAtEachStep) {
    // 20 pixels are 5 columns; discs of radius 4 around (67, 100), (67, 105), (67, 110).
    add(centred(400, 272));
    tracks[0].curObj = centred(420, 272);
    accumulate();
    Grids want{disc(67, 105, 16, 100), disc(67, 100, 16, 1)};
    const Grid first_new = disc(67, 105, 16, 1);
    for (size_t i = 0; i < want.motion.size(); ++i)
        want.motion[i] = std::max(want.motion[i], first_new[i]);
    EXPECT_EQ(difference(grids_of(tracks[0]), want), "");
    EXPECT_EQ(tracks[0].htmpMoved, 1);

    tracks[0].curObj = centred(440, 272);
    accumulate();
    const Grid before = disc(67, 105, 16, 1), now = disc(67, 110, 16, 1);
    for (size_t i = 0; i < want.motion.size(); ++i) {
        want.dwell[i] += 100 * now[i];
        want.motion[i] += now[i] > before[i] ? 1 : 0;
    }
    EXPECT_EQ(difference(grids_of(tracks[0]), want), "");
}

TEST_F(HeatMap, MovementIsMeasuredFromTheLastBoxThatWasFarEnough) {
    add(centred(400, 272));
    int moves = 0;
    for (const int x : {408, 414, 415, 420, 429, 430, 444, 430, 416, 415}) {
        const DET_OBJ_S first = tracks[0].firstBox;
        tracks[0].curObj = centred(x, 272);
        accumulate();
        moves += fix::same(tracks[0].firstBox, first) ? 0 : 1;
    }
    EXPECT_EQ(moves, 3);  // at 415, at 430, and back at 415
    EXPECT_EQ(fix::centre(tracks[0].firstBox).x, 415);
}

TEST_F(HeatMap, StandingAgainAfterAMovementAddsDwellOnly) {
    add(centred(400, 272)).firstBox = centred(300, 272);
    accumulate();
    const Grids moved = grids_of(tracks[0]);
    accumulate();
    EXPECT_EQ(difference(grids_of(tracks[0]).motion, moved.motion), "");
    EXPECT_EQ(tracks[0].htmpMoved, 1);
    EXPECT_EQ(at(tracks[0].heatDwell, 67, 100), 200);
}

// ---- Radius ----

struct HeatRadius : HeatMap {
    // Number of cells a standing person in the middle of the map fills.
    int64_t cells(int width, int map_width, int work_mode) {
        fix::cfg().srcImgWidth = width;
        fix::cfg().cscdMapSize[2] = map_width;
        fix::cfg().devWorkMode = work_mode;
        tracks.clear();
        add(centred(map_width / 2, 272));
        accumulate();
        return cells_set(grids_of(tracks[0]).dwell);
    }

    // Cells of a disc in the middle of the grid.
    static int64_t disc_cells(int radius) { return cells_set(disc(67, 120, radius * radius, 1)); }
};

TEST_F(HeatRadius, FollowsTheImageWidthInWholeSteps) {
    const struct {
        int width, radius;
    } rows[] = {{960, 4},  {1120, 4}, {1121, 2}, {1680, 2}, {1681, 1}, {3360, 1},
                {3361, 0}, {9999, 0}, {480, 9},  {640, 6},  {672, 6},  {673, 5},
                {100, 44}, {0, 0},    {20, 224}, {1, 4480}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.width);
        EXPECT_EQ(cells(row.width, 960, 0), disc_cells(row.radius));
        EXPECT_EQ(cells(row.width, 960, 2), disc_cells(row.radius));
        EXPECT_EQ(cells(row.width, 4000, 0), disc_cells(row.radius));
    }
}

TEST_F(HeatRadius, MasterScalesItToTheMap) {
    const struct {
        int width, map_width, radius;
    } rows[] = {
        {960, 960, 4},                    // 4.5
        {960, 854, 4},                    // 4.997
        {960, 853, 5},                    // 5.002
        {960, 1097, 4},                   // 4.0005
        {960, 1098, 3},                   // 3.997
        {960, 1920, 2},                   // 2.5
        {960, 2560, 2},                   // 2.0
        {960, 2561, 1},                   // 1.999
        {960, 7680, 1},                   // 1.0
        {960, 7681, 1},                   // 0.9999, at least 1
        {960, 100000, 1}, {960, 480, 8},  // 8.5
        {960, 3, 1280},                   // everything
        {0, 960, 1},                      // 0.5, at least 1
        {3361, 960, 1},                   // radius 0 before it is scaled
        {640, 960, 4},                    // 6 * 0.6667 + 0.5 = 4.5
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.width << " / " << row.map_width);
        EXPECT_EQ(cells(row.width, row.map_width, 1), disc_cells(row.radius));
    }
}

TEST_F(HeatRadius, MasterWithoutAMapWidthHasTheSaturatedRadius) {
    // 960 / 0 is infinite and becomes 2^31 - 1, whose square wraps to 1.
    EXPECT_EQ(cells(960, 0, 1), 4);  // a cell of column 0 and its three neighbours
}

// ---- Map ----

TEST_F(HeatMap, PointsAreMovedIntoTheMapAndClamped) {
    int32_t* map = fix::cfg().cscdMapSize;
    map[0] = 100, map[1] = 50, map[2] = 480, map[3] = 272;
    const struct {
        int x, y;
        int col, row;
    } rows[] = {
        {340, 186, 120, 67},  // (240, 136): 136 * 135 / 272 = 67.5
        {100, 50, 0, 0},       {101, 51, 0, 0},       {102, 53, 1, 1},      {99, 49, 0, 0},
        {-500, -500, 0, 0},    {579, 321, 239, 134},  {580, 322, 239, 134}, {5000, 5000, 239, 134},
        {5000, -5000, 239, 0}, {-5000, 5000, 0, 134},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.x << ' ' << row.y);
        tracks.clear();
        add(centred(row.x, row.y));
        fix::cfg().srcImgWidth = 0;  // radius 0: the one cell
        accumulate();
        EXPECT_EQ(cells_set(grids_of(tracks[0]).dwell), 1);
        EXPECT_NE(at(tracks[0].heatDwell, row.row, row.col), 0);
    }
}

TEST_F(HeatMap, MapWithoutSizeIsTheFirstColumnOrRow) {
    int32_t* map = fix::cfg().cscdMapSize;
    fix::cfg().srcImgWidth = 0;
    map[2] = 0;
    add(centred(480, 272));
    accumulate();
    EXPECT_EQ(at(tracks[0].heatDwell, 67, 0), 100);
    map[2] = 960;
    map[3] = 0;
    accumulate();
    EXPECT_EQ(at(tracks[0].heatDwell, 0, 120), 100);
    map[2] = 0;
    accumulate();
    EXPECT_EQ(at(tracks[0].heatDwell, 0, 0), 180);
    EXPECT_EQ(cells_set(grids_of(tracks[0]).dwell), 3);
}

TEST_F(HeatMap, CentresAreThoseOfOddBoxes) {
    fix::cfg().srcImgWidth = 0;
    add(box(3, 0, 19, 13));  // (12, 6): column 3, row 6 * 135 / 544 = 1
    accumulate();
    EXPECT_EQ(at(tracks[0].heatDwell, 1, 3), 100);
    tracks.clear();
    add(box(-7, -2, 15, 13));  // (0, 4): column 0, row 0
    accumulate();
    EXPECT_EQ(at(tracks[0].heatDwell, 0, 0), 100);
}

TEST_F(HeatMap, CellsBesideTheGridAreLeftOut) {
    add(box(-10, -10, 20, 20));
    accumulate();
    EXPECT_EQ(difference(grids_of(tracks[0]), {disc(0, 0, 16, 100), zero_grid()}), "");
    tracks.clear();
    add(centred(959, 543)).firstBox = centred(0, 543);
    accumulate();
    EXPECT_EQ(difference(grids_of(tracks[0]).dwell, disc(134, 239, 16, 100)), "");
}

// ---- Debug switch ----

struct HeatDump : HeatMap {
    void SetUp() override {
        HeatMap::SetUp();
        fix::set_debug(fix::kSwHeatMap, true);
    }
    std::string printed() {
        return fix::output_of([this] { accumulate(); });
    }
};

TEST_F(HeatDump, GridsOfEachContributingTrackArePrinted) {
    add(centred(480, 272)).trackId = 31;
    add(centred(480, 272)).heightExceed = 1;
    add(centred(200, 100)).age = 4;
    add(centred(160, 100)).trackId = -5;
    fix::put_cell(tracks[0].heatDwell, 64, 120, 12899);  // 12999 after this pass
    fix::put_cell(tracks[0].heatDwell, 0, 0, 1000);
    fix::put_cell(tracks[0].heatDwell, 128, 236, -2500);
    fix::put_cell(tracks[0].heatMotion, 8, 4, 17);
    tracks[3].firstBox = centred(400, 300);
    const std::string text = printed();
    EXPECT_EQ(text, "$Htmp Trk[31]:\n" + dump(grids_of(tracks[0])) + "$Htmp Trk[-5]:\n" +
                        dump(grids_of(tracks[3])));
    EXPECT_NE(dump(grids_of(tracks[0])).find("12"), std::string::npos);
    EXPECT_NE(dump(grids_of(tracks[0])).find("17"), std::string::npos);
    EXPECT_NE(dump(grids_of(tracks[0])).find("-2"), std::string::npos);
}

TEST_F(HeatDump, NothingIsPrintedWhenOffOrWithoutTheSwitch) {
    add(centred(480, 272));
    fix::cfg().HtmpEn = 0;
    EXPECT_EQ(printed(), "");
    fix::cfg().HtmpEn = 1;
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number != fix::kSwHeatMap);
    EXPECT_EQ(printed(), "");
}

}  // namespace
