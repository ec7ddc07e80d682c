// A second look for heads where they are expected and were not found.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "host/base/head_place.h"
#include "host/inference/plan_view.h"

namespace host {

// The found head that explains each expected one, -1 for none: pairs are formed by rising distance.
std::vector<int> explain_heads(const std::vector<ExpectedHead>& expected,
                               const std::vector<HeadPlace>& found);

struct SeenAgain {
    HeadPlace head;
    bool head_seen = true;  // false: hidden behind something nearer to the camera
};

class SecondLook {
  public:
    // Both must outlive it. `depth_mm`: CV_16U, without holes as far as they could be filled.
    SecondLook(const PlanView& plan, const cv::Mat& depth_mm) : plan_(plan), depth_mm_(depth_mm) {}

    // The head, if something of its height still stands there that is not one of `found`, or if
    // something taller stands before it; empty when the place is free, or when nothing of the head
    // has been seen for too long.
    std::optional<SeenAgain> at(const ExpectedHead& expected,
                                const std::vector<HeadPlace>& found) const;

    // Two heads where two are expected side by side and only `found[merged]` was found between
    // them; empty when what is there is one head.
    std::optional<std::pair<HeadPlace, HeadPlace>> split(const HeadPlace& one,
                                                         const HeadPlace& other,
                                                         const std::vector<HeadPlace>& found,
                                                         std::size_t merged) const;

  private:
    struct Sample {
        PlanPoint at;
        float height_mm = 0.0f;
        float area_m2 = 0.0f;
    };

    struct Patch {
        float x_mm = 0.0f;  // middle of the surface
        float y_mm = 0.0f;
        float top_mm = 0.0f;
        float area_m2 = 0.0f;

        void add(const Sample& sample);
        void settle();  // after the last sample
    };

    // Calls visit(sample) for the surfaces of the depth of a head around a place.
    template <typename Visit>
    void visit_surface(const HeadPlace& head, Visit visit) const;
    Patch patch_at(const HeadPlace& head, const std::vector<HeadPlace>& found) const;
    // Share of the head's place that something nearer to the camera hides.
    float blocked(const HeadPlace& head) const;

    const PlanView& plan_;
    const cv::Mat& depth_mm_;
};

}  // namespace host
