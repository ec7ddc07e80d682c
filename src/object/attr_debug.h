// What the debug switches of the attribute stage add to it.
#pragma once

#include "vca/track.h"

namespace vca {

// Runs the classifier over a folder of crops on the eleventh call of the library's life.
void test_attribute_model();

// Saves the track's crop on every second update, and the frame's images once, while the switches
// for it are on.
void capture_images(const TRACKER_RSLT_S& trk);

}  // namespace vca
