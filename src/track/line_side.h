// The sides of a counting line, as recorded by tracks.
#pragma once

#include "vca/track.h"

namespace vca {

inline bool is_side(int32_t side) {
    return side == VCA_SIDE_LEFT || side == VCA_SIDE_RIGHT;
}

// Direction of a crossing that ends on a side of a line.
inline int32_t direction_to(int32_t side, int line) {
    const bool flip = dev_get_config()->line[line].Flip != 0;
    return (side == VCA_SIDE_LEFT) != flip ? VCA_DIR_1 : VCA_DIR_2;
}

}  // namespace vca
