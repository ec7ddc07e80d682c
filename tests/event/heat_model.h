// Heat maps in their plain form: every cell of every grid is visited, and the arithmetic is written
// out with 64-bit numbers that wrap to 32 bits at the end.
#ifndef TESTS_EVENT_HEAT_MODEL_H
#define TESTS_EVENT_HEAT_MODEL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/event/byte_payload.h"
#include "tests/support/scripted_host.h"

namespace fix {

constexpr int kHeatRows = 135;
constexpr int kHeatCols = 240;

// A grid, row by row.
using Grid = std::vector<int32_t>;

Grid zero_grid();

Grid grid_of(const HEAT_CELLS_S& cells);

struct Grids {
    Grid dwell = zero_grid();
    Grid motion = zero_grid();

    void add(const Grids& other);
};

Grids grids_of(const TRACKER_RSLT_S& trk);

// The total through its bytes: the dwell grid and behind it the motion grid.
Grids total_grids();

// The first cell in which two grids differ, empty when they agree.
std::string difference(const Grid& got, const Grid& want);
std::string difference(const Grids& got, const Grids& want);

// A pair of grids as the debug switch prints them: every eighth row and fourth column, dwell in
// whole seconds, nothing between the numbers.
std::string dump(const Grids& grids);

// Whether the rectangle of a grid lies in the grid and holds all cells that are not zero.
bool rectangle_holds(const HEAT_GRID_S& grid);

bool rectangle_empty(const HEAT_GRID_S& grid);

// Writes one cell of a track's grid as a stage would, keeping the rectangle right.
void put_cell(HEAT_GRID_S& grid, int row, int col, int32_t value);

// The accumulation of a track that takes part.
class HeatModel {
  public:
    Grids grids;
    bool moved = false;
    DET_OBJ_S first{};

    void add(const DET_OBJ_S& box, int32_t step_ms);

    // Radius of the neighbourhood of a person in cells, squared.
    static int64_t square_radius();

  private:
    void add_cell(size_t i, bool standing, bool near_cur, bool near_prev, int32_t step_ms);
    void dwell(size_t i, int32_t step_ms);
    void motion(size_t i);
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
