// The event box within a frame pass.
#pragma once

#include "vca/track.h"

namespace vca {

// Until its second update a track's event box also depends on the one before it. From then on every
// request within an event stage gives the same box, so once is enough.
inline bool event_box_is_settled(const TRACKER_RSLT_S& trk) {
    return trk.age >= 2;
}

}  // namespace vca
