// The handler table and the handlers of the library frame.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"

namespace {

using test::Frame;
using test::host;
using testing::ElementsAre;
using testing::IsEmpty;

int32_t as_i32(const test::Message& message) {
    return message.as<int32_t>();
}

Frame frame_with_requests(int count) {
    Frame frame;
    frame.on_read = [count] {
        for (int i = 0; i < count; ++i)
            host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr);
    };
    return frame;
}

TEST(Bus, HandlerTableRowsInOrder) {
    test::start_library();
    const auto rows = host().handler_table();
    ASSERT_EQ(rows.size(), 8u);
    EXPECT_EQ(rows[0].id, 6078);
    EXPECT_EQ(rows[0].handler, &vca_algo_set_cfg_params);
    EXPECT_EQ(rows[1].id, 6082);
    EXPECT_EQ(rows[1].handler, &vca_heat_map_reset_rslt);
    EXPECT_EQ(rows[2].id, 6081);
    EXPECT_EQ(rows[2].handler, &vca_heat_map_update_rslt);
    EXPECT_EQ(rows[3].id, 6089);
    EXPECT_EQ(rows[3].handler, &vca_set_draw_exclusion_alive);
    EXPECT_EQ(rows[4].id, 6077);
    EXPECT_EQ(rows[4].handler, &vca_install_height_request);
    EXPECT_EQ(rows[5].id, 6085);
    EXPECT_EQ(rows[5].handler, &dev_cscd_master_recive_slave_track);
    EXPECT_EQ(rows[6].id, 6084);
    EXPECT_EQ(rows[6].handler, &dev_cscd_master_send_frm_cnt_to_slave);
    EXPECT_EQ(rows[7].id, 6083);
    EXPECT_EQ(rows[7].handler, &dev_cscd_slave_recive_master_frm_cnt);
    for (const auto& row : rows) {
        EXPECT_EQ(row.zero0, 0u);
        EXPECT_EQ(row.zero1, 0u);
    }
    test::stop_library();
    EXPECT_THAT(host().handler_table(), IsEmpty());
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(Bus, DetectionDisplaySwitchLogsItsPayload) {
    for (const int32_t value : {1, 2, 0, -7}) {
        test::StdoutCapture out;
        int32_t payload = value;
        vca_set_draw_exclusion_alive(5, &payload);
        const auto lines = test::parse_log(out.text());
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].body, "vca_set_draw_exclusion_alive=" + std::to_string(value));
        EXPECT_EQ(lines[0].function, "vca_set_draw_exclusion_alive");
        EXPECT_EQ(test::without_log(out.text()), "");
    }
}

TEST(Bus, HandlersTakeNoLock) {
    test::start_library();
    host().wait_idle_reads(1);
    host().clear_calls();
    int32_t on = 1;
    host().deliver(VCA_MSG_SHOW_DETECTION, &on);
    host().deliver(VCA_MSG_INSTALL_HEIGHT, nullptr);
    host().deliver(VCA_MSG_HEAT_RESET, nullptr);
    const auto slave_tracks = std::make_unique<MASTER_MSG_S>();
    host().deliver(VCA_MSG_SLAVE_TRACKS, slave_tracks.get());
    int32_t count = 5;
    host().deliver(VCA_MSG_FRAME_COUNT, &count);
    EXPECT_THAT(host().call_texts(false), IsEmpty());
    const uint8_t request[VCA_HEAT_REQUEST_BYTES] = {};
    host().deliver(VCA_MSG_HEAT_MAP, request);
    EXPECT_THAT(host().call_texts(false), ElementsAre("tq_sock_send_msg(1,6081,259224)"));
    host().clear_calls();
    host().deliver(VCA_MSG_ASK_FRAME_COUNT, nullptr);
    EXPECT_THAT(host().call_texts(false), ElementsAre("tq_sock_send_msg(1,6083,4)"));
    test::stop_library();
}

TEST(Bus, HeatMapIsAnsweredAtOnceOnTheHostsThread) {
    test::start_library();
    uint8_t request[VCA_HEAT_REQUEST_BYTES];
    for (size_t i = 0; i < sizeof(request); ++i)
        request[i] = static_cast<uint8_t>(200 + i);
    ASSERT_TRUE(host().deliver(VCA_MSG_HEAT_MAP, request));
    const auto answers = host().messages(VCA_MSG_HEAT_MAP);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].channel, 1);
    EXPECT_FALSE(answers[0].on_task);
    ASSERT_EQ(answers[0].bytes.size(), 259224u);
    for (size_t i = 0; i < answers[0].bytes.size(); ++i)
        ASSERT_EQ(answers[0].bytes[i], i < 24 ? 200 + i : 0) << i;
    test::stop_library();
}

// Puts 77 ms and 5 passages into cells of the total, as a track that ends does.
void heat_the_total() {
    const auto trk = std::make_unique<TRACKER_RSLT_S>();
    trk->heatDwell.cell[3][4] = 77;
    trk->heatDwell.cover(4, 3, 5, 4);
    trk->heatMotion.cell[134][239] = 5;
    trk->heatMotion.cover(239, 134, 240, 135);
    vca_trker_heat_map_update_result(trk.get());
    ASSERT_EQ(vca_dev_get_heat_map_rslt()->dwell[3][4], 77);
    ASSERT_EQ(vca_dev_get_heat_map_rslt()->motion[134][239], 5);
}

TEST(Bus, HeatMapRequestWithoutPayloadIsIgnored) {
    heat_the_total();
    test::StdoutCapture out;
    vca_heat_map_update_rslt(0, nullptr);
    EXPECT_THAT(host().messages(VCA_MSG_HEAT_MAP), IsEmpty());
    EXPECT_EQ(vca_dev_get_heat_map_rslt()->dwell[3][4], 77);
    EXPECT_EQ(vca_dev_get_heat_map_rslt()->motion[134][239], 5);
    EXPECT_EQ(out.text(), "");
}

TEST(Bus, HeatMapResetReadsNoPayload) {
    for (void* payload : {static_cast<void*>(nullptr), reinterpret_cast<void*>(uintptr_t{8})}) {
        heat_the_total();
        test::StdoutCapture out;
        vca_heat_map_reset_rslt(9, payload);
        EXPECT_EQ(vca_dev_get_heat_map_rslt()->dwell[3][4], 0);
        EXPECT_EQ(vca_dev_get_heat_map_rslt()->motion[134][239], 0);
        EXPECT_THAT(test::log_bodies(out.text()), ElementsAre("reset_heat_map rslt"));
    }
    EXPECT_THAT(host().messages(VCA_MSG_HEAT_MAP), IsEmpty());
}

TEST(Bus, DetectionDisplaySwitchWithoutPayloadIsIgnored) {
    test::StdoutCapture out;
    vca_set_draw_exclusion_alive(0, nullptr);
    EXPECT_EQ(out.text(), "");
}

TEST(Bus, HeightRequestWithoutBaseStageIsIgnored) {
    vca_install_height_request(0, nullptr);
    test::start_library();
    ASSERT_TRUE(host().run(std::vector<Frame>(3)));
    EXPECT_THAT(host().messages(6077), IsEmpty());
    test::stop_library();
}

TEST(Bus, HeightRequestIsAnsweredAtTheEndOfThePass) {
    test::start_library();
    ASSERT_TRUE(host().run({Frame{}, frame_with_requests(1), Frame{}}));
    const auto answers = host().messages(6077);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].channel, 1);
    EXPECT_EQ(answers[0].bytes.size(), 4u);
    EXPECT_EQ(answers[0].frame, 1);
    EXPECT_TRUE(answers[0].on_task);
    // 600 pixels of 3000 mm and the 3000 the sum starts with: 1803000 / 600 = 3005.
    EXPECT_EQ(as_i32(answers[0]), 3005);
    test::stop_library();
}

TEST(Bus, TwoRequestsInOneFrameGiveOneAnswer) {
    test::start_library();
    ASSERT_TRUE(host().run({frame_with_requests(2), Frame{}, Frame{}}));
    EXPECT_EQ(host().messages(6077).size(), 1u);
    test::stop_library();
}

TEST(Bus, RequestBetweenFramesIsAnsweredOnTheNext) {
    test::start_library();
    ASSERT_TRUE(host().run({Frame{}}));
    ASSERT_TRUE(host().deliver(VCA_MSG_INSTALL_HEIGHT, nullptr));
    ASSERT_TRUE(host().wait_idle_reads(3));
    EXPECT_THAT(host().messages(6077), IsEmpty()) << "failed acquisitions answer nothing";
    ASSERT_TRUE(host().run({Frame{}}));
    EXPECT_EQ(host().messages(6077).size(), 1u);
    test::stop_library();
}

TEST(Bus, HeightIsMeasuredAgainOnlyAfterMoreThanTwelveFrames) {
    test::start_library();
    ASSERT_TRUE(host().run({frame_with_requests(1)}));  // count 0: 0 - -90 > 12, measured
    host().floor_mm = 2500;
    ASSERT_TRUE(host().run({frame_with_requests(1)}));  // count 1: 1 - 0
    ASSERT_TRUE(host().run(std::vector<Frame>(10)));    // counts 2 to 11
    ASSERT_TRUE(host().run({frame_with_requests(1)}));  // count 12: 12 - 0 is not above 12
    ASSERT_TRUE(host().run({frame_with_requests(1)}));  // count 13: measured
    host().floor_mm = 2800;
    ASSERT_TRUE(host().run({frame_with_requests(1)}));  // count 14: the last value again
    std::vector<int32_t> heights;
    for (const auto& answer : host().messages(6077))
        heights.push_back(as_i32(answer));
    // (3000 + 600 * 2500) / 600 = 2505.
    EXPECT_THAT(heights, ElementsAre(3005, 3005, 3005, 2505, 2505));
    test::stop_library();
}

TEST(Bus, MeasuredHeightDoesNotChangeTheConfiguration) {
    test::start_library();
    host().floor_mm = 2500;
    ASSERT_TRUE(host().run({frame_with_requests(1), Frame{}}));
    EXPECT_EQ(vca_dev_get_install_height(), 3000);
    test::stop_library();
}

TEST(Bus, CachedHeightSurvivesARestart) {
    test::start_library();
    ASSERT_TRUE(host().run({frame_with_requests(1)}));
    test::stop_library();
    host().floor_mm = 2500;
    test::start_library();
    ASSERT_TRUE(host().run({frame_with_requests(1)}));
    EXPECT_EQ(as_i32(host().messages(6077).back()), 3005);
    test::stop_library();
}

TEST(Bus, RequestWaitsWhileTheBaseStageGoesDownInThePass) {
    test::start_library();
    Frame frame = frame_with_requests(1);
    const auto request = frame.on_read;
    frame.on_read = [request] {
        request();
        std::atomic_ref(vca_get_pCtrl_param()->base_ready) = uint8_t{0};
    };
    host().push({frame});
    while (vca_feed_frm_cnt_get() == 0)
        std::this_thread::yield();
    EXPECT_THAT(host().messages(6077), IsEmpty());
    std::atomic_ref(vca_get_pCtrl_param()->base_ready) = uint8_t{1};
    ASSERT_TRUE(host().run({Frame{}}));
    EXPECT_EQ(host().messages(6077).size(), 1u);
    test::stop_library();
}

}  // namespace
