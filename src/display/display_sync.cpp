// Snapshots of the tracks for the host's live picture.

#include "base/numeric.h"
#include "base/send.h"
#include "detect/box.h"
#include "track/gender.h"
#include "track/track_list.h"
#include "vca/display.h"

namespace {

// Once a track has been shown, the message goes out on every frame, even with nobody in it, so that
// the host's picture never keeps a stale box.
struct DisplayState {
    bool tracks_shown = false;
    bool detected_shown = false;
};

DisplayState display_state;

void add_point(SHOW_OBJ_S& entry, const TRK_POINT_S& point) {
    if (entry.trailNum < VCA_SHOW_TRAIL_MAX) entry.trail[entry.trailNum++] = {point.x, point.y};
}

void copy_smooth_trail(const TRACKER_RSLT_S& trk, SHOW_OBJ_S& entry) {
    for (const TRK_POINT_S& point : trk.trailSmooth)
        add_point(entry, point);
}

void copy_object_trail(const TRACKER_RSLT_S& trk, SHOW_OBJ_S& entry) {
    for (auto point = trk.objTrail.rbegin(); point != trk.objTrail.rend(); ++point)
        add_point(entry, *point);
}

using CopyTrail = void (*)(const TRACKER_RSLT_S&, SHOW_OBJ_S&);

void fill_entry(const TRACKER_RSLT_S& trk, CopyTrail copy_trail, SHOW_OBJ_S& entry) {
    entry.trackId = static_cast<uint32_t>(trk.trackId);
    entry.x = trk.curObj.x;
    entry.y = trk.curObj.y;
    entry.w = trk.curObj.w;
    entry.h = trk.curObj.h;
    entry.class_id = trk.curObj.class_id;
    copy_trail(trk, entry);
    entry.height = vca::to_u32(trk.height);
    entry.gender = vca::known_gender(trk.genderKeep);
    entry.staff = trk.staffKeep;
    entry.crossDist = static_cast<uint16_t>(vca::wrap_mul(trk.crossDist, 2));
}

void send_snapshot(int id, std::vector<TRACKER_RSLT_S>& tracks, CopyTrail copy_trail, bool& shown) {
    SHOW_MSG_S msg{};
    vca::copy_frame_stamp(msg.frame_flag);
    for (TRACKER_RSLT_S& trk : tracks) {
        if (!vca_check_obj_show_update(&trk)) continue;
        shown = true;
        if (msg.num < VCA_SHOW_MAX) fill_entry(trk, copy_trail, msg.objs[msg.num++]);
    }
    if (shown) vca::send_record(id, msg);
}

}  // namespace

bool vca_check_obj_show_update(TRACKER_RSLT_S* trk) {
    return trk->lostCnt <= vca::kLostMax && trk->age >= 0 && vca::is_large_enough(trk->curObj);
}

int vca_local_dev_sync_tracking_info_show(std::vector<TRACKER_RSLT_S>& tracks) {
    send_snapshot(VCA_MSG_TRACKS, tracks, copy_smooth_trail, display_state.tracks_shown);
    return 0;
}

int vca_local_dev_sync_detect_obj_show(std::vector<TRACKER_RSLT_S>& tracks) {
    send_snapshot(VCA_MSG_DETECTED_TRACKS, tracks, copy_object_trail, display_state.detected_shown);
    return 0;
}
