// Telling the host's observer what is decided. Without one a decision costs the look whether there
// is one; whatever is worked out for it stands behind is_observed().
#pragma once

#include <utility>
#include <vector>

#include "vca/decision.h"
#include "vca/track.h"

namespace vca {

// What must be remembered of a track to tell its decisions, and is remembered only while it is
// told.
struct ToldTrack {
    int32_t list = VCA_LIST_LOCAL;
    int32_t id = -1;
    bool countable = false;
    int32_t touched_pass[VCA_LINE_NUM] = {};  // trkFrames when it was last just past the line
    float touched_px[VCA_LINE_NUM] = {};      // how far past it
    std::vector<std::pair<int32_t, int32_t>> members;  // device and track, as told
};

// A person of one device who is part of an object of all devices.
struct MergedMember {
    int32_t object;  // place in the list of objects
    int32_t device;  // 0 the master, slaves from 1
    int32_t track;   // id on that device
    float iou;       // with the first member
    float iou_min;   // that is enough
};

struct DecisionState {
    VCA_DECISION_FN observer = nullptr;
    void* ctx = nullptr;
    int32_t list = VCA_LIST_LOCAL;  // that the pass works on
    std::vector<ToldTrack> tracks;
    std::vector<MergedMember> members;  // of the newest merge
};

DecisionState& decision_state();

inline bool is_observed() {
    return decision_state().observer != nullptr;
}

// Fills frame and list and calls the observer; there must be one.
void tell(VCA_DECISION_S decision);

// About a track, at the place of its event box; nothing without an observer.
void tell(VCA_DECISION_E kind, const TRACKER_RSLT_S& trk, int32_t place, int32_t detail,
          float value = 0.0f, float limit = 0.0f);

// What is remembered of the track, made when it is not known yet. Only with an observer; valid
// until the next call.
ToldTrack& told_track(const TRACKER_RSLT_S& trk);

// The members of the object that a merged track was matched to, each once.
void tell_members(const TRACKER_RSLT_S& trk, int32_t object);

// The end of a track, after `most` passes in which it may go unseen. It is forgotten.
void tell_end(const TRACKER_RSLT_S& trk, VCA_ENDED_E why, int32_t most);

}  // namespace vca
