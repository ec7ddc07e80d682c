#include "host/depth/sensor.h"

#include <algorithm>

namespace host {

const char* sensor_name(Sensor sensor) {
    return sensor == Sensor::kExact ? "exact" : "reads-low";
}

void take_back_correction(const std::vector<std::uint16_t>& depth_mm, int floor_mm,
                          int correction_mm, std::vector<std::uint16_t>& corrected_mm) {
    constexpr int kStanding_mm = 600;  // above the floor; a child's shoulders are higher
    const int farthest_mm = std::max(floor_mm - kStanding_mm, 0);
    corrected_mm.resize(depth_mm.size());
    std::transform(depth_mm.begin(), depth_mm.end(), corrected_mm.begin(), [=](std::uint16_t mm) {
        const int moved = mm != 0 && mm < farthest_mm ? mm + correction_mm : mm;
        return static_cast<std::uint16_t>(std::clamp(moved, 0, 65535));
    });
}

}  // namespace host
