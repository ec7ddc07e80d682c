// The line stage of a frame pass, and the filtering of people who turn back on a line.
#include "base/decision.h"
#include "base/log.h"
#include "config/mask_cells.h"
#include "config/work_mode.h"
#include "detect/box.h"
#include "event/line_cross.h"
#include "track/event_box.h"
#include "track/track_list.h"
#include "vca/event.h"

namespace {

// Where a track is: its event box and the mask cell of the box's centre, found when first asked
// for, and each time while the box is not settled.
class Position {
  public:
    explicit Position(TRACKER_RSLT_S& trk) : trk_(trk), settled_(vca::event_box_is_settled(trk)) {}

    const DET_OBJ_S& box() {
        if (!has_box_ || !settled_) box_ = *vca_trk_obj_get_event_box(&trk_, false);
        has_box_ = true;
        return box_;
    }

    POINT_POS_S cell() {
        if (!has_cell_ || !settled_) cell_ = vca::box_center(cscd_map_box_to_mask(box()));
        has_cell_ = true;
        return cell_;
    }

  private:
    TRACKER_RSLT_S& trk_;
    const bool settled_;
    bool has_box_ = false;
    bool has_cell_ = false;
    DET_OBJ_S box_{};
    POINT_POS_S cell_{};
};

void check_segments(TRACKER_RSLT_S& trk, Position& position, int line) {
    for (int seg = 0; seg < VCA_SEG_NUM; ++seg)
        vca::check_crossing_state(trk, position.box(), line, seg);
}

// Without an area a U-turn line tallies for the whole life of the track.
bool is_in_uturn_area(Position& position, int line) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    return cfg.UturnRgnEn[line] == 0 || vca::is_set(cfg.uturnMask[line].mask, position.cell());
}

void check_uturn_line(TRACKER_RSLT_S& trk, Position& position, int line) {
    int32_t& area = trk.uturnState[line];
    if (is_in_uturn_area(position, line)) {
        area = VCA_UTURN_INSIDE;
    } else if (area == VCA_UTURN_INSIDE) {
        area = VCA_UTURN_JUST_LEFT;
    } else {
        area = VCA_UTURN_OUTSIDE;
        return;
    }
    check_segments(trk, position, line);
    if (area == VCA_UTURN_JUST_LEFT) vca_rgn_uturn_check_obj_line_cross(&trk, line);
}

void tell_countable(const TRACKER_RSLT_S& trk) {
    if (!vca::is_observed() || vca::told_track(trk).countable) return;
    vca::told_track(trk).countable = true;
    vca::tell(VCA_DECISION_COUNTABLE, trk, -1, 0, static_cast<float>(trk.age));
}

}  // namespace

bool vca_check_obj_event_line_update(TRACKER_RSLT_S* trk) {
    if (trk->lostCnt == 0) return vca::is_large_enough(trk->curObj);
    if (trk->lostCnt < 1 || trk->lostCnt > vca::kLostMax) return false;
    return vca::counts_by_foot();
}

int vca_rgn_uturn_check_obj_line_cross(TRACKER_RSLT_S* trk, int line) {
    if (line < 0 || line >= VCA_LINE_NUM || trk->IsCrossed[line] == 0) return 0;
    const int32_t state = trk->LastState[line];
    std::printf("\tuturn_exit obj[%d] Polyline[%d] IsCrossed=%d CrossCnt=%d LastState=%d \n",
                trk->trackId, line, 1, trk->CrossCnt[line], state);
    // An odd number of direction changes ends on the other side; an even number is a U-turn.
    if (trk->CrossCnt[line] % 2 == 1 && (state == VCA_DIR_1 || state == VCA_DIR_2))
        vca_dev_add_counting_line_group(trk, line, state);
    else
        vca::tell(VCA_DECISION_TURNED_BACK, *trk, line, 0, static_cast<float>(trk->CrossCnt[line]));
    trk->IsCrossed[line] = 0;
    trk->CrossCnt[line] = 0;
    trk->crossLine[line] = -1;
    trk->LastState[line] = VCA_DIR_NONE;
    return 0;
}

int vca_event_counting_line_uturn_proc(std::vector<TRACKER_RSLT_S>& tracks) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    for (TRACKER_RSLT_S& trk : tracks) {
        if (!vca_check_obj_event_line_update(&trk) || trk.heightExceed != 0) continue;
        tell_countable(trk);
        Position position(trk);
        for (int line = 0; line < VCA_LINE_NUM; ++line) {
            if (cfg.LineEn[line] == 0) continue;
            if (cfg.UturnFilter != 0 && cfg.UturnEn[line] != 0)
                check_uturn_line(trk, position, line);
            else
                check_segments(trk, position, line);
        }
    }
    return 0;
}
