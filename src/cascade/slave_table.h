// The newest message of every slave, as it was received.
#pragma once

#include "vca/cascade.h"

namespace vca {

struct SlaveEntry {
    uint32_t slave_idx = 0;
    uint32_t fresh = 0;  // 1 from the receipt of a message to the next merge
    SLAVE_MSG_S msg{};
};

using SlaveTable = SlaveEntry[VCA_SLAVE_MAX];

SlaveTable& slave_table();

}  // namespace vca
