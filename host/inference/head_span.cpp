// Which part of a person makes the edge of the box, seen from above.
#include "host/inference/head_span.h"

#include <algorithm>
#include <cmath>

namespace host {

namespace {

constexpr float kHeadHalf_mm = 110.0f;  // half a head with hair
// Depths below the top. The shoulders slope up to the neck, so their far side, which the head
// hides, is taken to be as high as the neck, and their near side as high as the shoulder joint.
constexpr float kHeadMiddle_mm = 100.0f;
constexpr float kNeck_mm = 150.0f;
constexpr float kShoulder_mm = 300.0f;

}  // namespace

// Away from the image centre the head sticks out; towards it the shoulders are seen from the side.
Span head_span(float centre_mm, float half_mm, float lens_to_top_mm) {
    const float distance_mm = std::fabs(centre_mm);
    const float head = (distance_mm + kHeadHalf_mm) / (lens_to_top_mm + kHeadMiddle_mm);
    const float shoulder = (distance_mm + half_mm) / (lens_to_top_mm + kNeck_mm);
    const float chest = (distance_mm - half_mm) / (lens_to_top_mm + kShoulder_mm);
    const float outer = std::max(head, shoulder);
    return centre_mm < 0.0f ? Span{-outer, -chest} : Span{chest, outer};
}

}  // namespace host
