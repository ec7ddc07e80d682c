// State that the floor map and the region distance share.
#pragma once

#include "vca/depth.h"

namespace vca {

VCA_DEPTH_STATE_S& depth_state();

}  // namespace vca
