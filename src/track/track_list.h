// Track lists whose records come and go without allocating or freeing memory each time.
#pragma once

#include "vca/track.h"

namespace vca {

// Passes without an update that a record survives.
constexpr int32_t kLostMax = 4;

// Appends an all-zero record whose lists have room for everything they will hold.
TRACKER_RSLT_S& append_track(std::vector<TRACKER_RSLT_S>& list);

// Keeps the memory of a record that leaves its list for later records; the caller must then
// overwrite or erase the record.
void retire_track(TRACKER_RSLT_S& trk);

// Gives a grid that has no cell memory the memory of a retired track, if there is any.
void provide_cells(HEAT_GRID_S& grid);

// Gives back the memory of retired records.
void drop_retired_tracks();

}  // namespace vca
