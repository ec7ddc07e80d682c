// The master's merge written down plainly: the best pair is searched anew for every group. The
// tests compare the library with it byte for byte.
#ifndef TESTS_CASCADE_MERGE_MODEL_H
#define TESTS_CASCADE_MERGE_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "tests/cascade/candidates.h"

namespace cascade {

// The two boxes of one person.
struct Candidate {
    DET_OBJ_S match;   // around the feet
    DET_OBJ_S centre;  // around the centre of the box
    bool merged = false;
};

// The merged people. Boxes of the lists are complete: unused places are zero.
struct Merged {
    int32_t num = 0;
    DET_OBJ_S objs[128] = {};      // match boxes
    DET_OBJ_S raw_objs[128] = {};  // centre boxes
};

// Side of the squares in pixels: 240 at 2 m down to 60 at 6 m.
int32_t square_side(int32_t install_height_mm);

// Whether a track of the master's own takes part.
bool takes_part(const TRACKER_RSLT_S& trk, int32_t install_height_mm);

// The last message of one slave.
struct SlaveState {
    uint32_t frame = 0;
    int32_t count = 0;  // as the message claims
    std::vector<Report> reports;
};

// People of all devices, the master's own first; 128 at most.
std::vector<Candidate> collect(const std::vector<TRACKER_RSLT_S>& tracks,
                               const std::vector<SlaveState>& slaves, int32_t install_height_mm);

Merged merge_plainly(std::vector<Candidate> candidates);

// What distinguishes a result from the expected one, empty when nothing does.
std::string difference(const VCA_NN_RESULT_S& result, const Merged& want);

}  // namespace cascade

#endif
