// Keeps a run to the scene's frame rate by the wall clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

#include "host/link/link_figures.h"

namespace host {

class Pace {
  public:
    // The moment of scene time 0 in milliseconds since 1970; none: the first wait.
    Pace(double frames_per_second, std::optional<std::int64_t> start_at_ms);

    // Waits for the moment of a frame, less long when `stop` turns true. A frame that comes too
    // late is not held up, so that the run catches up with its scene.
    void wait_for(double time_s, const std::function<bool()>& stop);
    const PaceFigures& figures() const { return figures_; }

  private:
    std::chrono::nanoseconds interval_;
    std::optional<std::chrono::steady_clock::time_point> start_;
    PaceFigures figures_;
};

}  // namespace host
