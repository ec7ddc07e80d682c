// The floor in a depth image: how crooked the camera hangs over it, and how high.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/base/camera.h"

namespace host {

// Angle between the optical axis and the plumb line.
double lean_deg(const Tilt& tilt);

struct FloorPlane {
    Tilt tilt;                 // of the camera
    double distance_mm = 0.0;  // lens above the floor
    double share = 0.0;        // of the measurements that lie on it
};

// Looks for the lowest large plane that the camera looks down on at an angle of no more than about
// 20 degrees. People, furniture, holes and noise may take up to 60 % of the image. Empty when
// there is no such plane. The same image always gives the same plane.
std::optional<FloorPlane> fit_floor(const std::vector<std::uint16_t>& depth_mm,
                                    const CameraModel& camera);

}  // namespace host
