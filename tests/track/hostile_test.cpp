// Boxes, counts, ids and indices that no sane host delivers: nothing may leave its bounds.
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <random>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

struct Hostile : testing::TestWithParam<int> {
    std::mt19937 rng{13};

    int uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }

    int32_t number() {
        constexpr int32_t kEnds[] = {INT_MIN, INT_MIN + 1, -70000, -1,        0,           1,
                                     2,       46341,       65536,  100000000, INT_MAX - 1, INT_MAX};
        if (uniform(0, 2) == 0) return kEnds[uniform(0, 11)];
        return uniform(-100, 1100);
    }

    float real() {
        constexpr float kEnds[] = {0.0f,
                                   -1.0f,
                                   1e38f,
                                   -1e38f,
                                   0.5f,
                                   0.9f,
                                   std::numeric_limits<float>::infinity(),
                                   -std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN()};
        return kEnds[uniform(0, 8)];
    }

    DET_OBJ_S obj() {
        DET_OBJ_S box =
            fix::box(number(), number(), number(), number(), real(), uint8_t(uniform(0, 3)));
        box.height = real();
        box.gender = number();
        box.staff = number();
        return box;
    }

    void fill(DET_OBJECTS_S& list) {
        list.num = uniform(0, 3) == 0 ? number() : uniform(0, 12);
        for (int i = 0; i < VCA_DET_MAX; ++i) {
            list.objs[i] = obj();
            list.raw_objs[i] = obj();
        }
    }

    IOU_TRK_RSLT_S targets() {
        IOU_TRK_RSLT_S result{};
        result.num = uniform(0, 9) == 0 ? number() : uniform(0, 10);
        for (IOU_TRK_OBJ_S& target : result.objs) {
            target.id = uniform(0, 5);
            target.det_idx = uniform(0, 3) == 0 ? number() : uniform(0, 12);
        }
        return result;
    }

    void configure() {
        VCA_DEV_CFG_S& cfg = fix::cfg();
        cfg.devWorkMode = GetParam();
        cfg.StandAloneTrkMd = uniform(0, 2);
        cfg.InstallHeight = uniform(0, 1) ? 3000 : number();
        cfg.GroupEn = cfg.ShowDetectBox = cfg.ShowHistoryBox = cfg.ExclTotalEn = 1;
        cfg.GroupDistMax = number();
        cfg.GroupObjNumMax = uniform(0, 4);
        for (int l = 0; l < 4; ++l) {
            cfg.LineEn[l] = cfg.ExclEn[l] = 1;
            cfg.UturnEn[l] = uniform(0, 1) != 0;
            cfg.UturnRgnEn[l] = uniform(0, 1) != 0;
            cfg.ExclType[l] = l & 1;
            cfg.cscdMapSize[l] = number();
            for (LINE_SEG_S& seg : cfg.lineSeg[l])
                seg = {{number(), number()}, {number(), number()}};
        }
    }

    static void expect_bounds(const std::vector<TRACKER_RSLT_S>& list) {
        ASSERT_LE(list.size(), 100u);
        for (const TRACKER_RSLT_S& trk : list) {
            ASSERT_LE(trk.trail.size(), 20u);
            ASSERT_LE(trk.trailSmooth.size(), 7u);
            ASSERT_GE(trk.trailSmooth.size(), 1u);
            ASSERT_LE(trk.objTrail.size(), 7u);
            ASSERT_LE(trk.heightSamples.size(), 12u);
            ASSERT_EQ(trk.moveDist.size(), trk.moveFrm.size());
            ASSERT_GE(trk.lostCnt, 0);
            ASSERT_LE(trk.lostCnt, 4);
            ASSERT_TRUE(trk.curObj.class_id <= 3);
        }
    }
};

TEST_P(Hostile, NothingLeavesItsBounds) {
    fix::set_up_device();
    const bool merged = GetParam() == 1;
    auto real_list = std::make_unique<DET_OBJECTS_S>();
    auto depth_list = std::make_unique<DET_OBJECTS_S>();
    auto result = std::make_unique<VCA_NN_RESULT_S>();
    std::vector<TRACKER_RSLT_S> list;
    int tracked = 0;
    for (int frame = 0; frame < 1500; ++frame) {
        fix::output_of([&] {
            configure();
            fill(*real_list);
            fill(*depth_list);
            fill(result->objects);
            vca_nms_proc(depth_list.get(), real(), &result->objects);
            vca_obj_merge_real_depth_rslt(real_list.get(), depth_list.get(), &result->objects);
            ASSERT_GE(result->objects.num, 0);
            ASSERT_LE(result->objects.num, 128);
            if (uniform(0, 1)) fill(result->objects);
            test::host().push_tracker_result(merged, targets());
            vca_obj_proc_tracking(result.get(), list, merged, merged);
            vca_event_counting_line_uturn_proc(list);
            vca_event_counting_refresh_line_result();
            vca_feed_frm_cnt_set(uniform(0, 9) == 0 ? number() : frame);
        });
        ASSERT_NO_FATAL_FAILURE(expect_bounds(list));
        tracked += static_cast<int>(list.size());
        test::host().clear_messages();
        test::host().clear_calls();
    }
    EXPECT_GT(tracked, 1500);
    EXPECT_TRUE(test::host().errors().empty());
}

INSTANTIATE_TEST_SUITE_P(Modes, Hostile, testing::Values(0, 1, 2, 3));

}  // namespace
