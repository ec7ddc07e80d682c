// Start-up and shut-down of the base stage and the algorithm stage, and the control block.
#include <cstring>

#include "base/control.h"
#include "base/log.h"
#include "base/send.h"
#include "frame/bus.h"
#include "frame/frame_state.h"
#include "vca/depth.h"
#include "vca/track.h"

using vca::flag_get;
using vca::flag_set;
using vca::frame_state;

namespace {

constinit vca::FrameState frame;

// Keeps base start-up and tear-down out of a running frame pass, once there can be one.
class AlgoLock {
  public:
    AlgoLock() : locked_(flag_get(frame_state().mutex_ready) != 0) {
        if (locked_) tq_mutex_lock(&frame_state().algo_mutex);
    }
    ~AlgoLock() {
        if (locked_) tq_mutex_unlock(&frame_state().algo_mutex);
    }
    AlgoLock(const AlgoLock&) = delete;
    AlgoLock& operator=(const AlgoLock&) = delete;

  private:
    bool locked_;
};

void request_configuration() {
    uint8_t request[VCA_CONFIG_REQUEST_BYTES] = {};
    vca::send_record(VCA_MSG_CONFIG, request);
}

void algo_common_uninit() {
    auto& state = frame_state();
    VCA_CTRL_S& ctrl = vca::control_block();
    VCA_LOG("algo_common_uninit 000");
    flag_set<uint8_t>(ctrl.algo_running, 0);
    tq_task_join(&state.task);
    {
        AlgoLock lock;
        vca_trker_uninit(&ctrl);
        vca_depth_algo_uninit();
    }
    flag_set<uint8_t>(state.mutex_ready, 0);
    tq_mutex_uninit(&state.algo_mutex);
}

}  // namespace

vca::FrameState& vca::frame_state() {
    return frame;
}

int vca_base_init(void) {
    VCA_CTRL_S& ctrl = vca::control_block();
    VCA_LOG("vca_base init 000");
    {
        AlgoLock lock;
        vca_data_init(&ctrl);
        vca_mem_init(&ctrl);
        vca_cvai_init(&ctrl);
        flag_set<uint8_t>(ctrl.base_ready, 1);
    }
    VCA_LOG("vca_base init 111");
    return 0;
}

int vca_base_uninit(void) {
    VCA_CTRL_S& ctrl = vca::control_block();
    VCA_LOG("vca_base uninit 000");
    {
        AlgoLock lock;
        flag_set<uint8_t>(ctrl.base_ready, 0);
        vca_cvai_uninit(&ctrl);
        vca_mem_uninit(&ctrl);
        vca_data_uninit(&ctrl);
    }
    VCA_LOG("vca_base uninit 111");
    return 0;
}

int vca_algo_init(void) {
    auto& state = frame_state();
    VCA_CTRL_S& ctrl = vca::control_block();
    VCA_LOG("vca_algo init 000");
    tq_mutex_init(&state.algo_mutex);
    flag_set<uint8_t>(state.mutex_ready, 1);
    {
        AlgoLock lock;
        vca_trker_init(&ctrl);
        vca_depth_algo_init();
    }
    flag_set<uint8_t>(ctrl.algo_running, 1);
    tq_task_create_join(&state.task, vca_algo_main_task, nullptr);
    vca::register_handlers();
    request_configuration();
    VCA_LOG("vca_algo init 111");
    return 0;
}

int vca_algo_uninit(void) {
    VCA_LOG("vca_algo uninit 000");
    vca::unregister_handlers();
    algo_common_uninit();
    VCA_LOG("vca_algo uninit 111");
    return 0;
}

int vca_data_init(VCA_CTRL_S* ctrl) {
    constexpr int kConfidencePercent = 13;
    constexpr VCA_SIZE_S kSizes[] = {{960, 540}, {960, 544}, {224, 224}, {480, 256}, {480, 256}};
    avs_set_conf_thr(kConfidencePercent);
    std::memcpy(ctrl->img_size, kSizes, sizeof(kSizes));
    return 0;
}

int vca_data_uninit(VCA_CTRL_S*) {
    return 0;
}

void* get_vca_algo_mutex(void) {
    return &frame_state().algo_mutex;
}

int32_t vca_get_algo_loop_tm(void) {
    return flag_get(frame_state().loop_ms);
}
