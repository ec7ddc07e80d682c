#include "bench/staged_pass.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kDepthShift_px = 3;
constexpr int32_t kHeatReach = 4;  // cells to each side of the disc that a person heats

size_t boxes(int32_t count) {
    return static_cast<size_t>(count) * sizeof(DET_OBJ_S);
}

POINT_POS_S centre_of(const DET_OBJ_S& box) {
    return {box.x + box.w / 2, box.y + box.h / 2};
}

// The cells of the disc around a box.
void copy_disc(const HEAT_GRID_S& grid, const DET_OBJ_S& box, bench::Floor& floor) {
    const POINT_POS_S centre = centre_of(box);
    const int32_t cx = centre.x * VCA_HEAT_COLS / 960;
    const int32_t cy = centre.y * VCA_HEAT_ROWS / 544;
    for (int32_t dy = -kHeatReach; dy <= kHeatReach; ++dy) {
        const int32_t y = cy + dy;
        if (y < 0 || y >= VCA_HEAT_ROWS) continue;
        const auto half = static_cast<int32_t>(std::sqrt(kHeatReach * kHeatReach - dy * dy));
        const int32_t x0 = std::clamp(cx - half, 0, VCA_HEAT_COLS);
        const int32_t x1 = std::clamp(cx + half + 1, 0, VCA_HEAT_COLS);
        floor.copy(grid.cell[y] + x0, static_cast<size_t>(x1 - x0) * sizeof(int32_t));
    }
}

}  // namespace

const bench::StagedPass::Stage bench::StagedPass::kStages[8] = {&StagedPass::update_depth_map,
                                                                &StagedPass::merge_detections,
                                                                &StagedPass::track,
                                                                &StagedPass::show_tracks,
                                                                &StagedPass::count_lines,
                                                                &StagedPass::count_regions,
                                                                &StagedPass::heat,
                                                                &StagedPass::finish};

bench::StagedPass::StagedPass(int people) : crowd_(people, VCA_WORK_ALONE) {
    show_frame(crowd_, 0);
    vca_base_init();
    VCA_ALGO_CFG_S cfg = crowd_.everything_config();
    vca_algo_set_cfg_params(0, &cfg);
    vca_trker_init(vca_get_pCtrl_param());
    vca_depth_algo_init();
}

bench::StagedPass::~StagedPass() {
    vca_trk_obj_list_release(tracks_);
    vca_base_uninit();
}

void bench::StagedPass::advance() {
    show_frame(crowd_, ++frame_);
    detect_crowd(crowd_, frame_, 0, colour_.objects);
    detect_crowd(crowd_, frame_, kDepthShift_px, depth_.objects);
}

void bench::StagedPass::update_depth_map() {
    vca_update_depth_map(crowd_.depth_mm(frame_));
}

void bench::StagedPass::merge_detections() {
    vca_obj_merge_real_depth_rslt(&colour_.objects, &depth_.objects, &merged_.objects);
}

void bench::StagedPass::track() {
    vca_obj_proc_tracking(&merged_, tracks_, 0, false);
}

void bench::StagedPass::show_tracks() {
    vca_local_dev_sync_tracking_info_show(tracks_);
}

void bench::StagedPass::count_lines() {
    vca_event_counting_line_uturn_proc(tracks_);
    vca_event_counting_refresh_line_result();
}

void bench::StagedPass::count_regions() {
    vca_event_counting_region_stay_proc(tracks_);
    vca_event_counting_refresh_rgn_result(tracks_);
}

void bench::StagedPass::heat() {
    vca_event_heat_map_dwell_and_motion(tracks_);
}

void bench::StagedPass::finish() {
    vca_event_heat_map_refresh_total_result(tracks_);
    vca_feed_frm_cnt_add(1);
}

void bench::StagedPass::floor_of_merge(Floor& floor) const {
    floor.copy(colour_.objects.objs, boxes(colour_.objects.num));
    floor.copy(depth_.objects.objs, boxes(depth_.objects.num));
    floor.copy(merged_.objects.objs, boxes(colour_.objects.num));
    floor.fill(sizeof(DET_SHOW_MSG_S));
}

// Detections, targets and the records with their lists; the depth images of heights are left out.
void bench::StagedPass::floor_of_track(Floor& floor) const {
    floor.copy(merged_.objects.objs, boxes(merged_.objects.num));
    floor.copy(merged_.objects.raw_objs, boxes(merged_.objects.num));
    floor.fill(static_cast<size_t>(merged_.objects.num) * sizeof(IOU_TRK_OBJ_S));
    for (const TRACKER_RSLT_S& trk : tracks_) {
        floor.copy_record(trk);
        floor.copy(trk.moveFrm);
        floor.copy(trk.moveDist);
        floor.copy(trk.trail);
        floor.copy(trk.trailSmooth);
        floor.copy(trk.objTrail);
        floor.copy(trk.heightSamples);
        floor.copy(trk.attrSamples);
    }
}

void bench::StagedPass::floor_of_show(Floor& floor) const {
    for (const TRACKER_RSLT_S& trk : tracks_) {
        floor.copy(&trk.curObj, sizeof(trk.curObj));
        floor.copy(trk.trailSmooth);
    }
    floor.fill(sizeof(SHOW_MSG_S));
}

// Two segments of every line are in use.
void bench::StagedPass::floor_of_lines(Floor& floor) const {
    for (const TRACKER_RSLT_S& trk : tracks_) {
        floor.copy(&trk.footBox, sizeof(trk.footBox));
        floor.copy(&trk.evtObj, sizeof(trk.evtObj));
        floor.copy(trk.LastState, sizeof(trk.LastState));
        floor.copy(trk.nearSide, sizeof(trk.nearSide));
        floor.copy(trk.uturnState, sizeof(trk.uturnState));
        for (int line = 0; line < VCA_LINE_NUM; ++line) {
            floor.copy(trk.segSide[line], 2 * sizeof(int32_t));
            floor.copy(trk.segPrev[line], boxes(2));
        }
    }
}

// Of the masks at least the cell under the foot point.
void bench::StagedPass::floor_of_regions(Floor& floor) const {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    for (const TRACKER_RSLT_S& trk : tracks_) {
        floor.copy(&trk.footBox, sizeof(trk.footBox));
        floor.copy(&trk.evtObj, sizeof(trk.evtObj));
        floor.copy(&trk.curObj, sizeof(trk.curObj));
        floor.copy(trk.rgnStay, sizeof(trk.rgnStay));
        const int32_t column = std::clamp(trk.footX / 3, 0, VCA_MASK_COLS - 1);
        const int32_t row = std::clamp(trk.footY / 3, 0, VCA_MASK_ROWS - 1);
        for (const VCA_MASK_S& mask : cfg.rgnMask)
            floor.copy(&mask.mask[row][column], 1);
    }
    floor.fill(sizeof(RGN_MSG_S));
}

// Every third update of a track counts, movement once the box is 15 px from where it was.
void bench::StagedPass::floor_of_heat(Floor& floor) const {
    constexpr int32_t kMoved_px = 15;
    for (const TRACKER_RSLT_S& trk : tracks_) {
        floor.copy(&trk.age, 2 * sizeof(int32_t));
        if (trk.lostCnt != 0 || trk.age < 2 || trk.age % 3 != 0) continue;
        floor.copy(&trk.footBox, sizeof(trk.footBox));
        floor.copy(&trk.firstBox, sizeof(trk.firstBox));
        copy_disc(trk.heatDwell, trk.footBox, floor);
        if (vca_calc_bbox_center_dis(&trk.footBox, &trk.firstBox) < kMoved_px) continue;
        copy_disc(trk.heatMotion, trk.footBox, floor);
    }
}
