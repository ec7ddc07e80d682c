// The configuration record and the device state beside it.
#pragma once

#include "vca/config.h"

namespace vca {

struct DeviceState {
    VCA_DEV_CFG_S cfg{};
    uint8_t counting_enable = 1;
    uint8_t high_install = 0;
    int32_t feed_frame_count = 0;

    DeviceState() { cfg.InstallHeight = 3000; }
};

DeviceState& device_state();

}  // namespace vca
