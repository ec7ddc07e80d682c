#include "host/depth/sensor.h"

#include <algorithm>

namespace host {

const char* sensor_name(Sensor sensor) {
    return sensor == Sensor::kExact ? "exact" : "reads-low";
}

void suit_library(const std::vector<std::uint16_t>& depth_mm, int floor_mm, int correction_mm,
                  std::vector<std::uint16_t>& suited_mm) {
    constexpr int kStanding_mm = 600;  // above the floor; a child's shoulders are higher
    constexpr int kTallest_mm = 2000;
    const int farthest_mm = std::max(floor_mm - kStanding_mm, 0);
    const int nearest_mm = std::clamp(floor_mm - kTallest_mm, 0, 65535);
    suited_mm.clear();
    if (correction_mm == 0 && std::none_of(depth_mm.begin(), depth_mm.end(), [=](std::uint16_t mm) {
            return mm != 0 && mm < nearest_mm;
        }))
        return;
    suited_mm.resize(depth_mm.size());
    std::transform(depth_mm.begin(), depth_mm.end(), suited_mm.begin(), [=](std::uint16_t mm) {
        if (mm == 0 || mm >= farthest_mm) return mm;
        return static_cast<std::uint16_t>(std::clamp(mm + correction_mm, nearest_mm, 65535));
    });
}

}  // namespace host
