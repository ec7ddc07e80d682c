// What a cascade keeps from frame to frame: the slaves' newest messages as they were received, and
// the storage of the master's merge.
#pragma once

#include <vector>

#include "vca/cascade.h"

namespace vca {

struct SlaveEntry {
    uint32_t slave_idx = 0;
    uint32_t fresh = 0;  // 1 from the receipt of a message to the next merge
    SLAVE_MSG_S msg{};
};

// The people of all devices. A person's device is in aux0 of both boxes.
struct Candidates {
    int32_t num = 0;
    DET_OBJ_S centre[VCA_DET_MAX] = {};
    DET_OBJ_S match[VCA_DET_MAX] = {};
    int32_t track[VCA_DET_MAX] = {};  // id on the device that sees the person
    bool merged[VCA_DET_MAX] = {};    // the person is part of an object

    uint32_t device(int32_t i) const { return match[i].aux0; }
};

// Two people of different devices with overlapping squares.
struct CandidatePair {
    float iou;
    int32_t first;
    int32_t second;
    int32_t next_of_first;  // the next pair in the list that person `first` belongs to; -1 for none
    int32_t next_of_second;  // the same of person `second`

    int32_t partner_of(int32_t person) const { return person == first ? second : first; }
    int32_t next_of(int32_t person) const {
        return person == first ? next_of_first : next_of_second;
    }
};

struct CascadeState {
    SlaveEntry slaves[VCA_SLAVE_MAX];
    bool sent_tracks = false;  // the previous message of this slave held any tracks
    Candidates candidates;
    std::vector<CandidatePair> pairs;
};

CascadeState& cascade_state();

}  // namespace vca
