// The one kind of curved surface that bodies are made of, in camera coordinates (metres, z away
// from the camera), and the flat-sided box of carts and cases.
#pragma once

#include <array>

#include "sim/camera.h"

namespace sim {

using Vec3 = std::array<float, 3>;

// Half-open pixel rectangle.
struct Rect {
    int x0 = 0;
    int y0 = 0;
    int x1 = 0;
    int y1 = 0;
};

// (p - c)' M (p - c) = 1, kept only where |axis . (p - c)| <= half_length.
struct Quadric {
    Vec3 centre{};
    float xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;  // M
    Vec3 axis{};
    float half_length = 1e9f;
    Rect rect;  // image rectangle that contains the surface; may reach outside the image
    int material = 0;
};

// Three pairs of parallel planes: |axis[i] . (p - centre)| <= half[i].
struct Brick {
    Vec3 centre{};
    std::array<Vec3, 3> axes{};
    Vec3 half{};
    Rect rect;
    int material = 0;
};

// Orthonormal axes, radii along them.
Quadric make_ellipsoid(const Camera& camera, const Vec3& centre, const std::array<Vec3, 3>& axes,
                       const Vec3& radii, int material);

Quadric make_sphere(const Camera& camera, const Vec3& centre, float radius, int material);

// A round bar from a to b without end caps.
Quadric make_bar(const Camera& camera, const Vec3& a, const Vec3& b, float radius, int material);

Brick make_brick(const Camera& camera, const Vec3& centre, const std::array<Vec3, 3>& axes,
                 const Vec3& half, int material);

// Distance along the optical axis at which the ray (dx, dy, 1) meets the surface first, or a value
// above 1e8 where it misses.
float hit_distance(const Quadric& quadric, float dx, float dy);

Rect unite(const Rect& a, const Rect& b);

}  // namespace sim
