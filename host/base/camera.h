// The pinhole camera record.
#pragma once

#include <optional>

namespace host {

// Pinhole model of the 480 x 256 depth image. Depths are distances along the optical axis, which
// points straight down.
struct CameraModel {
    double fx = 0.0;  // depth pixels
    double fy = 0.0;
    double cx = 0.0;
    double cy = 0.0;
    std::optional<double> height_mm;  // lens above the floor, when it is known
};

}  // namespace host
