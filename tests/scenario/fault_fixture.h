// What every fault of the host must leave behind: nothing on loan, and a library that counts.
#ifndef TESTS_SCENARIO_FAULT_FIXTURE_H
#define TESTS_SCENARIO_FAULT_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/scenario/scene.h"

namespace test {

// Everything switched on, so that a fault meets every stage.
inline VCA_ALGO_CFG_S full_config() {
    auto cfg = line_config();
    set_line(cfg, 1, {{100, 400}, {860, 420}});
    set_uturn(cfg, 1, {{100, 300}, {860, 300}, {860, 500}, {100, 500}});
    set_region(cfg, 0, {{100, 100}, {800, 100}, {800, 500}, {100, 500}});
    set_exclusion(cfg, 0, 0, {{900, 0}, {959, 0}, {959, 60}});
    cfg.GroupEn = 1;
    cfg.HtmpEn = 1;
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    cfg.ShowDetectBox = 1;
    cfg.ShowHistoryBox = 1;
    return cfg;
}

// The frames, each of which checks when it is read that the sets before it were given back.
inline std::vector<Frame> watched(std::vector<Frame> frames) {
    for (Frame& f : frames) {
        const bool present[] = {f.has_real, f.has_depth, f.has_raw};
        const bool mapped[] = {f.real_mapped, f.depth_mapped, f.raw_mapped};
        size_t blocks = 0;
        size_t mappings = 0;
        for (int plane = 0; plane < 3; ++plane) {
            if (present[plane]) ++blocks;
            if (present[plane] ? f.mapped && mapped[plane] : f.map_without_block) ++mappings;
        }
        f.on_read = [blocks, mappings, then = std::move(f.on_read)] {
            if (host().blocks_held() != blocks) host().error("a block of an earlier set is out");
            if (host().mappings_held() != mappings) host().error("an earlier mapping is out");
            if (then) then();
        };
    }
    return frames;
}

inline bool run_watched(std::vector<Frame> frames) {
    return host().run(watched(std::move(frames)));
}

class HostFault : public testing::Test {
  protected:
    void SetUp() override { start(); }

    void TearDown() override {
        stop_library();
        expect_nothing_on_loan();
        EXPECT_EQ(host().images_alive(), 0u);
        EXPECT_EQ(host().images_created(), host().images_destroyed());
        EXPECT_EQ(host().locks(), host().unlocks());
    }

    static void start() {
        host().record_task_calls = false;
        host().gender_answer = GenderAnswer{1, 0.75f, 0.125f};
        host().staff_answer = StaffAnswer{1, 0.5f};
        start_library(full_config());
        const int32_t on = 1;
        host().deliver(VCA_MSG_SHOW_DETECTION, &on);
    }

    static void expect_nothing_on_loan() {
        EXPECT_EQ(host().blocks_held(), 0u);
        EXPECT_EQ(host().mappings_held(), 0u);
        EXPECT_THAT(host().errors(), testing::IsEmpty());
    }

    // Between passes with nobody left: no loan, no image, and the next walker counts once.
    static void expect_recovered() {
        constexpr int kId = 900001;
        // Records end after five passes without a detection.
        ASSERT_TRUE(run_watched(std::vector<Frame>(8)));
        expect_nothing_on_loan();
        EXPECT_EQ(host().images_alive(), 0u);
        const auto cfg = line_config();
        ASSERT_TRUE(host().deliver(VCA_MSG_CONFIG, &cfg));
        host().clear_messages();
        ASSERT_TRUE(run_watched(walk({{.id = kId, .last = 29}}, 40)));
        const auto counted = counts();
        ASSERT_EQ(counted.size(), 1u);
        EXPECT_EQ(counted[0].id, kId);
        EXPECT_EQ(counted[0].line, 0);
        EXPECT_EQ(counted[0].cross, 2);
        const auto msg = host().messages(VCA_MSG_LINE_COUNT)[0].as<LINE_COUNT_MSG_S>();
        EXPECT_EQ(msg.obj.y, 304 - kBox / 2) << "counted where a walker is counted without faults";
        EXPECT_EQ(msg.obj.height, 1700.0f);
        expect_nothing_on_loan();
        EXPECT_EQ(host().images_alive(), 0u);
    }

    // Crossings of line 0 in each direction.
    static std::pair<int, int> crossings_of_line_0() {
        std::pair<int, int> sum{0, 0};
        for (const Count& count : counts()) {
            if (count.line == 0) ++(count.cross == VCA_DIR_1 ? sum.first : sum.second);
        }
        return sum;
    }
};

}  // namespace test

#endif
