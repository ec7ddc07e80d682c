// Sending counted people, ageing the groups and sending those that close.
#include "base/decision.h"
#include "base/log.h"
#include "base/numeric.h"
#include "base/send.h"
#include "detect/box.h"
#include "event/counting_state.h"

using vca::wrap_add;

namespace {

constexpr char kLogName[] = "vca_event_counting_refresh_line_result";

void send_results(std::vector<DEV_COUNTING_RSLT_S>& results) {
    for (const DEV_COUNTING_RSLT_S& result : results) {
        LINE_COUNT_MSG_S msg{};
        vca::copy_frame_stamp(msg.frame_flag);
        msg.trackId = result.id;
        msg.obj = result.obj;
        msg.line = result.line;
        msg.cross = result.cross;
        vca::send_record(VCA_MSG_LINE_COUNT, msg);
        VCA_LOG_AS(kLogName, "send_msg obj[%d] line=%d counter", result.id, result.line);
    }
}

int32_t member_count(const DEV_COUNTING_GROUP_S& group) {
    return static_cast<int32_t>(group.members.size());
}

int32_t direction(const DEV_COUNTING_GROUP_S& group) {
    return group.event == VCA_GROUP_DIR_1   ? VCA_DIR_1
           : group.event == VCA_GROUP_DIR_2 ? VCA_DIR_2
                                            : VCA_DIR_NONE;
}

// A full group closes in this frame, however recently a member joined.
void age(DEV_COUNTING_GROUP_S& group) {
    const int32_t max_num = dev_get_config()->GroupObjNumMax;
    if (member_count(group) >= max_num) {
        group.err = wrap_add(group.err, group.errMax);
        VCA_LOG_AS(kLogName, "Grp[%d] obj_num=%d reached max_num=%d, to be truncated!", group.id,
                   member_count(group), max_num);
    }
    group.err = wrap_add(group.err, 1);
}

void report(DEV_COUNTING_GROUP_S& group, bool log) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    const int32_t n = member_count(group);
    if (n < cfg.GroupObjNumMin) {
        VCA_LOG_AS(kLogName, "Grp[%d] obj_num=%d less than min_num=%d, to be filtered!", group.id,
                   n, cfg.GroupObjNumMin);
        return;
    }
    if (log) VCA_LOG_AS(kLogName, "Grp[%d] Add: Obj=%d Err=%d", group.id, n, group.err);
    GROUP_COUNT_MSG_S msg{};
    vca::copy_frame_stamp(msg.frame_flag);
    msg.members = n;
    msg.line = group.line;
    msg.cross = direction(group);
    vca::send_record(VCA_MSG_GROUP_COUNT, msg);
    group.counted = 1;
    VCA_LOG_AS(kLogName, "Grp[%d] obj_num=%d(%d %d) dir=%d counted!", group.id, n,
               cfg.GroupObjNumMin, cfg.GroupObjNumMax, direction(group));
}

void tell_closed(const DEV_COUNTING_GROUP_S& group) {
    if (!vca::is_observed()) return;
    const POINT_POS_S at = vca::box_center(group.members.back());
    vca::tell({VCA_DECISION_GROUP_CLOSED, 0, 0, -1, group.line, group.id, at.x, at.y,
               static_cast<float>(member_count(group)),
               static_cast<float>(dev_get_config()->GroupObjNumMin)});
}

void close_quiet_groups(std::vector<DEV_COUNTING_GROUP_S>& groups) {
    const bool log = vca::debug_on(vca::kDbgLineGroup);
    for (auto group = groups.begin(); group != groups.end();) {
        age(*group);
        if (group->err <= group->errMax) {
            ++group;
            continue;
        }
        tell_closed(*group);
        report(*group, log);
        if (log)
            VCA_LOG_AS(kLogName, "Grp[%d] Del: Obj=%d Err=%d", group->id, member_count(*group),
                       group->err);
        vca::retire_members(*group);
        group = groups.erase(group);
    }
}

}  // namespace

int vca_event_counting_refresh_line_result(void) {
    vca::CountingState& state = vca::counting_state();
    send_results(state.results);
    vca::empty_results(state);
    close_quiet_groups(state.groups);
    return 0;
}
