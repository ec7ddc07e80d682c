// The floor map, learnt slowly and only from measurements that look like floor, and the measured
// installation height.
#include <algorithm>
#include <cstring>

#include "base/log.h"
#include "base/numeric.h"
#include "base/working_size.h"
#include "depth/depth_state.h"
#include "vca/config.h"

using vca::depth_state;
using vca::wrap_add;
using vca::wrap_sub;

namespace {

constexpr int kCallsPerUpdate = 6;
constexpr int kPhases = 5;  // every fifth row and column of cells in one update
constexpr int32_t kFloorBandMm = 60;
constexpr int32_t kAboveHeightMm = 200;
constexpr uint16_t kLargestMissing = 3;

constinit VCA_DEPTH_STATE_S floor_map{};

// Distances above it look like floor.
int32_t floor_limit() {
    return wrap_sub(vca_dev_get_install_height(), kFloorBandMm);
}

// The cell's next value after measuring `measured` in it.
int32_t learn(int32_t stored, int32_t measured, uint8_t& valid) {
    const int32_t height = vca_dev_get_install_height();
    const int32_t limit = floor_limit();
    if (measured > limit) {
        valid = 1;
        return stored > limit ? wrap_add(measured, stored) / 2 : std::max(measured, stored);
    }
    return stored < limit ? height : stored;
}

void measure_cell(const uint16_t* depth, int row, int col, int r0, int c0, int r1, int c1) {
    VCA_DEPTH_STATE_S& s = depth_state();
    int32_t d = vca::to_i32(depth16_calc_rgn_distance(depth, c0, r0, c1 - 1, r1 - 1, true));
    s.depthCur[row][col] = d;
    const int32_t height = vca_dev_get_install_height();
    if (d > wrap_add(height, kAboveHeightMm - 1)) d = wrap_add(height, kAboveHeightMm);
    s.depthMap[row][col] = learn(s.depthMap[row][col], d, s.depthValid[row][col]);
}

// Measures the cells whose row and column are in phase, so every cell comes round in 25 updates.
void measure_cells(const uint16_t* depth, int row_phase, int col_phase) {
    const int width = vca::working_width(VCA_SIZE_DEPTH);
    const int height = vca::working_height(VCA_SIZE_DEPTH);
    const int cw = width / VCA_DEPTH_GRID;
    const int ch = height / VCA_DEPTH_GRID;
    if (cw < 1 || ch < 1) return;
    for (int r0 = 0; r0 < height; r0 += ch) {
        const int r1 = std::min(r0 + ch, height);
        const int row = ((r0 + r1) / 2) / ch;
        if (row >= VCA_DEPTH_GRID || (row - row_phase) % kPhases != 0) continue;
        for (int c0 = 0; c0 < width; c0 += cw) {
            const int c1 = std::min(c0 + cw, width);
            const int col = ((c0 + c1) / 2) / cw;
            if (col >= VCA_DEPTH_GRID || (col - col_phase) % kPhases != 0) continue;
            measure_cell(depth, row, col, r0, c0, r1, c1);
        }
    }
}

// Mean floor of a column of cells; the installation height where none has been seen.
int32_t column_mean(int col) {
    const VCA_DEPTH_STATE_S& s = depth_state();
    int64_t sum = 0;
    int count = 0;
    for (int row = 0; row < VCA_DEPTH_GRID; ++row) {
        if (s.depthValid[row][col] == 0 || s.depthMap[row][col] <= floor_limit()) continue;
        sum += s.depthMap[row][col];
        ++count;
    }
    return count > 0 ? static_cast<int32_t>(sum / count) : vca_dev_get_install_height();
}

// Gives the cells whose floor was never seen the mean of their column.
void fill_columns(int32_t (&horiz)[VCA_DEPTH_GRID]) {
    VCA_DEPTH_STATE_S& s = depth_state();
    for (int col = 0; col < VCA_DEPTH_GRID; ++col) {
        horiz[col] = column_mean(col);
        if (horiz[col] <= floor_limit()) continue;
        for (int row = 0; row < VCA_DEPTH_GRID; ++row)
            if (s.depthValid[row][col] == 0) s.depthMap[row][col] = horiz[col];
    }
}

template <typename Cell>
void dump_row(const char* format, const Cell (&row)[VCA_DEPTH_GRID]) {
    for (const Cell cell : row)
        std::printf(format, static_cast<int>(cell));
    std::printf("\n");
}

template <typename Cell>
void dump_grid(const char* label, const char* format,
               const Cell (&grid)[VCA_DEPTH_GRID][VCA_DEPTH_GRID]) {
    std::printf("%s", label);
    for (const auto& row : grid)
        dump_row(format, row);
}

void dump(const int32_t (&horiz)[VCA_DEPTH_GRID]) {
    const VCA_DEPTH_STATE_S& s = depth_state();
    dump_grid("Valid: ", "%4d ", s.depthValid);
    std::printf("Horiz: ");
    dump_row("%3d ", horiz);
    dump_grid("Depth Map: ", "%3d ", s.depthMap);
    dump_grid("Depth Cur: ", "%3d ", s.depthCur);
}

}  // namespace

VCA_DEPTH_STATE_S& vca::depth_state() {
    return floor_map;
}

const VCA_DEPTH_STATE_S* vca_depth_get_state(void) {
    return &depth_state();
}

int vca_depth_algo_init(void) {
    dev_depth_map_reset();
    return 0;
}

int vca_depth_algo_uninit(void) {
    return 0;
}

int dev_depth_map_reset(void) {
    VCA_DEPTH_STATE_S& s = depth_state();
    std::memset(s.depthMap, 0, sizeof(s.depthMap));
    std::memset(s.depthValid, 0, sizeof(s.depthValid));
    return 0;
}

int vca_update_depth_map(const uint16_t* depth) {
    VCA_DEPTH_STATE_S& s = depth_state();
    const int64_t start_ms = avs_get_timestamp();
    s.depthCallCnt = wrap_add(s.depthCallCnt, 1);
    if (s.depthCallCnt % kCallsPerUpdate != 0) return 0;
    const int32_t update = s.depthUpdCnt;
    s.depthUpdCnt = wrap_add(update, 1);
    if (update % kPhases == 0) s.depthRowPhase = wrap_add(s.depthRowPhase, 1);
    measure_cells(depth, s.depthRowPhase % kPhases, update % kPhases);
    int32_t horiz[VCA_DEPTH_GRID];
    fill_columns(horiz);
    if (vca::debug_on(vca::kDbgDepthMap) && s.depthDbgCnt++ % 12 == 0) {
        dump(horiz);
        VCA_LOG("Tm: data_update_depth_map=%ld", vca::elapsed_ms(start_ms));
    }
    return 0;
}

int32_t depth_calc_install_height_by_raw_dist16(const uint16_t* depth, int width, int height) {
    constexpr int kRows = 30;
    constexpr int kCols = 20;
    constexpr float kBiasMm = 3000.0f;
    const int row0 = height / 2 - kRows / 2;
    const int col0 = width / 2 - kCols / 2;
    float sum = kBiasMm;
    int count = 0;
    for (int r = std::max(row0, 0); depth != nullptr && r < std::min(row0 + kRows, height); ++r) {
        for (int c = std::max(col0, 0); c < std::min(col0 + kCols, width); ++c) {
            const uint16_t v =
                depth[static_cast<size_t>(r) * static_cast<size_t>(width) + static_cast<size_t>(c)];
            if (v <= kLargestMissing) continue;
            sum += static_cast<float>(v);
            ++count;
        }
    }
    return vca::to_i32(sum / static_cast<float>(count));
}
