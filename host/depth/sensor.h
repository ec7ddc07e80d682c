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

// From high up the library adds `correction_mm` to the height of everybody. Moves what stands on a
// floor `floor_mm` away farther from the camera by as much, so that an exact sensor's heights come
// out right; the floor and what lies on it stay where they are, since the library measures its
// distance. Same size; 0 stays 0.
void take_back_correction(const std::vector<std::uint16_t>& depth_mm, int floor_mm,
                          int correction_mm, std::vector<std::uint16_t>& corrected_mm);

}  // namespace host
