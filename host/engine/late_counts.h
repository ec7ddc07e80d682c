// Counts of people who are not seen crossing. The library counts when a track ends just past a
// line, by the last time that the person was seen just past it, and that may be long ago: somebody
// touches a line, goes back, and is counted where the track ends. And for those who are not seen
// any more it takes the place of the head for that of the feet: after the last frame of a source,
// whoever still stands near a line may so be found on its other side. And a line that has been
// taken away or moved is still remembered by those who were just past it.
#pragma once

#include <vector>

#include "host/engine/events.h"
#include "vca/config.h"

namespace host {

// What becomes of counts of people who were no longer past the line when their track ended, or
// crossed it after the last frame.
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
    void leave_out_parked(Event& event, const PersonCounted& counted);
    void check_end(Event& event, const Decision& end);

    const VCA_ALGO_CFG_S& config_;
    LateCounts late_counts_;
    std::vector<Decision> ends_;    // of this pass, until the counts that they announce
    std::vector<Decision> unseen_;  // crossings after the last frame
};

}  // namespace host
