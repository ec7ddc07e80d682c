// Depth drawn as grey NV12 images.
#pragma once

#include <cstdint>
#include <vector>

namespace host {

// Luma runs from 235 at the camera to 16 at black_mm and where nothing was measured. Writes the
// 480 x 256 depth image.
void draw_depth(const std::vector<std::uint16_t>& raw_mm, double black_mm,
                std::vector<std::uint8_t>& depth_nv12);

// The same, and the 960 x 544 colour image besides.
void render_grey(const std::vector<std::uint16_t>& raw_mm, double black_mm,
                 std::vector<std::uint8_t>& depth_nv12, std::vector<std::uint8_t>& colour_nv12);

}  // namespace host
