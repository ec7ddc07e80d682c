// One tracking pass: targets become records, records are updated, lost records are finalised and
// removed.
#include <algorithm>

#include "base/control.h"
#include "base/decision.h"
#include "base/log.h"
#include "base/numeric.h"
#include "base/working_size.h"
#include "track/line_side.h"
#include "track/motion.h"
#include "track/track_list.h"
#include "track/track_state.h"
#include "vca/event.h"
#include "vca/heat_map.h"
#include "vca/object.h"

namespace {

constexpr char kLogName[] = "vca_obj_proc_tracking";

constexpr uint32_t kUpdSeqModulo = 10000;

constinit vca::TrackState tracking;

// On a master events come from the merged list; a slave leaves them to its master.
bool is_event_pass(bool merged) {
    const int32_t mode = vca_dev_get_work_mode();
    return mode == VCA_WORK_ALONE || (mode == VCA_WORK_MASTER && merged);
}

void collect_ids(const std::vector<TRACKER_RSLT_S>& list) {
    tracking.ids.clear();
    for (const TRACKER_RSLT_S& trk : list)
        tracking.ids.push_back(trk.trackId);
}

// The first record with that id.
TRACKER_RSLT_S* find_track(std::vector<TRACKER_RSLT_S>& list, int32_t id) {
    const auto it = std::find(tracking.ids.begin(), tracking.ids.end(), id);
    return it != tracking.ids.end() ? &list[static_cast<size_t>(it - tracking.ids.begin())]
                                    : nullptr;
}

TRACKER_RSLT_S& add_track(std::vector<TRACKER_RSLT_S>& list, const IOU_TRK_OBJ_S& target,
                          const DET_OBJECTS_S& dets, bool merged) {
    TRACKER_RSLT_S& trk = vca::append_track(list);
    tracking.ids.push_back(target.id);
    if (!merged)
        vca_create_image(&trk.attrImg, VCA_IMAGE_NV12, vca::working_width(VCA_SIZE_CROP),
                         vca::working_height(VCA_SIZE_CROP));
    vca_set_track_obj_info(&trk, &target, &dets, merged);
    const DET_OBJ_S ev = *vca_trk_obj_get_event_box(&trk, false);
    trk.evtBirth = ev;
    std::fill_n(&trk.segPrev[0][0], VCA_LINE_NUM * VCA_SEG_NUM, ev);
    vca::tell(VCA_DECISION_BORN, trk, -1, 0, trk.curObj.score, vca::control_block().trk_conf_hi);
    if (is_event_pass(merged) && dev_get_config()->ShowHistoryBox != 0)
        vca_trk_obj_send_history(&trk, true);
    return trk;
}

void take_targets(std::vector<TRACKER_RSLT_S>& list, const IOU_TRK_RSLT_S& targets,
                  const DET_OBJECTS_S& dets, bool merged) {
    const int32_t det_num = std::clamp(dets.num, 0, VCA_DET_MAX);
    collect_ids(list);
    for (int32_t i = 0; i < std::clamp(targets.num, 0, VCA_TRK_MAX); ++i) {
        const IOU_TRK_OBJ_S& target = targets.objs[i];
        if (target.det_idx < 0 || target.det_idx >= det_num) continue;
        TRACKER_RSLT_S* trk = find_track(list, target.id);
        if (trk != nullptr)
            vca_set_track_obj_info(trk, &target, &dets, merged);
        else
            trk = &add_track(list, target, dets, merged);
        vca::tell_members(*trk, target.det_idx);
    }
}

// A third of the event box's mean side.
int32_t cross_distance(const DET_OBJ_S& ev) {
    const int32_t side = vca::wrap_add(ev.w, ev.h) / 2;
    return vca::to_i32(static_cast<float>(side) * 0.5f * 0.6666667f);
}

void update_counters(TRACKER_RSLT_S& trk) {
    ++tracking.pass_count;
    trk.trkFrames = vca::wrap_add(trk.trkFrames, 1);
    trk.lastFrm = static_cast<uint32_t>(vca_feed_frm_cnt_get());
    trk.updSeq = tracking.pass_count % kUpdSeqModulo;
    if (trk.lostCnt < 1) {
        trk.contCnt = vca::wrap_add(trk.contCnt, 1);
        trk.crossDist = cross_distance(*vca_trk_obj_get_event_box(&trk, false));
    } else {
        trk.contCnt = 0;
    }
}

void settle_line(TRACKER_RSLT_S& trk, int line) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    if (cfg.UturnFilter != 0 && cfg.UturnEn[line] != 0) {
        vca_rgn_uturn_check_obj_line_cross(&trk, line);
        return;
    }
    const int32_t side = trk.nearSide[line];
    if (!vca::is_side(side)) return;
    const int32_t dir = vca::direction_to(side, line);
    if (trk.LastState[line] == dir) return;
    if (vca::is_observed()) {
        const vca::ToldTrack& told = vca::told_track(trk);
        vca::tell(VCA_DECISION_AT_END, trk, line, dir,
                  static_cast<float>(vca::wrap_sub(trk.trkFrames, told.touched_pass[line])),
                  told.touched_px[line]);
    }
    vca_dev_add_counting_line_group(&trk, line, dir);
    VCA_LOG_AS(kLogName, "attempt to disappear line[%d]=%d", line, dir);
}

// A target that vanishes just past a line is counted by the side it was on.
void settle_events(TRACKER_RSLT_S& trk) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    for (int line = 0; line < VCA_LINE_NUM; ++line)
        if (cfg.LineEn[line] != 0) settle_line(trk, line);
    if (cfg.HtmpEn != 0) vca_trker_heat_map_update_result(&trk);
    if (cfg.ShowHistoryBox != 0) vca_trk_obj_send_history(&trk, false);
}

void update_record(TRACKER_RSLT_S& trk) {
    update_counters(trk);
    vca::update_trail_and_speed(trk);
    vca::update_smooth_trail(trk);
    vca::append_object_trail(trk);
}

// Remaining records move up into the gaps left by removed ones.
void update_records(std::vector<TRACKER_RSLT_S>& list, bool merged) {
    auto stay = list.begin();
    for (TRACKER_RSLT_S& trk : list) {
        update_record(trk);
        if (trk.lostCnt > vca::kLostMax) {
            if (is_event_pass(merged)) settle_events(trk);
            vca::tell_end(trk, VCA_ENDED_LOST, vca::kLostMax);
            vca_trk_obj_destroy_img(&trk.attrImg);
            vca::retire_track(trk);
            continue;
        }
        if (&*stay != &trk) *stay = std::move(trk);
        ++stay;
    }
    list.erase(stay, list.end());
}

}  // namespace

vca::TrackState& vca::track_state() {
    return tracking;
}

int vca_obj_proc_tracking(VCA_NN_RESULT_S* res, std::vector<TRACKER_RSLT_S>& list, int inst,
                          bool merged) {
    const bool log =
        vca::is_timing_frame(vca_feed_frm_cnt_get()) && vca::debug_on(vca::kDbgTracking);
    const int64_t start_ms = avs_get_timestamp();
    vca::decision_state().list = merged ? VCA_LIST_MERGED : VCA_LIST_LOCAL;
    for (TRACKER_RSLT_S& trk : list)
        trk.lostCnt = vca::wrap_add(trk.lostCnt, 1);
    if (log) VCA_LOG("==TrkT: obj_trk_init=%ld", vca::elapsed_ms(start_ms));
    const IOU_TRK_RSLT_S targets =
        vca_trker_run(inst, &res->objects, dev_calc_install_height_ratio(), merged);
    if (log)
        VCA_LOG("--TrkT: obj_trk_run Num=%d_updateTm=%ld", targets.num, vca::elapsed_ms(start_ms));
    take_targets(list, targets, res->objects, merged);
    if (log) VCA_LOG("--TrkT: obj_trk_info=%ld", vca::elapsed_ms(start_ms));
    if (list.empty()) return 0;
    update_records(list, merged);
    if (log) VCA_LOG("--TrkT: obj_trk_end=%ld", vca::elapsed_ms(start_ms));
    return 0;
}
