// The handler table and the handlers of the library frame.
#include "frame/bus.h"

#include <cstring>
#include <iterator>

#include "base/control.h"
#include "base/log.h"
#include "frame/frame_state.h"
#include "vca/cascade.h"
#include "vca/config.h"
#include "vca/heat_map.h"
#include "vca/messages.h"

namespace {

const SOCK_REQUEST_S kHandlers[] = {
    {VCA_MSG_CONFIG, 0, vca_algo_set_cfg_params, 0},
    {VCA_MSG_HEAT_RESET, 0, vca_heat_map_reset_rslt, 0},
    {VCA_MSG_HEAT_MAP, 0, vca_heat_map_update_rslt, 0},
    {VCA_MSG_SHOW_DETECTION, 0, vca_set_draw_exclusion_alive, 0},
    {VCA_MSG_INSTALL_HEIGHT, 0, vca_install_height_request, 0},
    {VCA_MSG_SLAVE_TRACKS, 0, dev_cscd_master_recive_slave_track, 0},
    {VCA_MSG_ASK_FRAME_COUNT, 0, dev_cscd_master_send_frm_cnt_to_slave, 0},
    {VCA_MSG_FRAME_COUNT, 0, dev_cscd_slave_recive_master_frm_cnt, 0},
};

}  // namespace

void vca::register_handlers() {
    sock_request_register(kHandlers, static_cast<int>(std::size(kHandlers)));
}

void vca::unregister_handlers() {
    sock_request_unregister(kHandlers, static_cast<int>(std::size(kHandlers)));
}

void vca_set_draw_exclusion_alive(int, void* payload) {
    if (payload == nullptr) return;
    int32_t value = 0;
    std::memcpy(&value, payload, sizeof(value));
    vca::flag_set<uint8_t>(vca::frame_state().show_detection, value == 1 ? 1 : 0);
    VCA_LOG("vca_set_draw_exclusion_alive=%d", value);
}

void vca_install_height_request(int, void*) {
    if (vca::flag_get(vca::control_block().base_ready) == 0) return;
    vca::flag_set<uint8_t>(vca::frame_state().height_requested, 1);
}
