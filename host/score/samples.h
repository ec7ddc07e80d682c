// Many values in little memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace host {

// Value at `share` (0 to 1) of the sorted values, interpolated; 0 when there are none.
double quantile(std::vector<double> values, double share);

// Keeps up to kMost of the values that it is given, each with the same chance (Vitter, Random
// Sampling with a Reservoir, 1985, algorithm R), so figures of more values than that are estimates.
// The same values give the same figures.
class Samples {
  public:
    static constexpr std::size_t kMost = 8192;

    void add(double value);
    std::int64_t count() const { return count_; }  // of all values
    bool empty() const { return count_ == 0; }
    double mean() const;  // of all values; 0 without any
    double quantile(double share) const { return host::quantile(kept_, share); }

  private:
    std::vector<double> kept_;
    std::int64_t count_ = 0;
    double sum_ = 0.0;
    std::mt19937_64 random_{1};
};

}  // namespace host
