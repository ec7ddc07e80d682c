// The plain form of heat maps. It is a source of its own so that it is optimised as the library is:
// a scene visits every cell thousands of times.
#include "tests/event/heat_model.h"

#include <algorithm>
#include <cstring>

namespace fix {

namespace {

int32_t wrap32(int64_t v) {
    return static_cast<int32_t>(static_cast<uint32_t>(v));
}

POINT_POS_S centre_of(const DET_OBJ_S& box) {
    return {wrap32(int64_t{box.x} + box.w / 2), wrap32(int64_t{box.y} + box.h / 2)};
}

int64_t square(POINT_POS_S p, POINT_POS_S q) {
    const int64_t dx = wrap32(int64_t{p.x} - q.x), dy = wrap32(int64_t{p.y} - q.y);
    return wrap32(int64_t{wrap32(dx * dx)} + wrap32(dy * dy));
}

int32_t to_cell(int32_t p, int32_t origin, int32_t size, int cells) {
    if (size == 0) return 0;
    const int32_t local =
        std::min(std::max(wrap32(int64_t{p} - origin), 0), wrap32(int64_t{size} - 1));
    return wrap32(int64_t{wrap32(int64_t{local} * cells)} / int64_t{size});
}

POINT_POS_S to_cell(POINT_POS_S p) {
    const int32_t* map = cfg().cscdMapSize;
    return {to_cell(p.x, map[0], map[2], kHeatCols), to_cell(p.y, map[1], map[3], kHeatRows)};
}

}  // namespace

Grid zero_grid() {
    return Grid(kHeatRows * kHeatCols);
}

Grid grid_of(const HEAT_CELLS_S& cells) {
    Grid grid;
    for (int row = 0; row < kHeatRows; ++row)
        grid.insert(grid.end(), cells[row], cells[row] + kHeatCols);
    return grid;
}

void Grids::add(const Grids& other) {
    for (size_t i = 0; i < dwell.size(); ++i) {
        dwell[i] = wrap32(int64_t{dwell[i]} + other.dwell[i]);
        motion[i] = wrap32(int64_t{motion[i]} + other.motion[i]);
    }
}

Grids grids_of(const TRACKER_RSLT_S& trk) {
    return {grid_of(trk.heatDwell.cell), grid_of(trk.heatMotion.cell)};
}

Grids total_grids() {
    Grids grids;
    const auto* bytes = reinterpret_cast<const uint8_t*>(vca_dev_get_heat_map_rslt());
    std::memcpy(grids.dwell.data(), bytes, 129600);
    std::memcpy(grids.motion.data(), bytes + 129600, 129600);
    return grids;
}

std::string difference(const Grid& got, const Grid& want) {
    for (size_t i = 0; i < want.size(); ++i) {
        if (got[i] == want[i]) continue;
        return "row " + std::to_string(i / kHeatCols) + " column " + std::to_string(i % kHeatCols) +
               ": " + std::to_string(got[i]) + " instead of " + std::to_string(want[i]);
    }
    return "";
}

std::string difference(const Grids& got, const Grids& want) {
    const std::string dwell = difference(got.dwell, want.dwell);
    if (!dwell.empty()) return "dwell " + dwell;
    const std::string motion = difference(got.motion, want.motion);
    return motion.empty() ? "" : "motion " + motion;
}

std::string dump(const Grids& grids) {
    std::string text = "Htmp Dwell:";
    for (int part = 0; part < 2; ++part) {
        const Grid& grid = part == 0 ? grids.dwell : grids.motion;
        if (part == 1) text += "Htmp Motion:";
        for (int row = 0; row < kHeatRows; row += 8) {
            for (int col = 0; col < kHeatCols; col += 4) {
                const int32_t value = grid[static_cast<size_t>(row * kHeatCols + col)];
                text += std::to_string(part == 0 ? value / 1000 : value);
            }
            text += '\n';
        }
    }
    return text + '\n';
}

bool rectangle_holds(const HEAT_GRID_S& grid) {
    if (grid.x0 < 0 || grid.y0 < 0 || grid.x1 > kHeatCols || grid.y1 > kHeatRows) return false;
    for (int row = 0; row < kHeatRows; ++row)
        for (int col = 0; col < kHeatCols; ++col) {
            const bool in = col >= grid.x0 && col < grid.x1 && row >= grid.y0 && row < grid.y1;
            if (!in && grid.cell[row][col] != 0) return false;
        }
    return true;
}

bool rectangle_empty(const HEAT_GRID_S& grid) {
    return grid.x0 >= grid.x1 || grid.y0 >= grid.y1;
}

void put_cell(HEAT_GRID_S& grid, int row, int col, int32_t value) {
    const bool empty = rectangle_empty(grid);
    grid.x0 = empty ? col : std::min(grid.x0, col);
    grid.y0 = empty ? row : std::min(grid.y0, row);
    grid.x1 = empty ? col + 1 : std::max(grid.x1, col + 1);
    grid.y1 = empty ? row + 1 : std::max(grid.y1, row + 1);
    grid.cell[row][col] = value;
}

void HeatModel::add(const DET_OBJ_S& box, int32_t step_ms) {
    const POINT_POS_S cur = centre_of(box), prev = centre_of(first);
    const int64_t d2 = square(cur, prev);  // d < 15 exactly when d2 < 225
    const POINT_POS_S cur_cell = to_cell(cur), prev_cell = to_cell(prev);
    const int64_t r2 = square_radius();
    for (int row = 0; row < kHeatRows; ++row)
        for (int col = 0; col < kHeatCols; ++col) {
            const bool near_cur = square({col, row}, cur_cell) <= r2;
            const bool near_prev = square({col, row}, prev_cell) <= r2;
            add_cell(static_cast<size_t>(row * kHeatCols + col), d2 < 225, near_cur, near_prev,
                     step_ms);
        }
    if (d2 < 225) return;
    moved = true;
    first = box;
}

int64_t HeatModel::square_radius() {
    const VCA_DEV_CFG_S& config = cfg();
    int64_t r = config.srcImgWidth == 0 ? 0 : 3360 / config.srcImgWidth * 4 / 3;
    if (config.devWorkMode == VCA_WORK_MASTER) {
        const float ratio =
            static_cast<float>(config.srcImgWidth) / static_cast<float>(config.cscdMapSize[2]);
        const float scaled = ratio * static_cast<float>(r) + 0.5f;
        r = scaled >= 2147483648.0f ? 2147483647 : scaled >= 1.0f ? int64_t(scaled) : 1;
    }
    return wrap32(r * r);
}

void HeatModel::add_cell(size_t i, bool standing, bool near_cur, bool near_prev, int32_t step_ms) {
    if (standing) {
        if (near_cur) dwell(i, step_ms);
        return;
    }
    if (!moved && near_prev) motion(i);
    if (!near_cur) return;
    dwell(i, step_ms);
    if (!near_prev) motion(i);
}

void HeatModel::dwell(size_t i, int32_t step_ms) {
    grids.dwell[i] = wrap32(int64_t{grids.dwell[i]} + step_ms);
}
void HeatModel::motion(size_t i) {
    grids.motion[i] = wrap32(int64_t{grids.motion[i]} + 1);
}

}  // namespace fix
