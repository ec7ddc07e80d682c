#include "track/track_list.h"

namespace {

std::vector<TRACKER_RSLT_S> retired;

template <typename T>
std::vector<T> emptied(std::vector<T>& used) {
    used.clear();
    return std::move(used);
}

HEAT_GRID_S emptied(HEAT_GRID_S& used) {
    used.clear();
    return std::move(used);
}

}  // namespace

TRACKER_RSLT_S& vca::append_track(std::vector<TRACKER_RSLT_S>& list) {
    TRACKER_RSLT_S& trk = list.emplace_back();
    if (retired.empty()) return trk;
    TRACKER_RSLT_S& used = retired.back();
    trk.moveFrm = emptied(used.moveFrm);
    trk.moveDist = emptied(used.moveDist);
    trk.trail = emptied(used.trail);
    trk.trailSmooth = emptied(used.trailSmooth);
    trk.objTrail = emptied(used.objTrail);
    trk.heightSamples = emptied(used.heightSamples);
    trk.heightMeans = emptied(used.heightMeans);
    trk.heatDwell = emptied(used.heatDwell);
    trk.heatMotion = emptied(used.heatMotion);
    trk.attrSamples = emptied(used.attrSamples);
    retired.pop_back();
    return trk;
}

void vca::retire_track(TRACKER_RSLT_S& trk) {
    retired.push_back(std::move(trk));
}

void vca::drop_retired_tracks() {
    std::vector<TRACKER_RSLT_S>().swap(retired);
}
