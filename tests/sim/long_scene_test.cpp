// Scenes of hours: as many people come in the last of them as in the first, and nobody stays.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <string>

#include "sim/simulator.h"

namespace {

constexpr double kLength_s = 20000.0;
constexpr std::size_t kParts = 10;

struct Flow {
    std::array<int, kParts> arrivals{};
    double longest_s = 0.0;  // in view without a break
};

Flow watch(sim::Simulator simulator) {
    Flow flow;
    std::map<int, double> since;
    sim::Frame frame;
    while (simulator.next_truth(frame)) {
        std::map<int, double> still;
        for (const sim::PersonTruth& t : frame.truth) {
            const auto known = since.find(t.id);
            const bool fresh = known == since.end();
            if (fresh) ++flow.arrivals[static_cast<std::size_t>(frame.time_s * kParts / kLength_s)];
            still[t.id] = fresh ? frame.time_s : known->second;
            flow.longest_s = std::max(flow.longest_s, frame.time_s - still[t.id]);
        }
        since = std::move(still);
    }
    return flow;
}

class LongScene : public testing::TestWithParam<std::string> {};

// A seed with which two visitors of the gallery come to stand in each other's way after three
// hours.
TEST_P(LongScene, KeepsItsFlowOfPeople) {
    const Flow flow = watch(sim::make_scene(GetParam(), 4, kLength_s));
    const int all = std::accumulate(flow.arrivals.begin(), flow.arrivals.end(), 0);
    EXPECT_GT(all, 4000);
    for (const int arrivals : flow.arrivals) {
        EXPECT_GT(arrivals, 0.8 * all / kParts);
        EXPECT_LT(arrivals, 1.2 * all / kParts);
    }
    EXPECT_LT(flow.longest_s, 200.0);
}

INSTANTIATE_TEST_SUITE_P(All, LongScene, testing::ValuesIn(sim::scene_names()),
                         [](const auto& test) { return test.param; });

}  // namespace
