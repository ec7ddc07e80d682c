// The debug switches: flag files under /tmp, polled by the analysis task.
#include <unistd.h>

#include <algorithm>

#include "base/log.h"

namespace {

struct DebugState {
    LOG_DBG_S table[VCA_LOG_DBG_COUNT] = {
        {0, "/tmp/vca"},        {0, "/tmp/vca-tm"},    {0, "/tmp/img-gray"},   {0, "/tmp/dev-cscd"},
        {0, "/tmp/sv-dat"},     {0, "/tmp/rd-dat"},    {0, "/tmp/rd-oni"},     {0, "/tmp/obj-nn"},
        {0, "/tmp/obj-det"},    {0, "/tmp/obj-trk"},   {0, "/tmp/obj-info"},   {0, "/tmp/obj-attr"},
        {0, "/tmp/obj-attr-t"}, {0, "/tmp/obj-show"},  {0, "/tmp/obj-height"}, {0, "/tmp/evt-msk"},
        {0, "/tmp/evt-lin"},    {0, "/tmp/evt-ling"},  {0, "/tmp/evt-rgn"},    {0, "/tmp/evt-hmp"},
        {0, "/tmp/tilt-angle"}, {0, "/tmp/depth-map"}, {0, "/tmp/save-hd"},    {0, "/tmp/net-info"},
        {0, "/tmp/save-one"}};
    uint32_t update_calls = 0;
};

DebugState debug_state;

void avs_log_debug_check(LOG_DBG_S& entry) {
    const bool exists = access(entry.path, F_OK) == 0;
    const bool on = vca::flag_get(entry.on) != 0;
    if (exists && !on) {
        vca::flag_set<uint8_t>(entry.on, 1);
        VCA_LOG("open %s!", entry.path);
    } else if (!exists && on) {
        vca::flag_set<uint8_t>(entry.on, 0);
        VCA_LOG("close %s!", entry.path);
    }
}

}  // namespace

uint8_t* vca_get_logs_dbg(void) {
    return reinterpret_cast<uint8_t*>(debug_state.table);
}

void avs_log_debug_update_status(LOG_DBG_S* table, unsigned count) {
    const uint32_t call = debug_state.update_calls++;
    if (call % 2 != 0 || table == nullptr) return;
    if (table == debug_state.table) count = std::min(count, unsigned{VCA_LOG_DBG_COUNT});
    for (unsigned i = 0; i < count; ++i)
        avs_log_debug_check(table[i]);
}
