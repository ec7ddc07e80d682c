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

// Statures that are tried on a single blob, and the one for people who cannot be told apart well.
constexpr std::array<float, 3> kHeights_mm = {1150.0f, 1450.0f, 1720.0f};
constexpr float kTypicalHeight_mm = 1680.0f;
constexpr float kOneAtMost = 1.6f;  // silhouettes that one person's blob may cover
constexpr float kOneFit = 0.5f;     // intersection over union that one person must reach
constexpr float kBorder_px = 4.0f;  // the head must be this far inside the reduced image
constexpr int kMostPeople = 8;      // per blob; beyond that nothing can be told apart
constexpr float kMinCovered = 0.7f;
constexpr float kMinExplained = 0.45f;
constexpr float kReportScore = 0.3f;
constexpr float kTypicalShare = 0.75f;  // of the largest place of head and shoulders
constexpr float kSmallestSide = 0.4f;   // of the place for head and shoulders
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

// A blob that leaves the image at its far side has no head in it.
bool at_border(cv::Point2f pixel) {
    return pixel.x < 2.0f || pixel.y < 2.0f || pixel.x > kWidth - 3.0f || pixel.y > kHeight - 3.0f;
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

ColourDetector::Candidate ColourDetector::evaluate(const Stander& person, const cv::Mat& blob,
                                                   const cv::Mat& left,
                                                   const cv::Rect& area) const {
    Candidate candidate;
    candidate.person = person;
    candidate.outline = silhouette(camera_, person);
    candidate.area = cv::boundingRect(candidate.outline) & cv::Rect(0, 0, kWidth, kHeight);
    const cv::Rect common = candidate.area & area;
    if (common.empty()) return candidate;
    const cv::Mat shape = drawn(shifted(candidate.outline, candidate.area.tl()), candidate.area);
    candidate.size = static_cast<float>(cv::countNonZero(shape));
    const cv::Mat part = shape(common - candidate.area.tl());
    const auto share = [&](const cv::Mat& mask) {
        return static_cast<float>(cv::countNonZero(part & mask(common - area.tl()))) /
               candidate.size;
    };
    candidate.covered = share(blob);
    candidate.explained = blob.data == left.data ? candidate.covered : share(left);
    return candidate;
}

// The outermost pixel may be a shoulder, an elbow or the head; the person is looked for around the
// place that it suggests.
ColourDetector::Candidate ColourDetector::best_near(cv::Point2f outermost, float height_mm,
                                                    const cv::Mat& blob, const cv::Mat& left,
                                                    const cv::Rect& area) const {
    const Stander start = from_outermost(camera_, outermost.x, outermost.y, height_mm);
    const float distance = std::hypot(start.x_mm, start.y_mm);
    const float out_x = distance > 1.0f ? start.x_mm / distance : 1.0f;
    const float out_y = distance > 1.0f ? start.y_mm / distance : 0.0f;
    Candidate best;
    float best_value = -1.0f;
    for (const float inwards_mm : {0.0f, 110.0f}) {
        for (const float aside_mm : {0.0f, -120.0f, 120.0f}) {
            const Stander person{start.x_mm - inwards_mm * out_x - aside_mm * out_y,
                                 start.y_mm - inwards_mm * out_y + aside_mm * out_x, height_mm};
            const Candidate candidate = evaluate(person, blob, left, area);
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
    if (at_border(outermost)) return true;
    const Stander tall = from_outermost(camera_, outermost.x, outermost.y, kHeights_mm.back());
    const double largest_px = cv::contourArea(silhouette(camera_, tall));
    if (blob_px > 2.0 * largest_px) return false;
    Candidate best;
    float best_fit = -1.0f;
    for (const float height_mm : kHeights_mm) {
        const Candidate candidate = best_near(outermost, height_mm, blob, blob, area);
        const float common = candidate.covered * candidate.size;
        const float fit =
            common / std::max(candidate.size + static_cast<float>(blob_px) - common, 1.0f);
        if (fit > best_fit) {
            best_fit = fit;
            best = candidate;
        }
    }
    const float share = static_cast<float>(blob_px) / std::max(best.size, 1.0f);
    if (share > kOneAtMost) return false;
    if (best_fit >= kOneFit) {
        report(best.person, blob, area, 0.5f + 0.45f * ramp(best_fit, kOneFit, 0.7f));
    }
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
        const Candidate candidate = best_near(outermost, kTypicalHeight_mm, blob, left, area);
        if (candidate.covered >= kMinCovered && candidate.explained >= kMinExplained &&
            !at_border(outermost)) {
            report(candidate.person, left, area,
                   0.65f * ramp(candidate.covered, 0.5f, 0.95f) *
                       ramp(candidate.explained, 0.2f, 0.8f));
        }
        cv::circle(left, farthest, 2, 0, cv::FILLED);
        const cv::Rect common = candidate.area & area;
        if (common.empty()) continue;
        const cv::Mat shape =
            drawn(shifted(candidate.outline, candidate.area.tl()), candidate.area);
        left(common - area.tl()).setTo(0, shape(common - candidate.area.tl()));
        cv::morphologyEx(left, left, cv::MORPH_OPEN, cv::Mat());
    }
}

// Colour tells where the head is, but not which way the shoulders lie: the box has their mean
// width.
void ColourDetector::report(const Stander& person, const cv::Mat& blob, const cv::Rect& area,
                            float score) {
    if (score < kReportScore) return;
    const cv::Rect2f place = head_box(camera_, person);
    const float middle_x = place.x + 0.5f * place.width;
    const float middle_y = place.y + 0.5f * place.height;
    if (middle_x < kBorder_px || middle_y < kBorder_px || middle_x > kWidth - kBorder_px ||
        middle_y > kHeight - kBorder_px) {
        return;
    }
    const cv::Rect within = cv::Rect(place) & area;
    if (within.empty()) return;
    const cv::Rect filled = cv::boundingRect(blob(within - area.tl())) + within.tl();
    if (static_cast<float>(filled.width) < kSmallestSide * place.width ||
        static_cast<float>(filled.height) < kSmallestSide * place.height) {
        return;
    }
    constexpr auto kScale = static_cast<float>(kReduction);
    const float half_w = 0.5f * kTypicalShare * place.width;
    const float half_h = 0.5f * kTypicalShare * place.height;
    Detection detection;
    detection.score = score;
    detection.set_box((middle_x - half_w) * kScale, (middle_x + half_w) * kScale,
                      (middle_y - half_h) * kScale, (middle_y + half_h) * kScale);
    detections_.push_back(detection);
}

}  // namespace host
