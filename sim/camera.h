// The overhead pinhole camera: world metres on the floor to colour pixels and back.
//
// World: origin on the floor below the camera, x to the right of the image, y down the image, so
// that left and right turns look the same in metres and in pixels. The camera looks straight down.
#pragma once

#include "sim/maths.h"

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

// How crooked a camera hangs, by the right-hand rule about the axes of its picture: x to the right,
// y down, z away from the camera. Roll turns it about y, so that with a positive one it looks
// towards the picture's right edge; pitch then about x, so that with a positive one it looks
// towards the upper edge.
struct Tilt {
    double roll_deg = 0.0;  // -20 to 20
    double pitch_deg = 0.0;
};

struct Camera {
    double height_m = 3.0;  // above the floor
    double focal_px = kDefaultFocalPx;

    // Colour pixel of a point above_floor_m above the floor; the point must be below the camera.
    Pixel project(double x_m, double y_m, double above_floor_m) const {
        const double scale = focal_px / (height_m - above_floor_m);
        return {kCentreU + scale * x_m, kCentreV + scale * y_m};
    }

    // The point at the given height above the floor seen at a colour pixel.
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

// Where a camera hangs over a site that several cameras watch. The site has its own floor metres, x
// to the right and y down on a plan seen from above.
struct CameraPlace {
    double height_m = 4.0;
    double x_m = 0.0;  // the floor point below the camera
    double y_m = 0.0;
    double turn_deg = 0.0;  // of the image's x axis, from the site's x axis towards its y axis
};

// A direction of the site in the axes of the camera, and a place in the camera's world.
inline Point direction_to_camera(const CameraPlace& place, const Point& d) {
    const double c = cosine(place.turn_deg * kPi / 180.0);
    const double s = sine(place.turn_deg * kPi / 180.0);
    return {c * d.x_m + s * d.y_m, c * d.y_m - s * d.x_m};
}

inline Point to_camera(const CameraPlace& place, const Point& site) {
    return direction_to_camera(place, {site.x_m - place.x_m, site.y_m - place.y_m});
}

inline Point to_site(const CameraPlace& place, const Point& p) {
    const double c = cosine(place.turn_deg * kPi / 180.0);
    const double s = sine(place.turn_deg * kPi / 180.0);
    return {place.x_m + c * p.x_m - s * p.y_m, place.y_m + c * p.y_m + s * p.x_m};
}

// True where a colour pixel position lies inside the image.
inline bool in_image(const Pixel& p) {
    return p.u >= 0.0 && p.v >= 0.0 && p.u < kColourWidth && p.v < kColourHeight;
}

}  // namespace sim
