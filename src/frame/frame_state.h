// State that start-up, the analysis task and the message handlers share.
#pragma once

#include "vca/platform.h"

namespace vca {

struct FrameState {
    TQ_MUTEX_S algo_mutex{};
    TQ_TASK_S task{};
    AVS_IVE_ALL_S held{};              // the borrowed frame set
    uint8_t mutex_ready = 0;           // 1 while algo_mutex is initialised
    uint8_t height_requested = 0;      // message 6077 waits for its answer
    uint8_t show_detection = 0;        // message 6089 switched the detection display on
    int32_t loop_ms = 100;             // duration of the last completed pass
    int32_t install_height_mm = 3000;  // last measured installation height
    int32_t last_height_frame = -90;   // feed frame counter at that measurement
};

FrameState& frame_state();

}  // namespace vca
