// The host of the long run: it lends frame sets and images, follows people by the nearest box and
// reads every message. All of it happens on the analysis task, so nothing here is locked but the
// books of what is out.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bench/soak_crowd.h"
#include "tests/support/fake_platform.h"

namespace soak {

// What the host has seen since the start of the process.
struct Ledger {
    int64_t sets_lent = 0;              // complete frame sets
    int64_t partial_sets = 0;           // sets that lacked a frame
    int64_t unsent = 0;                 // messages that the host refused
    std::map<int, int64_t> messages;    // by number
    int32_t people_shown = 0;           // in the newest message of tracks
    int32_t people_in_regions = 0;      // in the newest report of regions
    std::vector<std::string> failures;  // misuse of the host, at most the first few
    int64_t failure_count = 0;
};

Ledger& ledger();
fake::Books books();
void fail(const std::string& what);

// Fills the next frame set's pixels and calls handlers, on the task, while the algorithm mutex is
// held; false when there is no frame for now.
void set_frame_maker(std::function<bool(std::vector<uint16_t>& depth_mm)> maker);
// Writes what the detection models see.
void set_detector(std::function<void(VCA_NN_RESULT_S&)> detector);

// Gives a message to the library's handler.
void deliver(int id, const void* payload);

// The clock behind the library's times.
void use_clock();
void advance_clock(int64_t us);

}  // namespace soak
