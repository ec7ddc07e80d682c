// Where people are counted.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/base/picture.h"

namespace host {

// A counting line in picture coordinates.
struct CountingLine {
    std::string name;
    std::vector<PicturePoint> points;
    bool uturn_filter = false;                           // people who turn back are not counted
    std::vector<PicturePoint> uturn_area;                // empty: the whole picture
    bool flip = false;                                   // swaps directions 1 and 2
    std::array<std::string, 2> directions{"in", "out"};  // what 1 and 2 are called
};

// A counting region in picture coordinates.
struct CountingRegion {
    std::string name;
    std::vector<PicturePoint> points;  // polygon of at least 3 points
};

}  // namespace host
