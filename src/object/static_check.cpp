// Marks tracks whose box has stood still for a long time while their detector score stayed low.
#include "base/decision.h"
#include "base/log.h"
#include "vca/object.h"

namespace {

constexpr char kLogName[] = "vca_dev_obj_chk_static_false_det";

constexpr float kStillIoU = 0.8f;
constexpr float kMovedIoU = 0.6f;
constexpr float kConfidentScore = 0.9f;
constexpr int32_t kStillUpdates = 61;
constexpr int32_t kMovedUpdates = 4;

// Only low-score frames count towards the mark; a confident score leaves the counter as it is.
void stand_still(TRACKER_RSLT_S& trk, const DET_OBJ_S& pos) {
    trk.staticMoveCnt = 0;
    if (pos.score < kConfidentScore) ++trk.staticStillCnt;
    if (trk.staticStillCnt < kStillUpdates) return;
    if (trk.staticFalseDet == 0) {
        trk.staticFalseDet = 1;
        vca::tell(VCA_DECISION_FURNITURE, trk, -1, 0, static_cast<float>(trk.staticStillCnt),
                  kStillUpdates);
        VCA_LOG_AS(kLogName, "Trk[%d] Static False Det = VCA_TRUE", trk.trackId);
    }
    trk.staticStillCnt = 0;
    trk.staticRefBox = pos;
}

void move_away(TRACKER_RSLT_S& trk, const DET_OBJ_S& pos) {
    if (++trk.staticMoveCnt < kMovedUpdates) return;
    if (trk.staticFalseDet != 0) {
        trk.staticFalseDet = 0;
        vca::tell(VCA_DECISION_NO_FURNITURE, trk, -1, 0, static_cast<float>(trk.staticMoveCnt),
                  kMovedUpdates);
        VCA_LOG_AS(kLogName, "Trk[%d] Static False Det = VCA_FALSE", trk.trackId);
    }
    trk.staticMoveCnt = 0;
    trk.staticRefBox = pos;
}

}  // namespace

void vca_dev_obj_chk_static_false_det(TRACKER_RSLT_S* trk, const DET_OBJ_S* prevPos) {
    const DET_OBJ_S& pos = *vca_trk_obj_get_position_box(trk);
    if (trk->age < 2) {
        trk->moveIoU = 0.9f;
        trk->rawHeight = 1720.0f;
        trk->firstBox = pos;
        trk->staticRefBox = pos;
        return;
    }
    const float iou = vca_rgn_calc_IoU(&pos, &trk->staticRefBox);
    if (iou > kStillIoU)
        stand_still(*trk, pos);
    else if (iou < kMovedIoU)
        move_away(*trk, pos);
    trk->moveIoU = vca_rgn_calc_IoU(&pos, prevPos);
}
