// Building quadrics and bricks and finding their image rectangles.
#include "sim/quadric.h"

#include <algorithm>
#include <cmath>

namespace sim {
namespace {

struct Range {
    double low;
    double high;
};

// The two planes through the camera that touch an ellipsoid: with S the inverse of M and plane
// normal n = (1, 0, -k), touching means (n.c)^2 = n' S n, a quadratic in the slope k.
Range tangent_slopes(double c, double cz, double s, double sz, double szz) {
    const double a = cz * cz - szz;
    const double b = c * cz - sz;
    const double q = c * c - s;
    const double root = std::sqrt(std::max(b * b - a * q, 0.0));
    return {(b - root) / a, (b + root) / a};
}

Rect slopes_to_rect(const Camera& camera, const Range& x, const Range& y) {
    const auto limit = [](double pixel) {
        return static_cast<int>(std::floor(std::clamp(pixel, -4000.0, 4000.0)));
    };
    return {limit(kCentreU + camera.focal_px * x.low), limit(kCentreV + camera.focal_px * y.low),
            limit(kCentreU + camera.focal_px * x.high) + 2,
            limit(kCentreV + camera.focal_px * y.high) + 2};
}

double dot(const Vec3& a, const Vec3& b) {
    return static_cast<double>(a[0]) * b[0] + static_cast<double>(a[1]) * b[1] +
           static_cast<double>(a[2]) * b[2];
}

}  // namespace

Rect unite(const Rect& a, const Rect& b) {
    return {std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1)};
}

Quadric make_ellipsoid(const Camera& camera, const Vec3& centre, const std::array<Vec3, 3>& axes,
                       const Vec3& radii, int material) {
    Quadric q;
    q.centre = centre;
    q.material = material;
    double sxx = 0, sxz = 0, syy = 0, syz = 0, szz = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3& e = axes[i];
        const float m = 1.0f / (radii[i] * radii[i]);
        q.xx += m * e[0] * e[0];
        q.xy += m * e[0] * e[1];
        q.xz += m * e[0] * e[2];
        q.yy += m * e[1] * e[1];
        q.yz += m * e[1] * e[2];
        q.zz += m * e[2] * e[2];
        const double s = static_cast<double>(radii[i]) * radii[i];
        sxx += s * e[0] * e[0];
        sxz += s * e[0] * e[2];
        syy += s * e[1] * e[1];
        syz += s * e[1] * e[2];
        szz += s * e[2] * e[2];
    }
    q.rect = slopes_to_rect(camera, tangent_slopes(centre[0], centre[2], sxx, sxz, szz),
                            tangent_slopes(centre[1], centre[2], syy, syz, szz));
    return q;
}

Quadric make_sphere(const Camera& camera, const Vec3& centre, float radius, int material) {
    const std::array<Vec3, 3> axes = {Vec3{1, 0, 0}, Vec3{0, 1, 0}, Vec3{0, 0, 1}};
    return make_ellipsoid(camera, centre, axes, {radius, radius, radius}, material);
}

Quadric make_bar(const Camera& camera, const Vec3& a, const Vec3& b, float radius, int material) {
    Quadric q;
    q.material = material;
    Vec3 along = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const float length = static_cast<float>(std::sqrt(dot(along, along)));
    for (std::size_t i = 0; i < 3; ++i) {
        along[i] /= length;
        q.centre[i] = 0.5f * (a[i] + b[i]);
    }
    q.axis = along;
    q.half_length = 0.5f * length;
    // M = (I - a a') / r^2: an infinite cylinder. The small addition keeps M regular for rays
    // parallel to the axis.
    const float m = 1.0f / (radius * radius);
    const float e = 1e-4f;
    q.xx = m * (1.0f + e - along[0] * along[0]);
    q.xy = -m * along[0] * along[1];
    q.xz = -m * along[0] * along[2];
    q.yy = m * (1.0f + e - along[1] * along[1]);
    q.yz = -m * along[1] * along[2];
    q.zz = m * (1.0f + e - along[2] * along[2]);
    q.rect = unite(make_sphere(camera, a, radius, 0).rect, make_sphere(camera, b, radius, 0).rect);
    return q;
}

Brick make_brick(const Camera& camera, const Vec3& centre, const std::array<Vec3, 3>& axes,
                 const Vec3& half, int material) {
    Brick brick{centre, axes, half, {}, material};
    Range x{1e9, -1e9};
    Range y{1e9, -1e9};
    for (int corner = 0; corner < 8; ++corner) {
        Vec3 p = centre;
        for (std::size_t i = 0; i < 3; ++i) {
            const float side = ((corner >> i) & 1) != 0 ? half[i] : -half[i];
            for (std::size_t k = 0; k < 3; ++k)
                p[k] += side * axes[i][k];
        }
        const double px = static_cast<double>(p[0]) / p[2];
        const double py = static_cast<double>(p[1]) / p[2];
        x = {std::min(x.low, px), std::max(x.high, px)};
        y = {std::min(y.low, py), std::max(y.high, py)};
    }
    brick.rect = slopes_to_rect(camera, x, y);
    return brick;
}

float hit_distance(const Quadric& q, float dx, float dy) {
    const float px = dx * q.centre[2] - q.centre[0];
    const float py = dy * q.centre[2] - q.centre[1];
    const float gx = q.xx * px + q.xy * py;
    const float gy = q.xy * px + q.yy * py;
    const float gz = q.xz * px + q.yz * py;
    const float a =
        q.xx * dx * dx + q.yy * dy * dy + q.zz + 2.0f * (q.xy * dx * dy + q.xz * dx + q.yz * dy);
    const float b = gx * dx + gy * dy + gz;
    const float c = gx * px + gy * py - 1.0f;
    const float disc = b * b - a * c;
    if (disc < 0.0f) return 1e9f;
    const float s = (-b - std::sqrt(disc)) / a;
    const float along = q.axis[0] * (px + s * dx) + q.axis[1] * (py + s * dy) + q.axis[2] * s;
    return std::abs(along) <= q.half_length ? q.centre[2] + s : 1e9f;
}

}  // namespace sim
