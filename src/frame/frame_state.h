// State of the library frame that start-up, the analysis task and the message handlers share.
#pragma once

#include <algorithm>
#include <cstring>

#include "frame/flag.h"
#include "vca/platform.h"

namespace vca {

struct FrameState {
    VCA_CTRL_S ctrl{};
    TQ_MUTEX_S algo_mutex{};
    TQ_TASK_S task{};
    uint8_t mutex_ready = 0;           // 1 while algo_mutex is initialised
    uint8_t height_requested = 0;      // message 6077 waits for its answer
    uint8_t show_detection = 0;        // message 6089 switched the detection display on
    int32_t loop_ms = 100;             // duration of the last completed pass
    int32_t install_height_mm = 3000;  // last measured installation height
    int32_t last_height_frame = -90;   // feed frame counter at that measurement
};

FrameState& frame_state();

// Registers and removes the table of message handlers.
void register_handlers();
void unregister_handlers();

// Depth working image of the current frame set; null when the host mapped none.
inline const uint16_t* raw_depth(const VCA_CTRL_S& ctrl) {
    return reinterpret_cast<const uint16_t*>(static_cast<uintptr_t>(ctrl.raw_img.plane_addr));
}

// The frame stamp of the messages: the frame flag and the word after it.
inline void copy_frame_stamp(uint32_t (&stamp)[2]) {
    const VCA_CTRL_S& ctrl = frame_state().ctrl;
    stamp[0] = ctrl.frame_flag;
    stamp[1] = ctrl.reserved1;
}

// Width and height of a working size. The control block is the host's to write too, so they are
// brought into a range in which sums of pixels and row counts cannot overflow.
constexpr uint32_t kWorkingSizeMax = 16384;
inline int32_t working_width(int index) {
    return static_cast<int32_t>(
        std::min(frame_state().ctrl.img_size[index].width, kWorkingSizeMax));
}
inline int32_t working_height(int index) {
    return static_cast<int32_t>(
        std::min(frame_state().ctrl.img_size[index].height, kWorkingSizeMax));
}

// Queues a whole record as a message to the host.
template <typename Record>
void send_record(int id, Record& record) {
    tq_sock_send_msg(1, id, &record, static_cast<int>(sizeof(record)));
}

}  // namespace vca
