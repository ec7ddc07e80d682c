// Box arithmetic shared by the detectors.
#include "host/inference/detector.h"

#include <algorithm>
#include <tuple>

#include "host/base/overlap.h"

namespace host {

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
