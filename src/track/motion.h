// The movement histories of a track.
#pragma once

#include "vca/track.h"

namespace vca {

// Trail, displacement samples and speed of a track after this pass's update or miss.
void update_trail_and_speed(TRACKER_RSLT_S& trk);

// The de-jittered trajectory from the trail.
void update_smooth_trail(TRACKER_RSLT_S& trk);

// One centre of the current box for every pass.
void append_object_trail(TRACKER_RSLT_S& trk);

}  // namespace vca
