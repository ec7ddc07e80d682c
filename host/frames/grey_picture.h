// Depth drawn as grey NV12 images, for recordings without a colour camera.
#pragma once

#include <cstdint>
#include <vector>

namespace host {

// Luma runs from 235 at the camera to 16 at far_mm and where nothing was measured. Writes the
// 480 x 256 depth image and the 960 x 544 colour image.
void render_grey(const std::vector<std::uint16_t>& raw_mm, double far_mm,
                 std::vector<std::uint8_t>& depth_nv12, std::vector<std::uint8_t>& colour_nv12);

}  // namespace host
