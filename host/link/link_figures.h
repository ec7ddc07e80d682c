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
    bool reached = false;  // there was a connection to the broker
    int outages = 0;       // how often it was lost afterwards
    std::string outage;    // why it was last missing
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

}  // namespace host
