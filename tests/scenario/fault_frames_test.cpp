// Faults of the host's frames, models, images, clock and message queue in the middle of a walk.
#include <limits>
#include <ostream>

#include "tests/scenario/fault_fixture.h"

namespace {

using test::counts;
using test::Frame;
using test::host;
using test::run_watched;
using test::walk;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class FrameFault : public test::HostFault {
  protected:
    // The clock is replaced while no task reads it.
    static void restart_on_own_clock() {
        test::stop_library();
        host().use_clock(1'700'000'000'000'000);
        start();
    }
};

// ---- Partial frame sets ----

struct PartialSet {
    const char* name;
    void (*damage)(Frame&);
};

// The names of the cases, which would else show addresses.
void PrintTo(const PartialSet& set, std::ostream* out) {
    *out << set.name;
}

class PartialSets : public test::HostFault, public testing::WithParamInterface<PartialSet> {};

// The camera stalls: 40 sets in a row lack the same frame while somebody is on his way.
TEST_P(PartialSets, CostTimeOnly) {
    const auto good = walk({{}}, 35);
    std::vector<Frame> frames(good.begin(), good.begin() + 12);
    for (int k = 0; k < 40; ++k) {
        frames.push_back(good[11]);
        GetParam().damage(frames.back());
    }
    frames.insert(frames.end(), good.begin() + 12, good.end());
    ASSERT_TRUE(run_watched(frames));
    EXPECT_EQ(vca_feed_frm_cnt_get(), 35);
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    EXPECT_EQ(counts()[0].frame, 17 + 40);
    expect_nothing_on_loan();
    expect_recovered();
}

INSTANTIATE_TEST_SUITE_P(
    Missing, PartialSets,
    testing::Values(
        PartialSet{"colour", [](Frame& f) { f.has_real = false; }},
        PartialSet{"depth", [](Frame& f) { f.has_depth = false; }},
        PartialSet{"raw", [](Frame& f) { f.has_raw = false; }},
        PartialSet{"all", [](Frame& f) { f.has_real = f.has_depth = f.has_raw = false; }},
        PartialSet{"colour_rest_unmapped", [](Frame& f) { f.has_real = f.mapped = false; }},
        PartialSet{"depth_rest_unmapped", [](Frame& f) { f.has_depth = f.mapped = false; }},
        PartialSet{"raw_rest_unmapped", [](Frame& f) { f.has_raw = f.mapped = false; }},
        PartialSet{"colour_but_mapped",
                   [](Frame& f) {
                       f.has_real = false;
                       f.map_without_block = true;
                   }},
        PartialSet{"depth_but_mapped",
                   [](Frame& f) {
                       f.has_depth = false;
                       f.map_without_block = true;
                   }},
        PartialSet{"raw_but_mapped",
                   [](Frame& f) {
                       f.has_raw = false;
                       f.map_without_block = true;
                   }},
        PartialSet{"all_but_mapped",
                   [](Frame& f) {
                       f.has_real = f.has_depth = f.has_raw = false;
                       f.map_without_block = true;
                   }}),
    [](const auto& param) { return std::string(param.param.name); });

class UnmappedFrames : public test::HostFault, public testing::WithParamInterface<PartialSet> {};

// A set whose blocks are all there is a pass, with whatever has an address.
TEST_P(UnmappedFrames, AreCountedIn) {
    auto frames = walk({{}}, 35);
    for (size_t k = 10; k < 30; ++k) {
        GetParam().damage(frames[k]);
        frames[k].on_read = [] { host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr); };
    }
    ASSERT_TRUE(run_watched(frames));
    EXPECT_EQ(vca_feed_frm_cnt_get(), 35);
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    EXPECT_EQ(counts()[0].frame, 17);
    EXPECT_THAT(host().messages(VCA_MSG_INSTALL_HEIGHT), SizeIs(20));
    expect_recovered();
}

INSTANTIATE_TEST_SUITE_P(
    Each, UnmappedFrames,
    testing::Values(PartialSet{"colour", [](Frame& f) { f.real_mapped = false; }},
                    PartialSet{"depth", [](Frame& f) { f.depth_mapped = false; }},
                    PartialSet{"raw", [](Frame& f) { f.raw_mapped = false; }},
                    PartialSet{"all", [](Frame& f) { f.mapped = false; }}),
    [](const auto& param) { return std::string(param.param.name); });

// ---- Frames that never come ----

TEST_F(FrameFault, NoFramesForLongInTheMiddleOfAWalk) {
    restart_on_own_clock();
    const auto frames = walk({{}}, 35);
    ASSERT_TRUE(run_watched({frames.begin(), frames.begin() + 16}));
    host().advance_clock(3'600'000'000);
    ASSERT_TRUE(host().wait_idle_reads(400));
    expect_nothing_on_loan();
    EXPECT_EQ(host().images_alive(), 1u) << "the walker is still followed";
    EXPECT_EQ(vca_feed_frm_cnt_get(), 16);
    ASSERT_TRUE(run_watched({frames.begin() + 16, frames.end()}));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    EXPECT_EQ(counts()[0].frame, 17);
    expect_recovered();
}

TEST_F(FrameFault, FramesThatNeverComeAtAll) {
    ASSERT_TRUE(host().wait_idle_reads(400));
    test::stop_library();
    expect_nothing_on_loan();
    EXPECT_EQ(host().images_created(), 0);
    start();
    expect_recovered();
}

// ---- Inference ----

TEST_F(FrameFault, InferenceFailsWhileTheLineIsCrossed) {
    // Frames 14 to 17 see nobody; after four frames a target is not given up yet.
    host().model_fails = [](NN_MODEL_TYPE_E) {
        const int frame = host().frames_read() - 1;
        return frame >= 14 && frame <= 17;
    };
    ASSERT_TRUE(run_watched(walk({{}}, 35)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    EXPECT_EQ(counts()[0].frame, 18);
    EXPECT_EQ(host().images_created(), 1);
    host().model_fails = nullptr;
    expect_recovered();
}

TEST_F(FrameFault, InferenceFailsEverySecondFrame) {
    host().model_fails = [](NN_MODEL_TYPE_E) { return host().frames_read() % 2 == 0; };
    ASSERT_TRUE(run_watched(walk({{}}, 35)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    EXPECT_EQ(host().images_created(), 1);
    host().model_fails = nullptr;
    expect_recovered();
}

TEST_F(FrameFault, InferenceFailsForLong) {
    ASSERT_TRUE(run_watched(walk({{}}, 10)));
    host().model_fails = [](NN_MODEL_TYPE_E) { return true; };
    ASSERT_TRUE(run_watched(walk({{}}, 60)));
    EXPECT_EQ(host().images_alive(), 0u) << "nobody is seen, nobody is followed";
    EXPECT_THAT(counts(), IsEmpty());
    host().model_fails = nullptr;
    expect_recovered();
}

TEST_F(FrameFault, AttributeModelsAndCropsFail) {
    host().crop_fails = true;
    host().model_fails = [](NN_MODEL_TYPE_E model) {
        return model == test::kAttrModel || model == test::kStaffModel;
    };
    ASSERT_TRUE(run_watched(walk({{}}, 35)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    const auto msg = host().messages(VCA_MSG_LINE_COUNT)[0].as<LINE_COUNT_MSG_S>();
    EXPECT_EQ(msg.obj.gender, 0);
    EXPECT_EQ(msg.obj.staff, 0);
    host().crop_fails = false;
    host().model_fails = nullptr;
    expect_recovered();
}

// Both detection models write 128 boxes of nonsense and say that they failed, or do not.
struct Nonsense {
    const char* name;
    void (*write)(int i, DET_OBJ_S& obj);
};

void PrintTo(const Nonsense& nonsense, std::ostream* out) {
    *out << nonsense.name;
}

class NonsenseBoxes : public test::HostFault,
                      public testing::WithParamInterface<std::tuple<Nonsense, bool>> {};

TEST_P(NonsenseBoxes, AreSurvived) {
    const auto [nonsense, fails] = GetParam();
    ASSERT_TRUE(run_watched(walk({{}}, 10)));
    if (fails) host().model_fails = [](NN_MODEL_TYPE_E) { return true; };
    host().on_detection = [write = nonsense.write](NN_MODEL_TYPE_E model, const VCA_IMAGE_S*,
                                                   void* result) {
        if (model == test::kStaffModel) return;
        auto& objects = static_cast<VCA_NN_RESULT_S*>(result)->objects;
        objects.num = VCA_DET_MAX;
        for (int i = 0; i < VCA_DET_MAX; ++i) {
            objects.objs[i] = {};
            objects.objs[i].class_id = VCA_CLASS_PERSON;
            objects.objs[i].score = 0.9f;
            write(i, objects.objs[i]);
            objects.raw_objs[i] = objects.objs[i];
        }
    };
    // Every box a target of its own, as far as a report reaches.
    host().on_update = [](int, const std::vector<IOU_TRK_OBJ_S>& added) {
        IOU_TRK_RSLT_S targets{};
        for (const IOU_TRK_OBJ_S& obj : added) {
            if (targets.num == VCA_TRK_MAX) break;
            targets.objs[targets.num] = obj;
            targets.objs[targets.num++].id = 100 + obj.det_idx;
        }
        return targets;
    };
    ASSERT_TRUE(run_watched(std::vector<Frame>(12)));
    host().on_detection = nullptr;
    host().on_update = nullptr;
    host().model_fails = nullptr;
    expect_recovered();
}

constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();
constexpr int32_t kSmallest = std::numeric_limits<int32_t>::min();

INSTANTIATE_TEST_SUITE_P(
    Of, NonsenseBoxes,
    testing::Combine(testing::Values(Nonsense{"nan_scores",
                                              [](int i, DET_OBJ_S& obj) {
                                                  obj.x = 30 + i % 16 * 50;
                                                  obj.y = 30 + i / 16 * 50;
                                                  obj.w = obj.h = 40;
                                                  obj.score =
                                                      std::numeric_limits<float>::quiet_NaN();
                                              }},
                                     Nonsense{"infinite_scores",
                                              [](int i, DET_OBJ_S& obj) {
                                                  obj.x = 30 + i % 16 * 50;
                                                  obj.y = 30 + i / 16 * 50;
                                                  obj.w = obj.h = 40;
                                                  obj.score =
                                                      std::numeric_limits<float>::infinity() *
                                                      (i % 2 == 0 ? 1.0f : -1.0f);
                                                  obj.height = obj.score;
                                              }},
                                     Nonsense{"inverted_boxes",
                                              [](int i, DET_OBJ_S& obj) {
                                                  obj.x = 60 + i % 16 * 50;
                                                  obj.y = 60 + i / 16 * 50;
                                                  obj.w = obj.h = -40;
                                              }},
                                     Nonsense{"empty_boxes",
                                              [](int i, DET_OBJ_S& obj) {
                                                  obj.x = i * 7;
                                                  obj.y = i * 4;
                                              }},
                                     Nonsense{"huge_coordinates",
                                              [](int i, DET_OBJ_S& obj) {
                                                  obj.x = i % 2 == 0 ? kLargest - i : kSmallest + i;
                                                  obj.y = i % 4 < 2 ? kLargest - i : kSmallest + i;
                                                  obj.w = i % 8 < 4 ? kLargest : kSmallest;
                                                  obj.h = i % 16 < 8 ? kLargest : kSmallest;
                                                  obj.area = kLargest;
                                              }},
                                     Nonsense{"one_box_128_times",
                                              [](int, DET_OBJ_S& obj) {
                                                  obj.x = 440;
                                                  obj.y = 232;
                                                  obj.w = obj.h = 80;
                                              }}),
                     testing::Bool()),
    [](const auto& param) {
        return std::string(std::get<0>(param.param).name) +
               (std::get<1>(param.param) ? "_and_a_failure" : "");
    });

// ---- Images ----

TEST_F(FrameFault, ImageCreationFailsOnce) {
    host().image_fails = [](int nth) { return nth == 0; };
    ASSERT_TRUE(run_watched(walk({{}, {.id = 2, .from = {300, 100}, .first = 5}}, 40)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 2));
    EXPECT_EQ(host().images_created(), 1) << "the second walker has one";
    expect_recovered();
    EXPECT_EQ(host().zero_images_destroyed(), 1) << "the record of the first went back empty";
}

TEST_F(FrameFault, ImageCreationFailsForAWhile) {
    host().image_fails = [](int nth) { return nth >= 2 && nth < 6; };
    for (int batch = 0; batch < 4; ++batch) {
        const int id = 10 * batch;
        ASSERT_TRUE(run_watched(walk({{.id = id + 1, .from = {300, 100}, .last = 29},
                                      {.id = id + 2, .from = {600, 100}, .last = 29}},
                                     36)));
        EXPECT_EQ(crossings_of_line_0().second, 2 * batch + 2);
        EXPECT_EQ(host().images_alive(), 0u);
    }
    EXPECT_EQ(host().images_created(), 4);
    EXPECT_EQ(host().zero_images_destroyed(), 4);
    expect_recovered();
}

TEST_F(FrameFault, ImageCreationFailsAlwaysAndTheStageStops) {
    host().image_fails = [](int) { return true; };
    ASSERT_TRUE(run_watched(walk({{}, {.id = 2, .from = {300, 100}}}, 20)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 2));
    test::stop_library();
    EXPECT_EQ(host().zero_images_destroyed(), 2);
    EXPECT_EQ(host().images_created(), 0);
    host().image_fails = nullptr;
    start();
    expect_recovered();
}

// ---- Message queue ----

TEST_F(FrameFault, SendingFails) {
    host().clear_messages();
    int lost = 0;
    host().send_fails = [&lost](int) {
        ++lost;
        return true;
    };
    auto frames = walk({{}}, 35);
    for (auto& frame : frames)
        frame.on_read = [] {
            const uint8_t request[VCA_HEAT_REQUEST_BYTES] = {1};
            host().deliver_locked(VCA_MSG_HEAT_MAP, request);
            host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr);
            host().deliver_locked(VCA_MSG_ASK_FRAME_COUNT, nullptr);
        };
    ASSERT_TRUE(run_watched(frames));
    ASSERT_TRUE(run_watched(std::vector<Frame>(8)));
    EXPECT_GT(lost, 35 * 4);
    EXPECT_THAT(host().messages(), IsEmpty());
    host().send_fails = nullptr;
    ASSERT_TRUE(run_watched(std::vector<Frame>(100)));
    EXPECT_THAT(counts(), IsEmpty()) << "what was lost is not sent again";
    EXPECT_THAT(host().messages(VCA_MSG_GROUP_COUNT), IsEmpty());
    expect_recovered();
}

TEST_F(FrameFault, OnlyTheCountIsLostWhenItsMessageIs) {
    host().send_fails = [](int id) { return id == VCA_MSG_LINE_COUNT; };
    ASSERT_TRUE(run_watched(walk({{}}, 35)));
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_THAT(host().messages(VCA_MSG_TRACKS), SizeIs(35));
    EXPECT_THAT(*vca_dev_get_counting_results(), IsEmpty());
    host().send_fails = nullptr;
    expect_recovered();
}

// ---- Model configuration ----

TEST(FaultAtStart, ModelConfigurationIsMissing) {
    host().model_cfg.clear();
    test::start_library(test::line_config());
    EXPECT_EQ(host().count_calls("ioutracker_set_conf_thresh(0,0,0)"), 1);
    EXPECT_EQ(host().count_calls("ioutracker_set_conf_thresh(1,0,0)"), 1);
    ASSERT_TRUE(run_watched(walk({{.last = 29}}, 40)));
    EXPECT_THAT(counts(), testing::ElementsAre(test::Count{17, 1, 0, 2}));
    test::stop_library();
    EXPECT_THAT(host().errors(), IsEmpty());
    EXPECT_EQ(host().blocks_held(), 0u);
    EXPECT_EQ(host().images_created(), host().images_destroyed());
    EXPECT_EQ(host().locks(), host().unlocks());
}

// ---- Clock ----

constexpr int kInRegion = 32;  // frames that a walker is inside region 0

// Stay times of the one walker in region 0, frame by frame.
std::vector<int32_t> stay_times_ms() {
    std::vector<int32_t> times;
    for (const auto& message : host().messages(VCA_MSG_REGIONS)) {
        const auto msg = message.as<RGN_MSG_S>();
        if (msg.num == 1 && msg.persons[0].rgn[0].inRgn != 0)
            times.push_back(msg.persons[0].rgn[0].stayTime);
    }
    return times;
}

void expect_sane_steps(const std::vector<int32_t>& times) {
    ASSERT_GT(times.size(), 20u);
    for (size_t i = 1; i < times.size(); ++i) {
        EXPECT_GE(times[i] - times[i - 1], 10) << i;
        EXPECT_LE(times[i] - times[i - 1], 500) << i;
    }
}

TEST_F(FrameFault, TimeRunsBackwards) {
    restart_on_own_clock();
    host().clock_step_us = -40'000;
    ASSERT_TRUE(run_watched(walk({{}}, kInRegion)));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    expect_sane_steps(stay_times_ms());
    expect_recovered();
}

TEST_F(FrameFault, TimeJumps) {
    constexpr int64_t kYear_us = 31'536'000'000'000;
    const int64_t jumps_us[] = {-kYear_us,
                                kYear_us,
                                -1,
                                100 * kYear_us,
                                -200 * kYear_us,
                                std::numeric_limits<int64_t>::max(),
                                std::numeric_limits<int64_t>::min(),
                                0};
    restart_on_own_clock();
    auto frames = walk({{}}, kInRegion);
    for (size_t k = 0; k < frames.size(); ++k)
        frames[k].on_read = [to_us = jumps_us[k % std::size(jumps_us)]] {
            host().set_clock(to_us);
        };
    ASSERT_TRUE(run_watched(frames));
    EXPECT_THAT(crossings_of_line_0(), Pair(0, 1));
    expect_sane_steps(stay_times_ms());
    const auto* heat = vca_dev_get_heat_map_rslt();
    ASSERT_TRUE(run_watched(std::vector<Frame>(8)));
    for (const auto& row : heat->dwell) {
        for (const int32_t cell_ms : row) {
            EXPECT_GE(cell_ms, 0);
            EXPECT_LE(cell_ms, kInRegion * 180);
        }
    }
    expect_recovered();
}

}  // namespace
