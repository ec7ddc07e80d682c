// Frames in parts that end with the hours of the clock, so that something can be done in between.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "host/frames/frame_source.h"

namespace host {

class HourlyFrames final : public FrameFeed {
  public:
    // `start_us` is the time of scene time 0, where frames have none of their own. The feed must
    // outlive it.
    HourlyFrames(FrameFeed& feed, std::int64_t start_us) : feed_(feed), start_us_(start_us) {}

    // False at the end of an hour too; more() tells which.
    bool next(SourceFrame& frame) override {
        if (held_) {
            frame = std::move(*held_);
            held_.reset();
            return true;
        }
        if (!feed_.next(frame)) return false;
        const std::int64_t hour = hour_of_frame(frame);
        if (!hour_ || hour == *hour_) {
            hour_ = hour;
            return true;
        }
        hour_ = hour;
        held_ = std::move(frame);
        frame = {};
        return false;
    }

    // The next hour has begun: its first frame waits.
    bool more() const { return held_.has_value(); }

  private:
    std::int64_t hour_of_frame(const SourceFrame& frame) const {
        constexpr std::int64_t kHour_us = 3'600'000'000;
        const std::int64_t scene_us = start_us_ + std::llround(frame.time_s * 1e6);
        return (frame.utc_us != 0 ? frame.utc_us : scene_us) / kHour_us;
    }

    FrameFeed& feed_;
    const std::int64_t start_us_;
    std::optional<std::int64_t> hour_;
    std::optional<SourceFrame> held_;
};

}  // namespace host
