// What every stage needs to know about a box: its centre, taken as the person's position, and
// whether it is large enough to be a person.
#pragma once

#include "base/numeric.h"
#include "vca/detect.h"

namespace vca {

// Halves truncate toward zero.
inline POINT_POS_S box_center(const DET_OBJ_S& box) {
    return {wrap_add(box.x, box.w / 2), wrap_add(box.y, box.h / 2)};
}

// Boxes no wider or no higher than this are not counted, shown or sent to a master.
constexpr int32_t kPersonSideMin_px = 10;

inline bool is_large_enough(const DET_OBJ_S& box) {
    return box.w > kPersonSideMin_px && box.h > kPersonSideMin_px;
}

}  // namespace vca
