// Two clocks, one scene time.
#include "host/frames/live_times.h"

#include <algorithm>
#include <cstdlib>

namespace host {
namespace {

// As far may the sender's times lead or lag before they are no times of now.
constexpr std::int64_t kMostApart_us = 1'000'000;
// Two clocks of ordinary quartz part by less than one microsecond in this many.
constexpr std::int64_t kDrift = 5000;

}  // namespace

void LiveTimes::begin_stream(const LiveStamps& stamps) {
    stamps_ = stamps;
    first_ = true;
}

LivePlace LiveTimes::place(std::int64_t arrival_us, std::int64_t sender_us, std::int64_t number) {
    LivePlace place;
    if (!any_) zero_us_ = arrival_us;
    const std::int64_t arrived_us = arrival_us - zero_us_;
    // A sender that starts again within its stream is as good as another stream.
    if (!first_ && sender_us <= last_sender_us_) first_ = true;
    if (first_) {
        trusted_ = stamps_.times;
        anchor(arrived_us, sender_us);
        place.time_us = any_ ? std::max(arrived_us, last_us_ + 1) : 0;
    } else {
        place.missing = missing(sender_us, number);
        place.time_us = next_time(arrived_us, sender_us);
        place.late = trusted_ && is_late(arrived_us, sender_us);
    }
    any_ = true;
    first_ = false;
    last_sender_us_ = sender_us;
    last_number_ = number;
    last_arrived_us_ = arrived_us;
    last_us_ = place.time_us;
    return place;
}

void LiveTimes::anchor(std::int64_t arrived_us, std::int64_t sender_us) {
    offset_us_ = (any_ ? std::max(arrived_us, last_us_ + 1) : arrived_us) - sender_us;
    least_lag_us_ = arrived_us - sender_us;
}

std::int64_t LiveTimes::missing(std::int64_t sender_us, std::int64_t number) const {
    if (stamps_.numbers) return std::max<std::int64_t>(number - last_number_ - 1, 0);
    if (!trusted_) return 0;
    const std::int64_t steps =
        (sender_us - last_sender_us_ + stamps_.step_us / 2) / stamps_.step_us;
    return std::max<std::int64_t>(steps - 1, 0);
}

bool LiveTimes::is_late(std::int64_t arrived_us, std::int64_t sender_us) {
    const std::int64_t lag_us = arrived_us - sender_us;
    least_lag_us_ += (arrived_us - last_arrived_us_) / kDrift;
    least_lag_us_ = std::min(least_lag_us_, lag_us);
    return lag_us - least_lag_us_ > stamps_.step_us;
}

std::int64_t LiveTimes::next_time(std::int64_t arrived_us, std::int64_t sender_us) {
    if (trusted_) {
        const std::int64_t time_us = sender_us + offset_us_;
        if (std::abs(time_us - arrived_us) <= kMostApart_us) return std::max(time_us, last_us_ + 1);
        if (arrived_us - last_arrived_us_ > kMostApart_us) {
            // The sender stood still, and its clock with it.
            anchor(arrived_us, sender_us);
            return std::max(arrived_us, last_us_ + 1);
        }
        trusted_ = false;
    }
    // Where scene time is ahead it waits at half speed for the clock to come along.
    const std::int64_t slow_us = last_us_ + (arrived_us - last_arrived_us_) / 2;
    return std::max({arrived_us, slow_us, last_us_ + 1});
}

}  // namespace host
