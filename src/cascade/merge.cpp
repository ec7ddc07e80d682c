// The master's merge: people of several devices who stand on the same spot become one object.
#include <algorithm>
#include <array>
#include <vector>

#include "base/decision.h"
#include "base/flag.h"
#include "base/log.h"
#include "base/numeric.h"
#include "cascade/cascade_state.h"
#include "detect/box_index.h"

using vca::Candidates;
using Pair = vca::CandidatePair;

namespace {

constexpr char kLogName[] = "dev_cascade_local_master_merge_slave_obj";

constexpr float kIoUMin = 0.01f;
constexpr int32_t kDeviceNum = VCA_SLAVE_MAX + 1;  // the master is device 0

void set_square(DET_OBJ_S& box, int32_t x, int32_t y, int32_t size) {
    box.x = vca::wrap_sub(x, size / 2);
    box.y = vca::wrap_sub(y, size / 2);
    box.w = size;
    box.h = size;
}

void collect_own(std::vector<TRACKER_RSLT_S>& tracks, Candidates& found) {
    for (TRACKER_RSLT_S& trk : tracks) {
        if (found.num == VCA_DET_MAX) return;
        if (!vca_check_obj_cscd_tracking_update(&trk)) continue;
        DET_OBJ_S& match = found.match[found.num];
        DET_OBJ_S& centre = found.centre[found.num];
        match = trk.footBox;
        centre = trk.curObj;
        found.track[found.num] = trk.trackId;
        match.aux0 = centre.aux0 = 0;
        match.reserved1 = centre.reserved1 = trk.lastFrm;
        match.reserved3 = centre.reserved3 = 0;
        ++found.num;
    }
}

DET_OBJ_S to_box(const SLAVE_TRACK_S& track, uint32_t device, uint32_t frame) {
    DET_OBJ_S box{};
    box.reserved0 = track.track_id;
    box.aux0 = device;
    box.reserved1 = frame;
    box.class_id = track.class_id;
    box.score = track.score;
    box.gender = track.gender;
    box.height = track.height;
    box.staff = track.staff;
    return box;
}

// A slave's latest report is used until the slave sends another.
void collect_slaves(int32_t size, Candidates& found) {
    for (uint32_t index = 0; index < VCA_SLAVE_MAX; ++index) {
        vca::SlaveEntry& entry = vca::cascade_state().slaves[index];
        const int32_t count = std::clamp(entry.msg.count, 0, VCA_SLAVE_TRACK_MAX);
        for (int32_t k = 0; k < count && found.num < VCA_DET_MAX; ++k, ++found.num) {
            const SLAVE_TRACK_S& track = entry.msg.tracks[k];
            const DET_OBJ_S box = to_box(track, index + 1, entry.msg.frame);
            found.track[found.num] = static_cast<int32_t>(track.track_id);
            found.match[found.num] = found.centre[found.num] = box;
            set_square(found.match[found.num], track.foot_x, track.foot_y, size);
            set_square(found.centre[found.num], track.cx, track.cy, size);
        }
        vca::flag_set<uint32_t>(entry.fresh, 0);
        if (vca::debug_on(vca::kDbgCascade))
            VCA_LOG_AS(kLogName, "Slave[%d] Recv", static_cast<int32_t>(index + 1));
    }
}

// All pairs that may merge, the best first and equal ones in the order of the candidates.
// Processing them in order and skipping pairs with a merged member gives the same result as
// repeatedly searching for the best unmerged pair.
void list_pairs(const Candidates& found, const vca::BoxIndex& index, std::vector<Pair>& pairs) {
    pairs.clear();
    for (int32_t i = 0; i < found.num; ++i) {
        index.near(found.match[i]).for_each([&](int32_t j) {
            if (j <= i || found.device(i) == found.device(j)) return;
            const float iou = vca_rgn_calc_IoU(&found.match[i], &found.match[j]);
            if (iou > kIoUMin) pairs.push_back({iou, i, j});
        });
    }
    std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) {
        if (a.iou != b.iou) return a.iou > b.iou;
        return a.first != b.first ? a.first < b.first : a.second < b.second;
    });
}

int32_t halfway(int32_t a, int32_t b) {
    return vca::to_i32(0.5f * static_cast<float>(a) + 0.5f * static_cast<float>(b));
}

void fold(const DET_OBJ_S& from, DET_OBJ_S& to) {
    to.x = halfway(to.x, from.x);
    to.y = halfway(to.y, from.y);
    to.w = halfway(to.w, from.w);
    to.h = halfway(to.h, from.h);
    if (to.staff != 1) to.staff = from.staff;
    if (to.gender == 0) to.gender = from.gender;
    to.height = std::max(to.height, from.height);
    to.score = std::max(to.score, from.score);
}

// The merged objects. Each one uses up a candidate, so they never exceed the list's capacity.
void add_object(const Candidates& found, int32_t i, DET_OBJECTS_S& out) {
    out.objs[out.num] = found.match[i];
    out.raw_objs[out.num] = found.centre[i];
    ++out.num;
}

void fold_candidate(Candidates& found, int32_t i, DET_OBJECTS_S& out) {
    found.set_merged(i);
    fold(found.match[i], out.objs[out.num - 1]);
    fold(found.centre[i], out.raw_objs[out.num - 1]);
}

// For each device, the unmerged person who overlaps person `first` best; -1 for none.
std::array<int32_t, kDeviceNum> best_of_devices(const Candidates& found, const vca::BoxIndex& index,
                                                int32_t first) {
    std::array<int32_t, kDeviceNum> best;
    std::array<float, kDeviceNum> best_iou;
    best.fill(-1);
    best_iou.fill(kIoUMin);
    index.near(found.match[first]).for_each([&](int32_t i) {
        if (found.is_merged(i)) return;
        const float iou = vca_rgn_calc_IoU(&found.match[first], &found.match[i]);
        const uint32_t device = found.device(i);
        if (!(iou > best_iou[device])) return;
        best[device] = i;
        best_iou[device] = iou;
    });
    return best;
}

// For the observer, which is told about it together with the track the object becomes.
void note_member(const Candidates& found, int32_t first, int32_t member, const DET_OBJECTS_S& out) {
    if (!vca::is_observed()) return;
    vca::decision_state().members.push_back(
        {out.num - 1, static_cast<int32_t>(found.device(member)), found.track[member],
         vca_rgn_calc_IoU(&found.match[first], &found.match[member]), kIoUMin});
}

// A group holds at most one person from each device.
void merge_group(Candidates& found, const vca::BoxIndex& index, const Pair& pair,
                 DET_OBJECTS_S& out) {
    found.set_merged(pair.first);
    add_object(found, pair.first, out);
    fold_candidate(found, pair.second, out);
    note_member(found, pair.first, pair.first, out);
    note_member(found, pair.first, pair.second, out);
    const std::array<int32_t, kDeviceNum> others = best_of_devices(found, index, pair.first);
    for (uint32_t device = 0; device < kDeviceNum; ++device) {
        const bool in_group =
            device == found.device(pair.first) || device == found.device(pair.second);
        if (in_group || others[device] < 0) continue;
        fold_candidate(found, others[device], out);
        note_member(found, pair.first, others[device], out);
    }
}

}  // namespace

int dev_cascade_local_master_merge_slave_obj(VCA_NN_RESULT_S* result,
                                             std::vector<TRACKER_RSLT_S>& tracks) {
    const int32_t size = av_calc_val(60, 240, 1.0f - dev_calc_install_height_ratio());
    DET_OBJECTS_S& out = result->objects;
    out = {};
    vca::CascadeState& state = vca::cascade_state();
    Candidates& found = state.candidates;
    found.num = 0;
    vca::decision_state().members.clear();
    collect_own(tracks, found);
    collect_slaves(size, found);
    for (int32_t i = 0; i < found.num; ++i) {
        dev_bbox_adjust_rect(&found.match[i], size);
        dev_bbox_adjust_rect(&found.centre[i], size);
    }
    const vca::BoxIndex index(found.match, found.num);
    list_pairs(found, index, state.pairs);
    for (const Pair& pair : state.pairs)
        if (!found.is_merged(pair.first) && !found.is_merged(pair.second))
            merge_group(found, index, pair, out);
    for (int32_t i = 0; i < found.num; ++i) {
        if (found.is_merged(i)) continue;
        found.set_merged(i);
        add_object(found, i, out);
        note_member(found, i, i, out);
    }
    return 0;
}
