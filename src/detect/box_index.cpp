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
    for (int32_t i = 0; i < num; ++i) {
        const Span columns = columns_of(boxes[i]);
        const Span rows = rows_of(boxes[i]);
        for (int32_t c = columns.first; c <= columns.last; ++c)
            columns_[c].add(i);
        for (int32_t r = rows.first; r <= rows.last; ++r)
            rows_[r].add(i);
    }
}

vca::BoxSet vca::BoxIndex::near(const DET_OBJ_S& box) const {
    const Span columns = columns_of(box);
    const Span rows = rows_of(box);
    BoxSet across;
    BoxSet down;
    for (int32_t c = columns.first; c <= columns.last; ++c)
        across |= columns_[c];
    for (int32_t r = rows.first; r <= rows.last; ++r)
        down |= rows_[r];
    return across &= down;
}

// Anything beyond the cells belongs to the first or the last cell.
vca::BoxIndex::Span vca::BoxIndex::span(int32_t start, int32_t length) const {
    return {std::clamp(start >> shift_, 0, kCells - 1),
            std::clamp((start + length) >> shift_, 0, kCells - 1)};
}

vca::BoxIndex::Span vca::BoxIndex::columns_of(const DET_OBJ_S& box) const {
    return is_ordinary(box) ? span(box.x, box.w) : Span{0, kCells - 1};
}

vca::BoxIndex::Span vca::BoxIndex::rows_of(const DET_OBJ_S& box) const {
    return is_ordinary(box) ? span(box.y, box.h) : Span{0, kCells - 1};
}
