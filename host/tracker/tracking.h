// What the rest of the host tells the tracker behind the library's functions, and asks of it. All
// on the thread of the analysis.
#pragma once

#include <vector>

#include "host/base/head_place.h"

namespace host {

// Scene time of the frame that is about to be tracked.
void set_tracking_time(double scene_s);

// Where the heads of those whom the camera itself sees should be in the next frame.
std::vector<ExpectedHead> expected_heads();

}  // namespace host
