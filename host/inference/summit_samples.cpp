// Pixels beside each other mostly belong to the same summit: its list is looked up once for a run.
#include "host/inference/summit_samples.h"

#include "host/base/picture.h"

namespace host {

void SummitSamples::gather(const PlanView& plan, const cv::Mat& depth_mm, const cv::Mat& raw_mm,
                           const cv::Mat& labels, std::size_t summits) {
    if (lists_.size() < summits) lists_.resize(summits);
    for (List& list : lists_)
        list.count = 0;
    const std::span<const SurfacePixel> pixels = plan.pixels();
    const auto* const label = labels.ptr<int>();
    const SurfacePixel* pixel = pixels.data();
    const SurfacePixel* const last = pixel + pixels.size();
    while (pixel != last) {
        const int summit = label[pixel->cell];
        const int row = pixel->v;
        const auto* const depth = depth_mm.ptr<std::uint16_t>(row);
        const auto* const raw = raw_mm.ptr<std::uint16_t>(row);
        const auto in_run = [&] {
            return pixel != last && pixel->v == row && label[pixel->cell] == summit;
        };
        if (summit == 0) {
            while (in_run())
                ++pixel;
            continue;
        }
        List& list = lists_[static_cast<std::size_t>(summit - 1)];
        // A run is no longer than a row.
        if (list.room.size() < list.count + kDepthWidth)
            list.room.resize(2 * list.room.size() + kDepthWidth);
        HeadSample* end = list.room.data() + list.count;
        for (; in_run(); ++pixel)
            *end++ = {pixel->u, pixel->v, depth[pixel->u], raw[pixel->u] == 0};
        list.count = static_cast<std::size_t>(end - list.room.data());
    }
}

}  // namespace host
