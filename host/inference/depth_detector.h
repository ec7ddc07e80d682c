// People in a depth image seen from straight above: heads that stand out of a metric height map.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <span>
#include <vector>

#include "host/inference/detector.h"
#include "host/inference/head_peaks.h"
#include "host/inference/head_shape.h"
#include "host/inference/hole_filler.h"
#include "host/inference/plan_view.h"
#include "host/inference/second_look.h"
#include "host/inference/summit_samples.h"

namespace host {

class DepthDetector {
  public:
    // Without the camera's height nobody is found.
    explicit DepthDetector(const CameraModel& camera);

    // `depth_mm`: 480 x 256 millimetres, 0 where missing, rows `stride_px` values apart; copied.
    // Where heads are expected and none is found at first, it looks again with lower demands. The
    // result is valid until the next call.
    const std::vector<Detection>& detect(const std::uint16_t* depth_mm, std::size_t stride_px,
                                         const std::vector<ExpectedHead>& expected = {});

    // The measured summits behind the last result, also the rejected ones, for diagnostics.
    const std::vector<HeadShape>& shapes() const { return shapes_; }

  private:
    void clean(const cv::Mat& raw_mm, const cv::Rect& room);
    const std::vector<Peak>& find_peaks();
    void find_summits(const cv::Mat& raw_mm);
    void add_shapes(std::span<const HeadSample> samples);
    std::vector<HeadShape> part(std::span<const HeadSample> samples, float top_mm);
    float border_distance_mm(const HeadShape& shape) const;
    bool to_detection(const HeadShape& shape, Detection& detection) const;
    void set_box(const HeadPlace& head, float half_x_mm, float half_y_mm,
                 Detection& detection) const;
    void look_again(const std::vector<ExpectedHead>& expected, const cv::Rect& room);
    void add_seen_again(const SeenAgain& seen);
    void set_head(Detection& detection, const HeadPlace& head) const;

    PlanView plan_;
    HoleFiller filler_;
    PeakFinder finder_;
    SummitSamples samples_;
    HeadMeter meter_;
    cv::Mat filled_mm_;  // of the part of the image in which people may be
    cv::Mat clean_mm_;   // right in that part only
    cv::Mat raised_mm_;
    cv::Mat smooth_mm_;
    cv::Mat labels_;
    PeakFinder touching_finder_;
    cv::Mat tops_mm_;  // of one summit
    cv::Mat tops_labels_;
    std::vector<HeadShape> shapes_;
    std::vector<Detection> detections_;
};

}  // namespace host
