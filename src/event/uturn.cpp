// The line stage of a frame pass, and the filtering of people who turn back on a line.
#include "event/line_cross.h"
#include "frame/log.h"
#include "track/event_box.h"
#include "vca/event.h"

namespace {

constexpr int32_t kOutside = 0;
constexpr int32_t kInside = 2;
constexpr int32_t kJustLeft = 5;
constexpr int32_t kMinSidePx = 10;

void check_segments(TRACKER_RSLT_S& trk, int line) {
    DET_OBJ_S cur = *vca_trk_obj_get_event_box(&trk, false);
    for (int seg = 0; seg < VCA_SEG_NUM; ++seg) {
        if (seg > 0 && !vca::event_box_is_settled(trk))
            cur = *vca_trk_obj_get_event_box(&trk, false);
        vca::check_crossing_state(trk, cur, line, seg);
    }
}

// Without an area a U-turn line tallies for the whole life of the track.
bool is_in_uturn_area(TRACKER_RSLT_S& trk, int line) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    return cfg.UturnRgnEn[line] == 0 || vca_trk_obj_in_mask(&trk, cfg.uturnMask[line].mask);
}

void check_uturn_line(TRACKER_RSLT_S& trk, int line) {
    int32_t& area = trk.uturnState[line];
    if (is_in_uturn_area(trk, line)) {
        area = kInside;
    } else if (area == kInside) {
        area = kJustLeft;
    } else {
        area = kOutside;
        return;
    }
    check_segments(trk, line);
    if (area == kJustLeft) vca_rgn_uturn_check_obj_line_cross(&trk, line);
}

}  // namespace

bool vca_check_obj_event_line_update(TRACKER_RSLT_S* trk) {
    if (trk->lostCnt == 0) return trk->curObj.w > kMinSidePx && trk->curObj.h > kMinSidePx;
    if (trk->lostCnt < 1 || trk->lostCnt > 4) return false;
    const int32_t mode = vca_dev_get_work_mode();
    return mode == 1 || (mode == 0 && dev_get_config()->StandAloneTrkMd == 2);
}

int vca_rgn_uturn_check_obj_line_cross(TRACKER_RSLT_S* trk, int line) {
    if (line < 0 || line >= VCA_LINE_NUM || trk->IsCrossed[line] == 0) return 0;
    const int32_t state = trk->LastState[line];
    std::printf("\tuturn_exit obj[%d] Polyline[%d] IsCrossed=%d CrossCnt=%d LastState=%d \n",
                trk->trackId, line, 1, trk->CrossCnt[line], state);
    // An odd number of changes of direction ends on the other side, an even number is a U-turn.
    if (trk->CrossCnt[line] % 2 == 1 && (state == 1 || state == 2))
        vca_dev_add_counting_line_group(trk, line, state);
    trk->IsCrossed[line] = 0;
    trk->CrossCnt[line] = 0;
    trk->crossLine[line] = -1;
    trk->LastState[line] = 0;
    return 0;
}

int vca_event_counting_line_uturn_proc(std::vector<TRACKER_RSLT_S>& tracks) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    for (TRACKER_RSLT_S& trk : tracks) {
        if (!vca_check_obj_event_line_update(&trk) || trk.heightExceed != 0) continue;
        for (int line = 0; line < VCA_LINE_NUM; ++line) {
            if (cfg.LineEn[line] == 0) continue;
            if (cfg.UturnFilter != 0 && cfg.UturnEn[line] != 0)
                check_uturn_line(trk, line);
            else
                check_segments(trk, line);
        }
    }
    return 0;
}
