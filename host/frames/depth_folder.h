// Recordings of a depth camera: a folder of numbered 16-bit grey PNG files in millimetres.
#pragma once

#include <string>

#include "host/frames/frame_source.h"

namespace host {

inline constexpr int kMostRecordingPixels = 8192;  // width and height

// The camera file beside a recording.
struct RecordingCamera {
    int width = 0;  // pixels of the recording
    int height = 0;
    double fx = 0.0;
    double fy = 0.0;
    double cx = 0.0;
    double cy = 0.0;
    double frames_per_second = 0.0;
    std::optional<double> height_mm;
};

// Throws InputError that names the file and the line.
RecordingCamera read_recording_camera(const std::string& path);

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

std::unique_ptr<FrameSource> open_depth_folder(const SourceOptions& options);

}  // namespace host
