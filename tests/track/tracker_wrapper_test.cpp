// The wrapper around the host's tracker: start and stop, enlargement and hand-over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

using fix::box;
using fix::Rect;
using testing::ElementsAre;
using testing::IsEmpty;

struct Wrapper : testing::Test {
    std::unique_ptr<DET_OBJECTS_S> dets = std::make_unique<DET_OBJECTS_S>();

    void SetUp() override { fix::set_up_device(); }

    // The box that reaches the tracker for one detection.
    Rect handed_over(const DET_OBJ_S& obj, float ratio, bool no_scale = false) {
        dets->num = 1;
        dets->objs[0] = obj;
        vca_trker_run(0, dets.get(), ratio, no_scale);
        const auto added = test::host().added_objects(0);
        if (added.size() != 1) return {};
        return {added[0].x, added[0].y, added[0].w, added[0].h};
    }
};

TEST_F(Wrapper, InitStartsBothInstances) {
    VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
    NN_MODEL_CFG_S& model = test::host().model_cfg[test::kColourModel];
    model.trk_conf_lo = 0.25f;
    model.det_show_thresh = 0.625f;
    test::host().clear_calls();
    int status = -1;
    EXPECT_THAT(fix::printed_by([&] { status = vca_trker_init(&ctrl); }),
                ElementsAre("log: vca_trker_init=0"));
    EXPECT_EQ(status, 0);
    std::vector<std::string> tracker_calls;
    for (const std::string& text : test::host().call_texts())
        if (text.starts_with("ioutracker")) tracker_calls.push_back(text);
    EXPECT_THAT(tracker_calls,
                ElementsAre("ioutracker_init(0,12,4)", "ioutracker_set_conf_thresh(0,0.25,0.625)",
                            "ioutracker_init(1,12,4)", "ioutracker_set_conf_thresh(1,0.25,0.625)"));
    EXPECT_EQ(ctrl.trk_conf_lo, 0.25f);
    EXPECT_EQ(ctrl.trk_conf_hi, 0.625f);
    EXPECT_EQ(ctrl.trk_param[0], 12u);
    EXPECT_EQ(ctrl.trk_param[1], 4u);
    EXPECT_EQ(ctrl.trk_local, 0);
    EXPECT_EQ(ctrl.trk_merged, 1);
}

TEST_F(Wrapper, MissingModelConfigurationGivesThresholdZero) {
    VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
    ctrl.trk_conf_lo = ctrl.trk_conf_hi = 7;
    test::host().model_cfg.clear();
    fix::output_of([&] { vca_trker_init(&ctrl); });
    EXPECT_EQ(ctrl.trk_conf_lo, 0.0f);
    EXPECT_EQ(ctrl.trk_conf_hi, 0.0f);
    EXPECT_EQ(test::host().count_calls("ioutracker_set_conf_thresh(0,0,0)"), 1);
}

TEST_F(Wrapper, UninitReleasesTheMergedInstanceFirst) {
    VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
    ctrl.trk_local = 0;
    ctrl.trk_merged = 1;
    test::host().clear_calls();
    EXPECT_EQ(vca_trker_uninit(&ctrl), 0);
    EXPECT_THAT(test::host().call_texts(),
                ElementsAre("ioutracker_uninit(1)", "ioutracker_uninit(0)"));
}

TEST_F(Wrapper, EmptyListStillUpdatesTheTracker) {
    for (const int num : {0, -3, INT_MIN}) {
        dets->num = num;
        IOU_TRK_RSLT_S scripted{};
        scripted.num = 1;
        scripted.objs[0].id = 42;
        test::host().push_tracker_result(1, scripted);
        test::host().clear_calls();
        const IOU_TRK_RSLT_S got = vca_trker_run(1, dets.get(), 0.0f, false);
        EXPECT_THAT(test::host().call_texts(),
                    ElementsAre("ioutracker_objects_reset(1)", "ioutracker_update(1)"));
        EXPECT_EQ(got.num, 1);
        EXPECT_EQ(got.objs[0].id, 42);
    }
}

TEST_F(Wrapper, ResetAddInOrderUpdate) {
    dets->num = 3;
    test::host().clear_calls();
    vca_trker_run(0, dets.get(), 0.0f, false);
    EXPECT_THAT(test::host().call_texts(),
                ElementsAre("ioutracker_objects_reset(0)", "ioutracker_add_object(0,0)",
                            "ioutracker_add_object(0,1)", "ioutracker_add_object(0,2)",
                            "ioutracker_update(0)"));
}

TEST_F(Wrapper, ReturnsTheTrackersWordWhole) {
    IOU_TRK_RSLT_S scripted;
    std::memset(static_cast<void*>(&scripted), 0x3C, sizeof(scripted));
    test::host().push_tracker_result(0, scripted);
    const IOU_TRK_RSLT_S got = vca_trker_run(0, dets.get(), 0.0f, false);
    EXPECT_TRUE(fix::same(got, scripted));
}

TEST_F(Wrapper, RecordCarriesIndexClassAndScore) {
    dets->num = 2;
    dets->objs[0] = box(100, 100, 100, 50, 0.25f, 1);
    dets->objs[1] = box(300, 200, 50, 100, 0.75f, 255);
    vca_trker_run(0, dets.get(), 0.0f, false);
    const auto added = test::host().added_objects(0);
    ASSERT_EQ(added.size(), 2u);
    // 128 x 64 around (150, 125), and 64 x 128 around (325, 250)
    const IOU_TRK_OBJ_S first{0, 0, 86, 93, 128, 64, 1, 0.25f};
    const IOU_TRK_OBJ_S second{0, 1, 293, 186, 64, 128, 255, 0.75f};
    EXPECT_TRUE(fix::same(added[0], first));
    EXPECT_TRUE(fix::same(added[1], second));
}

TEST_F(Wrapper, EnlargementGrowsWithTheInstallationHeight) {
    // 28 % at ratio 0, 30.5 rounded up to 31 % at 0.5, 33 % at 1
    EXPECT_EQ(handed_over(box(100, 100, 100, 100), 0.0f), Rect({86, 86, 128, 128}));
    EXPECT_EQ(handed_over(box(100, 100, 100, 100), 0.5f), Rect({85, 85, 131, 131}));
    EXPECT_EQ(handed_over(box(100, 100, 100, 100), 1.0f), Rect({84, 84, 133, 133}));
    // 30.45 + 0.5 is still 30 %
    EXPECT_EQ(handed_over(box(100, 100, 100, 100), 0.49f), Rect({85, 85, 130, 130}));
}

TEST_F(Wrapper, SizesTruncate) {
    // 33 * 1.28 = 42.24 and 39 * 1.28 = 49.92; centre (116, 119)
    EXPECT_EQ(handed_over(box(100, 100, 33, 39), 0.0f), Rect({95, 95, 42, 49}));
}

TEST_F(Wrapper, OnePixelStaysOnePixel) {
    EXPECT_EQ(handed_over(box(57, 61, 1, 1), 1.0f), Rect({57, 61, 1, 1}));
}

TEST_F(Wrapper, EmptyAndNegativeSizes) {
    EXPECT_EQ(handed_over(box(50, 50, 0, 0), 0.0f), Rect({50, 50, 0, 0}));
    // -12.8 truncates to -12; centre 45, left edge 45 + 6
    EXPECT_EQ(handed_over(box(50, 50, -10, -10), 0.0f), Rect({51, 51, -12, -12}));
}

TEST_F(Wrapper, HugeSizesSaturate) {
    const int half = INT_MAX / 2;
    EXPECT_EQ(handed_over(box(3, 4, INT_MAX, INT_MAX), 0.0f), Rect({3, 4, INT_MAX, INT_MAX}));
    // 1.28 * 2e9 is beyond the range as well
    EXPECT_EQ(handed_over(box(0, 0, 2000000000, 10), 0.0f),
              Rect({1000000000 - half, -1, INT_MAX, 12}));
}

TEST_F(Wrapper, NoScaleHandsBoxesOverUnchanged) {
    EXPECT_EQ(handed_over(box(100, 101, 33, 39), 1.0f, true), Rect({100, 101, 33, 39}));
    EXPECT_EQ(handed_over(box(-7, -9, 33, 39), 0.0f, true), Rect({-7, -9, 33, 39}));
}

TEST_F(Wrapper, TheCallersListIsNotChanged) {
    dets->num = 2;
    dets->objs[0] = fix::patterned(1);
    dets->objs[1] = fix::patterned(2);
    const auto before = std::make_unique<DET_OBJECTS_S>(*dets);
    vca_trker_run(0, dets.get(), 0.5f, false);
    EXPECT_TRUE(fix::same(*dets, *before));
}

TEST_F(Wrapper, CountAboveTheCapacityIsTheCapacity) {
    for (auto& obj : dets->objs)
        obj = box(100, 100, 40, 40);
    for (const int num : {129, 5000, INT_MAX}) {
        dets->num = num;
        vca_trker_run(0, dets.get(), 0.0f, false);
        EXPECT_EQ(test::host().added_objects(0).size(), 128u) << num;
    }
}

TEST_F(Wrapper, EveryPercentAndSizeAgreesWithThePlainRule) {
    // ratio = k / 4000 as the installation height gives it; all widths up to the image's
    for (int k = 0; k <= 4000; k += 250) {
        const float ratio = static_cast<float>(k) / 4000.0f;
        const int percent = (28 * 8000 + 10 * k + 4000) / 8000;  // 28 + 5 * ratio, halves up
        for (int w = 2; w < 960; w += 7) {
            const int x = 2 * w;
            const Rect got = handed_over(box(x, 10, w, 40), ratio);
            const float scale = 1.0f + static_cast<float>(percent) / 100.0f;
            const int want = static_cast<int>(static_cast<float>(w) * scale);
            ASSERT_EQ(got[2], want) << k << ' ' << w;
            ASSERT_EQ(got[0], x + w / 2 - want / 2) << k << ' ' << w;
        }
    }
}

}  // namespace
