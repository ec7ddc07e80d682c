// Sizes of the two images that the analysis works on, and places in them.
#pragma once

namespace host {

inline constexpr int kColourWidth = 960;
inline constexpr int kColourHeight = 544;
inline constexpr int kDepthWidth = 480;
inline constexpr int kDepthHeight = 256;

// A position in the 960 x 544 picture.
struct PicturePoint {
    double x = 0.0;
    double y = 0.0;
};

// A rectangle of whole pixels of that picture; x, y is its upper left corner.
struct PixelBox {
    int x = 0;
    int y = 0;
    int w = 0;
    int h = 0;
};

}  // namespace host
