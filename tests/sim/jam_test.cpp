// Nobody stands in another's way for good, so a scene of many hours does not fill up and end.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <vector>

#include "sim/walkers.h"

namespace {

using sim::Pose;

constexpr double kFps = 15.0;

struct Flow {
    std::vector<int> arrivals;  // in each quarter of the time
    double longest_s = 0.0;     // stay of one person
};

Flow watch(const sim::WalkerPlan& plan, double seconds, std::uint64_t seed) {
    const auto world = sim::make_walkers(plan, kFps, seed);
    Flow flow;
    flow.arrivals.resize(4);
    std::map<int, double> since;
    std::vector<Pose> people;
    const int frames = static_cast<int>(seconds * kFps);
    for (int i = 0; i < frames; ++i) {
        world->step(people);
        const double now = i / kFps;
        std::map<int, double> still;
        for (const Pose& p : people) {
            const auto known = since.find(p.id);
            if (known == since.end()) ++flow.arrivals[static_cast<std::size_t>(4L * i / frames)];
            const double from = known == since.end() ? now : known->second;
            still[p.id] = from;
            flow.longest_s = std::max(flow.longest_s, now - from);
        }
        since = std::move(still);
    }
    return flow;
}

void expect_steady(const Flow& flow, double longest_s) {
    ASSERT_GT(flow.arrivals[0], 100);
    for (const int arrivals : flow.arrivals)
        EXPECT_GT(arrivals, flow.arrivals[0] / 2);
    EXPECT_LT(flow.longest_s, longest_s);
}

// From both sides they each keep the other from it.
TEST(Jam, NotOfPeopleWhoWantToStopAtTheSamePlace) {
    sim::WalkerPlan plan;
    plan.half_length_m = 4.4;
    plan.half_width_m = 1.05;
    plan.arrivals_per_s = 0.5;
    plan.max_people = 6;
    plan.stops = 1.0;
    plan.stop_least_s = 2.0;
    plan.stop_most_s = 6.0;
    plan.stop_places = {{0.0, 0.8}};
    for (const std::uint64_t seed : {31, 38})
        expect_steady(watch(plan, 3000.0, seed), 200.0);
}

// Four abreast are wider than the passage.
TEST(Jam, NotOfGroupsThatFillThePassage) {
    sim::WalkerPlan plan;
    plan.half_width_m = 0.9;
    plan.arrivals_per_s = 0.5;
    plan.groups = 1.0;
    plan.groups_in_file = 0.0;
    for (const std::uint64_t seed : {3, 22})
        expect_steady(watch(plan, 3000.0, seed), 400.0);
}

}  // namespace
