// The queue of counted crossings and the open groups.
#pragma once

#include "vca/event.h"

namespace vca {

struct CountingState {
    std::vector<DEV_COUNTING_RSLT_S> results;  // counted in this frame
    std::vector<DEV_COUNTING_GROUP_S> groups;  // open, in creation order
    int32_t next_group_id = 0;
};

CountingState& counting_state();

}  // namespace vca
