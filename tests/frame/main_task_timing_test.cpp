// The timing lines of the analysis task, one pass in twelve.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "tests/support/flag_file.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"
#include "tests/support/test_config.h"

namespace {

using test::Frame;
using test::host;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

std::vector<std::string> timing_bodies(const std::string& output) {
    std::vector<std::string> bodies;
    for (const auto& line : test::parse_log(output)) {
        if (line.body.starts_with("Tm: ") || line.body.starts_with("\nTm: "))
            bodies.push_back(line.body);
    }
    return bodies;
}

class MainTaskTiming : public testing::Test {
  protected:
    MainTaskTiming() {
        host().use_clock(50'000'000);
        host().on_detection = [](NN_MODEL_TYPE_E model, auto, auto) {
            if (model == test::kColourModel) host().advance_clock(7'000);
            if (model == test::kDepthModel) host().advance_clock(20'000);
        };
    }

    static Frame frame_of_five_ms() {
        Frame frame;
        frame.colour = {{1, 300, 200, 80, 80, 1, 0.9f}, {2, 500, 200, 80, 80, 1, 0.9f}};
        frame.depth = {{3, 700, 200, 80, 80, 1, 0.9f}};
        frame.on_read = [] { host().advance_clock(5'000); };
        return frame;
    }
};

TEST_F(MainTaskTiming, FirstPassAndEveryTwelfth) {
    test::FlagFile flag("/tmp/vca-tm");
    test::apply_config(test::plain_config());
    test::StdoutCapture out;
    host().push({frame_of_five_ms()});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    const std::vector<std::string> expected = {"\nTm: data_update_real_depth=5 H=3000",
                                               "Tm: detection-2 real rgb=12",
                                               "Tm: detection-1 depth rgb=32",
                                               "Tm: vca obj-3 tracking(3)=32",
                                               "Tm: sync_tracking_info=32",
                                               "Tm: procese event=32",
                                               "Tm: procese message=32",
                                               "Tm: Loop=32"};
    EXPECT_THAT(timing_bodies(out.text()), ElementsAreArray(expected));
    out.clear();
    ASSERT_TRUE(host().run(std::vector<Frame>(11, frame_of_five_ms())));  // counts 1 to 11
    EXPECT_THAT(timing_bodies(out.text()), IsEmpty());
    ASSERT_TRUE(host().run({frame_of_five_ms()}));  // count 12
    EXPECT_THAT(timing_bodies(out.text()), ElementsAreArray(expected));
    for (const auto& line : test::parse_log(out.text())) {
        if (line.body.find("Tm: ") == std::string::npos) continue;
        EXPECT_EQ(line.function, "vca_algo_main_task") << line.body;
    }
    test::stop_library();
}

TEST_F(MainTaskTiming, ColourOnlyLogsNoDepthDetection) {
    test::FlagFile flag("/tmp/vca-tm");
    auto cfg = test::plain_config();
    cfg.DetectModel = VCA_DETECT_COLOUR;
    test::apply_config(cfg);
    test::StdoutCapture out;
    host().push({frame_of_five_ms()});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    EXPECT_THAT(timing_bodies(out.text()),
                ElementsAre("\nTm: data_update_real_depth=5 H=3000", "Tm: detection-2 real rgb=12",
                            "Tm: vca obj-2 tracking(2)=12", "Tm: sync_tracking_info=12",
                            "Tm: procese event=12", "Tm: procese message=12", "Tm: Loop=12"));
    test::stop_library();
}

TEST_F(MainTaskTiming, NegativeMultiplesOfTwelveCount) {
    test::FlagFile flag("/tmp/vca-tm");
    test::apply_config(test::plain_config());
    vca_feed_frm_cnt_set(-24);
    test::StdoutCapture out;
    host().push(std::vector<Frame>(3));
    test::start_library();
    ASSERT_TRUE(host().run({}));
    const auto bodies = timing_bodies(out.text());
    EXPECT_EQ(std::count(bodies.begin(), bodies.end(), "Tm: Loop=27"), 1);
    EXPECT_EQ(vca_feed_frm_cnt_get(), -21);
    test::stop_library();
}

TEST_F(MainTaskTiming, SlaveLogsNoEventStages) {
    test::FlagFile flag("/tmp/vca-tm");
    auto cfg = test::plain_config();
    cfg.devWorkMode = VCA_WORK_SLAVE;
    test::apply_config(cfg);
    test::StdoutCapture out;
    host().push({frame_of_five_ms()});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    EXPECT_THAT(
        timing_bodies(out.text()),
        ElementsAre("\nTm: data_update_real_depth=5 H=3000", "Tm: detection-2 real rgb=12",
                    "Tm: detection-1 depth rgb=32", "Tm: vca obj-3 tracking(3)=32", "Tm: Loop=32"));
    test::stop_library();
}

TEST_F(MainTaskTiming, MasterLogsTheMergeAndTheSecondPass) {
    test::FlagFile flag("/tmp/vca-tm");
    auto cfg = test::plain_config();
    cfg.devWorkMode = VCA_WORK_MASTER;
    test::apply_config(cfg);
    host().on_call = [](const std::string& call) {
        if (call == "ioutracker_update(0)") host().advance_clock(1'000);
        if (call == "ioutracker_update(1)") host().advance_clock(3'000);
    };
    // Two persons of a slave: one where nobody else is, one with the feet of an own person.
    const auto message = std::make_unique<MASTER_MSG_S>();
    message->msg.count = 2;
    message->msg.tracks[0].foot_x = 40;
    message->msg.tracks[0].foot_y = 500;
    message->msg.tracks[1].foot_x = 412;
    message->msg.tracks[1].foot_y = 257;
    dev_cscd_master_recive_slave_track(0, message.get());
    // Of the two targets reported one is a new track.
    host().on_update = [](int inst, const std::vector<IOU_TRK_OBJ_S>& added) {
        IOU_TRK_RSLT_S rslt{};
        for (const auto& obj : added) {
            if (inst == 1 && obj.det_idx >= 1) break;
            rslt.objs[rslt.num] = obj;
            rslt.objs[rslt.num++].id = obj.det_idx + 1;
        }
        return rslt;
    };
    auto frame = frame_of_five_ms();
    frame.depth.clear();
    frame.colour = {{1, 300, 200, 80, 80, 1, 0.9f}, {2, 700, 200, 80, 80, 1, 0.9f}};
    test::StdoutCapture out;
    host().push({frame});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    const std::vector<std::string> expected = {"\nTm: data_update_real_depth=5 H=3000",
                                               "Tm: detection-2 real rgb=12",
                                               "Tm: detection-0 depth rgb=32",
                                               "Tm: vca obj-2 tracking(2)=33",
                                               "Tm: master_merge_slave=33",
                                               "Tm: merge(3) tracking(1)=36",
                                               "Tm: sync_tracking_info=36",
                                               "Tm: procese event=36",
                                               "Tm: procese message=36",
                                               "Tm: Loop=36"};
    EXPECT_THAT(timing_bodies(out.text()), ElementsAreArray(expected));
    for (const auto& line : test::parse_log(out.text())) {
        if (line.body.find("Tm: ") == std::string::npos) continue;
        EXPECT_EQ(line.function, "vca_algo_main_task") << line.body;
    }
    out.clear();
    ASSERT_TRUE(host().run(std::vector<Frame>(11, frame)));  // counts 1 to 11
    EXPECT_THAT(timing_bodies(out.text()), IsEmpty());
    test::stop_library();
}

TEST_F(MainTaskTiming, StagesAreMeasuredWhereTheyEnd) {
    test::FlagFile flag("/tmp/vca-tm");
    auto cfg = test::plain_config();
    test::set_region(cfg, 0, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    test::apply_config(cfg);
    int32_t on = 1;
    vca_set_draw_exclusion_alive(0, &on);
    host().on_call = [](const std::string& call) {
        if (call.starts_with("tq_sock_send_msg(1,6090,")) host().advance_clock(1'000);
        if (call.starts_with("tq_sock_send_msg(1,6069,")) host().advance_clock(2'000);
        if (call.starts_with("tq_sock_send_msg(1,6070,")) host().advance_clock(4'000);
    };
    test::StdoutCapture out;
    host().push({frame_of_five_ms()});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    EXPECT_THAT(timing_bodies(out.text()),
                ElementsAre("\nTm: data_update_real_depth=5 H=3000", "Tm: detection-2 real rgb=12",
                            "Tm: detection-1 depth rgb=32", "Tm: vca obj-3 tracking(3)=32",
                            "Tm: sync_tracking_info=35", "Tm: procese event=35",
                            "Tm: procese message=39", "Tm: Loop=39"));
    test::stop_library();
}

TEST_F(MainTaskTiming, NothingWithoutTheSwitch) {
    std::remove("/tmp/vca-tm");
    test::StdoutCapture out;
    test::start_library();
    ASSERT_TRUE(host().run(std::vector<Frame>(13, frame_of_five_ms())));
    EXPECT_THAT(timing_bodies(out.text()), IsEmpty());
    test::stop_library();
}

}  // namespace
