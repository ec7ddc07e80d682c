// Frames per second from a frame counter that is read now and then.
#pragma once

#include <cstdint>

#include "host/link/link_topics.h"

namespace host {

class FrameRate {
  public:
    // The rate since the last reading. A counter that was set back or far ahead in between gives
    // no rate, so the last one is kept.
    double read(std::int32_t frame_count, double now_s) {
        const std::int32_t frames = frames_after(frame_count, count_);
        const double elapsed_s = now_s - read_s_;
        if (started_ && elapsed_s > 0.0 && frames >= 0 && frames <= kMostPerSecond * elapsed_s) {
            rate_ = frames / elapsed_s;
        }
        started_ = true;
        count_ = frame_count;
        read_s_ = now_s;
        return rate_;
    }

  private:
    static constexpr double kMostPerSecond = 1000.0;

    bool started_ = false;
    std::int32_t count_ = 0;
    double read_s_ = 0.0;
    double rate_ = 0.0;
};

}  // namespace host
