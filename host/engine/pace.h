// Keeps a run to the scene's frame rate by the wall clock.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

namespace host {

// How well a run kept to the scene's frame rate by the wall clock.
struct PaceFigures {
    std::int64_t frames = 0;
    std::int64_t late = 0;  // handed over more than one frame's time after they were due
    double most_late_ms = 0.0;
};

// Whether a machine cannot keep up; one frame in fifty is just a hiccup of the system.
inline bool is_too_slow(const PaceFigures& pace) {
    return pace.late * 50 > pace.frames;
}

class Pace {
  public:
    // The moment of scene time 0 in milliseconds since 1970; if empty, the first frame is due at
    // once. `stop` must outlive the pace.
    Pace(double frames_per_second, std::optional<std::int64_t> start_at_ms,
         const std::atomic<bool>& stop);

    // Waits until a frame is due, or until `stop` turns true. A frame that comes too late is not
    // held up, so the run catches up with its scene.
    void wait_for(double time_s);
    // Any thread.
    PaceFigures figures() const;

  private:
    std::chrono::nanoseconds interval_;
    std::optional<std::chrono::steady_clock::time_point> start_;
    const std::atomic<bool>& stop_;
    std::atomic<std::int64_t> frames_{0};
    std::atomic<std::int64_t> late_{0};
    std::atomic<double> most_late_ms_{0.0};
};

}  // namespace host
