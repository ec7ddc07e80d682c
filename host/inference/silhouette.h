// How a standing person looks to a camera that looks straight down: the head is farther from the
// image centre than the feet.
#pragma once

#include <array>
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

inline constexpr float kTypicalHeight_mm = 1680.0f;

// Outline of a person of typical height whose head is above (x_mm, y_mm), as a convex polygon.
std::vector<cv::Point> silhouette(const OverheadCamera& camera, float x_mm, float y_mm);

// Head and shoulders of that person.
cv::Rect2f head_box(const OverheadCamera& camera, float x_mm, float y_mm, float half_x_mm,
                    float half_y_mm);

// Where the head is above the floor when the outermost point of the silhouette, as seen from the
// image centre, is at this pixel.
cv::Point2f head_of_outermost(const OverheadCamera& camera, float u, float v);

}  // namespace host
