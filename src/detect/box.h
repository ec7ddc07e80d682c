// What every stage asks of a box: its centre, which stands for the place of a person, and whether
// it is large enough to be one.
#pragma once

#include "base/numeric.h"
#include "vca/detect.h"

namespace vca {

// Halves truncate toward zero.
inline POINT_POS_S box_center(const DET_OBJ_S& box) {
    return {wrap_add(box.x, box.w / 2), wrap_add(box.y, box.h / 2)};
}

// Boxes that are no wider or no higher are neither counted nor shown nor sent to a master.
constexpr int32_t kPersonSideMin_px = 10;

inline bool is_large_enough(const DET_OBJ_S& box) {
    return box.w > kPersonSideMin_px && box.h > kPersonSideMin_px;
}

}  // namespace vca
