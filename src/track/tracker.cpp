// The thin layer over the host's IoU tracker.
#include <algorithm>

#include "base/log.h"
#include "detect/box.h"
#include "vca/track.h"

using vca::wrap_sub;

namespace {

constexpr uint32_t kMaxLost = 12;
constexpr uint32_t kMinHits = 4;

void start_instance(const VCA_CTRL_S& ctrl, int inst) {
    ioutracker_init(inst, static_cast<int>(ctrl.trk_param[0]), static_cast<int>(ctrl.trk_param[1]));
    ioutracker_set_conf_thresh(inst, ctrl.trk_conf_lo, ctrl.trk_conf_hi);
}

// Enlarges a box about its centre, so that fast walkers still overlap from frame to frame.
IOU_TRK_OBJ_S tracker_input(const DET_OBJ_S& box, int32_t index, float scale) {
    const POINT_POS_S center = vca::box_center(box);
    const int32_t w = vca::to_i32(static_cast<float>(box.w) * scale);
    const int32_t h = vca::to_i32(static_cast<float>(box.h) * scale);
    return {
        0,        index, wrap_sub(center.x, w / 2), wrap_sub(center.y, h / 2), w, h, box.class_id,
        box.score};
}

}  // namespace

int vca_trker_init(VCA_CTRL_S* ctrl) {
    const NN_MODEL_CFG_S* model = vca_nn_get_pModel_cfg(ctrl->real_model);
    ctrl->trk_conf_lo = model != nullptr ? model->trk_conf_lo : 0.0f;
    ctrl->trk_conf_hi = model != nullptr ? model->det_show_thresh : 0.0f;
    ctrl->trk_param[0] = kMaxLost;
    ctrl->trk_param[1] = kMinHits;
    ctrl->trk_local = 0;
    ctrl->trk_merged = 1;
    start_instance(*ctrl, ctrl->trk_local);
    start_instance(*ctrl, ctrl->trk_merged);
    VCA_LOG("vca_trker_init=%d", 0);
    return 0;
}

int vca_trker_uninit(VCA_CTRL_S* ctrl) {
    ioutracker_uninit(ctrl->trk_merged);
    ioutracker_uninit(ctrl->trk_local);
    return 0;
}

IOU_TRK_RSLT_S vca_trker_run(int inst, const DET_OBJECTS_S* dets, float ratio, bool no_scale) {
    const int32_t percent = av_calc_val(28, 33, ratio);
    const float scale = no_scale ? 1.0f : 1.0f + static_cast<float>(percent) / 100.0f;
    ioutracker_objects_reset(inst);
    const int32_t num = std::clamp(dets->num, 0, VCA_DET_MAX);
    for (int32_t i = 0; i < num; ++i) {
        const IOU_TRK_OBJ_S input = tracker_input(dets->objs[i], i, scale);
        ioutracker_add_object(inst, &input);
    }
    return ioutracker_update(inst);
}
