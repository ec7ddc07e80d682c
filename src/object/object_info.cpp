// Updating one track from the detection it was matched to.
#include <algorithm>

#include "base/control.h"
#include "base/decision.h"
#include "base/log.h"
#include "detect/box.h"
#include "object/object_state.h"
#include "track/gender.h"
#include "vca/object.h"

using vca::elapsed_ms;
using vca::to_i32;
using vca::wrap_add;
using vca::wrap_sub;

namespace {

constexpr char kLogName[] = "vca_check_person_info_local";

constexpr float kAdultMm = 1500.0f;
constexpr int32_t kImageWidth = 960;
constexpr int32_t kImageHeight = 544;

constinit vca::ObjectState object;

// A track that has measured as tall as an adult stays one, whatever class its detections get.
void take_detection(TRACKER_RSLT_S& trk, const DET_OBJ_S& det) {
    DET_OBJ_S& cur = trk.curObj;
    if (trk.height >= kAdultMm && det.class_id != VCA_CLASS_PERSON &&
        cur.class_id != VCA_CLASS_PERSON)
        vca::tell(VCA_DECISION_PROMOTED, trk, -1, 0, trk.height, kAdultMm);
    cur.class_id = trk.height >= kAdultMm ? uint8_t{VCA_CLASS_PERSON} : det.class_id;
    cur.aux0 = det.aux0;
    cur.x = det.x;
    cur.y = det.y;
    cur.w = det.w;
    cur.h = det.h;
    cur.area = vca::wrap_mul(det.w, det.h);
    cur.score = det.score;
    cur.gender = det.gender;
    cur.height = det.height;
    cur.staff = det.staff;
}

// In a master's pass over merged objects, people seen by other devices may lie outside its own
// image.
bool clamps_position(bool cascade_pass) {
    const int32_t mode = vca_dev_get_work_mode();
    return mode == VCA_WORK_ALONE || mode == VCA_WORK_SLAVE ||
           (mode == VCA_WORK_MASTER && !cascade_pass);
}

// Start and length along one axis of the head box: it slides inside the body box in proportion to
// the body's distance from the image's near edge, measured from its far edge past the centre.
struct Span {
    int32_t start;
    int32_t length;
};

Span head_span(int32_t start, int32_t length, int32_t head_length, int32_t image_length) {
    if (length <= head_length) return {start, length};
    const bool near_half = wrap_add(start, length / 2) < image_length / 2;
    const int32_t reference = near_half ? start : wrap_add(start, length);
    const float ratio = static_cast<float>(reference) / static_cast<float>(image_length);
    const float shift = static_cast<float>(wrap_sub(length, head_length)) * ratio;
    return {wrap_add(to_i32(shift), start), head_length};
}

void set_head_box(TRACKER_RSLT_S& trk) {
    const DET_OBJ_S& cur = trk.curObj;
    const Span across = head_span(cur.x, cur.w, 40, kImageWidth);
    const Span down = head_span(cur.y, cur.h, 35, kImageHeight);
    trk.headBox.x = across.start;
    trk.headBox.w = across.length;
    trk.headBox.y = down.start;
    trk.headBox.h = down.length;
    trk.headBox.area = vca::wrap_mul(across.length, down.length);
}

// Seen from above, the top of a person lies farther from the image centre than the feet, by
// 1 / (1 - height / installation height).
int32_t toward_center(int32_t top, int32_t center, float height_ratio) {
    const auto offset = static_cast<float>(wrap_sub(top, center));
    return to_i32(static_cast<float>(center) + (1.0f - height_ratio) * offset);
}

void set_foot_box(TRACKER_RSLT_S& trk) {
    const DET_OBJ_S& cur = trk.curObj;
    const float ratio = trk.height / static_cast<float>(vca_dev_get_install_height());
    const POINT_POS_S top = vca::box_center(cur);
    trk.footX = toward_center(top.x, kImageWidth / 2, ratio);
    trk.footY = toward_center(top.y, kImageHeight / 2, ratio);
    const int32_t side = dev_foot_get_event_size();
    trk.footBox.w = side;
    trk.footBox.h = side;
    trk.footBox.area = vca::wrap_mul(side, side);
    trk.footBox.x = wrap_sub(trk.footX, side / 2);
    trk.footBox.y = wrap_sub(trk.footY, side / 2);
}

// Height is measured on a cadence that slows down as the scene fills: every 3rd update in an empty
// scene, every 5th at 30 people, with a history that shortens from 12 samples to 8.
void measure_height(TRACKER_RSLT_S& trk, int32_t object_count) {
    const float crowd = static_cast<float>(av_limit_min_max(object_count, 0, 30)) / 30.0f;
    const int32_t period = av_calc_set_val(3, 4, 5, crowd);
    object.height_history = av_calc_set_val(8, 10, 12, 1.0f - crowd);
    if (trk.age >= period && trk.age % period != 0) return;
    const float raw = dev_calc_obj_height(&trk, vca::raw_depth(vca::control_block()));
    const int32_t compensation = dev_obj_height_compen_by_install();
    const float height = raw + static_cast<float>(compensation);
    if (vca::debug_on(vca::kDbgHeight))
        VCA_LOG_AS(kLogName, "CompenH=%d objHeight=%.2f", compensation,
                   static_cast<double>(height));
    vca_dev_deal_obj_height(&trk, static_cast<float>(to_i32(height)));
}

// The device that saw the person has already measured height and attributes.
void take_cascade_measurements(TRACKER_RSLT_S& trk) {
    DET_OBJ_S& cur = trk.curObj;
    if (trk.staffKeep != 1) trk.staffKeep = cur.staff;
    if (cur.staff != 1) cur.staff = trk.staffKeep;
    trk.height = cur.height;
    dev_obj_height_chk_exceed(&trk);
    if (vca::is_known_gender(cur.gender))
        trk.genderKeep = cur.gender;
    else if (vca::is_known_gender(trk.genderKeep))
        cur.gender = trk.genderKeep;
    trk.headBox = cur;
    trk.footBox = cur;
    const POINT_POS_S center = vca::box_center(cur);
    trk.footX = center.x;
    trk.footY = center.y;
}

void copy_description(const DET_OBJ_S& from, DET_OBJ_S& to) {
    to.class_id = from.class_id;
    to.aux0 = from.aux0;
    to.score = from.score;
    to.gender = from.gender;
    to.height = from.height;
    to.staff = from.staff;
}

}  // namespace

vca::ObjectState& vca::object_state() {
    return object;
}

DET_OBJ_S* vca_trk_obj_get_position_box(TRACKER_RSLT_S* trk) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    if (cfg.devWorkMode != VCA_WORK_ALONE) return &trk->curObj;
    if (cfg.StandAloneTrkMd == VCA_POSITION_HEAD) return &trk->headBox;
    if (cfg.StandAloneTrkMd == VCA_POSITION_FOOT) return &trk->footBox;
    return &trk->curObj;
}

void vca_check_person_info_local(TRACKER_RSLT_S* trk, int32_t objectCount) {
    const int64_t start_ms = avs_get_timestamp();
    const bool log =
        vca::is_timing_frame(vca_feed_frm_cnt_get()) && vca::debug_on(vca::kDbgObjectInfo);
    if (log) VCA_LOG("attribution_local 000=%ld", elapsed_ms(start_ms));
    trk->curObj.staff = trk->staffKeep;
    measure_height(*trk, objectCount);
    dev_obj_height_chk_exceed(trk);
    trk->curObj.height = trk->height;
    if (log) VCA_LOG("attribution_local 111=%ld", elapsed_ms(start_ms));
    vca_obj_deal_human_attr(trk, &vca::control_block().real_img, objectCount);
    if (log) VCA_LOG("attribution_local 222=%ld", elapsed_ms(start_ms));
    set_head_box(*trk);
    set_foot_box(*trk);
}

void vca_set_track_obj_info(TRACKER_RSLT_S* trk, const IOU_TRK_OBJ_S* rec,
                            const DET_OBJECTS_S* dets, bool cascadePass) {
    const int32_t num = std::clamp(dets->num, 0, VCA_DET_MAX);
    if (rec->det_idx < 0 || rec->det_idx >= num) return;
    const int64_t start_ms = avs_get_timestamp();
    const bool log = vca::is_timing_frame(trk->age) && vca::debug_on(vca::kDbgObjectInfo);
    trk->trackId = rec->id;
    const DET_OBJ_S prev_pos = *vca_trk_obj_get_position_box(trk);
    take_detection(*trk, dets->objs[rec->det_idx]);
    DET_OBJ_S& cur = trk->curObj;
    if (clamps_position(cascadePass)) {
        cur.x = std::max(cur.x, 0);
        cur.y = std::max(cur.y, 0);
    }
    if (log) VCA_LOG("track_obj_info 000=%ld", elapsed_ms(start_ms));
    if (cascadePass)
        take_cascade_measurements(*trk);
    else
        vca_check_person_info_local(trk, dets->num);
    if (log) VCA_LOG("track_obj_info 111=%ld", elapsed_ms(start_ms));
    copy_description(cur, trk->headBox);
    copy_description(cur, trk->footBox);
    vca_dev_obj_chk_static_false_det(trk, &prev_pos);
    trk->rawObj = dets->raw_objs[rec->det_idx];
    if (log) VCA_LOG("track_obj_info 333=%ld", elapsed_ms(start_ms));
    if (log)
        std::printf("$[%d]=%d %d %d %d %.2f\n", trk->trackId, cur.x, cur.y, cur.w, cur.h,
                    static_cast<double>(cur.score));
    trk->age = wrap_add(trk->age, 1);
    trk->lostCnt = 0;
}
