// Depth images in a file, for a program that has nothing else to make them with: a header, and for
// each frame how many people are followed in it and its millimetres. In the byte order of both
// processors, little-endian.
#pragma once

#include <cstdint>

namespace bench {

struct DepthFileHeader {
    double fx = 0.0;  // depth pixels
    double fy = 0.0;
    double cx = 0.0;
    double cy = 0.0;
    double height_mm = 0.0;
    double interval_s = 0.0;  // between frames
};

struct DepthFileFrame {
    std::uint32_t people = 0;
    std::uint32_t unused = 0;
    // 480 x 256 millimetres follow, 0 where missing.
};

}  // namespace bench
