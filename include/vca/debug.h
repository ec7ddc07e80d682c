/* Debug switches and the small time, sort and clamp utilities. */
#ifndef VCA_DEBUG_H
#define VCA_DEBUG_H

#include <time.h>

#include "vca/base.h"

VCA_EXTERN_C_BEGIN

/* One debug switch: on while its flag file exists. */
typedef struct __attribute__((packed)) LOG_DBG_S {
    uint8_t on;    /* 0 or 1 */
    char path[16]; /* flag file, NUL-terminated */
} LOG_DBG_S;

VCA_CHECK_SIZE(LOG_DBG_S, 17);
VCA_CHECK_OFFSET(LOG_DBG_S, on, 0);
VCA_CHECK_OFFSET(LOG_DBG_S, path, 1);

#define VCA_LOG_DBG_COUNT 25

/* The table of 25 switches, 17 bytes each, all off at load time; never null. */
VCA_API uint8_t* vca_get_logs_dbg(void);

/* Synchronises the first `count` switches with their flag files; checks the files only on every
 * second call and logs each change once. */
VCA_API void avs_log_debug_update_status(LOG_DBG_S* table, unsigned count);

/* Wall-clock milliseconds since 1970, rounded. */
VCA_API int64_t avs_get_timestamp(void);

/* Wall-clock milliseconds since 1970, truncated to 32 bits; 0 when the clock cannot be read. */
VCA_API uint32_t avs_get_time(void);

/* Monotonic clock: whole seconds when `unit` is 1, otherwise milliseconds. */
VCA_API int64_t avs_get_monotonictime(int unit);

/* Current local time; valid until the next call to this function or localtime, not reentrant. */
VCA_API struct tm* avs_get_localtime(void);

/* Writes the local date and time: fmt 1 "MM/DD/YYYY hh:mm:ss", 2 "DD/MM/YYYY hh:mm:ss", other
 * values "YYYY-MM-DD hh:mm:ss". `dst` holds at least 32 bytes. Returns the length written. */
VCA_API int avs_get_time_string(char* dst, char fmt);

/* Writes the local minute, second and millisecond as "mm:ss.mmm"; `dst` holds 32 bytes. Returns the
 * length written. */
VCA_API int time_to_string(char* dst);

/* Sleeps for `ms` milliseconds. */
VCA_API void avs_mdelay(int ms);

/* Whether the local time of day lies strictly inside the daily window from `start` to `end`
 * (seconds since midnight); a window with start > end runs across midnight. */
VCA_API bool avs_inquery_customize_wh(int start, int end);

/* min(max(v, lo), hi): the lower bound is applied first, so hi wins when lo > hi. */
VCA_API int32_t av_limit_min_max(int32_t v, int32_t lo, int32_t hi);

/* Sorts a[lo..hi] (both inclusive) ascending in place. */
VCA_API void avs_quick_sort(int* a, int lo, int hi);

/* A clock: returns microseconds since 1970 (or since any fixed moment); called from any thread. */
typedef int64_t (*VCA_TIME_FN)(void* ctx);

/* Replaces the clock behind avs_get_timestamp, avs_get_time and avs_get_monotonictime; null
 * restores the system clock. Sleeping and the time stamps of log lines keep the system clock. Call
 * this while the algorithm stage is down. `ctx` is passed to `fn` and remains the caller's. */
VCA_API void vca_set_time_source(VCA_TIME_FN fn, void* ctx);

VCA_EXTERN_C_END

#endif
