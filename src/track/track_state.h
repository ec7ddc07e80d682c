// Tracking state of both lists, kept from pass to pass.
#pragma once

#include "vca/track.h"

namespace vca {

// Memory of removed tracks, reused for new ones.
struct SpareTracks {
    std::vector<TRACKER_RSLT_S> records;  // without their grids
    std::vector<HEAT_GRID_S> grids;       // empty, with memory for their cells
};

struct TrackState {
    uint32_t pass_count = 0;   // record updates since the library was loaded
    std::vector<int32_t> ids;  // ids of the list's records: searching the large records is slow
    SpareTracks spare;
};

TrackState& track_state();

}  // namespace vca
