// People in the colour image of a fixed overhead camera: blobs in front of a learned background
// that fit the silhouette of a standing person.
//
// It knows its limits: a box is only given a good score where a blob fits one person; of merged
// blobs it reports those people it can tell apart, with low scores, and nothing where it cannot.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "host/inference/detector.h"
#include "host/inference/foreground.h"
#include "host/inference/silhouette.h"

namespace host {

class ColourDetector {
  public:
    // `focal_px` in pixels of the 960 x 544 image, `height_mm` of the lens above the floor.
    ColourDetector(float focal_px, float height_mm);

    // An NV12 image of 960 x 544, both planes with rows `stride` bytes apart. The result is valid
    // until the next call.
    const std::vector<Detection>& detect_nv12(const std::uint8_t* luma, const std::uint8_t* chroma,
                                              std::size_t stride);

    // A BGR image of 960 x 544.
    const std::vector<Detection>& detect_bgr(const cv::Mat& bgr);

  private:
    struct Candidate {
        Stander person;
        std::vector<cv::Point> outline;
        cv::Rect area;
        float size = 0.0f;       // pixels of the silhouette
        float covered = 0.0f;    // share of the silhouette that is foreground
        float explained = 0.0f;  // share of it that nobody else accounts for
    };

    bool fits_one(const cv::Mat& blob, const cv::Rect& area, int blob_px);
    void peel(const cv::Mat& blob, const cv::Rect& area);
    Candidate best_near(cv::Point2f outermost, float height_mm, const cv::Mat& blob,
                        const cv::Mat& left, const cv::Rect& area) const;
    Candidate evaluate(const Stander& person, const cv::Mat& blob, const cv::Mat& left,
                       const cv::Rect& area) const;
    void report(const Stander& person, const cv::Mat& blob, const cv::Rect& area, float score);

    OverheadCamera camera_;
    Foreground foreground_;
    cv::Mat full_bgr_;
    cv::Mat bgr_;
    std::vector<Detection> detections_;
};

}  // namespace host
