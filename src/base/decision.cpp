// The observer and the state kept for it.
#include "base/decision.h"

#include <algorithm>

#include "base/numeric.h"

namespace {

constinit vca::DecisionState decisions;

auto find_told(const TRACKER_RSLT_S& trk) {
    return std::find_if(decisions.tracks.begin(), decisions.tracks.end(), [&](const auto& told) {
        return told.id == trk.trackId && told.list == decisions.list;
    });
}

}  // namespace

vca::DecisionState& vca::decision_state() {
    return decisions;
}

void vca::tell(VCA_DECISION_S decision) {
    decision.frame = vca_feed_frm_cnt_get();
    decision.list = decisions.list;
    decisions.observer(decisions.ctx, &decision);
}

void vca::tell(VCA_DECISION_E kind, const TRACKER_RSLT_S& trk, int32_t place, int32_t detail,
               float value, float limit) {
    if (!is_observed()) return;
    const DET_OBJ_S& box = trk.evtObj;
    tell({kind, 0, 0, trk.trackId, place, detail, wrap_add(box.x, box.w / 2),
          wrap_add(box.y, box.h / 2), value, limit});
}

vca::ToldTrack& vca::told_track(const TRACKER_RSLT_S& trk) {
    const auto found = find_told(trk);
    if (found != decisions.tracks.end()) return *found;
    ToldTrack& told = decisions.tracks.emplace_back();
    told.list = decisions.list;
    told.id = trk.trackId;
    return told;
}

void vca::tell_members(const TRACKER_RSLT_S& trk, int32_t object) {
    if (!is_observed() || decisions.list != VCA_LIST_MERGED) return;
    for (const MergedMember& member : decisions.members) {
        if (member.object != object) continue;
        auto& told = told_track(trk).members;
        const std::pair<int32_t, int32_t> key(member.device, member.track);
        if (std::find(told.begin(), told.end(), key) != told.end()) continue;
        told.push_back(key);
        tell(VCA_DECISION_MERGED, trk, member.track, member.device, member.iou, member.iou_min);
    }
}

void vca::tell_end(const TRACKER_RSLT_S& trk, VCA_ENDED_E why, int32_t most) {
    if (!is_observed()) return;
    tell(VCA_DECISION_ENDED, trk, -1, why, static_cast<float>(trk.lostCnt),
         static_cast<float>(most));
    const auto found = find_told(trk);
    if (found != decisions.tracks.end()) decisions.tracks.erase(found);
}

void vca_set_decision_observer(VCA_DECISION_FN fn, void* ctx) {
    decisions.observer = fn;
    decisions.ctx = ctx;
    decisions.tracks.clear();
}
