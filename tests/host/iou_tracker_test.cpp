// The IoU tracker of the host: assignment, the three rounds of matching, confirmation, ageing.
#include "host/tracker/iou_tracker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include "host/tracker/assignment.h"
#include "vca/detect.h"

namespace {

constexpr int kMaxLost = 12;
constexpr int kMinHits = 4;

IOU_TRK_OBJ_S box(int x, int y, int w = 60, int h = 60, float score = 0.9f) {
    IOU_TRK_OBJ_S object{};
    object.x = x;
    object.y = y;
    object.w = w;
    object.h = h;
    object.class_id = VCA_CLASS_PERSON;
    object.score = score;
    return object;
}

class IouTrackerTest : public testing::Test {
  protected:
    IouTrackerTest() : tracker_(kMaxLost, kMinHits) { tracker_.set_conf_thresh(0.3f, 0.5f); }

    const IOU_TRK_RSLT_S& step(std::vector<IOU_TRK_OBJ_S> boxes) {
        tracker_.reset_objects();
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            boxes[i].det_idx = static_cast<int>(i);
            tracker_.add_object(boxes[i]);
        }
        tracker_.update(result_);
        return result_;
    }

    int id_of(int det_idx) const {
        for (int i = 0; i < result_.num; ++i) {
            if (result_.objs[i].det_idx == det_idx) return result_.objs[i].id;
        }
        return 0;
    }

    host::IouTracker tracker_;
    IOU_TRK_RSLT_S result_{};
};

double best_by_trying(const std::vector<std::vector<float>>& value, std::size_t row,
                      std::vector<bool>& used) {
    if (row == value.size()) return 0.0;
    double best = best_by_trying(value, row + 1, used);
    for (std::size_t col = 0; col < used.size(); ++col) {
        if (used[col] || value[row][col] <= 0.0f) continue;
        used[col] = true;
        best = std::max(
            best, static_cast<double>(value[row][col]) + best_by_trying(value, row + 1, used));
        used[col] = false;
    }
    return best;
}

TEST(Assignment, EqualsBruteForceOnRandomMatrices) {
    std::mt19937 random(7);
    host::Assignment assignment;
    for (int round = 0; round < 2000; ++round) {
        const std::size_t rows = random() % 7;
        const std::size_t cols = random() % 7;
        const unsigned density = 1 + static_cast<unsigned>(random() % 4);
        std::vector<std::vector<float>> value(rows, std::vector<float>(cols, 0.0f));
        assignment.reset(static_cast<int>(rows), static_cast<int>(cols));
        for (std::size_t r = 0; r < rows; ++r) {
            for (std::size_t c = 0; c < cols; ++c) {
                if (random() % 4 >= density) continue;
                value[r][c] = static_cast<float>(random() % 1000 + 1) / 1000.0f;
                assignment.set(static_cast<int>(r), static_cast<int>(c), value[r][c]);
            }
        }
        const std::vector<int>& column = assignment.solve();
        ASSERT_EQ(column.size(), rows);
        std::set<int> taken;
        double total = 0.0;
        for (std::size_t r = 0; r < rows; ++r) {
            if (column[r] < 0) continue;
            EXPECT_TRUE(taken.insert(column[r]).second) << "column used twice";
            const float pair = value[r][static_cast<std::size_t>(column[r])];
            EXPECT_GT(pair, 0.0f) << "a pair that was never set";
            total += static_cast<double>(pair);
        }
        std::vector<bool> used(cols, false);
        EXPECT_NEAR(total, best_by_trying(value, 0, used), 1e-5);
    }
}

TEST_F(IouTrackerTest, ReportsFromTheFourthMatchInARow) {
    for (int frame = 1; frame <= 3; ++frame)
        EXPECT_EQ(step({box(100, 100)}).num, 0) << frame;
    ASSERT_EQ(step({box(100, 100)}).num, 1);
    EXPECT_EQ(result_.objs[0].id, 1);
    EXPECT_EQ(result_.objs[0].det_idx, 0);
    EXPECT_EQ(result_.objs[0].x, 100);
    EXPECT_EQ(result_.objs[0].class_id, 1);
}

TEST_F(IouTrackerTest, AMissBeforeConfirmationStartsTheCountAgain) {
    for (int frame = 0; frame < 3; ++frame)
        step({box(100, 100)});
    step({});
    for (int frame = 0; frame < 3; ++frame)
        EXPECT_EQ(step({box(100, 100)}).num, 0);
    EXPECT_EQ(step({box(100, 100)}).num, 1);
}

TEST_F(IouTrackerTest, OnlyTargetsMatchedInThisFrameAreReported) {
    for (int frame = 0; frame < 4; ++frame)
        step({box(100, 100)});
    EXPECT_EQ(step({}).num, 0);
    ASSERT_EQ(step({box(100, 100)}).num, 1) << "confirmed targets are reported at once";
    EXPECT_EQ(result_.objs[0].id, 1);
}

TEST_F(IouTrackerTest, SurvivesAsManyMissesAsAllowedAndNoMore) {
    for (int frame = 0; frame < 4; ++frame)
        step({box(100, 100)});
    for (int frame = 0; frame < kMaxLost; ++frame)
        step({});
    step({box(100, 100)});
    EXPECT_EQ(id_of(0), 1);
    for (int frame = 0; frame < kMaxLost + 1; ++frame)
        step({});
    EXPECT_EQ(step({box(100, 100)}).num, 0) << "the target is forgotten";
    for (int frame = 0; frame < 3; ++frame)
        step({box(100, 100)});
    EXPECT_EQ(id_of(0), 2) << "and its id is not used again";
}

TEST_F(IouTrackerTest, LargestTotalOverlapBeatsTheGreedyChoice) {
    // The detection at 110 overlaps the first target best (0.71), but taking it there leaves the
    // second target none; 0.50 + 0.33 is more.
    for (int frame = 0; frame < 4; ++frame)
        step({box(100, 100), box(140, 100)});
    ASSERT_EQ(id_of(0), 1);
    ASSERT_EQ(id_of(1), 2);
    step({box(80, 100), box(110, 100)});
    EXPECT_EQ(id_of(0), 1);
    EXPECT_EQ(id_of(1), 2);
}

TEST_F(IouTrackerTest, LowScoresContinueTargetsButStartNone) {
    for (int frame = 0; frame < 4; ++frame)
        step({box(100, 100)});
    step({box(102, 100, 60, 60, 0.35f), box(400, 100, 60, 60, 0.45f)});
    ASSERT_EQ(result_.num, 1);
    EXPECT_EQ(id_of(0), 1);
    for (int frame = 0; frame < 10; ++frame)
        step({box(400, 100, 60, 60, 0.45f)});
    EXPECT_EQ(result_.num, 0);
}

TEST_F(IouTrackerTest, HighScoresAreServedFirst) {
    for (int frame = 0; frame < 4; ++frame)
        step({box(100, 100)});
    step({box(100, 100, 60, 60, 0.4f), box(115, 100, 60, 60, 0.9f)});
    ASSERT_EQ(result_.num, 1);
    EXPECT_EQ(result_.objs[0].det_idx, 1) << "although the low one overlaps better";
}

TEST_F(IouTrackerTest, ScoresBelowTheLowThresholdAreIgnored) {
    for (int frame = 0; frame < 4; ++frame)
        step({box(100, 100)});
    EXPECT_EQ(step({box(100, 100, 60, 60, 0.29f)}).num, 0);
}

TEST_F(IouTrackerTest, FastWalkerWhoseBoxesBarelyOverlapKeepsTheId) {
    for (int frame = 0; frame < 15; ++frame) {
        step({box(50 + 55 * frame, 100)});
        if (frame >= 3) {
            EXPECT_EQ(id_of(0), 1) << frame;
        }
    }
}

TEST_F(IouTrackerTest, RunnerWhoseBoxesDoNotOverlapAtAllKeepsTheId) {
    for (int frame = 0; frame < 4; ++frame)
        step({box(50 + 45 * frame, 100)});
    for (int frame = 4; frame < 14; ++frame) {
        step({box(185 + 64 * (frame - 3), 100)});
        EXPECT_EQ(id_of(0), 1) << frame;
    }
}

TEST_F(IouTrackerTest, PredictionBridgesAGapOfAMovingTarget) {
    for (int frame = 0; frame < 10; ++frame)
        step({box(50 + 20 * frame, 100)});
    for (int gap = 0; gap < 4; ++gap)
        step({});
    step({box(50 + 20 * 14, 100)});
    EXPECT_EQ(id_of(0), 1);
}

TEST_F(IouTrackerTest, PassingPeopleKeepTheirIds) {
    // Towards each other on neighbouring tracks; at the closest the boxes overlap by two thirds.
    for (int frame = 0; frame < 40; ++frame) {
        step({box(100 + 10 * frame, 100), box(500 - 10 * frame, 112)});
        if (frame < 3) continue;
        EXPECT_EQ(id_of(0), 1) << frame;
        EXPECT_EQ(id_of(1), 2) << frame;
    }
}

TEST_F(IouTrackerTest, CrossingWithAShortOcclusionKeepsTheIds) {
    for (int frame = 0; frame < 40; ++frame) {
        std::vector<IOU_TRK_OBJ_S> boxes = {box(100 + 10 * frame, 100)};
        const bool hidden = frame >= 18 && frame <= 21;
        if (!hidden) boxes.push_back(box(300, 300 - 10 * frame));
        step(boxes);
        if (frame < 3) continue;
        EXPECT_EQ(id_of(0), 1) << frame;
        if (!hidden) {
            EXPECT_EQ(id_of(1), 2) << frame;
        }
    }
}

TEST_F(IouTrackerTest, ReportsAtMostAHundredTargets) {
    std::vector<IOU_TRK_OBJ_S> boxes;
    for (int i = 0; i < 128; ++i)
        boxes.push_back(box(70 * (i % 13), 70 * (i / 13)));
    for (int frame = 0; frame < 6; ++frame)
        step(boxes);
    EXPECT_EQ(result_.num, VCA_TRK_MAX);
    std::set<int> ids;
    for (int i = 0; i < result_.num; ++i)
        ids.insert(result_.objs[i].id);
    EXPECT_EQ(ids.size(), 100u);
    EXPECT_EQ(*ids.begin(), 1);
    EXPECT_EQ(*ids.rbegin(), 100);
}

TEST_F(IouTrackerTest, NothingInNothingOut) {
    for (int frame = 0; frame < 3; ++frame)
        EXPECT_EQ(step({}).num, 0);
}

TEST_F(IouTrackerTest, GarbageIsNeitherFollowedNorHarmful) {
    constexpr int kHuge = std::numeric_limits<int>::max();
    constexpr int kLowest = std::numeric_limits<int>::min();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<IOU_TRK_OBJ_S> frame = {
        box(100, 100),
        box(100, 100, 0, 60),
        box(100, 100, 60, -60),
        box(0, 0, kHuge, kHuge),
        box(kLowest, kHuge, 60, 60),
        box(kHuge, kLowest, kLowest, kLowest),
        box(300, 300, 60, 60, nan),
        box(500, 300, 60, 60, infinity),
        box(500, 300, 60, 60, -infinity),
    };
    for (int i = 0; i < 8; ++i)
        step(frame);
    ASSERT_EQ(result_.num, 1);
    EXPECT_EQ(id_of(0), 1);
}

TEST_F(IouTrackerTest, BadThresholdsCountAsZero) {
    tracker_.set_conf_thresh(std::numeric_limits<float>::quiet_NaN(), -INFINITY);
    for (int frame = 0; frame < 4; ++frame)
        step({box(100, 100, 60, 60, 0.01f)});
    EXPECT_EQ(result_.num, 1);
}

TEST_F(IouTrackerTest, MoreBoxesThanItTakesDoNoHarm) {
    std::vector<IOU_TRK_OBJ_S> boxes(3000, box(100, 100));
    for (int frame = 0; frame < 5; ++frame)
        step(boxes);
    EXPECT_EQ(result_.num, VCA_TRK_MAX);
}

TEST_F(IouTrackerTest, IdsAreUniqueUnderRandomInput) {
    std::mt19937 random(3);
    int newest = 0;
    for (int frame = 0; frame < 600; ++frame) {
        std::vector<IOU_TRK_OBJ_S> boxes;
        const int count = static_cast<int>(random() % 40);
        for (int i = 0; i < count; ++i) {
            boxes.push_back(box(static_cast<int>(random() % 300), static_cast<int>(random() % 300),
                                40, 40, static_cast<float>(random() % 100) / 100.0f));
        }
        step(boxes);
        std::set<int> ids, inputs;
        for (int i = 0; i < result_.num; ++i) {
            const IOU_TRK_OBJ_S& object = result_.objs[i];
            EXPECT_TRUE(ids.insert(object.id).second);
            EXPECT_TRUE(inputs.insert(object.det_idx).second);
            ASSERT_GE(object.det_idx, 0);
            ASSERT_LT(object.det_idx, count);
            EXPECT_EQ(object.x, boxes[static_cast<std::size_t>(object.det_idx)].x);
            newest = std::max(newest, object.id);
        }
    }
    EXPECT_GT(newest, 10);
}

// ---- With heads from depth ----

class HeadTracking : public testing::Test {
  protected:
    HeadTracking() { tracker_.set_conf_thresh(0.3f, 0.5f); }

    // Small boxes far from each other: only the heads tell who is who.
    IOU_TRK_RSLT_S step(const std::vector<host::HeadPlace>& heads, float interval_s,
                        bool seen = true) {
        tracker_.reset_objects();
        for (std::size_t i = 0; i < heads.size(); ++i) {
            const IOU_TRK_OBJ_S box{
                0, static_cast<int>(i), static_cast<int>(heads[i].x_mm), 100, 20, 20, 1, 0.9f};
            tracker_.add_object(box, heads[i], seen);
        }
        IOU_TRK_RSLT_S result{};
        tracker_.update(result, interval_s);
        return result;
    }

    host::IouTracker tracker_{12, 4};
};

TEST_F(HeadTracking, FastWalkersAtFourFramesASecondKeepTheirIds) {
    // 1.6 m/s past each other, 0.5 m apart: 0.4 m a frame.
    for (int frame = 0; frame < 8; ++frame) {
        const float x = -1400.0f + 400.0f * static_cast<float>(frame);
        const IOU_TRK_RSLT_S result = step({{x, 0.0f, 1700.0f}, {-x, 500.0f, 1750.0f}}, 0.25f);
        EXPECT_EQ(result.num, frame == 0 ? 0 : 2) << "two matches 0.25 s apart confirm";
        for (int i = 0; i < result.num; ++i)
            EXPECT_EQ(result.objs[i].det_idx, result.objs[i].id - 1) << frame;
    }
}

TEST_F(HeadTracking, FourMatchesConfirmAtManyFramesASecond) {
    for (int frame = 0; frame < 3; ++frame)
        EXPECT_EQ(step({{0.0f, 0.0f, 1700.0f}}, 1.0f / 30.0f).num, 0);
    EXPECT_EQ(step({{0.0f, 0.0f, 1700.0f}}, 1.0f / 30.0f).num, 1);
}

TEST_F(HeadTracking, HeightTellsWhoIsWho) {
    for (int frame = 0; frame < 6; ++frame)
        step({{0.0f, 0.0f, 1850.0f}, {300.0f, 0.0f, 1450.0f}}, 0.1f);
    // Both jump by half their distance; the tall one stays the tall one.
    const IOU_TRK_RSLT_S result = step({{150.0f, 0.0f, 1450.0f}, {160.0f, 0.0f, 1850.0f}}, 0.1f);
    ASSERT_EQ(result.num, 2);
    EXPECT_EQ(result.objs[0].det_idx, 1);
    EXPECT_EQ(result.objs[1].det_idx, 0);
}

TEST_F(HeadTracking, SomebodyElseLongAfterIsNotTheSame) {
    for (int frame = 0; frame < 4; ++frame)
        step({{0.0f, 0.0f, 1700.0f}}, 0.25f);
    for (int frame = 0; frame < 4; ++frame)
        EXPECT_EQ(step({}, 0.25f).num, 0);
    step({{50.0f, 0.0f, 1700.0f}}, 0.25f);
    const IOU_TRK_RSLT_S result = step({{50.0f, 0.0f, 1700.0f}}, 0.25f);
    ASSERT_EQ(result.num, 1);
    EXPECT_EQ(result.objs[0].id, 2);
}

TEST_F(HeadTracking, HeadsAreExpectedWhereTheirWayLeads) {
    for (int frame = 0; frame < 30; ++frame)
        step({{100.0f * static_cast<float>(frame), 0.0f, 1700.0f}}, 0.1f);
    std::vector<host::ExpectedHead> expected = tracker_.expected_heads();
    ASSERT_EQ(expected.size(), 1u);
    EXPECT_NEAR(expected[0].at.x_mm, 3000.0f, 20.0f);
    EXPECT_FLOAT_EQ(expected[0].unseen_s, 0.0f);
    // Hidden, the head is waited for: slower and slower, and the time is kept.
    for (int frame = 0; frame < 5; ++frame)
        step({tracker_.expected_heads()[0].at}, 0.1f, false);
    expected = tracker_.expected_heads();
    ASSERT_EQ(expected.size(), 1u);
    EXPECT_NEAR(expected[0].unseen_s, 0.5f, 1e-4f);
    EXPECT_LT(expected[0].at.x_mm, 3600.0f);
}

TEST(IouTrackerInstances, AreIndependentAndNeverReuseAnId) {
    const IOU_TRK_OBJ_S object = box(100, 100);
    EXPECT_EQ(ioutracker_update(0).num, 0) << "not prepared yet";
    EXPECT_EQ(ioutracker_add_object(0, &object), -1);
    for (const int inst : {0, 1}) {
        EXPECT_EQ(ioutracker_init(inst, kMaxLost, kMinHits), 0);
        EXPECT_EQ(ioutracker_set_conf_thresh(inst, 0.3f, 0.5f), 0);
    }
    IOU_TRK_RSLT_S result{};
    for (int frame = 0; frame < kMinHits; ++frame) {
        ioutracker_objects_reset(0);
        EXPECT_EQ(ioutracker_add_object(0, &object), 0);
        result = ioutracker_update(0);
        EXPECT_EQ(ioutracker_update(1).num, 0);
    }
    ASSERT_EQ(result.num, 1);
    EXPECT_EQ(result.objs[0].id, 1);

    EXPECT_EQ(ioutracker_uninit(0), 0);
    EXPECT_EQ(ioutracker_init(0, kMaxLost, kMinHits), 0);
    EXPECT_EQ(ioutracker_set_conf_thresh(0, 0.3f, 0.5f), 0);
    for (const int inst : {0, 1}) {
        for (int frame = 0; frame < kMinHits; ++frame) {
            ioutracker_objects_reset(inst);
            EXPECT_EQ(ioutracker_add_object(inst, &object), 0);
            result = ioutracker_update(inst);
        }
        ASSERT_EQ(result.num, 1);
        EXPECT_EQ(result.objs[0].id, inst == 0 ? 2 : 1);
        EXPECT_EQ(ioutracker_uninit(inst), 0);
    }
}

TEST(IouTrackerInstances, UnknownInstancesAreRefused) {
    const IOU_TRK_OBJ_S object = box(100, 100);
    for (const int inst : {-1, 2, 1000}) {
        EXPECT_EQ(ioutracker_init(inst, kMaxLost, kMinHits), -1);
        EXPECT_EQ(ioutracker_set_conf_thresh(inst, 0.3f, 0.5f), -1);
        EXPECT_EQ(ioutracker_objects_reset(inst), -1);
        EXPECT_EQ(ioutracker_add_object(inst, &object), -1);
        EXPECT_EQ(ioutracker_update(inst).num, 0);
        EXPECT_EQ(ioutracker_uninit(inst), -1);
    }
    EXPECT_EQ(ioutracker_init(0, kMaxLost, kMinHits), 0);
    EXPECT_EQ(ioutracker_add_object(0, nullptr), -1);
}

}  // namespace
