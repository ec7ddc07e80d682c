// The control block: what the host and all stages share about the current frame.
#pragma once

#include "vca/frame.h"

namespace vca {

// The instance behind vca_get_pCtrl_param.
VCA_CTRL_S& control_block();

// Depth working image of the current frame set; null when the host mapped none.
inline const uint16_t* raw_depth(const VCA_CTRL_S& ctrl) {
    return reinterpret_cast<const uint16_t*>(static_cast<uintptr_t>(ctrl.raw_img.plane_addr));
}

}  // namespace vca
