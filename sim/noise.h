// The kinds of depth sensors that can be simulated.
#pragma once

#include <string>
#include <vector>

namespace sim {

enum class Noise {
    kPlain,         // grows with the square of the distance; edges and dark hair have holes
    kTimeOfFlight,  // modulated light, sim/time_of_flight.cpp
    kStereo,        // two cameras, sim/stereo.cpp
};

// "plain", "time-of-flight", "stereo", in the order of the values.
std::vector<std::string> noise_names();

// Throws std::invalid_argument listing the known names.
Noise noise_from(const std::string& name);

}  // namespace sim
