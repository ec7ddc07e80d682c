// What became of the frames of a live input.
#pragma once

#include <cstdint>

namespace host {

struct LiveFigures {
    std::int64_t frames = 0;   // that arrived whole
    std::int64_t late = 0;     // of them, more than a frame's time after they were due
    std::int64_t missing = 0;  // by the sender's numbers or times
    std::int64_t dropped = 0;  // arrived, and a newer one was there before they were wanted
    std::int64_t damaged = 0;  // could not be read
    std::int64_t gaps = 0;
    std::int64_t gap_us = 0;      // all gaps together
    std::int64_t opened = 0;      // streams
    std::int64_t colourless = 0;  // frames to which no colour picture belonged that was asked for
};

}  // namespace host
