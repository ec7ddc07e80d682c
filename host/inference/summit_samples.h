// The depth pixels of each summit of a plan view.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <span>
#include <vector>

#include "host/inference/plan_view.h"

namespace host {

// One depth pixel of a summit.
struct HeadSample {
    std::uint16_t u = 0;
    std::uint16_t v = 0;
    std::uint16_t depth_mm = 0;
    bool filled = false;  // missing in the image, taken from its surroundings
};

class SummitSamples {
  public:
    // Shares out the pixels of a plan view of `depth_mm`. In `raw_mm` (both CV_16U) those that were
    // filled are 0; `labels` (CV_32S) holds for each cell of the plan 1 + the index of its summit,
    // of so many, or 0.
    void gather(const PlanView& plan, const cv::Mat& depth_mm, const cv::Mat& raw_mm,
                const cv::Mat& labels, std::size_t summits);
    // In reading order; valid until the next call of gather.
    std::span<const HeadSample> of(std::size_t summit) const {
        return {lists_[summit].room.data(), lists_[summit].count};
    }

  private:
    struct List {
        std::vector<HeadSample> room;
        std::size_t count = 0;
    };

    std::vector<List> lists_;  // per summit
};

}  // namespace host
