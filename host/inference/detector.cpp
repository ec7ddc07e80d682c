// Box arithmetic shared by the detectors.
#include "host/inference/detector.h"

#include <algorithm>
#include <cmath>
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

bool shrink_inside(Detection& detection, int width, int height, int border, int least) {
    const int middle_x = detection.x + detection.w / 2;
    const int middle_y = detection.y + detection.h / 2;
    const int half_w = std::min({detection.w / 2, middle_x - border, width - border - middle_x});
    const int half_h = std::min({detection.h / 2, middle_y - border, height - border - middle_y});
    if (2 * half_w < least || 2 * half_h < least) return false;
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
