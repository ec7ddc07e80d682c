// Heads and shoulders in a depth image: hole filling, metric top view, watershed from the summits,
// a shape check on each summit, and a box built from what was measured.
#include "host/inference/depth_detector.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "host/inference/head_span.h"
#include "host/inference/pixel_blocks.h"
#include "host/inference/second_look.h"

namespace host {

namespace {

constexpr float kHoleReach_mm = 250.0f;     // a head of hair that gives no echo is up to this wide
constexpr float kHeadSmoothing_mm = 35.0f;  // standard deviation; a head is about 0.2 m wide
constexpr PeakRules kHeadRules{.lowest_mm = kLowestSurface_mm + 30.0f,
                               .lowest_peak_mm = 650.0f,
                               .saddle_mm = 60.0f,
                               .distance_mm = 220.0f};
constexpr float kShortestPerson_mm = 850.0f;
constexpr float kUnderUmbrella_mm = 250.0f;  // from the top of an umbrella to that of the head
constexpr float kBorder_mm = 70.0f;       // any nearer to the border, too much of a head is cut off
constexpr float kSecondLookScore = 0.4f;  // enough to go on with a track, not to begin one
// Heads that touch are one summit, longer than a head alone.
constexpr float kTwoHeads_mm = 75.0f;  // standard deviation along it
constexpr float kTwoHeads_m2 = 0.035f;
constexpr float kTopsDepth_mm = 200.0f;
constexpr float kAlike_mm = 150.0f;  // between the tops of people whose heads touch
constexpr float kTouchingSmoothing_mm = 20.0f;
constexpr PeakRules kTouchingRules{.saddle_mm = 25.0f, .distance_mm = 140.0f};
constexpr float kSureHead = 0.7f;
constexpr float kTypicalShoulder = 0.13f;  // half the width of the shoulders over the height

// 1 inside [full_low, full_high], falling linearly to 0 at zero_low and zero_high.
float trapezoid(float value, float zero_low, float full_low, float full_high, float zero_high) {
    if (value <= zero_low || value >= zero_high) return 0.0f;
    if (value < full_low) return (value - zero_low) / (full_low - zero_low);
    if (value > full_high) return (zero_high - value) / (zero_high - full_high);
    return 1.0f;
}

// Half the length of the shoulders along one axis, from the reach to both sides of the head. An
// outstretched arm or a region cut by a neighbour must not affect it.
float shoulder_half_mm(float before_mm, float after_mm, float height_mm) {
    return std::clamp(0.5f * (before_mm + after_mm), 0.0825f * height_mm, 0.194f * height_mm);
}

float head_score(const HeadShape& shape) {
    // Only tall people bend a broad back to the height of their head; anything low and large is the
    // load of a cart.
    const float tall = trapezoid(shape.top_mm, 1100.0f, 1350.0f, 3000.0f, 4000.0f);
    const float length =
        trapezoid(shape.head_long_mm, 15.0f, 28.0f, 60.0f + 30.0f * tall, 85.0f + 55.0f * tall);
    const float width = trapezoid(shape.head_short_mm, 12.0f, 25.0f, 75.0f, 110.0f);
    const float size = trapezoid(shape.head_area_m2, 0.005f, 0.012f, 0.045f + 0.035f * tall,
                                 0.065f + 0.075f * tall);
    // A head leaves room for shoulders below it; a box or an arm is nothing but its top.
    const float top_share = shape.head_area_m2 / std::max(shape.body_area_m2, 1e-6f);
    const float shoulders =
        trapezoid(top_share, -1.0f, 0.0f, 0.7f - 0.1f * tall, 0.92f - 0.07f * tall);
    // The backs of chairs are as high as the smallest children, and long.
    const float low = trapezoid(shape.top_mm, 0.0f, 1.0f, 930.0f, 1030.0f);
    const float roundness = trapezoid(shape.head_short_mm / std::max(shape.head_long_mm, 1.0f),
                                      0.15f + 0.3f * low, 0.45f + 0.2f * low, 1.0f, 2.0f);
    // An ellipse of uniform surface has the area 4 pi times the product of its deviations; wires
    // and lone fragments have less.
    const float ellipse_m2 = 4e-6f * std::numbers::pi_v<float> *
                             std::max(shape.head_long_mm * shape.head_short_mm, 1.0f);
    // Hair that gives an echo here and there leaves fragments too, with holes between them.
    const float patchy =
        trapezoid(shape.hole_area_m2 / std::max(shape.head_area_m2, 1e-6f), 0.1f, 0.3f, 1.0f, 2.0f);
    const float loose = 0.3f * std::max(patchy, tall);
    const float solid = trapezoid(shape.head_area_m2 / ellipse_m2, 0.6f - 0.67f * loose,
                                  1.1f - loose, 10.0f, 20.0f);
    const float head = 0.95f * std::sqrt(length * width * size * shoulders * roundness * solid);
    // Dark hair may swallow a whole head: shoulders around a hole of a head's size.
    const float hole = trapezoid(shape.hole_area_m2, 0.008f, 0.012f, 0.06f, 0.1f);
    return std::max(head, 0.6f * std::sqrt(hole * length * size * roundness * solid));
}

// A dome over a head: large, round, without holes, and curved, as no shelf or door is.
float umbrella_score(const HeadShape& shape) {
    const float height = trapezoid(shape.top_mm, 1500.0f, 1650.0f, 2300.0f, 2350.0f);
    const float size = trapezoid(shape.head_area_m2, 0.22f, 0.30f, 1.0f, 1.4f);
    const float roundness = trapezoid(shape.head_short_mm / std::max(shape.head_long_mm, 1.0f),
                                      0.6f, 0.75f, 1.0f, 2.0f);
    const float ellipse_m2 = 4e-6f * std::numbers::pi_v<float> *
                             std::max(shape.head_long_mm * shape.head_short_mm, 1.0f);
    const float solid = trapezoid(shape.head_area_m2 / ellipse_m2, 0.7f, 0.85f, 1.3f, 1.6f);
    const float curved = trapezoid(shape.crown_area_m2 / std::max(shape.head_area_m2, 1e-6f), 0.05f,
                                   0.12f, 0.65f, 0.8f);
    return 0.9f * std::sqrt(height * size * roundness * solid * curved);
}

// An elbow, a hand or a bag at somebody's side is a summit too, far below that person's head and
// nearer to it than anybody else could stand. So is the far shoulder of a person seen aslant, of
// which a narrow strip shows beyond the head.
float apart_from(const HeadShape& shape, const HeadShape& taller) {
    constexpr float kArm_mm = 400.0f;  // this far below the head's top
    constexpr float kShoulder_mm = 180.0f;
    constexpr float kStrip_m2 = 0.03f;
    const float below_mm = taller.top_mm - shape.top_mm;
    const float distance_mm =
        std::hypot(taller.centre.x_mm - shape.centre.x_mm, taller.centre.y_mm - shape.centre.y_mm);
    if (below_mm >= kArm_mm) return std::clamp((distance_mm - 330.0f) / 80.0f, 0.0f, 1.0f);
    if (below_mm >= kShoulder_mm && shape.body_area_m2 < kStrip_m2)
        return std::clamp((distance_mm - 250.0f) / 80.0f, 0.0f, 1.0f);
    return 1.0f;
}

float apart_from_taller(const HeadShape& shape, const std::vector<HeadShape>& others) {
    float apart = 1.0f;
    for (const HeadShape& other : others)
        apart = std::min(apart, apart_from(shape, other));
    return apart;
}

// More of a shoulder, or a bag on it, shows than a strip; a person of whom no more is to be seen
// may stand there too. Enough to go on with a track, not to begin one.
bool leans_on_taller(const HeadShape& shape, const std::vector<HeadShape>& others) {
    constexpr float kBelow_mm = 180.0f;
    constexpr float kAside_mm = 300.0f;
    constexpr float kPartOfBody_m2 = 0.045f;
    constexpr float kPartOfHead_m2 = 0.021f;
    if (shape.body_area_m2 >= kPartOfBody_m2 && shape.head_area_m2 >= kPartOfHead_m2) return false;
    return std::any_of(others.begin(), others.end(), [&](const HeadShape& taller) {
        return taller.top_mm - shape.top_mm >= kBelow_mm &&
               std::hypot(taller.centre.x_mm - shape.centre.x_mm,
                          taller.centre.y_mm - shape.centre.y_mm) < kAside_mm;
    });
}

// A rectangle with `by` more on each side, as far as it lies in a picture.
cv::Rect grown(const cv::Rect& room, int by, const cv::Size& picture) {
    if (room.empty()) return {};
    return cv::Rect(room.x - by, room.y - by, room.width + 2 * by, room.height + 2 * by) &
           cv::Rect(cv::Point(), picture);
}

HeadPlace under_umbrella(const HeadShape& shape) {
    return {shape.centre.x_mm, shape.centre.y_mm, shape.top_mm - kUnderUmbrella_mm};
}

}  // namespace

DepthDetector::DepthDetector(const CameraModel& camera) : plan_(camera) {}

const std::vector<Detection>& DepthDetector::detect(const std::uint16_t* depth_mm,
                                                    std::size_t stride_px,
                                                    const std::vector<ExpectedHead>& expected) {
    // cv::Mat has no read-only view; the image is only read.
    const cv::Mat depth(kDepthHeight, kDepthWidth, CV_16U, const_cast<std::uint16_t*>(depth_mm),
                        stride_px * sizeof(std::uint16_t));
    const cv::Rect room = plan_.room_of_surfaces(depth);
    clean(depth, room);
    plan_.build(clean_mm_, room);
    find_summits(depth);
    look_again(expected, room);
    std::sort(detections_.begin(), detections_.end(),
              [](const Detection& a, const Detection& b) { return a.score > b.score; });
    if (detections_.size() > kMaxDetections) detections_.resize(kMaxDetections);
    return detections_;
}

// Fills holes and takes lone pixels out of `room`, with the pixels around it that matter.
void DepthDetector::clean(const cv::Mat& raw_mm, const cv::Rect& room) {
    if (room.empty()) return;
    const float head_depth_mm = std::max(plan_.height_mm() - 1700.0f, 500.0f);
    const int reach_px = static_cast<int>(kHoleReach_mm * plan_.fx() / head_depth_mm);
    const cv::Rect around = with_neighbours(room, raw_mm.size());
    filler_.fill(raw_mm, reach_px, around, filled_mm_);
    clean_mm_.create(raw_mm.size(), CV_16U);
    cv::Mat part = clean_mm_(around);
    cv::medianBlur(filled_mm_, part, 3);
}

// Summits of the smoothed plan view, in as much of it as they can be in.
const std::vector<Peak>& DepthDetector::find_peaks() {
    const double sigma_cells = static_cast<double>(kHeadSmoothing_mm / plan_.cell_mm());
    const cv::Mat& surface_mm = plan_.surface_mm();
    const int reach = static_cast<int>(std::ceil(4.0 * sigma_cells)) + 1;  // of the blur
    const cv::Rect room = grown(plan_.seen(), reach, surface_mm.size());
    const cv::Rect around = grown(room, reach, surface_mm.size());
    raised_mm_.create(surface_mm.size(), CV_32F);
    smooth_mm_.create(surface_mm.size(), CV_32F);
    labels_.create(surface_mm.size(), CV_32S);
    // The floor is raised to the lowest surface of interest, so that it pulls down the summits of
    // children no more than those of adults.
    cv::max(surface_mm(around), static_cast<double>(kLowestSurface_mm), raised_mm_(around));
    cv::GaussianBlur(raised_mm_(room), smooth_mm_(room), cv::Size(), sigma_cells, sigma_cells,
                     cv::BORDER_REPLICATE);
    return finder_.find(smooth_mm_, room, plan_.cell_mm(), kHeadRules, labels_);
}

void DepthDetector::find_summits(const cv::Mat& raw_mm) {
    shapes_.clear();
    detections_.clear();
    if (plan_.seen().empty()) return;
    const std::vector<Peak>& peaks = find_peaks();
    samples_.gather(plan_, clean_mm_, raw_mm, labels_, peaks.size());
    for (std::size_t i = 0; i < peaks.size(); ++i)
        add_shapes(samples_.of(i));
    for (const HeadShape& shape : shapes_) {
        Detection detection;
        const float umbrella = umbrella_score(shape);
        detection.score = std::max(head_score(shape), umbrella) * apart_from_taller(shape, shapes_);
        if (leans_on_taller(shape, shapes_))
            detection.score = std::min(detection.score, kSecondLookScore);
        if (!to_detection(shape, detection)) continue;
        if (umbrella > 0.0f) set_head(detection, under_umbrella(shape));
        detections_.push_back(detection);
    }
}

// What is longer than a head may be several that touch.
void DepthDetector::add_shapes(std::span<const HeadSample> samples) {
    const HeadShape whole = meter_.measure(samples, plan_);
    if (whole.head_long_mm >= kTwoHeads_mm && whole.head_area_m2 >= kTwoHeads_m2) {
        const std::vector<HeadShape> heads = part(samples, whole.top_mm);
        shapes_.insert(shapes_.end(), heads.begin(), heads.end());
        if (!heads.empty()) return;
    }
    shapes_.push_back(whole);
}

// The heads of people of like height who touch, from a finer look at their tops; none for one head
// or something else.
std::vector<HeadShape> DepthDetector::part(std::span<const HeadSample> samples, float top_mm) {
    const float lowest_mm = top_mm - kTopsDepth_mm;
    const auto is_low = [&](const HeadSample& sample) {
        return plan_.height_mm() - static_cast<float>(sample.depth_mm) < lowest_mm;
    };
    const auto cell_of = [&](const HeadSample& sample) {
        return plan_.cell_of(sample.u, sample.v, sample.depth_mm);
    };
    cv::Rect room;
    for (const HeadSample& sample : samples) {
        if (is_low(sample)) continue;
        room |= cv::Rect(cell_of(sample), cv::Size(1, 1));
    }
    tops_mm_.create(room.size(), CV_32F);
    tops_labels_.create(room.size(), CV_32S);
    tops_mm_.setTo(lowest_mm);
    for (const HeadSample& sample : samples) {
        if (is_low(sample)) continue;
        const cv::Point cell = cell_of(sample);
        tops_mm_.at<float>(cell - room.tl()) = raised_mm_.at<float>(cell);
    }
    const double sigma_cells = static_cast<double>(kTouchingSmoothing_mm / plan_.cell_mm());
    cv::GaussianBlur(tops_mm_, tops_mm_, cv::Size(), sigma_cells, sigma_cells,
                     cv::BORDER_CONSTANT | cv::BORDER_ISOLATED);
    PeakRules rules = kTouchingRules;
    rules.lowest_mm = lowest_mm + 30.0f;
    rules.lowest_peak_mm = top_mm - kAlike_mm;
    const auto& peaks = touching_finder_.find(tops_mm_, cv::Rect(cv::Point(), room.size()),
                                              plan_.cell_mm(), rules, tops_labels_);
    if (peaks.size() < 2) return {};
    std::vector<std::vector<HeadSample>> parts(peaks.size());
    for (const HeadSample& sample : samples) {
        const cv::Point at = cell_of(sample) - room.tl();
        const auto apart = [at](const Peak& peak) {
            const cv::Point step(peak.col - at.x, peak.row - at.y);
            return step.dot(step);
        };
        const auto nearest =
            std::min_element(peaks.begin(), peaks.end(),
                             [apart](const Peak& a, const Peak& b) { return apart(a) < apart(b); });
        parts[static_cast<std::size_t>(nearest - peaks.begin())].push_back(sample);
    }
    std::vector<HeadShape> heads;
    for (const std::vector<HeadSample>& each : parts) {
        const HeadShape shape = meter_.measure(each, plan_);
        if (head_score(shape) >= kSureHead) heads.push_back(shape);
    }
    if (heads.size() < 2) heads.clear();
    return heads;
}

float DepthDetector::border_distance_mm(const HeadShape& shape) const {
    const float z_mm = plan_.height_mm() - shape.top_mm;
    const float x_px = std::fabs(shape.centre.x_mm) / z_mm * plan_.fx();
    const float y_px = std::fabs(shape.centre.y_mm) / z_mm * plan_.fy();
    const float room_x = shape.centre.x_mm < 0.0f ? plan_.cx() : kDepthWidth - plan_.cx();
    const float room_y = shape.centre.y_mm < 0.0f ? plan_.cy() : kDepthHeight - plan_.cy();
    return std::min((room_x - x_px) / plan_.fx(), (room_y - y_px) / plan_.fy()) * z_mm;
}

bool DepthDetector::to_detection(const HeadShape& shape, Detection& detection) const {
    if (shape.top_mm < kShortestPerson_mm) return false;
    if (detection.score < 0.3f) return false;

    if (border_distance_mm(shape) < kBorder_mm) return false;
    detection.head = HeadPlace{shape.centre.x_mm, shape.centre.y_mm, shape.top_mm};
    set_box(*detection.head, shoulder_half_mm(shape.left_mm, shape.right_mm, shape.top_mm),
            shoulder_half_mm(shape.up_mm, shape.down_mm, shape.top_mm), detection);
    return true;
}

void DepthDetector::set_box(const HeadPlace& head, float half_x_mm, float half_y_mm,
                            Detection& detection) const {
    constexpr float kScaleX = static_cast<float>(kColourWidth) / static_cast<float>(kDepthWidth);
    constexpr float kScaleY = static_cast<float>(kColourHeight) / static_cast<float>(kDepthHeight);
    const float lens_to_top_mm = plan_.height_mm() - head.top_mm;
    const Span across = head_span(head.x_mm, half_x_mm, lens_to_top_mm);
    const Span along = head_span(head.y_mm, half_y_mm, lens_to_top_mm);
    detection.set_box((across.low * plan_.fx() + plan_.cx()) * kScaleX,
                      (across.high * plan_.fx() + plan_.cx()) * kScaleX,
                      (along.low * plan_.fy() + plan_.cy()) * kScaleY,
                      (along.high * plan_.fy() + plan_.cy()) * kScaleY);
}

// Nobody who is followed is lost for a frame in which the head does not stand out by itself.
void DepthDetector::look_again(const std::vector<ExpectedHead>& expected, const cv::Rect& room) {
    std::vector<HeadPlace> found;
    for (const Detection& detection : detections_)
        found.push_back(*detection.head);
    const SecondLookResult again = SecondLook(plan_, clean_mm_, room).look(expected, found);
    for (std::size_t f = 0; f < found.size(); ++f)
        if (again.found[f] != found[f]) set_head(detections_[f], again.found[f]);
    for (const SeenAgain& seen : again.seen)
        add_seen_again(seen);
}

void DepthDetector::add_seen_again(const SeenAgain& seen) {
    Detection detection;
    detection.score = kSecondLookScore;
    detection.head_seen = seen.head_seen;
    set_head(detection, seen.head);
    detections_.push_back(detection);
}

// Moves a detection to a head of which no shoulders were measured.
void DepthDetector::set_head(Detection& detection, const HeadPlace& head) const {
    const float half_mm = kTypicalShoulder * head.top_mm;
    detection.head = head;
    set_box(head, half_mm, half_mm, detection);
}

}  // namespace host
