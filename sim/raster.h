// Pixel loops of the renderer. Plain float arithmetic over rows, written so that compilers can
// vectorise it; these files are optimised in debug builds as well.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/quadric.h"

namespace sim {

// Per pixel: distance along the optical axis, and what is seen there as material << 8 | brightness.
struct Surface {
    std::vector<float> z;
    std::vector<std::int32_t> tag;
};

// Colour planes of the colour image.
struct Planes {
    std::vector<std::uint8_t> b, g, r;
};

void draw(const Quadric& quadric, float focal_px, Surface& surface);
void draw(const Brick& brick, float focal_px, Surface& surface);

// Darkens the floor (material 0) around a point given in pixels, down to 1 - strength.
void draw_shadow(float u, float v, float radius_px, float strength, Surface& surface);

// 3 x 3 binomial filter: the softness of a lens. scratch is resized as needed.
void soften(std::vector<std::uint8_t>& plane, std::vector<std::uint8_t>& scratch);

// Adds noise[i] to row[i], saturating.
void add_noise(std::uint8_t* row, const std::int8_t* noise, int count);

// The planes as packed BGR, and as NV12 in BT.601 limited range.
void interleave_bgr(const Planes& planes, std::uint8_t* bgr);
void convert_nv12(const Planes& planes, std::uint8_t* nv12);

}  // namespace sim
