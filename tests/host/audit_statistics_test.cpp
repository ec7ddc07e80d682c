// Errors of counts and the test of their bias: against printed tables, values of SciPy, and samples
// drawn at the very bias that must not be accepted.
#include "host/score/audit_statistics.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

namespace {

using host::BiasTest;
using host::BiasVerdict;
using host::CountPair;
using host::test_bias;

// Fisher and Yates, Statistical Tables, 1963, table III; and to nine digits scipy.stats.t.ppf.
TEST(Student, IsAsInTables) {
    struct Row {
        double degrees;
        double at_975;
        double at_95;
    };
    for (const Row& row :
         {Row{1, 12.706204736, 6.313751515}, Row{2, 4.302652730, 2.919985580},
          Row{3, 3.182446305, 2.353363435}, Row{5, 2.570581836, 2.015048373},
          Row{10, 2.228138852, 1.812461123}, Row{29, 2.045229642, 1.699127027},
          Row{30, 2.042272456, 1.697260887}, Row{60, 2.000297822, 1.670648865},
          Row{120, 1.979930405, 1.657650899}, Row{1000, 1.962339081, 1.646378818}}) {
        EXPECT_NEAR(host::student_quantile(row.degrees, 0.975), row.at_975, 1e-8) << row.degrees;
        EXPECT_NEAR(host::student_quantile(row.degrees, 0.95), row.at_95, 1e-8) << row.degrees;
    }
    EXPECT_NEAR(host::normal_quantile(0.975), 1.959963984540054, 1e-12);
    EXPECT_NEAR(host::normal_quantile(0.95), 1.6448536269514722, 1e-12);
}

std::vector<CountPair> pairs(const std::vector<int>& manual, const std::vector<int>& counted) {
    std::vector<CountPair> list;
    for (std::size_t i = 0; i < manual.size(); ++i)
        list.push_back({manual[i], counted[i]});
    return list;
}

TEST(Errors, BalancedOnesCancelAndUnbalancedOnesDoNot) {
    const host::CountErrors errors = host::count_errors(pairs({10, 10, 0, 5}, {11, 9, 0, 2}));
    EXPECT_EQ(errors.manual, 25);
    EXPECT_EQ(errors.counted, 22);
    EXPECT_EQ(errors.intervals, 4);
    EXPECT_EQ(errors.exact, 1);
    EXPECT_EQ(errors.within_one, 3);
    EXPECT_EQ(errors.within_two, 3);
    EXPECT_DOUBLE_EQ(*errors.balanced, -3.0 / 25.0);
    EXPECT_DOUBLE_EQ(*errors.unbalanced, 5.0 / 25.0);
}

// numpy.mean, numpy.std(ddof=1) and scipy.stats over the same numbers.
TEST(Bias, IsAsASecondImplementationSays) {
    const BiasTest few = test_bias(pairs({12, 0, 7, 30, 5}, {12, 1, 7, 28, 5}));
    EXPECT_NEAR(*few.bias, -0.018518518519, 1e-12);
    EXPECT_NEAR(*few.deviation, 0.101430103242, 1e-12);
    EXPECT_NEAR(*few.margin_975, 0.125942107529, 1e-9);
    EXPECT_NEAR(*few.margin_95, 0.096702533779, 1e-9);
    EXPECT_EQ(few.verdict, BiasVerdict::kNotShown);
    EXPECT_EQ(few.crossings_for_power, 14439);
    EXPECT_EQ(few.crossings_still_needed, 14439 - 54);

    const BiasTest shown = test_bias(
        pairs({50, 60, 40, 55, 45, 70, 30, 65, 50, 50}, {50, 60, 40, 55, 46, 70, 30, 64, 50, 50}));
    EXPECT_NEAR(*shown.bias, 0.0, 1e-12);
    EXPECT_NEAR(*shown.margin_975, 0.006548009310, 1e-9);
    EXPECT_EQ(shown.verdict, BiasVerdict::kShown);
    EXPECT_EQ(shown.crossings_still_needed, 0);

    const BiasTest refuted =
        test_bias(pairs(std::vector<int>(10, 100), {97, 98, 97, 96, 97, 98, 97, 97, 96, 97}));
    EXPECT_NEAR(*refuted.bias, -0.03, 1e-12);
    EXPECT_NEAR(*refuted.margin_975, 0.004769046040, 1e-9);
    EXPECT_EQ(refuted.verdict, BiasVerdict::kRefuted);
}

TEST(Bias, IntervalsWithoutAnybodyStayIn) {
    EXPECT_EQ(test_bias(pairs({200, 0, 200}, {200, 0, 200})).intervals, 3);
    const BiasTest ghosts = test_bias(pairs({200, 0, 200, 0}, {200, 20, 200, 20}));
    EXPECT_NEAR(*ghosts.bias, 0.1, 1e-12);
    EXPECT_GT(*ghosts.deviation, 0.1);
}

TEST(Bias, NobodyOneAndAllMissed) {
    const BiasTest nobody = test_bias(pairs({0, 0, 0}, {0, 2, 0}));
    EXPECT_FALSE(nobody.bias);
    EXPECT_EQ(nobody.verdict, BiasVerdict::kNotShown);
    EXPECT_EQ(nobody.crossings_still_needed, host::least_crossings(2));
    EXPECT_EQ(test_bias({}).verdict, BiasVerdict::kNotShown);
    const BiasTest one = test_bias(pairs({1}, {1}));
    EXPECT_EQ(one.verdict, BiasVerdict::kNotShown);
    EXPECT_FALSE(one.margin_975);
    EXPECT_EQ(one.crossings_still_needed, host::kLeastCrossings - 1);
    EXPECT_EQ(test_bias(pairs({9, 11, 10}, {0, 0, 0})).verdict, BiasVerdict::kRefuted);
}

// 0.99^367 > 0.025 > 0.99^368.
TEST(Bias, AFaultlessSampleNeedsEnoughCrossings) {
    EXPECT_EQ(test_bias(pairs({92, 92, 92, 91}, {92, 92, 92, 91})).verdict, BiasVerdict::kNotShown);
    EXPECT_EQ(test_bias(pairs({92, 92, 92, 92}, {92, 92, 92, 92})).verdict, BiasVerdict::kShown);
}

// scipy.stats.binom.cdf(errors, n, 0.01) falls to 0.025 between n - 1 and n.
TEST(Bias, ErrorsNeedMoreCrossings) {
    for (const auto& [errors, crossings] : std::vector<std::pair<int, int>>{
             {0, 368}, {1, 555}, {2, 720}, {5, 1164}, {10, 1835}, {100, 12152}}) {
        EXPECT_EQ(host::least_crossings(errors), crossings) << errors;
    }
    // One of 400 missed: the interval from -0.74 % to +0.25 % alone would do.
    std::vector<CountPair> one_missed(400, {1, 1});
    one_missed.front().counted = 0;
    const BiasTest test = test_bias(one_missed);
    EXPECT_GT(*test.bias - *test.margin_975, -0.01);
    EXPECT_EQ(test.verdict, BiasVerdict::kNotShown);
    EXPECT_GT(test.crossings_still_needed, 0);
}

// How often people are accepted of whom one in a hundred is missed.
double accepted_share(int intervals, int people, std::uint32_t seed) {
    constexpr int kSamples = 10000;
    std::mt19937 random(seed);
    std::poisson_distribution<int> came(people);
    int accepted = 0;
    for (int sample = 0; sample < kSamples; ++sample) {
        std::vector<CountPair> list;
        for (int i = 0; i < intervals; ++i) {
            const int manual = came(random);
            std::binomial_distribution<int> missed(manual, 0.01);
            list.push_back({manual, manual - missed(random)});
        }
        accepted += test_bias(list).verdict == BiasVerdict::kShown ? 1 : 0;
    }
    return static_cast<double>(accepted) / kSamples;
}

TEST(Bias, OfOnePerCentIsHardlyEverAccepted) {
    EXPECT_LE(accepted_share(4, 10, 1), 0.05);
    EXPECT_LE(accepted_share(8, 46, 2), 0.05);
    EXPECT_LE(accepted_share(20, 19, 3), 0.05);
    EXPECT_LE(accepted_share(40, 50, 4), 0.05);
    EXPECT_LE(accepted_share(100, 5, 5), 0.05);
    EXPECT_LE(accepted_share(380, 1, 6), 0.05);
}

// A simulation that could accept nothing would prove nothing.
TEST(Bias, ThatIsAbsentIsAcceptedWithThePowerAskedFor) {
    constexpr int kSamples = 2000;
    std::mt19937 random(7);
    // One in 200 is missed and one in 200 counted twice: a deviation of 0.1 a crossing.
    const double sides = host::normal_quantile(0.975) + host::normal_quantile(0.95);
    const int people = static_cast<int>(sides * sides * 0.01 / (0.01 * 0.01)) + 1;
    int accepted = 0;
    for (int sample = 0; sample < kSamples; ++sample) {
        std::vector<CountPair> list;
        for (int i = 0; i < 50; ++i) {
            const int manual = people / 50 + 1;
            std::binomial_distribution<int> wrong(manual, 0.005);
            list.push_back({manual, manual - wrong(random) + wrong(random)});
        }
        accepted += test_bias(list).verdict == BiasVerdict::kShown ? 1 : 0;
    }
    EXPECT_NEAR(static_cast<double>(accepted) / kSamples, 0.9, 0.03);
}

}  // namespace
