// The one list of detections that tracking works on, from those on the colour and the depth image.
#include <algorithm>

#include "base/decision.h"
#include "base/log.h"
#include "base/send.h"
#include "base/working_size.h"
#include "detect/box.h"
#include "detect/box_index.h"
#include "vca/config.h"

using vca::wrap_add;

namespace {

constexpr char kLogName[] = "vca_obj_merge_real_depth_rslt";

constexpr float kCoveredIoU = 0.1f;
constexpr int32_t kBorderPx = 19;
constexpr int32_t kMinSidePx = 25;  // smaller boxes are not people at low installation heights
constexpr int32_t kLowInstallMm = 4800;

struct DetectState {
    bool det_show_sent = false;  // the last display message carried a box
};

DetectState detect_state;

struct BoxList {
    DET_OBJ_S objs[VCA_DET_MAX];
    int32_t num = 0;

    void append(const DET_OBJ_S& box) { objs[num++] = box; }
};

int32_t bounded_num(const DET_OBJECTS_S& list) {
    return std::clamp(list.num, 0, VCA_DET_MAX);
}

// Only boxes that overlap at all have an IoU above 0.
bool is_covered(const DET_OBJ_S& box, const DET_OBJ_S* colour, const vca::BoxIndex& index) {
    return index.near(index.cells_of(box)).any_of([&](int32_t i) {
        return vca_rgn_calc_IoU(&box, &colour[i]) > kCoveredIoU;
    });
}

bool keeps_off_border(const DET_OBJ_S& box) {
    const int32_t right = vca::wrap_sub(vca::working_width(VCA_SIZE_MERGE), kBorderPx);
    const int32_t bottom = vca::wrap_sub(vca::working_height(VCA_SIZE_MERGE), kBorderPx);
    return box.x > kBorderPx && box.y > kBorderPx && wrap_add(box.x, box.w) < right &&
           wrap_add(box.y, box.h) < bottom;
}

void tell_dropped(VCA_DECISION_E kind, const DET_OBJ_S& box, int32_t place, int32_t detail = 0,
                  float value = 0.0f, float limit = 0.0f) {
    if (!vca::is_observed()) return;
    const POINT_POS_S at = vca::box_center(box);
    vca::tell({kind, 0, 0, -1, place, detail, at.x, at.y, value, limit});
}

// Reports the colour box that covers it most.
void tell_covered(const DET_OBJ_S& box, const DET_OBJ_S* colour, int32_t colour_num) {
    if (!vca::is_observed()) return;
    int32_t by = -1;
    float most = 0.0f;
    for (int32_t i = 0; i < colour_num; ++i) {
        const float iou = vca_rgn_calc_IoU(&box, &colour[i]);
        if (iou > most) by = i, most = iou;
    }
    tell_dropped(VCA_DECISION_COVERED, box, -1, by, most, kCoveredIoU);
}

// Depth boxes are compared with the colour boxes only, never with each other.
void join(const DET_OBJECTS_S& real, const DET_OBJECTS_S& depth, BoxList& work) {
    const int32_t colour_num = bounded_num(real);
    std::copy_n(real.objs, colour_num, work.objs);
    work.num = colour_num;
    vca::BoxIndex index(work.objs, colour_num);
    for (int32_t i = 0; i < colour_num; ++i)
        index.add(index.cells_of(work.objs[i]), i);
    for (int32_t i = 0; i < bounded_num(depth) && work.num < VCA_DET_MAX; ++i) {
        const DET_OBJ_S& box = depth.objs[i];
        if (is_covered(box, work.objs, index))
            tell_covered(box, work.objs, colour_num);
        else if (keeps_off_border(box))
            work.append(box);
        else
            tell_dropped(VCA_DECISION_AT_BORDER, box, -1);
    }
}

// The exclusion region that contains the centre of a box; -1 for none.
int excluded_by(const DET_OBJ_S& box, const VCA_DEV_CFG_S& cfg) {
    if (cfg.ExclTotalEn == 0) return -1;
    const float sx = 320.0f / static_cast<float>(vca::working_width(VCA_SIZE_MERGE));
    const float sy = 181.0f / static_cast<float>(vca::working_height(VCA_SIZE_MERGE));
    const POINT_POS_S center = vca::box_center(box);
    const int32_t px = vca::to_i32(static_cast<float>(center.x) * sx);
    const int32_t py = vca::to_i32(static_cast<float>(center.y) * sy);
    if (px < 0 || px >= VCA_MASK_COLS || py < 0 || py >= VCA_MASK_ROWS) return -1;
    for (int r = 0; r < VCA_EXCL_NUM; ++r)
        if (cfg.ExclEn[r] != 0 && cfg.ExclType[r] == VCA_EXCL_DETECTIONS &&
            cfg.exclMask[r].mask[py][px] != 0)
            return r;
    return -1;
}

bool is_too_small(const DET_OBJ_S& box) {
    return vca_dev_get_install_height() <= kLowInstallMm &&
           (box.w < kMinSidePx || box.h < kMinSidePx);
}

void log_box(const char* list, int32_t i, const DET_OBJ_S& box) {
    VCA_LOG_AS(kLogName, "%s[%d]=(%d %d %d %d) %d %.2f", list, i, box.x, box.y, box.w, box.h,
               box.class_id, static_cast<double>(box.score));
}

// The display lists being filled: what may be shown and what should be logged.
struct Display {
    DET_SHOW_MSG_S msg{};
    float threshold;
    bool show;
    bool log;
    bool appended = false;

    void append(const DET_OBJ_S& box, DET_OBJ_S (&list)[VCA_DET_SHOW_MAX], int32_t& num) {
        if (!show || num >= VCA_DET_SHOW_MAX) return;
        list[num++] = box;
        appended = true;
    }
};

// The boxes of one detector at or above the threshold and of sufficient size.
void display_detector(const DET_OBJECTS_S& found, const char* name,
                      DET_OBJ_S (&list)[VCA_DET_SHOW_MAX], int32_t& num, Display& display) {
    for (int32_t i = 0; i < bounded_num(found); ++i) {
        const DET_OBJ_S& box = found.objs[i];
        if (box.score < display.threshold || is_too_small(box)) continue;
        if (display.log) log_box(name, i, box);
        display.append(box, list, num);
    }
}

// A merged box is shown only above the threshold, while the others are also shown at the threshold.
void display_merged(const DET_OBJECTS_S& merged, Display& display) {
    for (int32_t i = 0; i < merged.num; ++i) {
        const DET_OBJ_S& box = merged.objs[i];
        if (display.log) log_box("Merge", i, box);
        if (box.score > display.threshold)
            display.append(box, display.msg.merge_objs, display.msg.merge_num);
    }
}

// After a frame with boxes one empty message clears the host's display; then nothing is sent until
// boxes reappear.
void send_display(Display& display) {
    if (display.appended || detect_state.det_show_sent) {
        vca::copy_frame_stamp(display.msg.frame_flag);
        vca::send_record(VCA_MSG_DETECTIONS, display.msg);
    }
    detect_state.det_show_sent = display.appended;
}

float display_threshold() {
    const NN_MODEL_CFG_S* model = vca_nn_get_pModel_cfg(vca::control_block().real_model);
    return model != nullptr ? model->det_show_thresh : 0.0f;
}

}  // namespace

int vca_obj_merge_real_depth_rslt(const DET_OBJECTS_S* real, const DET_OBJECTS_S* depth,
                                  DET_OBJECTS_S* out) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    out->num = 0;
    vca::decision_state().list = VCA_LIST_LOCAL;
    BoxList work;
    join(*real, *depth, work);
    for (int32_t i = 0; i < work.num; ++i) {
        const DET_OBJ_S& box = work.objs[i];
        if (const int region = excluded_by(box, cfg); region >= 0)
            tell_dropped(VCA_DECISION_EXCLUDED, box, region);
        else if (is_too_small(box))
            tell_dropped(VCA_DECISION_TOO_SMALL, box, -1, 0,
                         static_cast<float>(std::min(box.w, box.h)), kMinSidePx);
        else
            out->objs[out->num++] = box;
    }

    const bool log = vca::debug_on(vca::kDbgDetection);
    if (log && out->num > 0)
        VCA_LOG("\nDetection: Real=%d Depth=%d Merge=%d", real->num, depth->num, out->num);
    if (!log && cfg.ShowDetectBox == 0) return 0;
    Display display{.threshold = display_threshold(), .show = cfg.ShowDetectBox != 0, .log = log};
    DET_SHOW_MSG_S& msg = display.msg;
    display_detector(*real, "Real", msg.real_objs, msg.real_num, display);
    display_detector(*depth, "Depth", msg.depth_objs, msg.depth_num, display);
    display_merged(*out, display);
    if (display.show) send_display(display);
    return 0;
}
