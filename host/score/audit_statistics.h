// How far automatic counts are from a person's, and whether a bias of more than 1 % can be
// excluded.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace host {

// One stretch of time.
struct CountPair {
    int manual = 0;
    int counted = 0;
};

struct CountErrors {
    std::int64_t manual = 0;
    std::int64_t counted = 0;
    std::int64_t intervals = 0;
    std::int64_t exact = 0;       // intervals without an error
    std::int64_t within_one = 0;  // with an error of at most 1
    std::int64_t within_two = 0;
    std::optional<double> balanced;    // (sum K - sum M) / sum M; empty when nobody was seen
    std::optional<double> unbalanced;  // sum |K - M| / sum M
};

CountErrors count_errors(const std::vector<CountPair>& intervals);

// A bias of this size is the largest one that is accepted.
inline constexpr double kMostBias = 0.01;
// With fewer crossings even a sample without any error does not exclude that 1 % are missed:
// 0.99^367 is above 0.025, 0.99^368 below.
inline constexpr std::int64_t kLeastCrossings = 368;

// The same for a sample with errors. Few errors also come with a small s, so the interval alone
// accepts a bias of 1 % too often: in 9 of 100 audits of 400 crossings. With this many crossings, a
// miss of each hundredth leaves so few errors in at most 2.5 % of all samples.
std::int64_t least_crossings(std::int64_t errors);

enum class BiasVerdict {
    kShown,     // the bias is within 1 % either way
    kNotShown,  // it may be, and it may not
    kRefuted,   // it is not
};

const char* bias_verdict_name(BiasVerdict verdict);

// An equivalence test by two one-sided tests (Schuirmann 1987). With the intervals i = 1..n, the
// manual counts M and the automatic ones K, Mm = sum M / n: D_i = (K_i - M_i) / Mm, and the
// interval mean(D) +- t(n - 1) s / sqrt(n) must lie within +-1 %, over least_crossings(|sum K - sum
// M|) crossings or more.
struct BiasTest {
    BiasVerdict verdict = BiasVerdict::kNotShown;
    std::int64_t intervals = 0;
    std::int64_t crossings = 0;            // seen by the person
    std::optional<double> bias;            // mean of D; empty when nobody was seen
    std::optional<double> deviation;       // s; empty with fewer than 2 intervals
    std::optional<double> margin_975;      // half of the interval, with t(n - 1, 0.975)
    std::optional<double> margin_95;       // with t(n - 1, 0.95)
    std::int64_t crossings_for_power = 0;  // needed to show an absent bias in 9 of 10 audits
    std::int64_t crossings_still_needed = 0;
};

BiasTest test_bias(const std::vector<CountPair>& intervals);

// The value that a t-distributed number with so many degrees of freedom stays below with this
// probability.
double student_quantile(double degrees, double probability);
double normal_quantile(double probability);

}  // namespace host
