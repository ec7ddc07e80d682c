// Detection and tracking scores of cases small enough to work out by hand.
#include "host/score/metrics.h"

#include <gtest/gtest.h>

#include <cmath>

#include "host/base/text.h"

namespace {

using host::PixelBox;
using host::TrackedBox;
using host::TruePerson;

constexpr std::int64_t kMemory = 900;  // frames, longer than any case

PixelBox at(int x) {
    return {x, 100, 40, 40};
}

TruePerson person(int id, int x, bool clear = true) {
    return {id, at(x), 1700.0, clear};
}

TEST(Overlap, IsIntersectionOverUnion) {
    EXPECT_DOUBLE_EQ(host::box_overlap({0, 0, 10, 10}, {0, 0, 10, 10}), 1.0);
    EXPECT_DOUBLE_EQ(host::box_overlap({0, 0, 10, 10}, {5, 0, 10, 10}), 50.0 / 150.0);
    EXPECT_DOUBLE_EQ(host::box_overlap({0, 0, 10, 10}, {10, 0, 10, 10}), 0.0);
    EXPECT_DOUBLE_EQ(host::box_overlap({0, 0, 0, 10}, {0, 0, 10, 10}), 0.0);
}

TEST(Detection, CountsFoundMissedAndFalse) {
    host::DetectionMeter meter;
    meter.add_frame({person(1, 0), person(2, 200)}, {at(5), at(400), at(410)});
    EXPECT_EQ(meter.score().truths, 2);
    EXPECT_EQ(meter.score().found, 1);
    EXPECT_EQ(meter.score().false_boxes, 2);
    EXPECT_DOUBLE_EQ(meter.score().recall(), 0.5);
    EXPECT_DOUBLE_EQ(meter.score().precision(), 1.0 / 3.0);
}

TEST(Detection, OneBoxFindsOnePersonOnly) {
    host::DetectionMeter meter;
    meter.add_frame({person(1, 0), person(2, 8)}, {at(4)});
    EXPECT_EQ(meter.score().found, 1);
    meter.add_frame({person(1, 0)}, {at(0), at(4)});
    EXPECT_EQ(meter.score().false_boxes, 1);
}

TEST(Detection, AgreementBeginsAtOneHalf) {
    host::DetectionMeter meter;
    meter.add_frame({{1, {0, 0, 10, 30}, 1700.0, true}}, {{0, 10, 10, 30}});  // 200 / 400
    EXPECT_EQ(meter.score().found, 1);
    meter.add_frame({{1, {0, 0, 10, 30}, 1700.0, true}}, {{0, 11, 10, 30}});  // 190 / 410
    EXPECT_EQ(meter.score().found, 1);
}

TEST(Detection, MatchesForTheLargestTotalOverlap) {
    // The box at 10 suits both, the one at 0 only person 1: both are found.
    host::DetectionMeter meter;
    meter.add_frame({person(1, 6), person(2, 18)}, {at(10), at(0)});
    EXPECT_EQ(meter.score().found, 2);
    EXPECT_EQ(meter.score().false_boxes, 0);
}

TEST(Detection, PeopleWhoAreNotClearCountNeitherWay) {
    host::DetectionMeter meter;
    meter.add_frame({person(1, 0, false), person(2, 200, false)}, {at(5)});
    EXPECT_EQ(meter.score().truths, 0);
    EXPECT_EQ(meter.score().false_boxes, 0);
    // A clear person has the first right to a box.
    meter.add_frame({person(1, 0, false), person(2, 8)}, {at(3)});
    EXPECT_EQ(meter.score().found, 1);
    EXPECT_DOUBLE_EQ(meter.score().recall(), 1.0);
}

TEST(Detection, AShareOfNothingIsNoNumber) {
    const host::DetectionScore score;
    EXPECT_TRUE(std::isnan(score.recall()));
    EXPECT_TRUE(std::isnan(score.precision()));
    EXPECT_TRUE(std::isnan(host::TrackingScore{}.mota()));
    EXPECT_EQ(host::percent_text(score.recall(), 2), "–");
    EXPECT_EQ(host::percent_text(0.975, 1), "97.5 %");
}

TEST(Tracking, PerfectTracksScoreOne) {
    host::TrackingMeter meter(kMemory);
    for (int frame = 0; frame < 10; ++frame) {
        meter.add_frame({person(1, 0), person(2, 200)}, {{8, at(0)}, {9, at(200)}});
    }
    const host::TrackingScore score = meter.score();
    EXPECT_EQ(score.switches, 0);
    EXPECT_DOUBLE_EQ(score.mota(), 1.0);
    EXPECT_DOUBLE_EQ(score.idf1(), 1.0);
}

TEST(Tracking, ASwitchIsCountedOnce) {
    host::TrackingMeter meter(kMemory);
    for (int frame = 0; frame < 10; ++frame) {
        meter.add_frame({person(1, 0)}, {{frame < 6 ? 8 : 9, at(0)}});
    }
    const host::TrackingScore score = meter.score();
    EXPECT_EQ(score.switches, 1);
    EXPECT_DOUBLE_EQ(score.mota(), 1.0 - 1.0 / 10.0);
    // Track 8 names the person best, with 6 boxes: 2 * 6 / (10 + 10).
    EXPECT_EQ(score.identity_matches, 6);
    EXPECT_DOUBLE_EQ(score.idf1(), 0.6);
}

TEST(Tracking, ASwitchIsAlsoSeenAcrossAGap) {
    host::TrackingMeter meter(kMemory);
    meter.add_frame({person(1, 0)}, {{8, at(0)}});
    meter.add_frame({person(1, 0)}, {});
    meter.add_frame({person(1, 0)}, {{9, at(0)}});
    EXPECT_EQ(meter.score().switches, 1);
    EXPECT_EQ(meter.score().misses, 1);
}

TEST(Tracking, AMatchIsKeptWhileItHolds) {
    host::TrackingMeter meter(kMemory);
    meter.add_frame({person(1, 0)}, {{8, at(0)}});
    // Track 9 lies better on the person now, but track 8 still agrees.
    const std::map<int, int> match = meter.add_frame({person(1, 0)}, {{8, at(10)}, {9, at(1)}});
    EXPECT_EQ(match.at(1), 8);
    EXPECT_EQ(meter.score().switches, 0);
    EXPECT_EQ(meter.score().false_boxes, 1);
}

TEST(Tracking, TwoPeopleWhoSwapTracks) {
    host::TrackingMeter meter(kMemory);
    for (int frame = 0; frame < 4; ++frame) {
        meter.add_frame({person(1, 0), person(2, 200)}, {{8, at(0)}, {9, at(200)}});
    }
    for (int frame = 0; frame < 2; ++frame) {
        meter.add_frame({person(1, 0), person(2, 200)}, {{9, at(0)}, {8, at(200)}});
    }
    const host::TrackingScore score = meter.score();
    EXPECT_EQ(score.switches, 2);
    EXPECT_EQ(score.identity_matches, 8);
    EXPECT_DOUBLE_EQ(score.idf1(), 16.0 / 24.0);
}

TEST(Tracking, FalseTracksAndMissesLowerMota) {
    host::TrackingMeter meter(kMemory);
    meter.add_frame({person(1, 0), person(2, 200)}, {{8, at(0)}, {9, at(500)}});
    const host::TrackingScore score = meter.score();
    EXPECT_EQ(score.misses, 1);
    EXPECT_EQ(score.false_boxes, 1);
    EXPECT_DOUBLE_EQ(score.mota(), 0.0);
    EXPECT_DOUBLE_EQ(score.idf1(), 2.0 / 4.0);
}

}  // namespace
