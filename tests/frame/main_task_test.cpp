// The analysis task: the calls of a pass in order, idling, failures and the end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"
#include "tests/support/test_config.h"

namespace {

using test::Frame;
using test::host;
using test::Person;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// The task's calls from the lock to the unlock of a scripted frame, without look-ups of model
// configurations.
std::vector<std::string> pass_calls(int frame) {
    std::vector<std::string> texts;
    for (const auto& call : host().calls()) {
        if (!call.on_task || call.frame != frame) continue;
        if (call.text.starts_with("vca_nn_get_pModel_cfg")) continue;
        if (texts.empty() && call.text == "avs_read_all_ive") continue;
        texts.push_back(call.text);
        if (call.text == "tq_mutex_unlock(algo)") break;
    }
    return texts;
}

const std::vector<std::string> kRelease = {"ss_mpi_sys_munmap(1001)", "ss_mpi_vb_release_blk(1)",
                                           "ss_mpi_sys_munmap(1002)", "ss_mpi_vb_release_blk(2)",
                                           "ss_mpi_sys_munmap(1003)", "ss_mpi_vb_release_blk(3)",
                                           "tq_mutex_unlock(algo)"};

std::vector<std::string> with_release(std::vector<std::string> calls) {
    calls.insert(calls.end(), kRelease.begin(), kRelease.end());
    return calls;
}

void run_one_frame(int detect_model) {
    auto cfg = test::plain_config();
    cfg.DetectModel = detect_model;
    test::apply_config(cfg);
    host().push({Frame{}});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    test::stop_library();
}

TEST(MainTask, PassWithBothModels) {
    run_one_frame(0);
    const auto task_calls = host().call_texts(true);
    ASSERT_GE(task_calls.size(), 3u);
    EXPECT_EQ(task_calls[0], "tq_task_set_name(vca-algo)");
    EXPECT_EQ(task_calls[1], "tq_mutex_lock(algo)");
    EXPECT_EQ(task_calls[2], "avs_read_all_ive");
    EXPECT_THAT(pass_calls(0),
                ElementsAreArray(with_release(
                    {"vca_nn_detection(101,real_img)", "vca_nn_detection(102,depth_img)",
                     "ioutracker_objects_reset(0)", "ioutracker_update(0)"})));
}

TEST(MainTask, PassWithColourModelOnly) {
    run_one_frame(1);
    EXPECT_THAT(pass_calls(0), ElementsAreArray(with_release({"vca_nn_detection(101,real_img)",
                                                              "ioutracker_objects_reset(0)",
                                                              "ioutracker_update(0)"})));
}

TEST(MainTask, PassWithDepthModelOnly) {
    run_one_frame(2);
    EXPECT_THAT(pass_calls(0), ElementsAreArray(with_release({"vca_nn_detection(102,depth_img)",
                                                              "ioutracker_objects_reset(0)",
                                                              "ioutracker_update(0)"})));
}

TEST(MainTask, DetectionsOfAnEarlierModelAreNotCarriedOver) {
    auto cfg = test::plain_config();
    test::start_library(cfg);
    const Person left{1, 100, 200, 80, 80, 1, 0.9f};
    const Person right{2, 600, 200, 80, 80, 1, 0.9f};
    Frame both;
    both.colour = {left};
    both.depth = {right};
    ASSERT_TRUE(host().run({both}));
    EXPECT_EQ(host().added_objects(0).size(), 2u);
    cfg.DetectModel = VCA_DETECT_COLOUR;
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run({both}));
    ASSERT_EQ(host().added_objects(0).size(), 1u);
    cfg.DetectModel = VCA_DETECT_DEPTH;
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run({both}));
    ASSERT_EQ(host().added_objects(0).size(), 1u);
    // 80 * 1.29 = 103.2 wide: the enlargement at 3 m is av_calc_val(28, 33, 0.25) = 29 percent; the
    // box around the centre 640 starts at 640 - 51.
    EXPECT_EQ(host().added_objects(0)[0].x, 589);
    test::stop_library();
}

TEST(MainTask, MutexIsHeldFromAcquisitionToRelease) {
    test::start_library();
    bool free_in_read = true;
    bool free_in_detection = true;
    const auto try_lock = [] {
        auto* algo = static_cast<std::mutex*>(get_vca_algo_mutex());
        return std::async(std::launch::async,
                          [algo] {
                              const bool got = algo->try_lock();
                              if (got) algo->unlock();
                              return got;
                          })
            .get();
    };
    Frame frame;
    frame.on_read = [&] { free_in_read = try_lock(); };
    host().on_detection = [&](auto...) { free_in_detection = try_lock(); };
    ASSERT_TRUE(host().run({frame}));
    EXPECT_FALSE(free_in_read);
    EXPECT_FALSE(free_in_detection);
    test::stop_library();
    EXPECT_EQ(host().locks(), host().unlocks());
}

TEST(MainTask, FailedAcquisitionUnlocksAndRetries) {
    host().use_clock(1'000'000);
    test::start_library();
    Frame slow;
    slow.on_read = [] { host().advance_clock(11'000); };
    ASSERT_TRUE(host().run({slow}));
    Frame missing;
    missing.has_depth = false;
    missing.on_read = [] { host().advance_clock(90'000); };
    host().clear_calls();
    ASSERT_TRUE(host().run({missing, missing}));
    EXPECT_EQ(vca_feed_frm_cnt_get(), 1);
    EXPECT_EQ(vca_get_algo_loop_tm(), 11);
    EXPECT_EQ(host().count_calls("vca_nn_detection"), 0);
    EXPECT_EQ(host().count_calls("ioutracker"), 0);
    ASSERT_TRUE(host().run({Frame{}}));
    EXPECT_EQ(vca_feed_frm_cnt_get(), 2);
    test::stop_library();
    EXPECT_EQ(host().locks(), host().unlocks());
    EXPECT_EQ(host().blocks_held(), 0u);
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(MainTask, FailedAcquisitionNeitherFeedsTheFloorMapNorAnswers) {
    test::start_library();
    Frame missing;
    missing.has_real = false;
    missing.on_read = [] { host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr); };
    ASSERT_TRUE(host().run(std::vector<Frame>(8, missing)));
    EXPECT_EQ(vca_depth_get_state()->depthCallCnt, 0);
    EXPECT_THAT(host().messages(6077), IsEmpty());
    ASSERT_TRUE(host().run({Frame{}}));
    EXPECT_EQ(vca_depth_get_state()->depthCallCnt, 1);
    EXPECT_EQ(host().messages(6077).size(), 1u);
    test::stop_library();
}

TEST(MainTask, IdleWithoutBaseStageDropsTheTracks) {
    test::start_library(test::plain_config());
    Frame frame;
    frame.colour = {{1, 300, 200, 80, 80, 1, 0.9f}, {2, 500, 200, 80, 80, 1, 0.9f}};
    ASSERT_TRUE(host().run({frame, frame}));
    EXPECT_EQ(host().images_alive(), 2u);
    test::StdoutCapture out;
    vca_base_uninit();
    const int reads = host().count_calls("avs_read_all_ive");
    avs_mdelay(900);
    EXPECT_EQ(host().images_alive(), 0u);
    const int idle_lines = test::count_log(out.text(), "Algo module is initializing...");
    EXPECT_GE(idle_lines, 1);
    EXPECT_LE(idle_lines, 2) << "one line per 800 ms";
    EXPECT_LE(host().count_calls("avs_read_all_ive"), reads + 1);
    for (const auto& line : test::parse_log(out.text())) {
        if (line.body != "Algo module is initializing...") continue;
        EXPECT_EQ(line.function, "vca_algo_main_task");
    }
    const int32_t count = vca_feed_frm_cnt_get();
    vca_base_init();
    ASSERT_TRUE(host().run({frame}));
    EXPECT_EQ(vca_feed_frm_cnt_get(), count + 1);
    EXPECT_EQ(host().images_created(), 4) << "tracking restarts from nothing";
    test::stop_library();
    EXPECT_EQ(host().images_alive(), 0u);
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(MainTask, IdlePassesAreNotCounted) {
    // On the calling thread: one pass, then an idle one.
    host().use_clock(1'000'000);
    vca_base_init();
    TQ_MUTEX_S* algo = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
    tq_mutex_init(algo);
    VCA_CTRL_S* ctrl = vca_get_pCtrl_param();
    ctrl->algo_running = 1;
    Frame frame;
    frame.on_read = [ctrl] {
        host().advance_clock(17'000);
        ctrl->algo_running = 0;
    };
    host().push({frame});
    vca_algo_main_task(nullptr);
    EXPECT_EQ(vca_get_algo_loop_tm(), 17);
    ctrl->base_ready = 0;
    test::StdoutCapture out;
    ctrl->algo_running = 1;
    std::thread stopper([ctrl] {
        avs_mdelay(100);
        std::atomic_ref(ctrl->algo_running) = uint8_t{0};
    });
    vca_algo_main_task(nullptr);
    stopper.join();
    EXPECT_GE(test::count_log(out.text(), "Algo module is initializing..."), 1);
    EXPECT_EQ(vca_feed_frm_cnt_get(), 1);
    EXPECT_EQ(vca_get_algo_loop_tm(), 17);
    tq_mutex_uninit(algo);
}

TEST(MainTask, TracksAreReleasedAtTheEnd) {
    test::start_library(test::plain_config());
    Frame frame;
    for (int i = 0; i < 5; ++i)
        frame.colour.push_back({i + 1, 100 + 150 * i, 200, 60, 60, 1, 0.9f});
    ASSERT_TRUE(host().run({frame, frame}));
    EXPECT_EQ(host().images_alive(), 5u);
    test::StdoutCapture out;
    vca_algo_uninit();
    EXPECT_EQ(host().images_destroyed(), 5);
    EXPECT_EQ(host().images_alive(), 0u);
    EXPECT_EQ(test::count_log(out.text(), "Algo task proc exited..."), 1);
    vca_base_uninit();
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(MainTask, ReturnsAtOnceWhenNotRunning) {
    test::StdoutCapture out;
    EXPECT_EQ(vca_algo_main_task(nullptr), nullptr);
    EXPECT_THAT(host().call_texts(), ElementsAre("tq_task_set_name(vca-algo)"));
    EXPECT_THAT(test::log_bodies(out.text()), ElementsAre("Algo task proc exited..."));
}

TEST(MainTask, RunningFlagIsTestedAfterThePass) {
    // On the calling thread: the pass clears the flag itself and still ends completely.
    vca_base_init();
    TQ_MUTEX_S* algo = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
    tq_mutex_init(algo);
    vca_depth_algo_init();
    vca_get_pCtrl_param()->algo_running = 1;
    Frame frame;
    frame.on_read = [] { vca_get_pCtrl_param()->algo_running = 0; };
    host().push({frame, Frame{}});
    EXPECT_EQ(vca_algo_main_task(nullptr), nullptr);
    EXPECT_EQ(host().frames_read(), 1);
    EXPECT_EQ(vca_feed_frm_cnt_get(), 1);
    EXPECT_EQ(host().blocks_held(), 0u);
    tq_mutex_uninit(algo);
}

TEST(MainTask, BaseStageTakenDownDuringTheWaitForTheMutexIsNotUsed) {
    // On the calling thread: the host takes the base stage down between the test and the lock.
    vca_base_init();
    TQ_MUTEX_S* algo = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
    tq_mutex_init(algo);
    vca_get_pCtrl_param()->algo_running = 1;
    host().on_call = [](const std::string& call) {
        if (call != "tq_mutex_lock(algo)") return;
        vca_get_pCtrl_param()->base_ready = 0;
        vca_get_pCtrl_param()->algo_running = 0;
    };
    host().push({Frame{}});
    EXPECT_EQ(vca_algo_main_task(nullptr), nullptr);
    EXPECT_EQ(host().frames_read(), 0);
    EXPECT_EQ(host().count_calls("tq_mutex_unlock(algo)"), 1);
    EXPECT_EQ(vca_feed_frm_cnt_get(), 0);
    tq_mutex_uninit(algo);
}

TEST(MainTask, TrackListReleaseGoesFrontToBack) {
    std::vector<TRACKER_RSLT_S> list(3);
    for (auto& track : list)
        vca_create_image(&track.attrImg, VCA_IMAGE_NV12, 224, 224);
    ASSERT_EQ(host().images_alive(), 3u);
    std::vector<uint64_t> alive;
    host().on_call = [&](const std::string& call) {
        if (call == "vca_destroy_image") alive.push_back(host().images_alive());
    };
    EXPECT_EQ(vca_trk_obj_list_release(list), 0);
    EXPECT_TRUE(list.empty());
    EXPECT_THAT(alive, ElementsAre(3, 2, 1));
    EXPECT_THAT(host().destroyed_handles(), ElementsAre(1, 2, 3));
    EXPECT_EQ(vca_trk_obj_list_release(list), 0);
    EXPECT_EQ(host().images_destroyed(), 3);
}

// One person in a region, with everything on that a pass can send without a crossing.
class MainTaskMessages : public testing::Test {
  protected:
    MainTaskMessages() {
        test::set_region(cfg_, 0, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
        cfg_.HtmpEn = 1;
        person_.colour = {{1, 300, 200, 80, 80, 1, 0.9f}};
    }

    static std::vector<int> sent_in(int frame) {
        std::vector<int> ids;
        for (const auto& message : host().messages()) {
            if (!message.on_task || message.frame != frame) continue;
            ids.push_back(message.id);
        }
        return ids;
    }

    static void show_detection(int32_t value) {
        ASSERT_TRUE(host().deliver(VCA_MSG_SHOW_DETECTION, &value));
    }

    VCA_ALGO_CFG_S cfg_ = test::plain_config();
    Frame person_;
};

TEST_F(MainTaskMessages, CallsOfAPassInOrder) {
    test::apply_config(cfg_);
    int32_t on = 1;
    vca_set_draw_exclusion_alive(0, &on);
    // Called directly: the first pass may come before the handlers are registered.
    person_.on_read = [] { vca_install_height_request(0, nullptr); };
    host().push({person_, person_});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    test::stop_library();
    EXPECT_THAT(pass_calls(0),
                ElementsAreArray(with_release(
                    {"vca_nn_detection(101,real_img)", "vca_nn_detection(102,depth_img)",
                     "ioutracker_objects_reset(0)", "ioutracker_add_object(0,0)",
                     "ioutracker_update(0)", "vca_create_image(2,224,224)",
                     "vca_image_crop_letter(294,194,92,92)", "vca_nn_classification(103)",
                     "tq_sock_send_msg(1,6090,27016)", "tq_sock_send_msg(1,6069,27016)",
                     "tq_sock_send_msg(1,6070,8672)", "tq_sock_send_msg(1,6077,4)"})));
    const auto second = pass_calls(1);
    ASSERT_EQ(second.size(), 17u);
    EXPECT_EQ(second[5], "vca_nn_detection(104,other)");
}

TEST_F(MainTaskMessages, CallsOfAMastersPassInOrder) {
    cfg_.devWorkMode = VCA_WORK_MASTER;
    test::apply_config(cfg_);
    int32_t on = 1;
    vca_set_draw_exclusion_alive(0, &on);
    person_.on_read = [] { vca_install_height_request(0, nullptr); };
    host().push({person_});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    test::stop_library();
    EXPECT_THAT(
        pass_calls(0),
        ElementsAreArray(with_release(
            {"vca_nn_detection(101,real_img)", "vca_nn_detection(102,depth_img)",
             "ioutracker_objects_reset(0)", "ioutracker_add_object(0,0)", "ioutracker_update(0)",
             "vca_create_image(2,224,224)", "vca_image_crop_letter(294,194,92,92)",
             "vca_nn_classification(103)", "tq_sock_send_msg(1,6090,27016)",
             "ioutracker_objects_reset(1)", "ioutracker_add_object(1,0)", "ioutracker_update(1)",
             "tq_sock_send_msg(1,6069,27016)", "tq_sock_send_msg(1,6070,8672)",
             "tq_sock_send_msg(1,6077,4)"})));
}

TEST_F(MainTaskMessages, CallsOfASlavesPassInOrder) {
    cfg_.devWorkMode = VCA_WORK_SLAVE;
    test::apply_config(cfg_);
    int32_t on = 1;
    vca_set_draw_exclusion_alive(0, &on);
    person_.on_read = [] { vca_install_height_request(0, nullptr); };
    host().push({person_});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    test::stop_library();
    EXPECT_THAT(
        pass_calls(0),
        ElementsAreArray(with_release(
            {"vca_nn_detection(101,real_img)", "vca_nn_detection(102,depth_img)",
             "ioutracker_objects_reset(0)", "ioutracker_add_object(0,0)", "ioutracker_update(0)",
             "vca_create_image(2,224,224)", "vca_image_crop_letter(294,194,92,92)",
             "vca_nn_classification(103)", "tq_sock_send_msg(1,6090,27016)",
             "tq_sock_send_msg(1,6085,6136)", "tq_sock_send_msg(1,6077,4)"})));
}

TEST_F(MainTaskMessages, DetectedTracksAreShownWhileSwitchedOn) {
    test::start_library(cfg_);
    ASSERT_TRUE(host().run({person_}));
    EXPECT_THAT(sent_in(0), ElementsAre(6069, 6070)) << "off at load time";
    show_detection(1);
    ASSERT_TRUE(host().run({person_, person_}));
    EXPECT_THAT(sent_in(1), ElementsAre(6090, 6069, 6070));
    EXPECT_THAT(sent_in(2), ElementsAre(6090, 6069, 6070));
    for (const int32_t off : {2, 0, -1}) {
        show_detection(off);
        ASSERT_TRUE(host().run({person_}));
        EXPECT_THAT(sent_in(host().frames_read() - 1), ElementsAre(6069, 6070)) << off;
        show_detection(1);
        ASSERT_TRUE(host().run({person_}));
        EXPECT_THAT(sent_in(host().frames_read() - 1), ElementsAre(6090, 6069, 6070));
    }
    test::stop_library();
}

TEST_F(MainTaskMessages, NothingIsShownBeforeTheFirstPerson) {
    test::start_library(cfg_);
    show_detection(1);
    ASSERT_TRUE(host().run({Frame{}, Frame{}, person_, Frame{}}));
    EXPECT_THAT(sent_in(0), IsEmpty());
    EXPECT_THAT(sent_in(1), IsEmpty());
    EXPECT_THAT(sent_in(2), ElementsAre(6090, 6069, 6070));
    EXPECT_THAT(sent_in(3), ElementsAre(6090, 6069, 6070)) << "a lost track is still shown";
    // Lost for more than four passes it is gone; the displays go on, the report ends once empty.
    ASSERT_TRUE(host().run(std::vector<Frame>(6)));
    EXPECT_THAT(sent_in(6), ElementsAre(6090, 6069, 6070));
    EXPECT_THAT(sent_in(7), ElementsAre(6090, 6069, 6070)) << "the empty report";
    EXPECT_THAT(sent_in(8), ElementsAre(6090, 6069));
    test::stop_library();
}

TEST_F(MainTaskMessages, SlaveSendsNeitherTracksNorRegions) {
    cfg_.devWorkMode = VCA_WORK_SLAVE;
    test::start_library(cfg_);
    ASSERT_TRUE(host().run(std::vector<Frame>(3, person_)));
    EXPECT_THAT(host().messages(VCA_MSG_TRACKS), IsEmpty());
    EXPECT_THAT(host().messages(VCA_MSG_REGIONS), IsEmpty());
    show_detection(1);
    ASSERT_TRUE(host().run({person_}));
    EXPECT_THAT(host().messages(VCA_MSG_TRACKS), IsEmpty());
    EXPECT_THAT(host().messages(VCA_MSG_REGIONS), IsEmpty());
    EXPECT_EQ(host().messages(VCA_MSG_DETECTED_TRACKS).size(), 1u);
    test::stop_library();
    // Nor does a slave heat its map.
    const HEAT_MAP_S zero{};
    EXPECT_EQ(std::memcmp(vca_dev_get_heat_map_rslt(), &zero, sizeof(zero)), 0);
}

TEST_F(MainTaskMessages, FailedAcquisitionShowsNothing) {
    test::start_library(cfg_);
    show_detection(1);
    ASSERT_TRUE(host().run({person_}));
    host().clear_messages();
    person_.has_depth = false;
    ASSERT_TRUE(host().run({person_, person_}));
    EXPECT_THAT(host().messages(), IsEmpty());
    test::stop_library();
}

TEST(MainTask, SlavePassRunsTrackingButSettlesNoEvents) {
    auto cfg = test::plain_config();
    cfg.devWorkMode = VCA_WORK_SLAVE;
    test::apply_config(cfg);
    Frame frame;
    frame.colour = {{1, 300, 200, 80, 80, 1, 0.9f}};
    host().push({frame});
    test::start_library();
    ASSERT_TRUE(host().run({}));
    const auto calls = pass_calls(0);
    EXPECT_THAT(calls, testing::Contains("ioutracker_update(0)"));
    EXPECT_EQ(host().count_calls("ioutracker_update(1)"), 0);
    test::stop_library();
}

}  // namespace
