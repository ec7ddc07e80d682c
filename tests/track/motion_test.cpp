// Trail, displacement samples, speed and smoothed trajectory of a track, by hand and against a
// plain rewriting of the rules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <deque>
#include <random>

#include "tests/track/fixtures.h"

namespace {

using fix::centred;
using fix::Scene;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

using Points = std::vector<std::pair<int, int>>;

Points points(const std::vector<TRK_POINT_S>& trail) {
    Points out;
    for (const TRK_POINT_S& p : trail) {
        out.emplace_back(p.x, p.y);
        EXPECT_EQ(p.zero[0] | p.zero[1] | p.zero[2], 0);
    }
    return out;
}

struct Motion : testing::Test {
    Scene scene;

    void SetUp() override { fix::set_up_device(); }

    void see(int x, int y) { scene.pass({{1, centred(x, y)}}); }
    void lose() { scene.pass({}); }
    TRACKER_RSLT_S& trk() { return scene.list.at(0); }
};

TEST_F(Motion, TrailHoldsTwentyPoints) {
    for (int i = 0; i < 20; ++i)
        see(100 + i, 200);
    EXPECT_THAT(trk().trail, SizeIs(20));
    EXPECT_EQ(trk().trail[0].x, 100);
    see(120, 200);
    EXPECT_THAT(trk().trail, SizeIs(20));
    EXPECT_EQ(trk().trail[0].x, 101);
    EXPECT_EQ(trk().trail[19].x, 120);
}

TEST_F(Motion, LostTrailShrinksByOneToTen) {
    for (int i = 0; i < 12; ++i)
        see(100 + i, 200);
    lose();
    EXPECT_THAT(trk().trail, SizeIs(11));
    EXPECT_EQ(trk().trail[0].x, 101);
    lose();
    EXPECT_THAT(trk().trail, SizeIs(10));
    lose();
    lose();
    EXPECT_THAT(trk().trail, SizeIs(10));
    EXPECT_EQ(trk().trail[0].x, 102);
    see(200, 200);
    EXPECT_THAT(trk().trail, SizeIs(11));
}

TEST_F(Motion, ObjectTrailHoldsSevenPointsAndGrowsWhileLost) {
    for (int i = 0; i < 3; ++i)
        see(100 + i, 200);
    lose();
    lose();
    EXPECT_THAT(points(trk().objTrail), ElementsAre(Pair(100, 200), Pair(101, 200), Pair(102, 200),
                                                    Pair(102, 200), Pair(102, 200)));
    see(103, 200);
    see(104, 200);
    see(105, 200);
    EXPECT_THAT(trk().objTrail, SizeIs(7));
    EXPECT_EQ(trk().objTrail[0].x, 101);
    EXPECT_EQ(trk().objTrail[6].x, 105);
}

TEST_F(Motion, TrailFollowsTheSelectedBoxObjectTrailTheDetection) {
    fix::cfg().StandAloneTrkMd = VCA_POSITION_FOOT;
    see(700, 400);
    EXPECT_THAT(points(trk().trail), ElementsAre(Pair(trk().footX, trk().footY)));
    EXPECT_THAT(points(trk().objTrail), ElementsAre(Pair(700, 400)));
    EXPECT_NE(trk().footX, 700);
    fix::cfg().StandAloneTrkMd = VCA_POSITION_HEAD;
    see(700, 400);
    const POINT_POS_S head = fix::centre(trk().headBox);
    EXPECT_EQ(points(trk().trail).back(), std::pair(head.x, head.y));
    fix::cfg().devWorkMode = VCA_WORK_SLAVE;  // only a stand-alone device looks at the setting
    see(710, 400);
    EXPECT_EQ(points(trk().trail).back(), std::pair(710, 400));
}

TEST_F(Motion, CentresUseIntegerHalves) {
    scene.pass({{1, fix::box(101, 201, 41, 43)}});
    EXPECT_THAT(points(trk().trail), ElementsAre(Pair(121, 222)));
}

// ---- Speed ----

TEST_F(Motion, EvenAgesGiveSamples) {
    vca_feed_frm_cnt_set(100);
    see(100, 200);  // age 1: only the reference
    EXPECT_THAT(trk().moveDist, IsEmpty());
    EXPECT_EQ(trk().speed, 0.0f);
    see(103, 204);  // age 2, frame 101: 5 pixels in one frame
    EXPECT_THAT(trk().moveDist, ElementsAre(5));
    EXPECT_THAT(trk().moveFrm, ElementsAre(101));
    EXPECT_EQ(trk().speed, 5.0f);
    see(203, 204);  // age 3: no sample, the speed stays
    EXPECT_THAT(trk().moveDist, ElementsAre(5));
    EXPECT_EQ(trk().speed, 5.0f);
    EXPECT_EQ(fix::centre(trk().prevObj).x, 103);
    see(113, 204);  // age 4, frame 103: 10 pixels; 15 in frames 101..103
    EXPECT_THAT(trk().moveDist, ElementsAre(5, 10));
    EXPECT_THAT(trk().moveFrm, ElementsAre(101, 103));
    EXPECT_EQ(trk().speed, 5.0f);
    see(113, 204);
    see(120, 204);  // age 6, frame 105: 22 pixels in 5 frames
    EXPECT_EQ(trk().speed, 22.0f / 5.0f);
}

TEST_F(Motion, LostPassesGiveNoSample) {
    see(100, 200);
    lose();
    lose();
    see(106, 208);  // age 2, frame 3
    EXPECT_THAT(trk().moveDist, ElementsAre(10));
    EXPECT_THAT(trk().moveFrm, ElementsAre(3));
    lose();
    EXPECT_THAT(trk().moveDist, ElementsAre(10));
    EXPECT_EQ(trk().speed, 10.0f);
}

TEST_F(Motion, DistancesAreWholePixels) {
    see(100, 200);
    see(101, 201);  // 1.41
    EXPECT_THAT(trk().moveDist, ElementsAre(1));
}

TEST_F(Motion, OneSampleOlderThanTheWindowIsKept) {
    vca_feed_frm_cnt_set(0);
    // samples at frames 1, 3, 5, ...; at frame 27 the sample of frame 3 is 24 old and stays inside,
    // that of frame 1 is 26 old and is the one kept beyond the window
    for (int i = 0; i < 28; ++i)
        see(100 + i, 200);
    ASSERT_THAT(trk().moveFrm, SizeIs(14));
    EXPECT_EQ(trk().moveFrm.front(), 1);
    see(128, 200);
    see(129, 200);  // frame 29: frame 3 is 26 old, frame 1 goes
    ASSERT_THAT(trk().moveFrm, SizeIs(14));
    EXPECT_EQ(trk().moveFrm.front(), 3);
    // the sample of 1 pixel went with frame 1: 14 samples of 2 pixels over frames 3..29
    EXPECT_EQ(trk().speed, 28.0f / 27.0f);
}

TEST_F(Motion, LongGapKeepsTheLastOldSample) {
    see(100, 200);
    see(104, 200);
    see(104, 200);
    see(108, 200);  // samples at frames 1 and 3
    vca_feed_frm_cnt_set(200);
    see(108, 200);
    see(110, 200);  // age 6, frame 201: 2 pixels
    EXPECT_THAT(trk().moveFrm, ElementsAre(3, 201));
    EXPECT_THAT(trk().moveDist, ElementsAre(4, 2));
    EXPECT_EQ(trk().speed, 6.0f / 199.0f);
}

TEST_F(Motion, FrameCounterWrapsBetweenSamples) {
    vca_feed_frm_cnt_set(INT_MAX - 1);
    see(100, 200);
    see(104, 200);  // frame INT_MAX
    see(104, 200);
    see(108, 200);  // frame INT_MIN + 1, two frames on
    EXPECT_THAT(trk().moveFrm, ElementsAre(INT_MAX, INT_MIN + 1));
    EXPECT_EQ(trk().speed, 8.0f / 3.0f);
}

TEST_F(Motion, CounterSetBackGivesAnInfiniteSpeed) {
    see(100, 200);
    see(104, 200);  // frame 1
    vca_feed_frm_cnt_set(-1);
    see(104, 200);
    see(108, 200);  // frame 0: 0 - 1 + 1 frames
    EXPECT_THAT(trk().moveFrm, ElementsAre(1, 0));
    EXPECT_TRUE(std::isinf(trk().speed));
}

// ---- Smoothed trajectory ----

TEST_F(Motion, SinglePointGetsADirection) {
    see(300, 200);
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(300, 200), Pair(301, 201)));
}

TEST_F(Motion, MasterStepsTwoPixels) {
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    see(300, 200);
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(300, 200), Pair(302, 202)));
}

TEST_F(Motion, SlaveStepsOnePixel) {
    fix::cfg().devWorkMode = VCA_WORK_SLAVE;
    see(300, 200);
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(300, 200), Pair(301, 201)));
}

TEST_F(Motion, PointsWithinTheThresholdAreNotTaken) {
    see(300, 200);
    see(301, 201);  // one pixel on both axes: not above 1
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(301, 201), Pair(302, 202)));
    see(303, 201);  // 2 from the middle point
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(303, 201), Pair(302, 201)));
}

TEST_F(Motion, MasterTakesPointsFromFourPixels) {
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    see(300, 200);
    see(303, 203);
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(303, 203), Pair(305, 205)));
    see(307, 203);
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(307, 203), Pair(305, 203)));
}

TEST_F(Motion, ThresholdCountsFromTheLastTakenPoint) {
    see(300, 200);
    see(301, 200);
    see(302, 200);
    see(303, 200);
    // from 303: 302 is near, 301 is taken, 300 is near 301
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(303, 200), Pair(302, 200)));
}

TEST_F(Motion, MidpointsFollowTheNewestPoint) {
    see(300, 200);
    see(310, 205);
    see(323, 214);
    // (310 + 323) / 2 = 316, (205 + 214) / 2 = 209; (300 + 310) / 2, (200 + 205) / 2 = 202
    EXPECT_THAT(points(trk().trailSmooth),
                ElementsAre(Pair(323, 214), Pair(316, 209), Pair(305, 202)));
}

TEST_F(Motion, SevenPointsAtMost) {
    for (int i = 0; i < 12; ++i)
        see(300 + 10 * i, 200);
    EXPECT_THAT(points(trk().trailSmooth),
                ElementsAre(Pair(410, 200), Pair(405, 200), Pair(395, 200), Pair(385, 200),
                            Pair(375, 200), Pair(365, 200), Pair(355, 200)));
}

TEST_F(Motion, TrajectoryIsKeptWhileLost) {
    see(300, 200);
    see(320, 200);
    lose();
    EXPECT_THAT(points(trk().trailSmooth), ElementsAre(Pair(320, 200), Pair(310, 200)));
}

TEST_F(Motion, MidpointsOfNegativeCoordinatesTruncateTowardZero) {
    fix::cfg().devWorkMode = VCA_WORK_MASTER;  // merged objects keep negative coordinates
    Scene merged(true);
    merged.pass({{1, fix::box(-40, -41, 4, 4)}});  // centre (-38, -39)
    merged.pass({{1, fix::box(-49, -50, 4, 4)}});  // centre (-47, -48)
    EXPECT_THAT(points(merged.list[0].trailSmooth), ElementsAre(Pair(-47, -48), Pair(-42, -43)));
}

// ---- Against a plain rewriting ----

struct Model {
    int mode;
    int age = 0, lost = 0, cont = 0;
    float speed = 0;
    std::vector<std::pair<int, int>> samples;  // frame, distance
    std::deque<std::pair<int, int>> trail, obj_trail;
    std::pair<int, int> now{}, before{};

    explicit Model(int work_mode) : mode(work_mode) {}

    void pass(bool seen, std::pair<int, int> at, int frame) {
        if (seen) {
            now = at;
            ++age;
            lost = 0;
            ++cont;
            trail.push_back(now);
            if (age < 2) before = now;
            if (age >= 2 && age % 2 == 0) sample(frame);
            if (trail.size() > 20) trail.pop_front();
        } else {
            ++lost;
            cont = 0;
            if (trail.size() > 10) trail.pop_front();
        }
        obj_trail.push_back(now);
        if (obj_trail.size() > 7) obj_trail.pop_front();
    }

    void sample(int frame) {
        const double dx = now.first - before.first;
        const double dy = now.second - before.second;
        samples.emplace_back(frame, static_cast<int>(std::floor(std::sqrt(dx * dx + dy * dy))));
        before = now;
        // everything before the youngest sample that is older than 24 frames goes
        while (samples.size() > 1 && frame - samples[1].first > 24)
            samples.erase(samples.begin());
        int sum = 0;
        for (const auto& s : samples)
            sum += s.second;
        const int span = samples.back().first - samples.front().first + 1;
        speed = static_cast<float>(sum) / static_cast<float>(span);
    }

    Points smooth() const {
        const int threshold = mode == 1 ? 3 : 1;
        const int step = mode == 1 ? 2 : 1;
        Points taken;
        for (auto it = trail.rbegin(); it != trail.rend(); ++it)
            if (taken.empty() || std::abs(it->first - taken.back().first) > threshold ||
                std::abs(it->second - taken.back().second) > threshold)
                taken.push_back(*it);
        if (taken.size() == 1) return {taken[0], {taken[0].first + step, taken[0].second + step}};
        Points out{taken[0]};
        for (size_t k = 1; k < taken.size() && out.size() < 7; ++k)
            out.emplace_back((taken[k].first + taken[k - 1].first) / 2,
                             (taken[k].second + taken[k - 1].second) / 2);
        return out;
    }
};

class RandomWalks : public testing::TestWithParam<int> {};

TEST_P(RandomWalks, AgreeWithThePlainRules) {
    fix::set_up_device();
    fix::cfg().devWorkMode = GetParam();
    std::mt19937 rng(8);
    const auto uniform = [&](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo, hi)(rng);
    };
    int passes = 0;
    for (int walk = 0; walk < 60; ++walk) {
        Scene scene;
        Model model(GetParam());
        int frame = uniform(0, 5000);
        std::pair<int, int> at{480, 270};
        const int stride = uniform(1, 12);
        for (int i = 0; i < 60; ++i, ++passes) {
            at.first = std::clamp(at.first + uniform(-stride, stride), 20, 900);
            at.second = std::clamp(at.second + uniform(-stride, stride), 20, 500);
            const bool seen = i == 0 || uniform(0, 9) < 7 || model.lost == 4;
            vca_feed_frm_cnt_set(frame);
            scene.pass(seen ? std::vector<fix::Seen>{{1, centred(at.first, at.second)}}
                            : std::vector<fix::Seen>{});
            model.pass(seen, at, frame);
            const TRACKER_RSLT_S& trk = scene.list.at(0);
            ASSERT_EQ(trk.age, model.age);
            ASSERT_EQ(trk.lostCnt, model.lost);
            ASSERT_EQ(trk.contCnt, model.cont);
            ASSERT_EQ(trk.speed, model.speed);
            ASSERT_EQ(trk.moveFrm.size(), trk.moveDist.size());
            ASSERT_EQ(trk.moveFrm.size(), model.samples.size());
            for (size_t k = 0; k < model.samples.size(); ++k) {
                ASSERT_EQ(trk.moveFrm[k], model.samples[k].first);
                ASSERT_EQ(trk.moveDist[k], model.samples[k].second);
            }
            ASSERT_EQ(points(trk.trail), Points(model.trail.begin(), model.trail.end()));
            ASSERT_EQ(points(trk.objTrail), Points(model.obj_trail.begin(), model.obj_trail.end()));
            ASSERT_EQ(points(trk.trailSmooth), model.smooth());
            frame += uniform(0, 20) == 0 ? uniform(1, 60) : 1;
        }
    }
    EXPECT_EQ(passes, 3600);
}

INSTANTIATE_TEST_SUITE_P(Modes, RandomWalks, testing::Values(0, 1, 2));

}  // namespace
