// Heat maps of dwell and motion: every track's own grids, the total, and its delivery on request.
#include "vca/heat_map.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/log.h"
#include "base/send.h"
#include "detect/box.h"
#include "track/track_list.h"
#include "vca/object.h"

using vca::safe_div;
using vca::to_i32;
using vca::wrap_add;
using vca::wrap_mul;
using vca::wrap_sub;

namespace {

using Cells = int32_t[VCA_HEAT_ROWS][VCA_HEAT_COLS];

constexpr int32_t kMoved_px = 15;
constexpr int32_t kUpdatesPerStep = 3;    // a track adds to its grids on every third update,
constexpr int32_t kPassesPerMeasure = 3;  // one pass in three measures the time step
constexpr int32_t kStep_ms = 100;
constexpr int32_t kStepMin_ms = 120;
constexpr int32_t kStepMax_ms = 180;
constexpr int32_t kUpdatesPerFold = 120;

// Half-open rectangle of cells.
struct CellRect {
    int32_t x0 = 0;
    int32_t y0 = 0;
    int32_t x1 = 0;
    int32_t y1 = 0;
};

struct HeatState {
    HEAT_MAP_S total{};
    // Only cells of the total inside it may be nonzero. It never shrinks: even if the host delivers
    // a reset while a track is being folded, no nonzero cell is left outside it.
    CellRect total_rect;
    // Too large for the stack of a host's message thread, and allocated before the first request,
    // so that a reply never fails for lack of memory.
    HEAT_MAP_MSG_S reply{};
    int32_t passes = 0;
    int32_t last_measure_ms = 0;
};

HeatState heat_state;

// Milliseconds that this pass adds to the dwell cells.
int32_t dwell_step() {
    heat_state.passes = wrap_add(heat_state.passes, 1);
    if (heat_state.passes % kPassesPerMeasure != 0) return kStep_ms;
    const auto now_ms = static_cast<int32_t>(avs_get_timestamp());
    const int32_t step =
        av_limit_min_max(wrap_sub(now_ms, heat_state.last_measure_ms), kStepMin_ms, kStepMax_ms);
    heat_state.last_measure_ms = now_ms;
    return step;
}

// Squared radius in cells of the disc that a person heats; on a master the image is part of a
// larger area, and the disc shrinks with it.
int32_t disc_radius_square() {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    int32_t radius = wrap_mul(safe_div(3360, cfg.srcImgWidth), 4) / 3;
    if (vca_dev_get_work_mode() == VCA_WORK_MASTER) {
        const float scale =
            static_cast<float>(cfg.srcImgWidth) / static_cast<float>(cfg.cscdMapSize[2]);
        radius = std::max(to_i32(scale * static_cast<float>(radius) + 0.5f), 1);
    }
    return wrap_mul(radius, radius);
}

POINT_POS_S to_cell(POINT_POS_S point) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    const POINT_POS_S local = cscd_map_point_clip(point);
    return {safe_div(wrap_mul(local.x, VCA_HEAT_COLS), cfg.cscdMapSize[2]),
            safe_div(wrap_mul(local.y, VCA_HEAT_ROWS), cfg.cscdMapSize[3])};
}

// A disc of cells around a person.
struct Disc {
    POINT_POS_S center;
    int32_t radius_square;

    bool holds(POINT_POS_S cell) const {
        return vca_calc_point_pos_dis_square(&cell, &center) <= radius_square;
    }
};

// The part of the grid that contains all cells of the disc.
CellRect bounds(const Disc& disc) {
    if (disc.radius_square < 0) return {};
    const int32_t reach = to_i32(std::sqrt(static_cast<double>(disc.radius_square)));
    return {std::clamp(wrap_sub(disc.center.x, reach), 0, VCA_HEAT_COLS),
            std::clamp(wrap_sub(disc.center.y, reach), 0, VCA_HEAT_ROWS),
            std::clamp(wrap_add(wrap_add(disc.center.x, reach), 1), 0, VCA_HEAT_COLS),
            std::clamp(wrap_add(wrap_add(disc.center.y, reach), 1), 0, VCA_HEAT_ROWS)};
}

// Adds `amount` to the cells of the disc that are not in `without`.
void heat(HEAT_GRID_S& grid, const Disc& disc, int32_t amount, const Disc* without = nullptr) {
    const CellRect rect = bounds(disc);
    if (rect.x1 <= rect.x0 || rect.y1 <= rect.y0) return;
    vca::provide_cells(grid);
    grid.cover(rect.x0, rect.y0, rect.x1, rect.y1);
    for (int32_t y = rect.y0; y < rect.y1; ++y) {
        int32_t* row = grid.cell[y];
        for (int32_t x = rect.x0; x < rect.x1; ++x) {
            if (!disc.holds({x, y}) || (without != nullptr && without->holds({x, y}))) continue;
            row[x] = wrap_add(row[x], amount);
        }
    }
}

// Whole seconds of the dwell grid, or counts, of every fourth column of every eighth row.
template <typename AnyCells>
void print_cells(const char* title, const AnyCells& cells, int32_t unit) {
    std::printf("%s", title);
    for (int32_t y = 0; y < VCA_HEAT_ROWS; y += 8) {
        for (int32_t x = 0; x < VCA_HEAT_COLS; x += 4)
            std::printf("%d", cells[y][x] / unit);
        std::printf("\n");
    }
}

template <typename AnyCells>
void print_pair(const AnyCells& dwell, const AnyCells& motion) {
    print_cells("Htmp Dwell:", dwell, 1000);
    print_cells("Htmp Motion:", motion, 1);
    std::printf("\n");
}

bool contributes(TRACKER_RSLT_S& trk, const DET_OBJ_S& box) {
    return box.class_id == VCA_CLASS_PERSON && vca_check_obj_event_heatmap_update(&trk) &&
           trk.heightExceed == 0 && trk.age % kUpdatesPerStep == 0;
}

void add_track(TRACKER_RSLT_S& trk, const DET_OBJ_S& box, int32_t step_ms, int32_t radius_square) {
    const POINT_POS_S center = vca::box_center(box);
    const POINT_POS_S previous = vca::box_center(trk.firstBox);
    const Disc here{to_cell(center), radius_square};
    const Disc there{to_cell(previous), radius_square};
    heat(trk.heatDwell, here, step_ms);
    if (vca_calc_point_pos_dis(&center, &previous) < kMoved_px) return;
    if (trk.htmpMoved == 0) heat(trk.heatMotion, there, 1);
    heat(trk.heatMotion, here, 1, &there);
    trk.htmpMoved = 1;
    trk.firstBox = box;
}

void cover_total(const HEAT_GRID_S& grid) {
    if (grid.x1 <= grid.x0) return;
    CellRect& rect = heat_state.total_rect;
    const bool empty = rect.x1 <= rect.x0;
    rect = {empty ? grid.x0 : std::min(rect.x0, grid.x0),
            empty ? grid.y0 : std::min(rect.y0, grid.y0), std::max(rect.x1, grid.x1),
            std::max(rect.y1, grid.y1)};
}

void fold(const HEAT_GRID_S& from, Cells& to) {
    cover_total(from);
    for (int32_t y = from.y0; y < from.y1; ++y)
        for (int32_t x = from.x0; x < from.x1; ++x)
            to[y][x] = wrap_add(to[y][x], from.cell[y][x]);
}

}  // namespace

bool vca_check_obj_event_heatmap_update(TRACKER_RSLT_S* trk) {
    return trk->lostCnt == 0 && trk->age > 1 && vca::is_large_enough(trk->curObj);
}

int vca_event_heat_map_dwell_and_motion(std::vector<TRACKER_RSLT_S>& tracks) {
    if (dev_get_config()->HtmpEn == 0) return 0;
    const int32_t step_ms = dwell_step();
    const int32_t radius_square = disc_radius_square();
    const bool log = vca::debug_on(vca::kDbgHeatMap);
    for (TRACKER_RSLT_S& trk : tracks) {
        const DET_OBJ_S& box = *vca_trk_obj_get_position_box(&trk);
        if (!contributes(trk, box)) continue;
        add_track(trk, box, step_ms, radius_square);
        if (!log) continue;
        std::printf("$Htmp Trk[%d]:\n", trk.trackId);
        print_pair(trk.heatDwell.cell, trk.heatMotion.cell);
    }
    return 0;
}

int vca_trker_heat_map_update_result(TRACKER_RSLT_S* trk) {
    const int64_t start_ms = avs_get_timestamp();
    if (trk->staticFalseDet == 0 && trk->heightExceed == 0) {
        fold(trk->heatDwell, heat_state.total.dwell);
        fold(trk->heatMotion, heat_state.total.motion);
    }
    trk->heatDwell.clear();
    trk->heatMotion.clear();
    if (vca::debug_on(vca::kDbgHeatMap)) {
        std::printf("$Htmp Total:");
        print_pair(heat_state.total.dwell, heat_state.total.motion);
    }
    if (vca::debug_on(vca::kDbgTiming)) VCA_LOG("Tm: htmp rslt=%ld", vca::elapsed_ms(start_ms));
    return 0;
}

int vca_event_heat_map_refresh_total_result(std::vector<TRACKER_RSLT_S>& tracks) {
    if (dev_get_config()->HtmpEn == 0) return 0;
    for (TRACKER_RSLT_S& trk : tracks)
        if (trk.age % kUpdatesPerFold == 0 && trk.lostCnt < 1)
            vca_trker_heat_map_update_result(&trk);
    return 0;
}

const HEAT_MAP_S* vca_dev_get_heat_map_rslt(void) {
    return &heat_state.total;
}

void vca_dev_reset_heat_map_rslt(void) {
    const CellRect rect = heat_state.total_rect;
    for (int32_t y = rect.y0; y < rect.y1; ++y) {
        for (int32_t x = rect.x0; x < rect.x1; ++x)
            heat_state.total.dwell[y][x] = heat_state.total.motion[y][x] = 0;
    }
}

void vca_heat_map_reset_rslt(int, void*) {
    vca_dev_reset_heat_map_rslt();
    VCA_LOG("reset_heat_map rslt");
}

void vca_heat_map_update_rslt(int, void* payload) {
    if (payload == nullptr) return;
    HEAT_MAP_MSG_S& reply = heat_state.reply;
    std::memcpy(reply.request, payload, sizeof(reply.request));
    std::memcpy(reply.motion, heat_state.total.motion, sizeof(reply.motion));
    std::memcpy(reply.dwell, heat_state.total.dwell, sizeof(reply.dwell));
    vca::send_record(VCA_MSG_HEAT_MAP, reply);
    vca_dev_reset_heat_map_rslt();
    VCA_LOG("send_heat_map rslt");
}
