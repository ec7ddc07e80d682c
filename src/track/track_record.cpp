// What a track record owns, and the notices of its appearance and removal.
#include "base/decision.h"
#include "base/send.h"
#include "detect/box.h"
#include "track/track_list.h"
#include "vca/track.h"

int vca_trk_obj_destroy_img(VCA_IMAGE_S* img) {
    vca_destroy_image(img);
    return 0;
}

int vca_trk_obj_list_release(std::vector<TRACKER_RSLT_S>& list) {
    for (TRACKER_RSLT_S& trk : list) {
        vca::tell_end(trk, VCA_ENDED_STOPPED, vca::kLostMax);
        vca_trk_obj_destroy_img(&trk.attrImg);
    }
    list.clear();
    vca::drop_retired_tracks();
    return 0;
}

int vca_trk_obj_send_history(TRACKER_RSLT_S* trk, bool born) {
    TRK_SHOW_MSG_S msg{trk->trackId, 0, 0, trk->footX, trk->footY};
    if (vca_dev_get_work_mode() != VCA_WORK_MASTER) {
        const POINT_POS_S center = vca::box_center(trk->curObj);
        msg.cx = center.x;
        msg.cy = center.y;
    }
    vca::send_record(born ? VCA_MSG_TRACK_BORN : VCA_MSG_TRACK_REMOVED, msg);
    return 0;
}
