// The overhead pinhole camera: world metres on the floor to colour pixels and back.
//
// World: origin on the floor below the camera, x to the right of the image, y down the image, so
// that left and right turns look the same in metres and in pixels. The camera looks straight down.
#pragma once

namespace sim {

inline constexpr int kColourWidth = 960;
inline constexpr int kColourHeight = 544;
inline constexpr int kDepthWidth = 480;  // same field of view as the colour image
inline constexpr int kDepthHeight = 256;
inline constexpr double kCentreU = 480.0;
inline constexpr double kCentreV = 272.0;
inline constexpr double kDefaultFocalPx = 514.737;  // 480 / tan(43 deg): 86 deg across

struct Point {
    double x_m = 0.0;
    double y_m = 0.0;
};

struct Pixel {
    double u = 0.0;
    double v = 0.0;
};

struct Box {
    int x = 0;  // left edge, colour pixels
    int y = 0;  // top edge
    int w = 0;
    int h = 0;
};

struct Camera {
    double height_m = 3.0;  // above the floor
    double focal_px = kDefaultFocalPx;

    // Colour pixel of a point that is above_floor_m above the floor; it must be below the camera.
    Pixel project(double x_m, double y_m, double above_floor_m) const {
        const double scale = focal_px / (height_m - above_floor_m);
        return {kCentreU + scale * x_m, kCentreV + scale * y_m};
    }

    // The point at the given height above the floor that is seen at a colour pixel.
    Point unproject(double u, double v, double above_floor_m = 0.0) const {
        const double scale = (height_m - above_floor_m) / focal_px;
        return {(u - kCentreU) * scale, (v - kCentreV) * scale};
    }

    // Half the width and height, in metres, of the rectangle seen at a height above the floor.
    Point half_view(double above_floor_m) const {
        const double scale = (height_m - above_floor_m) / focal_px;
        return {kCentreU * scale, kCentreV * scale};
    }
};

// True where a colour pixel position lies inside the image.
inline bool in_image(const Pixel& p) {
    return p.u >= 0.0 && p.v >= 0.0 && p.u < kColourWidth && p.v < kColourHeight;
}

}  // namespace sim
