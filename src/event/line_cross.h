// The crossing check of the line stage.
#pragma once

#include "vca/track.h"

namespace vca {

// Updates the crossing state of a track whose event box is `cur` on one segment of one line for
// this frame.
void check_crossing_state(TRACKER_RSLT_S& trk, const DET_OBJ_S& cur, int line, int seg);

}  // namespace vca
