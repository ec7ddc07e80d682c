// The queue of counted crossings and the open groups.
#pragma once

#include "vca/event.h"

namespace vca {

struct CountingState {
    std::vector<DEV_COUNTING_RSLT_S> results;  // counted in this frame
    std::vector<DEV_COUNTING_GROUP_S> groups;  // open, in creation order
    int32_t next_group_id = 0;
    // Storage kept between uses, so that a frame that counts does not have to allocate.
    std::vector<DEV_COUNTING_RSLT_S> spare_results;
    std::vector<std::vector<DET_OBJ_S>> spare_members;
};

CountingState& counting_state();

// Leaves the queue empty and without storage.
void empty_results(CountingState& state);

// Keeps the storage of a closed group for reuse.
void retire_members(DEV_COUNTING_GROUP_S& group);

}  // namespace vca
