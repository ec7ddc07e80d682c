// Track lists: records come and go without memory coming and going with them.
#pragma once

#include "vca/track.h"

namespace vca {

// Passes without an update that a record outlives.
constexpr int32_t kLostMax = 4;

// Appends a record that is zero throughout, its lists with room for all they will hold.
TRACKER_RSLT_S& append_track(std::vector<TRACKER_RSLT_S>& list);

// Keeps the memory of a record that leaves its list for the next ones; the record is to be
// overwritten or erased.
void retire_track(TRACKER_RSLT_S& trk);

// Gives a grid without memory for its cells that of a retired track, if there is any.
void provide_cells(HEAT_GRID_S& grid);

// Gives back the memory of retired records.
void drop_retired_tracks();

}  // namespace vca
