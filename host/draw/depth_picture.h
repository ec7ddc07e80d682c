// What a depth camera sees, as a person can look at it: near is bright, the floor is dark, and what
// was not measured is black. Nobody can be recognised in it.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "host/base/counting_places.h"

namespace host {

// Where the colours begin above the floor: as high as nearly everybody is.
inline constexpr double kColouredAbove_mm = 2000.0;

// The 480 x 256 depth image alone, pixel by pixel; depths from nearest_mm to floor_mm have the
// whole range of colours.
cv::Mat colour_depth(const std::vector<std::uint16_t>& depth_mm, double nearest_mm,
                     double floor_mm);

// A 960 x 544 picture of the 480 x 256 depth image with lines and regions; depths from nearest_mm
// to floor_mm have the whole range of colours.
cv::Mat draw_depth_picture(const std::vector<std::uint16_t>& depth_mm, double nearest_mm,
                           double floor_mm, const std::vector<CountingLine>& lines,
                           const std::vector<CountingRegion>& regions);

}  // namespace host
