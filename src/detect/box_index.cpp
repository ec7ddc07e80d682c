#include "detect/box_index.h"

#include <algorithm>

namespace {

// Within this limit the ends of a box cannot overflow.
constexpr int32_t kOrdinary_px = 1 << 28;

bool is_ordinary(int32_t start, int32_t length) {
    return start > -kOrdinary_px && start < kOrdinary_px && length >= 0 && length < kOrdinary_px;
}

bool is_ordinary(const DET_OBJ_S& box) {
    return is_ordinary(box.x, box.w) && is_ordinary(box.y, box.h);
}

}  // namespace

vca::BoxIndex::BoxIndex(const DET_OBJ_S* boxes, int32_t num) {
    int32_t extent = 1;
    for (int32_t i = 0; i < num; ++i)
        if (is_ordinary(boxes[i]))
            extent = std::max({extent, boxes[i].x + boxes[i].w, boxes[i].y + boxes[i].h});
    while ((extent >> shift_) >= kCells)
        ++shift_;
}

// Anything beyond the cells belongs to the first or the last cell.
int32_t vca::BoxIndex::cell_of(int32_t pixel) const {
    return std::clamp(pixel >> shift_, 0, kCells - 1);
}

vca::BoxIndex::Cells vca::BoxIndex::cells_of(const DET_OBJ_S& box) const {
    if (!is_ordinary(box)) return {0, kCells - 1, 0, kCells - 1};
    return {cell_of(box.x), cell_of(box.x + box.w), cell_of(box.y), cell_of(box.y + box.h)};
}
