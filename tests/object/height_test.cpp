// From a track's box to a height sample: scaling to the depth image, the floor under the box,
// compensation by installation height, cadence.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

using fix::box;
using testing::ElementsAre;
using testing::IsEmpty;

struct Height : testing::Test {
    std::unique_ptr<TRACKER_RSLT_S> trk = fix::new_track(7);

    void SetUp() override { fix::set_up_device(); }

    // Paints columns x0 .. x1 - 1 and rows y0 .. y1 - 1 of the depth image.
    static void paint(int x0, int y0, int x1, int y1, uint16_t mm) {
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x)
                fix::depth_image()[static_cast<size_t>(y * fix::kDepthWidth + x)] = mm;
    }

    float raw_height() { return dev_calc_obj_height(trk.get(), fix::depth_image().data()); }

    std::vector<std::string> print_height() {
        return fix::printed_by([this] { raw_height(); });
    }

    // Teaches the floor map the depth image's floor: every cell comes round within 25 updates of
    // 6 frames.
    static void learn_floor() {
        for (int i = 0; i < 6 * 25; ++i)
            vca_update_depth_map(fix::depth_image().data());
    }
};

TEST_F(Height, IsTheInstallationHeightLessTheDistance) {
    // (100, 102, 60, 68) scales to (50, 48, 30, 32)
    trk->curObj = box(100, 102, 60, 68);
    paint(50, 48, 80, 80, 1300);
    EXPECT_EQ(raw_height(), 1700.0f);
    EXPECT_EQ(trk->rawHeight, 1700.0f);
}

TEST_F(Height, LastRowAndColumnOfTheScaledBoxAreNotRead) {
    // the rectangle is handed over with inclusive bounds and read with exclusive ones: 29 x 31
    trk->curObj = box(100, 102, 60, 68);
    paint(50, 48, 80, 80, 1300);
    paint(79, 48, 80, 80, 1100);
    paint(50, 79, 80, 80, 1100);
    EXPECT_EQ(raw_height(), 1700.0f);
    paint(78, 48, 79, 80, 1100);
    EXPECT_EQ(raw_height(), 1900.0f);
}

TEST_F(Height, PixelsOutsideTheBoxAreNotRead) {
    paint(0, 0, fix::kDepthWidth, fix::kDepthHeight, 1100);
    trk->curObj = box(100, 102, 60, 68);
    paint(50, 48, 80, 80, 1300);
    EXPECT_EQ(raw_height(), 1700.0f);
}

TEST_F(Height, NegativeEdgesAndSizesCountAsZero) {
    // x and y clamp to 0, the size stays: (0, 0, 30, 32)
    trk->curObj = box(-50, -60, 60, 68);
    paint(0, 0, 30, 32, 1300);
    EXPECT_EQ(raw_height(), 1700.0f);
    // a size of 0 is no rectangle: distance 1600
    trk->curObj = box(100, 102, -60, 68);
    fix::output_of([&] { EXPECT_EQ(raw_height(), 1400.0f); });
}

TEST_F(Height, BoxBeyondTheDepthImageIsReportedNotClipped) {
    // 900 / 2 + 60 / 2 = 480: no longer below the width
    trk->curObj = box(900, 102, 60, 68);
    EXPECT_THAT(print_height(),
                ElementsAre("log: H-calc-exceed SrcObj=(900 102 60 68) TmpObj=(450 48 30 32)"));
    trk->curObj = box(898, 102, 60, 68);
    EXPECT_THAT(print_height(), IsEmpty());
    // 476 * 8 / 17 = 224, and 224 + 32 = 256
    trk->curObj = box(100, 476, 60, 68);
    EXPECT_THAT(print_height(),
                ElementsAre("log: H-calc-exceed SrcObj=(100 476 60 68) TmpObj=(50 224 30 32)"));
    trk->curObj = box(100, 474, 60, 68);
    EXPECT_THAT(print_height(), IsEmpty());
    // far beyond it the distance routine refuses: 3000 - 1600
    trk->curObj = box(920, 102, 60, 68);
    fix::output_of([&] { EXPECT_EQ(raw_height(), 1400.0f); });
}

TEST_F(Height, ExceedingLineShowsTheBoxBeforeTheSmallTargetSquare) {
    trk->curObj = box(860, 102, 100, 136, 0.9f, 2);
    EXPECT_THAT(print_height(),
                ElementsAre("log: H-calc-exceed SrcObj=(860 102 100 136) TmpObj=(430 48 50 64)"));
}

TEST_F(Height, SmallTargetIsMeasuredOnItsCentralSquare) {
    // (100, 102, 120, 136) scales to (50, 48, 60, 64); the square of 40 is (60, 60, 40, 40)
    trk->curObj = box(100, 102, 120, 136, 0.9f, 2);
    paint(50, 48, 110, 112, 1100);
    paint(60, 60, 100, 100, 2000);
    EXPECT_EQ(raw_height(), 1000.0f);
    trk->curObj.class_id = VCA_CLASS_PERSON;
    EXPECT_EQ(raw_height(), 1900.0f);
}

TEST_F(Height, SmallTargetSquareTakesTheShorterSide) {
    // (100, 102, 40, 136) scales to (50, 48, 20, 64): a square of 20 at (50, 70)
    trk->curObj = box(100, 102, 40, 136, 0.9f, 2);
    paint(50, 48, 70, 112, 1100);
    paint(50, 70, 70, 90, 2000);
    EXPECT_EQ(raw_height(), 1000.0f);
}

TEST_F(Height, SquareIsASecretOfTheMeasurement) {
    trk->curObj = box(100, 102, 120, 136, 0.9f, 2);
    const DET_OBJ_S before = trk->curObj;
    raw_height();
    EXPECT_TRUE(fix::same(trk->curObj, before));
}

TEST_F(Height, LearntFloorUnderTheBoxIsTheBase) {
    // cells are 60 x 32: the box (100, 102, 60, 68) has its scaled centre (65, 64) in column 1,
    // row 2, where the floor lies lower
    paint(60, 64, 120, 96, 3150);
    learn_floor();
    const int floor_mm = vca_depth_get_state()->depthMap[2][1];
    ASSERT_GT(floor_mm, 3000);
    ASSERT_EQ(vca_depth_get_state()->depthMap[2][0], 3000);
    trk->curObj = box(100, 102, 60, 68);
    paint(50, 48, 80, 80, 1300);
    EXPECT_EQ(raw_height(), static_cast<float>(floor_mm - 1300));
    // two pixels up the scaled centre is (65, 63): row 1
    trk->curObj = box(100, 100, 60, 68);
    paint(50, 47, 80, 79, 1300);
    EXPECT_EQ(raw_height(), 1700.0f);
}

TEST_F(Height, CellIndexIsCappedAtSeven) {
    paint(420, 224, 480, 256, 3150);
    learn_floor();
    const int floor_mm = vca_depth_get_state()->depthMap[7][7];
    ASSERT_GT(floor_mm, 3000);
    // centre far outside: row and column 7; the distance is refused, 1600
    trk->curObj = box(2000, 2000, 60, 68);
    fix::output_of([&] { EXPECT_EQ(raw_height(), static_cast<float>(floor_mm - 1600)); });
}

TEST_F(Height, UnlearntCellFallsBackToTheInstallationHeight) {
    fix::cfg().InstallHeight = 3333;
    trk->curObj = box(100, 102, 60, 68);
    paint(50, 48, 80, 80, 1400);
    EXPECT_EQ(raw_height(), 1933.0f);
}

TEST_F(Height, ZeroSizesGiveAnEmptyBox) {
    VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
    ctrl.img_size[VCA_SIZE_COLOUR] = {0, 0};
    trk->curObj = box(100, 102, 60, 68);
    fix::output_of([&] { EXPECT_EQ(raw_height(), 1400.0f); });
}

TEST_F(Height, BoxLinesFollowTheFirstSwitch) {
    fix::set_switch(fix::kSwVca, true);
    trk->curObj = box(100, 102, 120, 136, 0.9f, 2);
    EXPECT_THAT(print_height(), ElementsAre("log: Calc Obj=(100 102 120 136) height 000",
                                            "log: Calc Obj=(60 60 40 40) height 111"));
}

TEST_F(Height, MeasurementLineFollowsTheHeightSwitch) {
    fix::set_switch(fix::kSwHeight, true);
    trk->curObj = box(100, 102, 60, 68);
    paint(50, 48, 80, 80, 1300);
    const auto printed = print_height();
    ASSERT_EQ(printed.size(), 2u);  // the distance routine's own line comes first
    EXPECT_EQ(printed[1], "log: \n setHeight=3000 ins_grid_h=0 mean=1300.00 objHeight=1700.00");
}

// ---- Compensation ----

TEST_F(Height, CompensationByInstallationHeight) {
    // from 3900 to 6000: -40, 60 in the middle, 210, truncated toward zero
    const struct {
        int install, millimetres;
    } rows[] = {{0, 0},    {3000, 0},  {3899, 0},   {3900, -40}, {3920, -38}, {4425, 10},
                {4321, 0}, {4950, 60}, {5475, 135}, {5999, 209}, {6000, 210}, {7000, 210}};
    for (const auto& row : rows) {
        fix::cfg().InstallHeight = row.install;
        EXPECT_EQ(dev_obj_height_compen_by_install(), row.millimetres) << row.install;
    }
}

TEST_F(Height, CompensationLine) {
    fix::set_switch(fix::kSwHeight, true);
    const auto print = [](int install) {
        fix::cfg().InstallHeight = install;
        return fix::printed_by([] { dev_obj_height_compen_by_install(); });
    };
    EXPECT_THAT(print(3899), ElementsAre("log: Install=3899 0.50 Adapt=0 0 Compe=0"));
    EXPECT_THAT(print(3900), ElementsAre("log: Install=3900 0.00 Adapt=-40 210 Compe=-40"));
    EXPECT_THAT(print(4950), ElementsAre("log: Install=4950 0.50 Adapt=-40 210 Compe=60"));
    EXPECT_THAT(print(9000), ElementsAre("log: Install=6000 1.00 Adapt=-40 210 Compe=210"));
    fix::set_switch(fix::kSwHeight, false);
    EXPECT_THAT(print(4950), IsEmpty());
}

// ---- The whole local measurement ----

struct Person : Height {
    void SetUp() override {
        Height::SetUp();
        trk->curObj = box(100, 102, 60, 68);
        paint(50, 48, 80, 80, 1300);
    }
};

TEST_F(Person, SampleIsTheCompensatedHeight) {
    vca_check_person_info_local(trk.get(), 1);
    EXPECT_THAT(trk->heightSamples, ElementsAre(1700.0f));
    EXPECT_EQ(trk->height, 1700.0f);
    EXPECT_EQ(trk->curObj.height, 1700.0f);
    // at 4950 mm: 4950 - 3250 + 60
    const auto high = fix::new_track();
    high->curObj = trk->curObj;
    fix::cfg().InstallHeight = 4950;
    paint(50, 48, 80, 80, 3250);
    vca_check_person_info_local(high.get(), 1);
    EXPECT_THAT(high->heightSamples, ElementsAre(1760.0f));
    EXPECT_EQ(high->rawHeight, 1700.0f);
}

TEST_F(Person, SampleIsTruncatedToAnInteger) {
    // at 4 m the sorted samples 1 .. 4 are averaged; sorted: 2200, 2300, 2300, 2301 onwards
    fix::cfg().InstallHeight = 4000;
    paint(50, 48, 51, 49, 2200);
    paint(51, 48, 80, 80, 2301);
    paint(51, 48, 53, 49, 2300);
    paint(50, 49, 51, 80, 2301);
    const float raw = raw_height();
    ASSERT_EQ(raw, 1699.5f);  // 4000 - (2300 + 2300 + 2301 + 2301) / 4
    vca_check_person_info_local(trk.get(), 1);
    // compensation at 4000: -40 + 100 * 2 * 100 / 2100 = -30.48, truncated to -30
    EXPECT_THAT(trk->heightSamples, ElementsAre(1669.0f));
}

TEST_F(Person, SampleBelowTheLimitOnlyByItsFractionIsNotStored) {
    // one of four samples a millimetre nearer: 499.75 is cut off to 499
    fix::cfg().InstallHeight = 4000;
    paint(50, 48, 80, 80, 3471);  // 4000 - 3470.25 - 30 = 499.75
    paint(50, 48, 54, 49, 3470);
    ASSERT_EQ(raw_height(), 529.75f);
    fix::output_of([&] { vca_check_person_info_local(trk.get(), 1); });
    EXPECT_THAT(trk->heightSamples, IsEmpty());
    EXPECT_EQ(trk->height, 500.0f);
}

struct CadenceRow {
    int objects;
    int period;
};

TEST_F(Person, CadenceLengthensWithTheCrowd) {
    const CadenceRow rows[] = {{-5, 3}, {0, 3},  {7, 3},  {14, 3},  {15, 4},
                               {29, 4}, {30, 5}, {31, 5}, {5000, 5}};
    for (const CadenceRow& row : rows) {
        for (int age = 0; age <= 30; ++age) {
            const auto one = fix::new_track();
            one->curObj = trk->curObj;
            one->age = age;
            fix::output_of([&] { vca_check_person_info_local(one.get(), row.objects); });
            const bool measured = age < row.period || age % row.period == 0;
            ASSERT_EQ(one->heightSamples.size(), measured ? 1u : 0u)
                << row.objects << " objects, age " << age;
            ASSERT_EQ(one->height, measured ? 1700.0f : 0.0f);
        }
    }
}

TEST_F(Person, OffTheCadenceTheHeightStaysAndIsHandedOn) {
    trk->age = 4;
    trk->height = 1234.5f;
    trk->rawHeight = 77.0f;
    vca_check_person_info_local(trk.get(), 0);
    EXPECT_EQ(trk->height, 1234.5f);
    EXPECT_EQ(trk->rawHeight, 77.0f);
    EXPECT_EQ(trk->curObj.height, 1234.5f);
    EXPECT_THAT(trk->heightSamples, IsEmpty());
}

TEST_F(Person, HistoryShortensWithTheCrowd) {
    const struct {
        int objects;
        size_t length;
    } rows[] = {{0, 12}, {1, 11}, {7, 11}, {8, 10}, {15, 10}, {16, 9}, {29, 8}, {30, 8}, {99, 8}};
    for (const auto& row : rows) {
        const auto one = fix::new_track();
        one->curObj = trk->curObj;
        for (int i = 0; i < 20; ++i)
            vca_check_person_info_local(one.get(), row.objects);
        EXPECT_EQ(one->heightSamples.size(), row.length) << row.objects;
    }
}

TEST_F(Person, FlagIsKeptOffTheCadenceToo) {
    trk->age = 4;
    trk->height = 1000.0f;
    fix::cfg().TargetHeightMin = 1200;
    fix::output_of([&] { vca_check_person_info_local(trk.get(), 0); });
    EXPECT_EQ(trk->heightExceed, 1);
}

TEST_F(Person, LinesOfAMeasurement) {
    fix::set_switch(fix::kSwHeight, true);
    vca_check_person_info_local(trk.get(), 0);
    trk->age = 1;
    EXPECT_THAT(fix::printed_by([&] { vca_check_person_info_local(trk.get(), 0); }),
                ElementsAre("log: RatioH=0.25 Idx=(2 6) InsTimes=1.00",
                            "log: \n setHeight=3000 ins_grid_h=0 mean=1300.00 objHeight=1700.00",
                            "log: Install=3000 0.50 Adapt=0 0 Compe=0",
                            "log: CompenH=0 objHeight=1700.00", "log: $objHeight=1700.00",
                            testing::MatchesRegex("plain: Prev H: 1700.* 1700.* 2"),
                            testing::MatchesRegex("plain: Prev vTmpH: 1700.* 1700.* 2"),
                            testing::MatchesRegex("plain: \\$Obj-7 H = 1700.* ok-1")));
}

}  // namespace
