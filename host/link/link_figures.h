// What the link of a device did during a run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/link/delay_samples.h"
#include "host/link/track_gate.h"

namespace host {

// A slave as its master heard it.
struct HeardDevice {
    std::string name;
    DeviceCounters counters;
    DelaySummary delivery;  // from the slave's sending to the hand-over to the library
    DelaySummary counting;  // to the end of the first pass that had the message
};

struct LinkFigures {
    bool master = false;
    // A slave's.
    std::int64_t sent = 0;
    std::int64_t withheld = 0;      // before the first frame count of the master
    std::int64_t disconnected = 0;  // without a connection
    std::int64_t answers = 0;       // frame counts received
    // A master's.
    std::int64_t requests = 0;
    std::int64_t unknown = 0;
    std::vector<HeardDevice> slaves;
};

// How well a run kept to the scene's frame rate by the wall clock.
struct PaceFigures {
    std::int64_t frames = 0;
    std::int64_t late = 0;  // handed over more than one frame's time after their moment
    double most_late_ms = 0.0;
};

}  // namespace host
