// What is known of a depth sensor's readings, and how they are made to suit the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host {

enum class Sensor {
    kExact,     // people measure as tall as they are
    kReadsLow,  // people measure too low from high up; the library's correction is meant for these
};

const char* sensor_name(Sensor sensor);

// The depth that the library gets in place of the sensor's; empty when it gets that. Same size, 0
// stays 0, and so do the floor, `floor_mm` away, and what lies on it, since the library measures
// their distance.
// - From high up the library adds `correction_mm` to the height of everybody: what stands on the
//   floor is moved away from the camera by as much, so that an exact sensor's heights come out
//   right.
// - The library takes nothing higher than 2 m for a measurement, and somebody of whom nothing lower
//   is to be seen, as under an umbrella, would not count: what is higher becomes 2 m high.
void suit_library(const std::vector<std::uint16_t>& depth_mm, int floor_mm, int correction_mm,
                  std::vector<std::uint16_t>& suited_mm);

}  // namespace host
