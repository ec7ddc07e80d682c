// Waiting for the moments of frames.
#include "host/engine/pace.h"

#include <algorithm>
#include <thread>

namespace host {
namespace {

using std::chrono::duration;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

// A request to stop is noticed after this long at the latest.
constexpr milliseconds kLongestSleep{100};

nanoseconds seconds_of(double value) {
    return duration_cast<nanoseconds>(duration<double>(value));
}

}  // namespace

Pace::Pace(double frames_per_second, std::optional<std::int64_t> start_at_ms,
           const std::atomic<bool>& stop)
    : interval_(seconds_of(1.0 / frames_per_second)), stop_(stop) {
    if (!start_at_ms) return;
    const auto ahead = milliseconds(*start_at_ms) -
                       duration_cast<milliseconds>(system_clock::now().time_since_epoch());
    start_ = steady_clock::now() + ahead;
}

void Pace::wait_for(double time_s) {
    if (!start_) start_ = steady_clock::now() - seconds_of(time_s);
    const steady_clock::time_point moment = *start_ + seconds_of(time_s);
    for (auto now = steady_clock::now(); now < moment && !stop_; now = steady_clock::now())
        std::this_thread::sleep_for(std::min<nanoseconds>(moment - now, kLongestSleep));
    const nanoseconds late = steady_clock::now() - moment;
    ++frames_;
    if (late > interval_) ++late_;
    most_late_ms_ = std::max(most_late_ms_.load(), duration<double, std::milli>(late).count());
}

PaceFigures Pace::figures() const {
    return {frames_, late_, most_late_ms_};
}

}  // namespace host
