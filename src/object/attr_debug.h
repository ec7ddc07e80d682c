// Extra output of the attribute stage under its debug switches.
#pragma once

#include "vca/track.h"

namespace vca {

// Runs the classifier over a folder of crops on the eleventh call since the library was loaded.
void test_attribute_model();

// Saves the track's crop on every second update, and the frame's images once, while the
// corresponding switches are on.
void capture_images(const TRACKER_RSLT_S& trk);

}  // namespace vca
