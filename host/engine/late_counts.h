// Counts that the library makes when a track ends just past a line. It goes by the last time that
// the person was seen just past it, and that may be long ago: somebody touches a line, goes back,
// and is counted where the track ends.
#pragma once

#include <vector>

#include "host/engine/events.h"
#include "vca/config.h"

namespace host {

// What becomes of counts of people who were no longer past the line when their track ended.
enum class LateCounts {
    kDrop,  // told as left out
    kKeep,  // marked, and counted like others
};

const char* late_counts_name(LateCounts late_counts);

class LateCountFilter {
  public:
    LateCountFilter(const VCA_ALGO_CFG_S& config, LateCounts late_counts)
        : config_(config), late_counts_(late_counts) {}

    // Takes every event in the order in which the library sent them. Adds to a count made at a
    // track's end how far past the line the track did end, and leaves it out when it is late.
    void check(Event& event);

  private:
    const VCA_ALGO_CFG_S& config_;
    LateCounts late_counts_;
    std::vector<Decision> ends_;  // of this pass, until the counts that they announce
};

}  // namespace host
