// Median and 99th percentile of the last delays.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace host {

struct DelaySummary {
    std::int64_t count = 0;  // of all delays; the figures are those of the last 4096
    double median_ms = 0.0;
    double p99_ms = 0.0;
    double greatest_ms = 0.0;
};

class DelaySamples {
  public:
    void add(double delay_ms) {
        samples_[static_cast<std::size_t>(count_) % samples_.size()] = static_cast<float>(delay_ms);
        ++count_;
    }

    // Percentiles by nearest rank: the smallest sample that `share` of all do not exceed.
    DelaySummary summary() const {
        DelaySummary result;
        result.count = count_;
        if (count_ == 0) return result;
        const auto kept = std::min<std::ptrdiff_t>(count_, std::ssize(samples_));
        std::vector<float> sorted(samples_.begin(), samples_.begin() + kept);
        std::sort(sorted.begin(), sorted.end());
        const auto rank = [&](double share) {
            const double place = std::ceil(share * static_cast<double>(sorted.size()));
            return double{sorted[static_cast<std::size_t>(std::max(place, 1.0)) - 1]};
        };
        result.median_ms = rank(0.5);
        result.p99_ms = rank(0.99);
        result.greatest_ms = double{sorted.back()};
        return result;
    }

  private:
    std::array<float, 4096> samples_{};
    std::int64_t count_ = 0;
};

}  // namespace host
