// The tracking pass: birth, update, loss and removal of records, and the messages and settlements
// that go with them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

using fix::centred;
using fix::message_of;
using fix::Scene;
using fix::take_messages;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kBorn = 6087;
constexpr int kRemoved = 6088;

struct Tracking : testing::Test {
    void SetUp() override { fix::set_up_device(); }

    // Passes without any report until the list is empty; the number of passes it took.
    static int passes_until_empty(Scene& scene) {
        int passes = 0;
        while (!scene.list.empty() && passes < 20) {
            scene.pass({});
            ++passes;
        }
        return passes;
    }
};

TEST_F(Tracking, NewTargetBecomesARecord) {
    Scene scene;
    vca_feed_frm_cnt_set(77);
    scene.pass({{5, centred(300, 200, 60, 60)}});
    ASSERT_THAT(scene.list, SizeIs(1));
    const TRACKER_RSLT_S& trk = scene.list[0];
    EXPECT_EQ(trk.trackId, 5);
    EXPECT_EQ(trk.age, 1);
    EXPECT_EQ(trk.lostCnt, 0);
    EXPECT_EQ(trk.contCnt, 1);
    EXPECT_EQ(trk.trkFrames, 1);
    EXPECT_EQ(trk.lastFrm, 77u);
    EXPECT_EQ(trk.updSeq, 1u);
    EXPECT_EQ(trk.speed, 0.0f);
    EXPECT_EQ(fix::rect(trk.curObj), fix::rect(centred(300, 200, 60, 60)));
    EXPECT_TRUE(fix::same(trk.evtBirth, trk.curObj));
    for (const auto& line : trk.segPrev)
        for (const DET_OBJ_S& obj : line)
            EXPECT_TRUE(fix::same(obj, trk.evtBirth));
}

TEST_F(Tracking, ReturnsZeroAndKeepsTheDetections) {
    Scene scene;
    scene.detections->objects.num = 1;
    scene.detections->objects.objs[0] = centred(300, 200);
    test::host().push_tracker_result(0, IOU_TRK_RSLT_S{});
    const auto before = std::make_unique<VCA_NN_RESULT_S>(*scene.detections);
    EXPECT_EQ(vca_obj_proc_tracking(scene.detections.get(), scene.list, 0, false), 0);
    EXPECT_TRUE(fix::same(*scene.detections, *before));
    EXPECT_THAT(scene.list, IsEmpty());
}

TEST_F(Tracking, MergedPassHandsBoxesOverUnscaled) {
    Scene local;
    local.pass({{1, centred(300, 200, 100, 100)}});
    EXPECT_EQ(test::host().added_objects(0)[0].w, 129);  // 29 % at 3 m (ratio 0.25)
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    Scene merged(true);
    merged.pass({{1, centred(300, 200, 100, 100)}});
    EXPECT_EQ(test::host().added_objects(1)[0].w, 100);
}

TEST_F(Tracking, CropImageIsCreatedOnTheLocalPassOnly) {
    Scene local;
    local.pass({{1, centred(300, 200)}});
    EXPECT_EQ(test::host().count_calls("vca_create_image(2,224,224)"), 1);
    EXPECT_NE(local.list[0].attrImg.host_handle, 0u);
    local.pass({{1, centred(301, 200)}});
    EXPECT_EQ(test::host().images_created(), 1);
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    Scene merged(true);
    merged.pass({{1, centred(300, 200)}});
    EXPECT_EQ(test::host().images_created(), 1);
    EXPECT_TRUE(fix::same(merged.list[0].attrImg, VCA_IMAGE_S{}));
}

TEST_F(Tracking, FailedImageCreationLeavesTheTrackAlive) {
    test::host().image_fails = [](int) { return true; };
    Scene scene;
    scene.pass({{1, centred(300, 200)}});
    EXPECT_THAT(scene.list, SizeIs(1));
    EXPECT_EQ(passes_until_empty(scene), 5);
    EXPECT_EQ(test::host().zero_images_destroyed(), 1);
    EXPECT_THAT(test::host().errors(), IsEmpty());
}

TEST_F(Tracking, TwoReportsOfOneIdUpdateTheRecordTwice) {
    Scene scene;
    scene.pass({{1, centred(300, 200)}, {1, centred(310, 200)}});
    ASSERT_THAT(scene.list, SizeIs(1));
    EXPECT_EQ(scene.list[0].age, 2);
    EXPECT_EQ(fix::centre(scene.list[0].curObj).x, 310);
    EXPECT_EQ(scene.list[0].trkFrames, 1);
}

TEST_F(Tracking, RecordsKeepTheOrderOfTheirBirth) {
    Scene scene;
    scene.pass({{9, centred(300, 200)}, {3, centred(500, 200)}});
    scene.pass({{3, centred(501, 200)}, {4, centred(700, 200)}, {9, centred(301, 200)}});
    ASSERT_THAT(scene.list, SizeIs(3));
    EXPECT_EQ(scene.list[0].trackId, 9);
    EXPECT_EQ(scene.list[1].trackId, 3);
    EXPECT_EQ(scene.list[2].trackId, 4);
    EXPECT_EQ(fix::centre(scene.list[0].curObj).x, 301);
    EXPECT_EQ(fix::centre(scene.list[1].curObj).x, 501);
}

TEST_F(Tracking, TargetSeenOnceIsRemovedOnTheFifthFollowingPass) {
    fix::cfg().ShowHistoryBox = 1;
    Scene scene;
    scene.pass({{6, centred(300, 200)}});
    const TRK_SHOW_MSG_S shown{6, 300, 200, scene.list[0].footX, scene.list[0].footY};
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kBorn, shown)));
    for (int lost = 1; lost <= 4; ++lost) {
        scene.pass({});
        ASSERT_THAT(scene.list, SizeIs(1));
        EXPECT_EQ(scene.list[0].lostCnt, lost);
        EXPECT_EQ(scene.list[0].contCnt, 0);
        EXPECT_THAT(take_messages(), IsEmpty());
    }
    scene.pass({});
    EXPECT_THAT(scene.list, IsEmpty());
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kRemoved, shown)));
    EXPECT_EQ(test::host().images_destroyed(), 1);
}

TEST_F(Tracking, ReportAfterFourLostPassesSavesTheRecord) {
    Scene scene;
    scene.pass({{1, centred(300, 200)}});
    for (int i = 0; i < 4; ++i)
        scene.pass({});
    scene.pass({{1, centred(305, 200)}});
    ASSERT_THAT(scene.list, SizeIs(1));
    EXPECT_EQ(scene.list[0].lostCnt, 0);
    EXPECT_EQ(scene.list[0].age, 2);
    EXPECT_EQ(scene.list[0].contCnt, 1);
    EXPECT_EQ(scene.list[0].trkFrames, 6);
    EXPECT_EQ(passes_until_empty(scene), 5);
}

TEST_F(Tracking, NeighbourOfARemovedRecordIsNotSkipped) {
    Scene scene;
    scene.pass({{1, centred(100, 200)}, {2, centred(300, 200)}, {3, centred(500, 200)}});
    for (int i = 0; i < 5; ++i)
        scene.pass({{3, centred(500 + i, 200)}});
    ASSERT_THAT(scene.list, SizeIs(1));
    EXPECT_EQ(scene.list[0].trackId, 3);
    EXPECT_EQ(scene.list[0].trkFrames, 6);
    EXPECT_EQ(scene.list[0].contCnt, 6);
    EXPECT_EQ(test::host().images_destroyed(), 2);
}

TEST_F(Tracking, PassCounterRunsOverAllRecordsModuloTenThousand) {
    Scene scene;
    // two records a pass: 9998 steps of the counter
    for (int i = 0; i < 4999; ++i)
        scene.pass({{1, centred(300, 200)}, {2, centred(600, 200)}});
    EXPECT_EQ(scene.track(1).updSeq, 9997u);
    EXPECT_EQ(scene.track(2).updSeq, 9998u);
    scene.pass({{1, centred(300, 200)}, {2, centred(600, 200)}});
    EXPECT_EQ(scene.track(1).updSeq, 9999u);
    EXPECT_EQ(scene.track(2).updSeq, 0u);
    EXPECT_EQ(scene.track(1).trkFrames, 5000);
}

TEST_F(Tracking, LostRecordsAlsoStepThePassCounter) {
    Scene scene;
    scene.pass({{1, centred(300, 200)}});
    scene.pass({});
    EXPECT_EQ(scene.list[0].updSeq, 2u);
    EXPECT_EQ(scene.list[0].trkFrames, 2);
    EXPECT_EQ(scene.list[0].lastFrm, 1u);
}

TEST_F(Tracking, CrossDistanceIsAThirdOfTheMeanSide) {
    // (w + h) / 2 in integers, times 0.5, times 0.6666667, truncated
    const struct {
        int w, h, dist;
    } rows[] = {{40, 40, 13}, {40, 41, 13},  {60, 60, 20},   {90, 91, 30},    {3, 3, 1},
                {2, 3, 0},    {100, 33, 22}, {299, 299, 99}, {300, 300, 100}, {900, 500, 233}};
    for (const auto& row : rows) {
        Scene scene;
        scene.pass({{1, centred(480, 270, row.w, row.h)}});
        EXPECT_EQ(scene.list[0].crossDist, row.dist) << row.w << 'x' << row.h;
    }
}

TEST_F(Tracking, CrossDistanceStaysWhileLost) {
    Scene scene;
    scene.pass({{1, centred(480, 270, 60, 60)}});
    scene.list[0].crossDist = 999;
    scene.pass({});
    EXPECT_EQ(scene.list[0].crossDist, 999);
    scene.pass({{1, centred(480, 270, 60, 60)}});
    EXPECT_EQ(scene.list[0].crossDist, 20);
}

TEST_F(Tracking, DetectionIndexOutsideTheListIsIgnored) {
    Scene scene;
    scene.pass({{1, centred(300, 200)}});
    scene.detections->objects.num = 1;
    for (const int index : {-1, 1, 128, 5000, INT_MAX, INT_MIN}) {
        IOU_TRK_RSLT_S result{};
        result.num = 1;
        result.objs[0].id = 1;
        result.objs[0].det_idx = index;
        const int age = scene.list.empty() ? 0 : scene.list[0].age;
        test::host().push_tracker_result(0, result);
        vca_obj_proc_tracking(scene.detections.get(), scene.list, 0, false);
        if (!scene.list.empty()) {
            EXPECT_EQ(scene.list[0].age, age) << index;
        }
        ASSERT_LE(scene.list.size(), 1u);
    }
    // lost five times by now, and the sixth report made no record of its own
    EXPECT_THAT(scene.list, IsEmpty());
}

TEST_F(Tracking, NumberOfTargetsIsBroughtIntoRange) {
    Scene scene;
    scene.detections->objects.num = 1;
    scene.detections->objects.objs[0] = centred(300, 200);
    IOU_TRK_RSLT_S result{};
    for (int i = 0; i < VCA_TRK_MAX; ++i)
        result.objs[i].id = i;
    for (const int num : {-1, INT_MIN}) {
        result.num = num;
        test::host().push_tracker_result(0, result);
        vca_obj_proc_tracking(scene.detections.get(), scene.list, 0, false);
        EXPECT_THAT(scene.list, IsEmpty());
    }
    for (const int num : {101, 5000, INT_MAX}) {
        result.num = num;
        test::host().push_tracker_result(0, result);
        vca_obj_proc_tracking(scene.detections.get(), scene.list, 0, false);
        EXPECT_THAT(scene.list, SizeIs(100));
    }
}

// ---- Messages 6087 and 6088 by work mode ----

struct ModeRow {
    int mode;
    bool merged;
    bool events;  // an event-stage pass
};

class TrackingModes : public testing::TestWithParam<ModeRow> {
  protected:
    void SetUp() override {
        fix::set_up_device();
        fix::cfg().devWorkMode = GetParam().mode;
    }
};

TEST_P(TrackingModes, HistoryIsSentOnEventStagePasses) {
    fix::cfg().ShowHistoryBox = 1;
    Scene scene(GetParam().merged);
    scene.pass({{6, centred(300, 200)}});
    const bool master = GetParam().mode == 1;
    const TRACKER_RSLT_S& trk = scene.list[0];
    const TRK_SHOW_MSG_S want{6, master ? 0 : 300, master ? 0 : 200, trk.footX, trk.footY};
    for (int i = 0; i < 5; ++i)
        scene.pass({});
    EXPECT_THAT(scene.list, IsEmpty());
    if (GetParam().events)
        EXPECT_THAT(take_messages(),
                    ElementsAre(message_of(kBorn, want), message_of(kRemoved, want)));
    else
        EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_P(TrackingModes, NoHistoryWithoutTheSetting) {
    Scene scene(GetParam().merged);
    scene.pass({{6, centred(300, 200)}});
    for (int i = 0; i < 5; ++i)
        scene.pass({});
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_P(TrackingModes, CrossingsAreSettledOnEventStagePasses) {
    fix::cfg().LineEn[2] = 1;
    Scene scene(GetParam().merged);
    scene.pass({{6, centred(300, 200)}});
    scene.list[0].nearSide[2] = 7;
    fix::output_of([&] {
        for (int i = 0; i < 5; ++i)
            scene.pass({});
    });
    EXPECT_THAT(*vca_dev_get_counting_results(), SizeIs(GetParam().events ? 1 : 0));
    EXPECT_EQ(test::host().images_destroyed() + test::host().zero_images_destroyed(), 1);
}

INSTANTIATE_TEST_SUITE_P(All, TrackingModes,
                         testing::Values(ModeRow{0, false, true}, ModeRow{0, true, true},
                                         ModeRow{1, false, false}, ModeRow{1, true, true},
                                         ModeRow{2, false, false}, ModeRow{2, true, false}));

// ---- Crossings settled at removal ----

struct SettleRow {
    int near_side;
    bool flip;
    int last_state;
    int direction;  // 0: not counted
};

const SettleRow kSettleRows[] = {
    {7, false, 0, 1}, {7, false, 2, 1}, {7, false, 1, 0}, {7, true, 0, 2},  {7, true, 2, 0},
    {7, true, 1, 2},  {5, false, 0, 2}, {5, false, 1, 2}, {5, false, 2, 0}, {5, true, 0, 1},
    {5, true, 1, 0},  {5, true, 2, 1},  {0, false, 0, 0}, {6, false, 0, 0}, {-7, false, 0, 0},
};

TEST_F(Tracking, RecordJustPastALineIsCountedWhenItDisappears) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    cfg.LineEn[1] = 1;
    for (const SettleRow& row : kSettleRows) {
        SCOPED_TRACE(testing::Message() << "side " << row.near_side << " flip " << row.flip
                                        << " last " << row.last_state);
        cfg.line[1].Flip = row.flip;
        Scene scene;
        scene.pass({{6, centred(300, 200)}});
        scene.list[0].nearSide[1] = row.near_side;
        scene.list[0].LastState[1] = row.last_state;
        for (int i = 0; i < 4; ++i)
            scene.pass({});
        const auto printed = fix::printed_by([&] { scene.pass({}); });
        ASSERT_THAT(scene.list, IsEmpty());
        const auto& results = *vca_dev_get_counting_results();
        if (row.direction == VCA_DIR_NONE) {
            EXPECT_THAT(results, IsEmpty());
            EXPECT_THAT(printed, IsEmpty());
        } else {
            ASSERT_THAT(results, SizeIs(1));
            EXPECT_EQ(results[0].id, 6);
            EXPECT_EQ(results[0].line, 1);
            EXPECT_EQ(results[0].cross, row.direction);
            ASSERT_THAT(printed, SizeIs(2));
            EXPECT_TRUE(printed[0].starts_with("plain: $Frm["));
            EXPECT_EQ(printed[1],
                      "log: attempt to disappear line[1]=" + std::to_string(row.direction));
        }
        fix::output_of([] { vca_event_counting_refresh_line_result(); });
    }
}

TEST_F(Tracking, EveryEnabledLineIsSettledInOrder) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    cfg.LineEn[0] = cfg.LineEn[1] = cfg.LineEn[3] = 1;  // line 2 is off
    Scene scene;
    scene.pass({{6, centred(300, 200)}});
    for (int& side : scene.list[0].nearSide)
        side = 5;
    const auto printed = fix::printed_by([&] {
        for (int i = 0; i < 5; ++i)
            scene.pass({});
    });
    const auto& results = *vca_dev_get_counting_results();
    ASSERT_THAT(results, SizeIs(3));
    EXPECT_EQ(results[0].line, 0);
    EXPECT_EQ(results[1].line, 1);
    EXPECT_EQ(results[2].line, 3);
    EXPECT_THAT(printed, testing::Contains("log: attempt to disappear line[3]=2"));
}

TEST_F(Tracking, UturnLinesAreSettledByTheirTally) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    cfg.LineEn[0] = cfg.UturnEn[0] = 1;
    Scene scene;
    scene.pass({{6, centred(300, 200)}, {7, centred(600, 200)}});
    for (TRACKER_RSLT_S& trk : scene.list) {
        trk.nearSide[0] = 7;  // must not matter on a U-turn line
        trk.IsCrossed[0] = 1;
        trk.LastState[0] = 2;
    }
    scene.track(6).CrossCnt[0] = 1;
    scene.track(7).CrossCnt[0] = 2;
    fix::output_of([&] {
        for (int i = 0; i < 5; ++i)
            scene.pass({});
    });
    const auto& results = *vca_dev_get_counting_results();
    ASSERT_THAT(results, SizeIs(1));
    EXPECT_EQ(results[0].id, 6);
    EXPECT_EQ(results[0].cross, 2);
}

TEST_F(Tracking, TallyDoesNotMatterWithTheFilterOff) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    cfg.LineEn[0] = cfg.UturnEn[0] = 1;
    cfg.UturnFilter = 0;
    Scene scene;
    scene.pass({{6, centred(300, 200)}});
    scene.list[0].IsCrossed[0] = 1;
    scene.list[0].CrossCnt[0] = 1;
    scene.list[0].LastState[0] = 2;
    scene.list[0].nearSide[0] = 7;
    fix::output_of([&] {
        for (int i = 0; i < 5; ++i)
            scene.pass({});
    });
    const auto& results = *vca_dev_get_counting_results();
    ASSERT_THAT(results, SizeIs(1));
    EXPECT_EQ(results[0].cross, 1);
}

// ---- Timing lines ----

TEST_F(Tracking, TimingLinesOnEveryTwelfthFrame) {
    fix::set_switch(fix::kSwTrack, true);
    test::host().use_clock(1'000'000);
    test::host().on_update = [](int, const auto&) {
        test::host().advance_clock(7000);
        return IOU_TRK_RSLT_S{};
    };
    Scene scene;
    const auto run = [&] { vca_obj_proc_tracking(scene.detections.get(), scene.list, 0, false); };
    vca_feed_frm_cnt_set(24);
    // an empty list ends the pass before the last line
    EXPECT_THAT(fix::printed_by(run), ElementsAre("log: ==TrkT: obj_trk_init=0",
                                                  "log: --TrkT: obj_trk_run Num=0_updateTm=7",
                                                  "log: --TrkT: obj_trk_info=7"));
    scene.list.resize(1);
    EXPECT_THAT(
        fix::printed_by(run),
        ElementsAre("log: ==TrkT: obj_trk_init=0", "log: --TrkT: obj_trk_run Num=0_updateTm=7",
                    "log: --TrkT: obj_trk_info=7", "log: --TrkT: obj_trk_end=7"));
    vca_feed_frm_cnt_set(-12);
    EXPECT_THAT(fix::printed_by(run), SizeIs(4));
    for (const int frame : {1, 11, 13, 25, -1}) {
        vca_feed_frm_cnt_set(frame);
        EXPECT_THAT(fix::printed_by(run), IsEmpty()) << frame;
    }
    vca_feed_frm_cnt_set(24);
    fix::set_switch(fix::kSwTrack, false);
    EXPECT_THAT(fix::printed_by(run), IsEmpty());
}

}  // namespace
