// Reservoir and quantiles.
#include "host/score/samples.h"

#include <algorithm>

namespace host {

double quantile(std::vector<double> values, double share) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    const double at = std::clamp(share, 0.0, 1.0) * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(at);
    const std::size_t above = std::min(below + 1, values.size() - 1);
    const double part = at - static_cast<double>(below);
    return values[below] + part * (values[above] - values[below]);
}

void Samples::add(double value) {
    ++count_;
    sum_ += value;
    if (kept_.size() < kMost) {
        kept_.push_back(value);
        return;
    }
    const std::uint64_t place = random_() % static_cast<std::uint64_t>(count_);
    if (place < kMost) kept_[place] = value;
}

double Samples::mean() const {
    return count_ == 0 ? 0.0 : sum_ / static_cast<double>(count_);
}

}  // namespace host
