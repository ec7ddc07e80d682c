// On which side of a counting line a place lies.
#pragma once

#include <vector>

#include "host/base/picture.h"
#include "vca/config.h"

namespace host {

// Distance in pixels from the nearest segment, positive on the side where direction 1 ends. Beyond
// a bend both segments are equally near; the one that the point faces more squarely tells the side.
double past_line_px(const VCA_CFG_LINE_S& line, const PicturePoint& p);

// Distance in pixels from the nearest segment; infinite without one.
double distance_px(const std::vector<PicturePoint>& line, const PicturePoint& p);

// Whether the line goes around an area: its last point is its first again.
bool goes_around(const VCA_CFG_LINE_S& line);

}  // namespace host
