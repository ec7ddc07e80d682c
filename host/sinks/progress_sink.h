// How far a run has got, for a person who is waiting.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>

#include "host/base/progress_display.h"
#include "host/engine/pace.h"
#include "host/engine/sink.h"

namespace host {

struct ProgressSetup {
    double frames_per_second = 15.0;
    double total_frames = 0.0;   // 0: not known
    bool counts = true;          // show who was counted
    const Pace* pace = nullptr;  // show the late frames; must outlive the sink
    std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
};

class ProgressSink final : public Sink {
  public:
    // Shows its line in the first row; the display must outlive the sink.
    ProgressSink(ProgressDisplay& display, const ProgressSetup& setup)
        : display_(display), setup_(setup) {}

    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    void finish() override { display_.finish(); }

  private:
    std::string line(double time_s, double frames_per_second) const;

    ProgressDisplay& display_;
    const ProgressSetup setup_;
    std::int64_t frames_ = 0;
    std::array<int, 2> counted_{};                   // all lines, directions 1 and 2
    std::chrono::steady_clock::time_point start_{};  // of the first frame
    std::chrono::steady_clock::time_point next_{};
};

}  // namespace host
