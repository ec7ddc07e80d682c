// Slave messages with any bytes in them: the master stays in bounds and counts on afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <random>

#include "tests/cascade/candidates.h"
#include "tests/scenario/scene.h"

namespace {

using test::Frame;
using test::host;
using testing::IsEmpty;

VCA_ALGO_CFG_S busy_config() {
    auto cfg = test::line_config();
    cfg.devWorkMode = VCA_WORK_MASTER;
    test::set_line(cfg, 1, {{0, 0}, {959, 543}, {0, 543}, {959, 0}, {480, 272}});
    test::set_uturn(cfg, 1, {{100, 100}, {800, 100}, {800, 500}});
    test::set_region(cfg, 0, {{100, 100}, {800, 100}, {800, 500}, {100, 500}});
    test::set_region(cfg, 3, {{0, 0}, {959, 543}, {0, 543}});
    cfg.GroupEn = 1;
    cfg.HtmpEn = 1;
    cfg.ShowHistoryBox = 1;
    return cfg;
}

class HostileSlaves : public testing::Test {
  protected:
    HostileSlaves() {
        host().record_task_calls = false;
        host().use_clock(1'000'000'000);
        host().clock_step_us = 100'000;
        test::start_library(busy_config());
    }

    ~HostileSlaves() override {
        test::stop_library();
        EXPECT_EQ(host().images_alive(), 0u);
        EXPECT_THAT(host().errors(), IsEmpty());
    }

    int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

    int32_t wild() {
        const int32_t values[] = {INT_MIN, INT_MIN + 1, -65536,  -1,          0,      1,
                                  40,      960,         1 << 24, INT_MAX - 1, INT_MAX};
        return below(2) == 0 ? values[below(11)] : below(960);
    }

    float wild_float() {
        const float values[] = {std::numeric_limits<float>::quiet_NaN(),
                                std::numeric_limits<float>::infinity(),
                                -std::numeric_limits<float>::infinity(),
                                -1.0f,
                                0.0f,
                                1700.0f,
                                1e38f};
        return values[below(7)];
    }

    std::vector<uint8_t> random_bytes() {
        std::vector<uint8_t> bytes(cascade::kDeliveredBytes);
        for (auto& byte : bytes)
            byte = static_cast<uint8_t>(random_());
        return bytes;
    }

    std::vector<uint8_t> wild_people(uint32_t slave) {
        std::vector<cascade::Report> reports(static_cast<size_t>(below(91)));
        for (auto& report : reports) {
            report.id = static_cast<uint32_t>(wild());
            report.class_id = static_cast<uint8_t>(below(256));
            report.score = wild_float();
            report.height = wild_float();
            report.gender = wild();
            report.staff = wild();
            report.cx = wild();
            report.cy = wild();
            report.foot_x = wild();
            report.foot_y = wild();
        }
        return cascade::delivered(slave, reports, static_cast<uint32_t>(wild())).bytes();
    }

    static void deliver(std::vector<uint8_t> bytes) {
        ASSERT_EQ(bytes.size(), cascade::kDeliveredBytes);
        ASSERT_TRUE(host().deliver(VCA_MSG_SLAVE_TRACKS, bytes.data()));
    }

    static void expect_catalogue_lengths() {
        const std::map<int, size_t> lengths = {
            {6045, 104},    {6069, 27016}, {6070, 8672}, {6077, 4},  {6078, 8048}, {6080, 24},
            {6081, 259224}, {6083, 4},     {6085, 6136}, {6087, 20}, {6088, 20}};
        for (const auto& message : host().messages()) {
            const auto it = lengths.find(message.id);
            ASSERT_NE(it, lengths.end()) << message.id;
            EXPECT_EQ(message.bytes.size(), it->second) << message.id;
        }
    }

    // Every slave takes back what it said; a walker of one of them is counted as ever.
    static void expect_counting_goes_on() {
        for (uint32_t slave = 0; slave < 15; ++slave)
            deliver(cascade::delivered(slave, {}).bytes());
        auto cfg = test::line_config();
        cfg.devWorkMode = VCA_WORK_MASTER;
        host().deliver(VCA_MSG_CONFIG, &cfg);
        ASSERT_TRUE(host().run(std::vector<Frame>(8)));
        host().clear_messages();
        host().set_persons({{900001, 0, 0, 80, 80, 1, 0.9f}});
        host().on_update = [](int, const std::vector<IOU_TRK_OBJ_S>& added) {
            IOU_TRK_RSLT_S rslt{};
            for (const auto& obj : added) {
                rslt.objs[rslt.num] = obj;
                rslt.objs[rslt.num++].id = 900001;
            }
            return rslt;
        };
        for (int k = 0; k < 30; ++k) {
            deliver(cascade::delivered(3, {cascade::report_at(5, 480, 100 + 12 * k)}).bytes());
            ASSERT_TRUE(host().run({Frame{}}));
        }
        ASSERT_EQ(test::counts().size(), 1u);
        EXPECT_EQ(test::counts()[0].id, 900001);
        EXPECT_EQ(test::counts()[0].cross, 2);
    }

    std::mt19937 random_{20261120};
};

TEST_F(HostileSlaves, RandomBytes) {
    for (int round = 0; round < 60; ++round) {
        for (int i = 0; i < 20; ++i) {
            auto bytes = random_bytes();
            if (i > 0) {
                bytes[0] = static_cast<uint8_t>(below(18));
                bytes[1] = bytes[2] = bytes[3] = 0;
            }
            deliver(bytes);
        }
        ASSERT_TRUE(host().run(test::walk({{}}, 2)));
    }
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileSlaves, WildPeople) {
    for (int round = 0; round < 120; ++round) {
        for (uint32_t slave = 0; slave < 15; ++slave)
            if (below(2) == 0) deliver(wild_people(slave));
        ASSERT_TRUE(host().run(test::walk({{}, {.id = 2, .from = {300, 300}}}, 2)));
    }
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileSlaves, WildPeopleAtEveryHeightAndMap) {
    for (const int height_mm : {INT_MIN, -1, 0, 2000, 3000, 5089, 6000, INT_MAX})
        for (const int map : {INT_MIN, -1, 0, 1, 960, INT_MAX}) {
            auto cfg = busy_config();
            cfg.InstallHeight = height_mm;
            for (auto& size : cfg.cscdMapSize)
                size = map;
            host().deliver(VCA_MSG_CONFIG, &cfg);
            for (uint32_t slave = 0; slave < 4; ++slave)
                deliver(wild_people(slave));
            ASSERT_TRUE(host().run(std::vector<Frame>(4)));
        }
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileSlaves, EveryCount) {
    auto bytes = wild_people(14);
    for (const int32_t count : {INT_MIN, -91, -1, 0, 1, 90, 91, 128, 129, 65536, INT_MAX}) {
        std::memcpy(&bytes[20], &count, sizeof(count));
        for (uint8_t slave = 0; slave < 15; ++slave) {
            bytes[0] = slave;
            deliver(bytes);
        }
        ASSERT_TRUE(host().run(std::vector<Frame>(3)));
    }
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileSlaves, EveryIndex) {
    auto bytes = wild_people(0);
    for (const uint32_t index : {0u, 14u, 15u, 16u, 255u, 256u, 65536u, 0x7FFFFFFFu, 0x80000000u,
                                 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        std::memcpy(&bytes[0], &index, sizeof(index));
        deliver(bytes);
        ASSERT_TRUE(host().run(std::vector<Frame>(2)));
    }
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileSlaves, TrackerIndicesOutOfRangeOnTheMergedPass) {
    host().on_update = [&](int, const std::vector<IOU_TRK_OBJ_S>& added) {
        IOU_TRK_RSLT_S rslt{};
        const int nums[] = {100, 101, 5000, -1, INT_MIN, INT_MAX, 3};
        rslt.num = nums[below(7)];
        for (auto& obj : rslt.objs) {
            const int indices[] = {-1, 128, INT_MIN, INT_MAX, 0, static_cast<int>(added.size())};
            obj.det_idx = indices[below(6)];
            obj.id = below(3) == 0 ? wild() : below(6);
        }
        return rslt;
    };
    for (int round = 0; round < 40; ++round) {
        for (uint32_t slave = 0; slave < 15; ++slave)
            deliver(wild_people(slave));
        ASSERT_TRUE(host().run(test::walk({{}}, 2)));
    }
    expect_catalogue_lengths();
    expect_counting_goes_on();
}

TEST_F(HostileSlaves, WildPeopleOfTheSlaveItself) {
    // The other side: wild detections on a slave.
    auto cfg = busy_config();
    cfg.devWorkMode = VCA_WORK_SLAVE;
    host().deliver(VCA_MSG_CONFIG, &cfg);
    host().on_detection = [&](NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
        if (model != test::kColourModel) return;
        auto& objects = static_cast<VCA_NN_RESULT_S*>(result)->objects;
        objects.num = 128;
        for (auto& obj : objects.objs) {
            obj.x = wild();
            obj.y = wild();
            obj.w = wild();
            obj.h = wild();
            obj.class_id = static_cast<uint8_t>(below(256));
            obj.score = wild_float();
        }
    };
    ASSERT_TRUE(host().run(std::vector<Frame>(40)));
    host().on_detection = nullptr;
    for (const auto& message : host().messages(VCA_MSG_SLAVE_TRACKS)) {
        int32_t count = 0;
        ASSERT_EQ(message.bytes.size(), 6136u);
        std::memcpy(&count, message.bytes.data() + 12, sizeof(count));
        EXPECT_TRUE(count >= 0 && count <= 90) << count;
    }
    expect_counting_goes_on();
}

}  // namespace
