// The camera of a depth recording that carries the calibration of its sensor as JSON.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "host/frames/depth_camera.h"

namespace host {

inline constexpr const char* kCalibrationAttachment = "calibration.json";
inline constexpr const char* kDepthModeTag = "K4A_DEPTH_MODE";

// Intrinsics are normalised to the whole sensor; the depth mode says which part of it, and at which
// scale, the pictures show. The lens is taken for a pinhole. Throws InputError that begins with
// `name`.
RecordingCamera read_depth_calibration(const std::string& json, const std::string& depth_mode,
                                       const PictureSize& picture, const std::string& name);

}  // namespace host
