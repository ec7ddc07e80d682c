// The camera of a recording: its file, and where its pictures lie in the depth image.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/base/camera.h"
#include "host/base/picture.h"

namespace host {

inline constexpr int kMostRecordingPixels = 8192;  // width and height

// A size in pixels.
struct PictureSize {
    int width = 0;
    int height = 0;
    bool operator==(const PictureSize&) const = default;
};

// What the camera file says.
struct RecordingCamera {
    int width = 0;  // pixels of the recording
    int height = 0;
    double fx = 0.0;
    double fy = 0.0;
    double cx = 0.0;
    double cy = 0.0;
    double frames_per_second = 0.0;
    std::optional<double> height_mm;
    // Of the picture in which points of lines and regions are given, if that is not the recording's
    // own.
    std::optional<PictureSize> points_in;
};

// Throws InputError that names the file and the line.
RecordingCamera read_recording_camera(const std::string& path);
// The same from the text of a camera file; `name` is what messages call it.
RecordingCamera parse_recording_camera(const std::string& text, const std::string& name);
// The text of its file; every number reads back exactly.
std::string recording_camera_text(const RecordingCamera& camera);

// Where a recording lies in the 480 x 256 depth image: scaled by one factor, centred.
// Depth pixel = (recording pixel + 0.5) * scale + offset - 0.5.
struct RecordingFit {
    double scale = 1.0;
    double offset_x = 0.0;
    double offset_y = 0.0;
};
RecordingFit fit_recording(int width, int height);

// Resamples a recording's frame (row-major, no padding) into the depth image (480 * 256 values).
// Each depth pixel takes the valid measurement nearest to its middle within its own footprint, and
// 0 where there is none or outside the recording.
void resample_depth(const std::uint16_t* recording, int width, int height,
                    std::vector<std::uint16_t>& depth);

// The depth image's camera, and the user's points in the picture of the analysis.
class RecordingView {
  public:
    explicit RecordingView(const RecordingCamera& camera);

    CameraModel depth_camera() const;
    // Size of the picture in which a user gives points.
    PictureSize user_size() const { return user_; }
    PicturePoint to_picture(const PicturePoint& user_point) const;

  private:
    double to_depth_x(double u) const { return (u + 0.5) * fit_.scale + fit_.offset_x - 0.5; }
    double to_depth_y(double v) const { return (v + 0.5) * fit_.scale + fit_.offset_y - 0.5; }

    RecordingCamera camera_;
    RecordingFit fit_;
    PictureSize user_;
};

}  // namespace host
