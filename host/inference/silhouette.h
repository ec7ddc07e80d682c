// How a standing person looks to a camera that looks straight down: the head is farther from the
// image centre than the feet.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace host {

// Image scale of the reduced image the silhouettes are drawn in.
struct OverheadCamera {
    float fx = 0.0f;  // pixels
    float fy = 0.0f;
    float cx = 0.0f;
    float cy = 0.0f;
    float height_mm = 0.0f;  // lens above the floor
};

// Somebody standing upright.
struct Stander {
    float x_mm = 0.0f;  // of the head's middle, from the lens axis
    float y_mm = 0.0f;
    float height_mm = 1700.0f;
};

// Outline as a convex polygon.
std::vector<cv::Point> silhouette(const OverheadCamera& camera, const Stander& person);

// The largest rectangle that head and shoulders may fill, whichever way the person faces.
cv::Rect2f head_box(const OverheadCamera& camera, const Stander& person);

// Where a person of this height stands when the outermost point of the silhouette, as seen from
// the image centre, is at this pixel.
Stander from_outermost(const OverheadCamera& camera, float u, float v, float height_mm);

}  // namespace host
