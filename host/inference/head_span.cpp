// How large a person's box is, seen from above.
#include "host/inference/head_span.h"

#include <algorithm>

namespace host {

namespace {

constexpr float kHeadHalf_mm = 110.0f;  // half a head with hair
constexpr float kNeck_mm = 150.0f;      // from the top of the head down to the shoulders' slope

}  // namespace

Span head_span(float centre_mm, float half_mm, float lens_to_top_mm) {
    const float middle = centre_mm / lens_to_top_mm;
    const float reach = std::max(half_mm, kHeadHalf_mm) / (lens_to_top_mm + kNeck_mm);
    return {middle - reach, middle + reach};
}

}  // namespace host
