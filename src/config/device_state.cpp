#include "config/device_state.h"

#include <atomic>

#include "base/flag.h"

using vca::device_state;
using vca::flag_get;
using vca::flag_set;

namespace {

// Initialised when the library is loaded: constant data of this size would enlarge the library
// file.
vca::DeviceState device;

}  // namespace

vca::DeviceState& vca::device_state() {
    return device;
}

VCA_DEV_CFG_S* dev_get_config(void) {
    return &device_state().cfg;
}

int32_t dev_get_device_type(void) {
    return 2;
}

int32_t vca_dev_get_work_mode(void) {
    return device_state().cfg.devWorkMode;
}

int32_t vca_dev_get_install_height(void) {
    return device_state().cfg.InstallHeight;
}

bool dev_get_counting_enable(void) {
    return flag_get(device_state().counting_enable) != 0;
}

void dev_set_counting_enable(bool enable) {
    flag_set<uint8_t>(device_state().counting_enable, enable ? 1 : 0);
}

bool dev_device_is_high_install(void) {
    return flag_get(device_state().high_install) != 0;
}

void dev_set_high_install_enable(bool enable) {
    flag_set<uint8_t>(device_state().high_install, enable ? 1 : 0);
}

int32_t vca_feed_frm_cnt_get(void) {
    return flag_get(device_state().feed_frame_count);
}

void vca_feed_frm_cnt_set(int32_t count) {
    flag_set(device_state().feed_frame_count, count);
}

// Atomic, because a slave's handler may set the counter concurrently. Atomic sums wrap.
void vca_feed_frm_cnt_add(int32_t step) {
    std::atomic_ref<int32_t>(device_state().feed_frame_count)
        .fetch_add(step, std::memory_order_relaxed);
}
