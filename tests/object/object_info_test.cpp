// The update of one track by its detection: copied fields, head box, foot point and foot box, the
// master's pass over merged objects.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

using fix::box;
using fix::rect;
using fix::Rect;
using testing::ElementsAre;
using testing::IsEmpty;

struct Info : testing::Test {
    std::unique_ptr<TRACKER_RSLT_S> trk = fix::new_track(0);
    std::unique_ptr<DET_OBJECTS_S> dets = std::make_unique<DET_OBJECTS_S>();

    void SetUp() override { fix::set_up_device(); }

    void update(const DET_OBJ_S& obj, bool cascade_pass = false, int32_t id = 5) {
        dets->num = 4;
        dets->objs[3] = obj;
        IOU_TRK_OBJ_S rec{};
        rec.id = id;
        rec.det_idx = 3;
        rec.x = rec.y = rec.w = rec.h = 7;  // the tracker's own box is not taken
        rec.class_id = 9;
        vca_set_track_obj_info(trk.get(), &rec, dets.get(), cascade_pass);
    }
};

// ---- Copied fields ----

TEST_F(Info, CurrentBoxTakesTheListedFieldsOnly) {
    DET_OBJ_S det = fix::patterned(1);
    det.score = 0.625f;
    det.class_id = VCA_CLASS_PERSON;
    update(det);
    DET_OBJ_S want{};
    want.aux0 = det.aux0;
    want.x = det.x;
    want.y = det.y;
    want.w = det.w;
    want.h = det.h;
    want.area = det.w * det.h;
    want.class_id = VCA_CLASS_PERSON;
    want.score = 0.625f;
    want.gender = VCA_GENDER_UNKNOWN;  // the track's own
    want.height = trk->height;         // the track's own, measured
    want.staff = 0;                    // the track's own
    EXPECT_TRUE(fix::same(trk->curObj, want));
}

// A list that claims more than it can hold: what lies behind it is no detection.
TEST_F(Info, DetectionsBehindTheListAreLeftAlone) {
    IOU_TRK_OBJ_S rec{};
    rec.id = 5;
    for (const int32_t num : {VCA_DET_MAX + 1, 1000, INT_MAX}) {
        dets->num = num;
        rec.det_idx = VCA_DET_MAX;
        vca_set_track_obj_info(trk.get(), &rec, dets.get(), false);
        EXPECT_EQ(trk->trackId, 0) << num;
        EXPECT_EQ(trk->age, 0) << num;
    }
    rec.det_idx = VCA_DET_MAX - 1;
    vca_set_track_obj_info(trk.get(), &rec, dets.get(), false);
    EXPECT_EQ(trk->trackId, 5);
}

TEST_F(Info, IdAgeAndLoss) {
    trk->lostCnt = 3;
    update(box(100, 100, 50, 50), false, 5);
    EXPECT_EQ(trk->trackId, 5);
    EXPECT_EQ(trk->age, 1);
    EXPECT_EQ(trk->lostCnt, 0);
    update(box(100, 100, 50, 50), false, -8);
    EXPECT_EQ(trk->trackId, -8);
    EXPECT_EQ(trk->age, 2);
}

TEST_F(Info, RawBoxIsAWholeCopyOfTheUnrefinedBox) {
    dets->raw_objs[3] = fix::patterned(9);
    update(box(100, 100, 50, 50));
    EXPECT_TRUE(fix::same(trk->rawObj, fix::patterned(9)));
    dets->raw_objs[3] = {};
    update(box(100, 100, 50, 50));
    EXPECT_TRUE(fix::same(trk->rawObj, DET_OBJ_S{}));
}

TEST_F(Info, StaffOfTheBoxIsTheTracks) {
    fix::cfg().StaffDetection = 1;
    trk->staffKeep = 1;
    update(box(100, 100, 50, 50));
    EXPECT_EQ(trk->curObj.staff, 1);
    DET_OBJ_S det = box(100, 100, 50, 50);
    det.staff = 1;
    trk->staffKeep = 0;
    update(det);
    EXPECT_EQ(trk->curObj.staff, 0);
    EXPECT_EQ(trk->staffKeep, 0);
}

TEST_F(Info, RecordOutsideTheListIsIgnored) {
    update(box(100, 100, 50, 50));
    const auto before = std::make_unique<TRACKER_RSLT_S>(*trk);
    for (const int index : {-1, 4, 127, 128, 5000, INT_MAX, INT_MIN}) {
        IOU_TRK_OBJ_S rec{};
        rec.id = 6;
        rec.det_idx = index;
        vca_set_track_obj_info(trk.get(), &rec, dets.get(), false);
        EXPECT_EQ(trk->trackId, before->trackId) << index;
        EXPECT_EQ(trk->age, before->age) << index;
        EXPECT_TRUE(fix::same(trk->curObj, before->curObj)) << index;
    }
}

// ---- Class promotion ----

TEST_F(Info, TallTracksArePromoted) {
    const struct {
        float height;
        uint8_t before, after;
    } rows[] = {{1499.0f, 2, 2}, {1500.0f, 2, 1}, {1501.0f, 2, 1},
                {0.0f, 2, 2},    {1700.0f, 7, 1}, {1400.0f, 7, 7}};
    for (const auto& row : rows) {
        trk = fix::new_track();
        trk->age = 4;  // off the cadence: the height stays
        trk->height = row.height;
        update(box(100, 100, 50, 50, 0.9f, row.before));
        EXPECT_EQ(trk->curObj.class_id, row.after) << row.height;
        EXPECT_EQ(trk->headBox.class_id, row.after);
        EXPECT_EQ(trk->footBox.class_id, row.after);
    }
}

TEST_F(Info, SmallTargetThatMeasuredTallIsAnAdultOnItsNextUpdate) {
    auto& depth = fix::depth_image();
    depth.assign(depth.size(), 1400);  // 1600 mm over the floor
    update(box(100, 100, 50, 50, 0.9f, 2));
    EXPECT_EQ(trk->curObj.class_id, 2);
    EXPECT_EQ(trk->height, 1500.0f);
    update(box(100, 100, 50, 50, 0.9f, 2));
    EXPECT_EQ(trk->curObj.class_id, 1);
    EXPECT_EQ(trk->height, 1600.0f);
}

// ---- Clamp of the upper left corner ----

TEST_F(Info, NegativeCornersAreClampedExceptOnTheMastersMergedPass) {
    const struct {
        int mode;
        bool cascade_pass;
        Rect want;
    } rows[] = {{0, false, {0, 0, 50, 60}},    {0, true, {0, 0, 50, 60}},
                {1, false, {0, 0, 50, 60}},    {1, true, {-12, -9, 50, 60}},
                {2, false, {0, 0, 50, 60}},    {2, true, {0, 0, 50, 60}},
                {3, false, {-12, -9, 50, 60}}, {-1, false, {-12, -9, 50, 60}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << ' ' << row.cascade_pass);
        fix::cfg().devWorkMode = row.mode;
        trk = fix::new_track();
        fix::output_of([&] { update(box(-12, -9, 50, 60), row.cascade_pass); });
        EXPECT_EQ(rect(trk->curObj), row.want);
        EXPECT_EQ(trk->curObj.area, 3000);
    }
}

// ---- Head box ----

TEST_F(Info, HeadBoxSlidesInProportionToThePosition) {
    const struct {
        DET_OBJ_S body;
        Rect head;
    } rows[] = {
        // narrow and low: the box itself
        {box(300, 200, 30, 30), {300, 200, 30, 30}},
        {box(300, 200, 40, 35), {300, 200, 40, 35}},
        // past the middle the far edge counts: trunc(60 * 700 / 960) = 43
        {box(600, 200, 100, 30), {643, 200, 40, 30}},
        // before it the near edge: trunc(60 * 300 / 960) = 18
        {box(300, 200, 100, 30), {318, 200, 40, 30}},
        // centre 479 and 480: trunc(60 * 429 / 960) = 26, trunc(60 * 530 / 960) = 33
        {box(429, 200, 100, 30), {455, 200, 40, 30}},
        {box(430, 200, 100, 30), {463, 200, 40, 30}},
        // rows: trunc(65 * 100 / 544) = 11, trunc(65 * 500 / 544) = 59
        {box(300, 100, 40, 100), {300, 111, 40, 35}},
        {box(300, 400, 40, 100), {300, 459, 40, 35}},
        // centre 271 and 272: trunc(65 * 221 / 544) = 26, trunc(65 * 322 / 544) = 38
        {box(300, 221, 40, 100), {300, 247, 40, 35}},
        {box(300, 222, 40, 100), {300, 260, 40, 35}},
        // one pixel over the limits: trunc(1 * 301 / 960) = 0 and so on
        {box(300, 200, 41, 36), {300, 200, 40, 35}},
        {box(900, 500, 41, 36), {900, 500, 40, 35}},  // trunc(941 / 960), trunc(536 / 544)
        {box(920, 508, 41, 37), {921, 510, 40, 35}},  // trunc(961 / 960), trunc(2 * 545 / 544)
    };
    for (const auto& row : rows) {
        trk = fix::new_track();
        fix::output_of([&] { update(row.body); });
        EXPECT_EQ(rect(trk->headBox), row.head) << testing::PrintToString(rect(row.body));
        EXPECT_EQ(trk->headBox.area, row.head[2] * row.head[3]);
    }
}

// ---- Foot point and foot box ----

// The sums that it stands for, at every place of the 960 x 544 image.
TEST_F(Info, HeadBoxAtEveryPosition) {
    const auto slid = [](int start, int length, int head, int image) {
        const int reference = start + length / 2 < image / 2 ? start : start + length;
        const float ratio = static_cast<float>(reference) / static_cast<float>(image);
        return start + static_cast<int>(static_cast<float>(length - head) * ratio);
    };
    for (const int size : {41, 90, 300, 500}) {
        for (int x = 0; x + size <= 960; ++x) {
            const int y = std::min(x, 544 - size);
            fix::output_of([&] { update(box(x, y, size, size)); });
            ASSERT_EQ(trk->headBox.x, slid(x, size, 40, 960)) << x << ' ' << size;
            ASSERT_EQ(trk->headBox.y, slid(y, size, 35, 544)) << y << ' ' << size;
        }
    }
}

TEST_F(Info, FootPointUndoesThePerspective) {
    const struct {
        float height;
        int cx, cy;
        int foot_x, foot_y;
    } rows[] = {
        {1500, 680, 372, 580, 322},  // half of the way to the image centre
        {1500, 280, 172, 380, 222},
        {1500, 480, 272, 480, 272},  // under the camera the height does not matter
        {600, 480, 272, 480, 272},
        {3000, 680, 372, 480, 272},  // as tall as the camera
        {750, 681, 375, 630, 349},   // 480 + 0.75 * 201 = 630.75, 272 + 0.75 * 103 = 349.25
        {750, 279, 169, 329, 194},   // 480 - 150.75 = 329.25, 272 - 77.25 = 194.75
    };
    for (const auto& row : rows) {
        trk = fix::new_track();
        trk->age = 4;  // off the cadence: the height stays
        trk->height = row.height;
        fix::output_of([&] { update(fix::centred(row.cx, row.cy)); });
        EXPECT_EQ(trk->footX, row.foot_x) << row.height << ' ' << row.cx;
        EXPECT_EQ(trk->footY, row.foot_y) << row.height << ' ' << row.cy;
        // 78 pixels at 3 m
        EXPECT_EQ(rect(trk->footBox), Rect({row.foot_x - 39, row.foot_y - 39, 78, 78}));
        EXPECT_EQ(trk->footBox.area, 78 * 78);
    }
}

TEST_F(Info, FootPointWithoutInstallationHeightSaturates) {
    fix::cfg().InstallHeight = 0;
    trk->age = 4;
    trk->height = 1500;
    // the ratio is infinite: 480 - inf * 200 and 272 - inf * 100
    fix::output_of([&] { update(fix::centred(680, 372)); });
    EXPECT_EQ(trk->footX, INT_MIN);
    EXPECT_EQ(trk->footY, INT_MIN);
    // inf * 0 is NaN, as an integer 0
    trk->age = 4;
    fix::output_of([&] { update(fix::centred(480, 272)); });
    EXPECT_EQ(trk->footX, 0);
    EXPECT_EQ(trk->footY, 0);
}

TEST_F(Info, FootBoxSideFollowsTheInstallationHeight) {
    const struct { int install, side; } rows[] = {{2000, 90}, {4000, 65}, {6000, 40}};
    for (const auto& row : rows) {
        fix::cfg().InstallHeight = row.install;
        trk = fix::new_track();
        fix::output_of([&] { update(fix::centred(480, 272)); });
        EXPECT_EQ(rect(trk->footBox),
                  Rect({480 - row.side / 2, 272 - row.side / 2, row.side, row.side}));
    }
}

TEST_F(Info, AuxiliaryBoxesCarryTheDescriptiveFields) {
    fix::cfg().StaffDetection = 1;
    DET_OBJ_S det = fix::patterned(1);
    trk->staffKeep = 1;
    update(det);
    for (const DET_OBJ_S* aux : {&trk->headBox, &trk->footBox}) {
        EXPECT_EQ(aux->class_id, trk->curObj.class_id);
        EXPECT_EQ(aux->aux0, det.aux0);
        EXPECT_EQ(aux->score, det.score);
        EXPECT_EQ(aux->gender, 0);
        EXPECT_EQ(aux->height, trk->height);
        EXPECT_EQ(aux->staff, 1);
        EXPECT_EQ(aux->reserved0, 0u);
        EXPECT_EQ(aux->reserved1, 0u);
        EXPECT_EQ(aux->reserved3, 0u);
    }
}

TEST_F(Info, FootUsesTheHeightMeasuredInTheSameUpdate) {
    auto& depth = fix::depth_image();
    depth.assign(depth.size(), 1500);
    update(fix::centred(680, 372));
    EXPECT_EQ(trk->height, 1500.0f);
    EXPECT_EQ(trk->footX, 580);
}

// ---- Position box ----

TEST_F(Info, PositionBoxByWorkModeAndSetting) {
    const struct {
        int mode, setting;
        int which;  // 0 curObj, 1 headBox, 2 footBox
    } rows[] = {{0, 0, 0}, {0, 1, 1}, {0, 2, 2}, {0, 3, 0}, {0, -1, 0},
                {1, 1, 0}, {1, 2, 0}, {2, 1, 0}, {2, 2, 0}};
    for (const auto& row : rows) {
        fix::cfg().devWorkMode = row.mode;
        fix::cfg().StandAloneTrkMd = row.setting;
        const DET_OBJ_S* boxes[] = {&trk->curObj, &trk->headBox, &trk->footBox};
        EXPECT_EQ(vca_trk_obj_get_position_box(trk.get()), boxes[row.which])
            << row.mode << ' ' << row.setting;
    }
}

// ---- The master's pass over merged objects ----

struct Merged : Info {
    void SetUp() override {
        Info::SetUp();
        fix::cfg().devWorkMode = VCA_WORK_MASTER;
    }
};

TEST_F(Merged, BoxesAreCopiesAndTheFootPointIsTheCentre) {
    DET_OBJ_S det = box(-30, 40, 51, 61, 0.75f);
    det.height = 1650;
    det.aux0 = 3;
    update(det, true);
    EXPECT_TRUE(fix::same(trk->headBox, trk->curObj));
    EXPECT_TRUE(fix::same(trk->footBox, trk->curObj));
    EXPECT_EQ(rect(trk->curObj), Rect({-30, 40, 51, 61}));
    EXPECT_EQ(trk->footX, -5);
    EXPECT_EQ(trk->footY, 70);
}

TEST_F(Merged, HeightIsTheSlavesAndIsNotMeasured) {
    DET_OBJ_S det = box(100, 100, 50, 50);
    det.height = 1650.5f;
    trk->height = 900;
    update(det, true);
    EXPECT_EQ(trk->height, 1650.5f);
    EXPECT_EQ(trk->curObj.height, 1650.5f);
    EXPECT_THAT(trk->heightSamples, IsEmpty());
}

TEST_F(Merged, RangeFlagIsKept) {
    DET_OBJ_S det = box(100, 100, 50, 50);
    det.height = 300;
    trk->age = 2;
    EXPECT_THAT(fix::printed_by([&] { update(det, true); }),
                ElementsAre("plain: ===Obj[5] H=300.00 exceed=(500 2500) ! "));
    EXPECT_EQ(trk->heightExceed, 1);
}

TEST_F(Merged, StaffSticksOnceEitherSaysStaff) {
    const struct {
        int kept, sent;
        int kept_after, box_after;
    } rows[] = {{0, 0, 0, 0}, {0, 1, 1, 1}, {1, 0, 1, 1}, {1, 1, 1, 1},
                {0, 2, 2, 2}, {2, 0, 0, 0}, {1, 2, 1, 1}};
    for (const auto& row : rows) {
        DET_OBJ_S det = box(100, 100, 50, 50);
        det.staff = row.sent;
        trk->staffKeep = row.kept;
        update(det, true);
        EXPECT_EQ(trk->staffKeep, row.kept_after) << row.kept << ' ' << row.sent;
        EXPECT_EQ(trk->curObj.staff, row.box_after) << row.kept << ' ' << row.sent;
        EXPECT_EQ(trk->headBox.staff, row.box_after);
    }
}

TEST_F(Merged, GenderIsKeptFromTheLastKnown) {
    const struct {
        int kept, sent;
        int kept_after, box_after;
    } rows[] = {{0, 0, 0, 0}, {0, 1, 1, 1}, {1, 2, 2, 2}, {2, 0, 2, 2},
                {1, 3, 1, 1}, {0, 3, 0, 3}, {3, 0, 3, 0}, {2, -1, 2, 2}};
    for (const auto& row : rows) {
        DET_OBJ_S det = box(100, 100, 50, 50);
        det.gender = row.sent;
        trk->genderKeep = row.kept;
        update(det, true);
        EXPECT_EQ(trk->genderKeep, row.kept_after) << row.kept << ' ' << row.sent;
        EXPECT_EQ(trk->curObj.gender, row.box_after) << row.kept << ' ' << row.sent;
        EXPECT_EQ(trk->footBox.gender, row.box_after);
    }
}

TEST_F(Merged, PromotionAlsoHappens) {
    trk->height = 1500;
    update(box(100, 100, 50, 50, 0.9f, 2), true);
    EXPECT_EQ(trk->curObj.class_id, 1);
}

// ---- Lines ----

TEST_F(Info, TimingLinesOnEveryTwelfthAgeAndFrame) {
    fix::set_switch(fix::kSwInfo, true);
    test::host().use_clock(1'000'000);
    trk->age = 12;
    vca_feed_frm_cnt_set(24);
    const auto printed = fix::printed_by([&] { update(box(100, 101, 50, 51, 0.75f)); });
    EXPECT_THAT(printed, ElementsAre("log: track_obj_info 000=0", "log: attribution_local 000=0",
                                     "log: attribution_local 111=0", "log: attribution_local 222=0",
                                     "log: track_obj_info 111=0", "log: track_obj_info 333=0",
                                     "plain: $[5]=100 101 50 51 0.75"));
    // the two cadences are apart: one looks at the age, the other at the frame
    trk->age = 13;
    EXPECT_THAT(fix::printed_by([&] { update(box(100, 101, 50, 51)); }),
                ElementsAre("log: attribution_local 000=0", "log: attribution_local 111=0",
                            "log: attribution_local 222=0"));
    trk->age = 24;
    vca_feed_frm_cnt_set(25);
    EXPECT_EQ(fix::printed_by([&] { update(box(100, 101, 50, 51)); }).size(), 4u);
    trk->age = 25;
    EXPECT_THAT(fix::printed_by([&] { update(box(100, 101, 50, 51)); }), IsEmpty());
    fix::set_switch(fix::kSwInfo, false);
    trk->age = 24;
    vca_feed_frm_cnt_set(24);
    EXPECT_THAT(fix::printed_by([&] { update(box(100, 101, 50, 51)); }), IsEmpty());
}

TEST_F(Merged, TimingLinesWithoutTheLocalMeasurement) {
    fix::set_switch(fix::kSwInfo, true);
    test::host().use_clock(1'000'000);
    DET_OBJ_S det = box(100, 101, 50, 51, 0.75f);
    det.height = 1700;
    EXPECT_THAT(fix::printed_by([&] { update(det, true); }),
                ElementsAre("log: track_obj_info 000=0", "log: track_obj_info 111=0",
                            "log: track_obj_info 333=0", "plain: $[5]=100 101 50 51 0.75"));
}

}  // namespace
