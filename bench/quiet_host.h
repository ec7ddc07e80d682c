// The cheapest host the library can run on: it drops messages and reports every detection as the
// target the benchmark says it is, so that only the library's own time is measured.
#pragma once

#include <vector>

#include "vca/track.h"

namespace bench {

// People walking to and fro over the picture, and the depth image that belongs to them.
struct CrowdFrame {
    DET_OBJECTS_S detections{};
    std::vector<uint16_t> depth_mm;
};

// `people` walkers (at most 100) over `frames` frames that can be repeated endlessly.
std::vector<CrowdFrame> make_crowd(int people, int frames);

// Four counting lines over the whole picture, group counting on, counted by the foot point.
VCA_ALGO_CFG_S counting_config();

// The same with four counting regions, an exclusion region, attributes and heat maps.
VCA_ALGO_CFG_S everything_config();

}  // namespace bench
