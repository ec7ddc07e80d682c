// Track lists: records come and go without memory coming and going with them.
#pragma once

#include "vca/track.h"

namespace vca {

// Appends a record that is zero throughout, on the storage of one that was retired if there is one.
TRACKER_RSLT_S& append_track(std::vector<TRACKER_RSLT_S>& list);

// Keeps the storage of a record that leaves its list; the record is to be overwritten or erased.
void retire_track(TRACKER_RSLT_S& trk);

// Gives the storage of retired records back.
void drop_retired_tracks();

}  // namespace vca
