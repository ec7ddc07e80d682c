// Start-up and shut-down: the order of every host call and log line, and what they leave behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <set>
#include <thread>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"
#include "tests/support/test_config.h"

namespace {

using test::host;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

const std::set<std::string> kLifecycleFunctions = {"vca_base_init",      "vca_base_uninit",
                                                   "vca_algo_init",      "vca_algo_uninit",
                                                   "algo_common_uninit", "vca_trker_init"};

// Calls of the host's own thread with the lifecycle's log lines between them, as "function: body".
std::vector<std::string> timeline(const std::string& output) {
    std::vector<std::pair<size_t, std::string>> entries;
    for (const auto& line : test::parse_log(output)) {
        if (kLifecycleFunctions.count(line.function) != 0)
            entries.emplace_back(line.pos + 1, line.function + ": " + line.body);
    }
    for (const auto& call : host().calls()) {
        if (!call.on_task) entries.emplace_back(call.stdout_pos, call.text);
    }
    // A line that ends where a call begins came first: its start lies before the call's position.
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> texts;
    for (auto& entry : entries)
        texts.push_back(std::move(entry.second));
    return texts;
}

TEST(Lifecycle, ControlBlockIsEmptyAtLoad) {
    const VCA_CTRL_S zero{};
    ASSERT_NE(vca_get_pCtrl_param(), nullptr);
    EXPECT_EQ(std::memcmp(vca_get_pCtrl_param(), &zero, sizeof(zero)), 0);
    EXPECT_EQ(vca_get_algo_loop_tm(), 100);
    EXPECT_EQ(vca_get_pCtrl_param(), vca_get_pCtrl_param());
    EXPECT_NE(get_vca_algo_mutex(), nullptr);
    EXPECT_EQ(get_vca_algo_mutex(), get_vca_algo_mutex());
}

TEST(Lifecycle, BaseInitBeforeAlgoInitTakesNoLock) {
    test::StdoutCapture out;
    EXPECT_EQ(vca_base_init(), 0);
    EXPECT_THAT(timeline(out.text()),
                ElementsAre("vca_base_init: vca_base init 000", "avs_set_conf_thr(13)",
                            "vca_mem_init(ctrl)", "vca_cvai_init(ctrl)",
                            "vca_base_init: vca_base init 111"));
    EXPECT_EQ(vca_get_pCtrl_param()->base_ready, 1);
    EXPECT_EQ(vca_get_pCtrl_param()->algo_running, 0);
}

TEST(Lifecycle, BaseUninitWithoutMutexTakesNoLock) {
    vca_base_init();
    host().clear_calls();
    test::StdoutCapture out;
    EXPECT_EQ(vca_base_uninit(), 0);
    EXPECT_THAT(timeline(out.text()),
                ElementsAre("vca_base_uninit: vca_base uninit 000", "vca_cvai_uninit(ctrl)",
                            "vca_mem_uninit(ctrl)", "vca_base_uninit: vca_base uninit 111"));
    EXPECT_EQ(vca_get_pCtrl_param()->base_ready, 0);
}

TEST(Lifecycle, ReadyFlagIsSetLastAndClearedFirst) {
    std::vector<std::string> seen;
    host().on_call = [&](const std::string& call) {
        seen.push_back(call + "=" + std::to_string(vca_get_pCtrl_param()->base_ready));
    };
    vca_base_init();
    vca_base_uninit();
    EXPECT_THAT(
        seen, ElementsAre("avs_set_conf_thr(13)=0", "vca_mem_init(ctrl)=0", "vca_cvai_init(ctrl)=0",
                          "vca_cvai_uninit(ctrl)=0", "vca_mem_uninit(ctrl)=0"));
}

TEST(Lifecycle, DataInitSetsThresholdAndWorkingSizes) {
    VCA_CTRL_S ctrl{};
    EXPECT_EQ(vca_data_init(&ctrl), 0);
    EXPECT_THAT(host().call_texts(), ElementsAre("avs_set_conf_thr(13)"));
    const uint32_t expected[5][2] = {{960, 540}, {960, 544}, {224, 224}, {480, 256}, {480, 256}};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(ctrl.img_size[i].width, expected[i][0]) << i;
        EXPECT_EQ(ctrl.img_size[i].height, expected[i][1]) << i;
        ctrl.img_size[i] = {};
    }
    const VCA_CTRL_S zero{};
    EXPECT_EQ(std::memcmp(&ctrl, &zero, sizeof(zero)), 0) << "something else was written";
}

TEST(Lifecycle, DataUninitDoesNothing) {
    VCA_CTRL_S ctrl{};
    vca_data_init(&ctrl);
    const VCA_CTRL_S before = ctrl;
    host().clear_calls();
    EXPECT_EQ(vca_data_uninit(&ctrl), 0);
    EXPECT_THAT(host().call_texts(), IsEmpty());
    EXPECT_EQ(std::memcmp(&ctrl, &before, sizeof(before)), 0);
}

TEST(Lifecycle, AlgoInitCallsTheHostInOrder) {
    vca_base_init();
    host().clear_calls();
    test::StdoutCapture out;
    EXPECT_EQ(vca_algo_init(), 0);
    // 0.2f and 0.5f as the colour model gives them, to nine digits.
    EXPECT_THAT(
        timeline(out.text()),
        ElementsAre("vca_algo_init: vca_algo init 000", "tq_mutex_init(algo)",
                    "tq_mutex_lock(algo)", "vca_nn_get_pModel_cfg(101)", "ioutracker_init(0,12,4)",
                    "ioutracker_set_conf_thresh(0,0.200000003,0.5)", "ioutracker_init(1,12,4)",
                    "ioutracker_set_conf_thresh(1,0.200000003,0.5)",
                    "vca_trker_init: vca_trker_init=0", "tq_mutex_unlock(algo)",
                    "tq_task_create_join(main_task,null)", "sock_request_register(8)",
                    "tq_sock_send_msg(1,6078,8048)", "vca_algo_init: vca_algo init 111"));
    EXPECT_EQ(vca_get_pCtrl_param()->algo_running, 1);
    vca_algo_uninit();
}

TEST(Lifecycle, AlgoInitFillsTrackerSettings) {
    vca_base_init();
    vca_algo_init();
    const VCA_CTRL_S* ctrl = vca_get_pCtrl_param();
    EXPECT_EQ(ctrl->trk_param[0], 12u);
    EXPECT_EQ(ctrl->trk_param[1], 4u);
    EXPECT_EQ(ctrl->trk_conf_lo, 0.2f);
    EXPECT_EQ(ctrl->trk_conf_hi, 0.5f);
    EXPECT_EQ(ctrl->trk_local, 0);
    EXPECT_EQ(ctrl->trk_merged, 1);
    test::stop_library();
}

TEST(Lifecycle, RunningFlagIsSetBeforeTheTaskStarts) {
    vca_base_init();
    int running = -1;
    host().on_call = [&](const std::string& call) {
        if (call.starts_with("tq_task_create_join")) running = vca_get_pCtrl_param()->algo_running;
    };
    vca_algo_init();
    EXPECT_EQ(running, 1);
    test::stop_library();
}

TEST(Lifecycle, ConfigurationRequestIsZeros) {
    test::start_library();
    const auto requests = host().messages(6078);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].channel, 1);
    ASSERT_EQ(requests[0].bytes.size(), 8048u);
    EXPECT_THAT(requests[0].bytes, Each(0));
    test::stop_library();
}

TEST(Lifecycle, AlgoUninitCallsTheHostInOrder) {
    test::start_library();
    host().wait_idle_reads(1);
    host().clear_calls();
    test::StdoutCapture out;
    EXPECT_EQ(vca_algo_uninit(), 0);
    EXPECT_THAT(timeline(out.text()),
                ElementsAre("vca_algo_uninit: vca_algo uninit 000", "sock_request_unregister(8)",
                            "algo_common_uninit: algo_common_uninit 000", "tq_task_join",
                            "tq_mutex_lock(algo)", "ioutracker_uninit(1)", "ioutracker_uninit(0)",
                            "tq_mutex_unlock(algo)", "tq_mutex_uninit(algo)",
                            "vca_algo_uninit: vca_algo uninit 111"));
    EXPECT_EQ(vca_get_pCtrl_param()->algo_running, 0);
    EXPECT_EQ(vca_get_pCtrl_param()->base_ready, 1);
    vca_base_uninit();
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(Lifecycle, RunningFlagIsClearedBeforeTheJoin) {
    int at_unregister = -1;
    int at_join = -1;
    host().on_call = [&](const std::string& call) {
        if (call.starts_with("sock_request_unregister"))
            at_unregister = std::atomic_ref(vca_get_pCtrl_param()->algo_running);
        if (call == "tq_task_join") at_join = std::atomic_ref(vca_get_pCtrl_param()->algo_running);
    };
    test::start_library();
    host().wait_idle_reads(1);
    vca_algo_uninit();
    EXPECT_EQ(at_unregister, 1);
    EXPECT_EQ(at_join, 0);
}

// While the mutex is being set up or taken down, the base functions do without it.
TEST(Lifecycle, MutexIsUsedOnlyOnceItIsThereAndNoLonger) {
    vca_base_init();
    std::vector<std::string> seen;
    bool in_base = false;
    host().on_call = [&](const std::string& call) {
        if (in_base) seen.push_back(call);
        if (!call.starts_with("tq_mutex_init") && !call.starts_with("tq_mutex_uninit")) return;
        in_base = true;
        vca_base_uninit();
        vca_base_init();
        in_base = false;
    };
    vca_algo_init();
    host().wait_idle_reads(1);
    vca_algo_uninit();
    host().on_call = nullptr;
    EXPECT_THAT(seen, SizeIs(10));
    EXPECT_THAT(seen, Each(testing::Not(testing::StartsWith("tq_mutex"))));
}

TEST(Lifecycle, BaseFunctionsLockWhileTheMutexExists) {
    test::start_library();
    host().clear_calls();
    vca_base_init();
    EXPECT_THAT(host().call_texts(false),
                ElementsAre("tq_mutex_lock(algo)", "avs_set_conf_thr(13)", "vca_mem_init(ctrl)",
                            "vca_cvai_init(ctrl)", "tq_mutex_unlock(algo)"));
    host().clear_calls();
    vca_base_uninit();
    EXPECT_THAT(host().call_texts(false),
                ElementsAre("tq_mutex_lock(algo)", "vca_cvai_uninit(ctrl)", "vca_mem_uninit(ctrl)",
                            "tq_mutex_unlock(algo)"));
    vca_algo_uninit();
    host().clear_calls();
    vca_base_init();
    vca_base_uninit();
    EXPECT_EQ(host().count_calls("tq_mutex"), 0) << "the mutex was gone";
    EXPECT_EQ(host().locks(), host().unlocks());
}

TEST(Lifecycle, LoopTimeReadsHundredUntilTheFirstPassEnds) {
    host().use_clock(5'000'000);
    test::start_library();
    ASSERT_TRUE(host().wait_idle_reads(3));
    EXPECT_EQ(vca_get_algo_loop_tm(), 100);
    test::Frame frame;
    frame.on_read = [] { host().advance_clock(37'000); };
    ASSERT_TRUE(host().run({frame}));
    EXPECT_EQ(vca_get_algo_loop_tm(), 37);
    test::stop_library();
    EXPECT_EQ(vca_get_algo_loop_tm(), 37);
}

TEST(Lifecycle, LoopTimeIncludesTheSleepAfterThePass) {
    test::start_library();
    ASSERT_TRUE(host().run({test::Frame{}}));
    // The clock is rounded to milliseconds at both ends; the pass sleeps for one.
    EXPECT_GE(vca_get_algo_loop_tm(), 1);
    EXPECT_LT(vca_get_algo_loop_tm(), 5000);
    test::stop_library();
}

TEST(Lifecycle, AlgoUninitLetsThePassInProgressEnd) {
    test::start_library();
    std::atomic<bool> in_pass{false};
    test::Frame frame;
    frame.on_read = [&] {
        in_pass = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
    };
    host().push({frame});
    while (!in_pass)
        std::this_thread::yield();
    vca_algo_uninit();
    EXPECT_EQ(host().count_calls("ioutracker_update(0)"), 1);
    EXPECT_EQ(host().blocks_held(), 0u);
    EXPECT_EQ(host().mappings_held(), 0u);
    EXPECT_EQ(vca_feed_frm_cnt_get(), 1);
    const auto calls = host().call_texts();
    const auto last_of_pass = std::find(calls.begin(), calls.end(), "ss_mpi_vb_release_blk(3)");
    const auto uninit = std::find(calls.begin(), calls.end(), "ioutracker_uninit(1)");
    EXPECT_LT(last_of_pass, uninit);
    vca_base_uninit();
}

TEST(Lifecycle, BaseUninitWaitsForThePassInProgress) {
    test::start_library();
    std::atomic<bool> in_pass{false};
    test::Frame frame;
    frame.on_read = [&] {
        in_pass = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
    };
    host().push({frame});
    while (!in_pass)
        std::this_thread::yield();
    vca_base_uninit();
    const auto calls = host().call_texts();
    const auto released = std::find(calls.begin(), calls.end(), "ss_mpi_vb_release_blk(3)");
    const auto down = std::find(calls.begin(), calls.end(), "vca_cvai_uninit(ctrl)");
    ASSERT_NE(released, calls.end());
    ASSERT_NE(down, calls.end());
    EXPECT_LT(released, down);
    vca_algo_uninit();
}

TEST(Lifecycle, SecondStartKeepsTheCountersAndForgetsTheFloor) {
    test::start_library();
    ASSERT_TRUE(host().run(std::vector<test::Frame>(7)));
    EXPECT_EQ(vca_feed_frm_cnt_get(), 7);
    EXPECT_NE(vca_depth_get_state()->depthMap[0][0], 0);
    test::stop_library();
    test::start_library();
    EXPECT_EQ(vca_feed_frm_cnt_get(), 7);
    EXPECT_EQ(vca_depth_get_state()->depthMap[0][0], 0);
    ASSERT_TRUE(host().run(std::vector<test::Frame>(2)));
    EXPECT_EQ(vca_feed_frm_cnt_get(), 9);
    test::stop_library();
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(Lifecycle, MissingModelConfigurationGivesThresholdsOfZero) {
    host().model_cfg.clear();
    test::start_library();
    EXPECT_EQ(vca_get_pCtrl_param()->trk_conf_lo, 0.0f);
    EXPECT_EQ(vca_get_pCtrl_param()->trk_conf_hi, 0.0f);
    EXPECT_EQ(host().count_calls("ioutracker_set_conf_thresh(0,0,0)"), 1);
    EXPECT_EQ(host().count_calls("ioutracker_set_conf_thresh(1,0,0)"), 1);
    test::stop_library();
}

}  // namespace
