// Durations of many runs of the same work, and what is said of them.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double us_between(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::micro>(to - from).count();
}

// The value below which that share of the values lies; 0 of none.
inline double quantile(std::vector<double> values, double share) {
    if (values.empty()) return 0.0;
    const auto index = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[static_cast<size_t>(index)];
}

inline double median(const std::vector<double>& values) {
    return quantile(values, 0.5);
}

}  // namespace bench
