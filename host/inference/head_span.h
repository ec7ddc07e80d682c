// Head and shoulders in perspective, one image axis at a time.
#pragma once

namespace host {

// Slopes (offset from the lens axis over distance along it) of the rays to the two edges.
struct Span {
    float low = 0.0f;
    float high = 0.0f;
};

// The top of the head is `centre_mm` off the lens axis and `lens_to_top_mm` below the lens, and the
// shoulders reach `half_mm` to both sides. The middle of the span is the top of the head: the
// library takes the middle of a box for it and finds the feet straight below.
Span head_span(float centre_mm, float half_mm, float lens_to_top_mm);

}  // namespace host
