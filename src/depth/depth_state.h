// State that the floor map and the region distance share.
#pragma once

#include "vca/depth.h"

namespace vca {

// Capacity of the sample buffer of depth16_calc_rgn_distance.
constexpr int kDepthSampleMax = 14400;

VCA_DEPTH_STATE_S& depth_state();

}  // namespace vca
