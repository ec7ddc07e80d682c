// A tracker that mixes people up, stages that go up and down under a running analysis, and handlers
// called by many threads.
#include <malloc.h>

#include <atomic>
#include <random>
#include <thread>

#include "tests/scenario/fault_fixture.h"

namespace {

using test::counts;
using test::Frame;
using test::host;
using test::run_watched;
using test::walk;
using testing::Pair;
using testing::SizeIs;

class TrackerFault : public test::HostFault {
  protected:
    // Answers the persons' own ids, changed by `change`, in the order of the detections.
    static void answer_ids(std::function<int(int frame, int id)> change) {
        host().on_update = [change](int, const std::vector<IOU_TRK_OBJ_S>& added) {
            IOU_TRK_RSLT_S targets{};
            for (const IOU_TRK_OBJ_S& obj : added) {
                // The walkers of these tests keep to their own half of the picture.
                const int own = obj.x + obj.w / 2 < 480 ? 1 : 2;
                targets.objs[targets.num] = obj;
                targets.objs[targets.num++].id = change(host().frames_read() - 1, own);
            }
            return targets;
        };
    }

    static void expect_recovered_tracker() {
        host().on_update = nullptr;
        expect_recovered();
    }
};

const std::vector<test::Walker> kSideBySide = {{.id = 1, .from = {300, 100}},
                                               {.id = 2, .from = {660, 100}}};
const std::vector<test::Walker> kTowardsEachOther = {
    {.id = 1, .from = {300, 100}}, {.id = 2, .from = {660, 448}, .step = {0, -12}}};

TEST_F(TrackerFault, IdsSwappedOnEveryFrameCountBothOnce) {
    answer_ids([](int frame, int id) { return frame % 2 == 0 ? id : 3 - id; });
    ASSERT_TRUE(run_watched(walk(kSideBySide, 35)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 2));
    EXPECT_EQ(host().images_created(), 2);
    expect_recovered_tracker();
}

TEST_F(TrackerFault, IdsSwappedOnceCountBothOnce) {
    for (const int at : {3, 12, 16, 17, 18, 25}) {
        SCOPED_TRACE(at);
        host().clear_messages();
        const int first = host().frames_read();
        answer_ids([=](int frame, int id) { return frame - first < at ? id : 3 - id; });
        ASSERT_TRUE(run_watched(walk(kSideBySide, 35)));
        EXPECT_THAT(crossings_of_line_0(), Pair(0, 2));
        ASSERT_TRUE(run_watched(std::vector<Frame>(8)));
    }
    expect_recovered_tracker();
}

// People who walk towards each other and swap ids seem to jump over the line and back: what is
// counted too much is so in both directions.
TEST_F(TrackerFault, IdsSwappedBetweenDirectionsStayBalanced) {
    for (const int at : {6, 10, 20, 26}) {
        SCOPED_TRACE(at);
        host().clear_messages();
        const int first = host().frames_read();
        answer_ids([=](int frame, int id) { return frame - first < at ? id : 3 - id; });
        ASSERT_TRUE(run_watched(walk(kTowardsEachOther, 35)));
        ASSERT_TRUE(run_watched(std::vector<Frame>(8)));
        const auto [up, down] = crossings_of_line_0();
        EXPECT_EQ(up, down);
        EXPECT_GE(up, 1);
        EXPECT_LE(up, 2);
    }
    expect_recovered_tracker();
}

TEST_F(TrackerFault, TheSameIdForEverybody) {
    answer_ids([](int, int) { return 5; });
    ASSERT_TRUE(run_watched(walk(kSideBySide, 35)));
    EXPECT_EQ(host().images_created(), 1);
    EXPECT_LE(counts().size(), 2u);
    expect_recovered_tracker();
}

TEST_F(TrackerFault, ANewIdOnEveryFrame) {
    answer_ids([](int frame, int id) { return 1000 + 2 * frame + id; });
    size_t most_images = 0;
    auto frames = walk(kSideBySide, 60);
    for (auto& frame : frames)
        frame.on_read = [&] { most_images = std::max(most_images, host().images_alive()); };
    ASSERT_TRUE(run_watched(frames));
    EXPECT_EQ(host().images_created(), 120);
    EXPECT_EQ(most_images, 10u) << "two people, each a record for five frames";
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_BORN), SizeIs(120));
    EXPECT_THAT(counts(), testing::IsEmpty());
    expect_recovered_tracker();
    EXPECT_EQ(host().images_created(), 121);
}

TEST_F(TrackerFault, OneDetectionUnderManyIds) {
    constexpr int kIds = 20;
    host().on_update = [](int, const std::vector<IOU_TRK_OBJ_S>& added) {
        IOU_TRK_RSLT_S targets{};
        for (int i = 0; i < kIds && !added.empty(); ++i) {
            targets.objs[targets.num] = added[0];
            targets.objs[targets.num++].id = i % 2 == 0 ? i : -i;
        }
        return targets;
    };
    ASSERT_TRUE(run_watched(walk({{}}, 35)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, kIds)) << "the library takes its word for it";
    EXPECT_EQ(host().images_created(), kIds);
    expect_recovered_tracker();
}

TEST_F(TrackerFault, NothingMoreFromTheTracker) {
    ASSERT_TRUE(run_watched(walk({{}}, 10)));
    host().on_update = [](int, const std::vector<IOU_TRK_OBJ_S>&) { return IOU_TRK_RSLT_S{}; };
    ASSERT_TRUE(run_watched(walk({{}}, 20)));
    EXPECT_EQ(host().images_alive(), 0u);
    expect_recovered_tracker();
}

class StageFault : public test::HostFault {};

TEST_F(StageFault, BaseStageCycledUnderARunningAnalysis) {
    for (int round = 0; round < 20; ++round) {
        host().push(test::watched(walk({{.last = 29}, {.id = 2, .from = {300, 100}}}, 34)));
        for (int cycle = 0; cycle < 4; ++cycle) {
            vca_base_uninit();
            vca_base_init();
            avs_mdelay(3);
        }
    }
    // The task sleeps for 0.8 s when it finds the stage down, which few of the 80 cycles bring
    // about.
    ASSERT_TRUE(host().run({}));
    EXPECT_EQ(host().count_calls("vca_mem_init"), 81);
    EXPECT_EQ(host().count_calls("vca_mem_uninit"), 80);
    expect_recovered();
}

TEST_F(StageFault, BaseStageDownWithPeopleInView) {
    ASSERT_TRUE(run_watched(walk(kSideBySide, 10)));
    EXPECT_EQ(host().images_alive(), 2u);
    vca_base_uninit();
    for (int i = 0; i < 2000 && host().images_alive() > 0; ++i)
        avs_mdelay(1);
    EXPECT_EQ(host().images_alive(), 0u) << "their images go when the stage goes";
    host().push(walk(kSideBySide, 5));
    const int read = host().frames_read();
    avs_mdelay(50);
    EXPECT_EQ(host().frames_read(), read) << "no set is borrowed without the stage";
    vca_base_init();
    ASSERT_TRUE(host().run({}));
    expect_recovered();
}

TEST_F(StageFault, StagesStoppedInTheWrongOrder) {
    ASSERT_TRUE(run_watched(walk(kSideBySide, 10)));
    vca_base_uninit();
    vca_algo_uninit();
    EXPECT_EQ(host().images_alive(), 0u);
    expect_nothing_on_loan();
    start();
    expect_recovered();
}

// Every other round stops the stage at whatever point of the passes it happens to be.
TEST_F(StageFault, AlgorithmStageCycledAThousandTimes) {
    const auto cycle = [](int round) {
        vca_algo_uninit();
        expect_nothing_on_loan();
        EXPECT_EQ(host().images_alive(), 0u) << round;
        EXPECT_EQ(host().locks(), host().unlocks()) << round;
        EXPECT_EQ(host().count_calls("tq_task_join"), 1);
        host().clear_calls();
        host().clear_messages();
        vca_algo_init();
        EXPECT_EQ(host().count_calls("tq_task_create_join"), 1);
        host().push(test::watched(walk(kSideBySide, 2)));
        EXPECT_TRUE(round % 2 == 1 || host().run({}));
    };
    host().clear_calls();
    size_t early_bytes = 0;
    for (int round = 0; round < 1000 && !HasFailure(); ++round) {
        cycle(round);
        if (round == 100) early_bytes = mallinfo2().uordblks;
    }
    const size_t late_bytes = mallinfo2().uordblks;
    EXPECT_GE(host().images_created(), 1000);
    // The test's own list of destroyed images makes up for some 40 of them.
    EXPECT_LT(late_bytes, early_bytes + 100 * 1024);
    ASSERT_TRUE(host().run({}));
    expect_recovered();
}

// One message of any kind, as the reference host delivers it: under the algorithm mutex.
void deliver_something(std::mt19937& random) {
    const uint8_t request[VCA_HEAT_REQUEST_BYTES] = {7};
    const int32_t number = static_cast<int32_t>(random() % 3);
    switch (random() % 8) {
        case 0: {
            auto cfg = test::full_config();
            cfg.devWorkMode = number;
            cfg.RgnEn = random() % 2;
            cfg.HtmpEn = random() % 2;
            host().deliver(VCA_MSG_CONFIG, &cfg);
            break;
        }
        case 1:
            host().deliver(VCA_MSG_HEAT_MAP, request);
            break;
        case 2:
            host().deliver(VCA_MSG_HEAT_RESET, nullptr);
            break;
        case 3:
            host().deliver(VCA_MSG_SHOW_DETECTION, &number);
            break;
        case 4:
            host().deliver(VCA_MSG_INSTALL_HEIGHT, nullptr);
            break;
        case 5: {
            MASTER_MSG_S report{};
            report.slave_idx = static_cast<uint32_t>(random() % 17);
            report.msg.count = static_cast<int32_t>(random() % 95);
            for (SLAVE_TRACK_S& track : report.msg.tracks) {
                track.class_id = VCA_CLASS_PERSON;
                track.score = 0.9f;
                track.height = 1700.0f;
                track.cx = track.foot_x = static_cast<int32_t>(random() % 960);
                track.cy = track.foot_y = static_cast<int32_t>(random() % 544);
            }
            host().deliver(VCA_MSG_SLAVE_TRACKS, &report);
            break;
        }
        case 6:
            host().deliver(VCA_MSG_ASK_FRAME_COUNT, nullptr);
            break;
        default:
            host().deliver(VCA_MSG_FRAME_COUNT, &number);
    }
}

TEST_F(StageFault, HandlersCalledBySeveralThreads) {
    // Heat maps are too large to keep hundreds of them.
    std::atomic<int> heat_maps = 0;
    host().send_fails = [&](int id) {
        if (id == VCA_MSG_HEAT_MAP) ++heat_maps;
        return id == VCA_MSG_HEAT_MAP;
    };
    std::atomic<bool> stop = false;
    std::atomic<int> delivered = 0;
    std::vector<std::thread> senders;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        senders.emplace_back([&, seed] {
            std::mt19937 random(seed);
            while (!stop) {
                deliver_something(random);
                ++delivered;
                avs_mdelay(1);
            }
        });
    }
    bool played = true;
    for (int round = 0; round < 10 && played; ++round)
        played = run_watched(walk({{.last = 29}, {.id = 2, .from = {300, 100}}}, 40));
    stop = true;
    for (auto& sender : senders)
        sender.join();
    ASSERT_TRUE(played);
    EXPECT_GT(delivered, 200);
    EXPECT_GT(heat_maps, 10);
    EXPECT_EQ(host().frames_read(), 400);
    host().send_fails = nullptr;
    expect_recovered();
}

}  // namespace
