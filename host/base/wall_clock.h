// The wall clock: whether it is right, and when somebody has set it.
#pragma once

#include <cstdint>
#include <optional>

namespace host {

// Both clocks at the same moment, in microseconds.
struct ClockReading {
    std::int64_t utc_us = 0;        // since 1970
    std::int64_t monotonic_us = 0;  // of the clock that nobody sets
};

// Of two readings of the monotonic clock around that of the wall clock the middle is taken; when
// they lie more than 1 ms apart, because the thread had to wait in between, it tries again, at most
// ten times.
ClockReading read_clocks();

// Whether the system says that its clock follows a time server or another source. A system that
// does not tell is believed.
bool clock_synchronised();

// Finds steps of the wall clock. Corrections by a time server that slows or speeds the clock up
// move both clocks and are no steps.
class ClockSteps {
  public:
    // Two readings are never apart by more than a few milliseconds of waiting.
    static constexpr std::int64_t kLeast_us = 50'000;

    // How far the clock has been set forward, negative for back, since the last step; nothing
    // where it has not.
    std::optional<std::int64_t> look(const ClockReading& now);

  private:
    std::optional<std::int64_t> apart_us_;  // of the two clocks
};

}  // namespace host
