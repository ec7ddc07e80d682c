// Sums over intervals, and quantiles by Boost.Math.
#include "host/score/audit_statistics.h"

#include <algorithm>
#include <boost/math/distributions/binomial.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace host {
namespace {

constexpr double kConfidence = 0.975;
constexpr double kLooserConfidence = 0.95;
// Both sides of a test with a power of 90 % fail in 5 % each.
constexpr double kPowerSide = 0.95;

void add(const CountPair& pair, CountErrors& errors, std::int64_t& sizes) {
    const int size = std::abs(pair.counted - pair.manual);
    errors.manual += pair.manual;
    errors.counted += pair.counted;
    ++errors.intervals;
    errors.exact += size == 0 ? 1 : 0;
    errors.within_one += size <= 1 ? 1 : 0;
    errors.within_two += size <= 2 ? 1 : 0;
    sizes += size;
}

// How many intervals like these it takes, in crossings.
std::int64_t crossings_for_power(double deviation, double mean_manual) {
    const double sides = normal_quantile(kConfidence) + normal_quantile(kPowerSide);
    const double intervals = std::pow(sides * deviation / kMostBias, 2.0);
    return static_cast<std::int64_t>(std::ceil(intervals * mean_manual));
}

BiasVerdict verdict_of(const BiasTest& test, std::int64_t errors) {
    if (!test.bias || !test.margin_975) return BiasVerdict::kNotShown;
    const double low = *test.bias - *test.margin_975;
    const double high = *test.bias + *test.margin_975;
    if (low > kMostBias || high < -kMostBias) return BiasVerdict::kRefuted;
    const bool inside = low >= -kMostBias && high <= kMostBias;
    return inside && test.crossings >= least_crossings(errors) ? BiasVerdict::kShown
                                                               : BiasVerdict::kNotShown;
}

}  // namespace

double student_quantile(double degrees, double probability) {
    return boost::math::quantile(boost::math::students_t(degrees), probability);
}

double normal_quantile(double probability) {
    return boost::math::quantile(boost::math::normal(), probability);
}

std::int64_t least_crossings(std::int64_t errors) {
    if (errors == 0) return kLeastCrossings;
    // More crossings only make so few errors less likely.
    const auto enough = [errors](std::int64_t crossings) {
        const boost::math::binomial misses(static_cast<double>(crossings), kMostBias);
        return boost::math::cdf(misses, static_cast<double>(errors)) <= 1.0 - kConfidence;
    };
    std::int64_t below = errors;
    std::int64_t above = 2 * kLeastCrossings;
    while (!enough(above))
        below = std::exchange(above, 2 * above);
    while (above - below > 1) {
        const std::int64_t middle = below + (above - below) / 2;
        (enough(middle) ? above : below) = middle;
    }
    return above;
}

const char* bias_verdict_name(BiasVerdict verdict) {
    if (verdict == BiasVerdict::kShown) return "shown";
    return verdict == BiasVerdict::kRefuted ? "refuted" : "not shown";
}

CountErrors count_errors(const std::vector<CountPair>& intervals) {
    CountErrors errors;
    std::int64_t sizes = 0;
    for (const CountPair& pair : intervals)
        add(pair, errors, sizes);
    if (errors.manual == 0) return errors;
    const auto manual = static_cast<double>(errors.manual);
    errors.balanced = static_cast<double>(errors.counted - errors.manual) / manual;
    errors.unbalanced = static_cast<double>(sizes) / manual;
    return errors;
}

BiasTest test_bias(const std::vector<CountPair>& intervals) {
    const CountErrors errors = count_errors(intervals);
    BiasTest test;
    test.intervals = errors.intervals;
    test.crossings = errors.manual;
    test.bias = errors.balanced;
    const std::int64_t net = std::abs(errors.counted - errors.manual);
    test.crossings_for_power = least_crossings(net);
    if (test.bias && test.intervals >= 2) {
        const auto n = static_cast<double>(test.intervals);
        const double mean_manual = static_cast<double>(errors.manual) / n;
        double squares = 0.0;
        for (const CountPair& pair : intervals)
            squares += std::pow((pair.counted - pair.manual) / mean_manual - *test.bias, 2.0);
        test.deviation = std::sqrt(squares / (n - 1.0));
        const double error = *test.deviation / std::sqrt(n);
        test.margin_975 = student_quantile(n - 1.0, kConfidence) * error;
        test.margin_95 = student_quantile(n - 1.0, kLooserConfidence) * error;
        test.crossings_for_power =
            std::max(test.crossings_for_power, crossings_for_power(*test.deviation, mean_manual));
    }
    test.verdict = verdict_of(test, net);
    if (test.verdict == BiasVerdict::kNotShown)
        test.crossings_still_needed =
            std::max<std::int64_t>(test.crossings_for_power - test.crossings, 0);
    return test;
}

}  // namespace host
