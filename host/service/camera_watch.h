// Whether the process of a camera lives, and when one that ended is started again.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/service/camera_message.h"

namespace host {

class CameraWatch {
  public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    // Frames come, and none is finished for so long; or nothing at all is heard.
    static constexpr std::chrono::seconds kPatience{10};
    // Between an end and the next start, doubled after each life that was shorter than kGoodLife.
    static constexpr std::chrono::seconds kFirstPause{1};
    static constexpr std::chrono::seconds kLongestPause{30};
    static constexpr std::chrono::seconds kGoodLife{60};

    // A process has been started.
    void begin(Time now);
    void hear(const CameraBeat& beat, Time now);
    // Why the process is to be ended, as the end of a sentence that begins with its name; empty
    // while it is well.
    std::optional<std::string> hangs(Time now) const;

    // The process has ended. Returns when the next one is started.
    Time end(Time now);

    const CameraBeat& last() const { return last_; }

  private:
    Time begun_;
    Time heard_;
    CameraBeat last_;
    std::int64_t taken_at_finish_ = 0;
    std::optional<Time> unfinished_since_;
    std::chrono::seconds pause_ = kFirstPause;
};

}  // namespace host
