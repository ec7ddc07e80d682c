// Top, middle and extent of a head from the samples of its surface.
#include "host/inference/head_shape.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "host/inference/pixel_blocks.h"

namespace host {

namespace {

constexpr float kBodyDepth_mm = 450.0f;  // head and shoulders
constexpr float kHeadDepth_mm = 150.0f;  // the head alone
// What fixes the middle of a head: lower down, its far side is out of sight.
constexpr float kCrownDepth_mm = 40.0f;
// Around hair that gave no echo only what is lower can tell.
constexpr float kRimDepth_mm = 80.0f;
constexpr float kLargeHole_m2 = 0.008f;
constexpr float kBodyReach_mm = 420.0f;  // what is farther from the head is an arm or a bag
constexpr float kTopArea_m2 = 0.0015f;   // surface that must reach the top, against lone pixels

// Where a surface lies.
struct Surface {
    PlanPoint centre;
    float long_mm = 0.0f;  // standard deviations along the main axes
    float short_mm = 0.0f;
    float area_m2 = 0.0f;
};

// Sums of weight, first and second moments of a surface.
class Moments {
  public:
    void add(const PlanPoint& at, float area_m2) {
        const auto w = static_cast<double>(area_m2);
        const auto x = static_cast<double>(at.x_mm);
        const auto y = static_cast<double>(at.y_mm);
        area_ += w;
        x_ += w * x;
        y_ += w * y;
        xx_ += w * x * x;
        xy_ += w * x * y;
        yy_ += w * y * y;
    }

    Surface surface() const {
        if (area_ <= 0.0) return {};
        const double x = x_ / area_;
        const double y = y_ / area_;
        const double xx = xx_ / area_ - x * x;
        const double xy = xy_ / area_ - x * y;
        const double yy = yy_ / area_ - y * y;
        // Eigenvalues of the symmetric matrix {{xx, xy}, {xy, yy}}.
        const double mean = 0.5 * (xx + yy);
        const double split = std::hypot(0.5 * (xx - yy), xy);
        return {{static_cast<float>(x), static_cast<float>(y)},
                static_cast<float>(std::sqrt(std::max(mean + split, 0.0))),
                static_cast<float>(std::sqrt(std::max(mean - split, 0.0))),
                static_cast<float>(area_)};
    }

  private:
    double area_ = 0.0, x_ = 0.0, y_ = 0.0, xx_ = 0.0, xy_ = 0.0, yy_ = 0.0;
};

// A camera sees more of a head's near side than of its far side. For the topmost `depth_mm` of a
// paraboloid the mean over the picture lies depth/2 tan(angle of sight) too near to the point below
// the camera, however curved it is.
PlanPoint top_of(const PlanPoint& seen, float depth_mm, float camera_to_top_mm) {
    const float farther = 1.0f + 0.5f * depth_mm / std::max(camera_to_top_mm, depth_mm);
    return {farther * seen.x_mm, farther * seen.y_mm};
}

// The bin of each value within +-`reach`.
void find_bins(const std::vector<float>& values, float reach, float per_mm, std::uint8_t* bins) {
    const float* const value = values.data();
    const std::size_t count = values.size();
    for (std::size_t i = 0; i < count; ++i)
        bins[i] = static_cast<std::uint8_t>(static_cast<int>((value[i] + reach) * per_mm));
}

}  // namespace

// A histogram finds the few among which they are; of these the order is looked at.
std::array<float, 2> Quantiles::of(const std::vector<float>& values, float low, float high) {
    if (values.empty()) return {};
    bins_.resize(values.size());
    find_bins(values, reach_, static_cast<float>(kBins) / (2.0f * reach_), bins_.data());
    count_bins();
    std::array<float, 2> result{};
    std::size_t q = 0;
    for (const float share : {low, high}) {
        auto rank = static_cast<std::size_t>(share * static_cast<float>(values.size() - 1));
        std::uint8_t bin = 0;
        for (; rank >= counts_[bin]; ++bin)
            rank -= counts_[bin];
        candidates_.clear();
        visit_equal(bins_, bin, [&](std::size_t i) { candidates_.push_back(values[i]); });
        const auto nth = candidates_.begin() + static_cast<std::ptrdiff_t>(rank);
        std::nth_element(candidates_.begin(), nth, candidates_.end());
        result[q++] = *nth;
    }
    return result;
}

// In several histograms at once: the same bin is rarely counted twice in a row.
void Quantiles::count_bins() {
    constexpr std::size_t kAtOnce = 4;
    std::array<std::array<std::uint32_t, kBins + 1>, kAtOnce> counts{};
    const std::uint8_t* const bin = bins_.data();
    const std::size_t count = bins_.size();
    for (std::size_t i = 0; i < count; ++i)
        ++counts[i % kAtOnce][bin[i]];
    for (std::size_t b = 0; b <= kBins; ++b)
        counts_[b] = counts[0][b] + counts[1][b] + counts[2][b] + counts[3][b];
}

struct HeadMeter::Surfaces {
    Surface crown, rim, head;
    float hole_m2 = 0.0f;  // part of the head that gave no echo
};

HeadMeter::HeadMeter() : quantiles_(kBodyReach_mm) {}

// Counts the samples of each depth and returns the robust top.
float HeadMeter::count_depths(std::span<const HeadSample> samples, const PlanView& plan) {
    counts_.assign(plan.depth_count(), 0);
    std::uint32_t* const counts = counts_.data();
    const std::size_t nearest_mm = plan.nearest_mm();
    for (const HeadSample& sample : samples)
        ++counts[sample.depth_mm - nearest_mm];
    first_depth_ = 0;
    while (first_depth_ < counts_.size() && counts[first_depth_] == 0)
        ++first_depth_;
    float area_m2 = 0.0f;
    for (std::size_t depth = first_depth_; depth < counts_.size(); ++depth) {
        const auto z_mm = static_cast<float>(nearest_mm + depth);
        const float pixel_m2 = plan.pixel_area_m2(z_mm);
        for (std::uint32_t i = 0; i < counts[depth]; ++i) {
            area_m2 += pixel_m2;
            if (area_m2 >= kTopArea_m2) return plan.height_mm() - z_mm;
        }
    }
    return 0.0f;
}

// Sorts the samples of head and shoulders by falling height; of the same height they stay in order.
void HeadMeter::sort_body(std::span<const HeadSample> samples, const PlanView& plan,
                          float lowest_mm) {
    std::uint32_t* const counts = counts_.data();
    const std::size_t nearest_mm = plan.nearest_mm();
    std::size_t depths = first_depth_;
    std::uint32_t total = 0;
    for (; depths < counts_.size(); ++depths) {
        if (plan.height_mm() - static_cast<float>(nearest_mm + depths) < lowest_mm) break;
        total += std::exchange(counts[depths], total);  // from here on where its samples go
    }
    body_.resize(total);
    HeadSample* const body = body_.data();
    for (const HeadSample& sample : samples) {
        const std::size_t depth = sample.depth_mm - nearest_mm;
        if (depth < depths) body[counts[depth]++] = sample;
    }
}

HeadMeter::Surfaces HeadMeter::surfaces(const PlanView& plan, float top_mm) const {
    Surfaces surfaces;
    Moments moments;
    auto sample = body_.begin();
    const auto add_down_to = [&](float lowest_mm) {
        for (; sample != body_.end(); ++sample) {
            const auto z_mm = static_cast<float>(sample->depth_mm);
            if (plan.height_mm() - z_mm < lowest_mm) break;
            const float area_m2 = plan.pixel_area_m2(z_mm);
            moments.add(plan.pixel_to_plan(sample->u, sample->v, z_mm), area_m2);
            if (sample->filled) surfaces.hole_m2 += area_m2;
        }
        return moments.surface();
    };
    surfaces.crown = add_down_to(top_mm - kCrownDepth_mm);
    surfaces.rim = add_down_to(top_mm - kRimDepth_mm);
    surfaces.head = add_down_to(top_mm - kHeadDepth_mm);
    return surfaces;
}

// As far as head and shoulders are seen and within reach of the head.
void HeadMeter::measure_body(const PlanView& plan, HeadShape& shape) {
    xs_.resize(body_.size());
    ys_.resize(body_.size());
    std::size_t count = 0;
    float area_m2 = 0.0f;
    for (const HeadSample& sample : body_) {
        const auto z_mm = static_cast<float>(sample.depth_mm);
        const PlanPoint at = plan.pixel_to_plan(sample.u, sample.v, z_mm);
        const float dx = at.x_mm - shape.centre.x_mm;
        const float dy = at.y_mm - shape.centre.y_mm;
        if (dx * dx + dy * dy > kBodyReach_mm * kBodyReach_mm) continue;
        area_m2 += plan.pixel_area_m2(z_mm);
        xs_[count] = dx;
        ys_[count++] = dy;
    }
    shape.body_area_m2 = area_m2;
    xs_.resize(count);
    ys_.resize(count);
    const auto [left, right] = quantiles_.of(xs_, 0.02f, 0.98f);
    const auto [up, down] = quantiles_.of(ys_, 0.02f, 0.98f);
    shape.left_mm = -left;
    shape.right_mm = right;
    shape.up_mm = -up;
    shape.down_mm = down;
}

HeadShape HeadMeter::measure(std::span<const HeadSample> samples, const PlanView& plan) {
    HeadShape shape;
    shape.top_mm = count_depths(samples, plan);
    if (shape.top_mm == 0.0f) return shape;
    sort_body(samples, plan, shape.top_mm - kBodyDepth_mm);
    const Surfaces seen = surfaces(plan, shape.top_mm);
    shape.head_area_m2 = seen.head.area_m2;
    shape.head_long_mm = seen.head.long_mm;
    shape.head_short_mm = seen.head.short_mm;
    shape.hole_area_m2 = seen.hole_m2;
    shape.crown_area_m2 = seen.crown.area_m2;
    const bool rim = shape.hole_area_m2 >= kLargeHole_m2;
    shape.centre = top_of(rim ? seen.rim.centre : seen.crown.centre,
                          rim ? kRimDepth_mm : kCrownDepth_mm, plan.height_mm() - shape.top_mm);
    measure_body(plan, shape);
    return shape;
}

}  // namespace host
