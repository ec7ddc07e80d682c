// One run of a simulated site in lockstep: a process for each camera, without the network.
//
// The library has one state per process. Every slave hands its message of each frame to the master
// through a pipe, and the master's pass of frame n waits for the messages of frame n - delay, so
// the result does not depend on how busy the machine is.
#pragma once

#include <cstdint>
#include <string>

#include "host/score/site_eval.h"
#include "host/settings/site.h"

namespace bench {

struct SiteRun {
    host::SiteResult result;      // its frames are empty
    int people = 0;               // different people whom any camera saw
    double most_per_m2 = 0.0;     // people in view on the frame with most of them
    double median_per_m2 = 0.0;   // of all frames
    double slave_lag_frames = 0;  // mean age of the slaves' reports that took part in a merge
};

// Runs all devices together and each alone for comparison. Throws std::runtime_error when a process
// ends early. Unless `events` is empty, every process writes what its library sent into this
// folder: DEVICE.jsonl, alone DEVICE-alone.jsonl.
SiteRun run_site(const host::Site& site, int delay_frames, const std::string& events);

}  // namespace bench
