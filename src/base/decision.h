// Reporting decisions to the host's observer. Without an observer, a decision costs only the check
// for one; anything computed just for the observer is guarded by is_observed().
#pragma once

#include <utility>
#include <vector>

#include "vca/decision.h"
#include "vca/track.h"

namespace vca {

// State needed to report the decisions about a track, kept only while they are being reported.
struct ToldTrack {
    int32_t list = VCA_LIST_LOCAL;
    int32_t id = -1;
    bool countable = false;
    int32_t touched_pass[VCA_LINE_NUM] = {};  // trkFrames when it was last just past the line
    float touched_px[VCA_LINE_NUM] = {};      // how far past it
    std::vector<std::pair<int32_t, int32_t>> members;  // device and track, as reported
};

// A person seen by one device who is part of a merged object.
struct MergedMember {
    int32_t object;  // index in the list of objects
    int32_t device;  // 0 the master, slaves from 1
    int32_t track;   // id on that device
    float iou;       // with the first member
    float iou_min;   // needed to merge
};

struct DecisionState {
    VCA_DECISION_FN observer = nullptr;
    void* ctx = nullptr;
    int32_t list = VCA_LIST_LOCAL;  // the list the pass works on
    std::vector<ToldTrack> tracks;
    std::vector<MergedMember> members;  // from the latest merge
};

DecisionState& decision_state();

inline bool is_observed() {
    return decision_state().observer != nullptr;
}

// Fills in frame and list and calls the observer, which must be set.
void tell(VCA_DECISION_S decision);

// Reports on a track at the position of its event box; does nothing without an observer.
void tell(VCA_DECISION_E kind, const TRACKER_RSLT_S& trk, int32_t place, int32_t detail,
          float value = 0.0f, float limit = 0.0f);

// The state kept for the track, created on first use. Call only with an observer set; valid until
// the next call.
ToldTrack& told_track(const TRACKER_RSLT_S& trk);

// Reports the members of the object that a merged track was matched to, each once.
void tell_members(const TRACKER_RSLT_S& trk, int32_t object);

// Reports the end of a track, which may go unseen for at most `most` passes, and drops its state.
void tell_end(const TRACKER_RSLT_S& trk, VCA_ENDED_E why, int32_t most);

}  // namespace vca
