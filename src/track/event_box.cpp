// The box that the event stages use as a track's position, and whether it lies in a mask.
#include "config/mask_cells.h"
#include "config/work_mode.h"
#include "detect/box.h"
#include "vca/object.h"

namespace {

// The central two thirds of the 960 x 544 image, judged by the box's top-left corner.
bool is_central(const DET_OBJ_S& box) {
    const auto x = static_cast<float>(box.x);
    const auto y = static_cast<float>(box.y);
    return x > 160.0f && x < 800.0f && y > 90.66667f && y < 453.3333f;
}

}  // namespace

DET_OBJ_S* vca_trk_obj_get_event_box(TRACKER_RSLT_S* trk, bool keep) {
    if (trk->age < 2 && is_central(trk->evtObj)) trk->bornInside = 1;
    trk->evtObj = *vca_trk_obj_get_position_box(trk);
    if (!vca::counts_by_foot()) return &trk->evtObj;

    // The height of a young or lost track, and so its foot point, is unreliable.
    const bool unsure = trk->lostCnt >= 1 || (trk->age < 4 && trk->bornInside == 0);
    const bool merged = dev_get_config()->devWorkMode == VCA_WORK_MASTER;
    if (!keep && unsure) trk->evtObj = merged ? trk->rawObj : trk->curObj;
    dev_bbox_adjust_rect(&trk->evtObj, dev_foot_get_event_size());
    return &trk->evtObj;
}

bool vca_trk_obj_in_mask(TRACKER_RSLT_S* trk, const char mask[VCA_MASK_ROWS][VCA_MASK_COLS]) {
    const DET_OBJ_S box = cscd_map_box_to_mask(*vca_trk_obj_get_event_box(trk, false));
    return vca::is_set(*reinterpret_cast<const vca::MaskCells*>(mask), vca::box_center(box));
}
