// Lines and regions that are allowed but cannot count right.
#pragma once

#include <string>
#include <vector>

#include "host/base/counting_places.h"

namespace host {

// What people count at, points in one system of coordinates. A camera of a site may not see a
// place, which then has no points.
struct CountedPlaces {
    const std::vector<CountingLine>& lines;
    const std::vector<CountingRegion>& regions;
    const std::vector<std::vector<PicturePoint>>& exclusions;
};

// One sentence for each line or region that crosses itself or lies in exclusion areas altogether.
std::vector<std::string> place_warnings(const CountedPlaces& places);

// One sentence for each line past which nobody can come far enough in a picture of this size, and
// each region in which nobody can be seen.
std::vector<std::string> edge_warnings(const CountedPlaces& places, int width, int height);

}  // namespace host
