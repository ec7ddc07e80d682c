// Counted crossings, and the groups of people who cross a line together.
#include "base/decision.h"
#include "base/log.h"
#include "base/numeric.h"
#include "event/counting_state.h"
#include "vca/object.h"

namespace {

constexpr char kLogName[] = "vca_dev_add_counting_line_group";

constexpr int32_t kFarthestPx = 960;
constexpr size_t kSpareMembers = 32;  // closed groups whose memory is kept

constinit vca::CountingState line_counting;

// Frames that a group moving at `speed` waits for stragglers: about 1.45 times the frames it takes
// to walk the largest distance between members, from 10 to 80.
int32_t silence_limit(float speed) {
    const auto dist_max = static_cast<float>(dev_get_config()->GroupDistMax);
    return av_limit_min_max(vca::to_i32(dist_max / speed * 1.45f), 10, 80);
}

bool is_candidate(const DEV_COUNTING_GROUP_S& group, const DEV_COUNTING_RSLT_S& result) {
    float ratio = group.speed / result.speed;
    if (ratio < 1.0f) ratio = 1.0f / ratio;
    const bool same_direction = (result.cross == VCA_DIR_1 && group.event == VCA_GROUP_DIR_1) ||
                                (result.cross == VCA_DIR_2 && group.event == VCA_GROUP_DIR_2);
    return group.err < group.errMax && group.line == result.line &&
           ratio < dev_get_config()->GroupSpdTimesMax && same_direction;
}

struct Nearest {
    DEV_COUNTING_GROUP_S* group = nullptr;
    int32_t distance = kFarthestPx;
};

// The group with the member nearest to the person; on a tie the earlier one.
Nearest find_nearest(std::vector<DEV_COUNTING_GROUP_S>& groups, const DEV_COUNTING_RSLT_S& result) {
    Nearest best;
    for (DEV_COUNTING_GROUP_S& group : groups) {
        group.errMax = silence_limit(group.speed);
        if (!is_candidate(group, result)) continue;
        for (const DET_OBJ_S& member : group.members) {
            const int32_t distance = vca_calc_bbox_center_dis(&result.obj, &member);
            if (distance < best.distance) best = {&group, distance};
        }
    }
    return best;
}

void join(DEV_COUNTING_GROUP_S& group, const DEV_COUNTING_RSLT_S& result, bool log) {
    group.members.push_back(result.obj);
    const auto n = static_cast<int32_t>(group.members.size());
    if (log)
        VCA_LOG_AS(kLogName, "\tFindGrp[%d]: Err=(%d %d) GrpSpd=%.2f", group.id, group.err,
                   group.errMax, static_cast<double>(group.speed));
    group.err = 0;
    group.speed = (result.speed + static_cast<float>(n - 1) * group.speed) / static_cast<float>(n);
    if (log)
        VCA_LOG_AS(kLogName, "\tFindGrp[%d]: Obj=%d, GrpSpd=%.2f TrkSpd=%.2f", group.id, n,
                   static_cast<double>(group.speed), static_cast<double>(result.speed));
}

// Room for a typical group, so that groups rarely grow while people join.
std::vector<DET_OBJ_S> take_members(vca::CountingState& state) {
    std::vector<DET_OBJ_S> members;
    if (!state.spare_members.empty()) {
        members = std::move(state.spare_members.back());
        state.spare_members.pop_back();
    }
    members.clear();
    members.reserve(16);
    return members;
}

void queue(vca::CountingState& state, const DEV_COUNTING_RSLT_S& result) {
    if (state.results.empty()) state.results.swap(state.spare_results);
    state.results.push_back(result);
}

const DEV_COUNTING_GROUP_S& found_group(const DEV_COUNTING_RSLT_S& result, bool log) {
    vca::CountingState& state = vca::counting_state();
    DEV_COUNTING_GROUP_S group{};
    group.id = state.next_group_id;
    state.next_group_id = vca::wrap_add(state.next_group_id, 1);
    group.errMax = silence_limit(result.speed);
    group.line = result.line;
    group.event = result.cross == VCA_DIR_1 ? VCA_GROUP_DIR_1 : VCA_GROUP_DIR_2;
    group.speed = result.speed;
    group.members = take_members(state);
    group.members.push_back(result.obj);
    if (log)
        VCA_LOG_AS(kLogName, "\tNewGrp[%d]: Event=%d GrpSpd=%.2f ErrMax=%d", group.id, group.event,
                   static_cast<double>(group.speed), group.errMax);
    state.groups.push_back(std::move(group));
    return state.groups.back();
}

// Returns the group that the person is in.
const DEV_COUNTING_GROUP_S& add_to_groups(const DEV_COUNTING_RSLT_S& result) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    const bool log = vca::debug_on(vca::kDbgLineGroup);
    const Nearest best = find_nearest(vca::counting_state().groups, result);
    if (log)
        VCA_LOG_AS(kLogName, "LineGrp: Trk[%d] Evt=%d Line=%d Grp=%d Dis=(%d %d)", result.id,
                   result.cross, result.line, best.group != nullptr ? best.group->id : -1,
                   best.distance, cfg.GroupDistMax);
    const bool joins = best.group != nullptr && best.distance < cfg.GroupDistMax &&
                       static_cast<int32_t>(best.group->members.size()) < cfg.GroupObjNumMax;
    if (!joins) return found_group(result, log);
    join(*best.group, result, log);
    return *best.group;
}

void tell_counted(const TRACKER_RSLT_S& trk, const DEV_COUNTING_RSLT_S& result,
                  const DEV_COUNTING_GROUP_S* group) {
    const float id = group != nullptr ? static_cast<float>(group->id) : -1.0f;
    const float members = group != nullptr ? static_cast<float>(group->members.size()) : 0.0f;
    vca::tell(VCA_DECISION_COUNTED, trk, result.line, result.cross, id, members);
}

}  // namespace

vca::CountingState& vca::counting_state() {
    return line_counting;
}

void vca::empty_results(CountingState& state) {
    if (state.results.empty()) return;
    state.results.clear();
    state.results.swap(state.spare_results);
}

void vca::retire_members(DEV_COUNTING_GROUP_S& group) {
    auto& spare = counting_state().spare_members;
    if (spare.size() < kSpareMembers) spare.push_back(std::move(group.members));
}

const std::vector<DEV_COUNTING_RSLT_S>* vca_dev_get_counting_results(void) {
    return &vca::counting_state().results;
}

const std::vector<DEV_COUNTING_GROUP_S>* vca_dev_get_counting_groups(void) {
    return &vca::counting_state().groups;
}

int vca_dev_add_counting_line_group(TRACKER_RSLT_S* trk, int line, int cross) {
    const DEV_COUNTING_RSLT_S result{static_cast<int32_t>(trk->updSeq),
                                     trk->trackId,
                                     *vca_trk_obj_get_position_box(trk),
                                     trk->height,
                                     trk->speed,
                                     line,
                                     cross};
    const bool enabled = dev_get_counting_enable();
    if (enabled) {
        queue(vca::counting_state(), result);
        const DEV_COUNTING_GROUP_S* group = nullptr;
        if (dev_get_config()->GroupEn != 0 && result.obj.class_id == VCA_CLASS_PERSON)
            group = &add_to_groups(result);
        tell_counted(*trk, result, group);
    } else {
        vca::tell(VCA_DECISION_NOT_COUNTING, *trk, line, cross);
    }
    std::printf("$Frm[%d] $bCountingEn=%d Obj[%d] Cls=%d CrossEvt=%d uTurnLine=%d $H=%.2f\n",
                result.frame, enabled ? 1 : 0, result.id, result.obj.class_id, result.cross,
                result.line, static_cast<double>(result.height));
    return 0;
}
