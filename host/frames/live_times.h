// When the frames of a live stream were taken. The sender's clock knows best how far apart two
// frames are, and nothing about when they are now; the monotonic clock of this machine knows when
// they arrived. Scene time follows the sender as long as both agree, and always rises.
#pragma once

#include <cstdint>

namespace host {

// What a stream says of its frames.
struct LiveStamps {
    bool times = false;        // the sender's own, not made up from the rate
    bool numbers = false;      // the sender's own
    std::int64_t step_us = 0;  // between two frames as the stream says; above 0
};

struct LivePlace {
    std::int64_t time_us = 0;  // scene time
    std::int64_t missing = 0;  // frames that the sender took or numbered before this one
    bool late = false;         // arrived more than a frame's time after it was due
};

class LiveTimes {
  public:
    // Another stream begins with the next frame; scene time goes on.
    void begin_stream(const LiveStamps& stamps);
    // The next frame. `arrival_us` is by the monotonic clock; scene time 0 is the first arrival.
    LivePlace place(std::int64_t arrival_us, std::int64_t sender_us, std::int64_t number);

    // Scene time of a moment by the monotonic clock.
    std::int64_t scene_us(std::int64_t now_us) const { return any_ ? now_us - zero_us_ : 0; }

  private:
    std::int64_t missing(std::int64_t sender_us, std::int64_t number) const;
    bool is_late(std::int64_t arrived_us, std::int64_t sender_us);
    std::int64_t next_time(std::int64_t arrived_us, std::int64_t sender_us);
    void anchor(std::int64_t arrived_us, std::int64_t sender_us);

    LiveStamps stamps_;
    bool any_ = false;      // frame yet
    bool first_ = true;     // of the stream
    bool trusted_ = false;  // the sender's times, in this stream
    std::int64_t zero_us_ = 0;
    std::int64_t offset_us_ = 0;     // from the sender's to scene time
    std::int64_t least_lag_us_ = 0;  // of arrivals behind the sender's times
    std::int64_t last_sender_us_ = 0;
    std::int64_t last_number_ = 0;
    std::int64_t last_arrived_us_ = 0;
    std::int64_t last_us_ = 0;
};

}  // namespace host
