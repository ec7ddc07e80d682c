// Messages on their way to the host.
#pragma once

#include "base/control.h"
#include "vca/messages.h"
#include "vca/platform.h"

namespace vca {

// The frame stamp of the messages: the frame flag and the word after it.
inline void copy_frame_stamp(uint32_t (&stamp)[2]) {
    const VCA_CTRL_S& ctrl = control_block();
    stamp[0] = ctrl.frame_flag;
    stamp[1] = ctrl.reserved1;
}

// Queues a whole record as a message to the host.
template <typename Record>
void send_record(int id, Record& record) {
    tq_sock_send_msg(VCA_CHANNEL, id, &record, static_cast<int>(sizeof(record)));
}

}  // namespace vca
