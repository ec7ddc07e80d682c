// Orientation of three points, shared by the line tests.
#pragma once

#include "vca/config.h"

namespace vca {

// (v.y - u.y) * (w.x - v.x) - (v.x - u.x) * (w.y - v.y); above 0 when w lies to the left of someone
// walking from u to v in the image.
int32_t orientation(POINT_POS_S u, POINT_POS_S v, POINT_POS_S w);

// Distance in pixels from p to the nearest point of a segment.
float distance_to_segment(POINT_POS_S p, const LINE_SEG_S& s);

}  // namespace vca
