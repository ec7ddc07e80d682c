// The working sizes in a form that is safe for the stages to use.
#pragma once

#include <algorithm>

#include "base/control.h"

namespace vca {

// Width and height of a working size. The host can write the control block too, so they are clamped
// to a range in which sums of pixels and row counts cannot overflow.
constexpr uint32_t kWorkingSizeMax = 16384;
inline int32_t working_width(int index) {
    return static_cast<int32_t>(std::min(control_block().img_size[index].width, kWorkingSizeMax));
}
inline int32_t working_height(int index) {
    return static_cast<int32_t>(std::min(control_block().img_size[index].height, kWorkingSizeMax));
}

}  // namespace vca
