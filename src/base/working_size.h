// The working sizes as the stages may use them.
#pragma once

#include <algorithm>

#include "base/control.h"

namespace vca {

// Width and height of a working size. The control block is the host's to write too, so they are
// brought into a range in which sums of pixels and row counts cannot overflow.
constexpr uint32_t kWorkingSizeMax = 16384;
inline int32_t working_width(int index) {
    return static_cast<int32_t>(std::min(control_block().img_size[index].width, kWorkingSizeMax));
}
inline int32_t working_height(int index) {
    return static_cast<int32_t>(std::min(control_block().img_size[index].height, kWorkingSizeMax));
}

}  // namespace vca
