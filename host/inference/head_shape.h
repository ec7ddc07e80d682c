// What is measured on one summit of the height map.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "host/inference/plan_view.h"
#include "host/inference/summit_samples.h"

namespace host {

// A summit as it was measured.
struct HeadShape {
    PlanPoint centre;            // middle of the head's top
    float top_mm = 0.0f;         // highest surface above the floor
    float head_area_m2 = 0.0f;   // visible surface within 0.15 m below the top
    float head_long_mm = 0.0f;   // standard deviation of that surface along its long axis
    float head_short_mm = 0.0f;  // and across
    float crown_area_m2 = 0.0f;  // and within 0.04 m below it
    float hole_area_m2 = 0.0f;   // part of it that gave no echo
    float body_area_m2 = 0.0f;   // visible surface within 0.45 m below the top
    float left_mm = 0.0f;        // reach of head and shoulders from the centre to each side
    float right_mm = 0.0f;
    float up_mm = 0.0f;
    float down_mm = 0.0f;
};

// Quantiles of values within +-`reach`.
class Quantiles {
  public:
    explicit Quantiles(float reach) : reach_(reach) {}
    // The values that `low` and `high`, shares of the values, stay below; 0 for none.
    std::array<float, 2> of(const std::vector<float>& values, float low, float high);

  private:
    static constexpr std::size_t kBins = 64;

    void count_bins();

    const float reach_;
    std::vector<std::uint8_t> bins_;                 // of the values
    std::array<std::uint32_t, kBins + 1> counts_{};  // the last one is for the reach itself
    std::vector<float> candidates_;                  // that share a bin with a quantile
};

// Measures summits, with memory of its own that it keeps.
class HeadMeter {
  public:
    HeadMeter();
    // Of samples of that plan. What reaches no height with enough surface has the top 0 and no
    // shape.
    HeadShape measure(std::span<const HeadSample> samples, const PlanView& plan);

  private:
    // The surfaces of a head down to three depths below its top.
    struct Surfaces;

    float count_depths(std::span<const HeadSample> samples, const PlanView& plan);
    void sort_body(std::span<const HeadSample> samples, const PlanView& plan, float lowest_mm);
    Surfaces surfaces(const PlanView& plan, float top_mm) const;
    void measure_body(const PlanView& plan, HeadShape& shape);

    std::vector<std::uint32_t> counts_;  // of samples at each depth of the plan
    std::size_t first_depth_ = 0;        // at which there is a sample
    std::vector<HeadSample> body_;       // head and shoulders by falling height
    std::vector<float> xs_, ys_;
    Quantiles quantiles_;
};

}  // namespace host
