// Lookups in the 320 x 181 masks.
#pragma once

#include <algorithm>
#include <cstring>

#include "vca/config.h"

namespace vca {

using MaskCells = char[VCA_MASK_ROWS][VCA_MASK_COLS];

// Cells of a mask in columns [left, right) and rows [top, bottom).
struct CellRect {
    int32_t left, top, right, bottom;
};

// Whether a cell is set; cells beyond the grid are not.
inline bool is_set(const MaskCells& mask, POINT_POS_S cell) {
    return cell.y >= 0 && cell.y < VCA_MASK_ROWS && cell.x >= 0 && cell.x < VCA_MASK_COLS &&
           mask[cell.y][cell.x] != 0;
}

// Whether any cell of a rectangle is set; cells beyond the grid are not.
inline bool any_set(const MaskCells& mask, CellRect rect) {
    const int32_t left = std::clamp(rect.left, 0, VCA_MASK_COLS);
    const int32_t right = std::clamp(rect.right, left, VCA_MASK_COLS);
    const int32_t top = std::clamp(rect.top, 0, VCA_MASK_ROWS);
    const int32_t bottom = std::clamp(rect.bottom, top, VCA_MASK_ROWS);
    for (int32_t row = top; row < bottom; ++row) {
        const char* cell = mask[row] + left;
        const char* const end = mask[row] + right;
        for (uint64_t eight = 0; end - cell >= 8; cell += 8) {
            std::memcpy(&eight, cell, sizeof(eight));
            if (eight != 0) return true;
        }
        if (std::any_of(cell, end, [](char c) { return c != 0; })) return true;
    }
    return false;
}

}  // namespace vca
