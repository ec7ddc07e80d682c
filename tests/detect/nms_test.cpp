// Non-maximum suppression: order, threshold, the full list and what is left untouched.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "tests/track/fixtures.h"

namespace {

using fix::box;
using testing::ElementsAre;

struct Nms : testing::Test {
    std::unique_ptr<DET_OBJECTS_S> in = std::make_unique<DET_OBJECTS_S>();
    std::unique_ptr<DET_OBJECTS_S> out = std::make_unique<DET_OBJECTS_S>();

    void SetUp() override { std::memset(static_cast<void*>(out.get()), 0xA5, sizeof(*out)); }

    void add(const DET_OBJ_S& obj) { in->objs[in->num++] = obj; }

    std::vector<float> kept_scores(int count) const {
        std::vector<float> scores;
        for (int i = 0; i < count; ++i)
            scores.push_back(out->objs[i].score);
        return scores;
    }

    // Boxes of 10 x 10 on a grid, none touching another, scores falling.
    void fill_apart(int count) {
        for (int i = 0; i < count; ++i)
            in->objs[i] = box(20 * (i % 16), 20 * (i / 16), 10, 10, 1.0f - 0.001f * float(i));
        in->num = count;
    }
};

TEST(ScoreCmp, SortsDescending) {
    const DET_OBJ_S low = box(0, 0, 1, 1, 0.25f);
    const DET_OBJ_S high = box(0, 0, 1, 1, 0.75f);
    const DET_OBJ_S nan = box(0, 0, 1, 1, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(score_cmp(&low, &high), 1);
    EXPECT_EQ(score_cmp(&high, &low), -1);
    EXPECT_EQ(score_cmp(&low, &low), 0);
    EXPECT_EQ(score_cmp(&nan, &high), 0);
    EXPECT_EQ(score_cmp(&high, &nan), 0);
}

TEST_F(Nms, BestBoxWinsAndInputEndsSorted) {
    add(box(0, 0, 10, 10, 0.5f));
    add(box(100, 100, 10, 10, 0.7f));
    add(box(1, 0, 10, 10, 0.9f));  // 90 of 110 pixels shared with the first
    EXPECT_EQ(vca_nms_proc(in.get(), 0.5f, out.get()), 2);
    EXPECT_EQ(out->num, 2);
    EXPECT_THAT(kept_scores(2), ElementsAre(0.9f, 0.7f));
    EXPECT_EQ(in->num, 3);
    EXPECT_EQ(in->objs[0].score, 0.9f);
    EXPECT_EQ(in->objs[1].score, 0.7f);
    EXPECT_EQ(in->objs[2].score, 0.5f);
}

TEST_F(Nms, IouEqualToTheThresholdSuppresses) {
    // 50 of 100 pixels: exactly 0.5
    add(box(0, 0, 10, 10, 0.9f));
    add(box(0, 0, 10, 5, 0.8f));
    EXPECT_EQ(vca_nms_proc(in.get(), 0.5f, out.get()), 1);
    EXPECT_EQ(vca_nms_proc(in.get(), std::nextafter(0.5f, 1.0f), out.get()), 2);
}

TEST_F(Nms, SuppressedBoxSuppressesNobody) {
    // each neighbour shares 60 of 140 pixels, the ends 20 of 180
    add(box(0, 0, 10, 10, 0.9f));
    add(box(4, 0, 10, 10, 0.8f));
    add(box(8, 0, 10, 10, 0.7f));
    EXPECT_EQ(vca_nms_proc(in.get(), 0.4f, out.get()), 2);
    EXPECT_THAT(kept_scores(2), ElementsAre(0.9f, 0.7f));
}

TEST_F(Nms, EmptyBoxesApartDoNotSuppressEachOther) {
    add(box(0, 0, 0, 10, 0.9f));
    add(box(50, 0, 0, 10, 0.8f));
    EXPECT_EQ(vca_nms_proc(in.get(), 0.0f, out.get()), 2);
}

TEST_F(Nms, ThresholdZeroKeepsOneBox) {
    fill_apart(5);
    EXPECT_EQ(vca_nms_proc(in.get(), 0.0f, out.get()), 1);
}

TEST_F(Nms, EmptyListsGiveZero) {
    for (const int num : {0, -1, -5000}) {
        in->num = num;
        out->num = 77;
        EXPECT_EQ(vca_nms_proc(in.get(), 0.5f, out.get()), 0);
        EXPECT_EQ(out->num, 0);
    }
}

TEST_F(Nms, CopiesWholeRecordsAndTouchesNothingElse) {
    add(fix::patterned(1));
    add(fix::patterned(2));
    in->objs[1].x = 700;
    in->objs[0].score = 0.9f;
    in->objs[1].score = 0.8f;
    in->reserved = 5;
    auto want = std::make_unique<DET_OBJECTS_S>();
    std::memset(static_cast<void*>(want.get()), 0xA5, sizeof(*want));
    want->num = 2;
    want->objs[0] = in->objs[0];
    want->objs[1] = in->objs[1];
    EXPECT_EQ(vca_nms_proc(in.get(), 0.5f, out.get()), 2);
    EXPECT_TRUE(fix::same(*out, *want));
}

TEST_F(Nms, HundredTwentySevenBoxesAreAnOrdinaryList) {
    fill_apart(127);
    int kept = 0;
    const std::string printed =
        fix::output_of([&] { kept = vca_nms_proc(in.get(), 0.5f, out.get()); });
    EXPECT_EQ(kept, 127);
    EXPECT_EQ(out->num, 127);
    EXPECT_EQ(printed, "");
}

TEST_F(Nms, TheHundredTwentyEighthKeptBoxWarnsAndLeavesTheCount) {
    for (const int num : {128, 200, std::numeric_limits<int>::max()}) {
        fill_apart(128);
        in->num = num;
        out->num = 77;
        int kept = 0;
        const std::string printed =
            fix::output_of([&] { kept = vca_nms_proc(in.get(), 0.5f, out.get()); });
        EXPECT_EQ(kept, 128);
        EXPECT_EQ(out->num, 77);
        EXPECT_EQ(printed, "WRNING: too many detBoxes cause buf overflow!\n");
        EXPECT_EQ(out->objs[127].score, in->objs[127].score);
    }
}

TEST_F(Nms, CountAboveTheCapacityThinsTheFirstHundredTwentyEight) {
    fill_apart(128);
    in->objs[1] = in->objs[0];
    in->objs[1].score = 0.0f;
    in->num = 200;
    EXPECT_EQ(vca_nms_proc(in.get(), 0.5f, out.get()), 127);
    EXPECT_EQ(out->num, 127);
}

// Takes the best remaining box until none is left and throws out what overlaps it.
std::vector<DET_OBJ_S> thin_slowly(std::vector<DET_OBJ_S> left, float threshold) {
    std::vector<DET_OBJ_S> kept;
    while (!left.empty()) {
        const auto best =
            std::max_element(left.begin(), left.end(),
                             [](const auto& a, const auto& b) { return a.score < b.score; });
        const DET_OBJ_S chosen = *best;
        left.erase(best);
        std::erase_if(left, [&](const DET_OBJ_S& other) {
            return vca_rgn_calc_IoU(&chosen, &other) >= threshold;
        });
        kept.push_back(chosen);
    }
    return kept;
}

TEST_F(Nms, AgreesWithThePlainRule) {
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> pos(0, 150);
    std::uniform_int_distribution<int> len(5, 60);
    for (int round = 0; round < 1000; ++round) {
        std::vector<float> scores(std::uniform_int_distribution<size_t>(0, 100)(rng));
        for (size_t i = 0; i < scores.size(); ++i)
            scores[i] = 0.001f * static_cast<float>(i + 1);
        std::shuffle(scores.begin(), scores.end(), rng);
        in->num = 0;
        for (const float score : scores)
            add(box(pos(rng), pos(rng), len(rng), len(rng), score));
        const auto want = thin_slowly({in->objs, in->objs + in->num}, 0.3f);
        const int kept = vca_nms_proc(in.get(), 0.3f, out.get());
        ASSERT_EQ(kept, static_cast<int>(want.size()));
        for (int i = 0; i < kept; ++i)
            ASSERT_TRUE(fix::same(out->objs[i], want[static_cast<size_t>(i)]));
    }
}

}  // namespace
