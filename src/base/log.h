// The log line and the names of the debug switches.
#pragma once

#include <cstdio>

#include "base/flag.h"
#include "vca/debug.h"

namespace vca {

// Index of a switch in the table of vca_get_logs_dbg.
enum DebugSwitch {
    kDbgVca = 0,
    kDbgTiming = 1,
    kDbgCascade = 3,
    kDbgDetection = 8,
    kDbgTracking = 9,
    kDbgObjectInfo = 10,
    kDbgAttr = 11,
    kDbgAttrTest = 12,
    kDbgHeight = 14,
    kDbgLineGroup = 17,
    kDbgRegion = 18,
    kDbgHeatMap = 19,
    kDbgDepthMap = 21,
    kDbgSaveHead = 22,
    kDbgSaveOne = 24
};

inline bool debug_on(DebugSwitch s) {
    return flag_get(vca_get_logs_dbg()[sizeof(LOG_DBG_S) * static_cast<unsigned>(s)]) != 0;
}

// Per-stage timing lines appear on every 12th frame only.
inline bool is_timing_frame(int32_t count) {
    return count % 12 == 0;
}

// Milliseconds since `start_ms`, in the type the log formats expect.
inline long elapsed_ms(int64_t start_ms) {
    return static_cast<long>(avs_get_timestamp() - start_ms);
}

}  // namespace vca

// One diagnostic line: green body, then the time, the logging function and its source line.
#define VCA_LOG_AS(function, format, ...)                                                       \
    do {                                                                                        \
        char vca_log_time[32] = {};                                                             \
        time_to_string(vca_log_time);                                                           \
        std::printf("\t\033[1;32m" format "\033[0;39m [%s %s:%d]\n" __VA_OPT__(, ) __VA_ARGS__, \
                    vca_log_time, function, __LINE__);                                          \
    } while (0)

// In exported functions. Their helpers log under the exported function's name, the one a reader of
// the log can look up: VCA_LOG_AS(kLogName, ...).
#define VCA_LOG(format, ...) VCA_LOG_AS(__func__, format __VA_OPT__(, ) __VA_ARGS__)
