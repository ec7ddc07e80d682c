// A few seconds of frames, and what they have in common.
#include "host/app/floor_measure.h"

#include <algorithm>
#include <utility>

#include "host/app/camera_view.h"

namespace host {
namespace {

// So many frames, or where they are rare as many as come in this time.
constexpr std::int64_t kFrames = 60;
constexpr double kTime_s = 8.0;
constexpr std::int64_t kLeastFrames = 15;
constexpr std::int64_t kTellEvery = 6;  // frames

// Frames that were turned to level show what was left of it.
std::optional<Tilt> whole_tilt(const CameraModel& camera, const std::optional<Tilt>& left) {
    if (!left || !camera.levelled) return left;
    return Tilt{camera.levelled->roll_deg + left->roll_deg,
                camera.levelled->pitch_deg + left->pitch_deg};
}

}  // namespace

FloorMeasure::FloorMeasure(const FrameSource& source,
                           std::function<void(const CameraMeasured&)> tell)
    : source_(source),
      tell_(std::move(tell)),
      thread_([this](const std::stop_token& stop) { work(stop); }) {}

void FloorMeasure::begin() {
    const std::lock_guard lock(mutex_);
    asked_ = true;
    changed_.notify_all();
}

void FloorMeasure::on_frame(const FrameView& frame) {
    if (frame.planes.blank) return;
    const std::lock_guard lock(mutex_);
    if (!std::exchange(wants_, false)) return;
    frame_.emplace();
    frame_->number = frame.number;
    frame_->time_s = frame.time_s;
    frame_->planes.raw_mm = frame.planes.raw_mm;
    changed_.notify_all();
}

std::optional<SourceFrame> FloorMeasure::next_frame(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    wants_ = true;
    changed_.wait(lock, stop, [this] { return asked_ || frame_; });
    wants_ = false;
    if (asked_) frame_.reset();
    return std::exchange(frame_, std::nullopt);
}

void FloorMeasure::work(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, stop, [this] { return asked_; });
            asked_ = false;
        }
        if (!stop.stop_requested()) measure(stop);
    }
}

void FloorMeasure::measure(const std::stop_token& stop) {
    CameraMeasured measured;
    measured.progress = 0.0;
    tell_(measured);
    std::optional<CameraView> view;
    double begun_s = 0.0;
    while (measured.progress < 1.0) {
        const auto frame = next_frame(stop);
        if (!frame) return;
        // What the camera is is known from its first frame on.
        if (!view) {
            view.emplace(source_.info().camera);
            begun_s = frame->time_s;
        }
        view->add(*frame);
        measured.progress =
            std::max(static_cast<double>(view->frames()) / static_cast<double>(kFrames),
                     (frame->time_s - begun_s) / kTime_s);
        if (view->frames() < kLeastFrames) measured.progress = std::min(*measured.progress, 0.9);
        if (view->frames() % kTellEvery == 0 && measured.progress < 1.0) tell_(measured);
    }
    measured.progress.reset();
    measured.floor_mm = view->floor_mm();
    if (measured.floor_mm) measured.noise_mm = view->noise_mm();
    measured.tilt = whole_tilt(source_.info().camera, view->tilt());
    tell_(measured);
}

}  // namespace host
