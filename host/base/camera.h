// The pinhole camera record, and how crooked a camera hangs.
#pragma once

#include <optional>

namespace host {

// How a camera hangs, by the right-hand rule about the axes of its picture: x to the right, y down,
// z away from the camera. Roll turns it about y, so that with a positive one it looks towards the
// picture's right edge; pitch then about x, so that with a positive one it looks towards the upper
// edge. Both are 0 when it looks straight down.
struct Tilt {
    double roll_deg = 0.0;
    double pitch_deg = 0.0;
};

// Pinhole model of the 480 x 256 depth image. Depths are distances along the optical axis, which
// points straight down.
struct CameraModel {
    double fx = 0.0;  // depth pixels
    double fy = 0.0;
    double cx = 0.0;
    double cy = 0.0;
    std::optional<double> height_mm;  // lens above the floor, when it is known
    std::optional<Tilt> levelled{};   // the images were turned to this from how the camera hangs
};

}  // namespace host
