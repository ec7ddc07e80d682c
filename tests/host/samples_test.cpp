// Quantiles of few values and of many.
#include "host/score/samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace {

TEST(Quantile, Interpolates) {
    EXPECT_DOUBLE_EQ(host::quantile({}, 0.5), 0.0);
    EXPECT_DOUBLE_EQ(host::quantile({3.0}, 0.95), 3.0);
    EXPECT_DOUBLE_EQ(host::quantile({4.0, 1.0, 2.0}, 0.5), 2.0);
    EXPECT_DOUBLE_EQ(host::quantile({1.0, 2.0}, 0.25), 1.25);
    EXPECT_DOUBLE_EQ(host::quantile({1.0, 2.0}, 2.0), 2.0);
}

TEST(Samples, AreExactAsLongAsAllAreKept) {
    std::mt19937 random(5);
    std::vector<double> values;
    host::Samples samples;
    EXPECT_TRUE(samples.empty());
    EXPECT_EQ(samples.mean(), 0.0);
    EXPECT_EQ(samples.quantile(0.5), 0.0);
    for (std::size_t i = 0; i < host::Samples::kMost; ++i) {
        values.push_back(static_cast<double>(random() % 100000) - 50000.0);
        samples.add(values.back());
        if (i % 1000 != 0 && i + 1 != host::Samples::kMost) continue;
        for (const double share : {0.0, 0.05, 0.5, 0.95, 1.0})
            ASSERT_EQ(samples.quantile(share), host::quantile(values, share)) << i;
    }
    EXPECT_EQ(samples.count(), 8192);
    EXPECT_DOUBLE_EQ(samples.mean(), std::accumulate(values.begin(), values.end(), 0.0) / 8192.0);
}

// Values in any order: by chance, rising, with rare ones at the end.
std::vector<std::vector<double>> many_values() {
    std::mt19937_64 random(11);
    std::lognormal_distribution<double> skewed(2.0, 0.3);
    std::vector<double> by_chance(300000);
    std::generate(by_chance.begin(), by_chance.end(), [&] { return skewed(random); });
    std::vector<double> rising = by_chance;
    std::sort(rising.begin(), rising.end());
    std::vector<double> late(by_chance);
    std::partition(late.begin(), late.end(), [](double value) { return value < 9.0; });
    return {by_chance, rising, late};
}

TEST(Samples, OfManyValuesEstimateTheirQuantiles) {
    for (const std::vector<double>& values : many_values()) {
        host::Samples samples;
        for (const double value : values)
            samples.add(value);
        EXPECT_EQ(samples.count(), 300000);
        EXPECT_NEAR(samples.mean(), std::accumulate(values.begin(), values.end(), 0.0) / 300000.0,
                    1e-9);
        for (const double share : {0.05, 0.25, 0.5, 0.75, 0.95}) {
            const double exact = host::quantile(values, share);
            EXPECT_NEAR(samples.quantile(share), exact, 0.02 * exact) << share;
        }
    }
}

TEST(Samples, OfTheSameValuesAreTheSame) {
    host::Samples first;
    host::Samples second;
    for (int i = 0; i < 50000; ++i) {
        first.add(std::sin(i));
        second.add(std::sin(i));
    }
    for (int i = 0; i <= 100; ++i)
        EXPECT_EQ(first.quantile(i / 100.0), second.quantile(i / 100.0));
}

}  // namespace
