// Numbers no well-behaved host sends: the library stays in bounds and counts on afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <limits>
#include <memory>
#include <random>

#include "tests/scenario/scene.h"
#include "tests/support/stdout_capture.h"

namespace {

using test::Count;
using test::counts;
using test::Frame;
using test::host;
using test::walk;
using testing::ElementsAre;
using testing::IsEmpty;

const int kNumbers[] = {INT_MIN, INT_MIN + 1, -65536, -1,          0,      1,
                        40,      960,         65536,  INT_MAX - 1, INT_MAX};

VCA_ALGO_CFG_S busy_config() {
    auto cfg = test::line_config();
    test::set_line(cfg, 1, {{0, 0}, {959, 543}, {0, 543}, {959, 0}, {480, 272}});
    test::set_uturn(cfg, 1, {{100, 100}, {800, 100}, {800, 500}});
    test::set_exclusion(cfg, 0, 0, {{900, 0}, {959, 0}, {959, 60}});
    test::set_exclusion(cfg, 1, 1, {{0, 0}, {60, 0}, {60, 60}});
    test::set_region(cfg, 0, {{100, 100}, {800, 100}, {800, 500}, {100, 500}});
    test::set_region(cfg, 3, {{0, 0}, {959, 543}, {0, 543}});
    cfg.GroupEn = 1;
    cfg.HtmpEn = 1;
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    cfg.ShowDetectBox = 1;
    cfg.ShowHistoryBox = 1;
    return cfg;
}

// After whatever happened a walker must be counted as ever.
void expect_counting_goes_on() {
    // Six passes without anybody end every earlier track.
    ASSERT_TRUE(host().run(std::vector<Frame>(8)));
    host().clear_messages();
    const auto cfg = test::line_config();
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run(walk({{.id = 900001}}, 30)));
    ASSERT_EQ(counts().size(), 1u);
    EXPECT_EQ(counts()[0].id, 900001);
    EXPECT_EQ(counts()[0].cross, 2);
}

void expect_catalogue_lengths() {
    const std::map<int, size_t> lengths = {{6045, 104},  {6069, 27016}, {6070, 8672},   {6077, 4},
                                           {6078, 8048}, {6080, 24},    {6081, 259224}, {6083, 4},
                                           {6085, 6136}, {6086, 5784},  {6087, 20},     {6088, 20},
                                           {6090, 27016}};
    for (const auto& message : host().messages()) {
        const auto it = lengths.find(message.id);
        ASSERT_NE(it, lengths.end()) << message.id;
        EXPECT_EQ(message.bytes.size(), it->second) << message.id;
        EXPECT_EQ(message.channel, 1);
    }
}

class HostileHost : public testing::Test {
  protected:
    HostileHost() {
        host().record_task_calls = false;
        host().gender_answer = test::GenderAnswer{1, 0.75f, 0.125f};
        host().staff_answer = test::StaffAnswer{1, 0.5f};
        test::start_library(busy_config());
        int32_t on = 1;
        host().deliver(VCA_MSG_SHOW_DETECTION, &on);
    }

    ~HostileHost() override {
        test::stop_library();
        EXPECT_EQ(host().images_alive(), 0u);
        EXPECT_EQ(host().blocks_held(), 0u);
        EXPECT_THAT(host().errors(), IsEmpty());
    }

    int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
    int wild() { return kNumbers[below(static_cast<int>(std::size(kNumbers)))]; }

    float wild_float() {
        const float values[] = {std::numeric_limits<float>::quiet_NaN(),
                                std::numeric_limits<float>::infinity(),
                                -std::numeric_limits<float>::infinity(),
                                -1.0f,
                                0.0f,
                                0.9f,
                                1e38f};
        return values[below(7)];
    }

    void wild_boxes(VCA_NN_RESULT_S& result) {
        for (auto* list : {result.objects.objs, result.objects.raw_objs}) {
            for (int i = 0; i < VCA_DET_MAX; ++i) {
                DET_OBJ_S& obj = list[i];
                for (int32_t* field :
                     {&obj.x, &obj.y, &obj.w, &obj.h, &obj.area, &obj.gender, &obj.staff})
                    *field = below(2) == 0 ? wild() : below(960);
                obj.class_id = static_cast<uint8_t>(below(256));
                obj.score = wild_float();
                obj.height = wild_float();
            }
        }
    }

    std::mt19937 random_{2026};
};

TEST_F(HostileHost, DetectionCountsOutOfRange) {
    int call = 0;
    host().on_detection = [&](NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
        const int nums[] = {5000, -1, INT_MAX, INT_MIN, 129, 128, 0};
        auto& rslt = *static_cast<VCA_NN_RESULT_S*>(result);
        rslt.objects.num = nums[call++ % 7];
    };
    ASSERT_TRUE(host().run(walk({{}}, 40)));
    host().on_detection = nullptr;
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileHost, FullListsAreCutAtTheirCapacity) {
    host().on_detection = [](NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
        auto& objects = static_cast<VCA_NN_RESULT_S*>(result)->objects;
        objects.num = 5000;
        for (int i = 0; i < VCA_DET_MAX; ++i) {
            DET_OBJ_S& obj = objects.objs[i];
            obj = {};
            obj.x = 30 + i % 16 * 50;
            obj.y = 30 + i / 16 * 50;
            obj.w = obj.h = 40;
            obj.score = 0.9f;
            obj.class_id = VCA_CLASS_PERSON;
        }
    };
    ASSERT_TRUE(host().run(std::vector<Frame>(3)));
    EXPECT_EQ(host().added_objects(0).size(), 128u);
    const auto shown = host().messages(VCA_MSG_DETECTIONS);
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back().as<DET_SHOW_MSG_S>().merge_num, 30);
    host().on_detection = nullptr;
    expect_counting_goes_on();
}

TEST_F(HostileHost, WildBoxes) {
    host().on_detection = [&](NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
        auto& rslt = *static_cast<VCA_NN_RESULT_S*>(result);
        wild_boxes(rslt);
        rslt.objects.num = below(140) - 5;
    };
    ASSERT_TRUE(host().run(std::vector<Frame>(60)));
    host().on_detection = nullptr;
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileHost, WildBoxesAtEveryHeight) {
    host().on_detection = [&](NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
        auto& rslt = *static_cast<VCA_NN_RESULT_S*>(result);
        wild_boxes(rslt);
        rslt.objects.num = 20;
    };
    for (const int height_mm : {INT_MIN, -1, 0, 1, 2000, 5000, INT_MAX}) {
        auto cfg = busy_config();
        cfg.InstallHeight = height_mm;
        cfg.StandAloneTrk = height_mm & 1;
        host().deliver(VCA_MSG_CONFIG, &cfg);
        ASSERT_TRUE(host().run(std::vector<Frame>(15))) << height_mm;
    }
    host().on_detection = nullptr;
    expect_counting_goes_on();
}

TEST_F(HostileHost, TrackerIndicesOutOfRange) {
    host().on_update = [&](int, const std::vector<IOU_TRK_OBJ_S>& added) {
        IOU_TRK_RSLT_S result{};
        const int nums[] = {100, 101, 5000, -1, INT_MIN, INT_MAX, 3};
        result.num = nums[below(7)];
        for (auto& obj : result.objs) {
            const int indices[] = {
                -1, 128, 5000, INT_MIN, INT_MAX, 0, static_cast<int>(added.size())};
            obj.det_idx = indices[below(7)];
            obj.id = below(3) == 0 ? wild() : below(6);  // ids repeat
            obj.x = wild();
            obj.w = wild();
        }
        return result;
    };
    ASSERT_TRUE(host().run(walk({{}, {.id = 2, .from = {300, 300}}}, 60)));
    host().on_update = nullptr;
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileHost, RecordsWithBadIndicesAreIgnored) {
    // A walker counted as ever although every report carries companions that point nowhere.
    host().on_update = [](int, const std::vector<IOU_TRK_OBJ_S>& added) {
        IOU_TRK_RSLT_S result{};
        for (const int index : {-1, 0, 1, 127, 128, INT_MAX}) {
            auto& obj = result.objs[result.num++];
            obj.id = 50 + result.num;
            obj.det_idx = index;
        }
        if (added.empty()) result.num = 0;
        return result;
    };
    ASSERT_TRUE(host().run(walk({{}}, 30)));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 52, 0, 2})) << "only index 0 names a detection";
    host().on_update = nullptr;
    expect_counting_goes_on();
}

TEST_F(HostileHost, RepeatedIdsUpdateOneRecord) {
    host().on_update = [](int, const std::vector<IOU_TRK_OBJ_S>& added) {
        IOU_TRK_RSLT_S result{};
        for (size_t i = 0; i < 2 * added.size(); ++i) {
            auto& obj = result.objs[result.num++];
            obj.id = 77;
            obj.det_idx = 0;
        }
        return result;
    };
    ASSERT_TRUE(host().run(walk({{}}, 30)));
    EXPECT_EQ(host().images_created(), 1);
    EXPECT_THAT(counts(), ElementsAre(Count{17, 77, 0, 2}));
    host().on_update = nullptr;
    expect_counting_goes_on();
}

TEST_F(HostileHost, WildConfigurations) {
    const auto frames = walk({{}, {.id = 2, .from = {300, 400}, .step = {3, -9}}}, 6);
    for (int round = 0; round < 40; ++round) {
        VCA_ALGO_CFG_S cfg = busy_config();
        auto* words = reinterpret_cast<uint8_t*>(&cfg);
        for (int i = 0; i < 60; ++i) {
            const int32_t value = wild();
            std::memcpy(words + 4 * below(static_cast<int>(sizeof(cfg) / 4)), &value, 4);
        }
        cfg.devWorkMode = below(4) - 1;
        host().deliver(VCA_MSG_CONFIG, &cfg);
        ASSERT_TRUE(host().run(frames)) << round;
    }
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileHost, ImageSizesOutOfRange) {
    VCA_CTRL_S* ctrl = vca_get_pCtrl_param();
    const uint32_t sizes[] = {0, 1, 7, 8, 320, 0xFFFFFFFFu, 0x80000000u};
    for (const uint32_t w : sizes) {
        auto frames = walk({{.from = {480, 200}}}, 14);
        frames[0].on_read = [=] {
            // A depth image is never larger than its buffer; the other sizes are only divided by.
            for (int i = 0; i < 3; ++i)
                ctrl->img_size[i] = {w, w};
            ctrl->img_size[3] = {std::min(w, 480u), std::min(w, 256u)};
            ctrl->raw_img.width = std::min(w, 480u);
            ctrl->raw_img.height = std::min(w, 256u);
            ctrl->real_img.width = ctrl->real_img.height = w;
            host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr);
        };
        ASSERT_TRUE(host().run(frames)) << w;
    }
    vca_base_init();
    expect_counting_goes_on();
}

TEST_F(HostileHost, AttributeAnswersOutOfRange) {
    // Whole detection results where a few bytes are wanted, wild numbers in them.
    const auto write_whole = [&](NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
        if (model == test::kColourModel || model == test::kDepthModel) return;
        std::vector<int32_t> words(sizeof(VCA_NN_RESULT_S) / 4);
        for (auto& word : words)
            word = below(2) == 0 ? wild() : 1;
        std::memcpy(result, words.data(), sizeof(VCA_NN_RESULT_S));
    };
    host().on_detection = write_whole;
    host().on_classification = write_whole;
    ASSERT_TRUE(host().run(walk({{}, {.id = 2, .from = {300, 400}, .step = {3, -9}}}, 60)));
    host().on_detection = nullptr;
    host().on_classification = nullptr;
    expect_catalogue_lengths();
    for (const auto& message : host().messages(VCA_MSG_TRACKS)) {
        const auto shown = std::make_unique<SHOW_MSG_S>(message.as<SHOW_MSG_S>());
        for (int i = 0; i < shown->num; ++i) {
            EXPECT_THAT(shown->objs[i].gender, testing::AnyOf(0, 1, 2));
            EXPECT_THAT(shown->objs[i].staff, testing::AnyOf(0, 1));
        }
    }
    expect_counting_goes_on();
}

TEST_F(HostileHost, HeatMapRequestsInTheMiddleOfEverything) {
    host().on_detection = [&](NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
        if (model == test::kStaffModel) return;
        auto& rslt = *static_cast<VCA_NN_RESULT_S*>(result);
        wild_boxes(rslt);
        rslt.objects.num = 30;
    };
    std::vector<Frame> frames(60);
    for (auto& frame : frames)
        frame.on_read = [] {
            uint8_t request[VCA_HEAT_REQUEST_BYTES] = {1, 2, 3};
            host().deliver_locked(VCA_MSG_HEAT_MAP, request);
            host().deliver_locked(VCA_MSG_HEAT_MAP, nullptr);
            host().deliver_locked(VCA_MSG_HEAT_RESET, nullptr);
        };
    ASSERT_TRUE(host().run(frames));
    EXPECT_EQ(host().messages(VCA_MSG_HEAT_MAP).size(), 60u);
    host().on_detection = nullptr;
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileHost, MissingModelConfiguration) {
    host().model_cfg.clear();
    ASSERT_TRUE(host().run(walk({{}}, 5)));
    // A threshold of 0: the walker is shown.
    EXPECT_EQ(host().messages(VCA_MSG_DETECTIONS).size(), 5u);
    expect_counting_goes_on();
}

TEST_F(HostileHost, FrameCounterAtItsEnds) {
    for (const int count : {INT_MAX - 3, INT_MIN, -12}) {
        vca_feed_frm_cnt_set(count);
        auto frames = walk({{}}, 30);
        for (auto& frame : frames)
            frame.on_read = [] { host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr); };
        ASSERT_TRUE(host().run(frames));
        ASSERT_TRUE(host().run(std::vector<Frame>(8)));
    }
    EXPECT_EQ(host().messages(VCA_MSG_INSTALL_HEIGHT).size(), 90u);
    expect_counting_goes_on();
}

}  // namespace
