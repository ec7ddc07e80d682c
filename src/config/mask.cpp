// Polygons rasterised to the 320 x 181 mask grid, and the conversion to it from cascade-map
// coordinates.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "base/numeric.h"
#include "base/working_size.h"
#include "vca/config.h"
#include "vca/debug.h"

using vca::safe_div;
using vca::wrap_add;
using vca::wrap_mul;
using vca::wrap_sub;

namespace {

struct MapSize {
    int32_t width;
    int32_t height;
};

MapSize cascade_map_size() {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    return {cfg.cscdMapSize[2], cfg.cscdMapSize[3]};
}

int32_t to_mask_column(int32_t x, int32_t width) {
    return safe_div(wrap_mul(x, VCA_MASK_COLS), width);
}

int32_t to_mask_row(int32_t y, int32_t height) {
    return safe_div(wrap_mul(y, VCA_MASK_ROWS), height);
}

POINT_POS_S clamp_into(POINT_POS_S p, MapSize size) {
    return {av_limit_min_max(p.x, 0, wrap_sub(size.width, 1)),
            av_limit_min_max(p.y, 0, wrap_sub(size.height, 1))};
}

// A polygon point on the mask grid; an unused point stays unused.
POINT_POS_S scale_point(const POLYGON_S& poly, int k) {
    POINT_POS_S p = {poly.x[k], poly.y[k]};
    if (p.x < VCA_COORD_MIN || p.y < VCA_COORD_MIN) return {VCA_COORD_NONE, VCA_COORD_NONE};
    MapSize size = cascade_map_size();
    if (poly.coord == 1) {
        size = {vca::working_width(VCA_SIZE_MERGE), vca::working_height(VCA_SIZE_MERGE)};
        p = clamp_into(p, size);
    } else {
        p = cscd_map_point_clip(p);
    }
    return {to_mask_column(p.x, size.width), to_mask_row(p.y, size.height)};
}

struct GridPolygon {
    POINT_POS_S pt[VCA_POLY_PT_NUM];
    int num = 0;        // leading used points
    int32_t max_x = 0;  // cells beyond these are never inside
    int32_t max_y = 0;
};

GridPolygon scale_polygon(const POLYGON_S& poly) {
    GridPolygon grid;
    for (int k = 0; k < VCA_POLY_PT_NUM; ++k) {
        const POINT_POS_S p = scale_point(poly, k);
        if (p.x < 0 || p.y < 0) break;
        grid.pt[grid.num++] = p;
        grid.max_x = std::max(grid.max_x, p.x);
        grid.max_y = std::max(grid.max_y, p.y);
    }
    return grid;
}

// Columns at which the polygon's edges cross a row, ascending.
struct Crossings {
    int32_t column[VCA_POLY_PT_NUM];
    int num = 0;

    void insert(int32_t value) {
        int k = num++;
        for (; k > 0 && column[k - 1] > value; --k)
            column[k] = column[k - 1];
        column[k] = value;
    }
};

Crossings cross_row(const GridPolygon& grid, int32_t row) {
    Crossings found;
    for (int i = 0, j = grid.num - 1; i < grid.num; j = i++) {
        const POINT_POS_S a = grid.pt[i];
        const POINT_POS_S b = grid.pt[j];
        if ((a.y > row) == (b.y > row)) continue;
        const int32_t rise = wrap_mul(wrap_sub(b.x, a.x), wrap_sub(row, a.y));
        found.insert(wrap_add(safe_div(rise, wrap_sub(b.y, a.y)), a.x));
    }
    return found;
}

// A cell is inside when an odd number of crossings lies strictly to its right (even-odd rule), so
// the inside runs from one crossing up to the cell before the next. Returns the cells newly set.
int32_t fill_row(const GridPolygon& grid, int32_t row, char (&cells)[VCA_MASK_COLS]) {
    const Crossings found = cross_row(grid, row);
    const int32_t end = std::min(grid.max_x, VCA_MASK_COLS - 1) + 1;
    int32_t done = 0;
    int32_t set = 0;
    for (int k = 1; k < found.num; k += 2) {
        const int32_t from = std::clamp(found.column[k - 1], 0, end);
        const int32_t to = std::clamp(found.column[k], 0, end);
        std::fill(cells + done, cells + from, char{0});
        set += static_cast<int32_t>(std::count(cells + from, cells + to, char{0}));
        std::fill(cells + from, cells + to, char{1});
        done = to;
    }
    std::fill(cells + done, std::end(cells), char{0});
    return set;
}

void print_polygon(const POLYGON_S& poly) {
    std::printf("$Polygon");
    for (int k = 0; k < VCA_POLY_PT_NUM && poly.x[k] >= VCA_COORD_MIN; ++k)
        std::printf("[%d]=(%d, %d)", k, poly.x[k], poly.y[k]);
    std::printf("\n");
}

}  // namespace

POINT_POS_S cscd_map_point_clip(POINT_POS_S point) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    return clamp_into(
        {wrap_sub(point.x, cfg.cscdMapSize[0]), wrap_sub(point.y, cfg.cscdMapSize[1])},
        cascade_map_size());
}

DET_OBJ_S cscd_map_box_to_mask(DET_OBJ_S box) {
    const MapSize map = cascade_map_size();
    const POINT_POS_S p = cscd_map_point_clip({box.x, box.y});
    box.x = av_limit_min_max(p.x, 0, wrap_sub(map.width, 4));
    box.y = av_limit_min_max(p.y, 0, wrap_sub(map.height, 4));
    box.w = av_limit_min_max(box.w, 2, wrap_sub(wrap_sub(map.width, 1), box.x));
    box.h = av_limit_min_max(box.h, 2, wrap_sub(wrap_sub(map.height, 1), box.y));
    box.x = to_mask_column(box.x, map.width);
    box.y = to_mask_row(box.y, map.height);
    box.w = to_mask_column(box.w, map.width);
    box.h = to_mask_row(box.h, map.height);
    return box;
}

int32_t polygon_convert_to_mask(const POLYGON_S* poly, char mask[VCA_MASK_ROWS][VCA_MASK_COLS]) {
    print_polygon(*poly);
    const GridPolygon grid = scale_polygon(*poly);
    int32_t count = 0;
    for (int32_t row = 0; row < VCA_MASK_ROWS; ++row) {
        auto& cells = *reinterpret_cast<char(*)[VCA_MASK_COLS]>(mask[row]);
        if (grid.num >= 3 && row <= grid.max_y)
            count += fill_row(grid, row, cells);
        else
            std::fill(std::begin(cells), std::end(cells), char{0});
    }
    return count;
}
