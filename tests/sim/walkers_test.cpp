// Generated walkers: they keep their distance, come from outside, and do what each scene promises.
#include "sim/walkers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <set>
#include <stdexcept>

#include "sim/crossings.h"
#include "sim/simulator.h"

namespace {

using sim::CrossingCounter;
using sim::Frame;
using sim::PersonTruth;
using sim::Simulator;

constexpr double kLeastDistance_m = 0.45;

double distance(const PersonTruth& a, const PersonTruth& b) {
    return std::hypot(a.x_m - b.x_m, a.y_m - b.y_m);
}

class Scenes : public testing::TestWithParam<std::string> {};

TEST_P(Scenes, NobodyComesTooCloseOrJumps) {
    for (const std::uint64_t seed : {1U, 2U}) {
        Simulator simulator = sim::make_scene(GetParam(), seed);
        const double fps = simulator.info().fps;
        std::map<int, PersonTruth> before;
        Frame frame;
        double closest = 1e9;
        double fastest = 0.0;
        while (simulator.next_truth(frame)) {
            for (std::size_t i = 0; i < frame.truth.size(); ++i) {
                for (std::size_t k = i + 1; k < frame.truth.size(); ++k) {
                    closest = std::min(closest, distance(frame.truth[i], frame.truth[k]));
                }
                const auto last = before.find(frame.truth[i].id);
                if (last == before.end()) continue;
                fastest = std::max(fastest, fps * distance(frame.truth[i], last->second));
            }
            before.clear();
            for (const PersonTruth& t : frame.truth)
                before[t.id] = t;
        }
        EXPECT_GE(closest, kLeastDistance_m);
        EXPECT_LT(closest, 5.0);
        EXPECT_LE(fastest, 2.6);
    }
}

TEST_P(Scenes, PeopleComeAndGoOutOfView) {
    Simulator simulator = sim::make_scene(GetParam(), 3);
    std::map<int, PersonTruth> present;
    std::set<int> seen;
    Frame frame;
    while (simulator.next_truth(frame)) {
        std::map<int, PersonTruth> now;
        for (const PersonTruth& t : frame.truth) {
            now[t.id] = t;
            const bool fresh = seen.insert(t.id).second;
            EXPECT_FALSE(fresh && frame.index > 0 && t.in_view) << "person " << t.id;
        }
        for (const auto& [id, last] : present) {
            EXPECT_FALSE(!now.contains(id) && last.in_view) << "person " << id;
        }
        present = now;
    }
    EXPECT_GE(seen.size(), 20u);
}

TEST_P(Scenes, CrossedBothWays) {
    Simulator simulator = sim::make_scene(GetParam(), 1);
    CrossingCounter counter(simulator.info().lines);
    std::map<int, int> directions;
    Frame frame;
    while (simulator.next_truth(frame)) {
        for (const auto& crossing : counter.update(frame))
            ++directions[crossing.direction];
    }
    EXPECT_GE(directions[1], 5);
    EXPECT_GE(directions[2], 5);
}

TEST_P(Scenes, LineIsWellInsideTheView) {
    const sim::SceneInfo info = sim::scene_info(GetParam());
    EXPECT_EQ(info.name, GetParam());
    EXPECT_FALSE(info.description.empty());
    ASSERT_FALSE(info.lines.empty());
    for (const sim::CountingLine& line : info.lines) {
        ASSERT_GE(line.points.size(), 2u);
        for (const sim::Point& p : line.points) {
            EXPECT_TRUE(sim::in_image(info.camera.project(p.x_m, p.y_m, info.line_height_m)));
        }
        // Even a tall person is seen on both sides of the line's middle.
        const sim::Point half = info.camera.half_view(1.95);
        EXPECT_GT(std::min(half.x_m, half.y_m), sim::kCrossingDepth_m + 0.2);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Scenes, testing::ValuesIn(sim::scene_names()),
                         [](const auto& test) { return test.param; });

TEST(Walkers, OtherSeedOtherPeople) {
    Simulator a = sim::make_scene("crowd", 1);
    Simulator b = sim::make_scene("crowd", 2);
    Frame fa;
    Frame fb;
    ASSERT_TRUE(a.next_truth(fa));
    ASSERT_TRUE(b.next_truth(fb));
    ASSERT_FALSE(fa.truth.empty());
    ASSERT_FALSE(fb.truth.empty());
    EXPECT_NE(fa.truth[0].x_m, fb.truth[0].x_m);
}

TEST(Walkers, UnknownSceneListsTheKnownOnes) {
    try {
        sim::make_scene("garden", 1);
        FAIL() << "no error";
    } catch (const std::invalid_argument& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("unknown scene \"garden\""));
        for (const std::string& name : sim::scene_names()) {
            EXPECT_THAT(error.what(), testing::HasSubstr(name));
        }
    }
}

TEST(Walkers, SomeTurnBackOnTheLine) {
    Simulator simulator = sim::make_scene("uturn", 1);
    const sim::CountingLine gate = simulator.info().lines[0];
    ASSERT_FALSE(gate.uturn_area.empty());
    std::map<int, std::pair<double, double>> sides;  // first and last distance from the line
    std::map<int, bool> over;
    Frame frame;
    while (simulator.next_truth(frame)) {
        for (const PersonTruth& t : frame.truth) {
            if (!t.in_view) continue;
            const double d = sim::signed_distance(gate.points, {t.x_m, t.y_m});
            const auto [entry, fresh] = sides.try_emplace(t.id, d, d);
            entry->second.second = d;
            if (d * entry->second.first < 0.0) over[t.id] = true;
        }
    }
    int through = 0;
    int back = 0;
    int back_from_beyond = 0;
    for (const auto& [id, side] : sides) {
        if (std::abs(side.second) < 0.5) continue;  // still there at the end
        const bool same = side.first * side.second > 0.0;
        (same ? back : through) += 1;
        if (same && over[id]) ++back_from_beyond;
    }
    EXPECT_GE(through, 10);
    EXPECT_GE(back, 5);
    EXPECT_GE(back_from_beyond, 3);
}

TEST(Walkers, GroupsWalkSideBySideWithChildren) {
    Simulator simulator = sim::make_scene("groups", 1);
    EXPECT_TRUE(simulator.info().group_counting);
    std::set<int> children;
    std::set<int> adults;
    std::set<std::pair<int, int>> abreast;
    Frame frame;
    while (simulator.next_truth(frame)) {
        for (const PersonTruth& a : frame.truth) {
            if (!a.in_view) continue;
            (a.height_mm < 1450.0 ? children : adults).insert(a.id);
            EXPECT_GE(a.height_mm, 1000.0);
            EXPECT_LE(a.height_mm, 1950.0);
            for (const PersonTruth& b : frame.truth) {
                if (a.id >= b.id || !b.in_view || std::abs(a.y_m - b.y_m) > 0.3) continue;
                if (std::abs(a.x_m - b.x_m) < 0.75) abreast.insert({a.id, b.id});
            }
        }
    }
    EXPECT_GE(children.size(), 5u);
    EXPECT_GE(adults.size(), 15u);
    EXPECT_GE(abreast.size(), 10u);
}

TEST(Walkers, ShopHasTrolleysBagsAndPeopleWhoStop) {
    sim::WalkerPlan plan;
    plan.arrivals_per_s = 1.0;
    plan.trolleys = 0.3;
    plan.bags = 0.5;
    plan.stops = 0.5;
    plan.half_width_m = 1.2;
    const auto world = sim::make_walkers(plan, 15.0, 1);
    std::map<sim::Load, std::set<int>> loads;
    std::map<int, int> still;
    std::vector<sim::Pose> people;
    for (int i = 0; i < 1500; ++i) {
        world->step(people);
        for (const sim::Pose& p : people) {
            loads[p.load].insert(p.id);
            if (p.stride < 0.1) ++still[p.id];
        }
    }
    EXPECT_GE(loads[sim::Load::kTrolley].size() + loads[sim::Load::kCart].size(), 5u);
    EXPECT_GE(loads[sim::Load::kHandbag].size(), 1u);
    EXPECT_GE(loads[sim::Load::kBackpack].size(), 1u);
    EXPECT_GE(loads[sim::Load::kSuitcase].size(), 1u);
    EXPECT_GE(loads[sim::Load::kNone].size(), 5u);
    int stopped = 0;
    for (const auto& [id, frames] : still)
        stopped += frames >= 10 ? 1 : 0;
    EXPECT_GE(stopped, 5);
}

TEST(Walkers, SpeedsDiffer) {
    Simulator simulator = sim::make_scene("doorway", 1);
    std::map<int, std::array<double, 4>> way;  // first time, first y, last time, last y
    Frame frame;
    while (simulator.next_truth(frame)) {
        for (const PersonTruth& t : frame.truth) {
            const auto [entry, fresh] =
                way.try_emplace(t.id, std::array{frame.time_s, t.y_m, 0.0, 0.0});
            entry->second[2] = frame.time_s;
            entry->second[3] = t.y_m;
        }
    }
    double slowest = 1e9;
    double fastest = 0.0;
    for (const auto& [id, w] : way) {
        if (w[2] - w[0] < 0.5) continue;
        const double speed = std::abs(w[3] - w[1]) / (w[2] - w[0]);
        slowest = std::min(slowest, speed);
        fastest = std::max(fastest, speed);
    }
    EXPECT_GT(slowest, 0.4);
    EXPECT_LT(slowest, 1.1);
    EXPECT_GT(fastest, 1.3);
    EXPECT_LT(fastest, 1.7);
}

TEST(Walkers, CrowdIsDense) {
    Simulator simulator = sim::make_scene("crowd", 1);
    EXPECT_TRUE(simulator.info().crowded);
    const sim::Point half = simulator.info().camera.half_view(1.7);
    Frame frame;
    double peak = 0.0;
    double sum = 0.0;
    int frames = 0;
    while (simulator.next_truth(frame)) {
        int seen = 0;
        for (const PersonTruth& t : frame.truth)
            seen += t.in_view ? 1 : 0;
        const double density = seen / (4.0 * half.x_m * half.y_m);
        peak = std::max(peak, density);
        sum += density;
        ++frames;
    }
    EXPECT_GT(sum / frames, 0.6);
    EXPECT_GT(peak, 1.0);
    EXPECT_LT(peak, 1.35);
}

}  // namespace
