// Background subtraction with OpenCV's Gaussian mixtures, and repair of what the first frames got
// wrong.
#include "host/inference/foreground.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

namespace host {

namespace {

constexpr double kVarianceThreshold = 25.0;  // squared distance in standard deviations
// A mode must hold half of the past to be background. With the slow rate below someone may stand
// still for 0.69 / 0.0005, about 1400 frames, before the floor is forgotten.
constexpr double kBackgroundRatio = 0.5;
constexpr double kSlowRate = 0.0005;
constexpr double kMotionStep = 14.0;  // grey levels between two frames
constexpr int kStillFrames = 12;      // a blob that has not moved for this long may be a ghost
constexpr double kStillShare = 0.97;
constexpr double kGhostEdgeRatio = 1.6;
constexpr int kGhostPeriod = 5;  // frames between two searches
constexpr int kSmallestGhost_px = 40;
// Grey levels: what is nearer to a patch is floor, what is farther is more than a shadow.
constexpr double kPatchStep = 30.0;
constexpr double kClearPatchStep = 60.0;

double mean_edge(const cv::Mat& grey, const cv::Mat& where) {
    cv::Mat dx, dy, magnitude;
    cv::Sobel(grey, dx, CV_32F, 1, 0);
    cv::Sobel(grey, dy, CV_32F, 0, 1);
    cv::magnitude(dx, dy, magnitude);
    return cv::mean(magnitude, where)[0];
}

}  // namespace

Foreground::Foreground()
    : model_(cv::createBackgroundSubtractorMOG2(500, kVarianceThreshold, true)) {
    model_->setBackgroundRatio(kBackgroundRatio);
    model_->setShadowThreshold(0.6);
}

const cv::Mat& Foreground::update(const cv::Mat& bgr) {
    cv::cvtColor(bgr, grey_, cv::COLOR_BGR2GRAY);
    const double rate = learning() ? 1.0 / (1.0 + frames_) : kSlowRate;
    model_->apply(bgr, raw_, rate);
    cv::compare(raw_, 255, mask_, cv::CMP_EQ);  // 127 is shadow
    follow_motion();
    apply_patches(bgr);
    clean();
    if (frames_ % kGhostPeriod == 0) find_ghosts(bgr);
    ++frames_;
    return mask_;
}

void Foreground::follow_motion() {
    if (previous_grey_.empty()) {
        still_frames_ = cv::Mat::zeros(grey_.size(), CV_8U);
    } else {
        cv::absdiff(grey_, previous_grey_, difference_);
        cv::add(still_frames_, 1, still_frames_);
        still_frames_.setTo(0, difference_ > kMotionStep);
    }
    grey_.copyTo(previous_grey_);
}

// Within a patch the model is wrong in both ways: it takes the bare floor for a person, and the
// person who has left for the floor.
void Foreground::apply_patches(const cv::Mat& bgr) {
    if (patch_mask_.empty()) return;
    cv::Mat difference;
    cv::absdiff(bgr, patch_bgr_, difference);
    cv::cvtColor(difference, difference, cv::COLOR_BGR2GRAY);
    const cv::Mat like_patch = (difference < kPatchStep) & patch_mask_;
    mask_.setTo(255, (difference > kClearPatchStep) & patch_mask_);
    mask_.setTo(0, like_patch);
    patch_mask_.setTo(0, like_patch & (raw_ == 0));  // the model has learned the floor by now
}

void Foreground::clean() {
    static const cv::Mat small = cv::getStructuringElement(cv::MORPH_ELLIPSE, {3, 3});
    static const cv::Mat large = cv::getStructuringElement(cv::MORPH_ELLIPSE, {5, 5});
    cv::morphologyEx(mask_, mask_, cv::MORPH_OPEN, small);
    cv::morphologyEx(mask_, mask_, cv::MORPH_CLOSE, large);
}

// Someone who stood in the first frames is part of the learned background; once that person has
// left, the bare floor is "foreground" that never moves. Its outline is an edge of the background,
// not of the present image. For a person or a thing that stands still it is the other way round.
bool Foreground::is_ghost(const cv::Mat& blob, const cv::Rect& area,
                          const cv::Mat& background_grey) const {
    cv::Mat outline;
    cv::morphologyEx(blob, outline, cv::MORPH_GRADIENT, cv::Mat());
    return mean_edge(background_grey(area), outline) >
           kGhostEdgeRatio * mean_edge(grey_(area), outline);
}

void Foreground::find_ghosts(const cv::Mat& bgr) {
    cv::Mat labels, stats, centroids;
    const int count = cv::connectedComponentsWithStats(mask_, labels, stats, centroids);
    cv::Mat background;
    for (int label = 1; label < count; ++label) {
        if (stats.at<int>(label, cv::CC_STAT_AREA) < kSmallestGhost_px) continue;
        cv::Rect area(stats.at<int>(label, cv::CC_STAT_LEFT), stats.at<int>(label, cv::CC_STAT_TOP),
                      stats.at<int>(label, cv::CC_STAT_WIDTH),
                      stats.at<int>(label, cv::CC_STAT_HEIGHT));
        area = cv::Rect(area.x - 3, area.y - 3, area.width + 6, area.height + 6) &
               cv::Rect(0, 0, mask_.cols, mask_.rows);
        const cv::Mat blob = labels(area) == label;
        const cv::Mat still = still_frames_(area) >= kStillFrames;
        if (cv::countNonZero(still & blob) < kStillShare * cv::countNonZero(blob)) continue;
        if (background.empty()) {
            model_->getBackgroundImage(background);
            cv::cvtColor(background, background, cv::COLOR_BGR2GRAY);
        }
        if (!is_ghost(blob, area, background)) continue;
        if (patch_mask_.empty()) {
            patch_mask_ = cv::Mat::zeros(bgr.size(), CV_8U);
            patch_bgr_ = cv::Mat::zeros(bgr.size(), CV_8UC3);
        }
        cv::Mat grown;
        cv::dilate(blob, grown, cv::Mat(), cv::Point(-1, -1), 2);
        bgr(area).copyTo(patch_bgr_(area), grown);
        patch_mask_(area).setTo(255, grown);
        mask_(area).setTo(0, blob);
    }
}

}  // namespace host
