// Sums over frames.
#include "host/app/camera_view.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "host/base/picture.h"
#include "host/depth/floor_plane.h"
#include "host/score/samples.h"

namespace host {
namespace {

constexpr std::int64_t kFitEvery = 5;  // frames; a fit takes some milliseconds
constexpr std::size_t kLeastFits = 3;
constexpr double kBelow_mm = 500.0;         // from the plumb line below the camera
constexpr std::size_t kHeadPixels = 50;     // so many are nearer than what is taken for the head
constexpr double kLeastPerson_mm = 1000.0;  // a child or a trolley is no measure
constexpr double kMostPerson_mm = 2300.0;
constexpr std::size_t kLeastHeads = 5;  // frames with somebody
constexpr double kLeastCorrection_mm = 40.0;

}  // namespace

CameraView::CameraView(const CameraModel& camera) : camera_(camera) {
    constexpr std::size_t kPixels = std::size_t{kDepthWidth} * kDepthHeight;
    seen_.assign(kPixels, 0);
    sum_mm_.assign(kPixels, 0.0);
    sum_squares_.assign(kPixels, 0.0);
}

void CameraView::add(const SourceFrame& frame) {
    const std::vector<std::uint16_t>& depth_mm = frame.planes.raw_mm;
    const bool taken = frame.planes.taken.width > 0;
    const std::vector<std::uint16_t>& own_mm = taken ? frame.planes.taken.depth_mm : depth_mm;
    width_ = taken ? frame.planes.taken.width : kDepthWidth;
    height_ = taken ? frame.planes.taken.height : kDepthHeight;
    if (frames_ == 0) first_s_ = frame.time_s;
    last_s_ = frame.time_s;
    pixels_ += std::ssize(own_mm);
    valid_ += std::ssize(own_mm) - std::count(own_mm.begin(), own_mm.end(), 0);
    if (frames_ % kFitEvery == 0) {
        if (const auto floor = fit_floor(depth_mm, camera_)) {
            floors_mm_.push_back(floor->distance_mm);
            rolls_deg_.push_back(floor->tilt.roll_deg);
            pitches_deg_.push_back(floor->tilt.pitch_deg);
        }
    }
    if (const auto head_mm = nearest_below(depth_mm)) heads_mm_.push_back(*head_mm);
    add_noise(depth_mm);
    last_mm_ = depth_mm;
    ++frames_;
}

void CameraView::add_noise(const std::vector<std::uint16_t>& depth_mm) {
    for (std::size_t i = 0; i < depth_mm.size(); ++i) {
        const double mm = depth_mm[i];
        if (mm == 0.0) continue;
        ++seen_[i];
        sum_mm_[i] += mm;
        sum_squares_[i] += mm * mm;
    }
}

// Of the pixels near the plumb line, a distance that only few are nearer than.
std::optional<double> CameraView::nearest_below(const std::vector<std::uint16_t>& depth_mm) const {
    std::vector<std::uint16_t> near;
    for (int y = 0; y < kDepthHeight; ++y) {
        for (int x = 0; x < kDepthWidth; ++x) {
            const std::uint16_t mm = depth_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
            if (mm == 0) continue;
            const double across_mm = (x - camera_.cx) / camera_.fx * mm;
            const double down_mm = (y - camera_.cy) / camera_.fy * mm;
            if (std::hypot(across_mm, down_mm) < kBelow_mm) near.push_back(mm);
        }
    }
    if (near.size() <= kHeadPixels) return std::nullopt;
    const auto nth = near.begin() + kHeadPixels;
    std::nth_element(near.begin(), nth, near.end());
    return *nth;
}

double CameraView::rate() const {
    const double time_s = last_s_ - first_s_;
    return time_s > 0.0 ? static_cast<double>(frames_ - 1) / time_s : 0.0;
}

double CameraView::valid_share() const {
    return pixels_ > 0 ? static_cast<double>(valid_) / static_cast<double>(pixels_) : 0.0;
}

std::optional<double> CameraView::floor_mm() const {
    if (floors_mm_.size() < kLeastFits) return std::nullopt;
    return quantile(floors_mm_, 0.5);
}

std::optional<Tilt> CameraView::tilt() const {
    if (rolls_deg_.size() < kLeastFits) return std::nullopt;
    return Tilt{quantile(rolls_deg_, 0.5), quantile(pitches_deg_, 0.5)};
}

double CameraView::noise_mm() const {
    std::vector<double> deviations;
    for (std::size_t i = 0; i < seen_.size(); ++i) {
        const double count = seen_[i];
        if (count < 0.9 * static_cast<double>(frames_) || count < 2.0) continue;
        const double mean = sum_mm_[i] / count;
        deviations.push_back(std::sqrt(std::max(sum_squares_[i] / count - mean * mean, 0.0)));
    }
    return deviations.empty() ? 0.0 : quantile(deviations, 0.5);
}

std::optional<double> CameraView::person_mm() const {
    const auto floor_mm = this->floor_mm();
    if (!floor_mm) return std::nullopt;
    std::vector<double> heights;
    for (const double head_mm : heads_mm_) {
        const double height_mm = *floor_mm - head_mm;
        if (height_mm >= kLeastPerson_mm && height_mm <= kMostPerson_mm)
            heights.push_back(height_mm);
    }
    if (heights.size() < kLeastHeads) return std::nullopt;
    // Somebody who comes or goes shows a shoulder first.
    return quantile(heights, 0.8);
}

std::optional<Sensor> fitting_sensor(double true_mm, double measured_mm, double correction_mm) {
    if (correction_mm < kLeastCorrection_mm) return std::nullopt;
    const double missing_mm = true_mm - measured_mm;
    return missing_mm < correction_mm / 2.0 ? Sensor::kExact : Sensor::kReadsLow;
}

}  // namespace host
