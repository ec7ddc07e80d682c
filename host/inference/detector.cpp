// Box arithmetic shared by the detectors.
#include "host/inference/detector.h"

#include <algorithm>
#include <tuple>

namespace host {

float box_iou(const Detection& a, const Detection& b) {
    if (a.w <= 0 || a.h <= 0 || b.w <= 0 || b.h <= 0) return 0.0f;
    const int overlap_w = std::min(a.x + a.w, b.x + b.w) - std::max(a.x, b.x);
    const int overlap_h = std::min(a.y + a.h, b.y + b.h) - std::max(a.y, b.y);
    if (overlap_w <= 0 || overlap_h <= 0) return 0.0f;
    const float overlap = static_cast<float>(overlap_w) * static_cast<float>(overlap_h);
    const float area_a = static_cast<float>(a.w) * static_cast<float>(a.h);
    const float area_b = static_cast<float>(b.w) * static_cast<float>(b.h);
    return overlap / (area_a + area_b - overlap);
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
