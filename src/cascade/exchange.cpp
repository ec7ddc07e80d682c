// Data exchanged between the devices of a cascade: a slave's tracks and the master's frame counter.
#include <cstring>

#include "base/log.h"
#include "base/send.h"
#include "cascade/cascade_state.h"
#include "detect/box.h"

namespace {

constexpr int32_t kLowInstall_mm = 2400;

constinit vca::CascadeState cascade;

SLAVE_TRACK_S to_slave_track(const TRACKER_RSLT_S& trk) {
    const POINT_POS_S center = vca::box_center(trk.curObj);
    SLAVE_TRACK_S entry{};
    entry.track_id = static_cast<uint32_t>(trk.trackId);
    entry.class_id = trk.curObj.class_id;
    entry.score = trk.curObj.score;
    entry.gender = trk.curObj.gender;
    entry.height = trk.height;
    entry.staff = trk.staffKeep;
    entry.cx = center.x;
    entry.cy = center.y;
    entry.foot_x = trk.footX;
    entry.foot_y = trk.footY;
    return entry;
}

}  // namespace

vca::CascadeState& vca::cascade_state() {
    return cascade;
}

bool vca_check_obj_cscd_tracking_update(TRACKER_RSLT_S* trk) {
    const int32_t longest = vca_dev_get_install_height() < kLowInstall_mm ? 2 : 3;
    const int32_t grace = av_calc_val(1, longest, trk->moveIoU);
    return trk->lostCnt < grace && trk->age >= 1 && vca::is_large_enough(trk->curObj);
}

int dev_cascade_slave_send_track_to_master(std::vector<TRACKER_RSLT_S>& tracks) {
    SLAVE_MSG_S msg{};
    vca::copy_frame_stamp(msg.frame_flag);
    for (TRACKER_RSLT_S& trk : tracks) {
        if (!vca_check_obj_cscd_tracking_update(&trk)) continue;
        msg.frame = trk.lastFrm;
        if (msg.count < VCA_SLAVE_TRACK_MAX) msg.tracks[msg.count++] = to_slave_track(trk);
    }
    // Once the last track is gone, one empty message says so.
    if (msg.count > 0 || cascade.sent_tracks) vca::send_record(VCA_MSG_SLAVE_TRACKS, msg);
    if (vca::debug_on(vca::kDbgCascade)) VCA_LOG("Slave Send Obj=%d", msg.count);
    cascade.sent_tracks = msg.count > 0;
    return 0;
}

void dev_cscd_master_recive_slave_track(int, void* payload) {
    if (payload == nullptr) return;
    const auto* bytes = static_cast<const uint8_t*>(payload);
    uint32_t index = 0;
    std::memcpy(&index, bytes, sizeof(index));
    if (index >= VCA_SLAVE_MAX) {
        VCA_LOG("Invalid slave dev idx = %d", static_cast<int32_t>(index));
        return;
    }
    vca::SlaveEntry& entry = cascade.slaves[index];
    entry.slave_idx = index;
    std::memcpy(&entry.msg, bytes + offsetof(MASTER_MSG_S, msg), sizeof(entry.msg));
    vca::flag_set<uint32_t>(entry.fresh, 1);
    if (vca::debug_on(vca::kDbgCascade))
        VCA_LOG("Master recv Slave[%d]=%d", static_cast<int32_t>(index), entry.msg.count);
}

void dev_cscd_master_send_frm_cnt_to_slave(int, void*) {
    int32_t count = vca_feed_frm_cnt_get();
    VCA_LOG("master_get_frm_cnt=%d", count);
    vca::send_record(VCA_MSG_FRAME_COUNT, count);
}

void dev_cscd_slave_recive_master_frm_cnt(int, void* payload) {
    if (payload == nullptr) return;
    int32_t count = 0;
    std::memcpy(&count, payload, sizeof(count));
    VCA_LOG("slave_sync_master_frm_cnt=%d", count);
    if (vca_dev_get_work_mode() == VCA_WORK_SLAVE) vca_feed_frm_cnt_set(count);
}
