// Blobs to people: one silhouette fitted to a blob, or people peeled off a merged blob from the
// outside in.
#include "host/inference/colour_detector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace host {

namespace {

// The background is learned on an image reduced by three; a head at 6 m is still 11 pixels wide.
constexpr int kReduction = 3;
constexpr int kWidth = kColourWidth / kReduction;
constexpr int kHeight = kColourHeight / kReduction;

constexpr float kBoxHalf_mm = 225.0f;
constexpr float kSmallestShare = 0.3f;  // of a silhouette, for a blob to be examined
constexpr float kOneAtMost = 1.6f;      // silhouettes that one person's blob may cover
constexpr float kOneFit = 0.5f;         // intersection over union that one person must reach
constexpr float kBorder_px = 4.0f;      // the head must be this far inside the reduced image
constexpr int kMostPeople = 12;         // per blob; beyond that nothing can be told apart
constexpr float kMinCovered = 0.7f;
constexpr float kMinExplained = 0.45f;
constexpr float kReportScore = 0.3f;
constexpr float kMaxOverlap = 0.4f;

float ramp(float value, float zero, float full) {
    return std::clamp((value - zero) / (full - zero), 0.0f, 1.0f);
}

// A polygon as a mask of the given area.
cv::Mat drawn(const std::vector<cv::Point>& outline, const cv::Rect& area) {
    cv::Mat mask = cv::Mat::zeros(area.size(), CV_8U);
    cv::fillConvexPoly(mask, outline, 255, cv::LINE_8, 0);
    return mask;
}

std::vector<cv::Point> shifted(std::vector<cv::Point> outline, cv::Point by) {
    for (cv::Point& point : outline)
        point -= by;
    return outline;
}

// The foreground pixel farthest from the image centre; false for an empty mask.
bool outermost_pixel(const cv::Mat& mask, cv::Point2f centre, cv::Point& found) {
    float farthest = -1.0f;
    for (int v = 0; v < mask.rows; ++v) {
        const auto* line = mask.ptr<std::uint8_t>(v);
        for (int u = 0; u < mask.cols; ++u) {
            if (line[u] == 0) continue;
            const float dx = static_cast<float>(u) - centre.x;
            const float dy = static_cast<float>(v) - centre.y;
            if (dx * dx + dy * dy > farthest) {
                farthest = dx * dx + dy * dy;
                found = {u, v};
            }
        }
    }
    return farthest >= 0.0f;
}

}  // namespace

ColourDetector::ColourDetector(float focal_px, float height_mm)
    : camera_{focal_px / kReduction, focal_px * kHeight / kColourHeight, 0.5f * kWidth,
              0.5f * kHeight, height_mm} {}

const std::vector<Detection>& ColourDetector::detect_nv12(const std::uint8_t* luma,
                                                          const std::uint8_t* chroma,
                                                          std::size_t stride) {
    // cv::Mat has no read-only view; the planes are only read.
    const cv::Mat y(kColourHeight, kColourWidth, CV_8UC1, const_cast<std::uint8_t*>(luma), stride);
    const cv::Mat uv(kColourHeight / 2, kColourWidth / 2, CV_8UC2,
                     const_cast<std::uint8_t*>(chroma), stride);
    cv::cvtColorTwoPlane(y, uv, full_bgr_, cv::COLOR_YUV2BGR_NV12);
    return detect_bgr(full_bgr_);
}

const std::vector<Detection>& ColourDetector::detect_bgr(const cv::Mat& bgr) {
    cv::resize(bgr, bgr_, {kWidth, kHeight}, 0.0, 0.0, cv::INTER_AREA);
    detections_.clear();
    const cv::Mat& mask = foreground_.update(bgr_);
    if (foreground_.learning()) return detections_;
    cv::Mat labels, stats, centroids;
    const int count = cv::connectedComponentsWithStats(mask, labels, stats, centroids);
    for (int label = 1; label < count; ++label) {
        const cv::Rect area(
            stats.at<int>(label, cv::CC_STAT_LEFT), stats.at<int>(label, cv::CC_STAT_TOP),
            stats.at<int>(label, cv::CC_STAT_WIDTH), stats.at<int>(label, cv::CC_STAT_HEIGHT));
        const cv::Mat blob = labels(area) == label;
        if (!fits_one(blob, area, stats.at<int>(label, cv::CC_STAT_AREA))) peel(blob, area);
    }
    suppress_overlaps(detections_, kMaxOverlap);
    return detections_;
}

ColourDetector::Candidate ColourDetector::evaluate(cv::Point2f head_mm, const cv::Mat& blob,
                                                   const cv::Mat& left,
                                                   const cv::Rect& area) const {
    Candidate candidate;
    candidate.head_mm = head_mm;
    candidate.outline = silhouette(camera_, head_mm.x, head_mm.y);
    candidate.area = cv::boundingRect(candidate.outline) & cv::Rect(0, 0, kWidth, kHeight);
    const cv::Rect common = candidate.area & area;
    if (common.empty()) return candidate;
    const cv::Mat shape = drawn(shifted(candidate.outline, candidate.area.tl()), candidate.area);
    const float size = static_cast<float>(cv::countNonZero(shape));
    const cv::Mat part = shape(common - candidate.area.tl());
    candidate.covered =
        static_cast<float>(cv::countNonZero(part & blob(common - area.tl()))) / size;
    candidate.explained =
        static_cast<float>(cv::countNonZero(part & left(common - area.tl()))) / size;
    return candidate;
}

ColourDetector::Candidate ColourDetector::best_near(cv::Point2f outermost, const cv::Mat& blob,
                                                    const cv::Mat& left,
                                                    const cv::Rect& area) const {
    const cv::Point2f start = head_of_outermost(camera_, outermost.x, outermost.y);
    const float distance = std::hypot(start.x, start.y);
    const cv::Point2f out =
        distance > 1.0f ? cv::Point2f(start.x / distance, start.y / distance) : cv::Point2f(1, 0);
    const cv::Point2f across(-out.y, out.x);
    Candidate best;
    float best_value = -1.0f;
    for (const float inwards_mm : {0.0f, 90.0f, 180.0f}) {
        for (const float aside_mm : {0.0f, -100.0f, 100.0f, -200.0f, 200.0f}) {
            const Candidate candidate =
                evaluate(start - inwards_mm * out + aside_mm * across, blob, left, area);
            const float value = candidate.covered + candidate.explained - 0.0004f * inwards_mm;
            if (value > best_value) {
                best_value = value;
                best = candidate;
            }
        }
    }
    return best;
}

bool ColourDetector::fits_one(const cv::Mat& blob, const cv::Rect& area, int blob_px) {
    const cv::Point2f centre(camera_.cx - static_cast<float>(area.x),
                             camera_.cy - static_cast<float>(area.y));
    cv::Point farthest;
    if (!outermost_pixel(blob, centre, farthest)) return true;
    const cv::Point2f outermost(static_cast<float>(farthest.x + area.x),
                                static_cast<float>(farthest.y + area.y));
    const Candidate candidate = best_near(outermost, blob, blob, area);
    const float size = static_cast<float>(cv::contourArea(candidate.outline));
    const float share = static_cast<float>(blob_px) / std::max(size, 1.0f);
    if (share < kSmallestShare) return true;
    if (share > kOneAtMost) return false;
    const float fit = candidate.covered / (1.0f + share - candidate.covered);
    if (fit < kOneFit) return share < 1.0f;
    report(candidate.head_mm, kBoxHalf_mm, kBoxHalf_mm, 0.5f + 0.45f * ramp(fit, kOneFit, 0.75f));
    return true;
}

// The outermost foreground pixel of a merged blob belongs to somebody's head or shoulder. Taking
// that person's silhouette away leaves the same problem with one person less.
void ColourDetector::peel(const cv::Mat& blob, const cv::Rect& area) {
    cv::Mat left = blob.clone();
    const cv::Point2f centre(camera_.cx - static_cast<float>(area.x),
                             camera_.cy - static_cast<float>(area.y));
    for (int person = 0; person < kMostPeople; ++person) {
        cv::Point farthest;
        if (!outermost_pixel(left, centre, farthest)) return;
        const cv::Point2f outermost(static_cast<float>(farthest.x + area.x),
                                    static_cast<float>(farthest.y + area.y));
        const Candidate candidate = best_near(outermost, blob, left, area);
        if (candidate.covered >= kMinCovered && candidate.explained >= kMinExplained) {
            report(candidate.head_mm, kBoxHalf_mm, kBoxHalf_mm,
                   0.65f * ramp(candidate.covered, 0.5f, 0.95f) *
                       ramp(candidate.explained, 0.2f, 0.8f));
        }
        const cv::Rect common = candidate.area & area;
        cv::circle(left, farthest, 2, 0, cv::FILLED);
        if (common.empty()) continue;
        const cv::Mat shape =
            drawn(shifted(candidate.outline, candidate.area.tl()), candidate.area);
        left(common - area.tl()).setTo(0, shape(common - candidate.area.tl()));
        cv::morphologyEx(left, left, cv::MORPH_OPEN, cv::Mat());
    }
}

void ColourDetector::report(cv::Point2f head_mm, float half_x_mm, float half_y_mm, float score) {
    if (score < kReportScore) return;
    const cv::Rect2f box = head_box(camera_, head_mm.x, head_mm.y, half_x_mm, half_y_mm);
    const float middle_x = box.x + 0.5f * box.width;
    const float middle_y = box.y + 0.5f * box.height;
    if (middle_x < kBorder_px || middle_y < kBorder_px || middle_x > kWidth - kBorder_px ||
        middle_y > kHeight - kBorder_px) {
        return;
    }
    constexpr float kScaleX = static_cast<float>(kColourWidth) / kWidth;
    constexpr float kScaleY = static_cast<float>(kColourHeight) / kHeight;
    const int x0 = std::max(static_cast<int>(std::lround(box.x * kScaleX)), 0);
    const int y0 = std::max(static_cast<int>(std::lround(box.y * kScaleY)), 0);
    const int x1 =
        std::min(static_cast<int>(std::lround((box.x + box.width) * kScaleX)), kColourWidth);
    const int y1 =
        std::min(static_cast<int>(std::lround((box.y + box.height) * kScaleY)), kColourHeight);
    if (x1 - x0 < 8 || y1 - y0 < 8) return;
    detections_.push_back({kClassPerson, score, x0, y0, x1 - x0, y1 - y0});
}

}  // namespace host
