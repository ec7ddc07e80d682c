// What moves or stands in front of a learned background, seen by a fixed camera.
#pragma once

#include <opencv2/core.hpp>
#include <opencv2/video/background_segm.hpp>

namespace host {

class Foreground {
  public:
    Foreground();

    // Takes a BGR image (always of the same size) and returns its foreground, 255 or 0 (CV_8U),
    // cleaned of specks and small holes. Valid until the next call.
    const cv::Mat& update(const cv::Mat& bgr);

    // True while the background is still being learned.
    bool learning() const { return frames_ < kLearningFrames; }

  private:
    static constexpr int kLearningFrames = 20;

    void follow_motion();
    void apply_patches(const cv::Mat& bgr);
    void clean();
    void find_ghosts(const cv::Mat& bgr);
    bool is_ghost(const cv::Mat& blob, const cv::Rect& area, const cv::Mat& background_grey) const;

    cv::Ptr<cv::BackgroundSubtractorMOG2> model_;
    cv::Mat raw_;
    cv::Mat mask_;
    cv::Mat grey_, previous_grey_, difference_;
    cv::Mat still_frames_;  // frames since a pixel changed, CV_8U, saturating
    // Where someone in the learned background has since left: what shows there now is used as the
    // background, until the model has learned it.
    cv::Mat patch_bgr_, patch_mask_;
    int frames_ = 0;
};

}  // namespace host
