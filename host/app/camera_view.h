// What a camera's frames say about how it was hung up, gathered frame by frame.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/base/camera.h"
#include "host/depth/sensor.h"
#include "host/frames/frame_source.h"

namespace host {

class CameraView {
  public:
    // The camera of the frames, level or turned to be.
    explicit CameraView(const CameraModel& camera);

    void add(const SourceFrame& frame);

    std::int64_t frames() const { return frames_; }
    int width() const { return width_; }  // of the sensor's own pictures
    int height() const { return height_; }
    double rate() const;         // frames a second, by their times; 0 for fewer than two
    double valid_share() const;  // of the sensor's pixels
    // Lens above the floor: the middle of what single frames show. Nothing when hardly one did.
    std::optional<double> floor_mm() const;
    // How crooked the floor of single frames lies, in the middle; nothing when hardly one showed
    // it.
    std::optional<Tilt> tilt() const;
    // How much a pixel of what stands still goes up and down, as a standard deviation; the middle
    // of all pixels.
    double noise_mm() const;
    // Of somebody who walked below the camera, as tall as the floor's distance makes them. Nothing
    // when nobody did.
    std::optional<double> person_mm() const;

    const std::vector<std::uint16_t>& last_mm() const { return last_mm_; }

  private:
    void add_noise(const std::vector<std::uint16_t>& depth_mm);
    std::optional<double> nearest_below(const std::vector<std::uint16_t>& depth_mm) const;

    CameraModel camera_;
    std::int64_t frames_ = 0;
    int width_ = 0;
    int height_ = 0;
    double first_s_ = 0.0;
    double last_s_ = 0.0;
    std::int64_t valid_ = 0;  // pixels of all frames
    std::int64_t pixels_ = 0;
    std::vector<double> floors_mm_;
    std::vector<double> rolls_deg_;
    std::vector<double> pitches_deg_;
    std::vector<double> heads_mm_;  // distances of what is highest below the camera
    std::vector<std::uint16_t> last_mm_;
    std::vector<std::int32_t> seen_;  // of each pixel
    std::vector<double> sum_mm_;
    std::vector<double> sum_squares_;
};

// Which setting fits a sensor with which somebody of a known height measures as tall as that:
// nothing where the two settings differ too little to tell.
std::optional<Sensor> fitting_sensor(double true_mm, double measured_mm, double correction_mm);

}  // namespace host
