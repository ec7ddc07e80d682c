// What follows from the work mode.
#pragma once

#include "vca/config.h"

namespace vca {

// Whether people count by the square around their foot point: on a master, where the views of
// several devices meet only on the floor, and on a stand-alone device configured that way.
inline bool counts_by_foot() {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    return cfg.devWorkMode == VCA_WORK_MASTER ||
           (cfg.devWorkMode == VCA_WORK_ALONE && cfg.StandAloneTrkMd == VCA_POSITION_FOOT);
}

}  // namespace vca
