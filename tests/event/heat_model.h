// Heat maps in their plain form: every cell of every grid is visited, and the arithmetic is written
// out with 64-bit numbers that wrap to 32 bits at the end.
#ifndef TESTS_EVENT_HEAT_MODEL_H
#define TESTS_EVENT_HEAT_MODEL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/event/byte_payload.h"
#include "tests/support/scripted_host.h"

namespace fix {

constexpr int kHeatRows = 135;
constexpr int kHeatCols = 240;

inline int32_t wrap32(int64_t v) {
    return static_cast<int32_t>(static_cast<uint32_t>(v));
}

// A grid, row by row.
using Grid = std::vector<int32_t>;

inline Grid zero_grid() {
    return Grid(kHeatRows * kHeatCols);
}

inline Grid grid_of(const HEAT_CELLS_S& cells) {
    Grid grid;
    for (int row = 0; row < kHeatRows; ++row)
        grid.insert(grid.end(), cells[row], cells[row] + kHeatCols);
    return grid;
}

struct Grids {
    Grid dwell = zero_grid();
    Grid motion = zero_grid();

    void add(const Grids& other) {
        for (size_t i = 0; i < dwell.size(); ++i) {
            dwell[i] = wrap32(int64_t{dwell[i]} + other.dwell[i]);
            motion[i] = wrap32(int64_t{motion[i]} + other.motion[i]);
        }
    }
};

inline Grids grids_of(const TRACKER_RSLT_S& trk) {
    return {grid_of(trk.heatDwell.cell), grid_of(trk.heatMotion.cell)};
}

// The total through its bytes: the dwell grid and behind it the motion grid.
inline Grids total_grids() {
    Grids grids;
    const auto* bytes = reinterpret_cast<const uint8_t*>(vca_dev_get_heat_map_rslt());
    std::memcpy(grids.dwell.data(), bytes, 129600);
    std::memcpy(grids.motion.data(), bytes + 129600, 129600);
    return grids;
}

// The first cell in which two grids differ, empty when they agree.
inline std::string difference(const Grid& got, const Grid& want) {
    for (size_t i = 0; i < want.size(); ++i) {
        if (got[i] == want[i]) continue;
        return "row " + std::to_string(i / kHeatCols) + " column " + std::to_string(i % kHeatCols) +
               ": " + std::to_string(got[i]) + " instead of " + std::to_string(want[i]);
    }
    return "";
}

inline std::string difference(const Grids& got, const Grids& want) {
    const std::string dwell = difference(got.dwell, want.dwell);
    if (!dwell.empty()) return "dwell " + dwell;
    const std::string motion = difference(got.motion, want.motion);
    return motion.empty() ? "" : "motion " + motion;
}

// A pair of grids as the debug switch prints them: every eighth row and fourth column, dwell in
// whole seconds, nothing between the numbers.
inline std::string dump(const Grids& grids) {
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

// Whether the rectangle of a grid lies in the grid and holds all cells that are not zero.
inline bool rectangle_holds(const HEAT_GRID_S& grid) {
    if (grid.x0 < 0 || grid.y0 < 0 || grid.x1 > kHeatCols || grid.y1 > kHeatRows) return false;
    for (int row = 0; row < kHeatRows; ++row)
        for (int col = 0; col < kHeatCols; ++col) {
            const bool in = col >= grid.x0 && col < grid.x1 && row >= grid.y0 && row < grid.y1;
            if (!in && grid.cell[row][col] != 0) return false;
        }
    return true;
}

inline bool rectangle_empty(const HEAT_GRID_S& grid) {
    return grid.x0 >= grid.x1 || grid.y0 >= grid.y1;
}

// Writes one cell of a track's grid as a stage would, keeping the rectangle right.
inline void put_cell(HEAT_GRID_S& grid, int row, int col, int32_t value) {
    const bool empty = rectangle_empty(grid);
    grid.x0 = empty ? col : std::min(grid.x0, col);
    grid.y0 = empty ? row : std::min(grid.y0, row);
    grid.x1 = empty ? col + 1 : std::max(grid.x1, col + 1);
    grid.y1 = empty ? row + 1 : std::max(grid.y1, row + 1);
    grid.cell[row][col] = value;
}

// The accumulation of a track that takes part.
class HeatModel {
  public:
    Grids grids;
    bool moved = false;
    DET_OBJ_S first{};

    void add(const DET_OBJ_S& box, int32_t step_ms) {
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

    // Radius of the neighbourhood of a person in cells, squared.
    static int64_t square_radius() {
        const VCA_DEV_CFG_S& config = cfg();
        int64_t r = config.srcImgWidth == 0 ? 0 : 3360 / config.srcImgWidth * 4 / 3;
        if (config.devWorkMode == 1) {
            const float ratio =
                static_cast<float>(config.srcImgWidth) / static_cast<float>(config.cscdMapSize[2]);
            const float scaled = ratio * static_cast<float>(r) + 0.5f;
            r = scaled >= 2147483648.0f ? 2147483647 : scaled >= 1.0f ? int64_t(scaled) : 1;
        }
        return wrap32(r * r);
    }

  private:
    void add_cell(size_t i, bool standing, bool near_cur, bool near_prev, int32_t step_ms) {
        if (standing) {
            if (near_cur) dwell(i, step_ms);
            return;
        }
        if (!moved && near_prev) motion(i);
        if (!near_cur) return;
        dwell(i, step_ms);
        if (!near_prev) motion(i);
    }

    void dwell(size_t i, int32_t step_ms) {
        grids.dwell[i] = wrap32(int64_t{grids.dwell[i]} + step_ms);
    }
    void motion(size_t i) { grids.motion[i] = wrap32(int64_t{grids.motion[i]} + 1); }

    static POINT_POS_S centre_of(const DET_OBJ_S& box) {
        return {wrap32(int64_t{box.x} + box.w / 2), wrap32(int64_t{box.y} + box.h / 2)};
    }

    static int64_t square(POINT_POS_S p, POINT_POS_S q) {
        const int64_t dx = wrap32(int64_t{p.x} - q.x), dy = wrap32(int64_t{p.y} - q.y);
        return wrap32(int64_t{wrap32(dx * dx)} + wrap32(dy * dy));
    }

    static int32_t to_cell(int32_t p, int32_t origin, int32_t size, int cells) {
        if (size == 0) return 0;
        const int32_t local =
            std::min(std::max(wrap32(int64_t{p} - origin), 0), wrap32(int64_t{size} - 1));
        return wrap32(int64_t{wrap32(int64_t{local} * cells)} / int64_t{size});
    }

    static POINT_POS_S to_cell(POINT_POS_S p) {
        const int32_t* map = cfg().cscdMapSize;
        return {to_cell(p.x, map[0], map[2], kHeatCols), to_cell(p.y, map[1], map[3], kHeatRows)};
    }
};

// The library with heat maps on and a clock of its own.
struct HeatFixture : testing::Test {
    static constexpr int64_t kStartMs = 1000000;
    std::vector<TRACKER_RSLT_S> tracks;

    void SetUp() override {
        set_up_device();
        cfg().HtmpEn = 1;
        test::host().use_clock(kStartMs * 1000);
    }

    static void wait_ms(int64_t ms) { test::host().advance_clock(ms * 1000); }

    void accumulate() { EXPECT_EQ(vca_event_heat_map_dwell_and_motion(tracks), 0); }

    // Passes with nobody.
    static void empty_passes(int count) {
        std::vector<TRACKER_RSLT_S> nobody;
        for (int i = 0; i < count; ++i)
            vca_event_heat_map_dwell_and_motion(nobody);
    }

    // A person who contributes on the next pass, standing.
    TRACKER_RSLT_S& add(const DET_OBJ_S& box) {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        trk.trackId = static_cast<int32_t>(tracks.size());
        trk.age = 3;
        trk.curObj = box;
        trk.firstBox = box;
        return trk;
    }
};

}  // namespace fix

#endif
