// Both clocks, and the kernel's word for them.
#include "host/base/wall_clock.h"

#include <sys/timex.h>

#include <chrono>
#include <cstdlib>

#include "host/base/utc.h"

namespace host {
namespace {

std::int64_t monotonic_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

ClockReading read_clocks() {
    constexpr int kAttempts = 10;
    constexpr std::int64_t kApart_us = 1000;
    ClockReading reading;
    for (int i = 0; i < kAttempts; ++i) {
        const std::int64_t before_us = monotonic_us();
        reading.utc_us = utc_now_us();
        const std::int64_t after_us = monotonic_us();
        reading.monotonic_us = before_us + (after_us - before_us) / 2;
        if (after_us - before_us < kApart_us) break;
    }
    return reading;
}

bool clock_synchronised() {
    timex state{};
    const int result = ::adjtimex(&state);
    return result < 0 || (state.status & STA_UNSYNC) == 0;
}

std::optional<std::int64_t> ClockSteps::look(const ClockReading& now) {
    const std::int64_t apart_us = now.utc_us - now.monotonic_us;
    if (!apart_us_) apart_us_ = apart_us;
    const std::int64_t step_us = apart_us - *apart_us_;
    if (std::abs(step_us) < kLeast_us) return std::nullopt;
    apart_us_ = apart_us;
    return step_us;
}

}  // namespace host
