// Segment intersection and the distance of a point to a line.
#include "event/line_geometry.h"

#include <algorithm>
#include <cmath>

#include "base/numeric.h"
#include "vca/event.h"

using vca::orientation;
using vca::to_i32;
using vca::wrap_add;
using vca::wrap_mul;
using vca::wrap_sub;

namespace {

int sign(int32_t v) {
    return (v > 0) - (v < 0);
}

bool in_bounding_box(POINT_POS_S p, LINE_SEG_S s) {
    return p.x >= std::min(s.start.x, s.end.x) && p.x <= std::max(s.start.x, s.end.x) &&
           p.y >= std::min(s.start.y, s.end.y) && p.y <= std::max(s.start.y, s.end.y);
}

float length(int32_t dx, int32_t dy) {
    const auto fx = static_cast<float>(dx);
    const auto fy = static_cast<float>(dy);
    return std::sqrt(fx * fx + fy * fy);
}

}  // namespace

int32_t vca::orientation(POINT_POS_S u, POINT_POS_S v, POINT_POS_S w) {
    const int32_t a = wrap_mul(wrap_sub(v.y, u.y), wrap_sub(w.x, v.x));
    const int32_t b = wrap_mul(wrap_sub(v.x, u.x), wrap_sub(w.y, v.y));
    return wrap_sub(a, b);
}

float vca::distance_to_segment(POINT_POS_S p, const LINE_SEG_S& s) {
    const auto between = [](int32_t a, int32_t b) {
        return static_cast<double>(b) - static_cast<double>(a);
    };
    const double dx = between(s.start.x, s.end.x);
    const double dy = between(s.start.y, s.end.y);
    const double px = between(s.start.x, p.x);
    const double py = between(s.start.y, p.y);
    const double square = dx * dx + dy * dy;
    const double t = square > 0.0 ? std::clamp((px * dx + py * dy) / square, 0.0, 1.0) : 0.0;
    return static_cast<float>(std::hypot(px - t * dx, py - t * dy));
}

// The touching cases are one-sided on purpose: the movement comes first and the counting line
// second, so a movement that merely ends on the line is not a crossing, while a line that ends on
// the movement is crossed.
bool doLinesIntersect(LINE_SEG_S a, LINE_SEG_S b) {
    const int o1 = sign(orientation(a.start, a.end, b.start));
    const int o2 = sign(orientation(a.start, a.end, b.end));
    if (o1 * o2 == 1) return false;
    if (o1 * o2 == -1) {
        const int o3 = sign(orientation(b.start, b.end, a.start));
        const int o4 = sign(orientation(b.start, b.end, a.end));
        return o3 * o4 == -1;
    }
    if (o1 == 0 && in_bounding_box(b.start, a)) return true;
    return o2 == 0 && in_bounding_box(b.end, a);
}

float point_to_line_min_dis(POINT_POS_S p, POINT_POS_S a, POINT_POS_S b) {
    const int32_t dx = wrap_sub(b.x, a.x);
    const int32_t dy = wrap_sub(b.y, a.y);
    const float len = length(dx, dy);
    if (len == 0.0f) return length(wrap_sub(a.x, p.x), wrap_sub(a.y, p.y));
    const int32_t dot =
        wrap_add(wrap_mul(wrap_sub(p.x, a.x), dx), wrap_mul(wrap_sub(p.y, a.y), dy));
    const float t = static_cast<float>(dot) / (len * len);
    const int32_t foot_x = to_i32(t * static_cast<float>(dx) + static_cast<float>(a.x));
    const int32_t foot_y = to_i32(t * static_cast<float>(dy) + static_cast<float>(a.y));
    return length(wrap_sub(foot_x, p.x), wrap_sub(foot_y, p.y));
}
