// Walks through failures, restarts and changes of configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenario/scene.h"
#include "tests/support/log_lines.h"
#include "tests/support/stdout_capture.h"

namespace {

using test::Count;
using test::counts;
using test::Frame;
using test::host;
using test::play;
using test::walk;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(LifecycleScenario, FailedAcquisitionsOnlyCostTime) {
    std::vector<Frame> frames;
    int missing = 0;
    int count_frame = 0;
    const auto good = walk({{}}, 35);
    for (size_t k = 0; k < good.size(); ++k) {
        Frame broken = good[k];
        (k % 3 == 0 ? broken.has_real : k % 3 == 1 ? broken.has_depth : broken.has_raw) = false;
        for (size_t i = 0; i < k % 4; ++i, ++missing)
            frames.push_back(broken);
        if (k == 17) count_frame = static_cast<int>(frames.size());
        frames.push_back(good[k]);
    }
    play(test::line_config(), frames);
    EXPECT_THAT(counts(), ElementsAre(Count{count_frame, 1, 0, 2}));
    EXPECT_EQ(test::difference(host().messages(VCA_MSG_LINE_COUNT)[0],
                               test::expected_count(17, 1, {480, 304}, 2)),
              "");
    EXPECT_EQ(vca_feed_frm_cnt_get(), 35);
    EXPECT_EQ(host().blocks_held(), 0u);
    EXPECT_EQ(host().mappings_held(), 0u);
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(LifecycleScenario, SetsWithoutFlagStillCount) {
    auto frames = walk({{}}, 35);
    for (auto& frame : frames)
        frame.flag = 0;
    play(test::line_config(), frames);
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 0, 2}));
    EXPECT_EQ(host().blocks_held(), 3u * 35u) << "sets without a flag are not given back";
}

TEST(LifecycleScenario, BaseStageCycledInTheWalk) {
    auto cfg = test::line_config();
    cfg.ShowHistoryBox = 1;
    const auto frames = walk({{}}, 40);
    const std::vector<Frame> before(frames.begin(), frames.begin() + 8);
    const std::vector<Frame> after(frames.begin() + 8, frames.end());
    test::start_library(cfg);
    ASSERT_TRUE(host().run(before));
    vca_base_uninit();
    vca_base_init();
    // The task may see the stage down or sleep through it; either way it goes on.
    ASSERT_TRUE(host().run(after));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 0, 2}));
    test::stop_library();
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(LifecycleScenario, BaseStageDownForgetsThePeople) {
    auto cfg = test::line_config();
    cfg.ShowHistoryBox = 1;
    const auto frames = walk({{}}, 40);
    test::StdoutCapture out;
    test::start_library(cfg);
    // Frame 16 leaves the walker 20 pixels past the line; after the pause he is new there.
    ASSERT_TRUE(host().run({frames.begin(), frames.begin() + 17}));
    vca_base_uninit();
    while (test::count_log(out.text(), "Algo module is initializing...") == 0)
        avs_mdelay(2);
    vca_base_init();
    ASSERT_TRUE(host().run({frames.begin() + 17, frames.end()}));
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_EQ(host().messages(VCA_MSG_TRACK_BORN).size(), 2u);
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_REMOVED), IsEmpty());
    test::stop_library();
    EXPECT_EQ(host().images_alive(), 0u);
}

TEST(LifecycleScenario, StartAndStopManyTimes) {
    test::apply_config(test::line_config());
    for (int round = 0; round < 25; ++round) {
        host().push(walk({{}, {.id = 2, .from = {300, 444}, .step = {0, -12}}}, 20));
        test::start_library();
        ASSERT_TRUE(host().run({}));
        test::stop_library();
        ASSERT_EQ(counts().size(), static_cast<size_t>(2 * round + 2)) << round;
        ASSERT_EQ(host().images_alive(), 0u);
        ASSERT_EQ(host().blocks_held(), 0u);
    }
    EXPECT_EQ(host().locks(), host().unlocks());
    EXPECT_EQ(host().images_created(), 50);
    EXPECT_EQ(host().count_calls("ioutracker_init"), 50);
    EXPECT_EQ(host().count_calls("ioutracker_uninit"), 50);
    EXPECT_EQ(vca_feed_frm_cnt_get(), 25 * 20);
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(LifecycleScenario, StartAndStopWithoutAFrame) {
    for (int round = 0; round < 30; ++round) {
        test::start_library();
        test::stop_library();
    }
    EXPECT_EQ(host().locks(), host().unlocks());
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(LifecycleScenario, AlgorithmStageAloneIdles) {
    vca_algo_init();
    avs_mdelay(20);
    EXPECT_EQ(host().count_calls("avs_read_all_ive"), 0);
    vca_algo_uninit();
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(LifecycleScenario, NewConfigurationKeepsTheTracks) {
    auto cfg = test::line_config();
    const auto frames = walk({{}}, 40);
    test::start_library(cfg);
    ASSERT_TRUE(host().run({frames.begin(), frames.begin() + 16}));
    test::set_line(cfg, 1, {{200, 400}, {760, 400}});
    cfg.HtmpEn = 1;
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run({frames.begin() + 16, frames.end()}));
    // The second line at 400: 26 past it at 436 in frame 28.
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 0, 2}, Count{28, 1, 1, 2}));
    test::stop_library();
}

TEST(LifecycleScenario, LineSwitchedOffInTime) {
    const auto frames = walk({{}}, 40);
    test::start_library(test::line_config());
    ASSERT_TRUE(host().run({frames.begin(), frames.begin() + 17}));
    const auto cfg = test::plain_config();
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run({frames.begin() + 17, frames.end()}));
    EXPECT_THAT(counts(), IsEmpty());
    test::stop_library();
}

TEST(LifecycleScenario, HeightRequestsOnTheWay) {
    auto frames = walk({{}}, 35);
    frames[3].on_read = [] {
        host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr);
        host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr);
    };
    frames[15].on_read = [] { host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr); };
    frames[17].on_read = frames[15].on_read;
    play(test::line_config(), frames);
    const auto answers = host().messages(VCA_MSG_INSTALL_HEIGHT);
    ASSERT_EQ(answers.size(), 3u);
    // Frame 3: the walker's head ends above the 30 x 20 pixels under the image centre, so
    // (3000 + 600 * 3000) / 600 = 3005. Frame 15 is 12 frames later and repeats it. In frame 17 the
    // head (y = 264 .. 344, depth rows 124 .. 160, columns 220 .. 259) covers rows 124 to 142 of
    // the area's 113 to 142: 11 rows of floor and 19 of head, (3000 + 220 * 3000 + 380 * 1300) /
    // 600.
    EXPECT_EQ(answers[0].frame, 3);
    EXPECT_EQ(answers[0].as<int32_t>(), 3005);
    EXPECT_EQ(answers[1].frame, 15);
    EXPECT_EQ(answers[1].as<int32_t>(), 3005);
    EXPECT_EQ(answers[2].frame, 17);
    EXPECT_EQ(answers[2].as<int32_t>(), 1157000 / 600);
    // In the pass the answer follows everything else.
    std::vector<int> ids;
    for (const auto& message : host().messages())
        if (message.frame == 17) ids.push_back(message.id);
    EXPECT_THAT(ids, ElementsAre(VCA_MSG_TRACKS, VCA_MSG_LINE_COUNT, VCA_MSG_INSTALL_HEIGHT));
}

TEST(LifecycleScenario, FailingImageCreationDoesNotStopCounting) {
    host().image_fails = [](int) { return true; };
    play(test::line_config(), walk({{.last = 25}}, 40));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 0, 2}));
    EXPECT_EQ(host().images_created(), 0);
    EXPECT_EQ(host().zero_images_destroyed(), 1);
    EXPECT_THAT(host().errors(), IsEmpty());
}

}  // namespace
