// Pairs of crossings: as many as possible, then the nearest; against trying all pairings.
#include "host/score/crossing_match.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

namespace {

using host::compare_crossings;
using host::MatchBy;
using host::TimedCrossing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(Match, IsOneToOneWithinASecond) {
    const auto result = compare_crossings({{1.0, "door", 1}, {5.0, "door", 1}, {9.0, "door", 1}},
                                          {{1.9, "door", 1}, {6.1, "door", 1}, {9.0, "door", 2}});
    EXPECT_THAT(result.both, ElementsAre(Pair(0u, 0u)));
    EXPECT_THAT(result.only_first, ElementsAre(1u, 2u));
    EXPECT_THAT(result.only_second, ElementsAre(1u, 2u));
}

// The nearest one of the second label would leave the first without any.
TEST(Match, TakesAsManyAsPossible) {
    const auto result =
        compare_crossings({{1.0, "a", 1}, {1.8, "a", 1}}, {{1.9, "a", 1}, {2.7, "a", 1}});
    EXPECT_THAT(result.both, ElementsAre(Pair(0u, 0u), Pair(1u, 1u)));
}

TEST(Match, OfOtherDirectionsAndLines) {
    const std::vector<TimedCrossing> first{{1.0, "a", 1}, {1.0, "b", 1}};
    const std::vector<TimedCrossing> second{{1.2, "a", 2}, {1.3, "c", 1}};
    std::vector<bool> first_free{true, true}, second_free{true, true};
    const auto match = [&](MatchBy by) {
        return host::match_crossings(first, second, by, first_free, second_free);
    };
    EXPECT_THAT(match(MatchBy::kSame), IsEmpty());
    EXPECT_THAT(match(MatchBy::kOtherDirection), ElementsAre(Pair(0u, 0u)));
    EXPECT_THAT(match(MatchBy::kOtherLine), ElementsAre(Pair(1u, 1u)));
    EXPECT_THAT(first_free, ElementsAre(false, false));
}

struct Best {
    int pairs = 0;
    double apart_s = 0.0;
};

// By trying everything.
Best best_of(const std::vector<TimedCrossing>& first, const std::vector<TimedCrossing>& second) {
    Best best;
    std::vector<bool> taken(second.size(), false);
    const std::function<void(std::size_t, Best)> go = [&](std::size_t i, Best now) {
        if (i == first.size()) {
            if (now.pairs > best.pairs ||
                (now.pairs == best.pairs && now.apart_s < best.apart_s - 1e-9))
                best = now;
            return;
        }
        go(i + 1, now);
        for (std::size_t j = 0; j < second.size(); ++j) {
            const double apart_s = std::abs(first[i].time_s - second[j].time_s);
            if (taken[j] || apart_s > host::kSameCrossing_s + 1e-9) continue;
            taken[j] = true;
            go(i + 1, {now.pairs + 1, now.apart_s + apart_s});
            taken[j] = false;
        }
    };
    go(0, {});
    return best;
}

TEST(Match, IsTheBestThereIs) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> many(0, 6);
    std::uniform_int_distribution<int> when(0, 400);
    const auto list = [&] {
        std::vector<TimedCrossing> crossings(static_cast<std::size_t>(many(random)));
        for (TimedCrossing& crossing : crossings)
            crossing = {when(random) / 100.0, "a", 1};
        std::sort(crossings.begin(), crossings.end(),
                  [](const auto& a, const auto& b) { return a.time_s < b.time_s; });
        return crossings;
    };
    for (int i = 0; i < 3000; ++i) {
        const auto first = list(), second = list();
        const auto pairs = compare_crossings(first, second).both;
        double apart_s = 0.0;
        for (const auto& [a, b] : pairs) {
            apart_s += std::abs(first[a].time_s - second[b].time_s);
            ASSERT_LE(std::abs(first[a].time_s - second[b].time_s), host::kSameCrossing_s + 1e-9);
        }
        const Best best = best_of(first, second);
        ASSERT_EQ(static_cast<int>(pairs.size()), best.pairs);
        ASSERT_NEAR(apart_s, best.apart_s, 1e-6);
    }
}

}  // namespace
