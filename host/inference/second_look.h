// A second look for heads where they are expected and were not found.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
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

// What a second look found.
struct SecondLookResult {
    std::vector<SeenAgain> seen;   // in addition to the found heads
    std::vector<HeadPlace> found;  // the found heads, apart from those who had been taken for one
};

class SecondLook {
  public:
    // Plan and depth must outlive it. `depth_mm`: CV_16U, without holes as far as they could be
    // filled; outside `room` it shows nothing of interest.
    SecondLook(const PlanView& plan, const cv::Mat& depth_mm, const cv::Rect& room)
        : plan_(plan), depth_mm_(depth_mm), room_(room) {}

    // Whoever is expected but was not found is seen again where a surface of the head's height
    // is left for them: all heads that stand together share the surfaces around them. Somebody of
    // whom too little shows may be hidden, for a while, behind something nearer to the camera.
    SecondLookResult look(const std::vector<ExpectedHead>& expected,
                          const std::vector<HeadPlace>& found) const;

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

    // One of the heads that stand together.
    struct Share {
        HeadPlace head;
        int found = -1;     // which found head, or
        int expected = -1;  // which expected head nobody was found for
        Patch patch;
    };

    // Calls visit(sample) for the surfaces of the depth of a head around a place.
    template <typename Visit>
    void visit_surface(const HeadPlace& head, Visit visit) const;
    std::vector<Share> shares_of(const std::vector<ExpectedHead>& expected,
                                 const std::vector<HeadPlace>& found) const;
    std::vector<Sample> surfaces_of(const std::vector<Share>& shares) const;
    void share_out(std::vector<Share>& shares) const;
    static const Share* taker_of(const HeadPlace& head, const Share& share,
                                 const std::vector<Share>& others);
    static void move_apart(const Share& seen, const std::vector<Share>& shares,
                           std::vector<HeadPlace>& found);
    static bool is_alone(const Share& share, const std::vector<Share>& others);
    static bool leans_on(const Share& share, const std::vector<Share>& others);
    std::optional<SeenAgain> judge(const Share& share, const ExpectedHead& expected,
                                   const std::vector<Share>& others) const;
    // Share of the head's place that something nearer to the camera hides.
    float blocked(const HeadPlace& head) const;

    const PlanView& plan_;
    const cv::Mat& depth_mm_;
    const cv::Rect room_;
};

}  // namespace host
