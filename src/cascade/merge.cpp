// The master's merge: people of several devices who stand on the same spot become one object.
#include <algorithm>
#include <array>
#include <bit>
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

// All boxes of a merge are squares of one size.
void set_square(DET_OBJ_S& box, int32_t x, int32_t y, int32_t size) {
    box.x = vca::wrap_sub(x, size / 2);
    box.y = vca::wrap_sub(y, size / 2);
    box.w = size;
    box.h = size;
    box.area = size * size;
}

void collect_own(std::vector<TRACKER_RSLT_S>& tracks, int32_t size, Candidates& found) {
    for (TRACKER_RSLT_S& trk : tracks) {
        if (found.num == VCA_DET_MAX) return;
        if (!vca_check_obj_cscd_tracking_update(&trk)) continue;
        DET_OBJ_S& match = found.match[found.num];
        DET_OBJ_S& centre = found.centre[found.num];
        match = trk.footBox;
        centre = trk.curObj;
        dev_bbox_adjust_rect(&match, size);
        dev_bbox_adjust_rect(&centre, size);
        found.track[found.num] = trk.trackId;
        match.aux0 = centre.aux0 = 0;
        match.reserved1 = centre.reserved1 = trk.lastFrm;
        match.reserved3 = centre.reserved3 = 0;
        ++found.num;
    }
}

// Without the place. A processor waits when it copies a record whose fields it has just written one
// by one, so both boxes of a person are filled in where they stay.
void set_box(DET_OBJ_S& box, const SLAVE_TRACK_S& track, uint32_t device, uint32_t frame) {
    box = {};
    box.reserved0 = track.track_id;
    box.aux0 = device;
    box.reserved1 = frame;
    box.class_id = track.class_id;
    box.score = track.score;
    box.gender = track.gender;
    box.height = track.height;
    box.staff = track.staff;
}

// A slave's latest report is used until the slave sends another.
void collect_slaves(int32_t size, Candidates& found) {
    for (uint32_t index = 0; index < VCA_SLAVE_MAX; ++index) {
        vca::SlaveEntry& entry = vca::cascade_state().slaves[index];
        const int32_t count = std::clamp(entry.msg.count, 0, VCA_SLAVE_TRACK_MAX);
        for (int32_t k = 0; k < count && found.num < VCA_DET_MAX; ++k, ++found.num) {
            const SLAVE_TRACK_S& track = entry.msg.tracks[k];
            DET_OBJ_S& match = found.match[found.num];
            DET_OBJ_S& centre = found.centre[found.num];
            set_box(match, track, index + 1, entry.msg.frame);
            set_box(centre, track, index + 1, entry.msg.frame);
            set_square(match, track.foot_x, track.foot_y, size);
            set_square(centre, track.cx, track.cy, size);
            found.track[found.num] = static_cast<int32_t>(track.track_id);
        }
        vca::flag_set<uint32_t>(entry.fresh, 0);
        if (vca::debug_on(vca::kDbgCascade))
            VCA_LOG_AS(kLogName, "Slave[%d] Recv", static_cast<int32_t>(index + 1));
    }
}

// Links each pair to the next one of either person.
void link_pairs(std::vector<Pair>& pairs) {
    std::array<int32_t, VCA_DET_MAX> next;
    next.fill(-1);
    for (auto k = static_cast<int32_t>(pairs.size()) - 1; k >= 0; --k) {
        Pair& pair = pairs[static_cast<size_t>(k)];
        pair.next_of_first = next[static_cast<size_t>(pair.first)];
        pair.next_of_second = next[static_cast<size_t>(pair.second)];
        next[static_cast<size_t>(pair.first)] = next[static_cast<size_t>(pair.second)] = k;
    }
}

// All pairs that may merge, the best first and equal ones in the order of the candidates.
// Processing them in order and skipping pairs with a merged member gives the same result as
// repeatedly searching for the best unmerged pair.
void list_pairs(const Candidates& found, std::vector<Pair>& pairs) {
    pairs.clear();
    vca::BoxIndex index(found.match, found.num);
    for (int32_t j = 0; j < found.num; ++j) {
        const vca::BoxIndex::Cells cells = index.cells_of(found.match[j]);
        index.near(cells).for_each([&](int32_t i) {
            if (found.device(i) == found.device(j)) return;
            const float iou = vca_rgn_calc_IoU(&found.match[i], &found.match[j]);
            if (iou > kIoUMin) pairs.push_back({iou, i, j, -1, -1});
        });
        index.add(cells, j);
    }
    std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) {
        if (a.iou != b.iou) return a.iou > b.iou;
        return a.first != b.first ? a.first < b.first : a.second < b.second;
    });
    link_pairs(pairs);
}

int32_t halfway(int32_t a, int32_t b) {
    return vca::to_i32(0.5f * static_cast<float>(a) + 0.5f * static_cast<float>(b));
}

void fold(const DET_OBJ_S& from, DET_OBJ_S& to) {
    to.x = halfway(to.x, from.x);
    to.y = halfway(to.y, from.y);
    if (to.staff != 1) to.staff = from.staff;
    if (to.gender == 0) to.gender = from.gender;
    to.height = std::max(to.height, from.height);
    to.score = std::max(to.score, from.score);
}

// Each object uses up a candidate, so they never exceed the list's capacity. The last byte of both
// records says that it is an object.
void add_object(Candidates& found, int32_t i, DET_OBJECTS_S& out) {
    constexpr uint32_t kMergedByte = 1u << 24;
    out.objs[out.num] = found.match[i];
    out.raw_objs[out.num] = found.centre[i];
    out.objs[out.num].reserved3 |= kMergedByte;
    out.raw_objs[out.num].reserved3 |= kMergedByte;
    ++out.num;
    found.merged[i] = true;
}

void fold_candidate(Candidates& found, int32_t i, DET_OBJECTS_S& out) {
    found.merged[i] = true;
    fold(found.match[i], out.objs[out.num - 1]);
    fold(found.centre[i], out.raw_objs[out.num - 1]);
}

// For the observer, which is told about it together with the track the object becomes.
void note_member(const Candidates& found, int32_t first, int32_t member, const DET_OBJECTS_S& out) {
    if (!vca::is_observed()) return;
    vca::decision_state().members.push_back(
        {out.num - 1, static_cast<int32_t>(found.device(member)), found.track[member],
         vca_rgn_calc_IoU(&found.match[first], &found.match[member]), kIoUMin});
}

// A group holds at most one person from each device: of several, the one who overlaps the first
// member best, whose pair comes first. They join in the order of the devices.
void merge_group(Candidates& found, const std::vector<Pair>& pairs, const Pair& best,
                 DET_OBJECTS_S& out) {
    add_object(found, best.first, out);
    fold_candidate(found, best.second, out);
    note_member(found, best.first, best.first, out);
    note_member(found, best.first, best.second, out);
    std::array<int32_t, kDeviceNum> member;
    uint32_t seen = 1u << found.device(best.first) | 1u << found.device(best.second);
    uint32_t joining = 0;
    for (int32_t k = best.next_of_first; k >= 0;) {
        const Pair& pair = pairs[static_cast<size_t>(k)];
        k = pair.next_of(best.first);
        const int32_t other = pair.partner_of(best.first);
        const uint32_t device = found.device(other);
        if (found.merged[other] || (seen >> device & 1u) != 0) continue;
        seen |= 1u << device;
        joining |= 1u << device;
        member[device] = other;
    }
    for (; joining != 0; joining &= joining - 1) {
        const int32_t other = member[static_cast<size_t>(std::countr_zero(joining))];
        fold_candidate(found, other, out);
        note_member(found, best.first, other, out);
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
    std::fill(std::begin(found.merged), std::end(found.merged), false);
    vca::decision_state().members.clear();
    collect_own(tracks, size, found);
    collect_slaves(size, found);
    list_pairs(found, state.pairs);
    for (const Pair& pair : state.pairs)
        if (!found.merged[pair.first] && !found.merged[pair.second])
            merge_group(found, state.pairs, pair, out);
    for (int32_t i = 0; i < found.num; ++i) {
        if (found.merged[i]) continue;
        add_object(found, i, out);
        note_member(found, i, i, out);
    }
    return 0;
}
