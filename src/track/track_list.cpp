#include "track/track_list.h"

#include "track/track_state.h"

namespace {

// Amount kept when a crowd leaves: enough for people coming and going, not for a whole crowd.
constexpr size_t kSpareRecords = 32;
constexpr size_t kSpareGrids = 64;

// Each list briefly holds one entry more than its limit before the oldest is dropped. Displacements
// are sampled on every second update and kept for 24 frames.
void make_room(TRACKER_RSLT_S& trk) {
    trk.moveFrm.reserve(16);
    trk.moveDist.reserve(16);
    trk.trail.reserve(21);
    trk.trailSmooth.reserve(7);
    trk.objTrail.reserve(8);
    trk.heightSamples.reserve(13);
    trk.heightMeans.reserve(2);
    trk.attrSamples.reserve(21);
}

template <typename T>
std::vector<T> emptied(std::vector<T>& used) {
    used.clear();
    return std::move(used);
}

void take_lists(TRACKER_RSLT_S& trk, TRACKER_RSLT_S& used) {
    trk.moveFrm = emptied(used.moveFrm);
    trk.moveDist = emptied(used.moveDist);
    trk.trail = emptied(used.trail);
    trk.trailSmooth = emptied(used.trailSmooth);
    trk.objTrail = emptied(used.objTrail);
    trk.heightSamples = emptied(used.heightSamples);
    trk.heightMeans = emptied(used.heightMeans);
    trk.attrSamples = emptied(used.attrSamples);
}

void retire_grid(HEAT_GRID_S& grid) {
    HEAT_GRID_S used = std::move(grid);
    used.clear();
    auto& grids = vca::track_state().spare.grids;
    if (used.cell.has_memory() && grids.size() < kSpareGrids) grids.push_back(std::move(used));
}

}  // namespace

TRACKER_RSLT_S& vca::append_track(std::vector<TRACKER_RSLT_S>& list) {
    TRACKER_RSLT_S& trk = list.emplace_back();
    auto& records = track_state().spare.records;
    if (records.empty()) {
        make_room(trk);
        return trk;
    }
    take_lists(trk, records.back());
    records.pop_back();
    return trk;
}

void vca::retire_track(TRACKER_RSLT_S& trk) {
    retire_grid(trk.heatDwell);
    retire_grid(trk.heatMotion);
    auto& records = track_state().spare.records;
    if (records.size() < kSpareRecords) records.push_back(std::move(trk));
}

void vca::provide_cells(HEAT_GRID_S& grid) {
    auto& grids = track_state().spare.grids;
    if (grid.cell.has_memory() || grids.empty()) return;
    grid = std::move(grids.back());
    grids.pop_back();
}

void vca::drop_retired_tracks() {
    track_state().spare = {};
}
