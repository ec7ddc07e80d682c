// The centre of a box, which stands for the place of a person everywhere.
#pragma once

#include "frame/numeric.h"
#include "vca/detect.h"

namespace vca {

// Halves truncate toward zero.
inline POINT_POS_S box_center(const DET_OBJ_S& box) {
    return {wrap_add(box.x, box.w / 2), wrap_add(box.y, box.h / 2)};
}

}  // namespace vca
