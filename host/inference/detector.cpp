// Box arithmetic shared by the detectors.
#include "host/inference/detector.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <tuple>

#include "host/base/overlap.h"

namespace host {

void Detection::set_box(float left, float right, float upper, float lower) {
    const int half_w = static_cast<int>(std::lround(0.5f * (right - left)));
    const int half_h = static_cast<int>(std::lround(0.5f * (lower - upper)));
    x = static_cast<int>(std::floor(0.5f * (left + right))) - half_w;
    y = static_cast<int>(std::floor(0.5f * (upper + lower))) - half_h;
    w = 2 * half_w;
    h = 2 * half_h;
}

bool shrink_inside(Detection& detection, const BoxLimits& limits) {
    const auto moved_in = [&limits](int middle, int side) {
        const int outermost = limits.border + (limits.least_side + 1) / 2;
        const int inside = std::clamp(middle, outermost, side - outermost);
        return std::abs(inside - middle) <= limits.farther ? inside : middle;
    };
    const int middle_x = moved_in(detection.x + detection.w / 2, limits.width);
    const int middle_y = moved_in(detection.y + detection.h / 2, limits.height);
    const auto half_side = [&limits](int side, int middle, int picture) {
        return std::min({side / 2, middle - limits.border, picture - limits.border - middle});
    };
    const int half_w = half_side(detection.w, middle_x, limits.width);
    const int half_h = half_side(detection.h, middle_y, limits.height);
    if (2 * half_w < limits.least_side || 2 * half_h < limits.least_side) return false;
    detection.x = middle_x - half_w;
    detection.y = middle_y - half_h;
    detection.w = 2 * half_w;
    detection.h = 2 * half_h;
    return true;
}

float box_iou(const Detection& a, const Detection& b) {
    const auto edges = [](const Detection& box) {
        const auto left = static_cast<float>(box.x);
        const auto top = static_cast<float>(box.y);
        return BoxEdges<float>{left, top, left + static_cast<float>(box.w),
                               top + static_cast<float>(box.h)};
    };
    return intersection_over_union(edges(a), edges(b));
}

void suppress_overlaps(std::vector<Detection>& detections, float max_iou) {
    std::sort(detections.begin(), detections.end(), [](const Detection& a, const Detection& b) {
        return std::tuple(-a.score, a.y, a.x, a.h, a.w) < std::tuple(-b.score, b.y, b.x, b.h, b.w);
    });
    std::size_t kept = 0;
    for (const Detection& candidate : detections) {
        const bool covered = std::any_of(
            detections.begin(), detections.begin() + static_cast<std::ptrdiff_t>(kept),
            [&](const Detection& better) { return box_iou(better, candidate) > max_iou; });
        if (!covered && kept < kMaxDetections) detections[kept++] = candidate;
    }
    detections.resize(kept);
}

}  // namespace host
