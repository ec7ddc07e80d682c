// Clocks, sleeping, the time window of a day, clamping and sorting.
#include <sys/time.h>

#include <algorithm>
#include <cstdio>

#include "base/numeric.h"
#include "vca/debug.h"

namespace {

struct TimeState {
    VCA_TIME_FN source = nullptr;
    void* ctx = nullptr;
};

TimeState time_state;

struct Clock {
    int64_t sec;
    int64_t usec;
    bool ok;
};

Clock split_microseconds(int64_t us) {
    int64_t sec = us / 1000000;
    int64_t rest = us % 1000000;
    if (rest < 0) {
        rest += 1000000;
        --sec;
    }
    return {sec, rest, true};
}

Clock wall_clock() {
    if (time_state.source != nullptr) return split_microseconds(time_state.source(time_state.ctx));
    timeval tv{};
    const bool ok = gettimeofday(&tv, nullptr) == 0;
    return {tv.tv_sec, tv.tv_usec, ok};
}

tm local_time_now() {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    return local;
}

}  // namespace

void vca_set_time_source(VCA_TIME_FN fn, void* ctx) {
    time_state = {fn, ctx};
}

int64_t avs_get_timestamp(void) {
    const Clock now = wall_clock();
    return now.sec * 1000 + (now.usec + 500) / 1000;
}

uint32_t avs_get_time(void) {
    const Clock now = wall_clock();
    return now.ok ? static_cast<uint32_t>(now.sec * 1000 + now.usec / 1000) : 0;
}

int64_t avs_get_monotonictime(int unit) {
    Clock now{};
    if (time_state.source != nullptr) {
        now = wall_clock();
    } else {
        timespec ts{};
        clock_gettime(CLOCK_MONOTONIC, &ts);
        now = {ts.tv_sec, ts.tv_nsec / 1000, true};
    }
    return unit == 1 ? now.sec : now.sec * 1000 + now.usec / 1000;
}

struct tm* avs_get_localtime(void) {
    tzset();
    const time_t now = time(nullptr);
    return localtime(&now);
}

int avs_get_time_string(char* dst, char fmt) {
    const tm t = local_time_now();
    const int year = t.tm_year + 1900;
    const int month = t.tm_mon + 1;
    if (fmt == 1 || fmt == 2) {
        const int first = fmt == 1 ? month : t.tm_mday;
        const int second = fmt == 1 ? t.tm_mday : month;
        return std::sprintf(dst, "%02d/%02d/%04d %02d:%02d:%02d", first, second, year, t.tm_hour,
                            t.tm_min, t.tm_sec);
    }
    return std::sprintf(dst, "%04d-%02d-%02d %02d:%02d:%02d", year, month, t.tm_mday, t.tm_hour,
                        t.tm_min, t.tm_sec);
}

int time_to_string(char* dst) {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    const time_t now = tv.tv_sec;
    tm local{};
    localtime_r(&now, &local);
    return std::sprintf(dst, "%02d:%02d.%03ld", local.tm_min, local.tm_sec,
                        static_cast<long>(tv.tv_usec / 1000));
}

void avs_mdelay(int ms) {
    const timespec span{ms / 1000, static_cast<long>(ms % 1000) * 1000000};
    nanosleep(&span, nullptr);
}

bool avs_inquery_customize_wh(int start, int end) {
    const tm t = local_time_now();
    const int s = t.tm_hour * 3600 + t.tm_min * 60 + t.tm_sec;
    if (start <= end) return start < s && s < end;
    return s < end || s > start;
}

int32_t av_limit_min_max(int32_t v, int32_t lo, int32_t hi) {
    return std::min(std::max(v, lo), hi);
}

// The shorter part recurses and the longer continues the loop, so the stack stays shallow.
void avs_quick_sort(int* a, int lo, int hi) {
    while (lo < hi) {
        const int pivot = a[lo];
        int i = lo;
        int j = hi;
        while (i < j) {
            while (i < j && a[j] >= pivot)
                --j;
            a[i] = a[j];
            while (i < j && a[i] <= pivot)
                ++i;
            a[j] = a[i];
        }
        a[i] = pivot;
        if (i - lo < hi - i) {
            avs_quick_sort(a, lo, i - 1);
            lo = i + 1;
        } else {
            avs_quick_sort(a, i + 1, hi);
            hi = i - 1;
        }
    }
}
