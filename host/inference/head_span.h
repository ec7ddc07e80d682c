// Head and shoulders in perspective, one image axis at a time.
#pragma once

namespace host {

// Slopes (offset from the lens axis over distance along it) of the rays to the two edges.
struct Span {
    float low = 0.0f;
    float high = 0.0f;
};

// The head is centred `centre_mm` off the lens axis, the shoulders reach `half_mm` to both sides,
// and the top of the head is `lens_to_top_mm` below the lens.
Span head_span(float centre_mm, float half_mm, float lens_to_top_mm);

}  // namespace host
